// The contacts that are kept, by the commands that show and change them.

#include "HostProgram.h"
#include "HostTestsPaths.h"
#include "VXHostJSON.h"
#include "VXTesting.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

using namespace Qt::StringLiterals;
using testing::HasSubstr;

class HostContactsTest : public VXHomeTest
{
protected:
    HostOutcome phonebook(const QStringList &arguments) const
    {
        return runHost(QStringList{u"phonebook"_s} + arguments);
    }

    /** With --json, and what is not the same in all runs left out. */
    QJsonValue json(const QStringList &arguments) const
    {
        const HostOutcome outcome = phonebook(arguments + QStringList{u"--json"_s});
        const auto value = VXJSONFromText(outcome.output);
        EXPECT_TRUE(value) << outcome.output.toStdString() << outcome.errors.toStdString();
        return value.value_or(QJsonValue());
    }

    QString file(const QString &name) const { return QStringLiteral(VORNIX_EXAMPLES "/contacts/") + name; }
};

TEST_F(HostContactsTest, AContactIsAddedFoundChangedAndDeleted)
{
    EXPECT_EQ(phonebook({u"add"_s, u"Jane Doe"_s, u"--number"_s, u"+1 555 0100/m"_s, u"--email"_s,
                         u"jane@example.org"_s, u"--group"_s, u"Family"_s})
                  .status,
              0);
    EXPECT_EQ(phonebook({u"add"_s, u"Doe, Jane"_s, u"--number"_s, u"0044 20 7946 0123"_s}).status, 0);
    EXPECT_EQ(json({u"lookup"_s, u"(555) 0100"_s})["name"_L1], u"Jane Doe"_s);
    EXPECT_EQ(json({u"lookup"_s, u"Jane@example.org"_s})["name"_L1], u"Jane Doe"_s);
    EXPECT_EQ(json({u"complete"_s, u"ja do"_s, u"--limit"_s, u"5"_s}),
              (QJsonArray{u"Jane Doe <+1 555 0100/m>"_s, u"Jane Doe <0044 20 7946 0123>"_s,
                          u"Jane Doe <jane@example.org>"_s}));
    EXPECT_EQ(phonebook({u"list"_s, u"--group"_s, u"family"_s}).output,
              "ID  NAME      NUMBERS        ADDRESSES         GROUPS\n"
              "p1  Jane Doe  +1 555 0100/m  jane@example.org  Family\n");
    EXPECT_THAT(phonebook({u"show"_s, u"jane doe"_s}).errors.toStdString(),
                HasSubstr("are several contacts: Jane Doe (p1), Jane Doe (p2)"));
    EXPECT_EQ(phonebook({u"edit"_s, u"p2"_s, u"--first"_s, u"Zoe"_s, u"--number"_s, u"555 0100/W"_s, u"--drop"_s,
                         u"020 7946 0123"_s})
                  .status,
              0);
    const QJsonArray all = json({u"lookup"_s, u"<5550100/W>"_s, u"--all"_s}).toArray();
    ASSERT_EQ(all.size(), 2);
    EXPECT_EQ(all.at(0)["string"_L1], u"Zoe Doe <555 0100/W>"_s);
    EXPECT_GT(all.at(0)["score"_L1].toDouble(), all.at(1)["score"_L1].toDouble());
    EXPECT_EQ(all.at(0)["reasons"_L1].toArray().at(0), u"has the type that was given"_s);
    EXPECT_EQ(phonebook({u"delete"_s, u"zoe doe"_s}).status, 0);
    EXPECT_EQ(json({u"list"_s}).toArray().size(), 1);
    EXPECT_EQ(phonebook({u"add"_s, u"Ann Lee <555 0200/m>"_s, u"--group"_s, u"Work"_s, u"--group"_s, u"Chess"_s,
                         u"--birthday"_s, u"1985-04-12"_s, u"--middle"_s, u"Maria"_s, u"--address"_s,
                         u"1 Mill Lane; Town; ; 12345; Sweden/H"_s, u"--address"_s, u"2 Hill; Town"_s})
                  .status,
              0);
    EXPECT_EQ(phonebook({u"edit"_s, u"ann lee"_s, u"--birthday"_s, u""_s}).status, 0);
    EXPECT_EQ(phonebook({u"list"_s, u"--group"_s, u"work"_s, u"--group"_s, u"family"_s}).output.count('\n'), 3);
    const QJsonValue ann = json({u"show"_s, u"ann lee"_s});
    EXPECT_EQ(ann["groups"_L1].toArray().size(), 2);
    EXPECT_EQ(ann["numbers"_L1][0]["number"_L1], u"555 0200"_s);
    EXPECT_TRUE(ann["birthday"_L1].isUndefined());
    EXPECT_EQ(ann["middleName"_L1], u"Maria"_s);
    EXPECT_EQ(ann["addresses"_L1].toArray().size(), 2);
    EXPECT_EQ(ann["addresses"_L1][0]["zip"_L1], u"12345"_s);
    EXPECT_EQ(ann["addresses"_L1][0]["type"_L1], 64);
    EXPECT_EQ(phonebook({u"edit"_s, u"ann lee"_s, u"--drop"_s, u"2 Hill; Town"_s}).status, 0);
    EXPECT_EQ(json({u"show"_s, u"ann lee"_s})["addresses"_L1].toArray().size(), 1);
    EXPECT_EQ(phonebook({u"delete"_s, u"ann lee"_s}).status, 0);
    const std::pair<QStringList, const char *> wrong[] = {
        {{u"lookup"_s}, "lookup needs STRING"},
        {{u"lookup"_s, u"Jane"_s, u"--all"_s}, "is no phone number"},
        {{u"show"_s, u"nobody"_s}, "there is no contact \"nobody\""},
        {{u"add"_s}, "add needs a name"},
        {{u"add"_s, u"Joe"_s, u"Hill"_s}, "add takes no \"Hill\"; several words go between quotation marks"},
        {{u"list"_s, u"--group"_s, u"Famly"_s}, "there is no group \"Famly\"; did you mean \"Family\"?"},
        {{u"add"_s, u"x"_s, u"--number"_s, u"abc"_s}, "\"abc\" is no phone number"},
        {{u"edit"_s, u"p1"_s, u"--drop"_s, u"x"_s}, "the contact has no \"x\""},
        {{u"list"_s, u"--merge"_s}, "--merge does not go with list"},
        {{u"list"_s, u"--limit"_s, u"-1"_s}, "--limit: \"-1\" is no number from 0 on"},
    };
    for (const auto &[arguments, problem] : wrong) {
        const HostOutcome outcome = phonebook(arguments);
        EXPECT_NE(outcome.status, 0);
        EXPECT_THAT(outcome.errors.toStdString(), HasSubstr(problem));
    }
    EXPECT_NE(phonebook({u"lookup"_s, u"555 0199"_s}).status, 0);
}

TEST_F(HostContactsTest, OfChangesAtOneTimeNoneIsLost)
{
    phonebook({u"add"_s, u"Jane Doe"_s});
    const HostOutcome outcome = runHostShell(
        u"for each in 1 2 3 4; do \"$0\" phonebook edit p1 --number +1555010$each --group Family & done; wait"_s);
    EXPECT_EQ(outcome.errors.toStdString(), "");
    EXPECT_EQ(json({u"show"_s, u"p1"_s})["numbers"_L1].toArray().size(), 4);
}

TEST_F(HostContactsTest, NamesAreShownInTheUsersOrder)
{
    phonebook({u"add"_s, u"Jane Doe"_s, u"--number"_s, u"+1 555 0100"_s});
    EXPECT_EQ(
        runHost({u"defaults"_s, u"write"_s, u"com.halvern.VNX2"_s, u"phonebook.names.last_first"_s, u"1"_s}).status, 0);
    for (const QStringList &shown : {QStringList{u"list"_s},
                                     {u"show"_s, u"p1"_s},
                                     {u"lookup"_s, u"555 0100"_s},
                                     {u"complete"_s, u"ja"_s},
                                     {u"delete"_s, u"p1"_s}})
        EXPECT_THAT(phonebook(shown).output.toStdString(), HasSubstr("Doe Jane")) << shown.constFirst().toStdString();
}

TEST_F(HostContactsTest, WhoWasDeletedByMistakeComesBack)
{
    EXPECT_EQ(phonebook({u"add"_s, u"Jane Doe <+1 555 0100/m>"_s, u"--group"_s, u"Family"_s}).status, 0);
    EXPECT_THAT(phonebook({u"show"_s, u"jan"_s}).output.toStdString(), HasSubstr("Jane Doe"));
    EXPECT_THAT(phonebook({u"delete"_s, u"jan"_s}).errors.toStdString(), HasSubstr("; near it is: Jane Doe (p1)\n"));
    EXPECT_THAT(phonebook({u"lookup"_s, u"Jane Doe"_s}).errors.toStdString(), HasSubstr("is no number or address"));
    EXPECT_THAT(phonebook({u"delete"_s, u"jane doe"_s}).output.toStdString(), HasSubstr("undo-import"));
    EXPECT_TRUE(json({u"list"_s}).toArray().isEmpty());
    EXPECT_THAT(phonebook({u"undo-import"_s}).output.toStdString(), HasSubstr("Undid the deletion of Jane Doe"));
    const QJsonValue jane = json({u"show"_s, u"jane doe"_s});
    EXPECT_EQ(jane["numbers"_L1][0]["number"_L1], u"+1 555 0100"_s);
    EXPECT_EQ(jane["groups"_L1].toArray().size(), 1);
}

TEST_F(HostContactsTest, ListsFitTheTerminal)
{
    for (const QString &contact : {u"Jane Doe <+1 555 0100/m>"_s, u"山田 太郎 <+81 3 1234 5678>"_s})
        EXPECT_EQ(phonebook({u"add"_s, contact, u"--email"_s, u"a.long.address@mail.example.org"_s}).status, 0);
    qputenv("COLUMNS", "31");
    const HostOutcome list = phonebook({u"list"_s});
    qunsetenv("COLUMNS");
    EXPECT_EQ(list.output.toStdString(), "ID  NAME       NUMBERS\n"
                                         "p1  Jane Doe   +1 555 0100/m\n"
                                         "p2  山田 太郎  +81 3 1234 5678\n");
    EXPECT_THAT(list.errors.toStdString(), HasSubstr("without: ADDRESSES, GROUPS"));
}

TEST_F(HostContactsTest, FilesOfOtherProgramsAreImportedAndExported)
{
    const std::pair<QString, QString> files[] = {
        {u"phone-2.1.vcf"_s, u"2 added, 0 changed, 0 there already, 0 left out"_s},
        {u"addressbook-3.0.vcf"_s, u"1 added, 0 changed, 0 there already, 0 left out"_s},
        {u"desktop-4.0.vcf"_s, u"2 added, 0 changed, 0 there already, 0 left out"_s},
    };
    for (const auto &[name, counts] : files) {
        const HostOutcome preview = phonebook({u"import"_s, file(name), u"--dry-run"_s});
        EXPECT_THAT(preview.output.toStdString(), HasSubstr("Would be imported: " + counts.toStdString()));
        const HostOutcome outcome = phonebook({u"import"_s, file(name)});
        EXPECT_EQ(outcome.output.toStdString(), "Imported: " + counts.toStdString() + '\n')
            << outcome.errors.toStdString();
        EXPECT_EQ(outcome.status, 0) << outcome.errors.toStdString();
    }
    const HostOutcome broken = phonebook({u"import"_s, file(u"broken.vcf"_s)});
    EXPECT_NE(broken.status, 0);
    EXPECT_THAT(broken.errors.toStdString(), HasSubstr("broken.vcf:7: the card that begins here has no end"));
    const QString exported = path(u"out.vcf"_s);
    for (const QString &version : {u"3.0"_s, u"4.0"_s}) {
        EXPECT_THAT(phonebook({u"export"_s, exported, u"--card-version"_s, version}).output.toStdString(),
                    testing::StartsWith("Exported 5"));
        EXPECT_EQ(readFile(exported).count("VERSION:" + version.toLatin1()), 5);
        EXPECT_THAT(readFile(exported).toStdString(),
                    HasSubstr("X-SOCIALPROFILE;type=example:https://social.example/jane"));
        EXPECT_EQ(json({u"import"_s, exported})["same"_L1].toInt(), 5) << readFile(exported).toStdString();
    }
    const QByteArray written = phonebook({u"export"_s, u"-"_s, u"--card-version"_s, u"4.0"_s}).output;
    EXPECT_EQ(written, readFile(exported));
    const QString other = writeFile(u"other.txt"_s, "mine");
    EXPECT_THAT(phonebook({u"export"_s, other}).errors.toStdString(), HasSubstr("holds no vCards; it stays as it is"));
    EXPECT_EQ(readFile(other), "mine");
    EXPECT_THAT(phonebook({u"undo-import"_s}).output.toStdString(), HasSubstr("Undid the import of desktop-4.0.vcf"));
    EXPECT_EQ(json({u"list"_s}).toArray().size(), 3);
    phonebook({u"add"_s, u"Jane Doe"_s, u"--number"_s, u"+1 555 0101"_s});
    EXPECT_THAT(phonebook({u"duplicates"_s}).output.toStdString(), HasSubstr("Jane Doe  5550101"));
    EXPECT_EQ(json({u"duplicates"_s, u"--merge"_s})["merged"_L1], true);
    EXPECT_EQ(json({u"undo-import"_s})["broughtBack"_L1].toInt(), 1);
    EXPECT_THAT(phonebook({u"import"_s, path(u"none.vcf"_s)}).errors.toStdString(),
                HasSubstr("none.vcf can not be read"));
}

TEST_F(HostContactsTest, OneOfManyDuplicatesCanBeMerged)
{
    for (const QString &name : {u"Jane Doe"_s, u"Jane Doe"_s, u"Jane Doe"_s, u"Joe Hill"_s, u"Joe Hill"_s})
        phonebook({u"add"_s, name, u"--number"_s, u"+1 555 0101"_s});
    const auto merged = [this](const QStringList &chosen) {
        return json(QStringList{u"duplicates"_s, u"--merge"_s} + chosen)["duplicates"_L1].toArray();
    };
    const auto names = [this] {
        QStringList all;
        for (const QJsonValue contact : json({u"list"_s}).toArray())
            all.append(contact["firstName"_L1].toString());
        return all.join(u' ');
    };
    EXPECT_EQ(json({u"duplicates"_s})["duplicates"_L1].toArray().size(), 2);
    EXPECT_EQ(phonebook({u"duplicates"_s, u"--merge"_s, u"3"_s}).status, 1); // there are two
    EXPECT_EQ(merged({u"p1"_s, u"p3"_s})[0]["contacts"_L1].toArray().size(), 2);
    EXPECT_EQ(names(), u"Jane Jane Joe Joe"_s);
    EXPECT_EQ(merged({u"joe hill"_s})[0]["number"_L1].toInt(), 2);
    EXPECT_EQ(names(), u"Jane Jane Joe"_s);
    EXPECT_EQ(merged({u"1"_s}).size(), 1);
    EXPECT_EQ(names(), u"Jane Joe"_s);
}

TEST_F(HostContactsTest, AMergeKeepsBothKindsOfANumber)
{
    const std::pair<QStringList, QString> cases[] = {
        {{u"m"_s, u"H"_s}, u"+1 555 0101/Hm"_s},
        {{u"H"_s, u"m"_s}, u"+1 555 0101/Hm"_s},
        {{u"m"_s, u"f"_s}, u"+1 555 0101/m, +1 555 0101/f"_s},
        {{u"H"_s, u"W"_s}, u"+1 555 0101/H, +1 555 0101/W"_s},
        {{u"m"_s, u"m"_s}, u"+1 555 0101/m"_s},
    };
    for (const auto &[kinds, expected] : cases) {
        for (const QString &kind : kinds)
            phonebook({u"add"_s, u"Bob Ray"_s, u"--number"_s, u"+1 555 0101/"_s + kind});
        EXPECT_THAT(phonebook({u"duplicates"_s}).output.toStdString(), HasSubstr(expected.toStdString())); // told
        phonebook({u"duplicates"_s, u"--merge"_s});
        EXPECT_THAT(phonebook({u"show"_s, u"Bob Ray"_s}).output.toStdString(),
                    HasSubstr("numbers      " + expected.toStdString() + '\n'));
        phonebook({u"delete"_s, u"Bob Ray"_s});
    }
}

// Another program has the store for a while, again and again, as an import does.
TEST_F(HostContactsTest, AChangeWaitsForWhoHasTheStoreAndLosesNothing)
{
    QByteArray cards;
    for (int number = 0; number < 3000; ++number)
        cards += "BEGIN:VCARD\r\nVERSION:3.0\r\nFN:Person" + QByteArray::number(number) + "\r\nTEL:+1 555 1000" +
                 QByteArray::number(number) + "\r\nNOTE:imported\r\nEND:VCARD\r\n";
    const QString file = writeFile(u"cards.vcf"_s, cards);
    phonebook({u"import"_s, file});
    const HostOutcome outcome = runHostShell(
        u"\"$0\" phonebook undo-import > /dev/null & undoing=$!\n"
        "\"$0\" phonebook import '%1' > /dev/null & importing=$!\n"
        "for number in 1 2 3 4; do \"$0\" phonebook add \"Own $number\" --number \"+1 555 020$number\" > /dev/null &&\n"
        "  \"$0\" phonebook edit \"Own $number\" --company Ours > /dev/null || exit 3; done\n"
        "wait $undoing && wait $importing"_s.arg(file));
    EXPECT_EQ(outcome.status, 0) << outcome.errors.toStdString();
    int own = 0;
    for (const QJsonValue contact : json({u"list"_s}).toArray())
        own += contact["company"_L1] == u"Ours"_s ? 1 : 0;
    EXPECT_EQ(own, 4);
}

// Each finds what the others have made.
TEST_F(HostContactsTest, ProgramsThatImportAtOnceDoubleNothing)
{
    QByteArray cards;
    QByteArray messages = "<smses>";
    for (int number = 0; number < 200; ++number) {
        const QByteArray text = QByteArray::number(1000 + number);
        cards += "BEGIN:VCARD\nVERSION:3.0\nFN:Person" + text + "\nTEL:555 " + text + "\nCATEGORIES:Club\nEND:VCARD\n";
        messages += "<sms address='+1' date='" + text + "' type='1' read='1' body='a'/>\n";
    }
    const QString contactFile = writeFile(u"all.vcf"_s, cards);
    const QString messageFile = writeFile(u"all.xml"_s, messages + "</smses>");
    const QString all = u"for i in 1 2 3; do \"$0\" %1 import '%2' & done; wait"_s;
    runHostShell(all.arg(u"phonebook"_s, contactFile));
    runHostShell(all.arg(u"messages"_s, messageFile));
    EXPECT_EQ(json({u"list"_s}).toArray().size(), 200);
    const auto listed = [](const QStringList &command) {
        return VXJSONFromText(runHost(command + QStringList{u"--json"_s}).output).value_or(QJsonValue()).toArray();
    };
    EXPECT_EQ(listed({u"store"_s, u"list"_s, u"phonebook"_s, u"VXGroup"_s}).size(), 1);
    EXPECT_EQ(listed({u"messages"_s, u"list"_s, u"inbox"_s, u"--limit"_s, u"0"_s}).size(), 200);
}

TEST_F(HostContactsTest, TriggersKnowWhoCalls)
{
    phonebook({u"add"_s, u"Jane Doe"_s, u"--number"_s, u"+1 555 0100"_s, u"--group"_s, u"Family"_s});
    const auto host = [](const QStringList &arguments) { return runHost(arguments); };
    const QString family = u"ANY contact.groups.name == 'Family'"_s;
    const QString stranger = u"contact == NULL AND who != 'Jane Doe'"_s;
    for (const QString &filter : {family, stranger})
        EXPECT_EQ(
            host({u"triggers"_s, u"add"_s, u"--event"_s, u"incoming_call"_s, u"--name"_s, filter, u"--filter"_s, filter,
                  u"--reactor"_s, u"logevent"_s, u"--option"_s, u"text=from {who}, {contact.firstName}"_s})
                .status,
            0);
    const std::pair<QString, QString> calls[] = {{u"5550100"_s, u"Jane Doe"_s}, {u"555 0199"_s, u"555 0199"_s}};
    for (const auto &[number, who] : calls) {
        const HostOutcome posted = host({u"post"_s, u"incoming_call"_s, u"--subtype"_s, u"ringing"_s, u"--object"_s,
                                         u"{\"from\": \"%1\"}"_s.arg(number), u"--json"_s});
        const QJsonValue record = VXJSONFromText(posted.output).value_or(QJsonValue());
        EXPECT_EQ(record["who"_L1], who) << posted.output.toStdString();
        const bool isJane = who == "Jane Doe"_L1;
        EXPECT_EQ(record["triggers"_L1].toArray().at(0)["outcome"_L1], isJane ? u"ran"_s : u"rejected"_s);
        EXPECT_EQ(record["triggers"_L1].toArray().at(1)["outcome"_L1], isJane ? u"rejected"_s : u"ran"_s);
    }
    EXPECT_THAT(host({u"log"_s}).output.toStdString(), HasSubstr("from Jane Doe, Jane"));
    EXPECT_THAT(host({u"history"_s}).output.toStdString(), HasSubstr("incoming_call::ringing  Jane Doe"));
}
