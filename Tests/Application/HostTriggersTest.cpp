#include "HostProgram.h"
#include "VXCallRecord.h"
#include "VXEventKeys.h"
#include "VXTesting.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

using namespace Qt::StringLiterals;
using testing::HasSubstr;

namespace {

const QString reactor = u"com.halvern.VNX2.plugin.logevent"_s;
const QString table = u"com.halvern.VNX2.plugin.csvexporter"_s;

class HostTriggersTest : public VXHomeTest
{
protected:
    static HostOutcome triggers(const VXWords &arguments) { return runHost(VXWords{"triggers"} + arguments); }

    static QJsonDocument json(const VXWords &arguments)
    {
        const HostOutcome outcome = triggers(VXWords{"--json"} + arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        return QJsonDocument::fromJson(outcome.output);
    }
};

} // namespace

TEST_F(HostTriggersTest, AddsShowsTriesAndRemoves)
{
    const QString filter = u"from CONTAINS[c] \"jane\" AND NOT duration < 5"_s;
    const HostOutcome added = triggers({"add", "--event", "incoming_call", "--name", "Jane", "--filter", filter,
                                        "--reactor", reactor, "--option", "text={from} called", "--reactor", table,
                                        "--option=VXExporterOptionsFilePath=a.csv", "--option=columns=[\"a\", \"b\"]"});
    EXPECT_EQ(added.status, 0) << added.errors;
    EXPECT_EQ(triggers("add --event incoming_call --reactor LogEvent").status, 0);

    const QJsonArray all = json({}).array();
    ASSERT_EQ(all.size(), 2);
    const QJsonObject first = all[0].toObject();
    EXPECT_EQ(first.value("name"_L1), u"Jane"_s);
    EXPECT_EQ(first.value("filter"_L1), filter);
    EXPECT_EQ(first.value("enabled"_L1), true);
    const QJsonArray reactors = first.value("reactors"_L1).toArray();
    ASSERT_EQ(reactors.size(), 2);
    EXPECT_EQ(reactors[0].toObject().value("options"_L1), (QJsonObject{{u"text"_s, u"{from} called"_s}}));
    EXPECT_EQ(reactors[1].toObject().value("options"_L1),
              (QJsonObject{{u"VXExporterOptionsFilePath"_s, QDir::current().absoluteFilePath(u"a.csv"_s)},
                           {u"columns"_s, QJsonArray{u"a"_s, u"b"_s}}}));
    EXPECT_TRUE(all[1].toObject().value("filter"_L1).isNull());
    EXPECT_EQ(all[1][u"reactors"_s][0][u"reactor"_s], QJsonValue(reactor)); // its last part was enough

    const QString identifier = first.value("id"_L1).toString();
    const QString uri = first.value("uri"_L1).toString();
    const struct
    {
        QString id;
        QString object;
        bool passes;
    } cases[] = {{identifier, u"{\"from\": \"Jane <555>\", \"duration\": 9}"_s, true},
                 {identifier.mid(1), u"{\"from\": \"Jane <555>\", \"duration\": 4}"_s, false},
                 {uri, u"{\"from\": \"Bob\", \"duration\": 9}"_s, false}};
    for (const auto &each : cases) {
        const QJsonObject tried = json({"test", each.id, "--object", each.object}).object();
        EXPECT_EQ(tried.value("passes"_L1), each.passes) << each.object.toStdString();
        EXPECT_EQ(tried.value("reactors"_L1).toArray().at(1).toObject().value("runs"_L1), each.passes);
    }

    EXPECT_EQ(triggers({"disable", identifier}).status, 0);
    const QJsonObject disabled = json({"test", identifier, "--object", cases[0].object}).object();
    EXPECT_EQ(disabled.value("passes"_L1), true);
    EXPECT_EQ(disabled.value("reactors"_L1).toArray().at(0).toObject().value("runs"_L1), false);
    EXPECT_EQ(triggers({"enable", identifier}).status, 0);
    EXPECT_EQ(triggers({"remove", identifier}).status, 0);
    EXPECT_EQ(json("list").array(), QJsonArray{all[1]});
}

TEST_F(HostTriggersTest, ShowsEditsMovesAndCopies)
{
    for (const QString &name : {u"one"_s, u"two"_s, u"three"_s})
        ASSERT_EQ(triggers({"add", "--event", "ping", "--name", name, "--filter", "a == 1", "--reactor", reactor,
                            "--option", u"text="_s + name})
                      .status,
                  0);
    const auto names = [&] {
        QStringList found;
        for (const auto trigger : json({}).array())
            found.append(trigger.toObject().value("name"_L1).toString());
        return found;
    };
    EXPECT_EQ(triggers("move three --place 1").status, 0);
    EXPECT_EQ(names(), QStringList({u"three"_s, u"one"_s, u"two"_s}));
    EXPECT_EQ(triggers("move three --place 9").status, 0);
    EXPECT_EQ(names(), QStringList({u"one"_s, u"two"_s, u"three"_s}));
    EXPECT_EQ(triggers("move three").status, 2);

    EXPECT_EQ(triggers("copy one").status, 0);
    EXPECT_EQ(names(), QStringList({u"one"_s, u"two"_s, u"three"_s, u"one"_s}));
    EXPECT_THAT(triggers("show one").errors, HasSubstr("2 triggers are called \"one\""));
    EXPECT_EQ(triggers("edit p4 --name four --no-filter --event pong").status, 0);
    EXPECT_EQ(triggers({"edit", "two", "--reactor", table}).status, 1); // which needs a file
    const QJsonObject copy = json("show four").object();
    EXPECT_EQ(copy.value("event"_L1), u"pong"_s);
    EXPECT_TRUE(copy.value("filter"_L1).isNull());
    EXPECT_EQ(copy.value("reactors"_L1).toArray().at(0).toObject().value("options"_L1),
              (QJsonObject{{u"text"_s, u"one"_s}}));
    const HostOutcome shown = triggers("show two");
    EXPECT_THAT(shown.output, HasSubstr("Filter   a == 1\n"));
    EXPECT_THAT(shown.output, HasSubstr("level = notice (default)"));
    EXPECT_EQ(triggers("edit two").status, 2);
    EXPECT_EQ(triggers("edit two --option text=2 --filter ''").status, 0);
    const QJsonObject changed = json("show two").object();
    EXPECT_TRUE(changed.value("filter"_L1).isNull());
    EXPECT_EQ(changed.value("reactors"_L1).toArray().at(0).toObject().value("options"_L1).toObject().value("text"_L1),
              u"2"_s);
}

TEST_F(HostTriggersTest, TellsOfFiltersThatAskForWhatEventsDoNotHave)
{
    const std::pair<QString, std::string> cases[] = {
        {u"from CONTAINS Jane"_s,
         "The filter asks for \"Jane\", but objects of incoming_call have only direction, from, "},
        {u"frm CONTAINS \"Jane\""_s, "texts stand in quotation marks; did you mean \"from\"?"},
        {u"from CONTAINS Jane"_s, "texts stand in quotation marks, as \"Jane\"\n"},
        {u"contact.groups CONTAINS \"Family\""_s, "; ANY contact.groups.name == \"Family\" asks for one"},
        {u"ANY contact.groups.name == \"Family\""_s, ""},
        {u"ANY contact.groups.nam == \"Family\""_s, "asks for \"contact.groups.nam\", but there is only "},
        {u"contact.lstName == \"Doe\""_s, "did you mean \"lastName\"?"},
        {u"from CONTAINS \"Jane\""_s, "\"who\" has the name"},
        {u"from CONTAINS \"555\" AND NOT (contact.lastName == NULL OR duration > 5)"_s, ""},
    };
    for (const auto &[filter, doubt] : cases) {
        const HostOutcome added =
            runHost({"triggers", "add", "--event", "incoming_call", "--reactor", reactor, "--filter", filter});
        EXPECT_EQ(added.status, 0);
        EXPECT_EQ(added.errors.isEmpty(), doubt.empty()) << added.errors;
        EXPECT_THAT(added.errors, testing::HasSubstr(doubt));
    }
    const QVariantMap call =
        VXCallRecord(QVariantMap{{u"from"_s, u"1"_s}, {u"duration"_s, 2}, {u"call_id"_s, u"x"_s}}).map();
    for (const QString &key : call.keys()) // what is documented is known
        EXPECT_TRUE(VXKeysOfEvent(u"incoming_call"_s).contains(key)) << key.toStdString();
}

TEST_F(HostTriggersTest, RefusesWhatMakesNoTrigger)
{
    const QStringList event{u"add"_s, u"--event"_s, u"ping"_s};
    const QStringList whole = event + QStringList{u"--reactor"_s, reactor};
    const std::tuple<VXWords, int, const char *> cases[] = {
        {{"add", "--reactor", reactor}, 2, "--event is missing"},
        {event, 2, "--reactor is missing"},
        {event + QStringList{u"--option"_s, u"a=b"_s, u"--reactor"_s, reactor}, 2, "stands before any --reactor"},
        {whole + QStringList{u"--option"_s, u"=b"_s}, 2, "not of the form KEY=VALUE"},
        {whole + QStringList{u"--filter"_s, u"from =="_s}, 2, "--filter: The predicate cannot be read."},
        {whole + QStringList{u"--filter"_s, u"from == $WHO"_s}, 1, "The variable \"WHO\" of the filter has no value."},
        {whole + QStringList{u"--filter"_s, u"a == 1 OR NOT from MATCHES '['"_s}, 1, "\"[\" is no regular expression"},
        {event + QStringList{u"--reactor"_s, u"org.example.none"_s}, 1, "there is no reactor \"org.example.none\""},
        {event + QStringList{u"--reactor"_s, u"com.halvern.VNX2.plugin.calls"_s}, 1,
         "Calls (com.halvern.VNX2.plugin.calls) is no reactor"},
        {event + QStringList{u"--reactor"_s, u"logevnt"_s}, 1, "did you mean \"logevent\"?"},
        {whole + QStringList{u"--option"_s, u"txet=b"_s}, 1, "no option \"txet\"; there are: level, text"},
        {whole + QStringList{u"--option"_s, u"level=loud"_s}, 1, "\"loud\" is no log level"},
        {event + QStringList{u"--reactor"_s, table}, 1, "\"file\" is missing: The file to export to."},
        {event +
             QStringList{u"--reactor"_s, table, u"--option=VXExporterOptionsFilePath=a"_s, u"--option=append=maybe"_s},
         1, "must be a value of the type boolean"},
        {event + QStringList{u"--reactor"_s, u"com.halvern.VNX2.plugin.runcommand"_s, u"--option=program=/no/such"_s},
         1, "\"/no/such\" is no program that can be run."},
        {event + QStringList{u"--reactor"_s, u"runcommand"_s, u"--option=program=/etc/passwd"_s}, 1,
         "\"/etc/passwd\" is not executable"},
        {"move p1", 2, "move needs --place N, at least 1"},
        {"remove p1", 1, "there is no trigger \"p1\""},
        {"enable x-coredata://other/VXTrigger/p1", 1, "there is no trigger"},
        {"disable first", 1, "there is no trigger \"first\""},
    };
    for (const auto &[arguments, status, reason] : cases) {
        const HostOutcome outcome = triggers(arguments);
        EXPECT_EQ(outcome.status, status) << arguments.join(u' ').toStdString();
        EXPECT_THAT(outcome.errors, HasSubstr(reason));
    }
    EXPECT_EQ(triggers(whole).status, 0);
    EXPECT_EQ(triggers("test p1 --object [1]").status, 2);
    EXPECT_EQ(json({}).array().size(), 1);
}

TEST_F(HostTriggersTest, StoreThatCannotBeOpenedEndsTheCommandAndStaysAsItIs)
{
    ASSERT_EQ(triggers({"add", "--event", "ping", "--reactor", reactor}).status, 0);
    const QString file = path(u".local/share/Vornix 2/Data/triggers.vxdatastore/triggers.sqlite"_s);
    const QByteArray good = readFile(file);
    ASSERT_FALSE(good.isEmpty());
    const QByteArray damaged = "damaged" + good.mid(7);
    writeFile(QDir(path()).relativeFilePath(file), damaged);
    const HostOutcome outcome = triggers("--json");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("The store is damaged, or no store at all."));
    EXPECT_THAT(outcome.errors, HasSubstr("/Data/triggers.vxdatastore"));
    EXPECT_TRUE(outcome.json().toObject().contains("error"_L1));
    EXPECT_EQ(readFile(file), damaged);
    writeFile(QDir(path()).relativeFilePath(file), good);
    EXPECT_EQ(json({}).array().size(), 1);
}

TEST_F(HostTriggersTest, StoreThatDoesNotOpenNamesItsPluginAndLeavesAWayOut)
{
    writeFile(u".local/share/Vornix 2/Data/triggers.vxdatastore/triggers.sqlite"_s, "damaged");
    const HostOutcome failed = triggers({});
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.errors,
                testing::AllOf(HasSubstr("triggers.vxdatastore"), HasSubstr("(com.halvern.VNX2.plugin.triggers)"),
                               HasSubstr("It does not begin as an SQLite file."),
                               HasSubstr("moved elsewhere, it is made anew")));
    EXPECT_EQ(runHost("plugins list").status, 0); // as do those that mend it
}
