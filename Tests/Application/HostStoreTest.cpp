#include "HostProgram.h"
#include "VXHostJSON.h"
#include "VXManagedObjectContext.h"
#include "VXShownDate.h"
#include "VXTesting.h"

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

    HostOutcome run(const QStringList &arguments) const { return runHost(QStringList{u"store"_s} + arguments); }
    /** Must work; answers what it writes. */
    QByteArray outputOf(const QStringList &arguments) const
    {
        const HostOutcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, 0) << arguments.join(u' ').toStdString() << ": " << outcome.errors.toStdString();
        return outcome.output;
    }
    QJsonValue jsonOf(const QStringList &arguments) const
    {
        return VXJSONFromText(outputOf(arguments + QStringList{u"--json"_s})).value_or(QJsonValue());
    }
    /** A new store folder; its path. */
    QString makeStore(const QString &type = u"sqlite"_s, const QString &name = u"People"_s) const
    {
        const QString folder = path(name + ".vxdatastore"_L1);
        outputOf({u"new"_s, folder, u"--model"_s, path(u"people.vxmodel"_s), u"--type"_s, type});
        return folder;
    }
    QString insert(const QString &store, const QString &entity, const char *json) const
    {
        return QString::fromUtf8(outputOf({u"insert"_s, store, entity, QString::fromUtf8(json)})).trimmed();
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
        EXPECT_EQ(outputOf({u"list"_s, store, u"Call"_s}),
                  "OBJECT   date                        number  seconds  data     "
                  "extra                                     caller\n"
                  "Call/p1  " +
                      date.toUtf8() +
                      "  1       -        3 bytes  "
                      "{\"a\":[1,{\"$date\":\"2026-01-01T00:00:00Z\"…  Person/p1\n");
        EXPECT_EQ(outputOf({u"list"_s, store, u"Person"_s, u"--sort"_s, u"name:desc"_s}),
                  "OBJECT     name  spouse\nPerson/p2  a b   Person/p1\nPerson/p1  Jane  Person/p2\n");
        const QJsonArray calls =
            jsonOf({u"list"_s, store, u"Record"_s, u"--where"_s, u"date > NULL OR TRUEPREDICATE"_s}).toArray();
        ASSERT_EQ(calls.size(), 1);
        EXPECT_EQ(calls[0][u"caller"_s], jane);
        EXPECT_EQ(calls[0][u"tags"_s], 1);
        EXPECT_EQ(calls[0][u"date"_s][u"$date"_s], u"2026-01-02T03:04:05.500Z"_s);
        const QStringList janeOnly{u"list"_s, store, u"Person"_s, u"--where"_s, u"ANY calls.number == '1'"_s};
        EXPECT_EQ(jsonOf(janeOnly + QStringList{u"--related"_s})[0][u"calls"_s], QJsonArray{calls[0][u"uri"_s]});

        outputOf({u"update"_s, store, jane, uR"({"name": "Jane Doe", "spouse": null})"_s});
        EXPECT_EQ(jsonOf(janeOnly)[0][u"name"_s], u"Jane Doe"_s);
        EXPECT_EQ(outputOf({u"list"_s, store, u"Person"_s, u"--count"_s, u"--where"_s, u"spouse != NULL"_s}), "0\n");
        EXPECT_EQ(outputOf({u"list"_s, store, u"Call"_s, u"--count"_s, u"--where"_s, u"date > '2026-01-01'"_s}), "1\n");
        EXPECT_EQ(jsonOf({u"entities"_s, store})[1][u"objects"_s], 1);
        EXPECT_EQ(outputOf({u"delete"_s, store, u"Person/p1"_s}), "Deleted 2 objects.\n"); // and her call
        EXPECT_EQ(outputOf({u"list"_s, store, u"Call"_s}), "There are no such objects.\n");
        EXPECT_EQ(outputOf({u"check"_s, store}), "The store is sound.\n");
        const QJsonValue info = jsonOf({u"info"_s, store})[0];
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
        QStringList arguments; // the path goes behind the first
        const char *message;
        int status = 1;
    } cases[] = {
        {{u"insert"_s, u"Person"_s, u"{\"name\":"_s}, "no JSON object: ", 2},
        {{u"insert"_s, u"Person"_s, u"{\"nam\": 1}"_s}, "entity Person has no \"nam\""},
        {{u"insert"_s, u"Person"_s, u"{\"name\": 1}"_s}, "\"name\": 1 is no string"},
        {{u"insert"_s, u"Person"_s, u"{}"_s}, "\"name\" of \"Person\" needs a value"},
        {{u"insert"_s, u"Nobody"_s, u"{}"_s}, "no entity \"Nobody\""},
        {{u"insert"_s, u"Record"_s, u"{}"_s}, "is abstract"},
        {{u"insert"_s, u"Call"_s, u"{\"number\": \"\", \"seconds\": 1.5}"_s}, "1.5 is no integer16"},
        {{u"insert"_s, u"Call"_s, u"{\"number\": \"\", \"date\": \"today\"}"_s}, "\"today\" is no date in ISO 8601"},
        {{u"insert"_s, u"Call"_s, u"{\"number\": \"\", \"data\": \"*\"}"_s}, "\"*\" is no data in Base64"},
        {{u"insert"_s, u"Call"_s, u"{\"number\": \"\", \"extra\": [null]}"_s}, "[null] is no property-list"},
        {{u"insert"_s, u"Call"_s, u"{\"number\": \"\", \"caller\": \"Person/p9\"}"_s}, "no object \"Person/p9\""},
        {{u"insert"_s, u"Call"_s, u"{\"number\": \"\", \"tags\": [\"Person/p1\"]}"_s}, "Person/p1 is no Tag"},
        {{u"update"_s, u"Person/p1"_s, u"{\"name\": null}"_s}, "needs a value"},
        {{u"delete"_s, other}, "names no object of this store"},
        {{u"delete"_s, u"http://["_s}, "names no object of this store"},
        {{u"list"_s, u"Person"_s, u"--where"_s, u"name =="_s},
         "--where: The predicate cannot be read. At character 8",
         2},
        {{u"list"_s, u"Person"_s, u"--where"_s, u"NOT (name == '' OR 1 IN {2, x})"_s}, "entity Person has no \"x\""},
        {{u"list"_s, u"Person"_s, u"--where"_s, u"name.x == 1"_s}, "\"x\" leads nowhere"},
        {{u"list"_s, u"Person"_s, u"--where"_s, u"name == $X"_s}, "$X has no value"},
        {{u"list"_s, u"Person"_s, u"--sort"_s, u"spouse"_s}, "\"spouse\" leads to objects"},
        {{u"list"_s, u"Person"_s, u"--limit"_s, u"-1"_s}, "--limit: \"-1\" is no number from 0 on", 2},
        {{u"list"_s, u"Person"_s, u"--offset"_s, u"-1"_s}, "--offset: \"-1\" is no number from 0 on", 2},
    };
    for (const auto &each : cases) {
        QStringList arguments = each.arguments;
        arguments.insert(1, store);
        const HostOutcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, each.status) << arguments.join(u' ').toStdString();
        EXPECT_THAT(outcome.errors.toStdString(), HasSubstr(each.message)) << arguments.join(u' ').toStdString();
        EXPECT_EQ(outcome.output, QByteArray()) << arguments.join(u' ').toStdString();
    }
    EXPECT_EQ(contentsOf(store), before);
    for (const QStringList &arguments : {QStringList{u"list"_s, store},
                                         {u"list"_s, store, u"Person"_s, u"x"_s},
                                         {u"info"_s},
                                         {u"info"_s, store, u"--where"_s, u"x"_s},
                                         {u"show"_s, store},
                                         {u"new"_s, path(u"n.vxdatastore"_s)},
                                         {u"new"_s, store, u"--model"_s, u"m"_s, u"--type"_s, u"memory"_s}})
        EXPECT_EQ(run(arguments).status, 2) << arguments.join(u' ').toStdString();
}

TEST_F(HostStoreTest, OpensDataFilesWithTheirModels)
{
    const QString store = makeStore();
    insert(store, u"Person"_s, R"({"name": "Jane"})");
    const QString model = path(u"people.vxmodel"_s);
    EXPECT_EQ(outputOf({u"list"_s, store + "/People.sqlite"_L1, u"Person"_s, u"--count"_s}), "1\n");
    QFile::copy(store + "/People.sqlite"_L1, path(u"alone.sqlite"_s));
    const QString alone = path(u"alone.sqlite"_s);
    EXPECT_EQ(outputOf({u"list"_s, alone, u"Person"_s, u"--count"_s, u"--model"_s, model}), "1\n");

    QDir(path()).mkdir(u"empty.vxdatastore"_s);
    writeFile(u"note.txt"_s, "");
    const QString damaged = writeFile(u"damaged.sqlite"_s, readFile(alone).left(20000));
    const QString otherModel = writeFile(u"other.vxmodel"_s, "entity Person { attribute name: date; }");
    const QString badModel = writeFile(u"bad.vxmodel"_s, "entity Person {\n attribute name: text; }");
    const struct
    {
        QStringList arguments;
        const char *message;
    } cases[] = {
        {{u"info"_s, path(u"nothing"_s)}, "nothing: there is no such store"},
        {{u"info"_s, path(u"empty.vxdatastore"_s)}, "holds no data file"},
        {{u"info"_s, alone}, "name one with --model"},
        {{u"info"_s, alone, u"--model"_s, otherModel},
         "alone.sqlite: The store cannot be opened. The model has no entity"},
        {{u"info"_s, alone, u"--model"_s, badModel}, "bad.vxmodel:2: "},
        {{u"check"_s, damaged, u"--model"_s, model}, "damaged.sqlite: The store is damaged"},
        {{u"new"_s, path(u"x"_s), u"--model"_s, model}, "ends in .vxdatastore"},
        {{u"new"_s, store, u"--model"_s, model}, "there is something already"},
        {{u"new"_s, path(u"note.txt/x.vxdatastore"_s), u"--model"_s, model}, "x.vxdatastore: "},
        {{u"new"_s, path(u"x.vxdatastore"_s), u"--model"_s, badModel}, "bad.vxmodel:2: "},
    };
    const QStringList before = QDir(path()).entryList();
    for (const auto &[arguments, message] : cases) {
        const HostOutcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, 1) << arguments.join(u' ').toStdString();
        EXPECT_THAT(outcome.errors.toStdString(), HasSubstr(message)) << arguments.join(u' ').toStdString();
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
    const struct
    {
        const char *part;
        const char *replacement;
        const char *finding;
    } cases[] = {
        {"<relationship name=\"caller\" to=\"Person/1\"/>", "<relationship name=\"caller\" to=\"Person/7\"/>",
         "/Person/p7, which is not there."},
        {"<relationship name=\"spouse\" to=\"Person/1\"/>", "", "/Person/p2, which does not lead back."},
    };
    for (const auto &each : cases) {
        ASSERT_TRUE(sound.contains(each.part)) << sound.toStdString();
        writeFile(u"People.vxdatastore/People.xml"_s, QByteArray(sound).replace(each.part, each.replacement));
        const HostOutcome outcome = run({u"check"_s, store});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.output.toStdString(), HasSubstr(each.finding));
        EXPECT_THAT(outputOf({u"check"_s, store, u"--mend"_s}).toStdString(), HasSubstr(each.finding));
        EXPECT_EQ(outputOf({u"check"_s, store}), "The store is sound.\n");
    }
    writeFile(u"People.vxdatastore/People.xml"_s, sound);
    EXPECT_EQ(jsonOf({u"check"_s, store}), QJsonArray());
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

    const QByteArrayList lines = outputOf({u"list"_s, store, u"Tag"_s}).split('\n');
    ASSERT_EQ(lines.size(), 1 + 1201 + 1);
    EXPECT_EQ(lines[1], "Tag/p1    1");
    EXPECT_EQ(lines[1201], "Tag/p1201  1201");
    const QJsonArray tags = jsonOf({u"list"_s, store, u"Tag"_s}).toArray();
    ASSERT_EQ(tags.size(), 1201);
    for (qsizetype index = 0; index < tags.size(); ++index)
        ASSERT_EQ(tags[index][u"name"_s], QString::number(index + 1));
    EXPECT_EQ(outputOf({u"list"_s, store, u"Tag"_s, u"--sort"_s, u"name:desc"_s, u"--offset"_s, u"1"_s, u"--limit"_s,
                        u"2"_s}),
              "OBJECT    name\nTag/p998  998\nTag/p997  997\n");
    const HostOutcome cut = runHostShell(u"set -o pipefail; \"$0\" store list %1 Tag --json | head -c1"_s.arg(store));
    EXPECT_EQ(cut.output, "[");
    EXPECT_EQ(cut.errors, QByteArray());
}

TEST_F(HostStoreTest, TheStoresOfPluginsGoByName)
{
    const QString uri =
        insert(u"calls"_s, u"VXCall"_s, R"({"from": "+1555", "date": "2026-01-31T12:00:00Z", "duration": 7})");
    EXPECT_EQ(jsonOf({u"list"_s, u"calls"_s, u"VXCall"_s}).toArray().at(0)["uri"_L1].toString(), uri);
    EXPECT_EQ(outputOf({u"list"_s, u"calls"_s, u"VXCall"_s, u"--where"_s, u"duration > 7"_s, u"--count"_s}), "0\n");
    outputOf({u"check"_s, u"calls"_s});
    QDir(path()).mkdir(u"calls"_s); // a folder of the name hides no store
    EXPECT_EQ(runHostShell(u"cd \"$HOME\" && \"$0\" store list calls VXCall --count"_s).output, QByteArray("1\n"));
    const struct
    {
        QStringList arguments;
        const char *problem;
    } rows[] = {
        {{u"info"_s, u"cals"_s},
         "there is no store \"cals\"; did you mean \"calls\"?; there are: calls, messages, outbox, phonebook, "
         "triggers"},
        {{u"info"_s, u"calls"_s, u"--model"_s, path(u"people.vxmodel"_s)}, "--model goes with a PATH"},
        {{u"info"_s, u"calls.sqlite"_s}, "there is no such store"},
        {{u"delete"_s, u"calls"_s, u"VXCall"_s}, "an entity goes with --where"},
        {{u"list"_s, u"calls"_s, u"VXCall"_s, u"--where"_s, u"from = Jane"_s}, "texts stand in quotation marks"},
        {{u"list"_s, u"calls"_s, u"VXCall"_s, u"--sort"_s, u"durtion"_s}, "did you mean \"duration\"?"},
        {{u"import"_s, u"calls"_s, u"VXCall"_s, writeFile(u"a.csv"_s, "from;to\n")}, "commas separate the columns"},
        {{u"import"_s, u"calls"_s, u"VXCall"_s, writeFile(u"b.csv"_s, "")},
         "the line that names the attributes is missing"},
        {{u"import"_s, path(u"x.vxdatastore"_s), path(u"a.csv"_s)}, "import needs PATH, ENTITY and FILE"},
    };
    for (const auto &row : rows) {
        const HostOutcome outcome = run(row.arguments);
        EXPECT_NE(outcome.status, 0);
        EXPECT_THAT(outcome.errors.toStdString(), HasSubstr(row.problem));
    }
}

TEST_F(HostStoreTest, TablesFitTheLineAndShowWhatIsAskedFor)
{
    writeFile(u"people.vxmodel"_s, "entity Person { attribute empty: string optional; attribute name: string;\n"
                                   "attribute name_search: string optional; attribute note: string optional; }");
    const QString store = makeStore();
    insert(store, u"Person"_s, R"({"name": "Jane Doe", "name_search": "janedoe", "note": "a long note"})");
    const auto table = [&](const QStringList &options) {
        return outputOf(QStringList{u"list"_s, store, u"Person"_s} + options);
    };
    EXPECT_EQ(table({}), QByteArray("OBJECT     empty  name      note\nPerson/p1  -      Jane Doe  a long note\n"));
    EXPECT_EQ(table({u"--columns"_s, u"note,name_search"_s}),
              QByteArray("OBJECT     note         name_search\nPerson/p1  a long note  janedoe\n"));
    const struct
    {
        const char *columns;
        QByteArray output;
        const char *note;
    } cases[] = {
        {"34", "OBJECT     name      note\nPerson/p1  Jane Doe  a long note\n", "without: empty."},
        {"20", "OBJECT     name\nPerson/p1  Jane Doe\n", "without: empty, note."},
        {"5", "OBJECT\nPerson/p1\n", "without: empty, name, note."},
    };
    for (const auto &[columns, output, note] : cases) {
        qputenv("COLUMNS", columns);
        const HostOutcome outcome = run({u"list"_s, store, u"Person"_s});
        EXPECT_EQ(outcome.output, output);
        EXPECT_THAT(outcome.errors.toStdString(), HasSubstr(note));
        EXPECT_THAT(table({u"--columns"_s, u"empty,name,note"_s}).toStdString(), HasSubstr("a long note"));
        EXPECT_EQ(jsonOf({u"list"_s, store, u"Person"_s})[0].toObject().size(), 6); // in full
    }
    qunsetenv("COLUMNS");
    EXPECT_THAT(run({u"list"_s, store, u"Person"_s, u"--columns"_s, u"naem"_s}).errors.toStdString(),
                HasSubstr("\"naem\" is none of empty, name, name_search, note; did you mean \"name\"?"));
    EXPECT_THAT(run({u"lst"_s, store}).errors.toStdString(), HasSubstr("\"lst\" is none of info"));
    EXPECT_THAT(run({u"list"_s, store, u"Persn"_s}).errors.toStdString(), HasSubstr("did you mean \"Person\"?"));
}

TEST_F(HostStoreTest, FilesAreImportedAsAWholeOrNotAtAll)
{
    const QString store = makeStore();
    const QString table =
        writeFile(u"calls.csv"_s, "\xEF\xBB\xBFnumber,seconds,date\r\n"
                                  "\"+1, \"\"555\"\"\",7,2026-01-02T03:04:05Z\r\n\"two\nlines\",,\r\n");
    EXPECT_EQ(outputOf({u"import"_s, store, u"Call"_s, table}), QByteArray("Imported 2.\n"));
    const QJsonArray calls = jsonOf({u"list"_s, store, u"Call"_s, u"--sort"_s, u"number"_s}).toArray();
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
    outputOf({u"import"_s, other, u"Call"_s, writeFile(u"calls.jsonl"_s, lines)});
    EXPECT_EQ(jsonOf({u"list"_s, other, u"Call"_s, u"--where"_s, u"seconds == 7"_s})[0][u"date"], calls[0][u"date"]);

    const struct
    {
        QString name;
        QByteArray contents;
        const char *problem;
    } cases[] = {
        {u"a.csv"_s, "number,secnds\nx,1\n", "a.csv:1: entity Call has no \"secnds\"; did you mean \"seconds\"?"},
        {u"a.csv"_s, "number,seconds\nx,1\ny,many\n", "a.csv:3: \"seconds\": \"many\" is no"},
        {u"a.csv"_s, "number,seconds\nx\n", "a.csv:2: there are 1 values for 2 columns"},
        {u"a.csv"_s, "number\n\"x\n", "a.csv:2: a quoted value has no end"},
        {u"a.jsonl"_s, "{\"number\": \"x\"}\n[]\n", "a.jsonl:2: that is no JSON object"},
        {u"a.jsonl"_s, "{\"number\": \"x\"}\n{", "a.jsonl:2: "},
        {u"a.txt"_s, "", "must end in .csv or .jsonl"},
    };
    for (const auto &[name, contents, problem] : cases) {
        const HostOutcome outcome = run({u"import"_s, store, u"Call"_s, writeFile(name, contents)});
        EXPECT_EQ(outcome.status, 1) << problem;
        EXPECT_THAT(outcome.errors.toStdString(), HasSubstr(problem));
        EXPECT_THAT(outcome.errors.toStdString(), HasSubstr("nothing was imported"));
    }
    EXPECT_EQ(outputOf({u"list"_s, store, u"Call"_s, u"--count"_s}), QByteArray("2\n"));

    EXPECT_EQ(outputOf({u"delete"_s, store, u"Call"_s, u"--where"_s, u"seconds == 7"_s}), QByteArray("Deleted it.\n"));
    EXPECT_EQ(outputOf({u"delete"_s, store, u"Call"_s, u"--where"_s, u"seconds == 7"_s}),
              QByteArray("Deleted 0 objects.\n"));
    EXPECT_EQ(outputOf({u"list"_s, store, u"Call"_s, u"--count"_s}), QByteArray("1\n"));
    outputOf({u"insert"_s, store, u"Call"_s, u'@' + writeFile(u"call.json"_s, R"({"number": "from a file"})")});
    EXPECT_EQ(outputOf({u"list"_s, store, u"Call"_s, u"--count"_s}), QByteArray("2\n"));
}
