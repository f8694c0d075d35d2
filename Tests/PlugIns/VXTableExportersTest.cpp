// CSV and JSON Lines, read again by Python's own modules.

#include "VXManagedObjectContext.h"
#include "VXModelParser.h"
#include "VXPlugInTesting.h"

#include <ctime>

using namespace Qt::StringLiterals;

namespace {

const QString csv = u"CSVExporterPlugin"_s;
const QString readRows = u"import csv, sys\nprint(list(csv.reader(open(sys.argv[1], newline='', encoding='utf-8'),"
                         " strict=True)))"_s;

} // namespace

class VXTableExportersTest : public VXHomeTest
{
protected:
    const QString file = path(u"a.csv"_s);

    VXTableExportersTest()
    {
        ::setenv("TZ", "Europe/Berlin", 1);
        ::tzset();
    }
    ~VXTableExportersTest() override
    {
        ::unsetenv("TZ");
        ::tzset();
    }
    QByteArray rows() const { return VXPython(readRows, file); }
};

TEST_F(VXTableExportersTest, CSVFieldsComeBackAsTheyWere)
{
    struct Row
    {
        QVariant value;
        const char *read; // Python's way of writing it
    };
    const Row table[] = {
        {u"a, b; c"_s, "'a, b; c'"},
        {u"say \"hi\""_s, R"('say "hi"')"},
        {u"line\nline\r\nline"_s, R"('line\nline\r\nline')"},
        {u" blank "_s, "' blank '"},
        {u"J\u00e4ne \U0001F600"_s, "'J\u00e4ne \U0001F600'"},
        {u"=SUM(A1)"_s, "\"'=SUM(A1)\""},
        {u"+44 (20) 7946-0000"_s, "'+44 (20) 7946-0000'"},
        {u"+1 555;ext"_s, "\"'+1 555;ext\""},
        {u"+1 555 0100/Hm"_s, "'+1 555 0100/Hm'"},
        {u"+1 555 0100/m, +1 555 0101/H, 555 0102"_s, "'+1 555 0100/m, +1 555 0101/H, 555 0102'"},
        {u"+1 555 0100, =SUM(A1)"_s, "\"'+1 555 0100, =SUM(A1)\""},
        {u"+1/SUM"_s, "\"'+1/SUM\""},
        {u"+H1"_s, "\"'+H1\""},
        {u"+ /"_s, "\"'+ /\""},
        {u"-1"_s, "'-1'"},
        {u"+1.5"_s, "'+1.5'"},
        {u"-1+2"_s, "\"'-1+2\""},
        {u"-1."_s, "\"'-1.\""},
        {u"-A1"_s, "\"'-A1\""},
        {u"-"_s, "\"'-\""},
        {u"@x"_s, "\"'@x\""},
        {u"\tx"_s, R"("'\tx")"},
        {-1, "'-1'"},
        {0.1, "'0.1'"},
        {true, "'true'"},
        {Q_INT64_C(-9223372036854775807), "'-9223372036854775807'"},
        {QDateTime({2026, 7, 1}, {22, 30}, Qt::UTC), "'2026-07-02 00:30:00'"},
        {QDateTime::fromMSecsSinceEpoch(-1, Qt::UTC), "'1970-01-01 00:59:59'"},
        {QByteArray("\0\1", 2), "'AAE='"},
        {QVariantList{u"=a"_s, 2}, "\"'=a, 2\""},
        {QVariantMap{{u"k"_s, u"v"_s}}, R"('{"k":"v"}')"},
        {QVariant(), "''"},
    };
    QVariantList objects;
    QByteArray expected = "[['key', 'last']";
    for (const Row &row : table) {
        objects.append(QVariantMap{{u"key"_s, row.value}, {u"last"_s, 1}});
        expected.append(", [").append(row.read).append(", '1']");
    }
    EXPECT_EQ(VXExport(csv, objects, file), QString());
    EXPECT_EQ(rows(), expected + ']');
    EXPECT_TRUE(readFile(file).endsWith("\r\n"));
}

TEST_F(VXTableExportersTest, CSVOptionsAndTheExistingHeaderDecideTheColumns)
{
    const QVariantMap object{{u"from"_s, u"@1"_s},
                             {u"date"_s, QDateTime({2026, 1, 31}, {16, 5, 9}, Qt::UTC)},
                             {u"contact"_s, QVariantMap{{u"name"_s, u"Jane"_s}}}};
    const QVariantMap options{{u"columns"_s, u"date, contact.name,from"_s},
                              {u"neutraliseFormulas"_s, u"false"_s},
                              {u"utc"_s, true},
                              {u"separator"_s, u";"_s}};
    EXPECT_EQ(VXExport(csv, {object}, file, options), QString());
    EXPECT_EQ(readFile(file), QByteArray("date;contact.name;from\r\n2026-01-31T16:05:09Z;Jane;@1\r\n"));

    // Edited by hand: a mark, other line ends, no line end at the end.
    writeFile(u"a.csv"_s, "\xef\xbb\xbf\"from\",other\nx,y");
    EXPECT_EQ(VXExport(csv, {object}, file), QString());
    EXPECT_EQ(readFile(file),
              QByteArray("\xef\xbb\xbf\"from\",other,contact,date\nx,y,,\n'@1,,\"{\"\"name\"\":\"\"Jane\"\"}\","
                         "2026-01-31 17:05:09\n"));
    EXPECT_EQ(VXExport(csv, {object}, file, {{u"append"_s, false}, {u"columns"_s, QStringList{u"from"_s}}}), QString());
    EXPECT_EQ(rows(), QByteArray("[['from'], [\"'@1\"]]"));
}

// Of records that are not stored too, which know it as little as their contact.
TEST_F(VXTableExportersTest, CSVAsksWhoACallWasWith)
{
    const QVariantMap call{{u"from"_s, u"Jane <+1 555 0100>"_s}, {u"direction"_s, 1}};
    EXPECT_EQ(VXExport(csv, {call, QVariantMap{{u"who"_s, u"Joe"_s}}}, file, {{u"columns"_s, u"who, from"_s}}),
              QString());
    EXPECT_EQ(readFile(file), QByteArray("who,from\r\nJane,Jane <+1 555 0100>\r\nJoe,\r\n"));
}

TEST_F(VXTableExportersTest, CSVJoinsWhatTheFileHolds)
{
    const QVariantMap call{{u"from"_s, u"Doe, J"_s}, {u"length"_s, 3}};
    const std::tuple<QByteArray, QVariantMap, QByteArray> cases[] = {
        {"from\nJane\n", {}, "[['from', 'length'], ['Jane', ''], ['Doe, J', '3']]"}, // no value is lost
        {"from\nJane", {{u"columns"_s, u"from"_s}}, "[['from'], ['Jane'], ['Doe, J']]"},
        {"\"from\"\r\n\"a\r\nb\"\r\n\r\n", {}, R"([['from', 'length'], ['a\r\nb', ''], [], ['Doe, J', '3']])"},
        {"from,length\nx\n", {}, "[['from', 'length'], ['x'], ['Doe, J', '3']]"},
        {"from,to\nx\n", {}, "[['from', 'to', 'length'], ['x', '', ''], ['Doe, J', '', '3']]"},
        {"from,length\nx,1\n", {{u"separator"_s, u";"_s}}, "[['from', 'length'], ['x', '1'], ['Doe, J', '3']]"},
        {"from\nx\n", {{u"separator"_s, u";"_s}, {u"columns"_s, u"from"_s}}, "[['from'], ['x'], ['Doe, J']]"},
    };
    for (const auto &[before, options, after] : cases) {
        writeFile(u"a.csv"_s, before);
        EXPECT_EQ(VXExport(csv, {call}, file, options), QString());
        EXPECT_EQ(rows(), after) << before.toStdString();
    }
    writeFile(u"a.csv"_s, "length;from\n1;x\n");
    EXPECT_EQ(VXExport(csv, {call}, file), QString());
    EXPECT_EQ(readFile(file), QByteArray("length;from\n1;x\n3;\"Doe, J\"\n"));
}

TEST_F(VXTableExportersTest, NumbersOfContactsAreTexts)
{
    const QVariantMap contact{
        {u"numbers"_s,
         QVariantList{QVariantMap{{u"number"_s, u"1"_s}, {u"type"_s, 2}}, QVariantMap{{u"number"_s, u"2"_s}}}},
        {u"addresses"_s, QVariantList{QVariantMap{{u"zip"_s, u"12345"_s}, {u"city"_s, u"Town"_s}, {u"type"_s, 64}}}},
        {u"groups"_s, QVariantList{QVariantMap{{u"name"_s, u"Family"_s}}, QVariantMap{{u"other"_s, 1}}}}};
    EXPECT_EQ(VXExport(csv, {contact}, file), QString());
    EXPECT_EQ(rows(),
              QByteArray("[['addresses', 'groups', 'numbers'], ['12345 Town', 'Family, {\"other\":1}', '1/m, 2']]"));
}

TEST_F(VXTableExportersTest, CSVKeepsColumnsOfAnyName)
{
    const QVariantMap object{{u"a.b"_s, 1}, {u"=c"_s, 2}, {u"d"_s, QVariantMap{{u"e"_s, 3}}}};
    const QVariantMap options{{u"columns"_s, QStringList{u"a.b"_s, u"=c"_s, u"d.e"_s}}};
    EXPECT_EQ(VXExport(u"CSVExporterPlugin"_s, {QVariantMap()}, file), QString()); // of nothing there is no header
    EXPECT_EQ(readFile(file), QByteArray());
    EXPECT_EQ(VXExport(u"CSVExporterPlugin"_s, {object}, file, options), QString());
    EXPECT_EQ(VXExport(u"CSVExporterPlugin"_s, {object}, file), QString());
    EXPECT_EQ(readFile(file), QByteArray("a.b,'=c,d.e\r\n1,2,3\r\n1,2,3\r\n"));
}

TEST_F(VXTableExportersTest, CSVRefusesWhatItWouldSpoil)
{
    const QVariantMap object{{u"from"_s, u"x"_s}};
    for (const QByteArray &contents : {QByteArray("a;to\r\n1;2\r\n"), QByteArray("\"from\n"), QByteArray("%PDF\n")}) {
        writeFile(u"a.csv"_s, contents);
        EXPECT_FALSE(VXExport(csv, {object}, file).isNull());
        EXPECT_EQ(readFile(file), contents);
    }
    EXPECT_FALSE(VXExport(csv, {object}, path(u"b.csv"_s), {{u"separator"_s, u"x"_s}}).isNull());
    EXPECT_EQ(VXExport(csv, {QVariant()}, path(u"b.csv"_s)), u"The event is about nothing that can be exported."_s);
    EXPECT_EQ(VXExport(csv, {object}, {}), u"No file to export to is set."_s);
    EXPECT_FALSE(QFile::exists(path(u"b.csv"_s)));
}

TEST_F(VXTableExportersTest, StoredObjectsGiveTheirAttributesInOrder)
{
    QList<VXModelProblem> problems;
    const VXModelDefinition definition =
        VXParseModel("entity Call { attribute zone: string optional; attribute from: string;"
                     " attribute date: date;"
                     " attribute cached: string optional transient;"
                     " relationship after: Call optional inverse before;"
                     " relationship before: Call optional inverse after; }",
                     &problems);
    VXError error;
    const auto model = VXManagedObjectModel::modelWithDefinition(definition, &error);
    ASSERT_TRUE(model) << error.description().toStdString();
    const auto coordinator = VXPersistentStoreCoordinator::coordinatorWithModel(model);
    ASSERT_TRUE(coordinator->addPersistentStore(VXStoreType::InMemory, {}));
    VXManagedObjectContext context(coordinator);
    const VXManagedObjectPtr call = context.insertNewObject(u"Call"_s);
    call->setValueForKey(u"Jane"_s, u"from"_s);
    call->setValueForKey(QDateTime({2026, 1, 31}, {16, 5, 9}, Qt::UTC), u"date"_s);
    ASSERT_TRUE(context.save(&error)) << error.description().toStdString();
    EXPECT_EQ(VXExport(csv, {QVariant::fromValue(call), QVariantMap{{u"from"_s, u"Joe"_s}, {u"more"_s, 1}}}, file),
              QString());
    EXPECT_EQ(rows(), QByteArray("[['zone', 'from', 'date', 'more'], ['', 'Jane', '2026-01-31 17:05:09', ''], "
                                 "['', 'Joe', '', '1']]"));
}

TEST_F(VXTableExportersTest, JSONLinesAreReadByPython)
{
    const QVariantMap object{{u"text"_s, u"a\n\"b\" \\ J\u00e4ne"_s},
                             {u"big"_s, Q_INT64_C(9007199254740993)},
                             {u"date"_s, QDateTime({2026, 1, 31}, {16, 5, 9, 250}, Qt::UTC)},
                             {u"list"_s, QVariantList{1, QByteArray("x"), QVariant()}},
                             {u"nan"_s, qQNaN()}};
    const QString lines = writeFile(u"a.jsonl"_s, "{\"cut off\": ");
    EXPECT_EQ(VXExport(u"JSONLinesExporterPlugin"_s, {object, QVariantMap()}, lines), QString());
    const QByteArray read = VXPython(u"import json, sys\n"
                                     "lines = open(sys.argv[1], encoding='utf-8').read().splitlines()\n"
                                     "print(len(lines), [json.loads(l) for l in lines[1:]])"_s,
                                     lines);
    EXPECT_EQ(read, QByteArray("3 [{'big': 9007199254740993, 'date': '2026-01-31T16:05:09.250Z', "
                               "'list': [1, 'eA==', None], 'nan': None, 'text': 'a\\n\"b\" \\\\ J\u00e4ne'}, {}]"));
}
