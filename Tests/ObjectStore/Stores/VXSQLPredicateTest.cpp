#include "VXRandomStore.h"
#include "VXRowSaver.h"
#include "VXSQLiteStore.h"
#include "VXTesting.h"

#include <QtCore/QDateTime>
#include <QtCore/QUrl>

#include <limits>

using namespace Qt::StringLiterals;

class VXSQLPredicateTest : public VXHomeTest
{
protected:
    VXSQLPredicateTest() : sql(VXStoreType::SQLite, path(u"a.sqlite"_s)), memory(VXStoreType::InMemory, {})
    {
        sql.fill(1);
        memory.fill(1);
    }

    /** Objects as "Entity number". */
    static QStringList found(const VXRandomStore &twin, const VXFetchRequest &request, bool *isExact)
    {
        QStringList objects;
        VXError error;
        for (const VXFetchedRow &row : VXFetchRows(*twin.store, request, &error, isExact))
            objects.append(row.objectID.entity().name() + u' ' + QString::number(row.objectID.number()));
        EXPECT_FALSE(error) << error.description().toStdString();
        return objects;
    }

    static VXFetchRequest request(const VXRandomStore &twin, const QString &entity, const VXPredicate &predicate = {})
    {
        VXFetchRequest made(*twin.store->model().entityForName(entity));
        made.predicate = predicate;
        return made;
    }

    VXFetchRequest request(const QString &entity, const QString &format, const QVariantList &arguments = {}) const
    {
        VXError error;
        const auto predicate = VXPredicate::predicateWithFormat(format, arguments, &error);
        EXPECT_TRUE(predicate) << error.description().toStdString();
        return request(sql, entity, predicate.value_or(VXPredicate()));
    }

    bool isExact(const VXFetchRequest &fetch) const
    {
        bool exact = false;
        found(sql, fetch, &exact);
        return exact;
    }

    VXRandomStore sql;
    VXRandomStore memory;
};

// Whatever SQL decides, evaluation in memory decides the same; what it leaves to others it lets through.
TEST_F(VXSQLPredicateTest, AgreesWithEvaluationInMemory)
{
    int exactCount = 0;
    int matchCount = 0;
    constexpr int roundCount = 3000;
    for (quint32 seed = 0; seed < roundCount; ++seed) {
        const QString entity = QStringList{u"Call"_s, u"Person"_s, u"Party"_s}[qsizetype(seed) % 3];
        const VXPredicate predicate = sql.predicate(seed, entity);
        bool inSQL = false;
        bool inMemory = false;
        QStringList actual = found(sql, request(sql, entity, predicate), &inSQL);
        QStringList expected = found(memory, request(memory, entity, memory.predicate(seed, entity)), &inMemory);
        ASSERT_TRUE(inMemory);
        actual.sort();
        expected.sort();
        matchCount += expected.isEmpty() ? 0 : 1;
        exactCount += inSQL ? 1 : 0;
        if (inSQL) {
            VXError error;
            ASSERT_EQ(actual, expected) << seed << ' ' << predicate.predicateFormat().toStdString();
            EXPECT_EQ(sql.store->count(request(sql, entity, predicate), &error), expected.size());
        } else {
            for (const QString &object : std::as_const(expected))
                ASSERT_TRUE(actual.contains(object)) << seed << ' ' << predicate.predicateFormat().toStdString();
        }
    }
    EXPECT_GT(exactCount, roundCount / 3); // else this says nothing
    EXPECT_GT(matchCount, roundCount / 4);
}

TEST_F(VXSQLPredicateTest, SaysInSQLWhatPredicatesMostlyAsk)
{
    const QVariant call = QVariant::fromValue(sql.objectID(u"Call"_s, 1));
    const QVariantList manyCalls(1000, call);
    const std::tuple<QString, QString, QVariantList> cases[] = {
        {u"Call"_s, u"number CONTAINS[cd] 'zoe' AND index > 3 OR NOT caller.name LIKE[c] 'z*'"_s, {}},
        {u"Call"_s, u"caller == nil OR caller.name == nil OR caller.calls.@count > 2"_s, {}},
        {u"Call"_s, u"SELF == %@ OR SELF IN %@ OR next == %@"_s, {call, QVariant(manyCalls), call}},
        {u"Call"_s,
         u"date BETWEEN %@ AND photo == %@"_s,
         {QVariant(QVariantList{VXRandomValues::dates[1], VXRandomValues::dates[2]}), VXRandomValues::data[2]}},
        {u"Call"_s, u"caller.name == next.caller.name AND cost < rate"_s, {}},
        {u"Person"_s, u"ANY calls.number MATCHES 'z.*' AND NONE friends.groups.name == 'x'"_s, {}},
        {u"Person"_s, u"ALL calls.cost > 1 AND calls CONTAINS %@ AND groups.@count == 0"_s, {call}},
        {u"Person"_s, u"SELF IN friends OR %@ IN groups"_s, {QVariant::fromValue(sql.objectID(u"Group"_s, 1))}},
    };
    for (const auto &[entity, format, arguments] : cases)
        EXPECT_TRUE(isExact(request(entity, format, arguments))) << format.toStdString();
}

TEST_F(VXSQLPredicateTest, LeavesToOthersWhatSQLCannotSay)
{
    for (const QString &format :
         {u"mood == 'x'"_s, u"computed == 1"_s, u"extra == 'x'"_s, u"extra.a == 1"_s,
          u"caller.calls == caller.groups"_s, u"caller.age == 1"_s, u"NOT (index == 1 AND mood == 'x')"_s,
          u"next.next.next.next.next.next.next.next.next"
          ".index == 1"_s})
        EXPECT_FALSE(isExact(request(u"Call"_s, format))) << format.toStdString();
    // An object that is no ID, and more values than a statement takes.
    EXPECT_FALSE(isExact(request(u"Call"_s, u"caller == %@"_s, {QUrl(u"x:y"_s)})));
    EXPECT_FALSE(isExact(request(u"Call"_s, u"cost IN %@"_s, {QVariant(QVariantList(50000, 0.5))})));
    // The conditions that it can say narrow the rows down.
    bool exact = true;
    const QStringList few = found(
        sql, request(u"Call"_s, u"mood == 'x' AND SELF == %@"_s, {QVariant::fromValue(sql.objectID(u"Call"_s, 7))}),
        &exact);
    EXPECT_EQ(few, QStringList{u"Call 7"_s});
    EXPECT_FALSE(exact);
}

// Nesting and length are bounded by the predicate, not by SQLite's parser.
TEST_F(VXSQLPredicateTest, TakesPredicatesOfAnyDepthAndLength)
{
    VXPredicate deep = request(u"Call"_s, u"ALL next.next.caller.groups.name ==[c] number"_s).predicate;
    const VXPredicate leaf = request(u"Call"_s, u"index > 1"_s).predicate;
    for (int depth = 0; depth < 30; ++depth) {
        deep = VXPredicate::negationOf(VXPredicate::anyOf({deep, leaf}));
        bool inSQL = false;
        bool inMemory = false;
        const QStringList expected = found(memory, request(memory, u"Call"_s, deep), &inMemory);
        const QStringList actual = found(sql, request(sql, u"Call"_s, deep), &inSQL);
        EXPECT_EQ(actual.size(), inSQL ? expected.size() : VXRandomStore::callCount) << depth;
    }
    QList<VXPredicate> parts;
    QVariantList values;
    for (int index = 0; index < 5000; ++index) {
        parts.append(request(u"Call"_s, u"index == %@"_s, {index}).predicate);
        values.append(index);
    }
    bool exact = false;
    const QStringList objects = found(sql, request(sql, u"Call"_s, VXPredicate::anyOf(parts)), &exact);
    EXPECT_TRUE(exact);
    EXPECT_FALSE(objects.isEmpty());
    EXPECT_EQ(objects, found(sql, request(u"Call"_s, u"index IN %@"_s, {QVariant(values)}), &exact));
    EXPECT_TRUE(exact);
    for (const QString &format : {u"number == %@"_s, u"number ==[cd] %@"_s, u"caller.name == %@"_s, u"cost > %@"_s}) {
        const bool isPlain = format == "number == %@"_L1; // and can be written as one list
        QList<VXPredicate> many;
        for (int index = 0; index < 3000; ++index) {
            QVariant value = index < VXRandomValues::texts.size() ? VXRandomValues::texts.at(index)
                                                                  : QVariant(u"text %1"_s.arg(index));
            const QString text = value.toString();
            if (isPlain && (text.contains(QChar(0)) || text.contains(QChar(0xFFFE)) || text.contains(QChar(0xFFFF)) ||
                            !text.isValidUtf16()))
                continue;
            if (format.startsWith("cost"_L1))
                value = index;
            many.append(request(u"Call"_s, format, {value}).predicate);
        }
        bool inMemory = false;
        const VXPredicate any = VXPredicate::anyOf(many);
        const QStringList expected = found(memory, request(memory, u"Call"_s, any), &inMemory);
        const QStringList actual = found(sql, request(sql, u"Call"_s, any), &exact);
        EXPECT_TRUE(!exact || actual == expected) << format.toStdString();
        EXPECT_TRUE(exact || !isPlain);
        EXPECT_FALSE(expected.isEmpty()) << format.toStdString();
    }
}

TEST_F(VXSQLPredicateTest, SortsAndCutsAsInMemory)
{
    const QList<QList<VXSortDescriptor>> orders{
        {},
        {{u"number"_s}},
        {{u"number"_s, false, VXTextOption::CaseInsensitive | VXTextOption::DiacriticInsensitive}, {u"index"_s}},
        {{u"caller.name"_s}, {u"cost"_s, false}},
        {{u"cost"_s}, {u"date"_s, false}},
        {{u"photo"_s, false}, {u"answered"_s}},
        {{u"caller.calls.@count"_s, false}},
    };
    for (const QList<VXSortDescriptor> &order : orders) {
        for (const auto &[limit, offset] : {std::pair(0, 0), {7, 0}, {0, 50}, {5, 3}, {5, 1000}}) {
            VXFetchRequest requests[] = {request(sql, u"Call"_s), request(memory, u"Call"_s)};
            for (VXFetchRequest &each : requests) {
                each.sortDescriptors = order;
                each.limit = limit;
                each.offset = offset;
            }
            bool isInSQL = false;
            bool isInMemory = false;
            EXPECT_EQ(found(sql, requests[0], &isInSQL), found(memory, requests[1], &isInMemory))
                << (order.isEmpty() ? "" : order.constFirst().key.toStdString()) << limit << offset;
            EXPECT_TRUE(isInSQL);
            VXError error;
            EXPECT_EQ(sql.store->count(requests[0], &error), memory.store->count(requests[1], &error));
        }
    }
    VXFetchRequest unsayable = request(u"Call"_s, u"index > -100"_s); // which an index has in another order
    VXFetchRequest twin = request(memory, u"Call"_s, unsayable.predicate);
    unsayable.sortDescriptors = twin.sortDescriptors = {{u"mood"_s}};
    unsayable.limit = twin.limit = 1;
    bool exact = true;
    EXPECT_EQ(found(sql, unsayable, &exact), found(memory, twin, &exact)) << "by number, before others sort them";
    EXPECT_FALSE(exact);
}

TEST_F(VXSQLPredicateTest, AKeyPathIsOneStatementThatGivesOnlyWhatMatches)
{
    const auto &store = static_cast<const VXSQLiteStore &>(*sql.store);
    const VXFetchRequest fetch = request(u"Call"_s, u"caller.name CONTAINS[cd] %@"_s, {u"ZOE"_s});
    bool exact = false;
    found(sql, fetch, &exact); // makes the connection
    const qint64 before = store.executedStatementCount();
    const qsizetype rowCount = found(sql, fetch, &exact).size();
    EXPECT_EQ(store.executedStatementCount() - before, 1);
    EXPECT_TRUE(exact);
    EXPECT_GT(rowCount, 0);
    EXPECT_LT(rowCount, VXRandomStore::callCount / 2);
}

// The SQL of an earlier fetch of the same shape serves again; what it was asked for then must not show.
TEST_F(VXSQLPredicateTest, EachFetchHasItsOwnConstants)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    QVariantList constants{1, qlonglong(1), 2, 1.0, 2.5, std::numeric_limits<double>::quiet_NaN(),
                           2, QVariant(),   1, true};
    constants.append({infinity, -infinity, -0.0, 9007199254740992.0});
    constants.append({u"1"_s, u""_s, u"x"_s, u"1"_s});
    constants.append({QByteArray(), QByteArray("1"), QString()});
    constants.append({QDateTime::fromMSecsSinceEpoch(1, Qt::UTC), QDateTime::fromMSecsSinceEpoch(1'000, Qt::UTC), 1});
    const QStringList keys{u"index"_s, u"cost"_s, u"number"_s, u"answered"_s, u"date"_s, u"photo"_s};
    int matches = 0;
    for (const char *const comparison : {"==", "!=", "<", ">", ">="}) {
        for (const QString &key : keys) {
            for (const QVariant &constant : constants) {
                const QString format = key + u' ' + QString::fromLatin1(comparison) + u" %@"_s;
                const VXFetchRequest wanted = request(u"Call"_s, format, {constant});
                VXFetchRequest twin(*memory.store->model().entityForName(u"Call"_s));
                twin.predicate = wanted.predicate;
                bool isInSQL = false;
                bool isInMemory = false;
                QStringList actual = found(sql, wanted, &isInSQL);
                QStringList expected = found(memory, twin, &isInMemory);
                actual.sort();
                expected.sort();
                matches += expected.isEmpty() ? 0 : 1;
                if (!isInSQL)
                    continue;
                ASSERT_EQ(actual, expected) << format.toStdString() << ' ' << constant.toString().toStdString();
            }
        }
    }
    EXPECT_GT(matches, 50);
    // Objects, of either family of what the relationship leads to.
    for (const QString &entity : {u"Person"_s, u"Company"_s, u"Person"_s}) {
        VXError error;
        for (const VXFetchedRow &party : VXFetchRows(*sql.store, request(sql, entity), &error)) {
            const VXFetchRequest wanted = request(u"Call"_s, u"caller == %@"_s, {QVariant::fromValue(party.objectID)});
            const int caller = wanted.entity().propertyForName(u"caller"_s)->index();
            for (const VXFetchedRow &row : VXFetchRows(*sql.store, wanted, &error))
                ASSERT_EQ(*row.row->target(caller), party.objectID);
        }
    }
}

// Those close together are read as a range, which may have others between; in each order, and with some that are gone.
TEST_F(VXSQLPredicateTest, ManyObjectsAreReadAndNoOthers)
{
    VXError error;
    QList<VXManagedObjectID> all;
    for (const VXFetchedRow &row : VXFetchRows(*sql.store, request(sql, u"Call"_s), &error))
        all.append(row.objectID);
    const VXManagedObjectID gone(all.front().entity(), sql.store->identity(), 1'000'000);
    const VXRelationshipDescription &previous = *all.front().entity().relationshipForName(u"previous"_s);
    for (const qsizetype step : {1, 2, 3, 7}) {
        QList<VXManagedObjectID> asked{gone};
        for (qsizetype at = all.size() - 1; at >= 0; at -= step)
            asked.append(all[at]);
        QSet<VXManagedObjectID> wanted(asked.cbegin() + 1, asked.cend());
        const qsizetype count = wanted.size();
        for (const bool withGone : {true, false}) {
            QSet<VXManagedObjectID> read;
            const auto note = [&](const VXFetchedRow &row) {
                EXPECT_EQ(row.row->propertyCount(), all.front().entity().properties().size());
                EXPECT_FALSE(read.contains(row.objectID));
                read.insert(row.objectID);
            };
            ASSERT_TRUE(sql.store->rows(withGone ? asked : asked.mid(1), note, &error));
            EXPECT_EQ(read.size(), count);
            EXPECT_EQ(read, wanted);
            QSet<std::pair<VXManagedObjectID, VXManagedObjectID>> links;
            QSet<std::pair<VXManagedObjectID, VXManagedObjectID>> expected;
            ASSERT_TRUE(sql.store->related(
                withGone ? asked : asked.mid(1), previous,
                [&](const auto &source, const auto &target) {
                    links.insert({source, target});
                },
                &error));
            for (const VXFetchedRow &row : VXFetchRows(*sql.store, request(sql, u"Call"_s), &error)) {
                const VXManagedObjectID *const next = row.row->target(previous.inverse()->index());
                if (next != nullptr && wanted.contains(*next))
                    expected.insert({*next, row.objectID});
            }
            EXPECT_FALSE(expected.isEmpty());
            EXPECT_EQ(links, expected);
        }
    }
}
