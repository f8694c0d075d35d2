#include "VXSmartFilter.h"
#include "VXDataManager.h"
#include "VXKeyValueCoding.h"
#include "VXManagedObjectContext.h"
#include "VXTesting.h"

using namespace Qt::StringLiterals;

class VXSmartFilterTest : public VXHomeTest
{
protected:
    VXSmartFilterTest()
    {
        VXError error;
        const auto model =
            VXManagedObjectModel::modelWithContentsOfFile(VXDataManager::smartFilterDataModelPath(), &error);
        coordinator = VXPersistentStoreCoordinator::coordinatorWithModel(model);
        EXPECT_TRUE(coordinator &&
                    coordinator->addPersistentStore(VXStoreType::SQLite, path(u"f.sqlite"_s), {}, &error))
            << error.description().toStdString();
        context = std::make_unique<VXManagedObjectContext>(coordinator);
    }

    VXSmartFilterPtr makeFilter() const
    {
        return VXSmartFilterPtr(
            dynamic_cast<VXSmartFilter *>(context->insertNewObject(VXSmartFilter::entityName).get()));
    }
    static VXPredicate predicate(const QString &text)
    {
        const auto parsed = VXPredicate::predicateWithFormat(text);
        EXPECT_TRUE(parsed) << text.toStdString();
        return parsed.value_or(VXPredicate());
    }
    /** Saves, and reads the filter in a new context. */
    VXSmartFilterPtr readAgain(const VXSmartFilterPtr &filter)
    {
        VXError error;
        EXPECT_TRUE(context->save(&error)) << error.description().toStdString();
        const VXManagedObjectID objectID = filter->objectID();
        others.push_back(std::make_unique<VXManagedObjectContext>(coordinator));
        return VXSmartFilterPtr(dynamic_cast<VXSmartFilter *>(others.back()->existingObjectWithID(objectID).get()));
    }
    static QString formatOf(const VXSmartFilterPtr &filter)
    {
        VXError error;
        const auto made = filter->predicate(&error);
        return made ? made->predicateFormat() : error.localizedRecoverySuggestion();
    }

    VXPersistentStoreCoordinator::Ptr coordinator;
    std::unique_ptr<VXManagedObjectContext> context;
    std::vector<std::unique_ptr<VXManagedObjectContext>> others;
};

TEST_F(VXSmartFilterTest, KeepsAnyPredicateAsRowsOrText)
{
    const struct
    {
        QString text;
        bool fitsRows;
    } cases[] = {
        {u"from CONTAINS[cd] \"Jane\""_s, true},
        {u"from CONTAINS \"a\" AND duration > 60"_s, true},
        {u"a == 1 OR (b == 2 AND NOT c == 3)"_s, true},
        {u"NOT (a == NULL OR b LIKE \"x*\")"_s, true},
        {u"NOT (a == 1 AND b == TRUE)"_s, true},
        {u"a IN {1, 2.5, \"x\"} AND b BETWEEN {1, 9} AND person.name MATCHES[c] \"J.*\""_s, true},
        {u"date >= CAST(\"2026-01-02T03:04:05.678Z\", \"date\")"_s, true},
        {u"TRUEPREDICATE"_s, true},
        {u"name == \"it's \\\"quoted\\\" \\\\ %@ $x * ä\""_s, true},
        {u"FALSEPREDICATE"_s, false},
        {u"ANY calls.duration > 5"_s, false},
        {u"a == b AND c == 1"_s, false},
        {u"5 < a"_s, false},
        {u"SELF == \"x\" OR a == 1"_s, false},
    };
    for (const auto &[text, fitsRows] : cases) {
        const VXPredicate original = predicate(text);
        const VXSmartFilterPtr filter = makeFilter();
        EXPECT_EQ(filter->setPredicate(original), fitsRows) << text.toStdString();
        EXPECT_EQ(formatOf(filter), original.predicateFormat()) << "before it is saved";
        const VXSmartFilterPtr saved = readAgain(filter);
        EXPECT_EQ(formatOf(saved), original.predicateFormat()) << "from the store";
        EXPECT_EQ(saved->valueForKey(u"predicate"_s).value<VXPredicate>(), original);
        EXPECT_TRUE(saved->problem().isNull());
        EXPECT_EQ(fitsRows && text != "TRUEPREDICATE"_L1, !saved->rows().isEmpty());
    }
}

TEST_F(VXSmartFilterTest, DecidesOnObjectsAndInFetchesAlike)
{
    const VXSmartFilterPtr filter = makeFilter();
    filter->setMatching(VXFilterMatching::Any);
    filter->addRow(u"name"_s, u"beginswith"_s, u"JA"_s);
    const VXSmartFilterPtr nested = filter->addFilter(VXFilterMatching::None);
    nested->addRow(u"name"_s, u"=="_s, {});
    nested->addRow(u"name"_s, u"IN"_s, QVariantList{u"Jim"_s, u"Jo"_s}, {});
    const struct
    {
        QVariant name;
        bool passes;
    } cases[] = {{u"jáne"_s, true}, {u"Jo"_s, false}, {u"Kim"_s, true}, {QVariant(), false}};
    for (const auto &[name, passes] : cases) {
        EXPECT_EQ(filter->predicate()->evaluateWithObject(QVariantMap{{u"name"_s, name}}), passes);
        makeFilter()->setValueForKey(name, u"name"_s);
    }
    VXFetchRequest request(filter->entity());
    request.predicate = VXPredicate::allOf({*readAgain(filter)->predicate(), predicate(u"name != NULL"_s)});
    EXPECT_EQ(context->countForFetchRequest(request), 2);
}

TEST_F(VXSmartFilterTest, TextFollowsTheRowsHoweverTheyChange)
{
    const VXSmartFilterPtr filter = makeFilter();
    filter->setPredicate(predicate(u"a == 1 AND (b == 2 OR c == 3)"_s));
    ASSERT_TRUE(context->save());
    const auto stored = [&] { return readAgain(filter)->valueForKey(u"predicateText"_s).toString(); };

    const VXSmartFilterPtr nested = filter->rows().at(1)->nestedFilter();
    nested->rows().at(0)->setValueForKey(7, u"pattern"_s); // neither filter itself is changed
    EXPECT_EQ(formatOf(filter), u"a == 1 AND (b == 7 OR c == 3)"_s);
    EXPECT_EQ(stored(), u"a == 1 AND (b == 7 OR c == 3)"_s);

    nested->setMatching(VXFilterMatching::All);
    EXPECT_EQ(stored(), u"a == 1 AND (b == 7 AND c == 3)"_s);

    context->deleteObject(filter->rows().at(1));
    EXPECT_EQ(stored(), u"a == 1"_s);
    context->deleteObject(filter->rows().at(0));
    EXPECT_EQ(stored(), u"TRUEPREDICATE"_s);

    filter->setValueForKey(u"d == 4"_s, u"predicateText"_s); // as who knows no rows sets it
    EXPECT_EQ(stored(), u"d == 4"_s);
    EXPECT_EQ(context->countForFetchRequest(
                  VXFetchRequest(*coordinator->model().entityForName(VXSmartFilterRow::entityName))),
              0);
}

TEST_F(VXSmartFilterTest, WhatMakesNoPredicateSaysWhyAndLetsNothingPass)
{
    const struct
    {
        QString comparison;
        QVariant pattern;
        QString options;
        QString reason;
    } cases[] = {
        {u"RESEMBLES"_s, u"x"_s, {}, u"There is no operator \"RESEMBLES\"."_s},
        {u"CONTAINS"_s, 5, {}, u"\"CONTAINS\" takes a text."_s},
        {u"IN"_s, u"x"_s, {}, u"\"IN\" takes a list of values."_s},
        {u"=="_s, QVariantList{1}, {}, u"\"==\" takes one value."_s},
        {u"BETWEEN"_s, QVariantList{1}, {}, u"\"BETWEEN\" takes two values."_s},
        {u"MATCHES"_s, u"(("_s, {}, u"The pattern of \"MATCHES\" is no regular expression."_s},
        {u"=="_s, u"x"_s, u"q"_s, u"\"q\" is no way to compare texts."_s},
    };
    for (const auto &each : cases) {
        const VXSmartFilterPtr filter = makeFilter();
        filter->addRow(u"name"_s, each.comparison, each.pattern, each.options);
        for (const VXSmartFilterPtr &asked : {filter, readAgain(filter)}) {
            EXPECT_EQ(asked->problem().localizedRecoverySuggestion(), each.reason);
            EXPECT_FALSE(VXValueForKeyPath(QVariant::fromValue(VXManagedObjectPtr(asked)), u"predicate"_s).isValid());
        }
    }
    for (const QString &text : {u"name ==="_s, u"name == $WHO"_s, u"name == %@"_s}) {
        const VXSmartFilterPtr filter = makeFilter();
        filter->setValueForKey(text, u"predicateText"_s);
        EXPECT_FALSE(readAgain(filter)->problem().isNull()) << text.toStdString();
    }
    const VXSmartFilterPtr joined = makeFilter();
    joined->setValueForKey(u"most"_s, u"matching"_s);
    joined->addRow({}, u"=="_s, 1);
    EXPECT_EQ(formatOf(joined), u"Rows are not joined by \"most\"."_s);
    joined->setMatching(VXFilterMatching::All);
    EXPECT_EQ(formatOf(joined), u"A row names no attribute."_s);

    const VXSmartFilterPtr ring = makeFilter(); // a damaged store may hold it
    ring->addFilter(VXFilterMatching::All)
        ->addRow(u"a"_s, u"=="_s, 1)
        ->setValueForKey(QVariant::fromValue(VXManagedObjectPtr(ring)), u"nested"_s);
    EXPECT_EQ(formatOf(readAgain(ring)), u"The filters are nested too deeply."_s);

    const VXSmartFilterPtr gone = readAgain(makeFilter());
    others.clear();
    EXPECT_EQ(formatOf(gone), u"The filter no longer exists."_s);
}
