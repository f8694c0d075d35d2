#include "VXStoreRowCopy.h"
#include "VXKeyValueCoding.h"
#include "VXManagedObjectContext.h"
#include "VXPersistentStoreCoordinator.h"
#include "VXRowSaver.h"
#include "VXTesting.h"
#include "VXTestSQL.h"

#include <numeric>

using namespace Qt::StringLiterals;
using Coordinator = VXPersistentStoreCoordinator;

namespace {

const QByteArray oldSource = R"(
abstract entity Party {
    attribute name: string optional;
    attribute nick: string optional;
    relationship calls: Call[] optional inverse caller;
    relationship friends: Party[] optional inverse friends;
    relationship fans: Party[] optional inverse idols;
    relationship idols: Party[] optional inverse fans;
}
entity Person: Party {
    attribute age: integer16 optional;
    relationship spouse: Person optional inverse spouse;
}
entity Company: Party {
    attribute extra: property-list optional;
    relationship paid: Call[] optional inverse payer;
}
entity Call {
    relationship payer: Company optional inverse paid;
    attribute cost: double optional;
    attribute isRead: boolean = false;
    attribute photo: binary optional;
    relationship caller: Party optional inverse calls;
}
entity Draft { attribute text: string optional; }
)";

// Another order of entities, so that their numbers in the file differ; one attribute less, and two more.
const QByteArray newSource = R"(
entity Note { attribute text: string optional; }
entity Draft { attribute text: string optional; }
entity Call {
    attribute isRead: boolean = false;
    attribute duration: integer32 = 7;
    attribute cost: double = 1.5;
    attribute photo: binary optional;
    relationship caller: Party optional inverse calls;
}
abstract entity Party {
    attribute name: string optional;
    relationship friends: Party[] optional inverse friends;
    relationship calls: Call[] optional inverse caller;
}
entity Company: Party { attribute extra: property-list optional; }
entity Person: Party {
    attribute age: integer16 optional;
    relationship spouse: Person optional inverse spouse;
}
)";

} // namespace

class VXStoreRowCopyTest : public VXHomeTest
{
protected:
    Coordinator::StorePtr open(const QByteArray &source, const QString &name) const
    {
        VXError error;
        auto store = Coordinator::coordinatorWithModel(VXModelOf(source))
                         ->addPersistentStore(VXStoreType::SQLite, path(name), {}, &error);
        EXPECT_TRUE(store) << error.description().toStdString();
        return store;
    }

    /** Two persons who are friends, a company, and calls; so many are more than one piece. */
    void writeOld(int calls = 25'000) const
    {
        const auto store = open(oldSource, u"old.sqlite"_s);
        VXRowSaver saver(*store);
        const auto jane = saver.add(u"Person"_s, {{u"name"_s, u"Jane"_s}, {u"age"_s, 33}});
        const auto bob = saver.add(u"Person"_s, {{u"nick"_s, u"B"_s}});
        const auto shop = saver.add(u"Company"_s, {{u"extra"_s, QVariantMap{{u"a"_s, 1}}}});
        const auto gone = saver.add(u"Company"_s);
        const auto draft = saver.add(u"Draft"_s);
        saver.link(jane, u"friends"_s, {shop, bob});
        saver.link(bob, u"friends"_s, {jane});
        saver.link(bob, u"idols"_s, {jane});
        saver.link(jane, u"fans"_s, {bob});
        saver.link(shop, u"friends"_s, {jane});
        for (int i = 0; i < calls; ++i)
            saver.add(u"Call"_s, {{u"cost"_s, i % 2 == 0 ? QVariant(i / 4.0) : QVariant()},
                                  {u"isRead"_s, i % 3 == 0},
                                  {u"payer"_s, i == 5 ? QVariant::fromValue(shop) : QVariant()},
                                  {u"caller"_s, QVariant::fromValue(i % 2 == 0 ? jane : shop)}});
        ASSERT_TRUE(saver.saveAndCommit());
        VXRowSaver wedding(*store);
        wedding.change(jane, {{u"spouse"_s, QVariant::fromValue(bob)}});
        wedding.change(bob, {{u"spouse"_s, QVariant::fromValue(jane)}});
        wedding.remove(gone);
        wedding.remove(draft);
        ASSERT_TRUE(wedding.saveAndCommit());
    }

    void runSQL(const QString &name, const QByteArray &sql) const { VXRunSQL(path(name), sql); }

    static bool goOn(qint64) { return true; }
};

TEST_F(VXStoreRowCopyTest, CopiesValuesAndReferencesUnderTheirNumbers)
{
    writeOld();
    const auto from = open(oldSource, u"old.sqlite"_s);
    const auto to = open(newSource, u"new.sqlite"_s);
    VXStoreRowCopy copy(*from, *to);
    ASSERT_TRUE(copy.obstacle().isNull()) << copy.obstacle().toStdString();
    VXError error;
    QString difference;
    ASSERT_TRUE(copy.perform(goOn, &error)) << error.description().toStdString();
    ASSERT_TRUE(copy.compare(goOn, &difference, &error)) << error.description().toStdString();
    EXPECT_TRUE(difference.isNull()) << difference.toStdString();

    QStringList told;
    for (const VXStoreRowCopy::Entity &entity : copy.entities())
        told.append(u"%1 %2 %3"_s.arg(entity.name).arg(entity.count).arg(entity.dropped.join(u',')).trimmed());
    EXPECT_EQ(told,
              (QStringList{u"Person 2 nick,fans,idols"_s, u"Company 1 paid"_s, u"Call 25000 payer"_s, u"Draft 0"_s}));
    EXPECT_TRUE(to->check().isEmpty()) << to->check().join(u'\n').toStdString();

    const auto coordinator = Coordinator::coordinatorWithModel(VXModelOf(newSource));
    ASSERT_TRUE(coordinator->addPersistentStore(VXStoreType::SQLite, path(u"new.sqlite"_s)));
    VXManagedObjectContext context(coordinator);
    const auto valueOf = [&](const char *filter, const QString &entity, const QString &path) {
        VXFetchRequest request(*coordinator->model().entityForName(entity));
        request.predicate = *VXPredicate::predicateWithFormat(QString::fromLatin1(filter), {});
        const auto found = context.executeFetchRequest(request);
        return found && found->size() == 1 ? VXValueForKeyPath(QVariant::fromValue(found->at(0)), path)
                                           : QVariant(u"none or several"_s);
    };
    EXPECT_EQ(valueOf("name == 'Jane'", u"Person"_s, u"spouse.spouse.age"_s), 33);
    EXPECT_EQ(valueOf("name == 'Jane'", u"Party"_s, u"calls.@count"_s), 12'500);
    EXPECT_EQ(valueOf("name == 'Jane'", u"Party"_s, u"friends.@count"_s), 2);
    EXPECT_EQ(valueOf("calls.@count == 12500 AND name == NULL", u"Company"_s, u"extra.a"_s), 1);
    EXPECT_EQ(valueOf("cost == 0.5", u"Call"_s, u"caller.name"_s), u"Jane"_s);
    const auto defaults = context.countForFetchRequest([&] {
        VXFetchRequest request(*coordinator->model().entityForName(u"Call"_s));
        request.predicate = *VXPredicate::predicateWithFormat(u"duration == 7 AND cost == 1.5"_s, {});
        return request;
    }());
    EXPECT_EQ(defaults, 12'501); // those without a cost, and the one that cost as much
    // The number of the company that is gone is not given again.
    const auto next = to->reserveNumbers(*to->model().entityForName(u"Party"_s), 1, &error);
    EXPECT_GT(next.value_or(0), 4);
    EXPECT_GT(to->reserveNumbers(*to->model().entityForName(u"Draft"_s), 1, &error).value_or(0), 1); // nor of the draft
}

const char *const badValue = "has a value that the new model does not allow";

struct ObstacleRow
{
    const char *title;
    const char *obstacle;
    const char *inOld = nullptr; // SQL
    const char *inNew = nullptr;
    const char *part = nullptr; // of the new model
    const char *replacement = nullptr;
};

void PrintTo(const ObstacleRow &row, std::ostream *out)
{
    *out << row.title;
}

class VXStoreRowCopyObstacleTest : public VXStoreRowCopyTest, public testing::WithParamInterface<ObstacleRow>
{
};

// What only a copy object by object can do, or must report.
TEST_P(VXStoreRowCopyObstacleTest, LeavesThemToACopyObjectByObject)
{
    const ObstacleRow &row = GetParam();
    writeOld(20);
    const QByteArray source =
        row.part == nullptr ? newSource : QByteArray(newSource).replace(row.part, row.replacement);
    open(source, u"new.sqlite"_s);
    if (row.inOld != nullptr)
        runSQL(u"old.sqlite"_s, row.inOld);
    if (row.inNew != nullptr)
        runSQL(u"new.sqlite"_s, row.inNew);
    const auto from = open(oldSource, u"old.sqlite"_s);
    const auto to = open(source, u"new.sqlite"_s);
    VXStoreRowCopy copy(*from, *to);
    EXPECT_THAT(copy.obstacle().toStdString(), testing::HasSubstr(row.obstacle));
    EXPECT_FALSE(copy.perform(goOn, nullptr));
    if (row.obstacle == badValue && row.inOld != nullptr) { // which the copy object by object then reports
        EXPECT_EQ(from->check().size(), 1) << from->check().join(u'\n').toStdString();
    }
}

const ObstacleRow obstacles[] = {
    {"text for a number", badValue, "UPDATE VX_Call SET cost = 'much' WHERE Z_PK = 9"},
    {"broken number", badValue, "UPDATE VX_Party SET \"Person.age\" = 1.5 WHERE Z_PK = 1"},
    {"too large", badValue, "UPDATE VX_Party SET \"Person.age\" = 40000 WHERE Z_PK = 1"},
    {"data for text", badValue, "UPDATE VX_Party SET name = X'00' WHERE Z_PK = 1"},
    {"text for data", badValue, "UPDATE VX_Call SET photo = 'a' WHERE Z_PK = 9"},
    {"neither true nor false", badValue, "UPDATE VX_Call SET isRead = 2 WHERE Z_PK = 9"},
    {"no property list", "roperty list", "UPDATE VX_Party SET \"Company.extra\" = X'0102' WHERE Z_PK = 3"},
    {"object gone", "caller", "UPDATE VX_Call SET caller = 99 WHERE Z_PK = 9"},
    {"member gone", "friends",
     "DELETE FROM VX_Party WHERE Z_PK = 3; UPDATE VX_Call SET caller = NULL WHERE caller = 3"},
    {"one side of a pair", "spouse", "UPDATE VX_Party SET \"Person.spouse\" = NULL WHERE Z_PK = 1"},
    {"entity unknown", "of no object that can be", "UPDATE VX_Call SET Z_ENT = 77 WHERE Z_PK = 9"},
    {"objects are there", "not empty", nullptr, "INSERT INTO VX_Note (Z_PK, Z_ENT, Z_OPT) VALUES (1, 1, 1)"},
    {"numbers are given", "not empty", nullptr, "INSERT INTO Z_PRIMARYKEY VALUES ('Party', 8)"},
    {"no such entity", "no objects of \"Company\"", nullptr, nullptr, "entity Company:", "entity Firm:"},
    {"abstract now", "no objects of \"Company\"", nullptr, nullptr, "entity Company:", "abstract entity Company:"},
    {"another type", "\"age\"", nullptr, nullptr, "age: integer16", "age: integer64"},
    {"required now", badValue, nullptr, nullptr, "attribute name: string optional", "attribute name: string"},
    {"required and new", badValue, nullptr, nullptr, "attribute duration: integer32 = 7",
     "attribute duration: integer32"},
    {"of no family any more", "\"Company\" inherits from others", nullptr, nullptr, "entity Company: Party {",
     "entity Company {"},
    {"of another family", "\"Person\" inherits from others", nullptr, nullptr, "entity Person: Party {",
     "entity Person: Note {"},
    {"with one more between", "\"Company\" inherits from others", nullptr, nullptr, "entity Company: Party {",
     "entity Firm: Party {} entity Company: Firm {"},
    {"not stored any more", "\"name\"", nullptr, nullptr, "string optional;\n    relationship friends",
     "string optional transient;\n    relationship friends"},
};

INSTANTIATE_TEST_SUITE_P(All, VXStoreRowCopyObstacleTest, testing::ValuesIn(obstacles));

// Defaults of optional attributes, and more conditions than SQLite takes in one chain.
TEST_F(VXStoreRowCopyTest, ModelsMayGainDefaultsAndVeryManyAttributes)
{
    QByteArray attributes = "attribute name: string optional; attribute rank: integer32 optional = 5;";
    for (int number = 0; number < 1100; ++number)
        attributes += " attribute a" + QByteArray::number(number) + ": string optional;";
    {
        const auto old = open("entity Item { attribute name: string optional; }", u"old.sqlite"_s);
        VXRowSaver saver(*old);
        saver.add(u"Item"_s, {{u"name"_s, u"Jane"_s}});
        ASSERT_TRUE(saver.saveAndCommit());
    }
    const auto from = open("entity Item { attribute name: string optional; }", u"old.sqlite"_s);
    const auto to = open("entity Item { " + attributes + " }", u"new.sqlite"_s);
    VXStoreRowCopy copy(*from, *to);
    ASSERT_TRUE(copy.obstacle().isNull()) << copy.obstacle().toStdString();
    VXError error;
    QString difference;
    EXPECT_TRUE(copy.perform(goOn, &error) && copy.compare(goOn, &difference, &error))
        << error.description().toStdString();
    EXPECT_TRUE(difference.isNull()) << difference.toStdString();
}

TEST_F(VXStoreRowCopyTest, TablesThatAreAlikeAreCopiedAsTheyLie)
{
    writeOld();
    const auto from = open(oldSource, u"old.sqlite"_s);
    const auto to = open(oldSource, u"new.sqlite"_s);
    VXStoreRowCopy copy(*from, *to);
    ASSERT_TRUE(copy.obstacle().isNull()) << copy.obstacle().toStdString();
    VXError error;
    EXPECT_FALSE(copy.perform([](qint64) { return false; }, &error)); // in the midst of a table
    EXPECT_FALSE(error) << error.description().toStdString();
    const VXFetchRequest all(*to->model().entityForName(u"Call"_s));
    EXPECT_EQ(to->count(all, &error), 0);
    QList<qint64> done;
    const auto note = [&](qint64 rows) {
        done.append(rows);
        return true;
    };
    ASSERT_TRUE(copy.perform(note, &error)) << error.description().toStdString();
    EXPECT_EQ(done.first(), 3) << "of the family of parties";
    EXPECT_EQ(std::accumulate(done.cbegin(), done.cend(), qint64()), copy.rowCount());
    QString difference;
    EXPECT_TRUE(copy.compare(goOn, &difference, &error));
    EXPECT_TRUE(difference.isNull()) << difference.toStdString();
    EXPECT_TRUE(to->check().isEmpty()) << to->check().join(u'\n').toStdString();
    EXPECT_EQ(to->count(all, &error), 25'000);
    const VXManagedObjectID jane(*to->model().entityForName(u"Person"_s), to->identity(), 1);
    const VXStoreRow::Ptr row = to->row(jane, &error);
    ASSERT_TRUE(row) << error.description().toStdString();
    EXPECT_EQ(row->version(), 2);
}

TEST_F(VXStoreRowCopyTest, ComparingFindsWhatDiffers)
{
    writeOld();
    const auto from = open(oldSource, u"old.sqlite"_s);
    const auto to = open(newSource, u"new.sqlite"_s);
    VXStoreRowCopy copy(*from, *to);
    ASSERT_TRUE(copy.obstacle().isNull());
    VXError error;
    ASSERT_TRUE(copy.perform(goOn, &error));
    const std::pair<const char *, const char *> changes[] = {
        {"UPDATE VX_Call SET cost = 7 WHERE Z_PK = 24000", "Call 24000"},
        {"UPDATE VX_Party SET \"Person.spouse\" = NULL WHERE Z_PK = 2", "Person 2"},
        {"DELETE FROM VX_Call WHERE Z_PK = 20001", "Call 20001"},
        {"INSERT INTO VX_Call (Z_PK, Z_ENT, Z_OPT) SELECT 30000, Z_ENT, 1 FROM VX_Call WHERE Z_PK = 1",
         "Call: 25001 objects of 25000"},
        {"DELETE FROM \"VX_Party.friends\" WHERE Z_SOURCE = 1 AND Z_TARGET = 2", "Party.friends"},
        {"INSERT INTO \"VX_Party.friends\" VALUES (2, 2)", "Party.friends"},
        {"UPDATE \"VX_Party.friends\" SET Z_TARGET = 2 WHERE Z_SOURCE = 3", "Party.friends"},
    };
    for (const auto &[sql, expected] : changes) {
        runSQL(u"new.sqlite"_s,
               "CREATE TABLE IF NOT EXISTS c AS SELECT * FROM VX_Call; CREATE TABLE IF NOT EXISTS p AS "
               "SELECT * FROM VX_Party; CREATE TABLE IF NOT EXISTS f AS SELECT * FROM \"VX_Party.friends\"");
        runSQL(u"new.sqlite"_s, sql);
        QString difference;
        EXPECT_TRUE(copy.compare(goOn, &difference, &error)) << error.description().toStdString();
        EXPECT_EQ(difference.toStdString(), expected);
        runSQL(u"new.sqlite"_s,
               "DELETE FROM VX_Call; INSERT INTO VX_Call SELECT * FROM c; DELETE FROM VX_Party; INSERT INTO "
               "VX_Party SELECT * FROM p; DELETE FROM \"VX_Party.friends\"; INSERT INTO \"VX_Party.friends\" "
               "SELECT * FROM f");
    }
    // The same pairs in both, and nothing there that they lead to.
    runSQL(u"old.sqlite"_s, "UPDATE \"VX_Party.friends\" SET Z_TARGET = 99 WHERE Z_SOURCE = 3");
    runSQL(u"new.sqlite"_s, "UPDATE \"VX_Party.friends\" SET Z_TARGET = 99 WHERE Z_SOURCE = 3");
    QString difference;
    EXPECT_TRUE(copy.compare(goOn, &difference, &error)) << error.description().toStdString();
    EXPECT_THAT(difference.toStdString(), testing::HasSubstr("/Party/p99, which is not there"));
}

TEST_F(VXStoreRowCopyTest, WhatIsEndedLeavesNothing)
{
    writeOld();
    const auto from = open(oldSource, u"old.sqlite"_s);
    const auto to = open(newSource, u"new.sqlite"_s);
    VXStoreRowCopy copy(*from, *to);
    ASSERT_TRUE(copy.obstacle().isNull());
    VXError error;
    qint64 done = 0;
    EXPECT_FALSE(copy.perform(
        [&](qint64 rows) {
            done += rows;
            return done < 20'000;
        },
        &error));
    EXPECT_FALSE(error);
    EXPECT_GE(done, 20'000);
    const VXFetchRequest all(*to->model().entityForName(u"Party"_s));
    EXPECT_EQ(to->count(all, &error), 0);
    EXPECT_TRUE(copy.perform(goOn, &error)); // another time it may be whole
    EXPECT_EQ(to->count(all, &error), 3);
}

// Everybody is everybody's friend: more pairs than one piece has.
TEST_F(VXStoreRowCopyTest, PairsAreCopiedInPiecesThatCanBeEnded)
{
    constexpr qint64 count = 200;
    writeOld(0);
    runSQL(
        u"old.sqlite"_s,
        "DELETE FROM \"VX_Party.friends\"; DELETE FROM \"VX_Party.fans\"; DELETE FROM VX_Party;"
        "WITH n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 200) INSERT INTO VX_Party (Z_PK, Z_ENT, Z_OPT)"
        " SELECT i, (SELECT Z_ENT FROM Z_ENTITY WHERE Z_NAME = 'Person'), 1 FROM n;"
        "INSERT INTO \"VX_Party.friends\" SELECT a.Z_PK, b.Z_PK FROM VX_Party a, VX_Party b");
    const auto from = open(oldSource, u"old.sqlite"_s);
    const auto to = open(newSource, u"new.sqlite"_s);
    VXStoreRowCopy copy(*from, *to);
    EXPECT_THAT(copy.obstacle([](qint64) { return false; }).toStdString(), testing::HasSubstr("to end"));
    ASSERT_TRUE(copy.obstacle().isNull()) << copy.obstacle().toStdString();
    EXPECT_EQ(copy.rowCount(), count + count * count);
    for (const qint64 end : {count + 1, count * count, count + count * count + 1}) {
        VXError error;
        qint64 done = 0;
        const auto goesOn = [&](qint64 rows) { return (done += rows) < end; };
        EXPECT_EQ(copy.perform(goesOn, &error), end > copy.rowCount()) << end;
        EXPECT_FALSE(error);
        EXPECT_GE(done, std::min(end, copy.rowCount()));
    }
    VXError error;
    QString difference;
    EXPECT_TRUE(copy.compare(goOn, &difference, &error));
    EXPECT_TRUE(difference.isNull()) << difference.toStdString();
    EXPECT_TRUE(to->check().isEmpty());
}
