#include "VXFaultTest.h"
#include "VXRowSaver.h"

#include <array>
#include <random>

using namespace Qt::StringLiterals;

namespace {

using Object = VXManagedObjectPtr;

const QByteArray ownerSource = R"(
abstract entity Thing { attribute number: integer64 = 0; }
entity Owner: Thing {
    relationship parts: Part[] optional inverse owner delete cascade;
    relationship notes: Note[] optional inverse owner;
    relationship guards: Guard[] optional inverse owner delete deny;
    relationship badge: Badge optional inverse owner delete cascade;
    relationship tags: Tag[] optional inverse owners;
    relationship peers: Owner[] optional inverse peers;
}
entity Part: Thing { relationship owner: Owner inverse parts; }
entity Note: Thing { relationship owner: Owner optional inverse notes; }
entity Guard: Thing { relationship owner: Owner optional inverse guards; }
entity Badge: Thing { relationship owner: Owner optional inverse badge; }
entity Tag: Thing { relationship owners: Owner[] optional inverse tags delete deny; }
)";

constexpr std::array policies{VXMergePolicy::Error, VXMergePolicy::MergeByPropertyObjectTrumps,
                              VXMergePolicy::MergeByPropertyStoreTrumps, VXMergePolicy::Overwrite,
                              VXMergePolicy::Rollback};

/** A user of the store who links and deletes what was seen some time ago. */
class Actor
{
public:
    Actor(const VXPersistentStoreCoordinator::Ptr &coordinator, std::mt19937 &random)
        : _context(coordinator), _random(random)
    {
    }

    void act()
    {
        const unsigned kind = below(12);
        if (kind == 0)
            look();
        else if (kind < 3)
            save();
        else
            change();
    }
    void save()
    {
        _context.setMergePolicy(policies.at(below(policies.size())));
        VXError error;
        ++_attempts;
        if (_context.save(&error)) {
            ++_saves;
            return;
        }
        using Code = VXObjectStoreErrorCode;
        const QList<Code> expected{Code::MergeConflict, Code::RelationshipDeniedDelete, Code::MissingMandatoryProperty,
                                   Code::MultipleValidation, Code::Validation};
        EXPECT_TRUE(expected.contains(Code(error.code()))) << error.description().toStdString();
        _seen.clear();
        below(2) == 0 ? _context.rollback() : _context.reset();
    }
    int saves() const { return _saves; }
    int refusals() const { return _attempts - _saves; }

private:
    unsigned below(size_t count) { return unsigned(_random() % count); }

    void look()
    {
        for (const VXEntityDescription *const entity : _context.persistentStoreCoordinator()->model().entities()) {
            if (entity->isAbstract())
                continue;
            VXFetchRequest request(*entity);
            request.limit = 6;
            request.sortDescriptors = {{.key = u"number"_s, .isAscending = below(2) == 0}};
            request.refreshesObjects = below(2) == 0;
            VXError error;
            const auto found = _context.executeFetchRequest(request, &error);
            ASSERT_TRUE(found) << error.description().toStdString();
            for (const Object &each : *found)
                _seen[entity->name()].append(each);
        }
    }
    // None when none was seen, or they are gone.
    Object any(const QString &entity)
    {
        QList<Object> &objects = _seen[entity];
        objects.removeIf(
            [](const Object &each) { return each->managedObjectContext() == nullptr || each->isDeleted(); });
        return objects.isEmpty() ? Object() : objects.at(qsizetype(below(size_t(objects.size()))));
    }
    Object make(const QString &entity)
    {
        Object made = _context.insertNewObject(entity);
        made->setValueForKey(qint64(_random() % 1000), u"number"_s);
        _seen[entity].append(made);
        return made;
    }
    void change()
    {
        static const std::array names{u"Part"_s, u"Note"_s, u"Guard"_s, u"Badge"_s, u"Tag"_s, u"Owner"_s};
        const QString &name = names.at(below(names.size()));
        const Object owner = any(u"Owner"_s);
        if (!owner) {
            make(u"Owner"_s);
            return;
        }
        const unsigned kind = below(6);
        if (kind == 0) {
            if (const Object doomed = any(below(2) == 0 ? u"Owner"_s : name))
                _context.deleteObject(doomed);
            return;
        }
        const Object other = kind == 1 ? make(name) : any(name);
        if (!other)
            return;
        const QVariant end = QVariant::fromValue(owner);
        if (name == u"Owner"_s)
            other->setValueForKey(QVariantList{end}, u"peers"_s);
        else if (name == u"Tag"_s)
            other->setValueForKey(kind == 2 ? QVariantList() : QVariantList{end}, u"owners"_s);
        else
            other->setValueForKey(kind == 2 && name != u"Part"_s ? QVariant() : end, u"owner"_s);
    }

    VXManagedObjectContext _context;
    std::mt19937 &_random;
    QHash<QString, QList<Object>> _seen;
    int _saves = 0;
    int _attempts = 0;
};

} // namespace

/** Processes of two contexts each that link to what the others delete. */
class VXReferenceAttackTest : public VXFaultTest, public testing::WithParamInterface<VXStoreType>
{
protected:
    VXPersistentStoreCoordinator::StorePtr open(const VXPersistentStoreCoordinator::Ptr &coordinator)
    {
        VXError error;
        auto store = coordinator->addPersistentStore(GetParam(), _file, {}, &error);
        EXPECT_TRUE(store) << error.description().toStdString();
        return store;
    }
    void attack(unsigned seed, int rounds)
    {
        std::mt19937 random(seed);
        const auto coordinator = Coordinator::coordinatorWithModel(_model);
        ASSERT_TRUE(open(coordinator));
        std::array<Actor, 2> actors{Actor(coordinator, random), Actor(coordinator, random)};
        while (std::min(actors[0].saves(), actors[1].saves()) < rounds && !HasFailure())
            actors.at(random() % actors.size()).act();
        EXPECT_GT(actors[0].refusals() + actors[1].refusals(), 0) << "nothing ever met";
    }

    const VXManagedObjectModel::Ptr _model = VXModelOf(ownerSource);
    const QString _file = fastFolder() + u"/store"_s;
};
INSTANTIATE_TEST_SUITE_P(Stores, VXReferenceAttackTest, testing::Values(VXStoreType::SQLite, VXStoreType::XML),
                         [](const auto &each) { return each.param == VXStoreType::XML ? "XML" : "SQLite"; });

TEST_P(VXReferenceAttackTest, NothingIsLeftDangling)
{
    const int rounds = configured("VORNIX_FAULT_ROUNDS", 40); // saves that succeed, of each context
    ASSERT_TRUE(open(Coordinator::coordinatorWithModel(_model)));
    std::array<pid_t, 2> processes = {};
    for (unsigned process = 0; process < processes.size(); ++process)
        processes.at(process) = start([&] { attack(process + 1, rounds); });
    for (const pid_t process : processes)
        EXPECT_EQ(outcomeOf(process), 0);
    const auto store = open(Coordinator::coordinatorWithModel(_model));
    ASSERT_TRUE(store);
    EXPECT_EQ(store->check(), QStringList());
    EXPECT_GT(VXFetchValues(*store, VXFetchRequest(*_model->entityForName(u"Thing"_s)), u"number"_s).size(), 0);
}
