#include "VXPersistentStoreCoordinator.h"
#include "VXRowSaver.h"
#include "VXSQLiteStore.h"
#include "VXTesting.h"

#include <QtCore/QDateTime>
#include <QtCore/QUrl>

#include <limits>
#include <random>

using namespace Qt::StringLiterals;

namespace {

using Operator = VXPredicate::Operator;
using Modifier = VXPredicate::Modifier;

const QByteArray phoneSource = R"(
abstract entity Party {
    attribute name: string optional indexed;
    relationship calls: Call[] optional inverse caller;
    relationship groups: Group[] optional inverse members;
    relationship friends: Party[] optional inverse friends;
}
entity Person: Party {
    attribute age: integer32 optional;
    attribute weight: double optional;
    relationship boss: Person optional inverse staff;
    relationship staff: Person[] optional inverse boss;
}
entity Company: Party { attribute age: string optional; }
entity Call {
    attribute number: string optional;
    attribute index: integer64 optional indexed;
    attribute cost: double optional;
    attribute rate: double optional;
    attribute answered: boolean optional;
    attribute date: date optional;
    attribute photo: binary optional;
    attribute extra: property-list optional;
    attribute mood: string optional transient;
    relationship caller: Party optional inverse calls;
    relationship next: Call optional inverse previous;
    relationship previous: Call[] optional inverse next;
}
entity Group {
    attribute name: string optional;
    relationship members: Party[] optional inverse groups;
}
)";

// Values that are likely to be equal, to contain each other, and to upset whatever takes them apart.
const QVariantList texts{
    QVariant(),
    u""_s,
    u"zoe"_s,
    u"Zoë"_s,
    u"ZOE\u0308"_s,
    u"o"_s,
    u"stra\u00dfe"_s,
    u"STRASSE"_s,
    u"' OR 1=1 --"_s,
    u"\"); DROP TABLE \"VX_Call\"; --"_s,
    u"%_?*\\"_s,
    u"Z*"_s,
    u"z?e"_s,
    u"("_s,
    u"[zZ]o.*"_s,
    QString(u"zo\0e"_s),
    QString(QChar(0xD800)) + u"x"_s,
    QString(QChar(0xFEFF)) + u"zoe"_s,
    QString(QChar(0xFFFE)) + u"zoe"_s,
    u"\U0001F600"_s,
    u"\uFFFF"_s,
    u"1"_s,
};
const QVariantList numbers{
    QVariant(),
    0,
    1,
    -1,
    true,
    0.5,
    -0.0,
    1.0,
    3,
    41,
    9007199254740993LL,
    9007199254740992.0,
    std::numeric_limits<qlonglong>::max(),
    std::numeric_limits<qlonglong>::min(),
    0x1p63,
    std::numeric_limits<double>::infinity(),
    -std::numeric_limits<double>::infinity(),
    std::numeric_limits<double>::quiet_NaN(),
    std::numeric_limits<qulonglong>::max(),
};

QVariant dateAt(qint64 milliseconds)
{
    return QDateTime::fromMSecsSinceEpoch(milliseconds, Qt::UTC);
}

const QVariantList dates{QVariant(), dateAt(0), dateAt(1), dateAt(-62135596800001), dateAt(1767323045678)};
const QVariantList data{QVariant(), QByteArray(""), QByteArray("\0", 1), QByteArray("\1\2"), QByteArray("\xff")};

/** The same objects in an SQLite store and in one in memory, with the same numbers. */
struct Twin
{
    explicit Twin(VXStoreType type, const QString &path)
        : coordinator(VXPersistentStoreCoordinator::coordinatorWithModel(VXModelOf(phoneSource))),
          store(coordinator->addPersistentStore(type, path))
    {
    }

    VXManagedObjectID objectID(const QString &entity, qint64 number) const
    {
        return {*store->model().entityForName(entity), store->identity(), number};
    }

    const VXPersistentStoreCoordinator::Ptr coordinator;
    const VXPersistentStoreCoordinator::StorePtr store;
};

class Dice
{
public:
    explicit Dice(quint32 seed) : _engine(seed) {}
    int below(qsizetype count) { return int(_engine() % quint32(count)); }
    bool oneIn(int count) { return below(count) == 0; }
    template <class T>
    const T &of(const QList<T> &list)
    {
        return list[below(list.size())];
    }

private:
    std::mt19937 _engine; // the same on every platform
};

constexpr int partyCount = 25;
constexpr int callCount = 60;
constexpr int groupCount = 5;

void fill(VXPersistentStore &store, quint32 seed)
{
    Dice dice(seed);
    VXRowSaver saver(store);
    QList<VXManagedObjectID> parties;
    QList<VXManagedObjectID> people;
    QList<VXManagedObjectID> calls;
    const auto reference = [&](const QList<VXManagedObjectID> &objects) {
        return objects.isEmpty() || dice.oneIn(4) ? QVariant() : QVariant::fromValue(dice.of(objects));
    };
    for (int count = 0; count < partyCount; ++count) {
        const QVariant name = dice.of(texts);
        if (dice.oneIn(4)) {
            parties.append(saver.add(u"Company"_s, {{u"name"_s, name}, {u"age"_s, dice.of(texts)}}));
            continue;
        }
        const QVariant weight = dice.of(numbers);
        const QVariantMap values{{u"name"_s, name},
                                 {u"age"_s, dice.oneIn(4) ? QVariant() : dice.below(50)},
                                 {u"weight"_s, *VXAttributeValue(VXAttributeType::Double, weight.toDouble())},
                                 {u"boss"_s, reference(people)}};
        parties.append(saver.add(u"Person"_s, values));
        people.append(parties.constLast());
    }
    for (int count = 0; count < callCount; ++count) {
        const QVariant cost = dice.of(numbers);
        const QVariant index = dice.of(numbers);
        calls.append(saver.add(u"Call"_s,
                               {{u"number"_s, dice.of(texts)},
                                {u"index"_s, VXAttributeValue(VXAttributeType::Integer64, index).value_or(QVariant())},
                                {u"cost"_s, cost.isValid() ? QVariant(cost.toDouble()) : cost},
                                {u"rate"_s, dice.of(numbers).toDouble()},
                                {u"answered"_s, dice.oneIn(3) ? QVariant() : QVariant(dice.oneIn(2))},
                                {u"date"_s, dice.of(dates)},
                                {u"photo"_s, dice.of(data)},
                                {u"extra"_s, dice.oneIn(2) ? QVariant() : QVariant(QVariantMap{{u"a"_s, 1LL}})},
                                {u"caller"_s, reference(parties)},
                                {u"next"_s, reference(calls)}}));
    }
    for (int count = 0; count < groupCount; ++count) {
        const VXManagedObjectID group = saver.add(u"Group"_s, {{u"name"_s, dice.of(texts)}});
        QSet<VXManagedObjectID> members;
        for (int member = 0; member < 6 && count > 0; ++member)
            members.insert(dice.of(parties));
        saver.link(group, u"members"_s, members.values());
    }
    for (int count = 0; count < 20; ++count)
        saver.link(dice.of(parties), u"friends"_s, {dice.of(parties)});
    ASSERT_TRUE(saver.saveAndCommit()) << saver.error.description().toStdString();
}

/** Predicates by chance: the same ones for two stores, but for the object IDs in them. */
class PredicateMaker
{
public:
    PredicateMaker(quint32 seed, const Twin &twin) : _dice(seed), _twin(twin) {}

    VXPredicate make(const QString &entity, int depth = 0)
    {
        const int kind = depth > 3 ? 9 : _dice.below(10);
        if (kind >= 4)
            return comparison(entity);
        if (kind == 0)
            return VXPredicate::negationOf(make(entity, depth + 1));
        QList<VXPredicate> parts;
        for (int count = 2 + _dice.below(2); count > 0; --count)
            parts.append(make(entity, depth + 1));
        return kind == 1 ? VXPredicate::anyOf(parts) : VXPredicate::allOf(parts);
    }

private:
    VXExpression path(const QString &entity)
    {
        static const QStringList callPaths{u"number"_s,
                                           u"index"_s,
                                           u"cost"_s,
                                           u"rate"_s,
                                           u"answered"_s,
                                           u"date"_s,
                                           u"photo"_s,
                                           u"extra"_s,
                                           u"caller"_s,
                                           u"caller.name"_s,
                                           u"next.number"_s,
                                           u"next.next.index"_s,
                                           u"next.caller"_s,
                                           u"next.next.cost"_s,
                                           u"caller.groups"_s,
                                           u"caller.calls.@count"_s,
                                           u"SELF"_s,
                                           u"caller.name"_s,
                                           u"next"_s,
                                           u"caller.groups.name"_s,
                                           u"caller.calls.index"_s};
        static const QStringList personPaths{u"name"_s,
                                             u"age"_s,
                                             u"weight"_s,
                                             u"boss"_s,
                                             u"boss.name"_s,
                                             u"calls.number"_s,
                                             u"calls.index"_s,
                                             u"calls.cost"_s,
                                             u"calls"_s,
                                             u"calls.@count"_s,
                                             u"groups"_s,
                                             u"groups.name"_s,
                                             u"friends"_s,
                                             u"friends.name"_s,
                                             u"groups.@count"_s,
                                             u"staff.age"_s,
                                             u"boss.boss"_s,
                                             u"SELF"_s,
                                             u"boss.staff.@count"_s,
                                             u"groups.members.name"_s,
                                             u"calls.date"_s,
                                             u"boss.weight"_s,
                                             u"staff"_s,
                                             u"calls.next.number"_s,
                                             u"friends.friends"_s};
        static const QStringList partyPaths{u"name"_s, u"calls.number"_s, u"calls.caller"_s, u"friends.groups.name"_s,
                                            u"groups.@count"_s};
        return VXExpression::keyPath(_dice.of(entity == u"Call"_s    ? callPaths
                                              : entity == u"Party"_s ? partyPaths
                                                                     : personPaths));
    }

    QVariant value()
    {
        switch (_dice.below(8)) {
        case 0:
        case 1:
        case 2:
            return _dice.of(texts);
        case 3:
        case 4:
            return _dice.of(numbers);
        case 5:
            return _dice.of(dates);
        case 6:
            return _dice.of(data);
        default:
            return _dice.oneIn(2) ? QVariant::fromValue(_twin.objectID(u"Call"_s, 1 + _dice.below(callCount + 1)))
                                  : QVariant::fromValue(_twin.objectID(u"Person"_s, 1 + _dice.below(partyCount + 1)));
        }
    }

    VXExpression side(const QString &entity)
    {
        if (_dice.oneIn(4))
            return path(entity);
        if (_dice.oneIn(4))
            return list(entity);
        return VXExpression::constant(value());
    }

    VXExpression list(const QString &entity)
    {
        QList<VXExpression> elements;
        QVariantList values;
        for (int count = _dice.oneIn(6) ? 40 : _dice.below(4); count > 0; --count) {
            values.append(value());
            elements.append(_dice.oneIn(8) ? path(entity) : VXExpression::constant(values.constLast()));
        }
        return _dice.oneIn(2) ? VXExpression::constant(values) : VXExpression::aggregate(elements);
    }

    VXPredicate comparison(const QString &entity)
    {
        const auto operation = Operator(_dice.below(int(Operator::Between) + 1));
        const bool takesList = operation == Operator::In || operation == Operator::Between;
        const VXExpression left = _dice.oneIn(6) ? side(entity) : path(entity);
        const VXExpression right = takesList && !_dice.oneIn(4) ? list(entity) : side(entity);
        const auto options = VXTextOptions::fromInt(_dice.oneIn(2) ? 0U : unsigned(_dice.below(4)));
        const auto modifier = _dice.oneIn(2) ? Modifier::Direct : Modifier(_dice.below(4));
        return VXPredicate::comparison(left, operation, right, options, modifier);
    }

    Dice _dice;
    const Twin &_twin;
};

} // namespace

class VXSQLPredicateTest : public VXHomeTest
{
protected:
    VXSQLPredicateTest() : sql(VXStoreType::SQLite, path(u"a.sqlite"_s)), memory(VXStoreType::InMemory, {})
    {
        fill(*sql.store, 1);
        fill(*memory.store, 1);
    }

    /** Objects as "Entity number". */
    static QStringList found(const Twin &twin, const VXFetchRequest &request, bool *isExact)
    {
        QStringList objects;
        VXError error;
        for (const VXFetchedRow &row : VXFetchRows(*twin.store, request, &error, isExact))
            objects.append(row.objectID.entity().name() + u' ' + QString::number(row.objectID.number()));
        EXPECT_FALSE(error) << error.description().toStdString();
        return objects;
    }

    static VXFetchRequest request(const Twin &twin, const QString &entity, const VXPredicate &predicate = {})
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

    Twin sql;
    Twin memory;
};

// Whatever SQL decides, evaluation in memory decides the same; what it leaves to others it lets through.
TEST_F(VXSQLPredicateTest, AgreesWithEvaluationInMemory)
{
    int exactCount = 0;
    int matchCount = 0;
    constexpr int roundCount = 3000;
    for (quint32 seed = 0; seed < roundCount; ++seed) {
        const QString entity = QStringList{u"Call"_s, u"Person"_s, u"Party"_s}[qsizetype(seed) % 3];
        const VXPredicate predicate = PredicateMaker(seed, sql).make(entity);
        bool inSQL = false;
        bool inMemory = false;
        QStringList actual = found(sql, request(sql, entity, predicate), &inSQL);
        QStringList expected =
            found(memory, request(memory, entity, PredicateMaker(seed, memory).make(entity)), &inMemory);
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
    const struct
    {
        QString entity;
        QString format;
        QVariantList arguments;
    } cases[] = {
        {u"Call"_s, u"number CONTAINS[cd] 'zoe' AND index > 3 OR NOT caller.name LIKE[c] 'z*'"_s, {}},
        {u"Call"_s, u"caller == nil OR caller.name == nil OR caller.calls.@count > 2"_s, {}},
        {u"Call"_s, u"SELF == %@ OR SELF IN %@ OR next == %@"_s, {call, QVariant(manyCalls), call}},
        {u"Call"_s, u"date BETWEEN %@ AND photo == %@"_s, {QVariant(QVariantList{dates[1], dates[2]}), data[2]}},
        {u"Call"_s, u"caller.name == next.caller.name AND cost < rate"_s, {}},
        {u"Person"_s, u"ANY calls.number MATCHES 'z.*' AND NONE friends.groups.name == 'x'"_s, {}},
        {u"Person"_s, u"ALL calls.cost > 1 AND calls CONTAINS %@ AND groups.@count == 0"_s, {call}},
        {u"Person"_s, u"SELF IN friends OR %@ IN groups"_s, {QVariant::fromValue(sql.objectID(u"Group"_s, 1))}},
    };
    for (const auto &each : cases)
        EXPECT_TRUE(isExact(request(each.entity, each.format, each.arguments))) << each.format.toStdString();
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
        EXPECT_EQ(actual.size(), inSQL ? expected.size() : callCount) << depth;
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
            QVariant value = index < texts.size() ? texts.at(index) : QVariant(u"text %1"_s.arg(index));
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
    VXFetchRequest unsayable = request(sql, u"Call"_s);
    unsayable.sortDescriptors = {{u"mood"_s}};
    unsayable.limit = 1;
    bool exact = true;
    EXPECT_EQ(found(sql, unsayable, &exact).size(), callCount);
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
    EXPECT_LT(rowCount, callCount / 2);
}
