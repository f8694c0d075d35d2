#pragma once

#include "VXDevicePlugin.h"
#include "VXSection.h"

#include <QtGui/QUndoGroup>
#include <QtWidgets/QMainWindow>

#include <functional>
#include <vector>

class QStackedWidget;
class VXSidebar;

/** The program's window: sections at the side, the chosen one beside them, running work below. A section is made when it is shown
 *  or asked for; the others one after the other soon after the window is painted. Main thread. */
class VXMainWindow : public QMainWindow
{
    Q_OBJECT

public:
    VXMainWindow();
    ~VXMainWindow() override;

    /** Those that are made. */
    QList<VXSection *> sections() const;
    /** Made, if need be; nullptr for none. */
    VXSection *section(const QString &key);
    void showSection(const QString &key);
    /** Brings the window to the front. */
    void activate();
    /** Requests of other programs and other sections. */
    void call(const QString &number);
    /** Has a phone do something with an object, and reports failures: `failure`, with the reason in place of "%1". */
    void execute(const QString &action, const QVariant &object, const VXDevicePlugin::Ptr &phone,
                 const QString &failure, const std::function<void()> &tryAgain = {});
    void sync();
    /** Asks for a phone to add. */
    void addPhone();
    /** Below the section that is shown. */
    void tellDone(const QString &text);
    /** That the run before ended so; `plugin`: the bundle whose code it was in, empty when it was none's. */
    void tellOfCrash(const QString &plugin);
    void writeMessage(const QStringList &phonebookStrings, const QString &text = {});
    void showContact(const QString &phonebookString);
    /** Shows a contact, a message in its conversation, or a call, by the URI of the stored object; false if it does not
     *  exist. */
    bool showObject(const QUrl &uri);
    void importContacts(const QStringList &paths);
    /** Contacts, messages and calls at once. */
    /** `words`: that are searched for at once; null for none. */
    void findEverywhere(const QString &words = {});
    void openPreferences(const QString &page = {});
    void openLog();
    /** No phone, no contact and no message. */
    bool hasNothing();
    /** The assistant of the first start, when there is nothing yet. */
    void assist();
    /** Ends the program, unless the user prefers to continue because something could not be saved. */
    void quit();

Q_SIGNALS:
    /** Emitted once, after the first section was painted. */
    void didShow();
    /** Of some section; also when it was made with something to be looked at. */
    void badgeDidChange();
    /** Files were dropped on the window. */
    void wantsOpen(const QStringList &uris);

protected:
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dropEvent(QDropEvent *event) override;
    void closeEvent(QCloseEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    using QMainWindow::addAction;

    struct Place
    {
        VXSection::Info info = {};
        std::function<VXSection *()> make = {};
        VXSection *section = nullptr; // none until it is made
    };

    bool commit();
    void addPlaces();
    template <class Section>
    void addPlace();
    template <class Section>
    Section &made();
    VXSection &make(Place &place);
    void makeRest();
    void makeMenus();
    QAction *addAction(QMenu *menu, const QString &title, const QKeySequence &keys,
                       const std::function<void()> &perform);
    VXSection *current() const;
    void showSectionAt(int index);
    void focusList();
    void goBack();

    VXSidebar *_sidebar;
    QStackedWidget *_pages;
    std::vector<Place> _places;
    QUndoGroup _undo;
    std::vector<std::pair<QAction *, VXSection::Task>> _tasks; // of the current section
    bool _hasPainted = false;
};
