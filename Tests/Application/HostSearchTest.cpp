// What commands save is found by "vornix search" and by the searches of the desktop.

#include "HostProgram.h"
#include "HostTestsPaths.h"
#include "VXFolders.h"
#include "VXHostJSON.h"
#include "VXTesting.h"
#include "VXTestProcess.h"

#include <QtCore/QDir>
#include <QtCore/QDirIterator>
#include <QtCore/QJsonArray>
#include <QtCore/QProcess>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

class HostSearchTest : public VXHomeTest
{
protected:
    HostSearchTest()
    {
        runHost("phonebook add 'Zoë Müller' --number '+49 170 555 0100' --group Family");
        runHost("messages import -",
                "<?xml version='1.0'?>\n<smses><sms address='+491705550100' date='1772359200000' type='1' "
                "body='See you at the zoo' read='0'/></smses>\n");
        runHost(
            "post incoming_call --subtype ended --object '{\"from\": \"Joe Hill <+1 555 0199>\", \"call_id\": \"1\"}'");
    }

    static QJsonValue json(const VXWords &arguments)
    {
        const HostOutcome outcome = runHost(VXWords{"--json", "search"} + arguments);
        return outcome.json();
    }
    static QStringList kinds(const VXWords &arguments)
    {
        QStringList kinds;
        for (const QJsonValue found : json(arguments).toArray())
            kinds.append(found[u"kind"_s].toString());
        return kinds;
    }
    QString mirror() const { return path(u".cache/Metadata/Vornix 2"_s); }
    QString fileOf(const QString &plugin, const QString &name) const
    {
        return mirror() + "/com.halvern.VNX2.plugin."_L1 + plugin + u'/' + name;
    }
};

TEST_F(HostSearchTest, FindsWhatCommandsSaved)
{
    // Each command has mirrored what it saved: nothing is left for the search to do.
    EXPECT_EQ(QDir(mirror() + "/.due"_L1).entryList(QDir::Files), QStringList{u"last-save"_s});
    const std::pair<VXWords, QStringList> cases[] = {
        {"zoe", {u"contact"_s, u"message"_s}}, // which has the number alone
        {"zo", {u"contact"_s, u"message"_s}},
        {"zo --limit 1", {u"contact"_s}},
        {"zo --kind contact", {u"contact"_s}},
        {"MULLER zo", {u"contact"_s, u"message"_s}},
        {"muller see", {u"message"_s}},
        {"muller --kind contact", {u"contact"_s}},
        {"family", {u"contact"_s, u"message"_s}},
        {"hill", {u"call"_s}},
        {"0199", {u"call"_s}},
        {"'0170 5550100'", {u"contact"_s, u"message"_s}},
        {"'+49 (0)170 5550100'", {u"contact"_s, u"message"_s}},
        {"'check '", {}},
    };
    for (const auto &[arguments, expected] : cases)
        EXPECT_EQ(kinds(arguments), expected) << arguments.join(u' ').toStdString();
    for (const auto &[limit, isCut] : {std::pair("--limit 1", true), {"--limit 2", false}, {"--limit 0", false}})
        EXPECT_EQ(runHost(VXWords("search zo") + VXWords(limit)).errors.isEmpty(), !isCut) << limit;
    EXPECT_EQ(json("zoo")[0][u"title"_s].toString(), u"Zoë Müller"_s);
    EXPECT_TRUE(json("hill")[0][u"isMissed"_s].toBool());
    runHost(
        "post outgoing_call --subtype ended --object '{\"to\": \"555 0188\", \"call_id\": \"2\", \"duration\": 61}'");
    EXPECT_EQ(json("0188")[0][u"duration"_s].toInt(), 61);
    EXPECT_THAT(runHost("search 0188").output, HasSubstr("out 1:01"));
    runHost("defaults write com.halvern.VNX2 phonebook.names.last_first 1");
    EXPECT_EQ(json("zoo")[0][u"title"_s].toString(), u"Müller Zoë"_s);
    runHost("defaults delete com.halvern.VNX2 phonebook.names.last_first");
    runHost("phonebook edit 'Zoë Müller' --nickname Zozo");
    EXPECT_EQ(kinds("zozo --kind contact"), QStringList{u"contact"_s});
    const QString url = json("zozo")[0][u"url"_s].toString();
    EXPECT_THAT(runHost({"open", url}).output, HasSubstr("Zozo"));
    EXPECT_EQ(runHost("phonebook add 'Al Ext' --number '+1 (212) 555-0150 ext. 77'").errors, "");
    for (const VXWords &arguments :
         {VXWords("search 2125550150"), VXWords("search '+12125550150 x3'"), VXWords("phonebook complete 12125550150"),
          VXWords("phonebook lookup +12125550150"), VXWords("phonebook lookup '+1 212 555 0150 ext. 77'")})
        EXPECT_THAT(runHost(arguments).output, HasSubstr("Al Ext")) << arguments.join(u' ').toStdString();
    runHost("phonebook add 'Mary Ext' --number '+1 212 555 0150 x7' --number '+1 212 555 0150 x8'");
    EXPECT_THAT(runHost("phonebook lookup '+1 212 555 0150 x77'").output, HasSubstr("Al Ext"));
    runHost("post incoming_call --subtype ended --object '{\"from\": \"+1 212 555 0150 x7\", \"call_id\": \"3\"}'");
    EXPECT_THAT(runHost("search mary --kind call").output, HasSubstr("Mary Ext"));
    EXPECT_THAT(runHost("search 2125550150 --kind call").output, HasSubstr("Mary Ext"));
    runHost("phonebook edit 'Mary Ext' --drop '+1 212 555 0150 ext. 8'");
    EXPECT_THAT(runHost("phonebook show 'Mary Ext'").output, AllOf(HasSubstr("x7"), Not(HasSubstr("x8"))));
    runHost("phonebook delete 'Zoë Müller'");
    EXPECT_EQ(kinds("zozo"), QStringList());
    EXPECT_NE(runHost({"open", url}).status, 0);
    const HostOutcome none = runHost("search nobody");
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(none.output, "");
}

TEST_F(HostSearchTest, FindsContactsByAllThatIsWrittenOfThem)
{
    runHost("phonebook import -",
            "BEGIN:VCARD\r\nVERSION:3.0\r\nN:김;철수\r\nORG:Acme;Robots\r\nTITLE:Welder\r\nROLE:Shop "
            "steward\r\nURL:https://"
            "weld.example.org/x\r\n"
            "ADR;TYPE=HOME:;;12 Elm Street;Springfield;OH;45501;USA\r\nX-PHONETIC-LAST-NAME:Gimm\r\nEND:VCARD\r\n"
            "BEGIN:VCARD\r\nVERSION:3.0\r\nFN:박지성\r\nN:박지성\r\nEND:VCARD\r\n"
            "BEGIN:VCARD\r\nVERSION:3.0\r\nN:山田;太郎\r\nEND:VCARD\r\n");
    const std::pair<VXWords, QString> cases[] = {
        {"steward", u"철수 김"_s},      {"welder", u"철수 김"_s},    {"robots", u"철수 김"_s},
        {"weld.example", u"철수 김"_s}, {"'elm str'", u"철수 김"_s}, {"springfield", u"철수 김"_s},
        {"45501", u"철수 김"_s},        {"gimm", u"철수 김"_s},      {"김철수", u"철수 김"_s},
        {"철수", u"철수 김"_s},         {"지성", u"박지성"_s},       {"박지", u"박지성"_s},
        {"山田太郎", u"太郎 山田"_s}};
    for (const auto &[words, title] : cases)
        EXPECT_EQ(json(words)[0][u"title"_s].toString(), title) << words.join(u' ').toStdString();
    // As an earlier program left them, before the first start of this one and after it.
    const auto leave = [this](const QString &change) {
        QProcess::execute(u"sqlite3"_s,
                          {path(u".local/share/Vornix 2/Data/phonebook.vxdatastore/phonebook.sqlite"_s), change});
    };
    leave(u"UPDATE VX_VXPhoneNumber SET search = '55501009'; DELETE FROM VX_VXSearchWord WHERE person = 1"_s);
    EXPECT_THAT(runHost("phonebook lookup +491705550100").output, HasSubstr("Zoë Müller"));
    leave(u"DELETE FROM VX_VXSearchWord; DELETE FROM Z_METADATA WHERE Z_KEY LIKE 'VX%Words%'"_s);
    runHost("phonebook edit 박지성 --number 5550177");
    runHost("phonebook edit '철수 김' --number 5550178");
    EXPECT_EQ(runHost("phonebook complete 지성").output, "박지성 <5550177>\n");
    EXPECT_EQ(runHost("phonebook complete springf").output, "철수 김 <5550178>\n");
    runHost("phonebook edit 'Zoë Müller' --address 'Oak Lane 7'"); // which changes nothing of the contact's own
    EXPECT_EQ(kinds("oak --kind contact"), QStringList{u"contact"_s});
    EXPECT_EQ(runHost("search check").status, 0);
}

TEST_F(HostSearchTest, LeavesOutTheTrashUnlessAskedForIt)
{
    EXPECT_EQ(runHost("messages move p1 trash").status, 0);
    EXPECT_EQ(kinds("zoo"), QStringList());
    EXPECT_TRUE(json("zoo --trash")[0][u"trash"_s].toBool());
    EXPECT_THAT(runHost("search zoo --trash").output, HasSubstr("message (trash)"));
    EXPECT_EQ(runHost("messages move p1 inbox").status, 0);
    EXPECT_EQ(kinds("zoo"), QStringList{u"message"_s});
}

TEST_F(HostSearchTest, NobodyElseMayRead)
{
    QDirIterator all(path(u".cache/Metadata"_s), QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                     QDirIterator::Subdirectories);
    int count = 0;
    for (; all.hasNext(); ++count) {
        struct stat status = {};
        ASSERT_EQ(::stat(QFile::encodeName(all.next()).constData(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, S_ISDIR(status.st_mode) ? 0700U : 0600U) << all.filePath().toStdString();
    }
    EXPECT_GT(count, 6);
}

TEST_F(HostSearchTest, MakesWhatIsMissingWhenItIsAskedFor)
{
    QDir(path(u".cache/Metadata"_s)).removeRecursively();
    EXPECT_EQ(kinds("zo"), (QStringList{u"contact"_s, u"message"_s}));
    EXPECT_TRUE(QFile::exists(fileOf(u"phonebook"_s, u"p1_MD2.vxperson"_s)));
    writeFile(QDir(path()).relativeFilePath(mirror() + "/index.sqlite"_L1), "no database at all, none, none");
    EXPECT_EQ(kinds("hill"), QStringList{u"call"_s});
    // More than a command mirrors itself waits for whoever comes next.
    QByteArray many = "<?xml version='1.0'?>\n<smses>";
    for (int i = 0; i < 150; ++i)
        many += "<sms address='+1555" + QByteArray::number(1000 + i) + "' date='1772359200000' type='1' body='cat'/>";
    runHost("messages import -", many + "</smses>\n");
    EXPECT_EQ(kinds("cat --limit 0").size(), 150);
}

TEST_F(HostSearchTest, MirrorsNothingForWhoWantsThat)
{
    runHost("defaults write com.halvern.VNX2 metadata.ignore true");
    QDir(path(u".cache/Metadata"_s)).removeRecursively();
    runHost("phonebook add 'Joe Hill'");
    EXPECT_EQ(runHost("search joe").status, 1);
    EXPECT_FALSE(QFile::exists(path(u".cache/Metadata"_s)));
}

TEST_F(HostSearchTest, NothingStaysOfWhatIsNotSearchedAnyMore)
{
    // Of a plugin that was removed.
    const QString left[] = {mirror() + "/.due/com.example.gone@0123456789abcdef"_L1,
                            mirror() + "/com.example.gone/p1_MD2.note"_L1, mirror() + "/com.example.gone.store"_L1};
    for (const QString &each : left)
        writeFile(QDir(path()).relativeFilePath(each), "*\n");
    ASSERT_EQ(kinds("hill"), QStringList{u"call"_s});
    for (const QString &each : left)
        EXPECT_FALSE(QFile::exists(each)) << each.toStdString();
    EXPECT_FALSE(QFile::exists(mirror() + "/com.example.gone"_L1));
    runHost("defaults write com.halvern.VNX2 metadata.ignore true");
    EXPECT_EQ(runHost("search hill").status, 1);
    for (const QString &plugin : {u"phonebook"_s, u"messages"_s, u"calls"_s})
        EXPECT_FALSE(QFile::exists(fileOf(plugin, {}))) << plugin.toStdString();
    EXPECT_FALSE(QFile::exists(mirror() + "/index.sqlite"_L1));
}

TEST_F(HostSearchTest, ChecksItself)
{
    for (const bool isNew : {false, true}) { // nobody has looked at all objects yet
        if (isNew)
            QDir(path(u".cache/Metadata"_s)).removeRecursively();
        const HostOutcome outcome = runHost("search check");
        EXPECT_EQ(outcome.status, 0);
        EXPECT_THAT(outcome.output.toStdString(), HasSubstr("not taken in yet"));
        EXPECT_THAT(outcome.errors.toStdString(), HasSubstr("the next search takes in"));
    }
    EXPECT_EQ(runHost("search update").status, 0);
    EXPECT_EQ(runHost("search check").status, 0);
    const QString contact = fileOf(u"phonebook"_s, u"p1_MD2.vxperson"_s);
    const QString call = fileOf(u"calls"_s, u"p1_MD2.vxcall"_s);
    const QString message = fileOf(u"messages"_s, u"p1_MD2.vxmessage"_s);
    ASSERT_TRUE(QFile::copy(call, fileOf(u"calls"_s, u"p7_MD2.vxcall"_s)));
    ASSERT_TRUE(QFile::remove(contact));
    ASSERT_TRUE(QFile::copy(call, contact)); // says something else
    ASSERT_TRUE(QFile::remove(call));
    QFile damaged(message);
    ASSERT_TRUE(damaged.resize(20));
    for (const QString &repair : {QString(), u"--repair"_s}) {
        const HostOutcome outcome = runHost({"search", "check", repair.isNull() ? u"--verbose"_s : repair});
        EXPECT_EQ(outcome.status, repair.isNull() ? 1 : 0);
        for (const char *const line : {"stale     p1_MD2.vxperson", "missing   p1_MD2.vxcall",
                                       "orphaned  p7_MD2.vxcall", "damaged   p1_MD2.vxmessage"})
            EXPECT_THAT(outcome.output, HasSubstr(line));
    }
    EXPECT_TRUE(json("check")[u"clean"_s].toBool());
    // What hinders one of them hinders no other.
    ASSERT_TRUE(QFile::rename(fileOf(u"calls"_s, {}).chopped(1), path(u"calls"_s)));
    for (const QString &file : {fileOf(u"calls"_s, {}).chopped(1), path(u".local/share/Trash"_s)})
        writeFile(QDir(path()).relativeFilePath(file), "mine");
    ASSERT_TRUE(QFile::remove(contact));
    const HostOutcome hindered = runHost("search check --repair");
    EXPECT_EQ(hindered.status, 1);
    EXPECT_THAT(hindered.errors, HasSubstr(fileOf(u"calls"_s, {}).chopped(1).toStdString()));
    EXPECT_TRUE(QFile::exists(contact));
    QFile::remove(fileOf(u"calls"_s, {}).chopped(1));
    EXPECT_EQ(runHost("search check --repair").status, 0);
    EXPECT_EQ(kinds("hill"), QStringList{u"call"_s});
    EXPECT_EQ(kinds("muller"), (QStringList{u"contact"_s, u"message"_s}));
}

TEST_F(HostSearchTest, TheBusStartsWhoAnswersTheDesktop)
{
    // As it is installed, but for the program's place and its home.
    QFile service(QStringLiteral(VORNIX_SEARCH_SERVICE));
    ASSERT_TRUE(service.open(QIODevice::ReadOnly));
    QByteArray text = service.readAll();
    const qsizetype start = text.indexOf("Exec=") + 5;
    const qsizetype end = text.indexOf(" search-service");
    ASSERT_GT(end, start);
    text.replace(start, end - start, hostProgram().toUtf8()).replace(" search-service", " search-service 1");
    writeFile(u"services/com.halvern.VNX2.Search.service"_s, text);
    writeFile(u"bus.conf"_s, "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN\" "
                             "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\"><busconfig>"
                             "<type>session</type><listen>unix:tmpdir=/tmp</listen><servicedir>" +
                                 path(u"services"_s).toUtf8() +
                                 "</servicedir><policy context=\"default\"><allow send_destination=\"*\" "
                                 "eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
                                 "<allow own=\"*\"/></policy></busconfig>");
    const QByteArray call =
        "gdbus call --session --dest com.halvern.VNX2.Search --object-path /com/halvern/VNX2/Search --method ";
    QProcess client;
    client.start(u"dbus-run-session"_s,
                 {u"--config-file"_s, path(u"bus.conf"_s), u"--"_s, u"sh"_s, u"-c"_s,
                  QString::fromUtf8(call + "org.gnome.Shell.SearchProvider2.GetInitialResultSet \"['zoe']\"; " + call +
                                    "org.kde.krunner1.Match hill; "
                                    // It has ended when nobody asks any more, and is started again.
                                    "while gdbus call --session --dest org.freedesktop.DBus --object-path / --method "
                                    "org.freedesktop.DBus.NameHasOwner com.halvern.VNX2.Search | grep -q true; "
                                    "do :; done; " +
                                    call + "org.gnome.Shell.SearchProvider2.GetInitialResultSet \"['zoe']\"")});
    ASSERT_TRUE(client.waitForFinished());
    const QByteArrayList lines = client.readAllStandardOutput().trimmed().split('\n');
    ASSERT_EQ(lines.size(), 3) << client.readAllStandardError().toStdString();
    EXPECT_THAT(lines[0].toStdString(), HasSubstr("/VXPerson/p1', "));
    EXPECT_THAT(lines[1].toStdString(), HasSubstr("'Joe Hill'"));
    EXPECT_EQ(lines[2], lines[0]);
}

// Copies of an earlier day, put back as they were: the data file, the index, and all that is mirrored.
TEST_F(HostSearchTest, FindsWhatIsThereWhateverWasPutBack)
{
    const QString data = path(u".local/share/Vornix 2/Data/phonebook.vxdatastore/phonebook.sqlite"_s);
    const QString copy = path(u"copy"_s);
    const QStringList both{u"contact"_s, u"message"_s};
    const struct
    {
        const char *what;
        QString path;
        bool isOfContacts; // then what is found is as it was
    } cases[] = {{"data", data, true}, {"index", mirror() + "/index.sqlite"_L1, false}, {"all", mirror(), false}};
    for (const auto &[what, place, isOfContacts] : cases) {
        const auto putAs = [name = what](const QString &last) {
            EXPECT_EQ(runHost({"phonebook", "edit", "p1", "--last", last}).status, 0) << name;
        };
        putAs(u"Before"_s);
        EXPECT_EQ(kinds("before"), both) << what;
        QProcess::execute(u"cp"_s, {u"-rT"_s, place, copy});
        putAs(u"After"_s);
        EXPECT_EQ(kinds("after"), both) << what;
        if (QFileInfo(place).isDir())
            QDir(place).removeRecursively();
        QProcess::execute(u"cp"_s, {u"-rT"_s, copy, place}); // into the same file
        EXPECT_EQ(kinds("before"), isOfContacts ? both : QStringList()) << what;
        EXPECT_EQ(kinds("after"), isOfContacts ? QStringList() : both) << what;
        EXPECT_EQ(runHost("search check").status, 0) << what;
        QProcess::execute(u"rm"_s, {u"-r"_s, copy});
    }
    // All of it, and used there.
    EXPECT_EQ(runHost("search check").status, 0);
    const QTemporaryDir other;
    QProcess::execute(u"cp"_s, {u"-rT"_s, path(), other.path()});
    VXSetHomeFolder(other.path());
    EXPECT_EQ(runHost("phonebook edit p1 --last Elsewhere").status, 0);
    EXPECT_EQ(kinds("elsewhere"), both);
    EXPECT_EQ(runHost("search check").status, 0);
}

// As one command of another user leaves them in the user's folders.
TEST_F(HostSearchTest, WhatAnotherUserMadeMakesWay)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "only who may be anybody can be another";
    const QString nobody = u"65534"_s;
    const auto run = [&](const QString &command) { return QProcess::execute(u"sh"_s, {u"-c"_s, command}); };
    for (const char *const foreign :
         {"index.sqlite", "com.halvern.VNX2.plugin.calls.lock", ".due", "com.halvern.VNX2.plugin.calls",
          "com.halvern.VNX2.plugin.calls/p1_MD2.vxcall", "."}) {
        ASSERT_EQ(run(u"mkdir -p '%2/.due' && chown -R %1 '%3' && chown -R 0 '%2/%4' && chmod go-rwx '%2/%4'"_s.arg(
                      nobody, mirror(), path(), QLatin1String(foreign))),
                  0);
        const QString search =
            u"setpriv --reuid %1 --clear-groups '%2' --json search hill"_s.arg(nobody, hostProgram());
        EXPECT_EQ(run(search + " | grep -q call"_L1), 0) << foreign;
    }
}

// What one command saves, another process that stays takes in when the command could not.
TEST_F(HostSearchTest, TheProgramThatStaysTakesInWhatOthersLeave)
{
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    QFile::remove(fileOf(u"phonebook"_s, u"p1_MD2.vxperson"_s));
    VXTestProcess vornix(u"'%1' run 2>&1"_s.arg(hostProgram()));
    bool isMirrored = false;
    for (int wait = 0; wait < 6 && !isMirrored; ++wait)
        isMirrored = VXRunUntil([&] { return QFile::exists(fileOf(u"phonebook"_s, u"p1_MD2.vxperson"_s)); });
    EXPECT_TRUE(isMirrored);
    runHost("phonebook add 'Joe Hill'");
    bool isFound = false; // it looks every few seconds, and a slow machine takes longer still
    for (int wait = 0; wait < 6 && !isFound; ++wait)
        isFound = VXRunUntil([&] { return kinds("joe").contains(u"contact"_s); });
    EXPECT_TRUE(isFound);
}

// The objects of a store that takes another's place have the same numbers, and perhaps earlier dates.
TEST_F(HostSearchTest, FindsWhatIsInTheStoreThatTookThePlace)
{
    const QString copy = path(u"copy.vxdatastore"_s);
    EXPECT_EQ(runHost({"store", "export", "phonebook", copy}).status, 0);
    EXPECT_EQ(runHost("phonebook edit 'Zoë Müller' --last Renamed").status, 0);
    EXPECT_EQ(kinds("renamed"), (QStringList{u"contact"_s, u"message"_s}));
    EXPECT_EQ(runHost({"store", "import", "phonebook", copy, "--replace", "--yes"}).status, 0);
    EXPECT_EQ(kinds("renamed"), QStringList()); // which puts it in place
    EXPECT_EQ(kinds("müller"), (QStringList{u"contact"_s, u"message"_s}));
    EXPECT_EQ(runHost("phonebook edit 'Zoë Müller' --last Fourth").status, 0);
    EXPECT_EQ(runHost("store rollback phonebook --yes").status, 0);
    EXPECT_EQ(kinds("renamed"), (QStringList{u"contact"_s, u"message"_s}));
    // By no command, and without a plugin.
    const QString store = path(u".local/share/Vornix 2/Data/phonebook.vxdatastore"_s);
    QProcess::execute(u"cp"_s, {u"--remove-destination"_s, copy + "/phonebook.sqlite"_L1, store});
    EXPECT_EQ(kinds("müller"), (QStringList{u"contact"_s, u"message"_s}));
    EXPECT_EQ(runHost({"store", "update", store, "VXPerson/p1", "{\"lastName\": \"Bypath\"}"}).status, 0);
    EXPECT_EQ(kinds("bypath"), (QStringList{u"contact"_s, u"message"_s}));
}
