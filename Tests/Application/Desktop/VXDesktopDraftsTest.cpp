#include "VXConversationView.h"
#include "VXDataManager.h"
#include "VXDesktopOpener.h"
#include "VXDesktopTesting.h"
#include "VXEmptyState.h"
#include "VXListPane.h"
#include "VXMainWindow.h"
#include "VXManagedObjectContext.h"
#include "VXNoticeBar.h"
#include "VXPersistentStoreCoordinator.h"
#include "VXPhonebookTokenField.h"
#include "VXSearchField.h"
#include "VXTextLabel.h"
#include "VXTriggerEditor.h"

#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QListView>
#include <QtWidgets/QPlainTextEdit>
#include <QtWidgets/QPushButton>

#include <csignal>
#include <sys/resource.h>

using namespace Qt::StringLiterals;

/** What is typed and not yet done. A window that goes without being asked stands for a sudden end. */
class VXDesktopDraftsTest : public VXDesktopTest
{
protected:
    struct Messages
    {
        VXMainWindow &window;
        VXConversationView &view = *window.section(u"messages"_s)->findChild<VXConversationView *>();
        QPlainTextEdit &text = *view.findChild<QPlainTextEdit *>();

        void open(const QString &uri) { VXDesktopOpener(window).open({uri}); }
        void expect(const QString &receivers, const QString &typed)
        {
            EXPECT_EQ(view.receivers().join(u' '), receivers);
            EXPECT_EQ(text.toPlainText(), typed);
        }
    };

    struct Automations
    {
        VXMainWindow window;
        VXSection &section = *window.section(u"automations"_s);
        VXTriggerEditor &editor = *section.findChild<VXTriggerEditor *>();

        Automations() { window.show(); }
        QString name() const { return editor.draft().name; }
        void type(const QString &text) { QTest::keyClicks(editor.findChild<QLineEdit *>(), text); }
        void react(const QList<VXTriggerChange::Reaction> &reactions)
        {
            VXTriggerDraft draft = editor.draft();
            draft.reactions = reactions;
            editor.setDraft(draft);
            Q_EMIT editor.didChange();
        }
    };

    static QStringList stored()
    {
        QStringList all;
        const auto store = VXTriggerStore::open();
        const auto triggers = store->triggers();
        for (const VXTrigger &each : *triggers)
            all.append(each.title() + (each.isEnabled() ? u""_s : u" off"_s));
        return all;
    }
    static void changeElsewhere(const QString &name, const VXTriggerChange &change)
    {
        const auto store = VXTriggerStore::open();
        VXTrigger trigger = store->triggerWithID(name);
        EXPECT_TRUE(store->change(trigger, change) && store->save());
    }

    static void clickUndo(VXSection &section)
    {
        for (QPushButton *const each : section.notices().findChildren<QPushButton *>()) {
            if (each->text() == "Undo"_L1)
                each->click();
        }
    }

    const QList<VXTriggerChange::Reaction> notice{{u"com.halvern.VNX2.plugin.desktopnotification"_s, {}}};
};

TEST_F(VXDesktopDraftsTest, whatIsWrittenToOneNeverStandsUnderAnother)
{
    insert(u"messages"_s, u"VXMessage"_s, {{u"text"_s, u"Hi"_s}, {u"from"_s, u"<+15550199>"_s}, {u"direction"_s, 1}});
    {
        VXMainWindow window;
        Messages messages{.window = window};
        window.writeMessage({});
        messages.view.findChild<VXPhonebookTokenField *>()->addAddresses({u"<+15550123>"_s});
        QTest::keyClicks(&messages.text, u"see you"_s);
        window.writeMessage({u"<+15550177>"_s});
        messages.expect(u"<+15550177>"_s, {});
        QTest::keyClicks(&messages.text, u"hello"_s);
        window.writeMessage({});
        messages.expect(u"<+15550123>"_s, u"see you"_s);
        window.writeMessage({u"<+15550177>"_s});
        messages.view.findChild<VXPhonebookTokenField *>()->setPhonebookStrings(u"<+15550188>"_s);
        messages.expect(u"<+15550188>"_s, u"hello"_s);
        window.writeMessage({u"<+15550177>"_s});
        messages.expect(u"<+15550177>"_s, {});
    }
    VXMainWindow window;
    Messages messages{.window = window};
    window.writeMessage({});
    messages.expect(u"<+15550123>"_s, u"see you"_s);
    Q_EMIT messages.view.wantsSend({u"<+15550123>"_s, u"Nobody"_s}, u"see you"_s, QUrl(u"fixture://phone/1"_s));
    messages.expect(u"Nobody"_s, u"see you"_s);
    Q_EMIT messages.view.wantsSend({u"<+15550124>"_s}, u"see you"_s, QUrl(u"fixture://phone/1"_s));
    window.writeMessage({});
    messages.expect(u"<+15550188>"_s, u"hello"_s);
}

TEST_F(VXDesktopDraftsTest, aRecipientThatIsOnlyBegunIsKept)
{
    const auto to = [](Messages &messages) { return messages.view.findChild<VXPhonebookTokenField *>(); };
    const auto type = [](VXPhonebookTokenField *field, const QString &text) {
        field->moveCursor(QTextCursor::End);
        QTest::keyClicks(field, text);
    };
    struct Row
    {
        QStringList given;
        QString kept;
    };
    for (const Row &row : {Row{{}, {}}, {{u"<+15550123>"_s, u"<+15550124>"_s}, u"<+15550123> <+15550124>"_s}}) {
        {
            VXMainWindow window;
            Messages messages{.window = window};
            window.writeMessage(row.given);
            type(to(messages), u"+1555"_s);
        }
        {
            VXMainWindow window;
            Messages messages{.window = window};
            window.writeMessage({});
            EXPECT_EQ(to(messages)->typedText(), u"+1555"_s);
            EXPECT_EQ(to(messages)->tokenStrings().join(u' '), row.kept);
            type(to(messages), u"0188"_s);
            messages.expect((row.kept + u" +15550188"_s).trimmed(), {});
            to(messages)->setPhonebookStrings({}); // done with it
        }
    }
    VXMainWindow window;
    Messages messages{.window = window};
    window.writeMessage({u"<+15550177>"_s});
    type(to(messages), u"x"_s); // to others as well, from now on
    window.writeMessage({u"<+15550177>"_s});
    EXPECT_EQ(to(messages)->typedText(), QString());
}

TEST_F(VXDesktopDraftsTest, theTextOfALinkIsAddedToWhatIsTyped)
{
    insert(u"messages"_s, u"VXMessage"_s, {{u"text"_s, u"Hi"_s}, {u"from"_s, u"<+15550199>"_s}, {u"direction"_s, 1}});
    for (const QString &number : {u"+15550199"_s, u"+15550177"_s}) { // of a conversation, and of none
        {
            VXMainWindow window;
            Messages messages{.window = window};
            messages.open(u"sms:"_s + number);
            QTest::keyClicks(&messages.text, u"typed"_s);
            messages.open(u"sms:"_s + number + u"?body=Stop"_s);
            EXPECT_EQ(messages.text.toPlainText(), u"typed\nStop"_s);
            messages.text.undo();
            EXPECT_EQ(messages.text.toPlainText(), u"typed"_s);
            messages.text.redo();
        }
        VXMainWindow window;
        Messages messages{.window = window};
        messages.open(u"sms:"_s + number);
        EXPECT_EQ(messages.text.toPlainText(), u"typed\nStop"_s);
    }
}

TEST_F(VXDesktopDraftsTest, anAutomationThatLacksSomethingIsKept)
{
    {
        Automations first;
        first.section.makeNew();
        first.type(u"Night"_s);
        EXPECT_TRUE(first.section.commit());
        first.section.makeNew();
        EXPECT_EQ(first.name(), u"Night"_s);
    }
    {
        Automations second;
        EXPECT_EQ(second.name(), u"Night"_s);
        second.react(notice);
        EXPECT_EQ(stored(), QStringList{u"Night"_s});
        second.section.makeNew();
        EXPECT_EQ(second.name(), QString());
    }
    {
        Automations third;
        ASSERT_EQ(third.name(), u"Night"_s);
        third.type(u"s"_s);
        third.react({});
        third.section.makeNew(); // leaves it
        changeElsewhere(u"Night"_s, {.isEnabled = false});
    }
    Automations fourth;
    EXPECT_EQ(fourth.name(), u"Nights"_s);
    EXPECT_EQ(stored(), QStringList{u"Night off"_s});
    fourth.react(notice);
    EXPECT_EQ(stored(), QStringList{u"Nights off"_s});
}

TEST_F(VXDesktopDraftsTest, theEditorFollowsOthersAndWritesOnlyWhatWasChangedInIt)
{
    Automations automations;
    Q_EMIT automations.section.findChild<VXListPane *>()->placeholder()->secondActionWanted();
    EXPECT_EQ(stored(), QStringList{u"Tell me of missed calls"_s}); // what is offered to start with
    automations.section.undoStack().undo();
    for (const QString &name : {u"A"_s, u"B"_s}) {
        automations.section.makeNew();
        automations.type(name);
        automations.react(notice);
    }
    changeElsewhere(u"B"_s, {.name = u"C"_s});
    EXPECT_TRUE(VXRunUntil([&] { return automations.name() == "C"_L1; }));
    automations.type(u"!"_s);
    changeElsewhere(u"C"_s, {.isEnabled = false});
    EXPECT_TRUE(automations.section.commit());
    EXPECT_EQ(stored(), (QStringList{u"A"_s, u"C! off"_s}));
    automations.section.undoStack().undo();
    EXPECT_EQ(stored(), (QStringList{u"A"_s, u"C off"_s}));
    VXListPane &pane = *automations.section.findChild<VXListPane *>();
    pane.choose(0);
    automations.type(u"a"_s);
    pane.choose(1);
    automations.type(u"c"_s);
    automations.section.undoStack().undo(); // while what was typed in the other one is not written yet
    EXPECT_EQ(stored(), (QStringList{u"A"_s, u"Cc off"_s}));
    EXPECT_EQ(automations.name(), u"A"_s);
    EXPECT_TRUE(VXRunUntil([&] { return automations.section.undoStack().index() == 3; }));
    automations.section.undoStack().undo();
    EXPECT_EQ(stored(), (QStringList{u"A"_s, u"C off"_s}));
}

TEST_F(VXDesktopDraftsTest, whatIsTypedOnStaysWithWhatOthersHaveRemoved)
{
    for (const QString &number : {u"<+15550188>"_s, u"<+15550199>"_s})
        insert(u"messages"_s, u"VXMessage"_s, {{u"text"_s, u"Hi"_s}, {u"from"_s, number}, {u"direction"_s, 1}});
    VXMainWindow window;
    window.show();
    window.activateWindow();
    Messages messages{.window = window};
    const QAbstractItemModel &list = *window.section(u"messages"_s)->findChild<VXListPane *>()->list()->model();
    ASSERT_TRUE(VXRunUntil([&] { return list.rowCount() == 2; }));
    messages.open(u"sms:+15550199"_s);
    ASSERT_TRUE(VXRunUntil([&] { return messages.text.hasFocus(); }));
    QTest::keyClicks(&messages.text, u"for"_s);
    {
        const auto coordinator = VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(u"messages"_s);
        VXManagedObjectContext context(coordinator);
        VXFetchRequest request(*coordinator->model().entityForName(u"VXMessage"_s));
        request.predicate = *VXPredicate::predicateWithFormat(u"conversation CONTAINS '0199'"_s);
        const auto found = context.executeFetchRequest(request);
        ASSERT_EQ(found->size(), 1);
        context.deleteObject(found->first());
        ASSERT_TRUE(context.save());
    }
    ASSERT_TRUE(VXRunUntil([&] { return list.rowCount() == 1; }));
    QTest::keyClicks(&messages.text, u" you"_s);
    messages.expect(u"<+15550199>"_s, u"for you"_s);
}

TEST_F(VXDesktopDraftsTest, anAutomationIsBroughtBackOnceAndNeverTakesTheNameOfAnother)
{
    Automations automations;
    for (const QString &name : {u"A"_s, u"B"_s}) {
        automations.section.makeNew();
        automations.type(name);
        automations.react(notice);
    }
    automations.type(u"2"_s);
    automations.section.remove();
    EXPECT_EQ(stored(), QStringList{u"A"_s});
    automations.section.undoStack().undo();
    EXPECT_EQ(stored(), (QStringList{u"A"_s, u"B2"_s}));
    automations.section.undoStack().undo();
    EXPECT_EQ(stored(), (QStringList{u"A"_s, u"B"_s}));

    automations.window.activateWindow();
    automations.window.showSection(u"automations"_s);
    automations.section.edit();
    ASSERT_TRUE(VXRunUntil([&] { return automations.editor.isAncestorOf(QApplication::focusWidget()); }));
    ASSERT_EQ(automations.name(), u"B"_s);
    const auto store = VXTriggerStore::open();
    store->remove(store->triggerWithID(u"B"_s));
    ASSERT_TRUE(store->save());
    EXPECT_TRUE(VXRunUntil([&] { return !automations.editor.isVisible(); }));
    QTest::keyClicks(QApplication::focusWidget(), u"x"_s);
    EXPECT_TRUE(automations.section.commit());
    EXPECT_EQ(stored(), QStringList{u"A"_s});
}

TEST_F(VXDesktopDraftsTest, theDeleteKeyIsForTheListAndNotForTheEditor)
{
    Automations automations;
    automations.window.activateWindow();
    automations.window.showSection(u"automations"_s);
    ASSERT_TRUE(VXRunUntil([&] { return automations.window.isActiveWindow(); }));
    automations.section.makeNew();
    automations.type(u"A"_s);
    automations.react(notice);
    for (QWidget *const each : std::initializer_list<QWidget *>{automations.editor.findChild<QCheckBox *>(),
                                                                automations.editor.findChild<QLineEdit *>()}) {
        each->setFocus();
        QTest::keyClick(each, Qt::Key_Delete);
        EXPECT_EQ(stored(), QStringList{u"A"_s});
    }
    QListView *const list = automations.section.findChild<VXListPane *>()->list();
    list->setFocus();
    QTest::keyClick(list, Qt::Key_Delete);
    EXPECT_EQ(stored(), QStringList());
}

TEST_F(VXDesktopDraftsTest, whatIsTypedOnStaysWhereTheListHasNoneLeft)
{
    Automations automations;
    automations.window.activateWindow();
    automations.window.showSection(u"automations"_s);
    VXListPane &pane = *automations.section.findChild<VXListPane *>();
    automations.section.makeNew();
    automations.type(u"Quark"_s);
    automations.react(notice);
    pane.search()->setText(u"quark"_s);
    auto *const name = automations.editor.findChild<QLineEdit *>();
    name->setFocus();
    name->selectAll();
    ASSERT_TRUE(VXRunUntil([&] { return name->hasFocus(); }));
    QTest::keyClicks(name, u"B"_s); // which the search hides
    ASSERT_TRUE(VXRunUntil([&] { return pane.list()->model()->rowCount() == 0; }));
    QTest::keyClicks(QApplication::focusWidget(), u"C"_s);
    EXPECT_TRUE(automations.section.commit());
    EXPECT_EQ(stored(), QStringList{u"BC"_s});
    EXPECT_TRUE(automations.editor.isVisible());

    QTest::keyClicks(name, u"D"_s);
    const auto store = VXTriggerStore::open();
    store->remove(store->triggerWithID(u"BC"_s));
    ASSERT_TRUE(store->save());
    ASSERT_TRUE(VXRunUntil([&] { return stored() == QStringList{u"BCD"_s}; })) << stored().join(u' ').toStdString();
    EXPECT_TRUE(automations.editor.isVisible());
}

TEST_F(VXDesktopDraftsTest, aDeletedAutomationThatWasNeverSavedComesBack)
{
    Automations automations;
    automations.section.makeNew();
    automations.type(u"Night"_s);
    automations.section.remove();
    EXPECT_FALSE(automations.editor.isVisible());
    clickUndo(automations.section);
    EXPECT_EQ(automations.name(), u"Night"_s);
    EXPECT_EQ(stored(), QStringList());
    automations.react(notice);
    EXPECT_EQ(stored(), QStringList{u"Night"_s});
}

TEST_F(VXDesktopDraftsTest, onAFullDiskAnAutomationStaysInItsEditorAndThatIsTold)
{
    Automations automations;
    for (const QString &name : {u"A"_s, u"B"_s}) {
        automations.section.makeNew();
        automations.type(name);
        automations.react(notice);
    }
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit nothing{.rlim_cur = 0, .rlim_max = before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &nothing), 0);
    automations.type(u"2"_s);
    const bool isSaved = automations.section.commit();
    automations.section.findChild<VXListPane *>()->choose(0);
    const QString name = automations.name();
    QString told;
    for (const VXTextLabel *const each : automations.editor.findChildren<VXTextLabel *>()) {
        if (each->text().startsWith(u"Not saved yet: "_s) && !each->isHidden())
            told = each->text();
    }
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    std::signal(SIGXFSZ, handler);
    EXPECT_FALSE(isSaved);
    EXPECT_EQ(name, u"B2"_s);
    EXPECT_FALSE(told.isEmpty());
    EXPECT_TRUE(automations.section.commit());
    EXPECT_EQ(stored(), (QStringList{u"A"_s, u"B2"_s}));
}
