#include "HostProgram.h"
#include "VXJSON.h"
#include "VXPluginFixtures.h"
#include "VXTesting.h"

#include <QtCore/QDir>
#include <QtCore/QDirIterator>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <sqlite3.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;
using testing::HasSubstr;

class HostEventsTest : public VXHomeTest
{
protected:
    const QString shared = path(u".local/share/Vornix 2/PlugIns"_s);

    void writeExporter(const QString &identifier, const QVariantMap &info) const
    {
        VXPluginFixture{
            .identifier = identifier, .kind = u"VXExporterPlugin"_s, .info = info, .code = u"WritingExporter.so"_s}
            .write(shared);
    }
    void writePlugins() const
    {
        VXPluginFixture{
            .identifier = u"test.reactor"_s,
            .info = {{u"VXReactorName"_s, u"React"_s}, {u"VXReactorEventNameList"_s, QStringList{u"ping"_s}}},
            .code = u"ReactingPlugin.so"_s}
            .write(shared);
        writeExporter(u"test.good"_s, {});
        writeExporter(u"test.bad"_s, {{u"FixtureExportError"_s, u"No disk."_s}});
        VXPluginFixture{.identifier = u"test.poster"_s,
                        .info = {{u"VXPostsEvents"_s, QVariantMap{{u"ping"_s, u"described"_s}}}}}
            .write(shared);
        EXPECT_EQ(runHost({u"defaults"_s, u"write"_s, u"com.halvern.VNX2"_s, u"plugins"_s,
                           u"[\"test.reactor\", \"test.good\", \"test.bad\", \"test.poster\"]"_s})
                      .status,
                  0);
    }
    static HostOutcome run(const QString &arguments, const QStringList &more = {})
    {
        return runHost(arguments.split(u' ') + more);
    }
    static QJsonValue json(const QString &arguments, const QStringList &more = {})
    {
        return VXJSONFromText(run(u"--json "_s + arguments, more).output).value_or(QJsonValue());
    }
    static int count(const QString &file, const char *query)
    {
        sqlite3 *database = nullptr;
        sqlite3_stmt *statement = nullptr;
        sqlite3_open(file.toUtf8().constData(), &database);
        sqlite3_prepare_v2(database, query, -1, &statement, nullptr);
        const int count = sqlite3_step(statement) == SQLITE_ROW ? sqlite3_column_int(statement, 0) : -1;
        sqlite3_finalize(statement);
        sqlite3_close(database);
        return count;
    }
};

TEST_F(HostEventsTest, PostsRunTriggersAndTheHistoryTellsWhyLater)
{
    writePlugins();
    EXPECT_EQ(
        run(u"triggers add --event ping --name Jane --reactor test.reactor --filter"_s, {u"name == 'Jane'"_s}).status,
        0);
    EXPECT_EQ(run(u"triggers add --event pong --reactor test.reactor --option throws=number"_s).status, 0);

    const HostOutcome passed = run(u"post ping --subtype now --trace --object"_s, {u"{\"name\": \"Jane\"}"_s});
    EXPECT_EQ(passed.status, 0);
    EXPECT_THAT(passed.output.toStdString(),
                HasSubstr("ping::now: 1 of 1 trigger ran, 1 reactor\n"
                          "Trigger p1 \"Jane\" ran, for the object passed its filter name == "
                          "\"Jane\"\n  test.reactor done in "));
    EXPECT_EQ(run(u"post ping"_s).status, 0);
    const HostOutcome failed = run(u"post pong"_s);
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.errors.toStdString(), HasSubstr("Unable to execute \"React\" in trigger \"pong\"."));
    EXPECT_THAT(failed.errors.toStdString(), HasSubstr("No plugin says that it posts \"pong\""));

    const QJsonArray history = json(u"history"_s).toArray();
    ASSERT_EQ(history.size(), 3);
    EXPECT_EQ(json(u"history --event ping --last 1"_s).toArray().first()[u"id"_s], history[1][u"id"_s]);
    EXPECT_EQ(json(u"history --failures"_s).toArray().first()[u"event"_s], QJsonValue(u"pong"_s));
    const std::string why = run(u"history --why"_s).output.toStdString();
    EXPECT_THAT(why, HasSubstr("did not run, for the object did not pass its filter"));
    EXPECT_THAT(why, HasSubstr("test.reactor failed after"));

    const QJsonValue replayed = json(u"history replay"_s, {history[0][u"id"_s].toString()});
    EXPECT_EQ(replayed[u"object"_s], QJsonValue(QJsonObject{{u"name"_s, u"Jane"_s}}));
    EXPECT_EQ(replayed[u"triggers"_s][0][u"outcome"_s], QJsonValue(u"ran"_s));
    EXPECT_EQ(run(u"history replay"_s, {history[2][u"id"_s].toString()}).status, 1); // fails again

    const QString uri = history[0][u"triggers"_s][0][u"trigger"_s].toString(); // an object of a store
    EXPECT_EQ(json(u"post ping --object-uri"_s, {uri})[u"objectURI"_s], QJsonValue(uri));
    EXPECT_EQ(json(u"history replay"_s, {json(u"history --last 1"_s)[0][u"id"_s].toString()})[u"objectURI"_s],
              QJsonValue(uri));

    EXPECT_EQ(run(u"defaults write com.halvern.VNX2 events.history false"_s).status, 0);
    EXPECT_EQ(run(u"post ping"_s).status, 0);
    EXPECT_EQ(json(u"history"_s).toArray().size(), 7);
}

TEST_F(HostEventsTest, ListsEventsReactorsAndExporters)
{
    writePlugins();
    QJsonObject events;
    for (const auto event : json(u"events"_s).toArray())
        events.insert(event[u"event"_s].toString(), event);
    EXPECT_EQ(events[u"ping"_s], QJsonValue(QJsonObject{{u"event"_s, u"ping"_s},
                                                        {u"name"_s, u"ping"_s},
                                                        {u"bundle"_s, u"test.poster"_s},
                                                        {u"description"_s, u"described"_s}}));
    EXPECT_EQ(events[u"incoming_call"_s][u"name"_s], QJsonValue(u"Incoming call"_s));
    QJsonObject reactors;
    for (const auto reactor : json(u"reactors"_s).toArray())
        reactors.insert(reactor[u"identifier"_s].toString(), reactor);
    EXPECT_EQ(reactors[u"test.reactor"_s][u"name"_s], QJsonValue(u"React"_s));
    EXPECT_EQ(reactors[u"test.reactor"_s][u"events"_s], QJsonValue(QJsonArray{u"ping"_s}));
    EXPECT_TRUE(reactors[u"test.reactor"_s][u"classes"_s].isNull()); // it does not say
    EXPECT_EQ(reactors[u"test.good"_s][u"exporter"_s], QJsonValue(true));
    const std::string exporters = run(u"exporters"_s).output.toStdString();
    EXPECT_THAT(exporters, HasSubstr("test.good"));
    EXPECT_THAT(exporters, testing::Not(HasSubstr("test.reactor")));
}

TEST_F(HostEventsTest, CompletionAsksOnlyThePluginsThatItNeeds)
{
    writePlugins();
    const std::pair<QStringList, const char *> cases[] = {
        {{u"exporters"_s}, "csvexporter\n"},
        {{u"reactors"_s}, "logevent\n"},
        {{u"plugins"_s}, "calls\n"},
        {{u"events"_s}, "ping\n"},
        {{u"stores"_s}, "triggers\n"},
        {{u"options"_s, u"csvexporter"_s}, "file=\n"},
        {{u"options"_s, u"csvexporter"_s, u"app"_s}, "append=\n"},
        {{u"options"_s, u"csvexporter"_s, u"append="_s}, "append=false\nappend=true\n"},
        {{u"options"_s, u"vcardexporter"_s, u"version="_s}, "version=3.0\nversion=4.0\n"},
    };
    for (const auto &[arguments, words] : cases)
        EXPECT_THAT(run(u"completion words"_s, arguments).output.toStdString(), HasSubstr(words));
    EXPECT_EQ(run(u"completion words options none"_s).output, "");
    EXPECT_FALSE(QFileInfo::exists(path(u".local/share/Vornix 2/Data"_s))) << "no store was opened";

    EXPECT_EQ(run(u"triggers add --event ping --reactor logevent --name Pong"_s).status, 0);
    EXPECT_EQ(run(u"completion words triggers"_s).output, "Pong\np1\n");
    EXPECT_EQ(run(u"completion words entities triggers"_s).output.count("VXTrigger\n"), 1);
}

TEST_F(HostEventsTest, TablesSpeakTheUsersLanguage)
{
    EXPECT_EQ(run(u"triggers add --event incoming_call --reactor logevent"_s).status, 0);
    EXPECT_EQ(run(u"post incoming_call --subtype ended --object"_s, {u"{\"from\": \"5550100\"}"_s}).status, 0);
    EXPECT_EQ(run(u"phonebook add Jane --number 5550100 --company Acme"_s).status, 0);
    const std::pair<QString, const char *> cases[] = {
        {u"triggers"_s, "ID  ZUSTAND        EREIGNIS       NAME  REAKTOREN  FILTER\np1  eingeschaltet"},
        {u"calls"_s, "DATUM"},
        {u"calls --missed"_s, "  verpasst  Jane"},
        {u"history"_s, "1 Auslöser, davon gelaufen: 1, 1 Reaktor\n"},
        {u"triggers show p1"_s, "Auslöser p1 (eingeschaltet)\nEreignis  incoming_call\n"},
        {u"phonebook list"_s, "ID  NAME  NUMMERN"},
        {u"phonebook show Jane"_s, "Firma"},
        {u"plugins info calls"_s, "Eingebaut      ja\n"},
        {u"plugins"_s, "geladen"},
        {u"reactors"_s, "KATEGORIE"},
        {u"reactors info csvexporter"_s, "(nötig)"},
        {u"events"_s, "GEMELDET VON"},
        {u"messages folders"_s, "ORDNER  NACHRICHTEN  ART"},
        {u"hotkeys"_s, "KENNUNG"},
        {u"search jane"_s, "Kontakt"},
        {u"store info calls"_s, "Datendatei"},
        {u"info"_s, "Benutzerordner"},
        {u"status"_s, "Dienste"},
        {u"outbox"_s, "Der Postausgang ist leer.\n"},
    };
    qputenv("LANGUAGE", "de");
    for (const auto &[command, shown] : cases)
        EXPECT_THAT(run(command).output.toStdString(), HasSubstr(shown)) << command.toStdString();
    EXPECT_EQ(json(u"triggers"_s)[0][u"enabled"_s], QJsonValue(true)); // for programs it stays as it is
    qunsetenv("LANGUAGE");
}

TEST_F(HostEventsTest, ExportsWhatAPhoneGave)
{
    const struct
    {
        QByteArray json;
        QString where;
        QByteArray lines; // empty: refused
    } rows[] = {
        {R"({"result": {"items": [{"name": "Jane"}, {"name": "Zoë"}], "isComplete": true}})", u"name != NULL"_s,
         "name\r\nJane\r\nZoë\r\n"},
        {R"({"items": [{"name": "Jane"}, {"name": "Zoë"}]})", u"name BEGINSWITH 'J'"_s, "name\r\nJane\r\n"},
        {R"([{"name": "Jane"}])", u"name != NULL"_s, "name\r\nJane\r\n"},
        {R"({"name": "Jane"})", u"name != NULL"_s, "name\r\nJane\r\n"},
        {R"([{"name": "Jane"}, 7])", u"name != NULL"_s, {}},
        {R"([{"name": "Jane"}])", u"name == $NAME"_s, {}},
    };
    const QString file = path(u"given.csv"_s);
    for (const auto &[given, where, lines] : rows) {
        const QString from = writeFile(u"given.json"_s, given);
        QFile::remove(file);
        const HostOutcome outcome = run(u"export csvexporter --from %1 --to %2 --where"_s.arg(from, file), {where});
        EXPECT_EQ(outcome.status, lines.isEmpty() ? 1 : 0) << given.toStdString() << outcome.errors.toStdString();
        EXPECT_EQ(QFile::exists(file) ? readFile(file) : QByteArray(), lines) << given.toStdString();
    }
}

TEST_F(HostEventsTest, ExportsObjectsOfAStore)
{
    writePlugins();
    for (const QString &name : {u"one"_s, u"two"_s})
        EXPECT_EQ(run(u"triggers add --event ping --reactor test.reactor --name"_s, {name}).status, 0);
    EXPECT_EQ(json(u"export test.good triggers VXTrigger --to out"_s)[u"count"_s], QJsonValue(2));
    const QStringList table{u"--option"_s, u"columns=userName"_s};
    const QString file = path(u"triggers.csv"_s);
    const QString toTable = u"export com.halvern.VNX2.plugin.csvexporter triggers VXTrigger --to "_s + file;
    EXPECT_EQ(run(toTable, table).status, 0);
    EXPECT_EQ(run(toTable + " --option append=false"_L1, table).status, 0);
    EXPECT_EQ(readFile(file), "userName\r\none\r\ntwo\r\n");
    EXPECT_EQ(json(u"export test.good triggers VXTrigger --to out --where"_s, {u"userName == 'two'"_s})[u"count"_s],
              QJsonValue(1));
    const HostOutcome failed = run(u"export test.bad triggers VXTrigger --to out"_s);
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.errors.toStdString(), HasSubstr("No disk."));
}

TEST_F(HostEventsTest, TellsWhatIsWrongWithTheCommandLine)
{
    writePlugins();
    const struct
    {
        QStringList arguments;
        int status;
        std::string error;
    } rows[] = {
        {{u"post"_s, u""_s}, 2, "post needs EVENT"},
        {{u"post"_s, u"ping"_s, u"--object"_s, u"{"_s}, 2, "--object is no JSON object: "},
        {{u"post"_s, u"ping"_s, u"--object"_s, u"[1]"_s}, 2, "--object is no JSON object"},
        {{u"post"_s, u"ping"_s, u"--object"_s, u"{}"_s, u"--object-uri"_s, u"x"_s}, 2, "one object"},
        {{u"post"_s, u"ping"_s, u"--object-uri"_s, u"x-coredata://a/B/p1"_s}, 1, "no store has an object"},
        {{u"history"_s, u"replay"_s, u"nothing"_s}, 1, "no event \"nothing\""},
        {{u"history"_s, u"--last"_s, u"many"_s}, 2, "--last: \"many\" is no number"},
        {{u"history"_s, u"--last"_s, u"0"_s}, 2, "--last needs a number, at least 1"},
        {{u"export"_s, u"test.good"_s, u"triggers"_s, u"VXTrigger"_s}, 2, "--to FILE"},
        {u"export test.good triggers --to x"_s.split(u' '), 2, "needs STORE and ENTITY, or --from"},
        {u"export test.good triggers VXTrigger --from x --to x"_s.split(u' '), 2, "takes the place of STORE"},
        {u"export test.good --from x --sort a --to x"_s.split(u' '), 2, "--sort does not go with --from"},
        {u"export test.good --from /nowhere --to x"_s.split(u' '), 1, "/nowhere can not be read: No such file"},
        {u"export test.good --from /dev/null --to x"_s.split(u' '), 1, "/dev/null can not be read"},
        {u"--json export test.good triggers VXTrigger --to -"_s.split(u' '), 2, "which is no JSON value"},
        {{u"export"_s, u"test.good"_s, u"triggers"_s, u"VXTrigger"_s, u"--to"_s, u"x"_s, u"--option"_s, u"x"_s},
         2,
         "KEY=VALUE"},
        {{u"export"_s, u"test.reactor"_s, u"triggers"_s, u"VXTrigger"_s, u"--to"_s, u"x"_s}, 1, "is no exporter"},
        {{u"export"_s, u"test.good"_s, u"nothing"_s, u"VXTrigger"_s, u"--to"_s, u"x"_s}, 1, "no store \"nothing\""},
        {{u"export"_s, u"test.good"_s, u"triggers"_s, u"VXNothing"_s, u"--to"_s, u"x"_s}, 1, "no entity VXNothing"},
        {u"export test.good triggers VXtrigger --to x"_s.split(u' '), 1, "did you mean \"VXTrigger\"?"},
        {u"export test.god triggers VXTrigger --to x"_s.split(u' '), 1, "there is no exporter \"test.god\""},
        {{u"export"_s, u"test.good"_s, u"triggers"_s, u"VXTrigger"_s, u"--to"_s, u"x"_s, u"--where"_s, u"a =="_s},
         2,
         "--where"},
        {u"export test.good triggers VXTrigger --to x --where nmae==1"_s.split(u' '), 1, "no \"nmae\""},
    };
    for (const auto &[arguments, status, error] : rows) {
        const HostOutcome outcome = runHost(arguments);
        EXPECT_EQ(outcome.status, status) << arguments.join(u' ').toStdString();
        EXPECT_THAT(outcome.errors.toStdString(), HasSubstr(error));
    }
}

TEST_F(HostEventsTest, ExportsToStandardOutput)
{
    const QStringList exported{u"export"_s, u"csvexporter"_s, u"--from"_s, u"-"_s, u"--to"_s, u"-"_s};
    EXPECT_EQ(runHost(exported, R"([{"a": 1, "b": "x,y"}])").output, QByteArray("a,b\r\n1,\"x,y\"\r\n"));
    EXPECT_EQ(runHost(exported, "[]").output, QByteArray());
    EXPECT_FALSE(QFile::exists(u"-"_s));
}

TEST_F(HostEventsTest, DamagedPreferencesAreToldOfOnce)
{
    writeFile(u".config/Vornix 2/com.halvern.VNX2.plist"_s, "<plist><dict>");
    EXPECT_THAT(runHost({u"plugins"_s}).errors.toStdString(), HasSubstr("preferences were damaged"));
    EXPECT_EQ(runHost({u"plugins"_s}).errors, QByteArray());
}

TEST_F(HostEventsTest, NobodyElseReadsWhatIsKept)
{
    for (const QString &mask : {u"022"_s, u"000"_s}) {
        const QString home = path(u"home"_s + mask); // with the user's data, by chance, elsewhere
        const QString data = path(u"data"_s + mask);
        const HostOutcome outcome = runHostShell(uR"sh(
            umask %1; mkdir -m 755 "%2" "%3"; export HOME="%2" XDG_DATA_HOME="%3/share"; set -e
            export XDG_CONFIG_HOME="$HOME/.config" XDG_STATE_HOME="$HOME/.local/state" XDG_CACHE_HOME="$HOME/.cache"
            echo 'entity A { attribute a: string optional; }' > "$HOME/a.vxmodel"; chmod 600 "$HOME/a.vxmodel"
            for type in xml sqlite; do
                "$0" store new "$XDG_DATA_HOME/$type.vxdatastore" --model "$HOME/a.vxmodel" --type $type
                "$0" store insert "$XDG_DATA_HOME/$type.vxdatastore" A '{"a": "b"}'
            done
            "$0" triggers add --event incoming_call --reactor com.halvern.VNX2.plugin.logevent
            "$0" defaults write com.halvern.VNX2 key true
            "$0" post incoming_call --subtype ended --object '{"call_id": "1", "from": "Jane <555>"}' || true
            "$0" history)sh"_s.arg(mask, home, data));
        EXPECT_EQ(outcome.status, 0) << outcome.errors.toStdString();
        QStringList files;
        for (const QString &folder : {home, data}) {
            QDirIterator item(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                              QDirIterator::Subdirectories);
            while (item.hasNext()) {
                struct stat status = {};
                const QString name = item.next();
                EXPECT_EQ(::lstat(name.toUtf8().constData(), &status), 0);
                EXPECT_EQ(status.st_mode & 077, 0U) << name.toStdString();
                files.append(item.fileName());
            }
        }
        for (const char *const kept :
             {"error.log", "events.jsonl", "calls.sqlite", "calls.mom", "xml.xml", "com.halvern.VNX2.plist"})
            EXPECT_THAT(files, testing::Contains(QString::fromLatin1(kept)));
    }
}

TEST_F(HostEventsTest, ProcessesPostAtOnceIntoTheSameStores)
{
    writePlugins();
    const QString lines = path(u"calls.csv"_s);
    const HostOutcome outcome = runHostShell(uR"sh(
        "$0" triggers & first=$! # both make the stores
        "$0" triggers & second=$!
        wait $first && wait $second || exit 1
        "$0" triggers add --event incoming_call --reactor test.reactor \
            --reactor com.halvern.VNX2.plugin.csvexporter --option columns=call_id \
            --option VXExporterOptionsFilePath="$HOME/calls.csv" || exit 1
        post() { for call in 1 2 3 4 5; do
            "$0" post incoming_call --subtype ended --object "{\"call_id\": \"$1-$call\", \"from\": \"Jane <555>\"}" || exit 1
        done; }
        post a & first=$!; post b & second=$!
        wait $first && wait $second)sh"_s);
    EXPECT_EQ(outcome.status, 0) << outcome.errors.toStdString();
    QSet<QString> identifiers;
    for (const auto event : json(u"history --event incoming_call"_s).toArray()) {
        identifiers.insert(event[u"id"_s].toString());
        for (const int reaction : {0, 1})
            EXPECT_EQ(event[u"triggers"_s][0][u"reactions"_s][reaction][u"outcome"_s], QJsonValue(u"done"_s));
    }
    EXPECT_EQ(identifiers.size(), 10);
    const QString calls = path(u".local/share/Vornix 2/Data/calls.vxdatastore/calls.sqlite"_s);
    EXPECT_EQ(count(calls, "SELECT count(*) FROM VX_VXCall"), 10);
    QList<QByteArray> written = readFile(lines).trimmed().split('\n');
    EXPECT_EQ(written.takeFirst(), "call_id\r");
    EXPECT_EQ(QSet<QByteArray>(written.cbegin(), written.cend()).size(), 10);
}

TEST_F(HostEventsTest, CallsGoIntoASpreadsheetWithTheirDates)
{
    const QString file = path(u"calls.csv"_s);
    const auto added = [&](const QString &option, const QString &value) {
        return run(u"triggers add --event incoming_call --reactor csvexporter --option columns=date,who --option"_s,
                   {option + u'=' + value});
    };
    EXPECT_THAT(added(u"file"_s, path(u"none/calls.csv"_s)).errors.toStdString(), HasSubstr("There is no folder \""));
    EXPECT_EQ(added(u"file"_s, file).errors, "");
    EXPECT_EQ(run(u"phonebook add Jane --number 5550100"_s).status, 0);
    const QString call = u"{\"from\": \"5550100\", \"event_date\": {\"$date\": \"2026-01-31T12:00:00Z\"}}"_s;
    EXPECT_THAT(run(u"post incoming_call --trace --subtype ringing --object"_s, {call}).output.toStdString(),
                HasSubstr("It writes when the call has ended."));
    EXPECT_EQ(run(u"post incoming_call --subtype ended --object"_s, {call}).status, 0);
    EXPECT_THAT(readFile(file).toStdString(), testing::MatchesRegex("date,who\r?\n2026-0[^,]*,Jane\r?\n"));

    EXPECT_EQ(run(u"triggers edit p1 --option columns=dat,who"_s).errors.count("did you mean \"date\"?"), 1);
    EXPECT_EQ(json(u"triggers show p1"_s)[u"reactors"_s][0][u"options"_s][u"VXExporterOptionsFilePath"_s], file);
    EXPECT_EQ(QDir(path()).remove(u"calls.csv"_s), true);
    EXPECT_EQ(QDir(path()).mkdir(u"calls.csv"_s), true);
    EXPECT_THAT(run(u"post incoming_call --subtype ended --object"_s, {call}).errors.toStdString(),
                HasSubstr("The export to \"" + file.toStdString() + "\" failed."));
}

TEST_F(HostEventsTest, TellsOfEventsThatNobodyWouldUnderstand)
{
    const std::pair<QStringList, const char *> cases[] = {
        {{u"incoming_cal"_s}, "did you mean \"incoming_call\"?"},
        {{u"incoming_call"_s, u"--subtype"_s, u"ende"_s}, "did you mean \"ended\"?; there are: ringing"},
        {{u"incoming_call"_s, u"--object"_s, u"{\"frm\": \"1\"}"_s}, "have no \"frm\"; did you mean \"from\"?"},
        {{u"incoming_call"_s, u"--object"_s, u"{\"from\": {\"a\": 1}}"_s}, "\"from\" is no text"},
    };
    for (const auto &[arguments, problem] : cases)
        EXPECT_THAT(run(u"post"_s, arguments).errors.toStdString(), HasSubstr(problem));
    const HostOutcome known = run(u"post outgoing_call --subtype ended --object"_s, {u"{\"to\": \"1\"}"_s});
    EXPECT_EQ(known.errors, "");
}

TEST_F(HostEventsTest, ShowsTheHistoryOfCalls)
{
    run(u"phonebook add Jane --number 5550100"_s);
    const auto post = [](const QString &event, const QString &object) {
        EXPECT_EQ(run(u"post %1 --subtype ended --object"_s.arg(event), {object}).status, 0);
    };
    post(u"incoming_call"_s, u"{\"from\": \"+15550100\", \"date\": {\"$date\": \"2026-01-01T10:00:00Z\"}}"_s);
    post(u"incoming_call"_s, u"{\"from\": \"5550100\", \"duration\": 61, "
                             u"\"date\": {\"$date\": \"2026-01-02T10:00:00Z\"}}"_s);
    post(u"outgoing_call"_s, u"{\"to\": \"5550199\", \"date\": {\"$date\": \"2026-01-03T10:00:00Z\"}}"_s);
    const std::pair<QString, QStringList> cases[] = {
        {u"calls"_s, {u"p3"_s, u"p2"_s, u"p1"_s}},   {u"calls --missed"_s, {u"p1"_s}},
        {u"calls --incoming"_s, {u"p2"_s, u"p1"_s}}, {u"calls --outgoing"_s, {u"p3"_s}},
        {u"calls --with jan"_s, {u"p2"_s, u"p1"_s}}, {u"calls --with 5550199"_s, {u"p3"_s}},
        {u"calls --limit 1"_s, {u"p3"_s}},           {u"calls --since 2026-01-02T00:00:00Z"_s, {u"p3"_s, u"p2"_s}},
    };
    for (const auto &[command, expected] : cases) {
        QStringList shown;
        for (const QJsonValue call : json(command).toArray())
            shown.append(call[u"id"_s].toString());
        EXPECT_EQ(shown, expected) << command.toStdString();
    }
    const std::string table = run(u"calls"_s).output.toStdString();
    EXPECT_THAT(table, testing::ContainsRegex("in +Jane +1:01"));
    EXPECT_THAT(table, testing::ContainsRegex("missed +Jane "));
    for (const char *const wrong : {"calls --since tomorrow", "calls --limit x"})
        EXPECT_EQ(run(QString::fromLatin1(wrong)).status, 2);
}

TEST_F(HostEventsTest, TriggersThatFindTheirPluginMissingAreTold)
{
    writePlugins();
    EXPECT_EQ(run(u"triggers add --event ping --name Jane --reactor test.reactor"_s).status, 0);
    EXPECT_THAT(run(u"plugins disable test.reactor"_s).errors.toStdString(),
                HasSubstr("Triggers that use it find it missing from now on: Jane (p1)"));
    EXPECT_THAT(run(u"triggers"_s).output.toStdString(), HasSubstr("reactor (is disabled)"));
    EXPECT_THAT(run(u"post ping --trace"_s).output.toStdString(), HasSubstr("\"vornix plugins enable test.reactor\""));
    EXPECT_THAT(run(u"status"_s).output.toStdString(), HasSubstr("Triggers that use it: 1;"));

    EXPECT_TRUE(QDir(shared + u"/test.good.vxplugin"_s).removeRecursively());
    for (const QString &command : {u"plugins"_s, u"status"_s})
        EXPECT_THAT(run(command).output.toStdString(), HasSubstr("its bundle is in none of the plugin folders"));
    EXPECT_EQ(run(u"plugins info test.good"_s).status, 1);
    EXPECT_EQ(run(u"plugins disable test.good"_s).output, "Disabled test.good.\n");
    EXPECT_THAT(run(u"plugins"_s).output.toStdString(), testing::Not(HasSubstr("test.good")));
}
