// What commands save is found by "vornix search" and by the searches of the desktop.

#include "HostProgram.h"
#include "HostTestsPaths.h"
#include "VXHostJSON.h"
#include "VXTesting.h"
#include "VXTestProcess.h"

#include <QtCore/QDir>
#include <QtCore/QDirIterator>
#include <QtCore/QJsonArray>
#include <QtCore/QProcess>

#include <sys/stat.h>

using namespace Qt::StringLiterals;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

class HostSearchTest : public VXHomeTest
{
protected:
    HostSearchTest()
    {
        runHost({u"phonebook"_s, u"add"_s, u"Zoë Müller"_s, u"--number"_s, u"+49 170 555 0100"_s, u"--group"_s,
                 u"Family"_s});
        runHost({u"messages"_s, u"import"_s, u"-"_s},
                "<?xml version='1.0'?>\n<smses><sms address='+491705550100' date='1772359200000' type='1' "
                "body='See you at the zoo' read='0'/></smses>\n");
        runHost({u"post"_s, u"incoming_call"_s, u"--subtype"_s, u"ended"_s, u"--object"_s,
                 u"{\"from\": \"Joe Hill <+1 555 0199>\", \"call_id\": \"1\"}"_s});
    }

    static QJsonValue json(const QStringList &arguments)
    {
        const HostOutcome outcome = runHost(QStringList{u"--json"_s, u"search"_s} + arguments);
        return VXJSONFromText(outcome.output).value_or(QJsonValue());
    }
    static QStringList kinds(const QStringList &arguments)
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
    EXPECT_EQ(QDir(mirror() + "/.due"_L1).entryList(QDir::Files), QStringList());
    const std::pair<QStringList, QStringList> cases[] = {
        {{u"zoe"_s}, {u"contact"_s, u"message"_s}}, // which has the number alone
        {{u"zo"_s}, {u"contact"_s, u"message"_s}},
        {{u"zo"_s, u"--limit"_s, u"1"_s}, {u"contact"_s}},
        {{u"zo"_s, u"--kind"_s, u"contact"_s}, {u"contact"_s}},
        {{u"MULLER"_s, u"zo"_s}, {u"contact"_s, u"message"_s}},
        {{u"muller"_s, u"see"_s}, {u"message"_s}},
        {{u"muller"_s, u"--kind"_s, u"contact"_s}, {u"contact"_s}},
        {{u"family"_s}, {u"contact"_s, u"message"_s}},
        {{u"hill"_s}, {u"call"_s}},
        {{u"0199"_s}, {u"call"_s}},
        {{u"0170 5550100"_s}, {u"contact"_s, u"message"_s}},
        {{u"check "_s}, {}},
    };
    for (const auto &[arguments, expected] : cases)
        EXPECT_EQ(kinds(arguments), expected) << arguments.join(u' ').toStdString();
    EXPECT_EQ(json({u"zoo"_s})[0][u"title"_s].toString(), u"Zoë Müller"_s);
    runHost({u"defaults"_s, u"write"_s, u"com.halvern.VNX2"_s, u"phonebook.names.last_first"_s, u"1"_s});
    EXPECT_EQ(json({u"zoo"_s})[0][u"title"_s].toString(), u"Müller Zoë"_s);
    runHost({u"defaults"_s, u"delete"_s, u"com.halvern.VNX2"_s, u"phonebook.names.last_first"_s});
    runHost({u"phonebook"_s, u"edit"_s, u"Zoë Müller"_s, u"--nickname"_s, u"Zozo"_s});
    EXPECT_EQ(kinds({u"zozo"_s, u"--kind"_s, u"contact"_s}), QStringList{u"contact"_s});
    const QString url = json({u"zozo"_s})[0][u"url"_s].toString();
    EXPECT_THAT(runHost({u"open"_s, url}).output.toStdString(), HasSubstr("Zozo"));
    runHost({u"phonebook"_s, u"delete"_s, u"Zoë Müller"_s});
    EXPECT_EQ(kinds({u"zozo"_s}), QStringList());
    EXPECT_NE(runHost({u"open"_s, url}).status, 0);
    const HostOutcome none = runHost({u"search"_s, u"nobody"_s});
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(none.output, "");
    for (const QStringList &wrong : {QStringList{u"zo"_s, u"--limit"_s, u"-1"_s}, {u"zo"_s, u"--repair"_s}, {}})
        EXPECT_EQ(runHost(QStringList{u"search"_s} + wrong).status, 2) << wrong.join(u' ').toStdString();
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
    EXPECT_EQ(kinds({u"zo"_s}), (QStringList{u"contact"_s, u"message"_s}));
    EXPECT_TRUE(QFile::exists(fileOf(u"phonebook"_s, u"p1_MD2.vxperson"_s)));
    writeFile(QDir(path()).relativeFilePath(mirror() + "/index.sqlite"_L1), "no database at all, none, none");
    EXPECT_EQ(kinds({u"hill"_s}), QStringList{u"call"_s});
    // More than a command mirrors itself waits for whoever comes next.
    QByteArray many = "<?xml version='1.0'?>\n<smses>";
    for (int i = 0; i < 150; ++i)
        many += "<sms address='+1555" + QByteArray::number(1000 + i) + "' date='1772359200000' type='1' body='cat'/>";
    runHost({u"messages"_s, u"import"_s, u"-"_s}, many + "</smses>\n");
    EXPECT_EQ(kinds({u"cat"_s, u"--limit"_s, u"0"_s}).size(), 150);
}

TEST_F(HostSearchTest, MirrorsNothingForWhoWantsThat)
{
    runHost({u"defaults"_s, u"write"_s, u"com.halvern.VNX2"_s, u"metadata.ignore"_s, u"true"_s});
    QDir(path(u".cache/Metadata"_s)).removeRecursively();
    runHost({u"phonebook"_s, u"add"_s, u"Joe Hill"_s});
    EXPECT_EQ(runHost({u"search"_s, u"joe"_s}).status, 1);
    EXPECT_FALSE(QFile::exists(path(u".cache/Metadata"_s)));
}

TEST_F(HostSearchTest, NothingStaysOfWhatIsNotSearchedAnyMore)
{
    // Of a plugin that was removed.
    const QString left[] = {mirror() + "/.due/com.example.gone@0123"_L1, mirror() + "/com.example.gone/p1_MD2.note"_L1,
                            mirror() + "/com.example.gone.store"_L1};
    for (const QString &each : left)
        writeFile(QDir(path()).relativeFilePath(each), "*\n");
    ASSERT_EQ(kinds({u"hill"_s}), QStringList{u"call"_s});
    for (const QString &each : left)
        EXPECT_FALSE(QFile::exists(each)) << each.toStdString();
    EXPECT_FALSE(QFile::exists(mirror() + "/com.example.gone"_L1));
    runHost({u"defaults"_s, u"write"_s, u"com.halvern.VNX2"_s, u"metadata.ignore"_s, u"true"_s});
    EXPECT_EQ(runHost({u"search"_s, u"hill"_s}).status, 1);
    for (const QString &plugin : {u"phonebook"_s, u"messages"_s, u"calls"_s})
        EXPECT_FALSE(QFile::exists(fileOf(plugin, {}))) << plugin.toStdString();
    EXPECT_FALSE(QFile::exists(mirror() + "/index.sqlite"_L1));
}

TEST_F(HostSearchTest, ChecksItself)
{
    for (const bool isNew : {false, true}) { // nobody has looked at all objects yet
        if (isNew)
            QDir(path(u".cache/Metadata"_s)).removeRecursively();
        const HostOutcome outcome = runHost({u"search"_s, u"check"_s});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_THAT(outcome.output.toStdString(), HasSubstr("not taken in yet"));
        EXPECT_THAT(outcome.errors.toStdString(), HasSubstr("the next search takes in"));
    }
    EXPECT_EQ(runHost({u"search"_s, u"update"_s}).status, 0);
    EXPECT_EQ(runHost({u"search"_s, u"check"_s}).status, 0);
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
        const HostOutcome outcome = runHost({u"search"_s, u"check"_s, repair.isNull() ? u"--verbose"_s : repair});
        EXPECT_EQ(outcome.status, repair.isNull() ? 1 : 0);
        for (const char *const line : {"stale     p1_MD2.vxperson", "missing   p1_MD2.vxcall",
                                       "orphaned  p7_MD2.vxcall", "damaged   p1_MD2.vxmessage"})
            EXPECT_THAT(outcome.output.toStdString(), HasSubstr(line));
    }
    EXPECT_TRUE(json({u"check"_s})[u"clean"_s].toBool());
    EXPECT_EQ(kinds({u"hill"_s}), QStringList{u"call"_s});
    EXPECT_EQ(kinds({u"muller"_s}), (QStringList{u"contact"_s, u"message"_s}));
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
    runHost({u"phonebook"_s, u"add"_s, u"Joe Hill"_s});
    bool isFound = false; // it looks every few seconds, and a slow machine takes longer still
    for (int wait = 0; wait < 6 && !isFound; ++wait)
        isFound = VXRunUntil([&] { return kinds({u"joe"_s}).contains(u"contact"_s); });
    EXPECT_TRUE(isFound);
}

// The objects of a store that takes another's place have the same numbers, and perhaps earlier dates.
TEST_F(HostSearchTest, FindsWhatIsInTheStoreThatTookThePlace)
{
    const QString copy = path(u"copy.vxdatastore"_s);
    EXPECT_EQ(runHost({u"store"_s, u"export"_s, u"phonebook"_s, copy}).status, 0);
    EXPECT_EQ(runHost({u"phonebook"_s, u"edit"_s, u"Zoë Müller"_s, u"--last"_s, u"Renamed"_s}).status, 0);
    EXPECT_EQ(kinds({u"renamed"_s}), (QStringList{u"contact"_s, u"message"_s}));
    EXPECT_EQ(runHost({u"store"_s, u"import"_s, u"phonebook"_s, copy, u"--replace"_s, u"--yes"_s}).status, 0);
    runHost({u"phonebook"_s, u"list"_s}); // puts it in place
    EXPECT_EQ(runHost({u"search"_s, u"update"_s}).status, 0);
    EXPECT_EQ(kinds({u"renamed"_s}), QStringList());
    EXPECT_EQ(kinds({u"müller"_s}), (QStringList{u"contact"_s, u"message"_s}));
}
