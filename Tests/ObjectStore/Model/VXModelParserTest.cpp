#include "VXModelParser.h"
#include "ObjectStoreTestsPaths.h"
#include "VXModelPrinter.h"
#include "VXTesting.h"

#include <QtCore/QDateTime>
#include <QtCore/QProcess>

using namespace Qt::StringLiterals;
using testing::HasSubstr, testing::IsEmpty;

namespace {

const QByteArray callsSource = R"(// What happened, and who was there
abstract entity Record {
    attribute date: date indexed = "2026-01-02T03:04:05.678Z";
    attribute index: integer32 = -7;
}

entity Call: Record (VXCall) {
    attribute number: string optional = "say \"hi\"\n\\";
    attribute answered: boolean = false;
    attribute cost: double = 0.1;
    attribute size: integer64 = 9007199254740993;
    attribute photo: binary optional = "AQID";
    attribute extras: property-list optional = "{\"a\":[1,true]}";
    attribute shown: string optional transient; /* made when asked for;
                                                   on two lines */
    relationship caller: Person optional inverse calls;
    relationship tags: Tag[] inverse calls delete cascade;
    fetch callsOf = "caller.name == $NAME";
    index number, caller, answered;
}

entity Person {
    attribute name: string;
    relationship calls: Call[] inverse caller delete deny;
}

entity Tag {
    relationship calls: Call[] inverse tags delete no-action;
}
)";

QStringList problemsOf(const QByteArray &source)
{
    QList<VXModelProblem> problems;
    const VXModelDefinition definition = VXParseModel(source, &problems);
    problems += VXCheckModel(definition);
    QStringList texts;
    for (const VXModelProblem &problem : std::as_const(problems))
        texts.append(u"%1: %2"_s.arg(problem.line).arg(problem.text));
    return texts;
}

VXModelDefinition parsed(const QByteArray &source)
{
    QList<VXModelProblem> problems;
    const VXModelDefinition definition = VXParseModel(source, &problems);
    EXPECT_THAT(problems, IsEmpty());
    return definition;
}

} // namespace

TEST(VXModelParserTest, ReadsEveryKindOfStatement)
{
    const VXModelDefinition model = parsed(callsSource);
    EXPECT_THAT(VXCheckModel(model), IsEmpty());
    ASSERT_EQ(model.entities.size(), 4);
    EXPECT_TRUE(model.entities[0].isAbstract);
    const VXEntityDefinition &call = model.entities[1];
    EXPECT_EQ(call.superentity, u"Record"_s);
    EXPECT_EQ(call.className, u"VXCall"_s);
    EXPECT_EQ(call.line, 7);
    const QVariantList defaults = {u"say \"hi\"\n\\"_s,
                                   false,
                                   0.1,
                                   9007199254740993LL,
                                   QByteArray("\1\2\3"),
                                   QVariantMap{{u"a"_s, QVariantList{1, true}}},
                                   {}};
    ASSERT_EQ(call.attributes.size(), defaults.size());
    for (qsizetype index = 0; index < defaults.size(); ++index)
        EXPECT_EQ(call.attributes[index].defaultValue, defaults[index]) << call.attributes[index].name.toStdString();
    EXPECT_EQ(model.entities[0].attributes[0].defaultValue, QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5, 678), Qt::UTC));
    EXPECT_TRUE(call.attributes[6].isTransient);
    EXPECT_TRUE(call.relationships[1].isToMany);
    EXPECT_EQ(call.relationships[1].deleteRule, VXDeleteRule::Cascade);
    EXPECT_EQ(call.fetchTemplates[0].predicate, u"caller.name == $NAME"_s);
}

TEST(VXModelParserTest, PrintedModelsReadBackTheSame)
{
    const VXModelDefinition model = parsed(callsSource);
    const VXModelDefinition again = parsed(VXModelSource(model).toUtf8());
    EXPECT_EQ(again.toPropertyList(), model.toPropertyList());
}

TEST(VXModelParserTest, MistakesAreFoundOnTheirLines)
{
    struct Case
    {
        QByteArray source;
        QStringList problems;
    };
    const QString types = u"integer16, integer32, integer64, double, boolean, string, date, binary, property-list"_s;
    const Case cases[] = {
        {"entity A {\n attribute x: strin;\n attribute y string;\n}\nentity A {}",
         {u"2: \"strin\" is no type of attributes; there are "_s + types, u"3: \":\" expected, not \"string\""_s,
          u"5: entity \"A\" is defined twice"_s}},
        {"entity A {\n relationship b: B inverse a;\n}", {u"2: \"b\" leads to unknown entity \"B\""_s}},
        {"entity A {\n relationship b: B;\n}\nentity B {}", {u"2: \"b\" has no inverse"_s}},
        {"entity A {\n relationship b: B inverse a;\n}\nentity B {}",
         {u"2: entity \"B\" has no relationship \"a\", the inverse of \"b\""_s}},
        {"entity A {\n relationship b: B inverse a;\n}\nentity B {\n relationship a: B inverse a;\n}",
         {u"2: \"A.b\" and \"B.a\" are not each other's inverse"_s}},
        {"entity A: B {}\nentity B: C {}\nentity C: B {}",
         {u"2: entity \"B\" inherits from itself"_s, u"3: entity \"C\" inherits from itself"_s}},
        {"entity Ab {}\nentity AB {}", {u"2: entity \"AB\" differs from \"Ab\" in case only"_s}},
        {"entity A: Nowhere {}", {u"1: entity \"A\" inherits from unknown entity \"Nowhere\""_s}},
        {"entity A {\n attribute x: string;\n}\nentity B: A {\n attribute X: date;\n}",
         {u"5: \"X\" is defined twice, the first time in entity \"A\""_s}},
        {"entity A {\n attribute x: integer16 = 32768;\n attribute y: boolean = \"yes\";\n}",
         {u"2: the default value of \"x\" is no integer16"_s, u"3: the default value of \"y\" is no boolean"_s}},
        {QByteArray("entity A {\n attribute x: string = \"\0\";\n fetch f = \"\0\";\n}", 56),
         {u"2: no compiled model can hold this: A property list cannot hold a text with the character U+0000."_s,
          u"3: no compiled model can hold this: A property list cannot hold a text with the character U+0000."_s}},
        {"entity A {\n attribute x: date;\n attribute t: date transient;\n relationship b: A[] inverse b;\n index x;\n"
         " index x, t;\n index x, b, y;\n index x, x;\n}",
         {u"5: an index is over several properties; of one say \"indexed\""_s,
          u"6: \"t\" is no stored attribute or to-one relationship of \"A\" itself"_s,
          u"7: \"b\" is no stored attribute or to-one relationship of \"A\" itself"_s,
          u"7: \"y\" is no stored attribute or to-one relationship of \"A\" itself"_s,
          u"8: the index has \"x\" twice"_s}},
        {"entity A {\n attribute d: date = \"yesterday\";\n}", {u"2: \"yesterday\" is no date (ISO 8601)"_s}},
        {"entity A {\n attribute Cast: string;\n attribute objectid: string;\n attribute n\u00e4h: string;\n}",
         {u"2: \"Cast\" is a reserved word"_s, u"3: \"objectid\" is a reserved word"_s,
          u"4: \"n\u00e4h\" is no name for an attribute or relationship: ASCII letters, digits and _ make one"_s}},
        {"entity A {\n attribute x: string = \"no end;\n}", {u"2: the text does not end on its line"_s}},
        {"entity A {",
         {u"1: \"attribute\", \"relationship\", \"fetch\", \"index\" or \"}\" expected, not the end"_s,
          u"1: the entity does not end: \"}\" is missing"_s}},
        {"nonsense", {u"1: \"entity\" expected, not \"nonsense\""_s}},
        {"\xff", {u"1: the file is not in UTF-8"_s}},
    };
    for (const Case &each : cases)
        EXPECT_EQ(problemsOf(each.source), each.problems) << each.source.constData();
}

class VXModelCompilerTest : public VXHomeTest
{
protected:
    struct Result
    {
        int status;
        QByteArray output;
        QByteArray errors;
    };

    static Result compile(const QStringList &arguments)
    {
        QProcess process;
        process.start(QStringLiteral(VORNIX_MODEL_COMPILER), arguments);
        process.waitForFinished();
        return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
    }
};

TEST_F(VXModelCompilerTest, CompilesPrintsAndDraws)
{
    const QString source = writeFile(u"calls.vxmodel"_s, callsSource);
    EXPECT_EQ(compile({source, u"-o"_s, path(u"calls.mom"_s)}).status, 0);
    const Result printed = compile({path(u"calls.mom"_s), u"--print"_s});
    EXPECT_EQ(printed.output, VXModelSource(parsed(callsSource)).toUtf8());
    EXPECT_THAT(compile({source, u"--graph"_s}).output.toStdString(), HasSubstr("Call -> Record [arrowhead=empty]"));
}

TEST_F(VXModelCompilerTest, NamesFileAndLineOfMistakesAndWritesNothing)
{
    const QString source = writeFile(u"bad.vxmodel"_s, "entity A {\n attribute x: nothing;\n}\n");
    const Result result = compile({source, u"-o"_s, path(u"bad.mom"_s)});
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(
        result.errors.startsWith((source + ":2: error: \"nothing\" is no type of attributes; there are "_L1).toUtf8()));
    EXPECT_FALSE(QFile::exists(path(u"bad.mom"_s)));
    writeFile(u"bad.vxmodel"_s,
              "entity A {\n attribute x: integer16;\n fetch f = \"x = = 1\";\n fetch g = \"y == $Y\";\n}\n");
    const QByteArray errors = compile({source}).errors;
    EXPECT_TRUE(errors.startsWith((source + ":3: error: fetch template \"f\": At character "_L1).toUtf8()));
    EXPECT_TRUE(errors.endsWith(":4: error: fetch template \"g\": entity A has no \"y\"\n"));
    EXPECT_EQ(compile({}).status, 2);
    EXPECT_EQ(compile({path(u"missing.vxmodel"_s)}).status, 1);
}

TEST(VXModelCheckTest, LongLineagesAndWideTablesAreRefusedByName)
{
    QByteArray chain = "entity E0 {}\n";
    for (int number = 1; number < 3000; ++number)
        chain += "entity E" + QByteArray::number(number) + ": E" + QByteArray::number(number - 1) + " {}\n";
    const QStringList problems = problemsOf(chain);
    ASSERT_EQ(problems.size(), 2900);
    EXPECT_EQ(problems.constFirst(), u"101: entity \"E100\" inherits through more than 99 others"_s);

    const auto wide = [](int count) {
        QByteArray source = "entity Wide {\n";
        for (int number = 0; number < count - 5; ++number)
            source += "attribute a" + QByteArray::number(number) + ": string;\n";
        return source + "attribute t: string transient;\n}\n"
                        "entity More: Wide {\n attribute b: date;\n relationship to: Wide inverse from;\n"
                        " relationship many: More[] inverse many;\n relationship one: More inverse one;\n}\n";
    };
    const QByteArray source = wide(2010) + "entity X {}";
    EXPECT_THAT(
        problemsOf(QByteArray(source).replace("relationship to: Wide inverse from", "attribute c: date")),
        testing::Contains(u"1: entity \"Wide\" and those that inherit from it take 2009 columns of a table, which may "
                          "have 1990: one each attribute, two each relationship to one object"_s));
    EXPECT_THAT(problemsOf(QByteArray(wide(1991)).replace("relationship to: Wide inverse from", "attribute c: date")),
                IsEmpty());
}
