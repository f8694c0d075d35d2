#pragma once

#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QUrl>
#include <QtGui/QUndoStack>
#include <QtWidgets/QWidget>

class VXNoticeBar;

/**
 * One of the window's sections. What the window's menu offers for all of them is declared here; each section implements
 * what applies to it.
 */
class VXSection : public QWidget
{
    Q_OBJECT

public:
    struct Info
    {
        QString key = {}; // what preferences of the section begin with
        QString title = {};
        QString icon = {}; // one of the kit's
    };

    VXSection(const Info &info, QWidget *parent);

    const QString &key() const { return _info.key; }
    const QString &title() const { return _info.title; }
    /** What is to be looked at, as unread messages: shown beside the section's name. */
    int badge() const { return _badge; }
    /** What can be undone here. */
    QUndoStack &undoStack() { return _undoStack; }

    /** What the window's menu offers here; everything else is disabled. */
    enum Task : unsigned { Find = 1, New = 2, Edit = 4, Remove = 8, Export = 16, Import = 32, Merge = 64 };
    virtual unsigned tasks() const = 0;
    virtual void find() {}
    virtual void makeNew() {}
    virtual void edit() {}
    virtual void remove() {}
    /** Merges the selected ones. */
    virtual void merge() {}
    virtual void exportItems() {}
    virtual void importItems() {}
    /** Stores what is being edited, before another section is shown and at the end. False, with a message to the user,
     *  if that was impossible: it then stays on screen. */
    virtual bool commit() { return true; }
    /** Shows a stored object; false if it does not belong to this section, or is gone. */
    virtual bool showObject(const QUrl &) { return false; }
    /** Goes back to where the user came from; false if there was nothing to leave. */
    virtual bool leave() { return false; }

    /** Made when first asked for. */
    VXNoticeBar &notices();

Q_SIGNALS:
    void badgeDidChange();
    /** Asks the window to show another section. */
    void wantsCall(const QString &number);
    void wantsMessage(const QStringList &phonebookStrings);
    void wantsContact(const QString &phonebookString);
    void wantsSync();
    void wantsPhone();

protected:
    void setBadge(int count);
    /** Lays the section out as a list with a detail view beside it. The preferences remember the position of the
     *  divider. */
    void showBeside(QWidget *list, QWidget *detail);
    /** The ID of the object with that URI, if it exists and is of that entity; null otherwise. */
    static VXManagedObjectID objectAtURI(const VXPersistentStoreCoordinator::Ptr &coordinator, const QUrl &uri,
                                         QStringView entity);

private:
    const Info _info;
    int _badge = 0;
    QUndoStack _undoStack;
    VXNoticeBar *_notices = nullptr; // made when there is something to tell
};

/** A line between parts that are beside or below each other. */
[[nodiscard]] QWidget *VXMakeLine(Qt::Orientation orientation, QWidget *parent = nullptr);
