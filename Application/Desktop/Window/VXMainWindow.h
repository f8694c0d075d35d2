#pragma once

#include "VXDevicePlugin.h"
#include "VXSection.h"

#include <QtGui/QUndoGroup>
#include <QtWidgets/QMainWindow>

#include <vector>

class QStackedWidget;
class VXContactsSection;
class VXMessagesSection;
class VXPhonesSection;
class VXSidebar;

/** The program's window: sections at the side, the selected one beside them, running work below. Main thread. */
class VXMainWindow : public QMainWindow
{
    Q_OBJECT

public:
    VXMainWindow();
    ~VXMainWindow() override;

    const std::vector<VXSection *> &sections() const { return _sections; }
    VXSection *section(const QString &key) const;
    void showSection(const QString &key);
    /** Brings the window to the front. */
    void activate();
    /** Requests of other programs and other sections. */
    void call(const QString &number);
    /** Has a phone do something with an object, and reports failures: `failure`, with the reason in place of "%1". */
    void execute(const QString &action, const QVariant &object, const VXDevicePlugin::Ptr &phone,
                 const QString &failure, const std::function<void()> &tryAgain = {});
    void sync();
    /** Shown below the current section. */
    void tellDone(const QString &text);
    void writeMessage(const QStringList &phonebookStrings, const QString &text = {});
    void showContact(const QString &phonebookString);
    /** Shows a contact, a message in its conversation, or a call, by the URI of the stored object; false if it does not
     *  exist. */
    bool showObject(const QUrl &uri);
    void importContacts(const QStringList &paths);
    /** Searches contacts, messages and calls at once. */
    void findEverywhere();
    void openPreferences(const QString &page = {});
    void openLog();
    /** True if there is no phone, no contact and no message. */
    bool hasNothing() const;
    /** Shows the assistant of the first start, if there is nothing yet. */
    void assist();
    /** Ends the program, unless the user prefers to continue because something could not be saved. */
    void quit();

Q_SIGNALS:
    /** Emitted once, after the first section was painted. */
    void didShow();
    /** Files were dropped onto the window. */
    void wantsOpen(const QStringList &uris);

protected:
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dropEvent(QDropEvent *event) override;
    void closeEvent(QCloseEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    using QMainWindow::addAction;

    bool commit();
    void addSections();
    void add(VXSection *section);
    void makeMenus();
    QAction *addAction(QMenu *menu, const QString &title, const QKeySequence &keys,
                       const std::function<void()> &perform);
    VXSection *current() const;
    void showSectionAt(int index);
    void focusList();

    VXSidebar *_sidebar;
    QStackedWidget *_pages;
    std::vector<VXSection *> _sections;
    VXContactsSection *_contacts = nullptr;
    VXMessagesSection *_messages = nullptr;
    VXPhonesSection *_phones = nullptr;
    QUndoGroup _undo;
    std::vector<std::pair<QAction *, VXSection::Task>> _tasks; // of the current section
    bool _hasPainted = false;
};
