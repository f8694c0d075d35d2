#include "VXRandomStore.h"
#include "VXRowSaver.h"

#include <QtCore/QDateTime>

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

using namespace Qt::StringLiterals;

using Values = VXRandomValues;

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

QVariant dateAt(qint64 milliseconds)
{
    return QDateTime::fromMSecsSinceEpoch(milliseconds, Qt::UTC);
}

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

/** Predicates by chance: the same ones for two stores, but for the object IDs in them. */
class PredicateMaker
{
public:
    PredicateMaker(quint32 seed, const VXRandomStore &store) : _dice(seed), _store(store) {}

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
        static const QStringList callPaths =
            u"number index cost rate answered date photo extra caller caller.name next.number "
            "next.next.index next.caller next.next.cost caller.groups caller.calls.@count SELF "
            "caller.name next caller.groups.name caller.calls.index"_s.split(u' ');
        static const QStringList personPaths =
            u"name age weight boss boss.name calls.number calls.index calls.cost calls calls.@count "
            "groups groups.name friends friends.name groups.@count staff.age boss.boss SELF "
            "boss.staff.@count groups.members.name calls.date boss.weight staff calls.next.number "
            "friends.friends"_s.split(u' ');
        static const QStringList partyPaths =
            u"name calls.number calls.caller friends.groups.name groups.@count"_s.split(u' ');
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
            return _dice.of(Values::texts);
        case 3:
        case 4:
            return _dice.of(Values::numbers);
        case 5:
            return _dice.of(Values::dates);
        case 6:
            return _dice.of(Values::data);
        default:
            return _dice.oneIn(2)
                       ? QVariant::fromValue(_store.objectID(u"Call"_s, 1 + _dice.below(VXRandomStore::callCount + 1)))
                       : QVariant::fromValue(
                             _store.objectID(u"Person"_s, 1 + _dice.below(VXRandomStore::partyCount + 1)));
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
    const VXRandomStore &_store;
};

} // namespace

const QVariantList VXRandomValues::texts = [] {
    QVariantList texts{QVariant(), u""_s, u"' OR 1=1 --"_s, u"\"); DROP TABLE \"VX_Call\"; --"_s, QString(u"zo\0e"_s)};
    for (const QString &text :
         u"zoe Zoë ZOE\u0308 o stra\u00dfe STRASSE %_?*\\ Z* z?e ( [zZ]o.* \U0001F600 \uFFFF 1"_s.split(u' '))
        texts.append(text);
    for (const char16_t first : {u'\xD800', u'\xFEFF', u'\xFFFE'})
        texts.append(QString(QChar(first)) + u"zoe"_s);
    return texts;
}();
const QVariantList VXRandomValues::numbers = [] {
    QVariantList numbers{QVariant(), 0, 1, -1, true, 3, 41, 9007199254740993LL, std::numeric_limits<qulonglong>::max()};
    numbers.append({std::numeric_limits<qlonglong>::max(), std::numeric_limits<qlonglong>::min()});
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const double number : {0.5, -0.0, 1.0, 9007199254740992.0, 0x1p63, infinity, -infinity, std::nan("")})
        numbers.append(number);
    return numbers;
}();
const QVariantList VXRandomValues::dates{QVariant(), dateAt(0), dateAt(1), dateAt(-62135596800001),
                                         dateAt(1767323045678)};
const QVariantList VXRandomValues::data{QVariant(), QByteArray(""), QByteArray("\0", 1), QByteArray("\1\2"),
                                        QByteArray("\xff")};

VXRandomStore::VXRandomStore(VXStoreType type, const QString &path)
    : coordinator(VXPersistentStoreCoordinator::coordinatorWithModel(VXModelOf(phoneSource))),
      store(coordinator->addPersistentStore(type, path))
{
}

void VXRandomStore::fill(quint32 seed) const
{
    Dice dice(seed);
    VXRowSaver saver(*store);
    QList<VXManagedObjectID> parties;
    QList<VXManagedObjectID> people;
    QList<VXManagedObjectID> calls;
    const auto reference = [&](const QList<VXManagedObjectID> &objects) {
        return objects.isEmpty() || dice.oneIn(4) ? QVariant() : QVariant::fromValue(dice.of(objects));
    };
    for (int count = 0; count < partyCount; ++count) {
        const QVariant name = dice.of(Values::texts);
        if (dice.oneIn(4)) {
            parties.append(saver.add(u"Company"_s, {{u"name"_s, name}, {u"age"_s, dice.of(Values::texts)}}));
            continue;
        }
        const QVariant weight = dice.of(Values::numbers);
        const QVariantMap values{{u"name"_s, name},
                                 {u"age"_s, dice.oneIn(4) ? QVariant() : dice.below(50)},
                                 {u"weight"_s, *VXAttributeValue(VXAttributeType::Double, weight.toDouble())},
                                 {u"boss"_s, reference(people)}};
        parties.append(saver.add(u"Person"_s, values));
        people.append(parties.constLast());
    }
    for (int count = 0; count < callCount; ++count) {
        const QVariant cost = dice.of(Values::numbers);
        const QVariant index = dice.of(Values::numbers);
        calls.append(saver.add(u"Call"_s,
                               {{u"number"_s, dice.of(Values::texts)},
                                {u"index"_s, VXAttributeValue(VXAttributeType::Integer64, index).value_or(QVariant())},
                                {u"cost"_s, cost.isValid() ? QVariant(cost.toDouble()) : cost},
                                {u"rate"_s, dice.of(Values::numbers).toDouble()},
                                {u"answered"_s, dice.oneIn(3) ? QVariant() : QVariant(dice.oneIn(2))},
                                {u"date"_s, dice.of(Values::dates)},
                                {u"photo"_s, dice.of(Values::data)},
                                {u"extra"_s, dice.oneIn(2) ? QVariant() : QVariant(QVariantMap{{u"a"_s, 1LL}})},
                                {u"caller"_s, reference(parties)},
                                {u"next"_s, reference(calls)}}));
    }
    for (int count = 0; count < groupCount; ++count) {
        const VXManagedObjectID group = saver.add(u"Group"_s, {{u"name"_s, dice.of(Values::texts)}});
        QSet<VXManagedObjectID> members;
        for (int member = 0; member < 6 && count > 0; ++member)
            members.insert(dice.of(parties));
        saver.link(group, u"members"_s, members.values());
    }
    for (int count = 0; count < 20; ++count)
        saver.link(dice.of(parties), u"friends"_s, {dice.of(parties)});
    ASSERT_TRUE(saver.saveAndCommit()) << saver.error.description().toStdString();
}

VXManagedObjectID VXRandomStore::objectID(const QString &entity, qint64 number) const
{
    return {*store->model().entityForName(entity), store->identity(), number};
}

VXPredicate VXRandomStore::predicate(quint32 seed, const QString &entity) const
{
    return PredicateMaker(seed, *this).make(entity);
}
