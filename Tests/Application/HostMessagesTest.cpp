// Messages, and who they are from, as the commands show them.

#include "HostProgram.h"
#include "HostTestsPaths.h"
#include "VXHostJSON.h"
#include "VXTesting.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

using namespace Qt::StringLiterals;
using testing::HasSubstr;

class HostMessagesTest : public VXHomeTest
{
protected:
    HostMessagesTest()
    {
        const QByteArray messages =
            "<?xml version='1.0' encoding='UTF-8'?>\n<smses>\n"
            "<sms address='+15550100' date='1772359200000' type='1' body='one' read='0' contact_name='(Unknown)'/>\n"
            "<sms address='+15550101' date='1772359201000' type='2' body='two'/>\n"
            "<sms address='+15550199' date='1772359202000' type='1' body='three' read='1'/>\n"
            "<sms address='PARCELS' date='1772359203000' type='1' body='four' contact_name='Parcels'/>\n"
            "<sms address='PARCELS' date='1772359204000' type='1' body='five'/>\n"
            "<sms address='1' date='1772359205000' type='9' body='six'/>\n</smses>\n";
        const HostOutcome import = runHost("messages import -", messages);
        EXPECT_THAT(import.output, HasSubstr("Imported 5 messages"));
        EXPECT_EQ(import.status, 1); // one could not be read
        runHost("phonebook add 'Jane Doe' --number '+1 555 0100' --number '+1 555 0101/m'");
        runHost("phonebook add 'Joe Hill' --number '+1 555 0110' --number '+1 555 0111'");
        runHost("phonebook add Ann --email ann@example.org");
    }

    /** The texts that a command shows, newest first, with who they are from or to. */
    static QStringList shown(const VXWords &arguments)
    {
        const HostOutcome outcome = runHost(VXWords{"--json", "messages"} + arguments);
        QStringList lines;
        for (const QJsonValue message : outcome.json().toArray())
            lines.append(message[u"who"_s].toString() + u' ' + message[u"text"_s].toString());
        return lines;
    }
};

TEST_F(HostMessagesTest, PeopleAreCalledAsInThePhonebook)
{
    const QStringList jane{u"Jane Doe two"_s, u"Jane Doe one"_s};
    const std::pair<VXWords, QStringList> cases[] = {
        {"list inbox", {u"PARCELS five"_s, u"PARCELS four"_s, u"+15550199 three"_s, u"Jane Doe one"_s}},
        {"conversation 'Jane Doe'", jane}, // whichever of her numbers
        {"conversation jan", jane},
        {"conversation '555 0101'", {u"Jane Doe two"_s}},
        {"conversation parcels", {u"PARCELS five"_s, u"PARCELS four"_s}},
        {"conversation 'Joe Hill'", {}},
        {"conversation par", {u"PARCELS five"_s, u"PARCELS four"_s}},
        {"conversation '+1 555 019'", {u"+15550199 three"_s}},
        {"conversation 555", {}}, // several
    };
    for (const auto &[arguments, expected] : cases)
        EXPECT_EQ(shown(arguments), expected) << arguments.join(u' ').toStdString();
    EXPECT_THAT(runHost("messages conversation 555").errors, HasSubstr("\"555\" are several: Jane Doe, +15550199\n"));
    EXPECT_THAT(runHost("messages list inbox").output, HasSubstr("unread  < Jane Doe   one    p1"));
    EXPECT_THAT(runHost("messages read p1").output, HasSubstr("state      read"));
    EXPECT_EQ(runHost("messages move p1 user").status, 0);
    EXPECT_EQ(shown("list user"), QStringList{u"Jane Doe one"_s});
}

TEST_F(HostMessagesTest, ListsFitTheLinesThatThereAre)
{
    const std::pair<QString, QStringList> cases[] = {
        {u"80"_s, {u"DATE"_s, u"STATE"_s, u"FROM"_s, u"TEXT"_s, u"ID"_s}},
        {u"50"_s, {u"STATE"_s, u"FROM"_s, u"TEXT"_s, u"ID"_s}},
    };
    runHost(
        {u"messages"_s, u"import"_s, u"-"_s},
        "<?xml version='1.0' encoding='UTF-8'?>\n<smses><sms address='PARCELS' date='1772359204001' type='1' body='" +
            QByteArray(200, 'x') + "'/></smses>");
    for (const auto &[columns, titles] : cases) {
        const HostOutcome outcome = runHostShell(u"COLUMNS=%1 \"$0\" messages list inbox"_s.arg(columns));
        const QList<QByteArray> lines = outcome.output.split('\n');
        for (const QByteArray &line : lines)
            EXPECT_LE(QString::fromUtf8(line).size(), columns.toInt()) << line.toStdString();
        for (const QString &title : {u"DATE"_s, u"STATE"_s, u"FROM"_s, u"TEXT"_s, u"ID"_s})
            EXPECT_EQ(lines.first().contains(title.toUtf8()), titles.contains(title)) << title.toStdString();
    }
    EXPECT_THAT(runHost("messages list inbox").output, HasSubstr(std::string(200, 'x')));
}

TEST_F(HostMessagesTest, NoTextSteersTheTerminal)
{
    runHost("messages import -",
            "<?xml version='1.0' encoding='UTF-8'?>\n<smses><sms address='+15550199' date='1772359209000' type='1' "
            "body='seven&#13;&#10;eight&#xd;\xc2\x9b\x32J&#x7f;'/></smses>");
    const HostOutcome list = runHost("--json messages list inbox");
    const QString found = list.json()[0][u"id"_s].toString();
    const std::string text = runHost({"messages", "read", found}).output;
    EXPECT_THAT(text, HasSubstr("seven eight^M<U+009B>2J^?\n"));
}

TEST_F(HostMessagesTest, WhomAMessageCanNotGoToIsTold)
{
    const std::pair<QString, const char *> cases[] = {
        {u"Nobody"_s, "\"Nobody\" is no phone number, and no contact is called so\n"},
        {u"Jane"_s, "no contact is called so; near it is: Jane Doe (p1)"},
        {u"Ann"_s, "Ann has no phone number"},
        {u"joe hill"_s, "Joe Hill has several phone numbers: +1 555 0110, +1 555 0111"},
        {u"+1 555 0100, +1 555 0101"_s, "a message goes to one number at a time"},
        {u"Al <+1 555 0100 ext. 7>"_s, "there is no phone to send by"},
        {u"jane doe"_s, "there is no phone to send by"}, // her mobile number would do
    };
    for (const auto &[to, problem] : cases) {
        const HostOutcome outcome = runHost({"messages", "send", to, "Hi"});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.errors, HasSubstr(problem));
    }
    EXPECT_EQ(shown("list drafts"), QStringList());
}

TEST_F(HostMessagesTest, FoldersAreTheUsersToMakeAndToRemove)
{
    const auto messages = [](const VXWords &arguments) { return runHost(VXWords{"messages"} + arguments); };
    const auto titles = [] {
        QStringList all;
        const HostOutcome outcome = runHost("--json messages folders");
        for (const QJsonValue folder : outcome.json().toArray())
            all.append(folder[u"title"_s].toString() + u':' + QString::number(folder[u"count"_s].toInt()));
        return all.mid(5).join(u' ');
    };
    EXPECT_EQ(messages("add-folder 'My  work'").output, "Made the folder \"My work\".\n");
    const std::pair<VXWords, const char *> refused[] = {
        {"add-folder 'my work'", "There is a folder \"my work\" already."},
        {"add-folder Inbox", "There is a folder \"Inbox\" already."},
        {"add-folder ' '", "A folder needs a name."},
        {"add-folder b --where 'txt == 1'", "--where: "},
        {"add-folder b --where 'state == 1'", "a smart folder shows messages of a phone"},
        {"rename-folder inbox In", "The folder \"inbox\" keeps its name."},
        {"remove-folder trash", "The folder \"trash\" stays."},
        {"delete p1 p99", "there is no message \"p99\""},
    };
    for (const auto &[arguments, problem] : refused)
        EXPECT_THAT(messages(arguments).errors, HasSubstr(problem));
    EXPECT_EQ(messages("move p1 'my work'").status, 0);
    EXPECT_EQ(messages("rename-folder 'my work' Work").status, 0);
    EXPECT_EQ(titles(), u"Work:1"_s);
    EXPECT_THAT(runHost("completion words message-folders").output, HasSubstr("Work"));

    EXPECT_EQ(messages("remove-folder work").status, 0);
    EXPECT_EQ(titles(), QString());
    EXPECT_EQ(messages("delete p2 p3").status, 0);
    EXPECT_EQ(shown("list trash"), (QStringList{u"+15550199 three"_s, u"Jane Doe two"_s, u"Jane Doe one"_s}));
    EXPECT_EQ(messages("delete p3").status, 1); // it is there
    EXPECT_EQ(messages("move p3 inbox").status, 0);
    EXPECT_EQ(messages("delete p2 --for-good").status, 0);
    EXPECT_EQ(messages("empty-trash").output, "Deleted for good: 1.\n");
    EXPECT_EQ(messages("empty-trash").output, "There is nothing in the trash.\n");
    EXPECT_EQ(shown("list inbox"), (QStringList{u"PARCELS five"_s, u"PARCELS four"_s, u"+15550199 three"_s}));
}

TEST_F(HostMessagesTest, TheIDOfAMessageThatWasMovedOffItsPhoneLeadsToTheCopy)
{
    EXPECT_EQ(runHost("messages move p1 user --copy").status, 0); // p6
    const QString moved = u"{\"pending\": 1, \"url\": \"vxdevice://localhost/org.phones/one/messages/ME/1\"}"_s;
    EXPECT_EQ(runHost({"store", "update", "messages", "VXMessage/p1", moved}).status, 0);
    for (const VXWords &verb : {VXWords{"read", "p1"}, {"move", "p1", "sent"}, {"delete", "p1"}}) {
        const HostOutcome outcome = runHost(VXWords{"messages"} + verb);
        EXPECT_THAT(outcome.output, HasSubstr("p6")) << verb.first().toStdString();
        EXPECT_THAT(outcome.errors, HasSubstr("p1 was moved off its phone, and is p6 now"));
    }
    EXPECT_THAT(runHost("store list messages VXMessage --where 'pending == 1' --json").output,
                HasSubstr("VXMessage/p1\""));
}
