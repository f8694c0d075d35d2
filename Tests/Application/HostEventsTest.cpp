#include "HostProgram.h"
#include "VXJSON.h"
#include "VXPluginFixtures.h"
#include "VXTesting.h"
#include "VXTestSQL.h"

#include <QtCore/QDir>
#include <QtCore/QDirIterator>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

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
        EXPECT_EQ(runHost("defaults write com.halvern.VNX2 plugins '[\"test.reactor\", \"test.good\", \"test.bad\", "
                          "\"test.poster\"]'")
                      .status,
                  0);
    }
    static HostOutcome run(const VXWords &arguments, const VXWords &more = {}) { return runHost(arguments + more); }
    static QJsonValue json(const VXWords &arguments, const VXWords &more = {})
    {
        return run(VXWords{"--json"} + arguments, more).json();
    }
};

TEST_F(HostEventsTest, PostsRunTriggersAndTheHistoryTellsWhyLater)
{
    writePlugins();
    EXPECT_EQ(run("triggers add --event ping --name Jane --reactor test.reactor --filter", {"name == 'Jane'"}).status,
              0);
    EXPECT_EQ(run("triggers add --event pong --reactor test.reactor --option throws=number").status, 0);

    const HostOutcome passed = run("post ping --subtype now --trace --object", {"{\"name\": \"Jane\"}"});
    EXPECT_EQ(passed.status, 0);
    EXPECT_THAT(passed.output, HasSubstr("ping::now: 1 of 1 trigger ran, 1 reactor\n"
                                         "Trigger p1 \"Jane\" ran, for the object passed its filter name == "
                                         "\"Jane\"\n  test.reactor done in "));
    EXPECT_EQ(run("post ping").status, 0);
    const HostOutcome failed = run("post pong");
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.errors, HasSubstr("Unable to execute \"React\" in trigger \"pong\"."));
    EXPECT_THAT(failed.errors, HasSubstr("No plugin says that it posts \"pong\""));

    const QJsonArray history = json("history").toArray();
    ASSERT_EQ(history.size(), 3);
    EXPECT_EQ(json("history --event ping --last 1").toArray().first()[u"id"_s], history[1][u"id"_s]);
    EXPECT_EQ(json("history --failures").toArray().first()[u"event"_s], QJsonValue(u"pong"_s));
    const std::string why = run("history --why").output;
    EXPECT_THAT(why, HasSubstr("did not run, for the object did not pass its filter"));
    EXPECT_THAT(why, HasSubstr("test.reactor failed after"));

    const QJsonValue replayed = json("history replay", {history[0][u"id"_s].toString()});
    EXPECT_EQ(replayed[u"object"_s], QJsonValue(QJsonObject{{u"name"_s, u"Jane"_s}}));
    EXPECT_EQ(replayed[u"triggers"_s][0][u"outcome"_s], QJsonValue(u"ran"_s));
    EXPECT_EQ(run("history replay", {history[2][u"id"_s].toString()}).status, 1); // fails again

    const QString uri = history[0][u"triggers"_s][0][u"trigger"_s].toString(); // an object of a store
    EXPECT_EQ(json("post ping --object-uri", {uri})[u"objectURI"_s], QJsonValue(uri));
    EXPECT_EQ(json("history replay", {json("history --last 1")[0][u"id"_s].toString()})[u"objectURI"_s],
              QJsonValue(uri));

    EXPECT_EQ(run("defaults write com.halvern.VNX2 events.history false").status, 0);
    EXPECT_EQ(run("post ping").status, 0);
    EXPECT_EQ(json("history").toArray().size(), 7);
}

TEST_F(HostEventsTest, ListsEventsReactorsAndExporters)
{
    writePlugins();
    QJsonObject events;
    for (const auto event : json("events").toArray())
        events.insert(event[u"event"_s].toString(), event);
    EXPECT_EQ(events[u"ping"_s], QJsonValue(QJsonObject{{u"event"_s, u"ping"_s},
                                                        {u"name"_s, u"ping"_s},
                                                        {u"bundle"_s, u"test.poster"_s},
                                                        {u"description"_s, u"described"_s}}));
    EXPECT_EQ(events[u"incoming_call"_s][u"name"_s], QJsonValue(u"Incoming call"_s));
    QJsonObject reactors;
    for (const auto reactor : json("reactors").toArray())
        reactors.insert(reactor[u"identifier"_s].toString(), reactor);
    EXPECT_EQ(reactors[u"test.reactor"_s][u"name"_s], QJsonValue(u"React"_s));
    EXPECT_EQ(reactors[u"test.reactor"_s][u"events"_s], QJsonValue(QJsonArray{u"ping"_s}));
    EXPECT_TRUE(reactors[u"test.reactor"_s][u"classes"_s].isNull()); // it does not say
    EXPECT_EQ(reactors[u"test.good"_s][u"exporter"_s], QJsonValue(true));
    const std::string exporters = run("exporters").output;
    EXPECT_THAT(exporters, HasSubstr("test.good"));
    EXPECT_THAT(exporters, testing::Not(HasSubstr("test.reactor")));
}

TEST_F(HostEventsTest, CompletionAsksOnlyThePluginsThatItNeeds)
{
    writePlugins();
    const std::pair<VXWords, const char *> cases[] = {
        {"exporters", "csvexporter\n"},
        {"reactors", "logevent\n"},
        {"plugins", "calls\n"},
        {"events", "ping\n"},
        {"stores", "triggers\n"},
        {"options csvexporter", "file=\n"},
        {"options csvexporter app", "append=\n"},
        {"options csvexporter append=", "append=false\nappend=true\n"},
        {"options vcardexporter version=", "version=3.0\nversion=4.0\n"},
    };
    for (const auto &[arguments, words] : cases)
        EXPECT_THAT(run("completion words", arguments).output, HasSubstr(words));
    EXPECT_EQ(run("completion words options none").output, "");
    EXPECT_FALSE(QFileInfo::exists(path(u".local/share/Vornix 2/Data"_s))) << "no store was opened";

    EXPECT_EQ(run("triggers add --event ping --reactor logevent --name Pong").status, 0);
    EXPECT_EQ(run("completion words triggers").output, "Pong\np1\n");
    EXPECT_EQ(run("completion words entities triggers").output.count("VXTrigger\n"), 1);
}

TEST_F(HostEventsTest, TablesSpeakTheUsersLanguage)
{
    EXPECT_EQ(run("triggers add --event incoming_call --reactor logevent").status, 0);
    EXPECT_EQ(run("post incoming_call --subtype ended --object", {"{\"from\": \"5550100\"}"}).status, 0);
    EXPECT_EQ(run("phonebook add Jane --number 5550100 --company Acme").status, 0);
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
        EXPECT_THAT(run(command).output, HasSubstr(shown)) << command.toStdString();
    EXPECT_EQ(json("triggers")[0][u"enabled"_s], QJsonValue(true)); // for programs it stays as it is
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
        EXPECT_EQ(outcome.status, lines.isEmpty() ? 1 : 0) << given.toStdString() << outcome.errors;
        EXPECT_EQ(QFile::exists(file) ? readFile(file) : QByteArray(), lines) << given.toStdString();
    }
}

TEST_F(HostEventsTest, ExportsObjectsOfAStore)
{
    writePlugins();
    for (const QString &name : {u"one"_s, u"two"_s})
        EXPECT_EQ(run("triggers add --event ping --reactor test.reactor --name", {name}).status, 0);
    EXPECT_EQ(json("export test.good triggers VXTrigger --to out")[u"count"_s], QJsonValue(2));
    const QStringList table{u"--option"_s, u"columns=userName"_s};
    const QString file = path(u"triggers.csv"_s);
    const QString toTable = u"export com.halvern.VNX2.plugin.csvexporter triggers VXTrigger --to "_s + file;
    EXPECT_EQ(run(toTable, table).status, 0);
    EXPECT_EQ(run(toTable + " --option append=false"_L1, table).status, 0);
    EXPECT_EQ(readFile(file), "userName\r\none\r\ntwo\r\n");
    EXPECT_EQ(json("export test.good triggers VXTrigger --to out --where", {"userName == 'two'"})[u"count"_s],
              QJsonValue(1));
    const HostOutcome failed = run("export test.bad triggers VXTrigger --to out");
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.errors, HasSubstr("No disk."));
}

TEST_F(HostEventsTest, TellsWhatIsWrongWithTheCommandLine)
{
    writePlugins();
    const std::tuple<VXWords, int, std::string> rows[] = {
        {"post ping --object {", 2, "--object is no JSON object: "},
        {"post ping --object [1]", 2, "--object is no JSON object"},
        {"post ping --object {} --object-uri x", 2, "one object"},
        {"post ping --object-uri x-coredata://a/B/p1", 1, "no store has an object"},
        {"history replay nothing", 1, "no event \"nothing\""},
        {"history --last many", 2, "--last: \"many\" is no number"},
        {"history --last 0", 2, "--last: \"0\" is no number from 1 to"},
        {"export test.good triggers VXTrigger", 2, "--to FILE"},
        {u"export test.good triggers --to x"_s.split(u' '), 2, "needs STORE and ENTITY, or --from"},
        {u"export test.good triggers VXTrigger --from x --to x"_s.split(u' '), 2, "takes the place of STORE"},
        {u"export test.good --from x --sort a --to x"_s.split(u' '), 2, "--sort does not go with --from"},
        {u"export test.good --from /nowhere --to x"_s.split(u' '), 1, "/nowhere cannot be read: No such file"},
        {u"export test.good --from /dev/null --to x"_s.split(u' '), 1, "/dev/null cannot be read"},
        {u"--json export test.good triggers VXTrigger --to -"_s.split(u' '), 2, "which is no JSON value"},
        {"export test.good triggers VXTrigger --to x --option x", 2, "KEY=VALUE"},
        {"export test.reactor triggers VXTrigger --to x", 1, "is no exporter"},
        {"export test.good nothing VXTrigger --to x", 1, "no store \"nothing\""},
        {"export test.good triggers VXNothing --to x", 1, "no entity VXNothing"},
        {u"export test.good triggers VXtrigger --to x"_s.split(u' '), 1, "did you mean \"VXTrigger\"?"},
        {u"export test.god triggers VXTrigger --to x"_s.split(u' '), 1, "there is no exporter \"test.god\""},
        {"export test.good triggers VXTrigger --to x --where 'a =='", 2, "--where"},
        {u"export test.good triggers VXTrigger --to x --where nmae==1"_s.split(u' '), 1, "no \"nmae\""},
    };
    for (const auto &[arguments, status, error] : rows) {
        const HostOutcome outcome = runHost(arguments);
        EXPECT_EQ(outcome.status, status) << arguments.join(u' ').toStdString();
        EXPECT_THAT(outcome.errors, HasSubstr(error));
    }
}

TEST_F(HostEventsTest, ExportsToStandardOutput)
{
    const QStringList exported{u"export"_s, u"csvexporter"_s, u"--from"_s, u"-"_s, u"--to"_s, u"-"_s};
    EXPECT_EQ(runHost(exported, R"([{"a": 1, "b": "x,y"}])").output, "a,b\r\n1,\"x,y\"\r\n");
    EXPECT_EQ(runHost(exported, "[]").output, QByteArray());
    EXPECT_FALSE(QFile::exists(u"-"_s));
}

TEST_F(HostEventsTest, DamagedPreferencesAreToldOfOnce)
{
    writeFile(u".config/Vornix 2/com.halvern.VNX2.plist"_s, "<plist><dict>");
    EXPECT_THAT(runHost("plugins").errors, HasSubstr("preferences were damaged"));
    EXPECT_EQ(runHost("plugins").errors, QByteArray());
}

TEST_F(HostEventsTest, NobodyElseReadsWhatIsKept)
{
    for (const QString &mask : {u"022"_s, u"000"_s, u"0277"_s}) {
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
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        QStringList files;
        for (const QString &folder : {home, data}) {
            QDirIterator item(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                              QDirIterator::Subdirectories);
            while (item.hasNext()) {
                struct stat status = {};
                const QString name = item.next();
                EXPECT_EQ(::lstat(name.toUtf8().constData(), &status), 0);
                EXPECT_EQ(status.st_mode & 0677, 0600U) << name.toStdString();
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
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    QSet<QString> identifiers;
    for (const auto event : json("history --event incoming_call").toArray()) {
        identifiers.insert(event[u"id"_s].toString());
        for (const int reaction : {0, 1})
            EXPECT_EQ(event[u"triggers"_s][0][u"reactions"_s][reaction][u"outcome"_s], QJsonValue(u"done"_s));
    }
    EXPECT_EQ(identifiers.size(), 10);
    const QString calls = path(u".local/share/Vornix 2/Data/calls.vxdatastore/calls.sqlite"_s);
    EXPECT_EQ(VXRunSQL(calls, "SELECT count(*) FROM VX_VXCall"), QStringList{u"10"_s});
    QList<QByteArray> written = readFile(lines).trimmed().split('\n');
    EXPECT_EQ(written.takeFirst(), "call_id\r");
    EXPECT_EQ(QSet<QByteArray>(written.cbegin(), written.cend()).size(), 10);
}

TEST_F(HostEventsTest, CallsGoIntoASpreadsheetWithTheirDates)
{
    const QString file = path(u"calls.csv"_s);
    const auto added = [&](const QString &option, const QString &value) {
        return run("triggers add --event incoming_call --reactor csvexporter --option columns=date,who --option",
                   {option + u'=' + value});
    };
    EXPECT_THAT(added(u"file"_s, path(u"none/calls.csv"_s)).errors, HasSubstr("There is no folder \""));
    EXPECT_EQ(added(u"file"_s, file).errors, "");
    EXPECT_EQ(run("phonebook add Jane --number 5550100").status, 0);
    const QString call = u"{\"from\": \"5550100\", \"event_date\": {\"$date\": \"2026-01-31T12:00:00Z\"}}"_s;
    EXPECT_THAT(run("post incoming_call --trace --subtype ringing --object", {call}).output,
                HasSubstr("It writes when the call has ended."));
    EXPECT_EQ(run("post incoming_call --subtype ended --object", {call}).status, 0);
    EXPECT_THAT(readFile(file).toStdString(), testing::MatchesRegex("date,who\r?\n2026-0[^,]*,Jane\r?\n"));

    EXPECT_EQ(run("triggers edit p1 --option columns=dat,who").errors.count("did you mean \"date\"?"), 1);
    EXPECT_EQ(json("triggers show p1")[u"reactors"_s][0][u"options"_s][u"VXExporterOptionsFilePath"_s], file);
    EXPECT_EQ(QDir(path()).remove(u"calls.csv"_s), true);
    EXPECT_EQ(QDir(path()).mkdir(u"calls.csv"_s), true);
    EXPECT_THAT(run("post incoming_call --subtype ended --object", {call}).errors,
                HasSubstr("The export to \"" + file.toStdString() + "\" failed."));
}

TEST_F(HostEventsTest, TellsOfEventsThatNobodyWouldUnderstand)
{
    const std::pair<VXWords, const char *> cases[] = {
        {"incoming_cal", "did you mean \"incoming_call\"?"},
        {"incoming_call --subtype ende", "did you mean \"ended\"?; there are: ringing"},
        {"incoming_call --object '{\"frm\": \"1\"}'", "have no \"frm\"; did you mean \"from\"?"},
        {"incoming_call --object '{\"from\": {\"a\": 1}}'", "\"from\" is no text"},
    };
    for (const auto &[arguments, problem] : cases)
        EXPECT_THAT(run("post", arguments).errors, HasSubstr(problem));
    const HostOutcome known = run("post outgoing_call --subtype ended --object", {"{\"to\": \"1\"}"});
    EXPECT_EQ(known.errors, "");
}

TEST_F(HostEventsTest, ShowsTheHistoryOfCalls)
{
    run("phonebook add Jane --number 5550100 --email jane@mail.example");
    run("phonebook add Zed --number 50100"); // in that of Jane
    const auto post = [](const QString &event, const QString &object) {
        EXPECT_EQ(run(u"post %1 --subtype ended --object"_s.arg(event), {object}).status, 0);
    };
    post(u"incoming_call"_s, u"{\"from\": \"+15550100\", \"date\": {\"$date\": \"2026-01-01T10:00:00Z\"}}"_s);
    post(u"incoming_call"_s, u"{\"from\": \"5550100\", \"duration\": 61, "
                             u"\"date\": {\"$date\": \"2026-01-02T10:00:00Z\"}}"_s);
    post(u"outgoing_call"_s, u"{\"to\": \"5550199\", \"date\": {\"$date\": \"2026-01-03T10:00:00Z\"}}"_s);
    post(u"incoming_call"_s, u"{\"from\": \"Jane@mail.example\", \"duration\": 1, "
                             u"\"date\": {\"$date\": \"2025-01-01T10:00:00Z\"}}"_s);
    const std::pair<QString, QStringList> cases[] = {
        {u"calls"_s, {u"p3"_s, u"p2"_s, u"p1"_s, u"p4"_s}},
        {u"calls --missed"_s, {u"p1"_s}},
        {u"calls --incoming"_s, {u"p2"_s, u"p1"_s, u"p4"_s}},
        {u"calls --outgoing"_s, {u"p3"_s}},
        {u"calls --with jan"_s, {u"p2"_s, u"p1"_s, u"p4"_s}},
        {u"calls --with 5550199"_s, {u"p3"_s}},
        {u"calls --with zed"_s, {}},
        {u"calls --with 50100"_s, {}}, // Zed's
        {u"calls --limit 1"_s, {u"p3"_s}},
        {u"calls --since 2026-01-02T00:00:00Z"_s, {u"p3"_s, u"p2"_s}},
    };
    for (const auto &[command, expected] : cases) {
        QStringList shown;
        for (const QJsonValue call : json(command).toArray())
            shown.append(call[u"id"_s].toString());
        EXPECT_EQ(shown, expected) << command.toStdString();
    }
    const std::string table = run("calls").output;
    EXPECT_THAT(table, testing::ContainsRegex("in +Jane +1:01"));
    EXPECT_THAT(table, testing::ContainsRegex("missed +Jane "));
    for (const char *const wrong : {"calls --since tomorrow", "calls --limit x"})
        EXPECT_EQ(run(QString::fromLatin1(wrong)).status, 2);
    QByteArray card = "BEGIN:VCARD\r\nVERSION:3.0\r\nN:Many\r\nTEL:5550199\r\n";
    for (int number = 1; number < 500; ++number) // as many as are looked for
        card += "TEL:555" + QByteArray::number(1000 + number) + "\r\n";
    EXPECT_EQ(runHost("phonebook import -", card + "END:VCARD\r\n").status, 0);
    for (const bool isOneMore : {false, true}) {
        if (isOneMore)
            run("phonebook edit Many --number 5552000");
        const HostOutcome outcome = run("calls --with many");
        EXPECT_THAT(outcome.output, HasSubstr("Many"));
        EXPECT_EQ(outcome.errors.contains("more than 500 numbers"), isOneMore) << outcome.errors;
    }
}

TEST_F(HostEventsTest, TriggersThatFindTheirPluginMissingAreTold)
{
    writePlugins();
    EXPECT_EQ(run("triggers add --event ping --name Jane --reactor test.reactor").status, 0);
    EXPECT_THAT(run("plugins disable test.reactor").errors,
                HasSubstr("Triggers that use it find it missing from now on: Jane (p1)"));
    EXPECT_THAT(run("triggers").output, HasSubstr("reactor (is disabled)"));
    EXPECT_THAT(run("post ping --trace").output, HasSubstr("\"vornix plugins enable test.reactor\""));
    EXPECT_THAT(run("status").output, HasSubstr("Triggers that use it: 1;"));

    EXPECT_TRUE(QDir(shared + u"/test.good.vxplugin"_s).removeRecursively());
    for (const QString &command : {u"plugins"_s, u"status"_s})
        EXPECT_THAT(run(command).output, HasSubstr("its bundle is in none of the plugin folders"));
    EXPECT_EQ(run("plugins info test.good").status, 1);
    EXPECT_EQ(run("plugins disable test.good").output, "Disabled test.good.\n");
    EXPECT_THAT(run("plugins").output, testing::Not(HasSubstr("test.good")));
}
