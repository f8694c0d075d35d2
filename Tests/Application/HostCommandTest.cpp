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
    const struct
    {
        QStringList arguments;
        int status;
    } cases[] = {
        {{}, 0},
        {{u"--help"_s}, 0},
        {{u"--version"_s}, 0},
        {{u"help"_s, u"log"_s}, 0},
        {{u"help"_s, u"nothing"_s}, 2},
        {{u"eval"_s, u"--help"_s}, 0},
        {{u"nothing"_s}, 2},
        {{u"info"_s}, 0},
        {{u"info"_s, u"--nothing"_s}, 2},
        {{u"info"_s, u"--home"_s, u"/dev/null/x"_s}, 1},
        {{u"log"_s}, 0},
        {{u"log"_s, u"--level"_s, u"loud"_s}, 2},
        {{u"log"_s, u"--level"_s, u"8"_s}, 2},
        {{u"defaults"_s, u"read"_s, u"d"_s}, 0},
        {{u"defaults"_s, u"read"_s, u"d"_s, u"k"_s}, 1},
        {{u"defaults"_s, u"write"_s, u"d"_s, u"k"_s}, 2},
        {{u"defaults"_s, u"write"_s, u"d"_s, u"k"_s, u"text"_s}, 2},
        {{u"defaults"_s, u"write"_s, u"d"_s, u"k"_s, u"null"_s}, 2},
        {{u"defaults"_s, u"write"_s, u"d"_s, u"k"_s, u"[1, null]"_s}, 2},
        {{u"defaults"_s, u"write"_s, u"a/b"_s, u"k"_s, u"1"_s}, 1},
        {{u"defaults"_s, u"delete"_s, u"d"_s, u"k"_s}, 0},
        {{u"plist"_s, u"/does/not/exist"_s}, 1},
        {{u"plist"_s, path(u"bad.plist"_s)}, 1},
        {{u"plist"_s, u"-"_s}, 1},
        {{u"plist"_s, path(u"bad.plist"_s), u"--to"_s, u"yaml"_s}, 2},
        {{u"eval"_s}, 0},
        {{u"completion"_s, u"tcsh"_s}, 2},
        {{u"man"_s}, 0},
        {{u"store"_s, u"list"_s, u"none.sqlite"_s, u"E"_s}, 1},
        {{u"store"_s, u"list"_s, u"none.sqlite"_s, u"E"_s, u"--limit"_s, u"x"_s}, 2},
        {{u"store"_s, u"list"_s, u"none.sqlite"_s, u"E"_s, u"--where"_s, u"a ="_s}, 2},
        {{u"store"_s, u"delete"_s, u"none.sqlite"_s, u"E"_s, u"--where"_s, u"a = 1"_s}, 1},
        {{u"export"_s, u"csvexporter"_s, u"--from"_s, u"none"_s, u"--to"_s, u"-"_s, u"--where"_s, u"("_s}, 2},
        {{u"triggers"_s, u"move"_s, u"p1"_s}, 2},
        {{u"triggers"_s, u"move"_s, u"p1"_s, u"--place"_s, u"0"_s}, 2},
        {{u"triggers"_s, u"add"_s, u"--event"_s, u"x"_s, u"--reactor"_s, u"y"_s, u"--filter"_s, u"a ="_s}, 2},
        {{u"phonebook"_s, u"add"_s, u"A"_s, u"--number"_s, u"x y"_s}, 2},
        {{u"phonebook"_s, u"edit"_s, u"A"_s}, 2},
        {{u"phonebook"_s, u"export"_s, u"-"_s, u"--card-version"_s, u"5"_s}, 2},
        {{u"messages"_s, u"list"_s, u"inbox"_s, u"--limit"_s, u"-1"_s}, 2},
        {{u"messages"_s, u"add-folder"_s, u"F"_s, u"--device"_s, u"d"_s}, 2},
        {{u"calls"_s, u"--limit"_s, u"many"_s}, 2},
        {{u"search"_s, u"a"_s, u"--limit"_s, u"many"_s}, 2},
        {{u"hotkeys"_s, u"bind"_s, u"event:x"_s, u"Super+?x"_s}, 2},
        {{u"hotkeys"_s, u"bind"_s, u"none"_s, u"Super+F5"_s}, 1},
        {{u"new-plugin"_s, u"A"_s, path(u"a"_s), u"--kind"_s, u"data"_s, u"--identifier"_s, u"x"_s}, 2},
        {{u"devices"_s, u"info"_s, u"none"_s}, 1},
        {{u"plugins"_s, u"info"_s, u"none"_s}, 1},
        {{u"plugins"_s, u"inform"_s}, 2},
    };
    for (const auto &[arguments, status] : cases) {
        const std::string shown = arguments.join(u' ').toStdString();
        const HostOutcome people = runHost(arguments);
        EXPECT_EQ(people.status, status) << shown << people.errors.toStdString();
        EXPECT_EQ(people.errors.startsWith("vornix: "), status != 0) << shown << people.errors.toStdString();
        EXPECT_EQ(people.errors.contains("\nusage: vornix"), status == 2) << shown;

        const HostOutcome json = runHost(QStringList{u"--json"_s} + arguments);
        EXPECT_EQ(json.status, status) << shown;
        const auto value = VXJSONFromText(json.output);
        ASSERT_TRUE(value.has_value()) << shown << json.output.toStdString();
        EXPECT_EQ(value->toObject().contains(u"error"_s), status != 0) << shown;
    }
}

TEST_F(HostCommandTest, InfoNamesFoldersBelowTheGivenHome)
{
    const QString home = path(u"new/home"_s);
    const HostOutcome outcome = runHost({u"--json"_s, u"--home"_s, home, u"info"_s});
    EXPECT_EQ(outcome.errors, QByteArray(""));
    const QJsonObject info = VXJSONFromText(outcome.output)->toObject();
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
        const HostOutcome written =
            runHost({u"defaults"_s, u"write"_s, u"com.example"_s, u"key"_s, QString::fromUtf8(value)});
        EXPECT_EQ(written.status, 0) << written.errors.toStdString();
        EXPECT_EQ(written.output, QByteArray(""));
        const HostOutcome read = runHost({u"defaults"_s, u"read"_s, u"com.example"_s, u"key"_s});
        EXPECT_EQ(VXJSONText(*VXJSONFromText(read.output)), value);
    }
    runHost({u"defaults"_s, u"write"_s, u"com.example"_s, u"other"_s, u"1"_s});
    runHost({u"defaults"_s, u"delete"_s, u"com.example"_s, u"key"_s});
    EXPECT_EQ(VXJSONText(*VXJSONFromText(runHost({u"defaults"_s, u"read"_s, u"com.example"_s}).output)),
              QByteArray(R"({"other":1})"));
    runHost({u"defaults"_s, u"delete"_s, u"com.example"_s});
    EXPECT_EQ(runHost({u"defaults"_s, u"read"_s, u"com.example"_s}).output, QByteArray("{}\n"));
}

TEST_F(HostCommandTest, FoldersThatNothingCanBeKeptInAreNamed)
{
    const struct
    {
        const char *command;
        const char *problem;
    } cases[] = {
        {"env -i \"$0\" info", "HOME is not set; use --home DIR"},
        {"env -i \"$0\" triggers", "HOME is not set; use --home DIR"},
        {"env -i HOME=/dev/null \"$0\" defaults write a b 1", "Not a directory: /dev/null"},
        {"env -i HOME=/dev/null/x \"$0\" plugins", "Not a directory: /dev/null; --home DIR keeps"},
    };
    for (const auto &[command, problem] : cases) {
        const HostOutcome outcome = runHostShell(QString::fromLatin1(command));
        EXPECT_EQ(outcome.status, 1) << command;
        EXPECT_THAT(outcome.errors.toStdString(), testing::StartsWith(std::string("vornix: ") + problem));
        EXPECT_EQ(outcome.errors.count('\n'), 1) << outcome.errors.toStdString();
        const QJsonValue json =
            VXJSONFromText(runHostShell(QString::fromLatin1(command) + u" --json"_s).output).value_or(QJsonValue());
        EXPECT_THAT(json[u"error"].toString().toStdString(), testing::StartsWith(problem));
    }
}

TEST_F(HostCommandTest, LogShowsEntriesOfALevelWhole)
{
    EXPECT_EQ(runHost({u"log"_s}).output, QByteArray("")); // there is none yet
    writeFile(logFile, log);
    EXPECT_EQ(runHost({u"log"_s}).output, log);
    const QByteArray errors = "Nov 15 22:04:32.118 [311:2] <ERROR> first\n\tits second line\n";
    EXPECT_EQ(runHost({u"log"_s, u"--level"_s, u"3"_s}).output, errors);
    EXPECT_EQ(runHost({u"log"_s, u"--level"_s, u"Warning"_s}).output, errors);
    EXPECT_EQ(runHost({u"log"_s, u"--level"_s, u"2"_s}).output, QByteArray(""));

    const QJsonArray entries = VXJSONFromText(runHost({u"log"_s, u"--json"_s}).output)->toArray();
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
    EXPECT_EQ(runHost({u"log"_s, u"--json"_s, u"--level"_s, u"0"_s}).output, QByteArray("[]\n"));
    EXPECT_EQ(runHost({u"log"_s, u"--json"_s, u"--follow"_s}).status, 2);

    EXPECT_EQ(runHost({u"log"_s, u"--last"_s, u"2"_s}).output, log.mid(log.indexOf("Nov 15 22:04:33")));
    EXPECT_EQ(runHost({u"log"_s, u"--last"_s, u"7"_s}).output, log);
    EXPECT_EQ(runHost({u"log"_s, u"--last"_s, u"1"_s, u"--level"_s, u"3"_s}).output, errors);
    EXPECT_EQ(VXJSONFromText(runHost({u"log"_s, u"--json"_s, u"--last"_s, u"1"_s}).output)->toArray().first(),
              entries[2]);
    EXPECT_EQ(runHost({u"log"_s, u"--last"_s, u"0"_s}).status, 2);

    // What was logged by others, and may steer a terminal.
    writeFile(logFile, "Nov 15 22:04:34.000 [312:1] <ERROR> \x1b[2J\r\n");
    EXPECT_EQ(runHost({u"log"_s}).output, QByteArray("Nov 15 22:04:34.000 [312:1] <ERROR> ^[[2J^M\n"));
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
    EXPECT_EQ(runHost({u"plist"_s, file}).output,
              QByteArray("{\n"
                         "    \"data\": <00ff6279746573206f662061206c6f6e...> (24 bytes)\n"
                         "    \"date\": 2024-02-29T12:30:00Z\n"
                         "    \"list\": [\n"
                         "        1\n        2.0\n        true\n"
                         "        \"te\\\"xt\"\n        {}\n"
                         "    ]\n"
                         "}\n"));
    const QByteArray binary = runHost({u"plist"_s, file, u"--to"_s, u"binary"_s}).output;
    EXPECT_TRUE(binary.startsWith("bplist00"));
    EXPECT_EQ(runHost({u"plist"_s, u"-"_s, u"--to"_s, u"xml"_s}, binary).output, xml);
    const QByteArray json = runHost({u"plist"_s, u"-"_s, u"--to=json"_s}, binary).output;
    EXPECT_EQ(VXVariantFromJSON(*VXJSONFromText(json)).toMap(), VXPropertyList::fromData(xml).toMap());
    EXPECT_EQ(runHost({u"plist"_s, file, u"--json"_s}).output, json);

    EXPECT_EQ(runHost({u"plist"_s, file, u"--json"_s, u"--to"_s, u"xml"_s}).status, 2);
    EXPECT_EQ(runHost({u"plist"_s, file, u"--to"_s, u"binary"_s, u"--output"_s, file}).status,
              0); // over its source
    EXPECT_EQ(readFile(file), binary);
    EXPECT_EQ(runHost({u"plist"_s, file, u"--output"_s, path(u"missing/out"_s)}).status, 1);
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

    EXPECT_EQ(runHost({u"eval"_s, u"--json"_s}, "{}\n[]").output,
              QByteArray("[\n{\"error\":\"\\\"call\\\" must be a string\"},\n{\"error\":\"no JSON object: an "
                         "array\"}\n]\n"));
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
        EXPECT_EQ(outcome.errors, QByteArray("")) << command.toStdString();
    }
    const HostOutcome full = runHostShell(u"\"$0\" log > /dev/full"_s);
    EXPECT_EQ(full.status, 1);
    EXPECT_TRUE(full.errors.startsWith("vornix: cannot write to standard output: "));
}

TEST_F(HostCommandTest, VerboseShowsLogLines)
{
    writeFile(u".config/Vornix 2/com.halvern.VNX2.plist"_s, "damaged");
    const HostOutcome outcome = runHost({u"--verbose"_s, u"defaults"_s, u"read"_s, u"com.halvern.VNX2"_s});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, QByteArray("{}\n"));
    EXPECT_TRUE(outcome.errors.contains("] <")) << outcome.errors.toStdString();
}
