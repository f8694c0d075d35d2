#include "VXStoreListModel.h"

#include "VXException.h"
#include "VXListReader.h"
#include "VXManagedObjectContext.h"
#include "VXModelParser.h"
#include "VXTesting.h"
#include "VXTestSQL.h"

#include <QtCore/QItemSelectionModel>

#include <atomic>

using namespace Qt::StringLiterals;

namespace {

constexpr int pageSize = int(VXListReader::pageSize);
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

    /** Numbered from 0, as another program would write them. */
    void addMany(int count) const
    {
        const QByteArray rows = "INSERT INTO VX_Entry (Z_PK, Z_ENT, Z_OPT, name, number) WITH RECURSIVE row(n) AS "
                                "(SELECT 0 UNION ALL SELECT n + 1 FROM row WHERE n < " +
                                QByteArray::number(count - 1) + ") SELECT n + 1, 1, 1, 'entry ' || n, n FROM row";
        VXRunSQL(path(u"entries"_s), rows);
    }

    void show()
    {
        VXFetchRequest request(*coordinator->model().entityForName(u"Entry"_s));
        request.sortDescriptors = {{.key = u"number"_s, .isAscending = false}};
        model.setQuery(
            {.coordinator = coordinator, .request = request, .makeRow = [this](const VXManagedObjectPtr &entry) {
                 ++rowsMade;
                 return VXListRow{.text = entry->valueForKey(u"name"_s).toString(),
                                  .value = entry->valueForKey(u"number"_s)};
             }});
        QObject::connect(&model, &VXStoreListModel::didFail, &model, [this](const VXError &each) { error = each; });
        ASSERT_TRUE(VXRunUntil([this] { return !model.isReading(); })) << error.description().toStdString();
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
    std::atomic<int> rowsMade = 0; // by the list's thread, which the model waits for
    VXError error;                 // of the list shown
    VXStoreListModel model;
};

TEST_F(VXStoreListModelTest, scrollsThroughAMillionRowsWithFewPages)
{
    constexpr int count = 1'000'000;
    addMany(count);
    show();
    ASSERT_EQ(model.rowCount(), count);
    EXPECT_LE(rowsMade, 3 * pageSize); // those that are shown first
    int pages = 9; // those, and again when the other program's writing is noticed, on a slow machine twice
    for (const int row : {500'000, 500'200, 499'999, count - 1, 12'345}) {
        EXPECT_EQ(numberAt(row), count - 1 - row) << row;
        EXPECT_LE(rowsMade, ++pages * pageSize) << "what lies between was read for row " << row;
    }
    // Forward and backward through more pages than are kept, each read once on the way.
    for (int page = 2000; page < 2100; ++page)
        EXPECT_EQ(numberAt(page * pageSize), count - 1 - page * pageSize);
    EXPECT_LE(rowsMade, (pages + 100) * pageSize);
    for (int page = 2099; page >= 2000; --page)
        EXPECT_EQ(numberAt(page * pageSize), count - 1 - page * pageSize);
    EXPECT_LE(rowsMade, (pages + 200) * pageSize);
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

// Whoever deletes what is selected must not delete another one, which has come to its row.
TEST_F(VXStoreListModelTest, aSelectedRowFarFromThoseShownKeepsItsObject)
{
    add(1000);
    show();
    EXPECT_EQ(numberAt(0), 999);
    QItemSelectionModel selection(&model);
    selection.setCurrentIndex(model.index(3), QItemSelectionModel::SelectCurrent);
    const VXManagedObjectID chosen = model.objectIDAt(3);
    for (int count = 1000; count < 1002; ++count) {
        EXPECT_EQ(numberAt(900), count - 901);
        add(
            1, [count](int) { return count; }, coordinator);
        ASSERT_TRUE(VXRunUntil([&] { return model.rowCount() == count + 1; }));
        EXPECT_EQ(model.objectIDsOf(selection.selectedRows()), QList{chosen});
        EXPECT_EQ(selection.currentIndex().row(), count - 1000 + 4);
    }
}

// Of all rows but the new one, though most of them were never shown.
TEST_F(VXStoreListModelTest, whatWasSelectedUnreadStaysSelectedAndNothingElse)
{
    add(1500);
    show();
    QItemSelectionModel selection(&model);
    model.followSelection(&selection);
    const auto replace = [this](int removed, int added) { // in a single save
        VXManagedObjectContext context(coordinator);
        for (int i = 0; i < removed; ++i)
            context.deleteObject(context.objectWithID(model.objectIDAt(700 + i)));
        for (int i = 0; i < added; ++i) {
            const VXManagedObjectPtr entry = context.insertNewObject(u"Entry"_s);
            entry->setValueForKey(u"new"_s, u"name"_s);
            entry->setValueForKey(5000 + i, u"number"_s);
        }
        ASSERT_TRUE(context.save());
    };
    selection.select(QItemSelection(model.index(0), model.index(1499)), QItemSelectionModel::Select);
    ASSERT_TRUE(VXRunUntil([this] { return !model.objectIDAt(1400).isNull(); }));
    int expected = 1500;
    for (const auto &[removed, added] : {std::pair(0, 1), std::pair(1, 0), std::pair(3, 2), std::pair(2, 2)}) {
        const VXManagedObjectID gone = model.objectIDAt(700);
        const VXManagedObjectID last = model.objectIDAt(model.rowCount() - 1);
        expected -= removed;
        replace(removed, added);
        ASSERT_TRUE(VXRunUntil([&, isRemoval = removed > 0] {
            return isRemoval ? !(model.objectIDAt(700) == gone) && selection.selectedRows().size() == expected
                             : model.rowCount() == 1501;
        })) << selection.selectedRows().size();
        const auto persons = model.objectIDsOf(selection.selectedRows());
        ASSERT_TRUE(persons);
        EXPECT_EQ(persons->size(), expected);
        EXPECT_TRUE(persons->contains(last));
        EXPECT_FALSE(removed > 0 && persons->contains(gone));
        EXPECT_GE(numberAt(0), 5000);
        EXPECT_FALSE(selection.isSelected(model.index(0))) << removed;
    }
    // Of a few that were read, wherever one has scrolled since.
    selection.select(model.index(10), QItemSelectionModel::ClearAndSelect);
    const auto chosen = model.objectIDsOf(selection.selectedRows());
    const int count = model.rowCount() + 4200; // more than are cached
    add(
        4200, [](int i) { return -1 - i; }, coordinator);
    ASSERT_TRUE(VXRunUntil([&] { return model.rowCount() == count; }));
    for (int row = 0; row < count; row += pageSize)
        numberAt(row);
    replace(0, 1);
    ASSERT_TRUE(VXRunUntil([&] { return model.rowCount() == count + 1; }));
    EXPECT_EQ(model.objectIDsOf(selection.selectedRows()), chosen);
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
    EXPECT_THROW(model.setQuery({.coordinator = coordinator, .request = few}), VXAssertionException);

    few.sortDescriptors = {{.key = u"nmae"_s}};
    model.setQuery({.coordinator = coordinator, .request = few, .makeRow = makeRow});
    EXPECT_TRUE(VXRunUntil([this] { return bool(error); }));
    EXPECT_EQ(error.localizedRecoverySuggestion(), u"entity Entry has no \"nmae\""_s);
    model.setQuery({});
    EXPECT_EQ(model.rowCount(), 0);
}

TEST_F(VXStoreListModelTest, countsWhatIsSavedWhileItReads)
{
    add(300);
    VXFetchRequest request(*coordinator->model().entityForName(u"Entry"_s));
    request.sortDescriptors = {{.key = u"number"_s}};
    int counted = 0;
    QObject::connect(&model, &VXStoreListModel::didRead, &model,
                     [&] { counted = counted == 0 ? model.rowCount() : counted; });
    model.setQuery({.coordinator = coordinator, .request = request, .makeRow = [this](const VXManagedObjectPtr &) {
                        if (rowsMade++ == 0)
                            add(1);
                        return VXListRow{};
                    }});
    ASSERT_TRUE(VXRunUntil([&] { return counted > 0; }));
    EXPECT_EQ(counted, 301);
}
