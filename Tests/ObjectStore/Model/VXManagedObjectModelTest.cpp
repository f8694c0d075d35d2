#include "VXManagedObjectModel.h"
#include "VXModelParser.h"
#include "VXPropertyList.h"
#include "VXTesting.h"

#include <QtCore/QDateTime>

using namespace Qt::StringLiterals;
using testing::HasSubstr;

namespace {

VXManagedObjectModel::Ptr modelOf(const QByteArray &source, VXError *error = nullptr)
{
    QList<VXModelProblem> problems;
    const VXModelDefinition definition = VXParseModel(source, &problems);
    EXPECT_TRUE(problems.isEmpty());
    return VXManagedObjectModel::modelWithDefinition(definition, error);
}

// The subentity comes first, so that the order of making matters.
const QByteArray peopleSource = R"(
entity Employee: Person {
    attribute salary: double;
    relationship boss: Employee optional inverse staff;
    relationship staff: Employee[] inverse boss;
}
entity Person {
    attribute name: string = "?";
    relationship phones: Phone[] inverse owner delete cascade;
    fetch named = "name == $NAME";
}
entity Phone {
    relationship owner: Person inverse phones;
}
)";

} // namespace

using VXManagedObjectModelTest = VXHomeTest;

TEST_F(VXManagedObjectModelTest, SubentitiesHaveWhatTheyInheritAtTheSamePlace)
{
    const auto model = modelOf(peopleSource);
    ASSERT_TRUE(model);
    const VXEntityDescription &person = *model->entityForName(u"Person"_s);
    const VXEntityDescription &employee = *model->entityForName(u"Employee"_s);
    EXPECT_EQ(employee.superentity(), &person);
    EXPECT_EQ(&employee.rootEntity(), &person);
    EXPECT_EQ(person.family(), (QList<const VXEntityDescription *>{&person, &employee}));
    EXPECT_TRUE(employee.isKindOfEntity(person));
    EXPECT_FALSE(person.isKindOfEntity(employee));
    for (int index = 0; index < employee.properties().size(); ++index)
        EXPECT_EQ(employee.properties()[index]->index(), index);
    EXPECT_EQ(employee.propertyForName(u"phones"_s), person.propertyForName(u"phones"_s));
    EXPECT_EQ(employee.fetchTemplate(u"named"_s), u"name == $NAME"_s);
    const VXRelationshipDescription &boss = *employee.relationshipForName(u"boss"_s);
    EXPECT_EQ(boss.inverse(), employee.relationshipForName(u"staff"_s));
    EXPECT_EQ(&boss.destination(), &employee);
    EXPECT_EQ(employee.relationshipForName(u"name"_s), nullptr);
    EXPECT_EQ(person.attributeForName(u"name"_s)->defaultValue(), u"?"_s);
}

TEST_F(VXManagedObjectModelTest, CompiledModelsReadBackWithTheSameHashes)
{
    const auto model = modelOf(peopleSource);
    ASSERT_TRUE(model->writeToFile(path(u"people.mom"_s)));
    const auto again = VXManagedObjectModel::modelWithContentsOfFile(path(u"people.mom"_s));
    ASSERT_TRUE(again);
    EXPECT_EQ(again->definition().toPropertyList(), model->definition().toPropertyList());
    EXPECT_EQ(again->entityVersionHashes(), model->entityVersionHashes());
}

TEST_F(VXManagedObjectModelTest, HashesTellWhatDecidesTheFormOnDisk)
{
    const auto hashOf = [](const QByteArray &source) { return modelOf(source)->entityVersionHashes().value(u"A"_s); };
    const QByteArray hash = hashOf("entity A { attribute x: string; attribute y: date; }");
    for (const char *same : {"entity A { attribute y: date; attribute x: string indexed = \"d\"; }",
                             "entity A { attribute x: string; attribute y: date; attribute t: binary transient; }"})
        EXPECT_EQ(hashOf(same), hash) << same;
    for (const char *other : {"entity A { attribute x: string; attribute y: string; }",
                              "entity A { attribute x: string optional; attribute y: date; }",
                              "abstract entity A { attribute x: string; attribute y: date; }"})
        EXPECT_NE(hashOf(other), hash) << other;
}

TEST_F(VXManagedObjectModelTest, ModelsMergeWhenTheyAgree)
{
    const auto a = modelOf("entity A { attribute x: string; } entity B {}");
    const auto b = modelOf("entity B {} entity C: B {}");
    const auto merged = VXManagedObjectModel::modelByMergingModels({a, b});
    ASSERT_TRUE(merged);
    EXPECT_EQ(merged->entities().size(), 3);
    VXError error;
    EXPECT_FALSE(VXManagedObjectModel::modelByMergingModels({a, modelOf("entity A {}")}, &error));
    EXPECT_EQ(error.localizedRecoverySuggestion(), u"Entity \"A\" differs between models."_s);
}

TEST_F(VXManagedObjectModelTest, FilesThatAreNoModelsAreRefusedWithTheirPath)
{
    const QVariantMap entity{
        {u"name"_s, u"A"_s}, {u"attributes"_s, QVariantList{}}, {u"relationships"_s, QVariantList{}}};
    const std::pair<QVariant, const char *> cases[] = {
        {QVariantMap{{u"entities"_s, QVariantList{}}}, "It is no object model."},
        {QVariantMap{{u"VXModelVersion"_s, 9}}, "It is of version 9"},
        {QVariantMap{{u"VXModelVersion"_s, 1}, {u"entities"_s, u"x"_s}}, "\"entities\""},
        {QVariantMap{{u"VXModelVersion"_s, 1}, {u"entities"_s, QVariantList{u"x"_s}}}, "is no dictionary"},
        {QVariantMap{{u"VXModelVersion"_s, 1}, {u"entities"_s, QVariantList{entity}}}, "\"fetchTemplates\" of \"A\""},
    };
    for (const auto &[contents, reason] : cases) {
        const QString file = path(u"bad.mom"_s);
        ASSERT_TRUE(VXPropertyList::toFile(contents, file, VXPropertyList::Format::Binary));
        VXError error;
        EXPECT_FALSE(VXManagedObjectModel::modelWithContentsOfFile(file, &error));
        EXPECT_THAT(error.localizedRecoverySuggestion().toStdString(), HasSubstr(reason));
        EXPECT_EQ(error.filePath(), file);
    }
    VXError error;
    EXPECT_FALSE(VXManagedObjectModel::modelWithContentsOfFile(writeFile(u"x.mom"_s, "no list"), &error));
    EXPECT_EQ(error.filePath(), path(u"x.mom"_s));
}
