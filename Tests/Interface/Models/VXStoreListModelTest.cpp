#include "VXStoreListModel.h"

#include "VXManagedObjectContext.h"
#include "VXModelParser.h"
#include "VXTesting.h"

#include <QtCore/QItemSelectionModel>

using namespace Qt::StringLiterals;

namespace {

const QByteArray modelText = "entity Entry { attribute name: string; attribute number: integer32 indexed; }";

} // namespace

/** Entries in a SQLite store, by their number from the highest on, and the list that shows them. */
class VXStoreListModelTest : public VXHomeTest
{
protected:
    using Coordinator = VXPersistentStoreCoordinator::Ptr;

    VXStoreListModelTest() : coordinator(openStore()) {}

    Coordinator openStore() const
    {
        QList<VXModelProblem> problems;
        const auto entries = VXManagedObjectModel::modelWithDefinition(VXParseModel(modelText, &problems));
        const Coordinator opened = VXPersistentStoreCoordinator::coordinatorWithModel(entries);
        EXPECT_TRUE(opened->addPersistentStore(VXStoreType::SQLite, path(u"entries"_s)));
        return opened;
    }

    /** `numberOf` gives each its number. */
    void add(int count, const std::function<int(int)> &numberOf, const Coordinator &where) const
    {
        VXManagedObjectContext context(where);
        for (int i = 0; i < count; ++i) {
            const VXManagedObjectPtr entry = context.insertNewObject(u"Entry"_s);
            entry->setValueForKey(u"entry %1"_s.arg(numberOf(i)), u"name"_s);
            entry->setValueForKey(numberOf(i), u"number"_s);
        }
        ASSERT_TRUE(context.save());
    }
    void add(int count) const
    {
        add(
            count, [](int i) { return i; }, coordinator);
    }

    void show()
    {
        VXFetchRequest request(*coordinator->model().entityForName(u"Entry"_s));
        request.sortDescriptors = {{.key = u"number"_s, .isAscending = false}};
        model.setQuery({.coordinator = coordinator, .request = request, .makeRow = [](const VXManagedObjectPtr &entry) {
                            return VXListRow{.text = entry->valueForKey(u"name"_s).toString(),
                                             .value = entry->valueForKey(u"number"_s)};
                        }});
        ASSERT_TRUE(VXRunUntil([this] { return !model.isReading(); }));
    }

    /** The value of a row, which is waited for. */
    int numberAt(int row)
    {
        QVariant value;
        EXPECT_TRUE(VXRunUntil([&] {
            value = model.index(row).data(VXStoreListModel::ValueRole);
            return value.isValid();
        })) << row;
        return value.toInt();
    }

    const Coordinator coordinator;
    VXStoreListModel model;
};

TEST_F(VXStoreListModelTest, scrollsThroughManyRowsWithFewPages)
{
    constexpr int count = 200'000;
    add(count);
    show();
    ASSERT_EQ(model.rowCount(), count);
    for (const int row : {0, 199, 200, 399, 400, 100'000, 100'200, 99'999, count - 1, 12'345})
        EXPECT_EQ(numberAt(row), count - 1 - row) << row;
    for (int page = 0; page < 100; ++page)
        EXPECT_EQ(numberAt(page * 200), count - 1 - page * 200);
    EXPECT_LE(model.keptPageCount(), 64);
}

// Pages begin by value: many rows with one value must neither be left out nor shown twice.
TEST_F(VXStoreListModelTest, rowsOfOneValueStandOnceEach)
{
    add(
        1500, [](int i) { return i < 100    ? 9
                                 : i < 1100 ? 5
                                            : 1; }, coordinator);
    show();
    QSet<qint64> seen;
    for (int row = 0; row < 1500; ++row) {
        EXPECT_EQ(numberAt(row), row < 100 ? 9 : row < 1100 ? 5 : 1) << row;
        seen.insert(model.objectIDAt(row).number());
    }
    EXPECT_EQ(seen.size(), 1500);
}

TEST_F(VXStoreListModelTest, followsSavesHereAndElsewhere)
{
    add(500);
    show();
    EXPECT_EQ(numberAt(0), 499);
    QItemSelectionModel selection(&model);
    selection.setCurrentIndex(model.index(3), QItemSelectionModel::SelectCurrent);
    const VXManagedObjectID chosen = model.objectIDAt(3);

    add(
        2, [](int i) { return 1000 + i; }, coordinator);
    ASSERT_TRUE(VXRunUntil([this] { return model.rowCount() == 502; }));
    EXPECT_EQ(numberAt(0), 1001);
    EXPECT_EQ(selection.currentIndex().row(), 5);
    EXPECT_EQ(model.objectIDAt(selection.currentIndex().row()), chosen);

    // Another coordinator is to this one what another process is.
    const Coordinator elsewhere = openStore();
    add(
        1, [](int) { return 2000; }, elsewhere);
    ASSERT_TRUE(VXRunUntil([this] { return model.rowCount() == 503; }));
    EXPECT_EQ(numberAt(0), 2000);

    VXManagedObjectContext context(coordinator);
    context.deleteObject(context.objectWithID(model.objectIDAt(1)));
    ASSERT_TRUE(context.save());
    ASSERT_TRUE(VXRunUntil([this] { return model.rowCount() == 502; }));
    EXPECT_EQ(numberAt(1), 1000);
    EXPECT_EQ(model.objectIDAt(selection.currentIndex().row()), chosen);
}

TEST_F(VXStoreListModelTest, anotherQueryTakesThePlaceOfTheFirst)
{
    add(300);
    show();
    VXFetchRequest few(*coordinator->model().entityForName(u"Entry"_s));
    few.predicate = *VXPredicate::predicateWithFormat(u"number < 10"_s);
    few.sortDescriptors = {{.key = u"number"_s}};
    const auto makeRow = [](const VXManagedObjectPtr &entry) {
        return VXListRow{.value = entry->valueForKey(u"number"_s)};
    };
    model.setQuery({.coordinator = coordinator, .request = few, .makeRow = makeRow});
    EXPECT_EQ(model.rowCount(), 0);
    ASSERT_TRUE(VXRunUntil([this] { return model.rowCount() == 10; }));
    EXPECT_EQ(numberAt(0), 0);
    model.setQuery({});
    EXPECT_EQ(model.rowCount(), 0);
}
