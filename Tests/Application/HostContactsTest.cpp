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
    HostOutcome phonebook(const VXWords &arguments) const { return runHost(VXWords{"phonebook"} + arguments); }

    /** With --json, and what is not the same in all runs left out. */
    QJsonValue json(const VXWords &arguments) const
    {
        const HostOutcome outcome = phonebook(arguments + QStringList{u"--json"_s});
        const auto value = VXJSONFromText(outcome.output);
        EXPECT_TRUE(value) << outcome.output << outcome.errors;
        return value.value_or(QJsonValue());
    }

    QString file(const QString &name) const { return QStringLiteral(VORNIX_EXAMPLES "/contacts/") + name; }
};

TEST_F(HostContactsTest, AContactIsAddedFoundChangedAndDeleted)
{
    EXPECT_EQ(phonebook("add 'Jane Doe' --number '+1 555 0100/m' --email jane@example.org --group Family").status, 0);
    EXPECT_EQ(phonebook("add 'Doe, Jane' --number '0044 20 7946 0123'").status, 0);
    EXPECT_EQ(json("lookup '(555) 0100'")["name"_L1], u"Jane Doe"_s);
    EXPECT_EQ(json("lookup Jane@example.org")["name"_L1], u"Jane Doe"_s);
    EXPECT_EQ(json("complete 'ja do' --limit 5"),
              (QJsonArray{u"Jane Doe <+1 555 0100/m>"_s, u"Jane Doe <0044 20 7946 0123>"_s,
                          u"Jane Doe <jane@example.org>"_s}));
    EXPECT_EQ(phonebook("list --group family").output, "ID  NAME      NUMBERS        ADDRESSES         GROUPS\n"
                                                       "p1  Jane Doe  +1 555 0100/m  jane@example.org  Family\n");
    EXPECT_THAT(phonebook("show 'jane doe'").errors, HasSubstr("are several contacts: Jane Doe (p1), Jane Doe (p2)"));
    EXPECT_EQ(phonebook("edit p2 --first Zoe --number '555 0100/W' --drop '020 7946 0123'").status, 0);
    const QJsonArray all = json("lookup <5550100/W> --all").toArray();
    ASSERT_EQ(all.size(), 2);
    EXPECT_EQ(all.at(0)["string"_L1], u"Zoe Doe <555 0100/W>"_s);
    EXPECT_GT(all.at(0)["score"_L1].toDouble(), all.at(1)["score"_L1].toDouble());
    EXPECT_EQ(all.at(0)["reasons"_L1].toArray().at(0), u"has the type that was given"_s);
    EXPECT_THAT(phonebook("show do").errors, HasSubstr("Jane Doe (p1), Zoe Doe (p2)")); // who have one number
    EXPECT_EQ(phonebook("delete 'zoe doe'").status, 0);
    EXPECT_EQ(json("list").toArray().size(), 1);
    EXPECT_EQ(phonebook("add 'Ann Lee <555 0200/m>' --group Work --group Chess --birthday 1985-04-12 --middle Maria "
                        "--address '1 Mill Lane; Town; ; 12345; Sweden/H' --address '2 Hill; Town'")
                  .status,
              0);
    EXPECT_EQ(phonebook("edit 'ann lee' --birthday ''").status, 0);
    EXPECT_EQ(phonebook("list --group work --group family").output.count('\n'), 3);
    const QJsonValue ann = json("show 'ann lee'");
    EXPECT_EQ(ann["groups"_L1].toArray().size(), 2);
    EXPECT_EQ(ann["numbers"_L1][0]["number"_L1], u"555 0200"_s);
    EXPECT_TRUE(ann["birthday"_L1].isUndefined());
    EXPECT_EQ(ann["middleName"_L1], u"Maria"_s);
    EXPECT_EQ(ann["addresses"_L1].toArray().size(), 2);
    EXPECT_EQ(ann["addresses"_L1][0]["zip"_L1], u"12345"_s);
    EXPECT_EQ(ann["addresses"_L1][0]["type"_L1], 64);
    EXPECT_EQ(phonebook("edit 'ann lee' --drop '2 Hill; Town'").status, 0);
    EXPECT_EQ(json("show 'ann lee'")["addresses"_L1].toArray().size(), 1);
    EXPECT_EQ(phonebook("delete 'ann lee'").status, 0);
    const std::pair<VXWords, const char *> wrong[] = {
        {"lookup Jane --all", "is no phone number"},
        {"show nobody", "there is no contact \"nobody\""},
        {"add", "add needs a name"},
        {"add Joe Hill", "add takes no \"Hill\"; several words go between quotation marks"},
        {"list --group Famly", "there is no group \"Famly\"; did you mean \"Family\"?"},
        {"add x --number abc", "\"abc\" is no phone number"},
        {"edit p1 --drop x", "the contact has no \"x\""},
        {"list --limit -1", "--limit: \"-1\" is no number from 0 to 2147483647"},
    };
    for (const auto &[arguments, problem] : wrong) {
        const HostOutcome outcome = phonebook(arguments);
        EXPECT_NE(outcome.status, 0);
        EXPECT_THAT(outcome.errors, HasSubstr(problem));
    }
    EXPECT_NE(phonebook("lookup '555 0199'").status, 0);
}

TEST_F(HostContactsTest, OfChangesAtOneTimeNoneIsLost)
{
    phonebook("add 'Jane Doe'");
    const HostOutcome outcome = runHostShell(
        u"for each in 1 2 3 4; do \"$0\" phonebook edit p1 --number +1555010$each --group Family & done; wait"_s);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(json("show p1")["numbers"_L1].toArray().size(), 4);
}

TEST_F(HostContactsTest, NamesAreShownInTheUsersOrder)
{
    phonebook("add 'Jane Doe' --number '+1 555 0100'");
    EXPECT_EQ(runHost("defaults write com.halvern.VNX2 phonebook.names.last_first 1").status, 0);
    for (const VXWords &shown :
         {VXWords{"list"}, {"show", "p1"}, {"lookup", "555 0100"}, {"complete", "ja"}, {"delete", "p1"}})
        EXPECT_THAT(phonebook(shown).output, HasSubstr("Doe Jane")) << shown.constFirst().toStdString();
}

TEST_F(HostContactsTest, WhoWasDeletedByMistakeComesBack)
{
    EXPECT_EQ(phonebook("add 'Jane Doe <+1 555 0100/m>' --group Family").status, 0);
    EXPECT_THAT(phonebook("show jan").output, HasSubstr("Jane Doe"));
    EXPECT_THAT(phonebook("delete jan").errors, HasSubstr("; near it is: Jane Doe (p1)\n"));
    EXPECT_THAT(phonebook("lookup 'Jane Doe'").errors, HasSubstr("is no number or address"));
    EXPECT_THAT(phonebook("delete 'jane doe'").output, HasSubstr("undo-import"));
    EXPECT_TRUE(json("list").toArray().isEmpty());
    EXPECT_THAT(phonebook("undo-import").output, HasSubstr("Undid the deletion of Jane Doe"));
    const QJsonValue jane = json("show 'jane doe'");
    EXPECT_EQ(jane["numbers"_L1][0]["number"_L1], u"+1 555 0100"_s);
    EXPECT_EQ(jane["groups"_L1].toArray().size(), 1);
}

TEST_F(HostContactsTest, ListsFitTheTerminal)
{
    for (const QString &contact : {u"Jane Doe <+1 555 0100/m>"_s, u"山田 太郎 <+81 3 1234 5678>"_s})
        EXPECT_EQ(phonebook({"add", contact, "--email", "a.long.address@mail.example.org"}).status, 0);
    qputenv("COLUMNS", "31");
    const HostOutcome list = phonebook("list");
    qunsetenv("COLUMNS");
    EXPECT_EQ(list.output, "ID  NAME       NUMBERS\n"
                           "p1  Jane Doe   +1 555 0100/m\n"
                           "p2  山田 太郎  +81 3 1234 5678\n");
    EXPECT_THAT(list.errors, HasSubstr("for lack of room: ADDRESSES, GROUPS."));
}

TEST_F(HostContactsTest, FilesOfOtherProgramsAreImportedAndExported)
{
    const std::pair<QString, QString> files[] = {
        {u"phone-2.1.vcf"_s, u"2 added, 0 changed, 0 there already, 0 left out"_s},
        {u"addressbook-3.0.vcf"_s, u"1 added, 0 changed, 0 there already, 0 left out"_s},
        {u"desktop-4.0.vcf"_s, u"2 added, 0 changed, 0 there already, 0 left out"_s},
    };
    for (const auto &[name, counts] : files) {
        const HostOutcome preview = phonebook({"import", file(name), "--dry-run"});
        EXPECT_THAT(preview.output, HasSubstr("Would be imported: " + counts.toStdString()));
        const HostOutcome outcome = phonebook({"import", file(name)});
        EXPECT_EQ(outcome.output, "Imported: " + counts.toUtf8() + '\n') << outcome.errors;
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
    }
    const HostOutcome broken = phonebook({"import", file(u"broken.vcf"_s)});
    EXPECT_NE(broken.status, 0);
    EXPECT_THAT(broken.errors, HasSubstr("broken.vcf:7: the card that begins here has no end"));
    const QString exported = path(u"out.vcf"_s);
    for (const QString &version : {u"3.0"_s, u"4.0"_s}) {
        EXPECT_THAT(phonebook({"export", exported, "--card-version", version}).output,
                    testing::StartsWith("Exported 5"));
        EXPECT_EQ(readFile(exported).count("VERSION:" + version.toLatin1()), 5);
        EXPECT_THAT(readFile(exported).toStdString(),
                    HasSubstr("X-SOCIALPROFILE;type=example:https://social.example/jane"));
        EXPECT_EQ(json({"import", exported})["same"_L1].toInt(), 5) << readFile(exported).toStdString();
    }
    const QByteArray written = phonebook("export - --card-version 4.0").output;
    EXPECT_EQ(written, readFile(exported));
    const QString other = writeFile(u"other.txt"_s, "mine");
    EXPECT_THAT(phonebook({"export", other}).errors, HasSubstr("holds no vCards; it stays as it is"));
    EXPECT_EQ(readFile(other), "mine");
    EXPECT_THAT(phonebook("undo-import").output, HasSubstr("Undid the import of desktop-4.0.vcf"));
    EXPECT_EQ(json("list").toArray().size(), 3);
    phonebook("add 'Jane Doe' --number '+1 555 0101'");
    EXPECT_THAT(phonebook("duplicates").output, HasSubstr("Jane Doe  5550101"));
    EXPECT_EQ(json("duplicates --merge")["merged"_L1], true);
    EXPECT_EQ(json("undo-import")["broughtBack"_L1].toInt(), 1);
    EXPECT_THAT(phonebook({"import", path(u"none.vcf"_s)}).errors, HasSubstr("none.vcf cannot be read"));
}

TEST_F(HostContactsTest, OneOfManyDuplicatesCanBeMerged)
{
    for (const QString &name : {u"Jane Doe"_s, u"Jane Doe"_s, u"Jane Doe"_s, u"Joe Hill"_s, u"Joe Hill"_s})
        phonebook({"add", name, "--number", "+1 555 0101"});
    const auto merged = [this](const VXWords &chosen) {
        return json(VXWords{"duplicates", "--merge"} + chosen)["duplicates"_L1].toArray();
    };
    const auto names = [this] {
        QStringList all;
        for (const QJsonValue contact : json("list").toArray())
            all.append(contact["firstName"_L1].toString());
        return all.join(u' ');
    };
    EXPECT_EQ(json("duplicates")["duplicates"_L1].toArray().size(), 2);
    EXPECT_EQ(phonebook("duplicates --merge 3").status, 1); // there are two
    EXPECT_EQ(merged("p1 p3")[0]["contacts"_L1].toArray().size(), 2);
    EXPECT_EQ(names(), u"Jane Jane Joe Joe"_s);
    EXPECT_EQ(merged("'joe hill'")[0]["number"_L1].toInt(), 2);
    EXPECT_EQ(names(), u"Jane Jane Joe"_s);
    EXPECT_EQ(merged("1").size(), 1);
    EXPECT_EQ(names(), u"Jane Joe"_s);
}

TEST_F(HostContactsTest, AMergeKeepsBothKindsOfANumber)
{
    const std::pair<QStringList, QString> cases[] = {
        {{u"m"_s, u"H"_s}, u"+1 555 0101/Hm"_s},
        {{u"H"_s, u"m"_s}, u"+1 555 0101/Hm"_s},
        {{u"m"_s, u"f"_s}, u"+1 555 0101/m, +1 555 0101/f"_s},
        {{u"f"_s, u"H"_s}, u"+1 555 0101/f, +1 555 0101/H"_s},
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
    EXPECT_EQ(json("list").toArray().size(), 200);
    const auto listed = [](const VXWords &command) {
        return runHost(command + QStringList{u"--json"_s}).json().toArray();
    };
    EXPECT_EQ(listed("store list phonebook VXGroup").size(), 1);
    EXPECT_EQ(listed("messages list inbox --limit 0").size(), 200);
}

TEST_F(HostContactsTest, TriggersKnowWhoCalls)
{
    phonebook("add 'Jane Doe' --number '+1 555 0100' --group Family");
    const auto host = [](const VXWords &arguments) { return runHost(arguments); };
    const QString family = u"ANY contact.groups.name == 'Family'"_s;
    const QString stranger = u"contact == NULL AND who != 'Jane Doe'"_s;
    for (const QString &filter : {family, stranger})
        EXPECT_EQ(host({"triggers", "add", "--event", "incoming_call", "--name", filter, "--filter", filter,
                        "--reactor", "logevent", "--option", "text=from {who}, {contact.firstName}"})
                      .status,
                  0);
    const std::pair<QString, QString> calls[] = {{u"5550100"_s, u"Jane Doe"_s}, {u"555 0199"_s, u"555 0199"_s}};
    for (const auto &[number, who] : calls) {
        const HostOutcome posted = host({"post", "incoming_call", "--subtype", "ringing", "--object",
                                         u"{\"from\": \"%1\"}"_s.arg(number), "--json"});
        const QJsonValue record = posted.json();
        EXPECT_EQ(record["who"_L1], who) << posted.output;
        const bool isJane = who == "Jane Doe"_L1;
        EXPECT_EQ(record["triggers"_L1].toArray().at(0)["outcome"_L1], isJane ? u"ran"_s : u"rejected"_s);
        EXPECT_EQ(record["triggers"_L1].toArray().at(1)["outcome"_L1], isJane ? u"rejected"_s : u"ran"_s);
    }
    EXPECT_THAT(host("log").output, HasSubstr("from Jane Doe, Jane"));
    EXPECT_THAT(host("history").output, HasSubstr("incoming_call::ringing  Jane Doe"));
}
