#include "VXNone.h"
#include "VXPersistentStoreCoordinator.h"
#include "VXRowSaver.h"
#include "VXTesting.h"

#include <QtCore/QDateTime>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <limits>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

const QByteArray peopleSource = VXItemSource + R"(
entity Person {
    attribute name: string optional;
    attribute age: integer32 optional;
    attribute mood: string optional transient;
    attribute extra: property-list optional;
    relationship calls: Call[] optional inverse caller;
    relationship friends: Person[] optional inverse friends;
    relationship spouse: Person optional inverse spouse;
    relationship groups: Group[] optional inverse members;
}
entity Employee: Person { attribute salary: double optional; }
entity Call {
    attribute cost: double optional;
    relationship caller: Person optional inverse calls;
}
entity Group {
    attribute name: string optional;
    relationship members: Person[] optional inverse groups;
}
)";

QString everyUnit()
{
    QString text;
    for (uint unit = 0; unit <= 0xffff; ++unit)
        text += QChar(ushort(unit == 0xd800 ? 0xdc00 : unit)); // so that no two make a pair by chance
    return text + u"\\u0041\\ \U0001F600"_s + QChar(0xd83d);
}

bool isSame(const QVariant &a, const QVariant &b)
{
    if (a.metaType() != b.metaType() || VXIsNone(a) != VXIsNone(b))
        return false;
    return a == b || (a.typeId() == QMetaType::Double && std::isnan(a.toDouble()) && std::isnan(b.toDouble()));
}

QVariant moment(qint64 milliseconds)
{
    return QDateTime::fromMSecsSinceEpoch(milliseconds, Qt::UTC);
}

std::string typeName(const testing::TestParamInfo<VXStoreType> &each)
{
    return std::array{"SQLite", "XML", "InMemory"}.at(size_t(each.param));
}

} // namespace

/** What holds for stores of every type in the same way. */
class VXStoreConformanceTest : public VXHomeTest, public testing::WithParamInterface<VXStoreType>
{
protected:
    VXStoreConformanceTest()
        : coordinator(VXPersistentStoreCoordinator::coordinatorWithModel(VXModelOf(peopleSource))),
          store(coordinator->addPersistentStore(GetParam(), path(u"store"_s))), saver(*store)
    {
        jane = saver.add(u"Person"_s, {{u"name"_s, u"Jane"_s}, {u"age"_s, 41}});
        zoe = saver.add(u"Employee"_s, {{u"name"_s, u"zoë"_s}, {u"age"_s, 30}, {u"salary"_s, 1000.0}});
        nobody = saver.add(u"Person"_s, {{u"extra"_s, QVariantMap{{u"pet"_s, u"cat"_s}}}});
        cheap = saver.add(u"Call"_s, {{u"cost"_s, 0.5}, {u"caller"_s, QVariant::fromValue(jane)}});
        dear = saver.add(u"Call"_s, {{u"cost"_s, 9.5}, {u"caller"_s, QVariant::fromValue(jane)}});
        saver.add(u"Call"_s, {{u"cost"_s, 2.0}, {u"caller"_s, QVariant::fromValue(zoe)}});
        club = saver.add(u"Group"_s, {{u"name"_s, u"Club"_s}});
        saver.link(club, u"members"_s, {jane, zoe});
        saver.link(jane, u"friends"_s, {zoe, jane});
        EXPECT_TRUE(saver.saveAndCommit()) << saver.error.description().toStdString();
    }

    VXFetchRequest request(const QString &entity, const QString &format = u"TRUEPREDICATE"_s,
                           const QVariantList &arguments = {}) const
    {
        VXFetchRequest made(*store->model().entityForName(entity));
        VXError error;
        const auto predicate = VXPredicate::predicateWithFormat(format, arguments, &error);
        EXPECT_TRUE(predicate) << error.description().toStdString();
        made.predicate = predicate.value_or(VXPredicate());
        return made;
    }

    QVariantList names(const VXFetchRequest &fetch) const { return VXFetchValues(*store, fetch, u"name"_s); }

    QSet<VXManagedObjectID> related(const QList<VXManagedObjectID> &sources, const QString &relationship) const
    {
        QSet<VXManagedObjectID> found;
        VXError error;
        EXPECT_TRUE(store->related(
            sources, *sources.constFirst().entity().relationshipForName(relationship),
            [&](const VXManagedObjectID &from, const VXManagedObjectID &target) {
                EXPECT_TRUE(sources.contains(from));
                found.insert(target);
            },
            &error));
        return found;
    }

    const VXPersistentStoreCoordinator::Ptr coordinator;
    const VXPersistentStoreCoordinator::StorePtr store;
    VXRowSaver saver;
    VXManagedObjectID jane, zoe, nobody, cheap, dear, club;
};

INSTANTIATE_TEST_SUITE_P(Types, VXStoreConformanceTest,
                         testing::Values(VXStoreType::InMemory, VXStoreType::XML, VXStoreType::SQLite), typeName);

TEST_P(VXStoreConformanceTest, ValuesComeBackAsTheyWere)
{
    using Real = std::numeric_limits<double>;
    using Whole = std::numeric_limits<qlonglong>;
    const QMap<QString, QVariantList> values{
        {u"small"_s, {-32768, 32767, 0, {}}},
        {u"medium"_s, {std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}},
        {u"whole"_s, {Whole::min(), Whole::max()}},
        {u"real"_s,
         {0.1, 3.0, -0.0, Real::denorm_min(), Real::max(), Real::infinity(), -Real::infinity(), Real::quiet_NaN()}},
        {u"truth"_s, {true, false, {}}},
        {u"text"_s,
         {u""_s, u"' \" ; -- ?1 %s \r\n\t]]>&amp; "_s, QString(u"a\0b\0"_s), QString(QChar(0xDC00)) + u"x"_s,
          QString(QChar(0xFEFF)) + u"x"_s, everyUnit(), u"x"_s.repeated(1000000)}},
        {u"date"_s,
         {moment(0), moment(-1), moment(1767323045678), moment(-62135596800000), moment(253402300799999),
          QDateTime(QDate(-4000, 1, 1), QTime(0, 0), Qt::UTC), QDateTime(QDate(200000, 1, 1), QTime(0, 0), Qt::UTC)}},
        {u"data"_s, {QByteArray(""), QByteArray("\0\xff<", 3), QByteArray(100000, 'x')}},
        {u"list"_s,
         {u""_s, QVariantList{}, QVariantMap{},
          QVariantMap{{u"a"_s, QVariantList{1LL, true, 0.5, QByteArray("x"), moment(1000)}}}}},
    };
    QList<std::tuple<QUrl, QString, QVariant>> saved;
    for (auto each = values.cbegin(); each != values.cend(); ++each) {
        for (const QVariant &value : *each)
            saved.append({saver.add(u"Item"_s, {{each.key(), value}}).uriRepresentation(), each.key(), value});
    }
    ASSERT_TRUE(saver.saveAndCommit()) << saver.error.description().toStdString();
    const bool isFile = GetParam() != VXStoreType::InMemory; // which another coordinator sees as another process does
    const auto reader =
        isFile ? VXPersistentStoreCoordinator::coordinatorWithModel(VXModelOf(peopleSource)) : coordinator;
    const auto read = isFile ? reader->addPersistentStore(GetParam(), path(u"store"_s)) : store;
    ASSERT_TRUE(read);
    for (const auto &[url, key, value] : saved) {
        const VXManagedObjectID objectID = reader->objectIDForURIRepresentation(url);
        VXError error;
        const VXStoreRow::Ptr row = read->row(objectID, &error);
        ASSERT_TRUE(row) << error.description().toStdString();
        for (const VXAttributeDescription *const attribute : objectID.entity().attributes())
            EXPECT_TRUE(isSame(row->value(attribute->index()), attribute->name() == key ? value : QVariant()))
                << attribute->name().toStdString() << testing::PrintToString(value).substr(0, 200);
    }
    EXPECT_EQ(read->check(), QStringList());
}

TEST_P(VXStoreConformanceTest, FindsWhatPredicatesDescribe)
{
    const QVariant janeID = QVariant::fromValue(jane);
    const std::tuple<QString, QVariantList, QVariantList> cases[] = {
        {u"age > 30"_s, {}, {u"Jane"_s}},
        {u"name ==[d] 'zoe' OR name == NULL"_s, {}, {u"zoë"_s, QVariant()}},
        {u"name LIKE '*'"_s, {}, {u"Jane"_s, u"zoë"_s}}, // as no name is no text
        {u"SELF == %@"_s, {janeID}, {u"Jane"_s}},
        {u"SELF IN %@"_s, {QVariant(QVariantList{QVariant::fromValue(zoe), janeID})}, {u"Jane"_s, u"zoë"_s}},
        {u"NOT SELF IN {%@, %@}"_s, {janeID, QVariant::fromValue(VXManagedObjectID())}, {u"zoë"_s, QVariant()}},
        {u"ANY calls.cost > 2"_s, {}, {u"Jane"_s}},
        {u"ALL calls.cost > 1"_s, {}, {u"zoë"_s, QVariant()}},
        {u"NONE calls.cost > 1"_s, {}, {QVariant()}},
        {u"calls.@count == 2"_s, {}, {u"Jane"_s}},
        {u"%@ IN calls"_s, {QVariant::fromValue(dear)}, {u"Jane"_s}},
        {u"ANY calls.caller == SELF"_s, {}, {u"Jane"_s, u"zoë"_s}},
        {u"ANY groups.members.name == 'Jane'"_s, {}, {u"Jane"_s, u"zoë"_s}},
        {u"ANY friends == %@"_s, {janeID}, {u"Jane"_s, u"zoë"_s}},
    };
    for (const auto &[format, arguments, expected] : cases) {
        EXPECT_EQ(names(request(u"Person"_s, format, arguments)), expected) << format.toStdString();
        VXError error;
        EXPECT_EQ(store->count(request(u"Person"_s, format, arguments), &error), expected.size());
    }
    EXPECT_EQ(
        VXFetchValues(*store, request(u"Call"_s, u"caller.name == 'Jane' AND caller == %@"_s, {janeID}), u"cost"_s),
        (QVariantList{0.5, 9.5}));
    if (GetParam() != VXStoreType::SQLite) { // which cannot look into property lists
        EXPECT_EQ(names(request(u"Person"_s, u"extra.pet == 'cat'"_s)), QVariantList{QVariant()});
    }
    VXFetchRequest plain = request(u"Person"_s);
    plain.includesSubentities = false;
    EXPECT_EQ(names(plain), (QVariantList{u"Jane"_s, QVariant()}));
    EXPECT_EQ(names(request(u"Employee"_s)), QVariantList{u"zoë"_s});
}

// Longer than what SQL says value by value.
TEST_P(VXStoreConformanceTest, LongListsAreOfValuesOfAnyKind)
{
    QMap<QString, QVariantList> lists;
    for (int number = 0; number < 20; ++number) {
        QVariantMap values{
            {u"real"_s, number + 0.5}, {u"date"_s, moment(number)}, {u"data"_s, QByteArray::number(number)}};
        values.insert(u"SELF"_s, QVariant::fromValue(saver.add(u"Item"_s, values)));
        for (auto value = values.cbegin(); number < 18 && value != values.cend(); ++value)
            lists[value.key()].append(*value);
    }
    ASSERT_TRUE(saver.saveAndCommit());
    for (auto list = lists.cbegin(); list != lists.cend(); ++list) {
        const auto found = [&](const QString &format) {
            return VXFetchValues(*store, request(u"Item"_s, format.arg(list.key()), {QVariant(*list)}), u"real"_s);
        };
        EXPECT_EQ(found(u"%1 IN %@"_s), lists[u"real"_s]) << list.key().toStdString();
        EXPECT_EQ(found(u"NOT %1 IN %@"_s), (QVariantList{18.5, 19.5})) << list.key().toStdString();
    }
}

TEST_P(VXStoreConformanceTest, LeavesToOthersWhatIsNotStored)
{
    VXError error;
    bool isExact = true;
    VXFetchRequest fetch = request(u"Person"_s, u"mood == 'fine' AND age > 35"_s);
    fetch.limit = 1;
    fetch.offset = 1; // not before the rest is decided
    const QList<VXFetchedRow> found = VXFetchRows(*store, fetch, &error, &isExact);
    EXPECT_FALSE(isExact);
    ASSERT_EQ(found.size(), 1);
    EXPECT_EQ(found[0].objectID, jane);
    EXPECT_EQ(store->count(fetch, &error), std::nullopt);
    for (const QString &key : {u"mood"_s, u"computed"_s, u"calls.caller.mood"_s}) {
        VXFetchRequest sorted = request(u"Person"_s);
        sorted.sortDescriptors = {{key}};
        EXPECT_EQ(VXFetchRows(*store, sorted, &error, &isExact).size(), 3);
        EXPECT_FALSE(isExact) << key.toStdString();
    }
}

TEST_P(VXStoreConformanceTest, SortsThenCuts)
{
    VXFetchRequest fetch = request(u"Person"_s);
    fetch.sortDescriptors = {{u"name"_s, true, VXTextOption::CaseInsensitive}};
    EXPECT_EQ(names(fetch), (QVariantList{QVariant(), u"Jane"_s, u"zoë"_s}));
    fetch.sortDescriptors = {{u"groups.@count"_s, false}, {u"age"_s}};
    EXPECT_EQ(names(fetch), (QVariantList{u"zoë"_s, u"Jane"_s, QVariant()}));
    fetch.offset = 1;
    fetch.limit = 1;
    EXPECT_EQ(names(fetch), QVariantList{u"Jane"_s});
    fetch.offset = 9;
    EXPECT_EQ(names(fetch), QVariantList());
}

TEST_P(VXStoreConformanceTest, IsWalkedPageAfterPage)
{
    VXFetchRequest page = request(u"Person"_s);
    page.limit = 2;
    QList<qint64> numbers;
    VXError error;
    while (true) {
        const QList<VXFetchedRow> rows = VXFetchRows(*store, page, &error);
        for (const VXFetchedRow &row : rows)
            numbers.append(row.objectID.number());
        if (rows.size() < page.limit)
            break;
        page.afterNumber = numbers.last();
    }
    EXPECT_EQ(numbers.size(), 3);
    EXPECT_TRUE(std::is_sorted(numbers.cbegin(), numbers.cend()));
    EXPECT_EQ(store->count(page, &error), 1);
}

TEST_P(VXStoreConformanceTest, RelationshipsAreKeptFromBothEnds)
{
    EXPECT_EQ(related({jane}, u"calls"_s), (QSet<VXManagedObjectID>{cheap, dear}));
    EXPECT_EQ(related({zoe}, u"groups"_s), QSet<VXManagedObjectID>{club});
    EXPECT_EQ(related({zoe}, u"friends"_s), QSet<VXManagedObjectID>{jane});
    EXPECT_EQ(related({jane}, u"friends"_s), (QSet<VXManagedObjectID>{jane, zoe}));
    EXPECT_EQ(related({jane, zoe, nobody}, u"calls"_s).size(), 3);

    saver.change(zoe, {{u"spouse"_s, QVariant::fromValue(nobody)}});
    saver.change(nobody, {{u"spouse"_s, QVariant::fromValue(zoe)}});
    saver.change(cheap, {{u"caller"_s, QVariant::fromValue(nobody)}});
    saver.link(zoe, u"groups"_s, {}, {club});
    ASSERT_TRUE(saver.saveAndCommit());
    EXPECT_EQ(related({jane}, u"calls"_s), QSet<VXManagedObjectID>{dear});
    EXPECT_EQ(related({nobody}, u"calls"_s), QSet<VXManagedObjectID>{cheap});
    EXPECT_EQ(related({club}, u"members"_s), QSet<VXManagedObjectID>{jane});

    saver.remove(jane);
    saver.remove(dear);
    ASSERT_TRUE(saver.saveAndCommit());
    EXPECT_EQ(related({club}, u"members"_s), QSet<VXManagedObjectID>());
    EXPECT_EQ(related({zoe}, u"friends"_s), QSet<VXManagedObjectID>());
    EXPECT_EQ(store->check(), QStringList());
}

TEST_P(VXStoreConformanceTest, ReferencesStayInTheStore)
{
    const auto other = VXPersistentStoreCoordinator::coordinatorWithModel(VXModelOf(peopleSource))
                           ->addPersistentStore(VXStoreType::InMemory, {});
    const VXManagedObjectID stranger(jane.entity(), other->identity(), 1);
    saver.add(u"Call"_s, {{u"caller"_s, QVariant::fromValue(stranger)}});
    EXPECT_FALSE(saver.saveAndCommit());
    EXPECT_EQ(VXFetchValues(*store, request(u"Call"_s), u"cost"_s).size(), 3);
}

// Whatever is saved leads to what is there: in the same save, before it, or since somebody else deleted it.
TEST_P(VXStoreConformanceTest, NothingLeadsToWhatIsGone)
{
    using Kind = VXRowConflict::Kind;
    const VXManagedObjectID gone = saver.add(u"Person"_s);
    const VXManagedObjectID goneGroup = saver.add(u"Group"_s);
    ASSERT_TRUE(saver.saveAndCommit());
    saver.remove(gone);
    saver.remove(goneGroup);
    ASSERT_TRUE(saver.saveAndCommit());
    const QVariant goneValue = QVariant::fromValue(gone);
    const struct
    {
        const char *what;
        std::function<void()> prepare;
        VXManagedObjectID objectID;
        Kind kind;
    } cases[] = {
        {"inserted",
         [&] {
             saver.add(u"Call"_s, {{u"caller"_s, goneValue}});
         },
         gone, Kind::Missing},
        {"updated",
         [&] {
             saver.change(dear, {{u"caller"_s, goneValue}});
         },
         gone, Kind::Missing},
        {"overwritten",
         [&] {
             saver.change(dear, {{u"caller"_s, goneValue}}).overwrites = true;
         },
         gone, Kind::Missing},
        {"target of a pair", [&] { saver.link(club, u"members"_s, {gone}); }, gone, Kind::Missing},
        {"source of a pair", [&] { saver.link(goneGroup, u"members"_s, {jane}); }, goneGroup, Kind::Missing},
        {"target deleted too",
         [&] {
             saver.change(dear, {{u"caller"_s, QVariant::fromValue(nobody)}});
             saver.remove(nobody);
         },
         nobody, Kind::Missing},
        {"still led to", [&] { saver.remove(zoe); }, zoe, Kind::Referenced},
    };
    for (const auto &each : cases) {
        SCOPED_TRACE(each.what);
        saver.request = {};
        each.prepare();
        EXPECT_FALSE(saver.saveAndCommit());
        EXPECT_FALSE(saver.error) << saver.error.description().toStdString();
        ASSERT_GE(saver.conflicts.size(), 1);
        EXPECT_EQ(saver.conflicts[0].objectID, each.objectID);
        EXPECT_EQ(saver.conflicts[0].kind, each.kind);
        EXPECT_EQ(saver.conflicts[0].references.size(), each.kind == Kind::Referenced ? 1 : 0);
    }
    EXPECT_EQ(store->check(), QStringList());
    saver.request = {}; // what is inserted, or lets go, in the same save
    const VXManagedObjectID caller = saver.add(u"Employee"_s);
    saver.add(u"Call"_s, {{u"caller"_s, QVariant::fromValue(caller)}});
    saver.change(dear, {{u"caller"_s, QVariant::fromValue(caller)}});
    saver.change(cheap, {{u"caller"_s, QVariant()}});
    saver.remove(jane);
    EXPECT_TRUE(saver.saveAndCommit()) << saver.error.description().toStdString();
    EXPECT_EQ(store->check(), QStringList());
}

TEST_P(VXStoreConformanceTest, ConflictsAreListedAndNothingIsSaved)
{
    VXRowSaver other(*store);
    other.change(jane, {{u"age"_s, 42}});
    other.remove(cheap);
    saver.change(jane, {{u"name"_s, u"Joan"_s}});
    saver.remove(cheap);
    saver.change(zoe, {{u"name"_s, u"Zoe"_s}});
    saver.add(u"Person"_s, {{u"name"_s, u"New"_s}});
    ASSERT_TRUE(other.saveAndCommit());

    EXPECT_FALSE(saver.saveAndCommit());
    EXPECT_FALSE(saver.error);
    ASSERT_EQ(saver.conflicts.size(), 2);
    EXPECT_EQ(saver.conflicts[0].objectID, jane);
    EXPECT_EQ(saver.conflicts[0].stored->value(jane.entity().propertyForName(u"age"_s)->index()), 42);
    EXPECT_EQ(saver.conflicts[1].objectID, cheap);
    EXPECT_EQ(saver.conflicts[1].stored, nullptr);
    EXPECT_EQ(names(request(u"Person"_s)), (QVariantList{u"Jane"_s, u"zoë"_s, QVariant()}));

    for (VXRowChange &change : saver.request.changes)
        change.overwrites = true;
    ASSERT_TRUE(saver.saveAndCommit());
    EXPECT_EQ(names(request(u"Person"_s)), (QVariantList{u"Joan"_s, u"Zoe"_s, QVariant(), u"New"_s}));
}

TEST_P(VXStoreConformanceTest, WhatIsNotCommittedIsUndone)
{
    const qint64 last = saver.add(u"Person"_s, {{u"name"_s, u"New"_s}}).number();
    saver.remove(nobody);
    saver.link(club, u"members"_s, {}, {jane});
    store->setMetadata({{u"owner"_s, u"me"_s}});
    saver.request.metadata = store->unsavedMetadata();
    EXPECT_TRUE(saver.save());
    EXPECT_TRUE(store->unsavedMetadata());
    EXPECT_EQ(names(request(u"Person"_s)), (QVariantList{u"Jane"_s, u"zoë"_s, QVariant()}));
    EXPECT_EQ(related({club}, u"members"_s), (QSet<VXManagedObjectID>{jane, zoe}));
    EXPECT_GT(saver.add(u"Employee"_s).number(), last); // numbers are not given again
}

TEST_P(VXStoreConformanceTest, AnIdentifierIsTakenOnce)
{
    saver.request.changes.append(
        {jane, std::make_shared<VXStoreRow>(int(jane.entity().properties().size()), 1), nullptr});
    EXPECT_FALSE(saver.saveAndCommit());
    EXPECT_EQ(saver.error.code(), int(VXObjectStoreErrorCode::ReferentialIntegrity));
    saver.request = {};
    saver.change(jane, {{u"age"_s, 42}});
    EXPECT_TRUE(saver.saveAndCommit()) << saver.error.description().toStdString();
}

// Several may be inserted by one statement.
TEST_P(VXStoreConformanceTest, ManyNewObjectsAreSavedAllOrNone)
{
    QVariantList expected = names(request(u"Person"_s));
    const auto addMany = [&](int count) {
        QVariantList added;
        for (int number = 0; number < count; ++number) {
            added.append(u"%1 of %2"_s.arg(number).arg(count));
            saver.add(number % 11 == 10 ? u"Employee"_s : u"Person"_s, {{u"name"_s, added.constLast()}});
        }
        return added;
    };
    for (const int count : {7, 8, 9, 40}) {
        expected += addMany(count);
        ASSERT_TRUE(saver.saveAndCommit()) << saver.error.description().toStdString();
        EXPECT_EQ(names(request(u"Person"_s)), expected);
    }
    addMany(20);
    saver.request.changes[12].objectID = jane; // whose identifier is taken
    EXPECT_FALSE(saver.saveAndCommit());
    EXPECT_EQ(saver.error.code(), int(VXObjectStoreErrorCode::ReferentialIntegrity));
    EXPECT_EQ(names(request(u"Person"_s)), expected);
}

// Jane and Zoë get the same age in each save: a reader must never see half of one.
TEST_P(VXStoreConformanceTest, ReadersSeeWholeSaves)
{
    std::atomic<bool> isDone = false;
    std::atomic<int> halves = 0;
    std::atomic<int> reads = 0;
    const auto read = [&] {
        const VXFetchRequest fetch = request(u"Person"_s, u"age != NULL AND calls.@count > 0"_s);
        while (!isDone || reads < 2) {
            const QVariantList ages = VXFetchValues(*store, fetch, u"age"_s);
            halves += ages.size() != 2 || ages[0] != ages[1];
            ++reads;
        }
    };
    saver.change(jane, {{u"age"_s, 0}});
    saver.change(zoe, {{u"age"_s, 0}});
    ASSERT_TRUE(saver.saveAndCommit());
    std::thread reader(read);
    std::thread secondReader(read);
    for (int age = 1; age <= 50; ++age) {
        saver.change(jane, {{u"age"_s, age}});
        saver.change(zoe, {{u"age"_s, age}});
        EXPECT_TRUE(saver.saveAndCommit());
    }
    isDone = true;
    reader.join();
    secondReader.join();
    EXPECT_EQ(halves, 0);
}
