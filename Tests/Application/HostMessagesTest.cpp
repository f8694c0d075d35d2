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
        const HostOutcome import = runHost({u"messages"_s, u"import"_s, u"-"_s}, messages);
        EXPECT_THAT(import.output.toStdString(), HasSubstr("Imported 5 messages"));
        EXPECT_EQ(import.status, 1); // one could not be read
        runHost({u"phonebook"_s, u"add"_s, u"Jane Doe"_s, u"--number"_s, u"+1 555 0100"_s, u"--number"_s,
                 u"+1 555 0101/m"_s});
        runHost({u"phonebook"_s, u"add"_s, u"Joe Hill"_s, u"--number"_s, u"+1 555 0110"_s, u"--number"_s,
                 u"+1 555 0111"_s});
        runHost({u"phonebook"_s, u"add"_s, u"Ann"_s, u"--email"_s, u"ann@example.org"_s});
    }

    /** The texts that a command shows, newest first, with who they are from or to. */
    static QStringList shown(const QStringList &arguments)
    {
        const HostOutcome outcome = runHost(QStringList{u"--json"_s, u"messages"_s} + arguments);
        QStringList lines;
        for (const QJsonValue message : VXJSONFromText(outcome.output).value_or(QJsonValue()).toArray())
            lines.append(message[u"who"_s].toString() + u' ' + message[u"text"_s].toString());
        return lines;
    }
};

TEST_F(HostMessagesTest, PeopleAreCalledAsInThePhonebook)
{
    const QStringList jane{u"Jane Doe two"_s, u"Jane Doe one"_s};
    const std::pair<QStringList, QStringList> cases[] = {
        {{u"list"_s, u"inbox"_s}, {u"PARCELS five"_s, u"PARCELS four"_s, u"+15550199 three"_s, u"Jane Doe one"_s}},
        {{u"conversation"_s, u"Jane Doe"_s}, jane}, // whichever of her numbers
        {{u"conversation"_s, u"jan"_s}, jane},
        {{u"conversation"_s, u"555 0101"_s}, {u"Jane Doe two"_s}},
        {{u"conversation"_s, u"parcels"_s}, {u"PARCELS five"_s, u"PARCELS four"_s}},
        {{u"conversation"_s, u"Joe Hill"_s}, {}},
        {{u"conversation"_s, u"par"_s}, {u"PARCELS five"_s, u"PARCELS four"_s}},
        {{u"conversation"_s, u"+1 555 019"_s}, {u"+15550199 three"_s}},
        {{u"conversation"_s, u"555"_s}, {}}, // several
    };
    for (const auto &[arguments, expected] : cases)
        EXPECT_EQ(shown(arguments), expected) << arguments.join(u' ').toStdString();
    EXPECT_THAT(runHost({u"messages"_s, u"conversation"_s, u"555"_s}).errors.toStdString(),
                HasSubstr("\"555\" are several: Jane Doe, +15550199\n"));
    EXPECT_THAT(runHost({u"messages"_s, u"list"_s, u"inbox"_s}).output.toStdString(),
                HasSubstr("unread  < Jane Doe   one    p1"));
    EXPECT_THAT(runHost({u"messages"_s, u"read"_s, u"p1"_s}).output.toStdString(), HasSubstr("state      read"));
    EXPECT_EQ(runHost({u"messages"_s, u"move"_s, u"p1"_s, u"user"_s}).status, 0);
    EXPECT_EQ(shown({u"list"_s, u"user"_s}), QStringList{u"Jane Doe one"_s});
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
    EXPECT_THAT(runHost({u"messages"_s, u"list"_s, u"inbox"_s}).output.toStdString(), HasSubstr(std::string(200, 'x')));
}

TEST_F(HostMessagesTest, NoTextSteersTheTerminal)
{
    runHost({u"messages"_s, u"import"_s, u"-"_s},
            "<?xml version='1.0' encoding='UTF-8'?>\n<smses><sms address='+15550199' date='1772359209000' type='1' "
            "body='seven&#13;&#10;eight&#xd;\xc2\x9b\x32J&#x7f;'/></smses>");
    const HostOutcome list = runHost({u"--json"_s, u"messages"_s, u"list"_s, u"inbox"_s});
    const QString found = VXJSONFromText(list.output).value_or(QJsonValue())[0][u"id"_s].toString();
    const std::string text = runHost({u"messages"_s, u"read"_s, found}).output.toStdString();
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
        {u"jane doe"_s, "there is no phone to send by"}, // her mobile number would do
    };
    for (const auto &[to, problem] : cases) {
        const HostOutcome outcome = runHost({u"messages"_s, u"send"_s, to, u"Hi"_s});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.errors.toStdString(), HasSubstr(problem));
    }
    EXPECT_EQ(shown({u"list"_s, u"drafts"_s}), QStringList());
}

TEST_F(HostMessagesTest, FoldersAreTheUsersToMakeAndToRemove)
{
    const auto messages = [](const QStringList &arguments) { return runHost(QStringList{u"messages"_s} + arguments); };
    const auto titles = [] {
        QStringList all;
        const HostOutcome outcome = runHost({u"--json"_s, u"messages"_s, u"folders"_s});
        for (const QJsonValue folder : VXJSONFromText(outcome.output).value_or(QJsonValue()).toArray())
            all.append(folder[u"title"_s].toString() + u':' + QString::number(folder[u"count"_s].toInt()));
        return all.mid(5).join(u' ');
    };
    EXPECT_EQ(messages({u"add-folder"_s, u"My  work"_s}).output, "Made the folder \"My work\".\n");
    const std::pair<QStringList, const char *> refused[] = {
        {{u"add-folder"_s, u"my work"_s}, "There is a folder \"my work\" already."},
        {{u"add-folder"_s, u"Inbox"_s}, "There is a folder \"Inbox\" already."},
        {{u"add-folder"_s, u" "_s}, "A folder needs a name."},
        {{u"add-folder"_s, u"b"_s, u"--where"_s, u"txt == 1"_s}, "--where: "},
        {{u"add-folder"_s, u"b"_s, u"--where"_s, u"state == 1"_s}, "a smart folder shows messages of a phone"},
        {{u"rename-folder"_s, u"inbox"_s, u"In"_s}, "The folder \"inbox\" keeps its name."},
        {{u"remove-folder"_s, u"trash"_s}, "The folder \"trash\" stays."},
        {{u"delete"_s, u"p1"_s, u"p99"_s}, "there is no message \"p99\""},
    };
    for (const auto &[arguments, problem] : refused)
        EXPECT_THAT(messages(arguments).errors.toStdString(), HasSubstr(problem));
    EXPECT_EQ(messages({u"move"_s, u"p1"_s, u"my work"_s}).status, 0);
    EXPECT_EQ(messages({u"rename-folder"_s, u"my work"_s, u"Work"_s}).status, 0);
    EXPECT_EQ(titles(), u"Work:1"_s);
    EXPECT_THAT(runHost({u"completion"_s, u"words"_s, u"message-folders"_s}).output.toStdString(), HasSubstr("Work"));

    EXPECT_EQ(messages({u"remove-folder"_s, u"work"_s}).status, 0);
    EXPECT_EQ(titles(), QString());
    EXPECT_EQ(messages({u"delete"_s, u"p2"_s, u"p3"_s}).status, 0);
    EXPECT_EQ(shown({u"list"_s, u"trash"_s}),
              (QStringList{u"+15550199 three"_s, u"Jane Doe two"_s, u"Jane Doe one"_s}));
    EXPECT_EQ(messages({u"delete"_s, u"p3"_s}).status, 1); // it is there
    EXPECT_EQ(messages({u"move"_s, u"p3"_s, u"inbox"_s}).status, 0);
    EXPECT_EQ(messages({u"delete"_s, u"p2"_s, u"--for-good"_s}).status, 0);
    EXPECT_EQ(messages({u"empty-trash"_s}).output, "Deleted for good: 1.\n");
    EXPECT_EQ(messages({u"empty-trash"_s}).output, "There is nothing in the trash.\n");
    EXPECT_EQ(shown({u"list"_s, u"inbox"_s}),
              (QStringList{u"PARCELS five"_s, u"PARCELS four"_s, u"+15550199 three"_s}));
}

TEST_F(HostMessagesTest, TheIDOfAMessageThatWasMovedOffItsPhoneLeadsToTheCopy)
{
    EXPECT_EQ(runHost({u"messages"_s, u"move"_s, u"p1"_s, u"user"_s, u"--copy"_s}).status, 0); // p6
    const QString moved = u"{\"pending\": 1, \"url\": \"vxdevice://localhost/org.phones/one/messages/ME/1\"}"_s;
    EXPECT_EQ(runHost({u"store"_s, u"update"_s, u"messages"_s, u"VXMessage/p1"_s, moved}).status, 0);
    for (const QStringList &verb :
         {QStringList{u"read"_s, u"p1"_s}, {u"move"_s, u"p1"_s, u"sent"_s}, {u"delete"_s, u"p1"_s}}) {
        const HostOutcome outcome = runHost(QStringList{u"messages"_s} + verb);
        EXPECT_THAT(outcome.output.toStdString(), HasSubstr("p6")) << verb.first().toStdString();
        EXPECT_THAT(outcome.errors.toStdString(), HasSubstr("p1 was moved off its phone, and is p6 now"));
    }
    EXPECT_THAT(
        runHost({u"store"_s, u"list"_s, u"messages"_s, u"VXMessage"_s, u"--where"_s, u"pending == 1"_s, u"--json"_s})
            .output.toStdString(),
        HasSubstr("VXMessage/p1\""));
}
