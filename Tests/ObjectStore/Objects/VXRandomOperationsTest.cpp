#include "VXContextTest.h"
#include "VXRowSaver.h"
#include "VXStoreModel.h"
#include "VXThings.h"

#include <array>
#include <random>

using namespace Qt::StringLiterals;

namespace {

using Item = VXStoreModel::Item;
using Object = VXManagedObjectPtr;
using Policy = VXMergePolicy;
using Relationship = VXStoreModel::Relationship;
using State = VXStoreModel::State;
using Tag = VXStoreModel::Tag;
using Type = VXAttributeType;

constexpr int operationCount = 30; // of a sequence

// Of whole numbers. The first ones look at nothing but the object itself, and so stores can be asked also for unsaved changes.
constexpr std::array conditions{"TRUEPREDICATE"_L1,
                                "whole == %@"_L1,
                                "NOT whole >= %@"_L1,
                                "text BEGINSWITH[c] 'a' OR truth == YES"_L1,
                                "text CONTAINS \"'\" AND date != nil"_L1,
                                "large IN {9007199254740993, -5} OR real BETWEEN {-3, 0.1}"_L1,
                                "ANY calls.whole == %@"_L1,
                                "groups.@count > 1 OR ANY friends.truth == YES"_L1,
                                "passport.whole == %@ AND passport != nil"_L1,
                                "boss == nil AND staff.@count > 0"_L1};
constexpr size_t ownConditionCount = 6;

/** One sequence of operations on a store, and on the model at the same time. It leaves the store empty. */
class Sequence
{
public:
    Sequence(unsigned seed, const VXPersistentStoreCoordinator::Ptr &coordinator)
        : _random(seed), _coordinator(coordinator), _own(coordinator), _other(coordinator)
    {
    }

    void run()
    {
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
        ASSERT_EQ(_coordinator->persistentStores().first()->check(), QStringList());
        _other.context.reset();
        synchronize(_other, _own.model.stored(), _own.model.stored());
        compare(_other);
        for (const auto &[tag, object] : _other.objects)
            _other.context.deleteObject(object);
        ASSERT_TRUE(_other.context.save());
        ASSERT_EQ(_other.context.countForFetchRequest(VXFetchRequest(entity(u"Thing"_s))), 0);
    }

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

    void operate(size_t kind)
    {
        if (kind < 13)
            change(_own);
        else if (kind < 15)
            save();
        else if (kind < 18)
            refresh(isLucky(3));
        else if (kind < 22)
            fetch(isLucky(3));
        else if (kind < 24)
            meetOther();
        else if (kind < 25)
            rollback(isLucky(2));
        else
            _own.objects.clear(); // what has no changes is let go of
    }

    // -- Dice

    size_t pick(size_t count) { return size_t(_random() % count); }
    bool isLucky(size_t oneIn) { return pick(oneIn) == 0; }
    template <class Container>
    const auto &pickFrom(const Container &container)
    {
        return *std::next(container.begin(), qsizetype(pick(size_t(container.size()))));
    }
    Tag pickTag(const Side &side, const VXEntityDescription &wanted)
    {
        std::vector<Tag> tags;
        for (const auto &[tag, item] : side.model.now().items) {
            if (item.entity->isKindOfEntity(wanted))
                tags.push_back(tag);
        }
        return tags.empty() ? 0 : pickFrom(tags);
    }

    // -- What a context shows

    const VXEntityDescription &entity(const QString &name) const { return *_coordinator->model().entityForName(name); }
    Tag tagOf(const Object &object) const { return object->attribute(_tagIndex).toLongLong(); }

    Object object(Side &side, Tag tag)
    {
        Object &held = side.objects[tag];
        if (!held) {
            VXFetchRequest request(entity(u"Thing"_s));
            request.predicate = *VXPredicate::predicateWithFormat(u"tag == %@"_s, {tag});
            held = side.context.executeFetchRequest(request)->first();
        }
        return held;
    }

    std::set<Tag> targets(const Object &object, const Relationship &relationship) const
    {
        std::set<Tag> tags;
        for (const Object &each : relationship.isToMany() ? object->relatedObjects(relationship.index())
                                                          : QList{object->related(relationship.index())})
            tags.insert(!each || each->isDeleted() ? 0 : tagOf(each));
        tags.erase(0); // none, deleted or gone
        return tags;
    }

    void compare(const Object &object, Tag tag, const VXStoreModel &model)
    {
        for (const VXPropertyDescription *const property : object->entity().properties()) {
            const Relationship *const relationship = property->asRelationship();
            const auto where = u"%1 of %2 %3"_s.arg(property->name(), object->entity().name()).arg(tag).toStdString();
            if (relationship != nullptr)
                ASSERT_EQ(targets(object, *relationship), model.targets(tag, *relationship)) << where;
            else
                ASSERT_EQ(object->attribute(property->index()), model.now().items.at(tag).value(property->name()))
                    << where;
        }
    }

    void compare(Side &side)
    {
        std::map<Tag, Object> found;
        const auto result = side.context.executeFetchRequest(VXFetchRequest(entity(u"Thing"_s)));
        ASSERT_TRUE(result);
        for (const Object &each : *result)
            ASSERT_TRUE(found.emplace(tagOf(each), each).second) << tagOf(each);
        for (const auto &[tag, held] : side.objects)
            ASSERT_TRUE(!held || !found.contains(tag) || found[tag] == held) << "there is one object for an ID";
        ASSERT_EQ(found.size(), side.model.now().items.size());
        for (const auto &[tag, item] : side.model.now().items) {
            ASSERT_TRUE(found.contains(tag) && &found[tag]->entity() == item.entity) << tag;
            compare(found[tag], tag, side.model);
        }
        ASSERT_TRUE(side.context.hasChanges() || !side.model.hasChanges());
        side.objects = found;
    }

    // -- Changes

    void change(Side &side)
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

    void insert(Side &side)
    {
        const VXEntityDescription &inserted = entity(pickFrom(VXThingNames));
        const Tag tag = ++_lastTag;
        log.append(u"insert %1 %2"_s.arg(inserted.name()).arg(tag));
        side.objects[tag] = side.context.insertNewObject(inserted);
        side.objects[tag]->setAttribute(_tagIndex, tag);
        side.model.insert(tag, inserted);
        side.model.setValue(tag, u"tag"_s, tag);
    }

    // Without a QVariant, where there is a way.
    static void setInPlace(VXManagedObject &object, const VXAttributeDescription &attribute, const QVariant &value)
    {
        const int index = attribute.index();
        switch (value.typeId()) {
        case QMetaType::QString:
            if (attribute.type() == VXAttributeType::String)
                return object.setText(index, value.toString());
            break;
        case QMetaType::QByteArray:
            return object.setData(index, value.toByteArray());
        case QMetaType::Double:
            return object.setReal(index, value.toDouble());
        case QMetaType::Int:
        case QMetaType::LongLong:
        case QMetaType::Bool:
            return object.setNumber(index, value.toLongLong());
        case QMetaType::QDateTime:
            return object.setNumber(index, value.toDateTime().toMSecsSinceEpoch());
        default:
            break;
        }
        object.setAttribute(index, value);
    }

    void setAttribute(Side &side, Tag tag)
    {
        const Object changed = object(side, tag);
        const VXAttributeDescription &attribute = *pickFrom(changed->entity().attributes());
        if (attribute.index() == _tagIndex)
            return;
        const QVariant value = pickFrom(VXThingValues.at(attribute.type()));
        log.append(u"set %1 of %2"_s.arg(attribute.name()).arg(tag));
        if (pick(2) == 0)
            setInPlace(*changed, attribute, value);
        else
            changed->setAttribute(attribute.index(), value);
        side.model.setValue(tag, attribute.name(), value);
    }

    void setRelationship(Side &side, Tag tag)
    {
        const Object changed = object(side, tag);
        const QList<const Relationship *> relationships = changed->entity().relationships();
        const Relationship &relationship = *pickFrom(relationships);
        const int index = relationship.index();
        const std::set<Tag> before = side.model.targets(tag, relationship);
        const Tag target = before.empty() || !isLucky(3) ? pickTag(side, relationship.destination()) : pickFrom(before);
        const Object other = target == 0 ? Object() : object(side, target);
        const size_t kind = pick(5);
        log.append(u"%1 of %2: %3 (%4)"_s.arg(relationship.name()).arg(tag).arg(target).arg(kind));
        if (!relationship.isToMany()) {
            changed->setRelated(index, kind == 0 ? Object() : other);
            side.model.setTarget(tag, relationship, kind == 0 ? 0 : target);
        } else if (kind == 0 || target == 0) {
            changed->setRelatedObjects(index, target == 0 ? QList<Object>() : QList{other});
            side.model.setTargets(tag, relationship, target);
        } else if (kind == 1) {
            changed->removeRelated(index, other);
            side.model.remove(tag, relationship, target);
        } else {
            changed->addRelated(index, other);
            side.model.add(tag, relationship, target);
        }
    }

    void save()
    {
        const bool canSave = _own.model.canSave();
        log.append(canSave ? u"save"_s : u"save, denied"_s);
        VXError error;
        ASSERT_EQ(_own.context.save(&error), canSave) << error.description().toStdString();
        if (canSave)
            _own.model.set(_own.model.saved(), _own.model.saved());
        compare(_own);
    }

    void rollback(bool forgetsAll)
    {
        log.append(forgetsAll ? u"reset"_s : u"rollback"_s);
        forgetsAll ? _own.context.reset() : _own.context.rollback();
        synchronize(_own, _own.model.stored(), _own.model.stored());
        compare(_own);
    }

    void refresh(bool mergesChanges)
    {
        std::vector<Tag> tags;
        for (const auto &[tag, held] : _own.objects) {
            if (held && held->managedObjectContext() != nullptr && !_own.model.isNew(tag))
                tags.push_back(tag);
        }
        if (tags.empty())
            return;
        const Tag tag = pickFrom(tags);
        log.append(u"refresh %1, merging: %2"_s.arg(tag).arg(mergesChanges));
        _own.context.refreshObject(_own.objects[tag], mergesChanges);
        if (!mergesChanges)
            _own.model.drop(tag);
        compare(_own);
    }

    static void synchronize(Side &side, const State &stored, const State &now)
    {
        side.objects.clear();
        side.model.set(stored, now);
    }

    // -- Fetching

    // As predicates look at it.
    QVariantMap described(const State &state, const VXStoreModel &model, Tag tag, int depth) const
    {
        QVariantMap map;
        const Item &item = state.items.at(tag);
        for (const VXPropertyDescription *const property : item.entity->properties()) {
            const Relationship *const relationship = property->asRelationship();
            if (relationship == nullptr)
                map.insert(property->name(), item.value(property->name()));
            if (relationship == nullptr || depth == 0)
                continue;
            QVariantList others;
            for (const Tag other : model.targets(tag, *relationship))
                others.append(described(state, model, other, depth - 1));
            map.insert(property->name(), relationship->isToMany() ? others : others.value(0));
        }
        return map;
    }

    void fetch(bool isCount)
    {
        const VXStoreModel &model = _own.model;
        VXFetchRequest request(entity(pickFrom(std::array{u"Thing"_s, u"Person"_s, u"Worker"_s, u"Call"_s})));
        const bool isPerson = request.entity().name() == "Person"_L1;
        size_t condition = pick(conditions.size());
        if (condition >= ownConditionCount && (!isPerson || model.hasChanges() || _own.context.hasChanges()))
            condition = 0;
        const QString format = conditions.at(condition);
        const QVariant argument = pickFrom(VXThingValues.at(Type::Integer32));
        log.append(u"fetch %1 %2 (%3)"_s.arg(request.entity().name(), format, argument.toString()));
        request.predicate = *VXPredicate::predicateWithFormat(format, QVariantList(format.count("%@"_L1), argument));
        const QString key = pickFrom(std::array{u"small"_s, u"large"_s, u"real"_s, u"text"_s, u"date"_s, u"truth"_s});
        request.sortDescriptors = {{key, isLucky(2)}, {u"tag"_s}};
        request.offset = qsizetype(isLucky(3) ? pick(4) : 0);
        request.limit = qsizetype(isLucky(3) ? 1 + pick(4) : 0);
        request.batchSize = isLucky(3) ? 2 : 0;
        request.includesSubentities = !isLucky(4);
        request.includesPendingChanges = !isLucky(5);
        request.includesPropertyValues = !isLucky(4);
        request.refreshesObjects = isLucky(4);
        if (isPerson && isLucky(3))
            request.prefetchedRelationships = {u"calls"_s, u"friends"_s, u"passport"_s};
        const QList<Tag> tags = expected(request, condition >= ownConditionCount ? 2 : 0);
        if (isCount) {
            ASSERT_EQ(_own.context.countForFetchRequest(request), tags.size());
            return;
        }
        const auto result = _own.context.executeFetchRequest(request);
        ASSERT_TRUE(result);
        QList<Tag> found;
        for (const Object &each : *result)
            found.append(tagOf(each));
        ASSERT_EQ(found, tags);
    }

    QList<Tag> expected(const VXFetchRequest &request, int depth) const
    {
        const State &state = request.includesPendingChanges ? _own.model.now() : _own.model.stored();
        QVariantList found;
        for (const auto &[tag, item] : state.items) {
            const bool isWanted = request.includesSubentities ? item.entity->isKindOfEntity(request.entity())
                                                              : item.entity == &request.entity();
            const QVariantMap map = isWanted ? described(state, _own.model, tag, depth) : QVariantMap();
            if (isWanted && request.predicate.evaluateWithObject(map))
                found.append(map);
        }
        std::stable_sort(found.begin(), found.end(), [&](const QVariant &a, const QVariant &b) {
            return request.sortDescriptors.first().compare(a, b) < 0;
        });
        QList<Tag> tags;
        for (const QVariant &map :
             found.mid(std::min(request.offset, found.size()), request.limit == 0 ? -1 : request.limit))
            tags.append(map.toMap().value(u"tag"_s).toLongLong());
        return tags;
    }

    // -- Somebody else

    // Another context changes the same objects, and saves first.
    void meetOther()
    {
        compare(_own); // reads all there is, but for what is deleted
        for (const Object &deleted : _own.context.deletedObjects()) {
            for (const Relationship *const relationship : deleted->entity().relationships())
                targets(deleted, *relationship);
        }
        _other.context.reset();
        synchronize(_other, _own.model.stored(), _own.model.stored());
        const Policy policy =
            pickFrom(std::array{Policy::Error, Policy::MergeByPropertyObjectTrumps, Policy::MergeByPropertyStoreTrumps,
                                Policy::Overwrite, Policy::Rollback});
        log.append(u"the other, policy %1 {"_s.arg(int(policy)));
        for (size_t count = 1 + pick(4); count > 0; --count)
            change(_other);
        const State theirs = _other.model.saved();
        std::set<Tag> conflicts;
        const auto merged = _own.model.merged(theirs, policy, &conflicts);
        const bool isSaved = merged && _own.model.canSave() && _other.model.canSave();
        log.append(isSaved ? u"} both save"_s : u"} is forgotten"_s);
        if (!isSaved)
            return;
        const auto inserted = _other.context.insertedObjects();
        const auto updated = _other.context.updatedObjects();
        const auto deleted = _other.context.deletedObjects();
        ASSERT_TRUE(_other.context.save());
        const auto takeOver = [&] { _own.context.mergeChanges(idsOf(inserted), idsOf(updated), idsOf(deleted)); };
        _own.context.setMergePolicy(policy);
        VXError error;
        ASSERT_EQ(_own.context.save(&error), policy != Policy::Error || conflicts.empty())
            << error.description().toStdString();
        if (policy == Policy::Error && !conflicts.empty())
            resolve(error, theirs, *merged, conflicts, takeOver);
        takeOver();
        synchronize(_own, *merged, *merged);
        compare(_own);
    }

    static QList<VXManagedObjectID> idsOf(const QList<Object> &objects)
    {
        QList<VXManagedObjectID> objectIDs;
        for (const Object &each : objects)
            objectIDs.append(each->objectID());
        return objectIDs;
    }

    // What failed succeeds after the other's changes were taken over, or with a policy that decides.
    void resolve(const VXError &error, const State &theirs, const State &merged, const std::set<Tag> &conflicts,
                 const std::function<void()> &takeOver)
    {
        std::set<Tag> listed;
        for (const QVariant &conflict : error.userInfo().value(VXConflictListKey).toList())
            listed.insert(tagOf(conflict.toMap().value(u"object"_s).value<Object>()));
        ASSERT_EQ(listed, conflicts);
        const bool isAnyGone =
            std::any_of(conflicts.begin(), conflicts.end(), [&](Tag tag) { return !theirs.items.contains(tag); });
        if (!isAnyGone && !_own.model.hasDeleted()) {
            takeOver();
            synchronize(_own, theirs, merged);
            compare(_own);
        } else {
            _own.context.setMergePolicy(Policy::MergeByPropertyObjectTrumps);
        }
        VXError problem;
        ASSERT_TRUE(_own.context.save(&problem)) << problem.description().toStdString();
    }

    std::mt19937 _random;
    const VXPersistentStoreCoordinator::Ptr _coordinator;
    const int _tagIndex = entity(u"Thing"_s).propertyForName(u"tag"_s)->index();
    Side _own;
    Side _other;
    Tag _lastTag = 0;
};

} // namespace

/** The same sequences on a store of each type, so that all of them do what the model says. */
using VXRandomOperationsTest = VXContextTest;
VX_INSTANTIATE_FOR_STORES(VXRandomOperationsTest);

// VORNIX_RANDOM_SEED: runs that one only. VORNIX_RANDOM_SEQUENCES: how many.
TEST_P(VXRandomOperationsTest, EndAsTheModelSays)
{
    const QTemporaryDir memory(u"/dev/shm/vornix-XXXXXX"_s); // where there is such; it does not wait for a disk
    const QString file = memory.isValid() ? memory.filePath(u"store"_s) : path(u"things"_s);
    const auto things = VXPersistentStoreCoordinator::coordinatorWithModel(VXModelOf(VXThingSource));
    ASSERT_TRUE(things->addPersistentStore(GetParam(), file));
    const int chosen = qEnvironmentVariableIntValue("VORNIX_RANDOM_SEED");
    const int configured = qEnvironmentVariableIntValue("VORNIX_RANDOM_SEQUENCES");
    const int last = chosen != 0 ? chosen : configured != 0 ? configured : 1000;
    for (int seed = std::max(chosen, 1); seed <= last; ++seed) {
        Sequence sequence(unsigned(seed), things);
        sequence.run();
        ASSERT_FALSE(HasFatalFailure()) << "VORNIX_RANDOM_SEED=" << seed << '\n'
                                        << sequence.log.join(u'\n').toStdString();
    }
}
