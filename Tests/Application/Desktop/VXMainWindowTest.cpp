#include "VXMainWindow.h"

#include "VXApplication.h"
#include "VXContactForm.h"
#include "VXContactMergeView.h"
#include "VXConversationView.h"
#include "VXCrashNote.h"
#include "VXDataManager.h"
#include "VXDataPlugin.h"
#include "VXDesktopOpener.h"
#include "VXDesktopTesting.h"
#include "VXExportSheetController.h"
#include "VXFileLock.h"
#include "VXFindWindow.h"
#include "VXListPane.h"
#include "VXManagedObjectContext.h"
#include "VXMessagesOverview.h"
#include "VXMessageStore.h"
#include "VXMetaDataDebt.h"
#include "VXMetaDataFolder.h"
#include "VXNoticeBar.h"
#include "VXPhonesSection.h"
#include "VXPluginProxy.h"
#include "VXScriptedUserInterface.h"
#include "VXSearchField.h"
#include "VXSearchIndex.h"
#include "VXStoreListModel.h"
#include "VXUserDefaults.h"

#include <QtCore/QDir>
#include <QtCore/QStringListModel>
#include <QtGui/QAccessible>
#include <QtGui/QAction>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>

#include <csignal>
#include <sys/resource.h>

using namespace Qt::StringLiterals;

class VXMainWindowTest : public VXDesktopTest
{
protected:
    static bool shows(VXMainWindow &window, const QString &section, const QString &text)
    {
        const auto labels = window.section(section)->findChildren<QLabel *>();
        return window.section(section)->isVisible() && std::ranges::any_of(labels, [&text](const QLabel *label) {
                   return label->isVisible() && label->text().contains(text);
               });
    }

    /** What Tab can reach on the window and has no name. */
    static QStringList namelessOn(const QWidget &window, const QString &where)
    {
        QApplication::processEvents();
        QStringList nameless;
        for (QWidget *const each : window.findChildren<QWidget *>()) {
            if ((each->focusPolicy() & Qt::TabFocus) == 0 || !each->isVisible())
                continue;
            QAccessibleInterface *const shown = QAccessible::queryAccessibleInterface(each);
            if (shown == nullptr || shown->text(QAccessible::Name).isEmpty())
                nameless.append(u"%1: %2 in %3"_s.arg(where, QString::fromUtf8(each->metaObject()->className()),
                                                      QString::fromUtf8(each->parent()->metaObject()->className())));
        }
        return nameless;
    }
};

TEST_F(VXMainWindowTest, theMenuOffersWhatTheSectionCanDo)
{
    VXMainWindow window;
    const auto isOffered = [&](const QString &section, const QKeySequence &keys) {
        window.showSection(section);
        for (const QAction *const action : window.findChildren<QAction *>()) {
            if (action->shortcut() == keys)
                return action->isEnabled();
        }
        ADD_FAILURE() << keys.toString().toStdString();
        return false;
    };
    EXPECT_TRUE(isOffered(u"contacts"_s, QKeySequence::New));
    EXPECT_FALSE(isOffered(u"calls"_s, QKeySequence::New));
    EXPECT_TRUE(isOffered(u"calls"_s, QKeySequence::Open));
    EXPECT_FALSE(isOffered(u"automations"_s, QKeySequence::Open));
    EXPECT_TRUE(isOffered(u"automations"_s, QKeySequence(Qt::Key_F2)));
    EXPECT_FALSE(isOffered(u"phones"_s, QKeySequence(QKeySequence::Delete)));
}

// What is deleted next would be both rows.
TEST_F(VXMainWindowTest, aKeyWithCtrlChoosesOneRow)
{
    QStringListModel model({u"a"_s, u"b"_s, u"c"_s});
    VXListPane pane(u"Search"_s, u"List"_s, nullptr);
    pane.setModel(&model);
    pane.list()->setSelectionMode(QListView::ExtendedSelection);
    const auto chosen = [&pane] { return pane.list()->selectionModel()->selectedRows().size(); };
    pane.choose(0);
    QTest::keyPress(pane.list(), Qt::Key_Control, Qt::ControlModifier);
    pane.choose(2);
    EXPECT_EQ(chosen(), 1);
    QTest::keyRelease(pane.list(), Qt::Key_Control);
    pane.list()->selectAll();
    pane.choose(pane.list()->currentIndex().row()); // as after each change of the store
    EXPECT_EQ(chosen(), 3);
}

TEST_F(VXMainWindowTest, whatTheDesktopsSearchFoundIsShown)
{
    const QDateTime longAgo = QDateTime::fromSecsSinceEpoch(1'700'000'000);
    const struct
    {
        QString section;
        QString text;
        QString url;
    } table[] = {
        {u"contacts"_s, u"Jane Doe"_s,
         insert(u"phonebook"_s, u"VXPerson"_s, {{u"firstName"_s, u"Jane"_s}, {u"lastName"_s, u"Doe"_s}})},
        {u"messages"_s, u"0199"_s,
         insert(u"messages"_s, u"VXMessage"_s,
                {{u"text"_s, u"Hello"_s}, {u"from"_s, u"<+15550199>"_s}, {u"direction"_s, 1}, {u"date"_s, longAgo}})},
        {u"calls"_s, u"0198"_s,
         insert(u"calls"_s, u"VXCall"_s, {{u"from"_s, u"<+15550198>"_s}, {u"direction"_s, 1}, {u"date"_s, longAgo}})},
    };
    QList<QVariantMap> calls; // a page and more before it; the first one at the same time
    QList<QVariantMap> messages;
    for (int i = 0; i < 200; ++i) {
        calls.append({{u"from"_s, u"<+15550100>"_s}, {u"direction"_s, 1}, {u"date"_s, longAgo.addSecs(i)}});
        messages.append({{u"text"_s, u"And then"_s},
                         {u"from"_s, u"<+15550199>"_s},
                         {u"direction"_s, 1},
                         {u"date"_s, longAgo.addSecs(i + 1)}});
    }
    insertAll(u"calls"_s, u"VXCall"_s, calls);
    insertAll(u"messages"_s, u"VXMessage"_s, messages);
    VXMainWindow window;
    window.show();
    for (const auto &row : table) {
        VXDesktopOpener(window).open({row.url});
        EXPECT_TRUE(VXRunUntil([&] { return shows(window, row.section, row.text); })) << row.url.toStdString();
    }
    window.showSection(u"messages"_s);
    const QListView &bubbles = *window.findChild<VXConversationView *>()->findChild<QListView *>();
    const auto isOnScreen = [&] {
        const QModelIndex index = bubbles.currentIndex();
        return index.data().toString().contains(u"Hello"_s) &&
               bubbles.viewport()->rect().contains(bubbles.visualRect(index).center());
    };
    EXPECT_TRUE(VXRunUntil(isOnScreen));
    EXPECT_GT(bubbles.model()->rowCount(), 200);
}

TEST_F(VXMainWindowTest, wordsAreFoundInAllSections)
{
    insert(u"calls"_s, u"VXCall"_s,
           {{u"from"_s, u"Jane Doe <+15550198>"_s},
            {u"direction"_s, 1},
            {u"state"_s, u"ended"_s},
            {u"date"_s, QDateTime::currentDateTime()}});
    const QUrl contact(insert(u"phonebook"_s, u"VXPerson"_s, {{u"firstName"_s, u"Jane"_s}, {u"lastName"_s, u"Doe"_s}}));
    const QDateTime longAgo(QDate(2001, 2, 3), QTime(4, 5));
    const auto hasAll = [] {
        const auto index = VXSearchIndex::openExisting();
        const auto found = index ? index->find(u"jane"_s, {}, 10, nullptr) : std::nullopt;
        return found && found->size() == 2;
    };
    ASSERT_TRUE(VXRunUntil(hasAll));
    VXMainWindow window;
    window.show();
    insert(u"calls"_s, u"VXCall"_s, {{u"from"_s, u"<+15550777>"_s}, {u"direction"_s, 1}, {u"date"_s, longAgo}});
    window.showSection(u"calls"_s);
    const auto seen = [] {
        return VXUserDefaults::standardUserDefaults().objectForKey(u"desktop.calls.seen"_s).toDateTime();
    };
    EXPECT_TRUE(VXRunUntil([&] { return seen() > longAgo; }));
    const VXListPane &pane = *window.section(u"calls"_s)->findChild<VXListPane *>();
    pane.search()->setText(u"0777"_s);
    EXPECT_TRUE(
        VXRunUntil([&] { return pane.list()->model()->rowCount() == 1 && pane.list()->currentIndex().isValid(); }));
    EXPECT_GT(seen(), longAgo) << "an older call that was searched for makes none unseen";
    VXDesktopOpener(window).open({VXFoundObject::searchURL(u"Nobody & none"_s).toString(QUrl::FullyEncoded)});
    auto *const finder = window.findChild<VXFindWindow *>();
    ASSERT_NE(finder, nullptr);
    EXPECT_EQ(namelessOn(*finder, u"find"_s), QStringList());
    const QListView &list = *finder->findChild<VXListPane *>()->list();
    EXPECT_EQ(finder->findChild<QLineEdit *>()->text(), u"Nobody & none"_s);
    finder->find(u"nobody"_s);
    finder->find(u"jane"_s); // the answer to the first comes too late to be shown
    EXPECT_TRUE(VXRunUntil([&] { return list.model()->rowCount() == 2; }));
    const auto spoken = [&list](int row) {
        return list.model()->index(row, 0).data(Qt::AccessibleTextRole).toString();
    };
    EXPECT_TRUE(spoken(0).contains(u"Jane Doe"_s));
    EXPECT_TRUE(spoken(1).startsWith(u"Missed call"_s)) << spoken(1).toStdString();
    const QString sync = u"com.halvern.VNX2.plugin.phonebook"_s;
    auto turn = std::make_unique<VXFileLock>(VXMetaDataFolder(sync).lockPath(), std::chrono::seconds(5));
    VXMetaDataDebt(sync).mark({1}); // by another process, which ended
    const auto says = [finder](const QString &text) {
        return std::ranges::any_of(finder->findChildren<QLabel *>(), [&text](const QLabel *label) {
            return label->isVisible() && label->text().startsWith(text);
        });
    };
    const auto saysThatItLacks = [&says] { return says(u"Some may not"_s); };
    finder->find(u"jane"_s);
    EXPECT_TRUE(VXRunUntil(saysThatItLacks));
    turn.reset();
    EXPECT_TRUE(VXRunUntil([&] { return !saysThatItLacks() && !VXMetaDataDebt::isAnyOfAll(); }));
    QSignalSpy chosen(finder, &VXFindWindow::chosen);
    Q_EMIT finder->findChild<VXListPane *>()->activated(0);
    EXPECT_EQ(chosen.value(0).value(0).toUrl(), VXFoundObject::uriForURL(contact));
    EXPECT_FALSE(finder->isVisible());
    EXPECT_TRUE(VXRunUntil([&] { return shows(window, u"contacts"_s, u"Jane Doe"_s); }));
    VXUserDefaults::standardUserDefaults().setObject(true, u"metadata.ignore"_s);
    finder->setVisible(true);
    finder->find(u"jane"_s);
    EXPECT_TRUE(VXRunUntil([&] { return says(u"The search is switched off"_s); }));
    VXUserDefaults::standardUserDefaults().setObject(QVariant(), u"metadata.ignore"_s); // for the tests that follow
}

TEST_F(VXMainWindowTest, aMessageSearchShowsTheConversationChosenAndReadsNone)
{
    const QStringList names{u"Ann"_s, u"Bea"_s, u"Cid"_s, u"Dan"_s};
    QList<QVariantMap> messages;
    for (qsizetype i = 0; i < names.size(); ++i)
        messages.append({{u"text"_s, u"about "_s + names[i].toLower() + u"x"_s},
                         {u"from"_s, u"%1 <+1555010%2>"_s.arg(names[i]).arg(i)},
                         {u"direction"_s, 1},
                         {u"state"_s, 1},
                         {u"date"_s, QDateTime::currentDateTime().addSecs(i - 100)}});
    insertAll(u"messages"_s, u"VXMessage"_s, messages);
    const auto unread = [messageStore = VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(
                             u"messages"_s)] { return VXReadMessagesOverview(VXMessageStore(messageStore)).unread; };
    VXMainWindow window;
    window.show();
    window.activateWindow();
    window.showSection(u"messages"_s);
    const VXListPane &pane = *window.section(u"messages"_s)->findChild<VXListPane *>();
    const auto hasRows = [&pane](int count) {
        return [&pane, count] { return pane.list()->model()->rowCount() == count; };
    };
    EXPECT_TRUE(VXRunUntil(hasRows(4)));
    EXPECT_TRUE(VXRunUntil([&] { return unread() == 3; })) << "the newest is shown";
    pane.search()->setFocus();
    for (const qsizetype each : {0, 2, 1, 0}) {
        pane.search()->setText(names[each].toLower() + u'x');
        EXPECT_TRUE(VXRunUntil(hasRows(1)));
        EXPECT_TRUE(VXRunUntil([&] { return shows(window, u"messages"_s, names[each]); })) << names[each].toStdString();
        EXPECT_FALSE(shows(window, u"messages"_s, names[3]));
    }
    pane.search()->setText(u"annxy"_s);
    EXPECT_TRUE(VXRunUntil(hasRows(0)));
    pane.search()->clear();
    EXPECT_TRUE(VXRunUntil(hasRows(4)));
    EXPECT_TRUE(VXRunUntil([&] { return shows(window, u"messages"_s, names[0]); }));
    pane.search()->setText(u"beax"_s);
    EXPECT_TRUE(VXRunUntil([&] { return hasRows(1)() && shows(window, u"messages"_s, names[1]); }));
    window.showSection(u"calls"_s);
    window.showSection(u"messages"_s);
    EXPECT_EQ(unread(), 3) << "coming back chooses nothing";
}

TEST_F(VXMainWindowTest, chosenContactsBecomeOneAndComeApartAgain)
{
    const QStringList apart{u"Jane Doe"_s, u"Joe Hill"_s, u"Jane M. Doe"_s};
    for (const QString &name : apart) {
        VXContactRecord contact;
        contact.firstName = name;
        contact.numbers = {{u"+1 555 010"_s + QString::number(name.size()), 0, {}}};
        add(contact);
    }
    VXMainWindow window;
    window.show();
    window.showSection(u"contacts"_s);
    VXSection &section = *window.section(u"contacts"_s);
    QListView &list = *section.findChild<VXListPane *>()->list();
    ASSERT_TRUE(VXRunUntil([&] { return list.model()->rowCount() == 3; }));
    const auto rowOf = [&](const QString &name) {
        for (int row = 0; row < list.model()->rowCount(); ++row) {
            if (list.model()->index(row, 0).data().toString().startsWith(name))
                return list.model()->index(row, 0);
        }
        return QModelIndex();
    };
    ASSERT_TRUE(VXRunUntil([&] { return rowOf(u"Joe"_s).isValid(); }));
    section.merge(); // one alone
    EXPECT_EQ(section.findChild<VXContactMergeView *>(), nullptr);
    list.selectionModel()->select(rowOf(u"Jane Doe"_s), QItemSelectionModel::ClearAndSelect);
    list.selectionModel()->select(rowOf(u"Jane M."_s), QItemSelectionModel::Select);
    section.merge();
    auto *const view = window.findChild<VXContactMergeView *>();
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(namelessOn(*view, u"merge"_s), QStringList());
    EXPECT_EQ(namesOfContacts().size(), 3); // looked at first
    for (QPushButton *const button : view->findChildren<QPushButton *>()) {
        if (button->isDefault())
            button->click();
    }
    EXPECT_EQ(namesOfContacts().size(), 2);
    EXPECT_TRUE(namesOfContacts().contains(u"Joe Hill"_s));
    section.undoStack().undo();
    EXPECT_EQ(namesOfContacts(), (QStringList{u"Jane Doe"_s, u"Jane M. Doe"_s, u"Joe Hill"_s}));
    EXPECT_FALSE(section.undoStack().canRedo());
}

TEST_F(VXMainWindowTest, aStoreIsImportedOnceTheUserAgrees)
{
    const auto contact = [](const QString &name) {
        VXContactRecord record;
        record.firstName = name;
        return record;
    };
    add(contact(u"Jane"_s));
    const QString store = path(u"of a friend.vxdatastore"_s);
    auto &plugin = VXDataManager::sharedDataManager().pluginForDataStore(u"phonebook"_s)->as<VXDataPlugin>("export");
    ASSERT_EQ(plugin.exportStoreTo(store, false), VXError());
    const auto coordinator = VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(u"phonebook"_s);
    {
        VXManagedObjectContext context(coordinator);
        const auto found =
            context.executeFetchRequest(VXFetchRequest(*coordinator->model().entityForName(u"VXPerson"_s)));
        for (const VXManagedObjectPtr &each : *found)
            context.deleteObject(each);
        ASSERT_TRUE(context.save());
    }
    add(contact(u"Joe"_s));
    VXMainWindow window;
    auto user = std::make_unique<VXScriptedUserInterface>();
    VXScriptedUserInterface &script = *user;
    VXApplication::sharedApplication().setUserInterface(std::move(user));
    script.answerAlert(VXAlertButton::Alternate);
    VXDesktopOpener(window).open({store});
    EXPECT_EQ(namesOfContacts(), QStringList{u"Joe"_s});
    script.answerAlert(VXAlertButton::Default);
    VXDesktopOpener(window).open({u"file://"_s + QString(store).replace(u' ', u"%20"_s) + u'/'});
    EXPECT_EQ(namesOfContacts(), (QStringList{u"Jane"_s, u"Joe"_s}));
    EXPECT_EQ(script.unusedAnswers(), 0U);
    EXPECT_EQ(script.errors().size(), 0U);
    QDir(path()).mkdir(u"strange.vxdatastore"_s);
    VXDesktopOpener(window).open({path(u"strange.vxdatastore"_s)});
    EXPECT_EQ(script.errors().size(), 1U);
}

// On a disk that is full: what was typed stays, and quitting asks.
TEST_F(VXMainWindowTest, anEditThatCannotBeSavedStaysOnScreen)
{
    VXContactRecord contact;
    contact.firstName = u"Jane"_s;
    add(contact);
    VXMainWindow window;
    window.show();
    window.showSection(u"contacts"_s);
    VXSection &section = *window.section(u"contacts"_s);
    ASSERT_TRUE(VXRunUntil([&] { return shows(window, u"contacts"_s, u"Jane"_s); }));
    section.edit();
    auto &form = *section.findChild<VXContactForm *>();
    form.findChild<QLineEdit *>()->setText(u"Janet"_s);
    auto user = std::make_unique<VXScriptedUserInterface>();
    VXScriptedUserInterface &script = *user;
    VXApplication::sharedApplication().setUserInterface(std::move(user));
    struct rlimit before = {};
    ::getrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, SIG_IGN);
    const struct rlimit full = {1, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &full);
    EXPECT_FALSE(section.commit());
    script.answerAlert(VXAlertButton::Default);
    window.showSection(u"calls"_s);
    window.quit();
    ::setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(script.unusedAnswers(), 0U);
    EXPECT_FALSE(VXApplication::sharedApplication().isTerminating());
    EXPECT_TRUE(form.isVisible());
    EXPECT_TRUE(section.notices().isProblem());
    EXPECT_EQ(namesOfContacts(), QStringList{u"Jane"_s});
    EXPECT_TRUE(section.commit()); // there is room again
    EXPECT_EQ(namesOfContacts(), QStringList{u"Janet"_s});
    section.undoStack().undo();
    EXPECT_EQ(namesOfContacts(), QStringList{u"Jane"_s});
}

TEST_F(VXMainWindowTest, allThatAListShowsIsOfferedForExport)
{
    for (const QString &name : {u"Ben"_s, u"Jane"_s}) {
        VXContactRecord contact;
        contact.firstName = name;
        add(contact);
    }
    VXDataManager &stores = VXDataManager::sharedDataManager();
    VXExportSheetController *sheet = nullptr;
    stores.setExportSheetPresenter([&sheet](const QVariantList &objects, const QString &name, QObject *) {
        auto made = std::make_unique<VXExportSheetController>(objects, name);
        sheet = made.get();
        return made;
    });
    VXMainWindow window;
    window.section(u"contacts"_s)->exportItems();
    ASSERT_TRUE(VXRunUntil([&] { return sheet != nullptr; }));
    stores.setExportSheetPresenter({});
    ASSERT_EQ(sheet->objects().size(), 2);
    EXPECT_EQ(VXContactRecord(sheet->objects().constLast()).firstName, u"Jane"_s);
    sheet->cancelAction();
}

TEST_F(VXMainWindowTest, whatWasBeingTypedIsThereAfterASuddenEnd)
{
    VXContactRecord contact;
    contact.firstName = u"Jane"_s;
    add(contact);
    const auto formOf = [](VXMainWindow &window) {
        return window.section(u"contacts"_s)->findChild<VXContactForm *>();
    };
    {
        VXMainWindow window;
        window.show();
        window.showSection(u"contacts"_s);
        ASSERT_TRUE(VXRunUntil([&] { return shows(window, u"contacts"_s, u"Jane"_s); }));
        window.section(u"contacts"_s)->edit();
        QTest::keyClicks(formOf(window)->findChild<QLineEdit *>(), u"t"_s);
    }
    EXPECT_EQ(namesOfContacts(), QStringList{u"Jane"_s});
    {
        VXMainWindow window;
        EXPECT_EQ(formOf(window)->contact().firstName, u"Janet"_s);
        EXPECT_TRUE(window.section(u"contacts"_s)->commit());
        EXPECT_EQ(namesOfContacts(), QStringList{u"Janet"_s});
    }
    VXMainWindow window;
    EXPECT_EQ(formOf(window), nullptr); // it is made to edit
}

TEST_F(VXMainWindowTest, phonesThatAnotherProgramAddsAndForgetsAreFollowed)
{
    VXMainWindow window;
    const auto &section = dynamic_cast<VXPhonesSection &>(*window.section(u"phones"_s));
    for (const QVariantList &phones : {QVariantList{u"fixture://phone/1"_s}, QVariantList()}) {
        VXUserDefaults::standardUserDefaults().setObject(phones, u"devices21"_s); // as the watch of the file does
        EXPECT_TRUE(VXRunUntil([&] { return section.isEmpty() == phones.isEmpty(); }));
    }
}

TEST_F(VXMainWindowTest, aCrashIsToldOfAtTheNextStartAndOnce)
{
    EXPECT_EXIT(
        {
            const VXCrashNote note;
            std::raise(SIGSEGV);
        },
        testing::KilledBySignal(SIGSEGV), "the program crashed");
    struct sigaction before = {};
    ::sigaction(SIGSEGV, nullptr, &before);
    const VXCrashNote note;
    EXPECT_EQ(note.before(), QString());
    EXPECT_FALSE(VXCrashNote().before());
    VXMainWindow window;
    window.tellOfCrash(u"/plugins/Broken.vxplugin"_s);
    EXPECT_TRUE(window.sections().constFirst()->notices().text().contains(u"Broken"_s));
    for (const int signal : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT})
        ::sigaction(signal, &before, nullptr);
}
