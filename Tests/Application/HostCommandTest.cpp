#include "HostProgram.h"
#include "VXHostJSON.h"
#include "VXPropertyList.h"
#include "VXTesting.h"

#include <QtCore/QDateTime>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QProcess>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

class HostCommandTest : public VXHomeTest
{
protected:
    const QString logFile = u".local/state/Vornix/error.log"_s;
    const QByteArray log = "torn line\n"
                           "Nov 15 22:04:32.118 [311:2] <ERROR> first\n"
                           "\tits second line\n"
                           "Nov 15 22:04:33.000 [311:0] <DEBUG>\n"
                           "Nov 15 22:04:34.000 [312:1] <Level 9> odd\n";
};

} // namespace

TEST_F(HostCommandTest, ExitStatusesAndTheJSONPromise)
{
    writeFile(u"bad.plist"_s, "<plist><dict>");
    const std::pair<VXWords, int> cases[] = {
        {{}, 0},
        {"--help", 0},
        {"--version", 0},
        {"help log", 0},
        {"help nothing", 2},
        {"eval --help", 0},
        {"nothing", 2},
        {"info", 0},
        {"info --nothing", 2},
        {"info --home /dev/null/x", 1},
        {"log", 0},
        {"log --level loud", 2},
        {"log --level 8", 2},
        {"defaults read d", 0},
        {"defaults read d k", 1},
        {"defaults write d k", 2},
        {"defaults write d k text", 2},
        {"defaults write d k null", 2},
        {"defaults write d k '[1, null]'", 2},
        {"defaults write a/b k 1", 1},
        {"defaults delete d k", 0},
        {"plist /does/not/exist", 1},
        {{"plist", path(u"bad.plist"_s)}, 1},
        {"plist -", 1},
        {{"plist", path(u"bad.plist"_s), "--to", "yaml"}, 2},
        {"eval", 0},
        {"completion tcsh", 2},
        {"man", 0},
        {"store list none.sqlite E", 1},
        {"store list none.sqlite E --limit x", 2},
        {"store list none.sqlite E --where 'a ='", 2},
        {"store delete none.sqlite E --where 'a = 1'", 1},
        {"export csvexporter --from none --to - --where (", 2},
        {"triggers move p1", 2},
        {"triggers move p1 --place 0", 2},
        {"triggers add --event x --reactor y --filter 'a ='", 2},
        {"phonebook add A --number 'x y'", 2},
        {"phonebook edit A", 2},
        {"phonebook export - --card-version 5", 2},
        {"messages list inbox --limit -1", 2},
        {"messages add-folder F --device d", 2},
        {"calls --limit many", 2},
        {"search a --limit many", 2},
        {"search check --limit 3", 2},
        {"search check mate --repair", 2},
        {"search", 2},
        {"hotkeys bind event:x Super+?x", 2},
        {"hotkeys bind none Super+F5", 1},
        {{"new-plugin", "A", path(u"a"_s), "--kind", "data", "--identifier", "x"}, 2},
        {"devices info none", 1},
        {"plugins info none", 1},
        {"plugins inform", 2},
    };
    for (const auto &[arguments, status] : cases) {
        const std::string shown = arguments.join(u' ').toStdString();
        const HostOutcome people = runHost(arguments);
        EXPECT_EQ(people.status, status) << shown << people.errors;
        EXPECT_EQ(people.errors.startsWith("vornix: "), status != 0) << shown << people.errors;
        EXPECT_EQ(people.errors.contains("\nusage: vornix"), status == 2) << shown;

        const HostOutcome json = runHost(VXWords{"--json"} + arguments);
        EXPECT_EQ(json.status, status) << shown;
        const auto value = VXJSONFromText(json.output);
        ASSERT_TRUE(value.has_value()) << shown << json.output;
        EXPECT_EQ(value->toObject().contains(u"error"_s), status != 0) << shown;
    }
}

TEST_F(HostCommandTest, InfoNamesFoldersBelowTheGivenHome)
{
    const QString home = path(u"new/home"_s);
    const HostOutcome outcome = runHost({"--json", "--home", home, "info"});
    EXPECT_EQ(outcome.errors, "");
    const QJsonObject info = outcome.json().toObject();
    EXPECT_EQ(info[u"versions"_s][u"application"_s], info[u"versions"_s][u"framework"_s]);
    for (const auto &key : {u"home"_s, u"applicationSupport"_s, u"preferences"_s, u"logs"_s, u"caches"_s, u"metadata"_s,
                            u"trash"_s, u"desktop"_s})
        EXPECT_TRUE(info[u"folders"_s][key].toString().startsWith(home)) << key.toStdString();
    EXPECT_TRUE(info[u"folders"_s][u"applicationBundle"_s].toString().endsWith(u"/Vornix.app"_s));
    EXPECT_TRUE(info[u"folders"_s][u"frameworkBundle"_s].toString().endsWith(u"/Vornix.framework"_s));
}

TEST_F(HostCommandTest, DefaultsKeepEveryKindOfValue)
{
    const QByteArray values[] = {"-9007199254740993",
                                 "0.1",
                                 "true",
                                 R"("ü \" x")",
                                 "[]",
                                 R"([1,{"a":[false]}])",
                                 R"({"$data":"AAH/"})",
                                 R"({"$date":"2024-02-29T12:30:00Z"})",
                                 "{}"};
    for (const QByteArray &value : values) {
        const HostOutcome written = runHost({"defaults", "write", "com.example", "key", QString::fromUtf8(value)});
        EXPECT_EQ(written.status, 0) << written.errors;
        EXPECT_EQ(written.output, "");
        const HostOutcome read = runHost("defaults read com.example key");
        EXPECT_EQ(VXJSONText(*VXJSONFromText(read.output)), value);
    }
    runHost("defaults write com.example other 1");
    runHost("defaults delete com.example key");
    EXPECT_EQ(VXJSONText(*VXJSONFromText(runHost("defaults read com.example").output)), QByteArray(R"({"other":1})"));
    runHost("defaults delete com.example");
    EXPECT_EQ(runHost("defaults read com.example").output, "{}\n");
}

TEST_F(HostCommandTest, FoldersThatNothingCanBeKeptInAreNamed)
{
    const std::pair<const char *, const char *> cases[] = {
        {"env -i \"$0\" info", "HOME is not set; use --home DIR"},
        {"env -i \"$0\" triggers", "HOME is not set; use --home DIR"},
        {"env -i HOME=/dev/null \"$0\" defaults write a b 1", "Not a directory: /dev/null"},
        {"env -i HOME=/dev/null/x \"$0\" plugins", "Not a directory: /dev/null; --home DIR keeps"},
    };
    for (const auto &[command, problem] : cases) {
        const HostOutcome outcome = runHostShell(QString::fromLatin1(command));
        EXPECT_EQ(outcome.status, 1) << command;
        EXPECT_THAT(outcome.errors, testing::StartsWith(std::string("vornix: ") + problem));
        EXPECT_EQ(outcome.errors.count('\n'), 1) << outcome.errors;
        const QJsonValue json = runHostShell(QString::fromLatin1(command) + u" --json"_s).json();
        EXPECT_THAT(json[u"error"].toString().toStdString(), testing::StartsWith(problem));
    }
}

TEST_F(HostCommandTest, LogShowsEntriesOfALevelWhole)
{
    EXPECT_EQ(runHost("log").output, ""); // there is none yet
    writeFile(logFile, log);
    EXPECT_EQ(runHost("log").output, log);
    const QByteArray errors = "Nov 15 22:04:32.118 [311:2] <ERROR> first\n\tits second line\n";
    EXPECT_EQ(runHost("log --level 3").output, errors);
    EXPECT_EQ(runHost("log --level Warning").output, errors);
    EXPECT_EQ(runHost("log --level 2").output, "");

    const QJsonArray entries = runHost("log --json").json().toArray();
    ASSERT_EQ(entries.size(), 3);
    // The last November 15, with the offset from UTC.
    const QDateTime date = QDateTime::fromString(entries[0][u"date"].toString(), Qt::ISODateWithMs);
    EXPECT_EQ(date.time(), QTime(22, 4, 32, 118));
    EXPECT_TRUE(date.daysTo(QDateTime::currentDateTime()) >= -1 && date.daysTo(QDateTime::currentDateTime()) < 366);
    const QJsonObject first{{u"date"_s, entries[0][u"date"]},
                            {u"process"_s, 311},
                            {u"thread"_s, 2},
                            {u"level"_s, u"ERROR"_s},
                            {u"message"_s, u"first\nits second line"_s}};
    EXPECT_EQ(entries[0].toObject(), first);
    EXPECT_EQ(entries[2][u"level"_s], u"Level 9"_s);
    EXPECT_EQ(runHost("log --json --level 0").output, "[]\n");
    EXPECT_EQ(runHost("log --json --follow").status, 2);

    EXPECT_EQ(runHost("log --last 2").output, log.mid(log.indexOf("Nov 15 22:04:33")));
    EXPECT_EQ(runHost("log --last 7").output, log);
    EXPECT_EQ(runHost("log --last 1 --level 3").output, errors);
    EXPECT_EQ(runHost("log --json --last 1").json().toArray().first(), entries[2]);
    EXPECT_EQ(runHost("log --last 0").status, 2);

    // What was logged by others, and may steer a terminal.
    writeFile(logFile, "Nov 15 22:04:34.000 [312:1] <ERROR> \x1b[2J\r\n");
    EXPECT_EQ(runHost("log").output, "Nov 15 22:04:34.000 [312:1] <ERROR> ^[[2J^M\n");
}

TEST_F(HostCommandTest, LogFollowsAcrossRotation)
{
    const QString file = writeFile(logFile, log);
    const auto append = [&file](const QByteArray &text) {
        QFile target(file);
        ASSERT_TRUE(target.open(QIODevice::Append));
        target.write(text);
    };
    QProcess process;
    QByteArray shown;
    const auto shows = [&](const QByteArray &text) {
        return VXRunUntil([&] {
            shown += process.readAllStandardOutput();
            return shown.endsWith(text);
        });
    };
    process.start(hostProgram(), {u"log"_s, u"--follow"_s, u"--level"_s, u"error"_s});
    EXPECT_TRUE(shows("first\n\tits second line\n"));
    append("Nov 15 22:05:00.000 [1:0] <INFO> no\nNov 15 22:05:00.000 [1:0] <ERROR> ye");
    append("s\n");
    EXPECT_TRUE(shows("<ERROR> yes\n"));
    append("Nov 15 22:05:01.000 [1:0] <ERROR> last of the old\n");
    ASSERT_TRUE(QFile::rename(file, file + u".1"_s));
    append("Nov 15 22:05:02.000 [1:0] <ERROR> first of the new\n");
    EXPECT_TRUE(shows("last of the old\nNov 15 22:05:02.000 [1:0] <ERROR> first of the new\n"));
    append("Nov 15 22:05:03.000 [1:0] <ERROR> and on\n");
    EXPECT_TRUE(shows("and on\n"));
    process.terminate();
    ASSERT_TRUE(process.waitForFinished());
    EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(process.exitCode(), 0);
}

TEST_F(HostCommandTest, PropertyListsGoThroughEveryForm)
{
    const QVariantMap list{{u"data"_s, QByteArray("\0\xff"
                                                  "bytes of a longer kind",
                                                  24)},
                           {u"date"_s, QDateTime(QDate(2024, 2, 29), QTime(12, 30), Qt::UTC)},
                           {u"list"_s, QVariantList{1, 2.0, true, u"te\"xt"_s, QVariantMap()}}};
    VXError error;
    const QByteArray xml = VXPropertyList::toData(list, VXPropertyList::Format::XML, &error);
    const QString file = writeFile(u"in.plist"_s, xml);
    EXPECT_EQ(runHost({"plist", file}).output, "{\n"
                                               "    \"data\": <00ff6279746573206f662061206c6f6e...> (24 bytes)\n"
                                               "    \"date\": 2024-02-29T12:30:00Z\n"
                                               "    \"list\": [\n"
                                               "        1\n        2.0\n        true\n"
                                               "        \"te\\\"xt\"\n        {}\n"
                                               "    ]\n"
                                               "}\n");
    const QByteArray binary = runHost({"plist", file, "--to", "binary"}).output;
    EXPECT_TRUE(binary.startsWith("bplist00"));
    EXPECT_EQ(runHost("plist - --to xml", binary).output, xml);
    const QByteArray json = runHost("plist - --to=json", binary).output;
    EXPECT_EQ(VXVariantFromJSON(*VXJSONFromText(json)).toMap(), VXPropertyList::fromData(xml).toMap());
    EXPECT_EQ(runHost({"plist", file, "--json"}).output, json);

    EXPECT_EQ(runHost({"plist", file, "--json", "--to", "xml"}).status, 2);
    EXPECT_EQ(runHost({"plist", file, "--to", "binary", "--output", file}).status,
              0); // over its source
    EXPECT_EQ(readFile(file), binary);
    EXPECT_EQ(runHost({"plist", file, "--output", path(u"missing/out"_s)}).status, 1);
    // script(1) gives the program a terminal.
    EXPECT_EQ(runHostShell(u"script -qec \"'$0' plist ~/in.plist --to binary\" /dev/null"_s).status, 2);
}

TEST_F(HostCommandTest, EvalAnswersAtOnceAndAsOneValue)
{
    QProcess process;
    process.start(hostProgram(), {u"eval"_s});
    process.write("{\"call\":\"logLevelString\",\"args\":[3]}\n");
    QByteArray answer;
    EXPECT_TRUE(VXRunUntil([&] { return (answer += process.readAllStandardOutput()).endsWith('\n'); }));
    EXPECT_EQ(answer, QByteArray("{\"result\":\"ERROR\"}\n"));
    process.closeWriteChannel();
    ASSERT_TRUE(process.waitForFinished());
    EXPECT_EQ(process.exitCode(), 0);

    EXPECT_EQ(runHost("eval --json", "{}\n[]").output,
              "[\n{\"error\":\"\\\"call\\\" must be a string\"},\n{\"error\":\"no JSON object: an "
              "array\"}\n]\n");
    EXPECT_EQ(runHostShell(u"\"$0\" eval <&-"_s).status, 1);
    EXPECT_EQ(runHostShell(u"\"$0\" eval < /"_s).status, 1);
}

TEST_F(HostCommandTest, AReaderThatGoesAwayEndsItQuietly)
{
    writeFile(logFile, log.repeated(10'000));
    writeFile(u"lines"_s, QByteArray("{}\n").repeated(100'000));
    for (const QString &command : {u"log"_s, u"log --json"_s, u"log --follow"_s, u"eval < ~/lines"_s}) {
        const HostOutcome outcome = runHostShell(u"\"$0\" %1 | true; exit ${PIPESTATUS[0]}"_s.arg(command));
        EXPECT_EQ(outcome.status, 1) << command.toStdString();
        EXPECT_EQ(outcome.errors, "") << command.toStdString();
    }
    const HostOutcome full = runHostShell(u"\"$0\" log > /dev/full"_s);
    EXPECT_EQ(full.status, 1);
    EXPECT_TRUE(full.errors.startsWith("vornix: cannot write to standard output: "));
}

TEST_F(HostCommandTest, VerboseShowsLogLines)
{
    writeFile(u".config/Vornix 2/com.halvern.VNX2.plist"_s, "damaged");
    const HostOutcome outcome = runHost("--verbose defaults read com.halvern.VNX2");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "{}\n");
    EXPECT_TRUE(outcome.errors.contains("] <")) << outcome.errors;
}
