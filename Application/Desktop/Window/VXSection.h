#pragma once

#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QUrl>
#include <QtGui/QUndoStack>
#include <QtWidgets/QWidget>

class VXNoticeBar;

/** One of the window's sections. What the window's menu offers of all of them stands here; a section takes part in what it has. */
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
    /** What people can undo here. */
    QUndoStack &undoStack() { return _undoStack; }

    /** What the window's menu offers here; the rest is off. */
    enum Task : unsigned { Find = 1, New = 2, Edit = 4, Remove = 8, Export = 16, Import = 32, Merge = 64 };
    virtual unsigned tasks() const = 0;
    virtual void find() {}
    virtual void makeNew() {}
    virtual void edit() {}
    virtual void remove() {}
    /** Makes one of those that are chosen. */
    virtual void merge() {}
    virtual void exportItems() {}
    virtual void importItems() {}
    /** Puts what is being edited away, where it is safe: before another section comes, and at the end. False, told, when it could
     *  not be: it then stays on screen. */
    virtual bool commit() { return true; }
    /** Shows a stored object; false when it is none of this section's, or gone. */
    virtual bool showObject(const QUrl &) { return false; }
    /** Back to where one came from; false when there was nothing to leave. */
    virtual bool leave() { return false; }

    VXNoticeBar &notices() { return *_notices; }

Q_SIGNALS:
    void badgeDidChange();
    /** Asks the window for another section. */
    void wantsCall(const QString &number);
    void wantsMessage(const QStringList &phonebookStrings);
    void wantsContact(const QString &phonebookString);
    void wantsSync();
    void wantsPhone();

protected:
    void setBadge(int count);
    /** Lays the section out as a list and, beside it, what is chosen in it. The preferences keep where the line between them is. */
    void showBeside(QWidget *list, QWidget *detail);
    /** Of an object of that entity that is there; null for any other. */
    static VXManagedObjectID objectAtURI(const VXPersistentStoreCoordinator::Ptr &coordinator, const QUrl &uri,
                                         QStringView entity);

private:
    const Info _info;
    int _badge = 0;
    QUndoStack _undoStack;
    VXNoticeBar *_notices;
};

/** A line between parts that stand side by side or below each other. */
[[nodiscard]] QWidget *VXMakeLine(Qt::Orientation orientation, QWidget *parent = nullptr);
