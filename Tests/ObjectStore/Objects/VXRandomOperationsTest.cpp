#include "VXContextTest.h"
#include "VXRowSaver.h"
#include "VXStoreModel.h"

#include <QtCore/QDateTime>
#include <QtCore/QFile>

#include <array>
#include <random>

using namespace Qt::StringLiterals;

namespace {

using Item = VXStoreModel::Item;
using Object = VXManagedObjectPtr;
using Relationship = VXStoreModel::Relationship;
using State = VXStoreModel::State;
using Tag = VXStoreModel::Tag;

constexpr int sequenceCount = 1000;
constexpr int operationCount = 30;

const QByteArray thingSource = R"(
abstract entity Thing {
    attribute tag: integer64 optional;
    attribute small: integer16 optional;
    attribute whole: integer32 optional indexed;
    attribute large: integer64 optional;
    attribute real: double optional;
    attribute truth: boolean optional;
    attribute text: string optional indexed;
    attribute date: date optional;
    attribute data: binary optional;
    attribute list: property-list optional;
}
entity Person: Thing {
    relationship calls: Call[] optional inverse caller delete cascade;
    relationship phones: Phone[] optional inverse owner;
    relationship boxes: Box[] optional inverse keeper delete no-action;
    relationship groups: Group[] optional inverse members;
    relationship friends: Person[] optional inverse friends;
    relationship passport: Passport optional inverse holder delete cascade;
    relationship boss: Person optional inverse staff;
    relationship staff: Person[] optional inverse boss delete deny;
}
entity Worker: Person { attribute pay: double optional; }
entity Call: Thing { relationship caller: Person optional inverse calls; }
entity Phone: Thing { relationship owner: Person optional inverse phones; }
entity Box: Thing { relationship keeper: Person optional inverse boxes; }
entity Group: Thing { relationship members: Person[] optional inverse groups delete deny; }
entity Passport: Thing { relationship holder: Person optional inverse passport; }
)";

QVariant moment(qint64 milliseconds)
{
    return QDateTime::fromMSecsSinceEpoch(milliseconds, Qt::UTC);
}

const std::map<VXAttributeType, QVariantList> &valuesByType()
{
    static const std::map<VXAttributeType, QVariantList> values{
        {VXAttributeType::Integer16, {{}, -32768, 0, 7}},
        {VXAttributeType::Integer32, {{}, -1, 0, 1, 2, 3}},
        {VXAttributeType::Integer64, {{}, 1LL << 53, (1LL << 53) + 1, -5LL}},
        {VXAttributeType::Double, {{}, 0.1, -2.5, 3.0, 1e300}},
        {VXAttributeType::Boolean, {{}, true, false}},
        {VXAttributeType::String,
         {{}, u""_s, u"a"_s, u"A"_s, u"Ärger"_s, u"a'b%"_s, QString(u"a\0b"_s), QString(QChar(0xD800))}},
        {VXAttributeType::Date, {{}, moment(0), moment(-1), moment(1'700'000'000'123)}},
        {VXAttributeType::Binary, {{}, QByteArray(""), QByteArray("\0\xff", 2)}},
        {VXAttributeType::PropertyList, {{}, u"x"_s, QVariantList{1LL, true}, QVariantMap{{u"k"_s, 0.5}}}},
    };
    return values;
}

/** A predicate, and what it means. */
struct Condition
{
    const char *format;
    bool isOwn; // looks at nothing but the object
    std::function<bool(const VXStoreModel &, Tag, const Item &, const QVariant &)> holds;
};

QVariant valueIn(const Item &item, const QString &key)
{
    const auto found = item.values.find(key);
    return found == item.values.end() ? QVariant() : found->second;
}

std::set<Tag> targets(const VXStoreModel &model, Tag tag, const QString &key)
{
    const Relationship *const found = model.now().items.at(tag).entity->relationshipForName(key);
    return found == nullptr ? std::set<Tag>() : model.targets(tag, *found);
}

bool hasTarget(const VXStoreModel &model, Tag tag, const QString &relationship, const QString &key,
               const QVariant &value)
{
    const std::set<Tag> all = targets(model, tag, relationship);
    return std::any_of(all.begin(), all.end(),
                       [&](Tag other) { return valueIn(model.now().items.at(other), key) == value; });
}

// The argument is a whole number or none.
const std::array<Condition, 10> conditions{{
    {"TRUEPREDICATE", true, [](auto &, Tag, const Item &, auto &) { return true; }},
    {"whole == %@", true,
     [](auto &, Tag, const Item &item, auto &value) { return valueIn(item, u"whole"_s) == value; }},
    {"NOT whole >= %@", true,
     [](auto &, Tag, const Item &item, auto &value) {
         const QVariant whole = valueIn(item, u"whole"_s);
         return !(whole.isValid() && value.isValid() && whole.toInt() >= value.toInt());
     }},
    {"text BEGINSWITH[c] 'A' OR truth == YES", true,
     [](auto &, Tag, const Item &item, auto &) {
         return valueIn(item, u"text"_s).toString().startsWith(u'a', Qt::CaseInsensitive) ||
                valueIn(item, u"truth"_s).toBool();
     }},
    {"text CONTAINS \"'\" AND date != nil", true,
     [](auto &, Tag, const Item &item, auto &) {
         return valueIn(item, u"text"_s).toString().contains(u'\'') && valueIn(item, u"date"_s).isValid();
     }},
    {"large IN {9007199254740993, -5} OR real BETWEEN {-3, 0.1}", true,
     [](auto &, Tag, const Item &item, auto &) {
         const QVariant real = valueIn(item, u"real"_s);
         const qlonglong large = valueIn(item, u"large"_s).toLongLong();
         return large == 9007199254740993 || large == -5 ||
                (real.isValid() && real.toDouble() >= -3 && real.toDouble() <= 0.1);
     }},
    {"ANY calls.whole == %@", false,
     [](auto &model, Tag tag, const Item &, auto &value) {
         return value.isValid() && hasTarget(model, tag, u"calls"_s, u"whole"_s, value);
     }},
    {"groups.@count > 1 OR ANY friends.truth == YES", false,
     [](auto &model, Tag tag, const Item &, auto &) {
         return targets(model, tag, u"groups"_s).size() > 1 || hasTarget(model, tag, u"friends"_s, u"truth"_s, true);
     }},
    {"passport.whole == %@ AND passport != nil", false,
     [](auto &model, Tag tag, const Item &, auto &value) {
         return hasTarget(model, tag, u"passport"_s, u"whole"_s, value);
     }},
    {"boss == nil AND staff.@count > 0", false,
     [](auto &model, Tag tag, const Item &, auto &) {
         return targets(model, tag, u"boss"_s).empty() && !targets(model, tag, u"staff"_s).empty();
     }},
}};

bool isLess(const QVariant &a, const QVariant &b)
{
    if (!a.isValid() || !b.isValid())
        return !a.isValid() && b.isValid();
    if (a.typeId() == QMetaType::QString)
        return a.toString() < b.toString();
    if (a.typeId() == QMetaType::QDateTime)
        return a.toDateTime() < b.toDateTime();
    return a.typeId() == QMetaType::Double ? a.toDouble() < b.toDouble() : a.toLongLong() < b.toLongLong();
}

/** One sequence of operations on one store, on the model at the same time. */
class Sequence
{
public:
    Sequence(unsigned seed, VXStoreType type, const QString &path, const VXManagedObjectModel::Ptr &model);
    void run();
    QStringList log; // what was done

private:
    /** A context, the model of it, and the objects that are held. */
    struct Side
    {
        explicit Side(const VXPersistentStoreCoordinator::Ptr &coordinator) : context(coordinator) {}
        VXStoreModel model;
        VXManagedObjectContext context;
        std::map<Tag, Object> objects;
    };

    size_t pick(size_t count) { return size_t(_random() % count); }
    bool isLucky(size_t oneIn) { return pick(oneIn) == 0; }
    template <class Container>
    const auto &pickFrom(const Container &container)
    {
        return *std::next(container.begin(), qsizetype(pick(size_t(container.size()))));
    }
    Tag pickTag(const Side &side, const VXEntityDescription &entity);
    const VXEntityDescription &entity(const QString &name) const { return *_coordinator->model().entityForName(name); }

    Tag tagOf(const Object &object) const;
    Object object(Side &side, Tag tag);
    std::set<Tag> targets(const Object &object, const Relationship &relationship) const;
    void compare(Side &side);
    void compare(const Object &object, Tag tag, const VXStoreModel &model);

    void change(Side &side);
    void insert(Side &side);
    void setAttribute(Side &side, Tag tag);
    void setRelationship(Side &side, Tag tag);
    void setToMany(Side &side, Tag tag, const Relationship &relationship, Tag other);
    void save();
    void drop(bool mergesChanges);
    void fetch(bool isCount);
    QList<Tag> expected(VXFetchRequest &request);
    void meetOther();
    void rollback(bool forgetsAll);
    void operate(size_t kind);
    static void synchronize(Side &side, const State &stored, const State &now);

    std::mt19937 _random;
    const VXPersistentStoreCoordinator::Ptr _coordinator;
    const VXPersistentStoreCoordinator::StorePtr _store;
    const int _tagIndex;
    Side _own;
    Side _other;
    Tag _lastTag = 0;
};

Sequence::Sequence(unsigned seed, VXStoreType type, const QString &path, const VXManagedObjectModel::Ptr &model)
    : _random(seed), _coordinator(VXPersistentStoreCoordinator::coordinatorWithModel(model)),
      _store(_coordinator->addPersistentStore(type, path)),
      _tagIndex(entity(u"Thing"_s).propertyForName(u"tag"_s)->index()), _own(_coordinator), _other(_coordinator)
{
}

Tag Sequence::pickTag(const Side &side, const VXEntityDescription &entity)
{
    std::vector<Tag> tags;
    for (const auto &[tag, item] : side.model.now().items) {
        if (item.entity->isKindOfEntity(entity))
            tags.push_back(tag);
    }
    return tags.empty() ? 0 : pickFrom(tags);
}

// -- What the context shows

// 0 for an object that is deleted or gone.
Tag Sequence::tagOf(const Object &object) const
{
    return object && !object->isDeleted() ? object->attribute(_tagIndex).toLongLong() : 0;
}

Object Sequence::object(Side &side, Tag tag)
{
    Object &held = side.objects[tag];
    if (!held) {
        VXFetchRequest request(entity(u"Thing"_s));
        request.predicate = *VXPredicate::predicateWithFormat(u"tag == %@"_s, {tag});
        held = side.context.executeFetchRequest(request)->first();
    }
    return held;
}

std::set<Tag> Sequence::targets(const Object &object, const Relationship &relationship) const
{
    std::set<Tag> tags;
    for (const Object &each : relationship.isToMany() ? object->relatedObjects(relationship.index())
                                                      : QList{object->related(relationship.index())})
        tags.insert(tagOf(each));
    tags.erase(0);
    return tags;
}

void Sequence::compare(const Object &object, Tag tag, const VXStoreModel &model)
{
    for (const VXPropertyDescription *const property : object->entity().properties()) {
        const Relationship *const relationship = property->asRelationship();
        const QString where = u"%1 of %2 %3"_s.arg(property->name(), object->entity().name()).arg(tag);
        if (relationship != nullptr)
            ASSERT_EQ(targets(object, *relationship), model.targets(tag, *relationship)) << where.toStdString();
        else
            ASSERT_EQ(object->attribute(property->index()), valueIn(model.now().items.at(tag), property->name()))
                << where.toStdString();
    }
}

void Sequence::compare(Side &side)
{
    std::map<Tag, Object> found;
    const auto result = side.context.executeFetchRequest(VXFetchRequest(entity(u"Thing"_s)));
    ASSERT_TRUE(result);
    for (const Object &each : *result)
        ASSERT_TRUE(found.emplace(each->attribute(_tagIndex).toLongLong(), each).second);
    for (const auto &[tag, held] : side.objects)
        ASSERT_TRUE(!held || !found.contains(tag) || found[tag] == held) << "there is one object for an ID";
    ASSERT_EQ(found.size(), side.model.now().items.size());
    for (const auto &[tag, item] : side.model.now().items) {
        ASSERT_TRUE(found.contains(tag)) << tag;
        ASSERT_EQ(&found[tag]->entity(), item.entity);
        compare(found[tag], tag, side.model);
    }
    ASSERT_TRUE(side.context.hasChanges() || !side.model.hasChanges());
    side.objects = found;
}

// -- Changes

void Sequence::change(Side &side)
{
    const Tag tag = pickTag(side, entity(u"Thing"_s));
    const size_t kind = pick(20);
    if (tag == 0 || kind < 4)
        return insert(side);
    if (kind < 9)
        return setAttribute(side, tag);
    if (kind < 18)
        return setRelationship(side, tag);
    log.append(u"delete %1"_s.arg(tag));
    side.context.deleteObject(object(side, tag));
    side.model.removeItem(tag);
}

void Sequence::insert(Side &side)
{
    static const std::array names{u"Person"_s, u"Person"_s, u"Worker"_s, u"Call"_s,
                                  u"Phone"_s,  u"Box"_s,    u"Group"_s,  u"Passport"_s};
    const VXEntityDescription &inserted = entity(pickFrom(names));
    const Tag tag = ++_lastTag;
    log.append(u"insert %1 %2"_s.arg(inserted.name()).arg(tag));
    const Object made = side.context.insertNewObject(inserted);
    made->setAttribute(_tagIndex, tag);
    side.objects[tag] = made;
    side.model.insert(tag, inserted);
    side.model.setValue(tag, u"tag"_s, tag);
}

void Sequence::setAttribute(Side &side, Tag tag)
{
    const Object changed = object(side, tag);
    const VXAttributeDescription &attribute = *pickFrom(changed->entity().attributes());
    if (attribute.index() == _tagIndex)
        return;
    const QVariant value = pickFrom(valuesByType().at(attribute.type()));
    log.append(u"set %1 of %2"_s.arg(attribute.name()).arg(tag));
    changed->setAttribute(attribute.index(), value);
    side.model.setValue(tag, attribute.name(), value);
}

void Sequence::setRelationship(Side &side, Tag tag)
{
    const Object changed = object(side, tag);
    const QList<const Relationship *> relationships = changed->entity().relationships();
    const Relationship &relationship = *pickFrom(relationships);
    const Tag other = isLucky(4) ? 0 : pickTag(side, relationship.destination());
    log.append(u"%1 of %2: %3"_s.arg(relationship.name()).arg(tag).arg(other));
    if (relationship.isToMany())
        return setToMany(side, tag, relationship, other);
    changed->setRelated(relationship.index(), other == 0 ? Object() : object(side, other));
    side.model.setTarget(tag, relationship, other);
}

// None: one is taken away, or all that are there are replaced by one.
void Sequence::setToMany(Side &side, Tag tag, const Relationship &relationship, Tag other)
{
    const Object changed = object(side, tag);
    const int index = relationship.index();
    const std::set<Tag> before = side.model.targets(tag, relationship);
    const Tag third = before.empty() || isLucky(3) ? pickTag(side, relationship.destination()) : pickFrom(before);
    if (other != 0) {
        changed->addRelated(index, object(side, other));
        side.model.add(tag, relationship, other);
    } else if (third != 0 && isLucky(2)) {
        changed->removeRelated(index, object(side, third));
        side.model.remove(tag, relationship, third);
    } else {
        changed->setRelatedObjects(index, third == 0 ? QList<Object>() : QList{object(side, third)});
        side.model.setTargets(tag, relationship, third);
    }
}

void Sequence::save()
{
    const bool canSave = _own.model.canSave();
    log.append(canSave ? u"save"_s : u"save, denied"_s);
    VXError error;
    ASSERT_EQ(_own.context.save(&error), canSave) << error.description().toStdString();
    if (canSave)
        _own.model.save();
    compare(_own);
}

void Sequence::drop(bool mergesChanges)
{
    std::vector<Tag> tags;
    for (const auto &[tag, held] : _own.objects) {
        if (held && held->managedObjectContext() != nullptr && !_own.model.isNew(tag))
            tags.push_back(tag);
    }
    if (tags.empty())
        return;
    const Tag tag = pickFrom(tags);
    log.append(u"refresh %1 %2"_s.arg(tag).arg(mergesChanges));
    _own.context.refreshObject(_own.objects[tag], mergesChanges);
    if (!mergesChanges)
        _own.model.drop(tag);
    compare(_own);
}

// -- Fetching

void Sequence::fetch(bool isCount)
{
    VXFetchRequest request(entity(pickFrom(std::array{u"Thing"_s, u"Person"_s, u"Worker"_s, u"Call"_s})));
    const QList<Tag> tags = expected(request);
    if (isCount) {
        ASSERT_EQ(_own.context.countForFetchRequest(request), tags.size());
        return;
    }
    const auto result = _own.context.executeFetchRequest(request);
    ASSERT_TRUE(result);
    QList<Tag> found;
    for (const Object &each : *result)
        found.append(each->attribute(_tagIndex).toLongLong());
    ASSERT_EQ(found, tags);
}

// Makes the request and says what it finds.
QList<Tag> Sequence::expected(VXFetchRequest &request)
{
    const VXStoreModel &model = _own.model;
    const bool isPerson = request.entity().name() == "Person"_L1;
    const Condition &condition = pickFrom(conditions);
    const bool isUsed = condition.isOwn || (isPerson && !model.hasChanges() && !_own.context.hasChanges());
    const QVariant argument = pickFrom(valuesByType().at(VXAttributeType::Integer32));
    const QString format = QLatin1StringView(isUsed ? condition.format : "TRUEPREDICATE");
    request.predicate = *VXPredicate::predicateWithFormat(format, QVariantList(format.count("%@"_L1), argument));
    const QString key = pickFrom(std::array{u"small"_s, u"large"_s, u"real"_s, u"text"_s, u"date"_s, u"truth"_s});
    const bool isAscending = isLucky(2);
    request.sortDescriptors = {{key, isAscending}, {u"tag"_s}};
    request.offset = qsizetype(isLucky(3) ? pick(4) : 0);
    request.limit = qsizetype(isLucky(3) ? 1 + pick(4) : 0);
    request.batchSize = isLucky(3) ? 2 : 0;
    request.includesSubentities = !isLucky(4);
    request.includesPendingChanges = !isLucky(5);
    request.includesPropertyValues = !isLucky(4);
    request.refreshesObjects = isLucky(4);
    if (isPerson && isLucky(3))
        request.prefetchedRelationships = {u"calls"_s, u"friends"_s, u"passport"_s};
    log.append(u"fetch %1 %2 (%3)"_s.arg(request.entity().name(), format, argument.toString()));

    const std::map<Tag, Item> &items = (request.includesPendingChanges ? model.now() : model.stored()).items;
    QList<Tag> tags;
    for (const auto &[tag, item] : items) {
        if ((item.entity == &request.entity() ||
             (request.includesSubentities && item.entity->isKindOfEntity(request.entity()))) &&
            (!isUsed || condition.holds(model, tag, item, argument)))
            tags.append(tag);
    }
    std::stable_sort(tags.begin(), tags.end(), [&](Tag a, Tag b) {
        const QVariant left = valueIn(items.at(isAscending ? a : b), key);
        return isLess(left, valueIn(items.at(isAscending ? b : a), key));
    });
    return tags.mid(std::min(request.offset, tags.size()), request.limit == 0 ? -1 : request.limit);
}

// -- Somebody else

void Sequence::synchronize(Side &side, const State &stored, const State &now)
{
    side.objects.clear();
    side.model.set(stored, now);
}

// Another context changes the same objects, and saves first.
void Sequence::meetOther()
{
    static const std::array policies{VXMergePolicy::Error, VXMergePolicy::MergeByPropertyObjectTrumps,
                                     VXMergePolicy::MergeByPropertyStoreTrumps, VXMergePolicy::Overwrite,
                                     VXMergePolicy::Rollback};
    compare(_own); // reads all there is, but for what is deleted
    for (const Object &deleted : _own.context.deletedObjects()) {
        for (const Relationship *const relationship : deleted->entity().relationships())
            targets(deleted, *relationship);
    }
    _other.context.reset();
    synchronize(_other, _own.model.stored(), _own.model.stored());
    const VXMergePolicy policy = pickFrom(policies);
    log.append(u"the other, policy %1:"_s.arg(int(policy)));
    for (size_t count = 1 + pick(4); count > 0; --count)
        change(_other);
    log.append(u"(end of the other)"_s);
    const State theirs = _other.model.saved();
    std::set<Tag> conflicts;
    const auto merged = _own.model.merged(theirs, policy, &conflicts);
    if (!merged || !_own.model.canSave() || !_other.model.canSave())
        return;
    log.append(u"both save"_s);
    const auto inserted = _other.context.insertedObjects();
    const auto updated = _other.context.updatedObjects();
    const auto deleted = _other.context.deletedObjects();
    ASSERT_TRUE(_other.context.save());
    _own.context.setMergePolicy(policy);
    const auto takeOver = [&] {
        const auto objectIDs = [](const QList<Object> &objects) {
            QList<VXManagedObjectID> all;
            for (const Object &each : objects)
                all.append(each->objectID());
            return all;
        };
        _own.context.mergeChanges(objectIDs(inserted), objectIDs(updated), objectIDs(deleted));
    };
    VXError error;
    const bool isSaved = _own.context.save(&error);
    ASSERT_EQ(isSaved, policy != VXMergePolicy::Error || conflicts.empty()) << error.description().toStdString();
    if (!isSaved) {
        std::set<Tag> listed;
        for (const QVariant &conflict : error.userInfo().value(VXConflictListKey).toList())
            listed.insert(tagOf(conflict.toMap().value(u"object"_s).value<Object>()));
        listed.erase(0); // those that are being deleted
        std::erase_if(conflicts, [this](Tag tag) { return !_own.model.now().items.contains(tag); });
        ASSERT_EQ(listed, conflicts);
        const auto isThere = [&theirs](Tag tag) { return theirs.items.contains(tag); };
        if (!_own.model.hasDeleted() && std::all_of(conflicts.begin(), conflicts.end(), isThere)) {
            takeOver();
            synchronize(_own, theirs, *merged);
            compare(_own);
        } else {
            _own.context.setMergePolicy(VXMergePolicy::MergeByPropertyObjectTrumps);
        }
        ASSERT_TRUE(_own.context.save(&error)) << error.description().toStdString();
    }
    takeOver();
    synchronize(_own, *merged, *merged);
    compare(_own);
}

void Sequence::run()
{
    ASSERT_TRUE(_store);
    for (int count = 0; count < operationCount && !testing::Test::HasFatalFailure(); ++count) {
        operate(pick(26));
        if (isLucky(4))
            compare(_own);
    }
    if (testing::Test::HasFatalFailure())
        return;
    if (!_own.model.canSave())
        rollback(true);
    save();
    ASSERT_EQ(_store->check(), QStringList());
    _other.context.reset();
    synchronize(_other, _own.model.stored(), _own.model.stored());
    compare(_other);
}

void Sequence::operate(size_t kind)
{
    if (kind < 13)
        change(_own);
    else if (kind < 15)
        save();
    else if (kind < 18)
        drop(isLucky(3));
    else if (kind < 22)
        fetch(isLucky(3));
    else if (kind < 24)
        meetOther();
    else if (kind < 25)
        rollback(isLucky(2));
    else
        _own.objects.clear(); // what has no changes is let go of
}

void Sequence::rollback(bool forgetsAll)
{
    log.append(forgetsAll ? u"reset"_s : u"rollback"_s);
    forgetsAll ? _own.context.reset() : _own.context.rollback();
    _own.model.rollback();
    if (forgetsAll)
        _own.objects.clear();
    std::erase_if(_own.objects, [this](const auto &held) { return !_own.model.now().items.contains(held.first); });
    compare(_own);
}

} // namespace

/** Every sequence on a store of each type, so that all of them do what the model says. */
class VXRandomOperationsTest : public VXContextTest
{
};
VX_INSTANTIATE_FOR_STORES(VXRandomOperationsTest);

// VORNIX_RANDOM_SEED: runs that one only. VORNIX_RANDOM_SEQUENCES: how many.
TEST_P(VXRandomOperationsTest, EndAsTheModelSays)
{
    const auto model = VXModelOf(thingSource);
    const QString empty = path(u"empty"_s);
    ASSERT_TRUE(VXPersistentStoreCoordinator::coordinatorWithModel(model)->addPersistentStore(GetParam(), empty));
    const int chosen = qEnvironmentVariableIntValue("VORNIX_RANDOM_SEED");
    const int longer = qEnvironmentVariableIntValue("VORNIX_RANDOM_SEQUENCES");
    const int last = chosen != 0 ? chosen : longer != 0 ? longer : sequenceCount;
    for (int seed = std::max(chosen, 1); seed <= last; ++seed) {
        const QString file = path(u"store%1"_s.arg(seed));
        QFile::copy(empty, file);
        Sequence sequence(unsigned(seed), GetParam(), file, model);
        sequence.run();
        ASSERT_FALSE(HasFatalFailure()) << "VORNIX_RANDOM_SEED=" << seed << "\n"
                                        << sequence.log.join(u'\n').toStdString();
    }
}
