#include "HostProgram.h"
#include "VXHostJSON.h"
#include "VXManagedObjectContext.h"
#include "VXShownDate.h"
#include "VXTesting.h"
#include "VXTestSQL.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

using namespace Qt::StringLiterals;
using testing::HasSubstr;

namespace {

const char *const peopleSource = R"(
abstract entity Record { attribute date: date optional; }
entity Call: Record {
    attribute number: string;
    attribute seconds: integer16 optional;
    attribute data: binary optional;
    attribute extra: property-list optional;
    relationship caller: Person optional inverse calls;
    relationship tags: Tag[] optional inverse calls;
}
entity Person {
    attribute name: string;
    relationship spouse: Person optional inverse spouse;
    relationship calls: Call[] optional inverse caller delete cascade;
}
entity Tag { attribute name: string; relationship calls: Call[] optional inverse tags; }
)";

class HostStoreTest : public VXHomeTest
{
protected:
    HostStoreTest() { writeFile(u"people.vxmodel"_s, peopleSource); }

    HostOutcome run(const VXWords &arguments) const { return runHost(VXWords{"store"} + arguments); }
    /** Must work; answers what it writes. */
    QByteArray outputOf(const VXWords &arguments) const
    {
        const HostOutcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, 0) << arguments.join(u' ').toStdString() << ": " << outcome.errors;
        return outcome.output;
    }
    QJsonValue jsonOf(const VXWords &arguments) const
    {
        return VXJSONFromText(outputOf(arguments + QStringList{u"--json"_s})).value_or(QJsonValue());
    }
    /** A new store folder; its path. */
    QString makeStore(const QString &type = u"sqlite"_s, const QString &name = u"People"_s) const
    {
        const QString folder = path(name + ".vxdatastore"_L1);
        outputOf({"new", folder, "--model", path(u"people.vxmodel"_s), "--type", type});
        return folder;
    }
    QString insert(const QString &store, const QString &entity, const char *json) const
    {
        return QString::fromUtf8(outputOf({"insert", store, entity, QString::fromUtf8(json)})).trimmed();
    }
    /** All that lies in a folder. */
    static QMap<QString, QByteArray> contentsOf(const QString &folder)
    {
        QMap<QString, QByteArray> contents;
        for (const QString &name : QDir(folder).entryList(QDir::Files))
            contents.insert(name, readFile(folder + u'/' + name));
        return contents;
    }
};

} // namespace

TEST_F(HostStoreTest, ObjectsAreInsertedListedChangedAndDeleted)
{
    for (const QString &type : {u"sqlite"_s, u"xml"_s}) {
        SCOPED_TRACE(type.toStdString());
        const QString store = makeStore(type, type);
        const QString jane = insert(store, u"Person"_s, R"({"name": "Jane"})");
        EXPECT_TRUE(jane.startsWith(u"x-coredata://"_s) && jane.endsWith(u"/Person/p1"_s)) << jane.toStdString();
        insert(store, u"Person"_s, "{\"name\": \"a\\u001bb\", \"spouse\": \"Person/p1\"}");
        insert(store, u"Tag"_s, R"({"name": "t"})");
        insert(store, u"Call"_s, R"({"number": "1", "date": "2026-01-02T05:04:05.5+02:00", "data": "AQID",
            "extra": {"a": [1, {"$date": "2026-01-01T00:00:00Z"}]}, "caller": "Person/p1", "tags": ["Tag/p1"]})");

        const QString date = VXShownDate(QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5), Qt::UTC));
        EXPECT_EQ(outputOf({"list", store, "Call"}), "OBJECT   date                        number  seconds  data     "
                                                     "extra                                     caller\n"
                                                     "Call/p1  " +
                                                         date.toUtf8() +
                                                         "  1       -        3 bytes  "
                                                         "{\"a\":[1,{\"$date\":\"2026-01-01T00:00:00Z\"…  Person/p1\n");
        EXPECT_EQ(outputOf({"list", store, "Person", "--sort", "name:desc"}),
                  "OBJECT     name  spouse\nPerson/p2  a b   Person/p1\nPerson/p1  Jane  Person/p2\n");
        const QJsonArray calls =
            jsonOf({"list", store, "Record", "--where", "date == NULL OR TRUEPREDICATE"}).toArray();
        ASSERT_EQ(calls.size(), 1);
        EXPECT_EQ(calls[0][u"caller"_s], jane);
        EXPECT_EQ(calls[0][u"tags"_s], 1);
        EXPECT_EQ(calls[0][u"date"_s][u"$date"_s], u"2026-01-02T03:04:05.500Z"_s);
        const QStringList janeOnly{u"list"_s, store, u"Person"_s, u"--where"_s, u"ANY calls.number == '1'"_s};
        EXPECT_EQ(jsonOf(janeOnly + QStringList{u"--related"_s})[0][u"calls"_s], QJsonArray{calls[0][u"uri"_s]});

        outputOf({"update", store, jane, uR"({"name": "Jane Doe", "spouse": null})"_s});
        EXPECT_EQ(jsonOf(janeOnly)[0][u"name"_s], u"Jane Doe"_s);
        EXPECT_EQ(outputOf({"list", store, "Person", "--count", "--where", "spouse != NULL"}), "0\n");
        EXPECT_EQ(outputOf({"list", store, "Call", "--count", "--where", "date > '2026-01-01'"}), "1\n");
        EXPECT_EQ(jsonOf({"entities", store})[1][u"objects"_s], 1);
        EXPECT_EQ(outputOf({"delete", store, "Person/p1"}), "Deleted 2 objects.\n"); // and her call
        EXPECT_EQ(outputOf({"list", store, "Call"}), "There are no such objects.\n");
        EXPECT_EQ(outputOf({"check", store}), "The store is sound.\n");
        const QJsonValue info = jsonOf({"info", store})[0];
        EXPECT_EQ(info[u"path"_s], store + u'/' + type + u'.' + type);
        EXPECT_EQ(info[u"type"_s].toString().toLower(), type);
    }
}

TEST_F(HostStoreTest, BadInputIsToldAndChangesNothing)
{
    const QString store = makeStore(u"xml"_s);
    insert(store, u"Person"_s, R"({"name": "Jane"})");
    const auto before = contentsOf(store);
    const QString other = u"x-coredata://11111111-2222-3333-4444-555555555555/Person/p1"_s;
    const struct
    {
        VXWords arguments; // the path goes behind the first
        const char *message;
        int status = 1;
    } cases[] = {
        {"insert Person {\"name\":", "no JSON object: ", 2},
        {"insert Person '{\"nam\": 1}'", "entity Person has no \"nam\""},
        {"insert Person '{\"name\": 1}'", "\"name\": 1 is no string"},
        {"insert Person {}", "\"name\" of \"Person\" needs a value"},
        {"insert Nobody {}", "no entity \"Nobody\""},
        {"insert Record {}", "is abstract"},
        {"insert Call '{\"number\": \"\", \"seconds\": 1.5}'", "1.5 is no integer16"},
        {"insert Call '{\"number\": \"\", \"date\": \"today\"}'", "\"today\" is no date in ISO 8601"},
        {"insert Call '{\"number\": \"\", \"data\": \"*\"}'", "\"*\" is no data in Base64"},
        {"insert Call '{\"number\": \"\", \"extra\": [null]}'", "[null] is no property-list"},
        {"insert Call '{\"number\": \"\", \"caller\": \"Person/p9\"}'", "no object \"Person/p9\""},
        {"insert Call '{\"number\": \"\", \"tags\": [\"Person/p1\"]}'", "Person/p1 is no Tag"},
        {"update Person/p1 '{\"name\": null}'", "needs a value"},
        {{"delete", other}, "names no object of this store"},
        {"delete http://[", "names no object of this store"},
        {"list Person --where 'name =='", "--where: The predicate cannot be read. At character 8", 2},
        {{"list", "Person", "--where", "NOT (name == '' OR 1 IN {2, x})"}, "entity Person has no \"x\""},
        {"list Person --where 'name.x == 1'", "\"x\" leads nowhere"},
        {"list Person --where 'name == $X'", "$X has no value"},
        {"list Person --sort spouse", "\"spouse\" leads to objects"},
        {"list Person --limit -1", "--limit: \"-1\" is no number from 0 to 2147483647", 2},
        {"list Person --offset -1", "--offset: \"-1\" is no number from 0 to 2147483647", 2},
    };
    for (const auto &each : cases) {
        QStringList arguments = each.arguments;
        arguments.insert(1, store);
        const HostOutcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, each.status) << arguments.join(u' ').toStdString();
        EXPECT_THAT(outcome.errors, HasSubstr(each.message)) << arguments.join(u' ').toStdString();
        EXPECT_EQ(outcome.output, QByteArray()) << arguments.join(u' ').toStdString();
    }
    EXPECT_EQ(contentsOf(store), before);
}

TEST_F(HostStoreTest, OpensDataFilesWithTheirModels)
{
    const QString store = makeStore();
    insert(store, u"Person"_s, R"({"name": "Jane"})");
    const QString model = path(u"people.vxmodel"_s);
    EXPECT_EQ(outputOf({"list", store + "/People.sqlite"_L1, "Person", "--count"}), "1\n");
    QFile::copy(store + "/People.sqlite"_L1, path(u"alone.sqlite"_s));
    const QString alone = path(u"alone.sqlite"_s);
    EXPECT_EQ(outputOf({"list", alone, "Person", "--count", "--model", model}), "1\n");

    QDir(path()).mkdir(u"empty.vxdatastore"_s);
    writeFile(u"note.txt"_s, "");
    const QString damaged = writeFile(u"damaged.sqlite"_s, readFile(alone).left(20000));
    const QString otherModel = writeFile(u"other.vxmodel"_s, "entity Person { attribute name: date; }");
    const QString badModel = writeFile(u"bad.vxmodel"_s, "entity Person {\n attribute name: text; }");
    const std::pair<VXWords, const char *> cases[] = {
        {{"info", path(u"nothing"_s)}, "nothing: there is no such store"},
        {{"info", path(u"empty.vxdatastore"_s)}, "holds no data file"},
        {{"info", alone}, "name one with --model"},
        {{"info", alone, "--model", otherModel}, "alone.sqlite: The store cannot be opened. The model has no entity"},
        {{"info", alone, "--model", badModel}, "bad.vxmodel:2: "},
        {{"check", damaged, "--model", model}, "damaged.sqlite: The store is damaged"},
        {{"new", path(u"x"_s), "--model", model}, "ends in .vxdatastore"},
        {{"new", store, "--model", model}, "there is something already"},
        {{"new", path(u"note.txt/x.vxdatastore"_s), "--model", model}, "/note.txt: Could not create folder."},
        {{"new", path(u"x.vxdatastore"_s), "--model", badModel}, "bad.vxmodel:2: "},
    };
    const QStringList before = QDir(path()).entryList();
    for (const auto &[arguments, message] : cases) {
        const HostOutcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, 1) << arguments.join(u' ').toStdString();
        EXPECT_THAT(outcome.errors, HasSubstr(message)) << arguments.join(u' ').toStdString();
    }
    EXPECT_EQ(QDir(path()).entryList(), before);
    EXPECT_EQ(readFile(damaged), readFile(alone).left(20000));
}

TEST_F(HostStoreTest, ChecksFindWhatIsBroken)
{
    const QString store = makeStore(u"xml"_s);
    insert(store, u"Person"_s, R"({"name": "Jane"})");
    insert(store, u"Person"_s, R"({"name": "Joe", "spouse": "Person/p1"})");
    insert(store, u"Call"_s, R"({"number": "1", "caller": "Person/p1"})");
    const QString file = store + "/People.xml"_L1;
    const QByteArray sound = readFile(file);
    const std::tuple<const char *, const char *, const char *> cases[] = {
        {"<relationship name=\"caller\" to=\"Person/1\"/>", "<relationship name=\"caller\" to=\"Person/7\"/>",
         "/Person/p7, which is not there."},
        {"<relationship name=\"spouse\" to=\"Person/1\"/>", "", "/Person/p2, which does not lead back."},
    };
    for (const auto &[part, replacement, finding] : cases) {
        ASSERT_TRUE(sound.contains(part)) << sound.toStdString();
        writeFile(u"People.vxdatastore/People.xml"_s, QByteArray(sound).replace(part, replacement));
        const HostOutcome outcome = run({"check", store});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.output, HasSubstr(finding));
        EXPECT_THAT(outputOf({"check", store, "--mend"}).toStdString(), HasSubstr(finding));
        EXPECT_EQ(outputOf({"check", store}), "The store is sound.\n");
    }
    writeFile(u"People.vxdatastore/People.xml"_s, sound);
    EXPECT_EQ(jsonOf({"check", store}), QJsonArray());
}

// As another program may write them: kept where they say the same in the attribute's type.
TEST_F(HostStoreTest, MendingSetsValuesRightThatDoNotFit)
{
    const QString store = makeStore();
    insert(store, u"Call"_s, R"({"number": "1"})");
    const std::tuple<const char *, const char *, const char *> cases[] = {
        {"Call.seconds", "X'3132'", "12"},
        {"Call.seconds", "'about 12'", "NULL"},
        {"Call.seconds", "1.5", "NULL"},
        {"Call.seconds", "40000", "NULL"},
        {"Call.number", "X'C3A4'", "'ä'"},
        {"Call.number", "X'C3'", "NULL"},
        {"date", "'1970-01-01T00:00:02Z'", "2000"},
        {"date", "'1970-01-01T00:00:02'", "NULL"},
        {"Call.data", "'abc'", "X'616263'"},
        {"Call.extra", "'no list'", "NULL"},
    };
    for (const auto &[column, bad, mended] : cases) {
        VXRunSQL(store + "/People.sqlite"_L1, QByteArray("UPDATE VX_Record SET \"") + column + "\" = " + bad);
        EXPECT_EQ(run({"check", store}).status, 1) << column << bad;
        const std::string told = outputOf({"check", store, "--mend"}).toStdString();
        EXPECT_THAT(told, HasSubstr(std::string(" cannot be ") + bad + "; it ")) << column;
        EXPECT_EQ(VXRunSQL(store + "/People.sqlite"_L1, QByteArray("SELECT quote(\"") + column + "\") FROM VX_Record"),
                  QStringList{QString::fromUtf8(mended)})
            << bad;
        EXPECT_EQ(outputOf({"check", store}), "The store is sound.\n");
        const QString kept = QString::fromStdString(told).section(" lies in "_L1, -1).trimmed();
        EXPECT_THAT(run({"check", kept}).output, HasSubstr(bad)); // what it was
    }
}

TEST_F(HostStoreTest, LongListsAreWrittenBatchByBatch)
{
    const QString store = makeStore();
    const auto model = VXManagedObjectModel::modelWithContentsOfFile(store + "/People.mom"_L1);
    const auto coordinator = VXPersistentStoreCoordinator::coordinatorWithModel(model);
    ASSERT_TRUE(coordinator->addPersistentStore(VXStoreType::SQLite, store + "/People.sqlite"_L1));
    VXManagedObjectContext context(coordinator);
    for (int number = 1; number <= 1201; ++number)
        context.insertNewObject(u"Tag"_s)->setValueForKey(QString::number(number), u"name"_s);
    ASSERT_TRUE(context.save());

    const QByteArrayList lines = outputOf({"list", store, "Tag"}).split('\n');
    ASSERT_EQ(lines.size(), 1 + 1201 + 1);
    EXPECT_EQ(lines[1], "Tag/p1    1");
    EXPECT_EQ(lines[1201], "Tag/p1201  1201");
    const QJsonArray tags = jsonOf({"list", store, "Tag"}).toArray();
    ASSERT_EQ(tags.size(), 1201);
    for (qsizetype index = 0; index < tags.size(); ++index)
        ASSERT_EQ(tags[index][u"name"_s], QString::number(index + 1));
    EXPECT_EQ(outputOf({"list", store, "Tag", "--sort", "name:desc", "--offset", "1", "--limit", "2"}),
              "OBJECT    name\nTag/p998  998\nTag/p997  997\n");
    const HostOutcome cut = runHostShell(u"set -o pipefail; \"$0\" store list %1 Tag --json | head -c1"_s.arg(store));
    EXPECT_EQ(cut.output, "[");
    EXPECT_EQ(cut.errors, QByteArray());
}

TEST_F(HostStoreTest, TheStoresOfPluginsGoByName)
{
    const QString uri =
        insert(u"calls"_s, u"VXCall"_s, R"({"from": "+1555", "date": "2026-01-31T12:00:00Z", "duration": 7})");
    EXPECT_EQ(jsonOf("list calls VXCall").toArray().at(0)["uri"_L1].toString(), uri);
    EXPECT_EQ(outputOf("list calls VXCall --where 'duration > 7' --count"), "0\n");
    outputOf("check calls");
    QDir(path()).mkdir(u"calls"_s); // a folder of the name hides no store
    EXPECT_EQ(runHostShell(u"cd \"$HOME\" && \"$0\" store list calls VXCall --count"_s).output, "1\n");
    const std::pair<VXWords, const char *> rows[] = {
        {"info cals",
         "there is no store \"cals\"; did you mean \"calls\"?; there are: calls, messages, outbox, phonebook, "
         "triggers"},
        {{"info", "calls", "--model", path(u"people.vxmodel"_s)}, "--model goes with a PATH"},
        {"info calls.sqlite", "there is no such store"},
        {"delete calls VXCall", "an entity goes with --where"},
        {"list calls VXCall --where 'from = Jane'", "texts stand in quotation marks"},
        {"list calls VXCall --sort durtion", "did you mean \"duration\"?"},
        {{"import", "calls", "VXCall", writeFile(u"a.csv"_s, "from;to\n")}, "commas separate the columns"},
        {{"import", "calls", "VXCall", writeFile(u"b.csv"_s, "")}, "the line that names the attributes is missing"},
        {{"import", path(u"x.vxdatastore"_s), path(u"a.csv"_s)}, "import needs PATH, ENTITY and FILE"},
    };
    for (const auto &[arguments, problem] : rows) {
        const HostOutcome outcome = run(arguments);
        EXPECT_NE(outcome.status, 0);
        EXPECT_THAT(outcome.errors, HasSubstr(problem));
    }
}

TEST_F(HostStoreTest, TablesFitTheLineAndShowWhatIsAskedFor)
{
    writeFile(u"people.vxmodel"_s, "entity Person { attribute empty: string optional; attribute name: string;\n"
                                   "attribute name_search: string optional; attribute note: string optional; }");
    const QString store = makeStore();
    insert(store, u"Person"_s, R"({"name": "Jane Doe", "name_search": "janedoe", "note": "a long note"})");
    const auto table = [&](const VXWords &options) { return outputOf(VXWords{"list", store, "Person"} + options); };
    EXPECT_EQ(table({}), QByteArray("OBJECT     empty  name      note\nPerson/p1  -      Jane Doe  a long note\n"));
    EXPECT_EQ(table("--columns note,name_search"),
              QByteArray("OBJECT     note         name_search\nPerson/p1  a long note  janedoe\n"));
    const std::tuple<const char *, QByteArray, const char *> cases[] = {
        {"34", "OBJECT     name      note\nPerson/p1  Jane Doe  a long note\n", "room: empty."},
        {"20", "OBJECT     name\nPerson/p1  Jane Doe\n", "room: empty, note."},
        {"5", "OBJECT\nPerson/p1\n", "room: empty, name, note."},
    };
    for (const auto &[columns, output, note] : cases) {
        qputenv("COLUMNS", columns);
        const HostOutcome outcome = run({"list", store, "Person"});
        EXPECT_EQ(outcome.output, output);
        EXPECT_THAT(outcome.errors, HasSubstr(note));
        EXPECT_THAT(table("--columns empty,name,note").toStdString(), HasSubstr("a long note"));
        EXPECT_EQ(jsonOf({"list", store, "Person"})[0].toObject().size(), 6); // in full
    }
    qunsetenv("COLUMNS");
    EXPECT_THAT(run({"list", store, "Person", "--columns", "naem"}).errors,
                HasSubstr("\"naem\" is none of empty, name, name_search, note; did you mean \"name\"?"));
    EXPECT_THAT(run({"lst", store}).errors, HasSubstr("\"lst\" is none of info"));
    EXPECT_THAT(run({"list", store, "Persn"}).errors, HasSubstr("did you mean \"Person\"?"));
}

TEST_F(HostStoreTest, FilesAreImportedAsAWholeOrNotAtAll)
{
    const QString store = makeStore();
    const QString table =
        writeFile(u"calls.csv"_s, "\xEF\xBB\xBFnumber,seconds,date\r\n"
                                  "\"+1, \"\"555\"\"\",7,2026-01-02T03:04:05Z\r\n\"two\nlines\",,\r\n");
    EXPECT_EQ(outputOf({"import", store, "Call", table}), QByteArray("Imported 2.\n"));
    const QJsonArray calls = jsonOf({"list", store, "Call", "--sort", "number"}).toArray();
    EXPECT_EQ(calls[0][u"number"], u"+1, \"555\""_s);
    EXPECT_EQ(calls[0][u"seconds"], 7);
    EXPECT_EQ(calls[1][u"number"], u"two\nlines"_s);
    EXPECT_TRUE(calls[1][u"seconds"].isNull());

    // What a list writes can be read back elsewhere.
    QByteArray lines;
    for (QJsonObject call : {calls[0].toObject(), calls[1].toObject()}) {
        call.remove(u"tags"_s);
        lines += VXJSONText(call) + "\n\n";
    }
    const QString other = makeStore(u"xml"_s, u"Other"_s);
    outputOf({"import", other, "Call", writeFile(u"calls.jsonl"_s, lines)});
    EXPECT_EQ(jsonOf({"list", other, "Call", "--where", "seconds == 7"})[0][u"date"], calls[0][u"date"]);

    const std::tuple<QString, QByteArray, const char *> cases[] = {
        {u"a.csv"_s, "number,secnds\nx,1\n", "a.csv:1: entity Call has no \"secnds\"; did you mean \"seconds\"?"},
        {u"a.csv"_s, "number,seconds\nx,1\ny,many\n", "a.csv:3: \"seconds\": \"many\" is no"},
        {u"a.csv"_s, "number,seconds\nx\n", "a.csv:2: there are 1 values for 2 columns"},
        {u"a.csv"_s, "number\n\"x\n", "a.csv:2: a quoted value has no end"},
        {u"a.jsonl"_s, "{\"number\": \"x\"}\n[]\n", "a.jsonl:2: that is no JSON object"},
        {u"a.jsonl"_s, "{\"number\": \"x\"}\n{", "a.jsonl:2: "},
        {u"a.txt"_s, "", "must end in .csv or .jsonl"},
    };
    for (const auto &[name, contents, problem] : cases) {
        const HostOutcome outcome = run({"import", store, "Call", writeFile(name, contents)});
        EXPECT_EQ(outcome.status, 1) << problem;
        EXPECT_THAT(outcome.errors, HasSubstr(problem));
        EXPECT_THAT(outcome.errors, HasSubstr("nothing was imported"));
    }
    EXPECT_EQ(outputOf({"list", store, "Call", "--count"}), QByteArray("2\n"));

    EXPECT_EQ(outputOf({"delete", store, "Call", "--where", "seconds == 7"}), QByteArray("Deleted it.\n"));
    EXPECT_EQ(outputOf({"delete", store, "Call", "--where", "seconds == 7"}), QByteArray("Deleted 0 objects.\n"));
    EXPECT_EQ(outputOf({"list", store, "Call", "--count"}), QByteArray("1\n"));
    outputOf({"insert", store, "Call", u'@' + writeFile(u"call.json"_s, R"({"number": "from a file"})")});
    EXPECT_EQ(outputOf({"list", store, "Call", "--count"}), QByteArray("2\n"));
}
