#include "VXConversationView.h"
#include "VXDesktopOpener.h"
#include "VXDesktopTesting.h"
#include "VXMainWindow.h"
#include "VXPhonebookTokenField.h"

#include <QtTest/QTest>
#include <QtWidgets/QPlainTextEdit>

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
