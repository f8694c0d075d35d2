#include "HostProgram.h"
#include "VXJSON.h"
#include "VXPluginFixtures.h"
#include "VXTesting.h"

#include <QtCore/QDirIterator>
#include <QtCore/QFile>
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
        {{u"history"_s, u"--last"_s, u"many"_s}, 2, "--last needs a number"},
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
         1,
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
