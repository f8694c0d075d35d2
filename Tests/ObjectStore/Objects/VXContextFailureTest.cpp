#include "VXContextTest.h"
#include "VXFailingStore.h"

#include <array>
#include <functional>

using namespace Qt::StringLiterals;

using Call = VXFailingStore::Call;
using Code = VXObjectStoreErrorCode;

/** What a context says when its store fails. */
class VXContextFailureTest : public VXContextTest
{
protected:
    VXContextFailureTest()
    {
        jane = person(u"Jane"_s);
        call = add(u"Call"_s, {{u"name"_s, u"c"_s}, {u"caller"_s, QVariant::fromValue(jane)}});
        add(u"Call"_s, {{u"name"_s, u"d"_s}, {u"caller"_s, QVariant::fromValue(person(u"Zoë"_s))}});
        save();
        broken = std::make_shared<VXFailingStore>(store, coordinator->modelPtr());
        EXPECT_TRUE(failing->addPersistentStore(broken, &error));
        here = std::make_unique<VXManagedObjectContext>(failing);
    }

    /** The request fails with the store's error, whichever of its calls is the one that fails. */
    void expectFailure(const char *what, Call kind, const std::function<bool(VXError *error)> &run)
    {
        here->reset();
        VXError problem;
        broken->failing = Call::None;
        EXPECT_TRUE(run(&problem)) << what << problem.description().toStdString();
        here->reset();
        broken->failing = kind;
        EXPECT_FALSE(run(&problem)) << what;
        EXPECT_EQ(problem.localizedDescription(), u"broken"_s) << what;
        broken->failing = Call::None;
    }

    const VXPersistentStoreCoordinator::Ptr failing =
        VXPersistentStoreCoordinator::coordinatorWithModel(coordinator->modelPtr());
    std::shared_ptr<VXFailingStore> broken;
    std::unique_ptr<VXManagedObjectContext> here;
    Object jane, call;
};
VX_INSTANTIATE_FOR_STORES(VXContextFailureTest);

TEST_P(VXContextFailureTest, ReadingFailsWithTheStoresError)
{
    const auto fetches = [this](const VXFetchRequest &wanted) {
        return [this, wanted](VXError *problem) { return here->executeFetchRequest(wanted, problem).has_value(); };
    };
    const auto counts = [this](const VXFetchRequest &wanted) {
        return [this, wanted](VXError *problem) { return here->countForFetchRequest(wanted, problem).has_value(); };
    };
    const VXFetchRequest plain = request(u"Call"_s);
    const VXFetchRequest undecided =
        request(u"Person"_s, u"mood == NULL AND age > 1"_s); // needs the objects themselves
    VXFetchRequest walked = plain;
    walked.batchSize = 1;
    VXFetchRequest faults = request(u"Person"_s, u"mood == NULL"_s, {}, {u"mood"_s});
    faults.includesPropertyValues = false;
    VXFetchRequest callers = plain;
    callers.prefetchedRelationships = {u"caller"_s};
    VXFetchRequest calls = request(u"Person"_s);
    calls.prefetchedRelationships = {u"calls"_s};
    for (const Call kind : {Call::Fetch, Call::Next}) {
        for (const VXFetchRequest &each : {plain, undecided, walked, faults, callers})
            expectFailure("fetch", kind, fetches(each));
        expectFailure("count", kind, counts(undecided));
    }
    expectFailure("count", Call::Count, counts(plain));
    expectFailure("to-many", Call::Related, fetches(calls));
    expectFailure("to-one", Call::Row, fetches(callers));
    expectFailure("what the store leaves undecided", Call::Row, fetches(faults));
    expectFailure("object", Call::Row,
                  [this](VXError *problem) { return bool(here->existingObjectWithID(jane->objectID(), problem)); });
    const auto withChange = [](const Object &changed) { changed->setValueForKey(7, u"age"_s); };
    expectFailure("count beside changes", Call::Next, [&](VXError *problem) {
        withChange(here->objectWithID(jane->objectID()));
        return here->countForFetchRequest(request(u"Person"_s), problem).has_value();
    });
}

TEST_P(VXContextFailureTest, WhatCannotBeSavedStaysChanged)
{
    const Object object = here->existingObjectWithID(jane->objectID());
    for (const Call kind : {Call::Reserve, Call::Save, Call::Commit}) {
        SCOPED_TRACE(int(kind));
        object->setValueForKey(u"changed"_s, u"name"_s);
        const Object added = add(*here, u"Phone"_s, {{u"name"_s, u"p"_s}, {u"owner"_s, QVariant::fromValue(object)}});
        broken->failing = kind;
        error = {};
        EXPECT_FALSE(here->save(&error));
        EXPECT_EQ(error.localizedDescription(), u"broken"_s);
        EXPECT_TRUE(object->isUpdated() && added->isInserted() && added->objectID().isTemporary());
        EXPECT_EQ(added->valueForKey(u"owner"_s).value<Object>(), object);
        if (kind == Call::Reserve) {
            EXPECT_FALSE(here->obtainPermanentIDs({added}, &error));
            EXPECT_TRUE(added->objectID().isTemporary());
        }
        broken->failing = Call::None;
        other.reset();
        EXPECT_EQ(there(object)->valueForKey(u"name"_s), u"Jane"_s);
        EXPECT_TRUE(fetch(other, request(u"Phone"_s)).isEmpty());
        here->rollback();
    }
}

TEST_P(VXContextFailureTest, AChangeOfWhatCannotBeReadFailsTheNextSave)
{
    const Object owner = here->existingObjectWithID(jane->objectID());
    const std::array<std::function<void(const Object &)>, 4> changes{
        [](const Object &object) { object->setValueForKey(u"changed"_s, u"name"_s); },
        [&](const Object &object) { object->setValueForKey({}, u"caller"_s); },
        [&](const Object &object) { object->setValueForKey(QVariant::fromValue(owner), u"caller"_s); },
        [&](const Object &object) { here->deleteObject(object); },
    };
    for (size_t index = 0; index < changes.size(); ++index) {
        SCOPED_TRACE(index);
        for (const bool isRolledBack : {false, true}) {
            const Object fault = here->objectWithID(call->objectID());
            broken->failing = Call::Row;
            changes[index](fault);
            broken->failing = Call::None;
            if (isRolledBack)
                here->rollback();
            error = {};
            EXPECT_EQ(here->save(&error), isRolledBack);
            EXPECT_EQ(error.localizedRecoverySuggestion().contains(u"broken"_s), !isRolledBack);
            EXPECT_TRUE(here->save(&error)) << "told once";
        }
    }
    other.reset();
    EXPECT_EQ(names(fetch(other, request(u"Call"_s, u"caller.name == 'Jane'"_s))), u"c"_s);
}

TEST_P(VXContextFailureTest, ARelationshipThatCannotBeReadStaysAsItIs)
{
    const Object zoe = fetch(request(u"Person"_s, u"name == 'Zoë'"_s)).constFirst();
    jane->setValueForKey(QVariantList{QVariant::fromValue(zoe)}, u"friends"_s);
    const Object passport = add(u"Passport"_s, {{u"name"_s, u"p"_s}, {u"holder"_s, QVariant::fromValue(zoe)}});
    save();
    const int name = jane->entity().propertyForName(u"name"_s)->index();
    const int calls = jane->entity().propertyForName(u"calls"_s)->index();
    VXManagedObjectContext away(failing);
    const struct
    {
        const char *what;
        Call failing;
        std::function<void(const Object &person)> change;
    } changes[]{
        {"to-many", Call::Related, [](const Object &person) { person->setValueForKey(QVariantList(), u"calls"_s); }},
        {"many-to-many", Call::Related,
         [](const Object &person) { person->setValueForKey(QVariantList(), u"friends"_s); }},
        {"deletion", Call::Related, [this](const Object &person) { here->deleteObject(person); }},
        {"to-many, its objects", Call::Row,
         [](const Object &person) { person->setValueForKey(QVariantList(), u"calls"_s); }},
        {"deletion, objects of a cascade", Call::Row, [this](const Object &person) { here->deleteObject(person); }},
        {"deletion, what its cascade leads to", Call::None,
         [this](const Object &person) {
             for (const VXRelationshipDescription *const each : person->entity().relationships())
                 static_cast<void>(person->valueForKey(each->name()));
             broken->failing = Call::Related;
             here->deleteObject(person);
         }},
        {"one taken out", Call::Row,
         [&](const Object &person) { person->removeRelated(calls, here->objectWithID(call->objectID())); }},
        {"pair", Call::Row,
         [&](const Object &person) {
             person->setValueForKey(QVariant::fromValue(here->objectWithID(passport->objectID())), u"passport"_s);
         }},
        {"copy", Call::Row,
         [&](const Object &person) { person->copyAttribute(name, *here->objectWithID(zoe->objectID()), name); }},
        {"copy from another context", Call::Row,
         [&](const Object &person) { person->copyAttribute(name, *away.objectWithID(zoe->objectID()), name); }},
    };
    const auto all = [this](const QString &entity, const QString &format) {
        return names(fetch(other, request(entity, format, {}, {u"name"_s})));
    };
    for (const auto &[what, kind, change] : changes) {
        SCOPED_TRACE(what);
        here->reset();
        const Object person = here->existingObjectWithID(jane->objectID());
        broken->failing = kind;
        change(person);
        broken->failing = Call::None;
        error = {};
        EXPECT_FALSE(here->save(&error));
        EXPECT_TRUE(error.localizedRecoverySuggestion().contains(u"broken"_s)) << error.description().toStdString();
        EXPECT_FALSE(here->hasChanges());
        EXPECT_TRUE(here->save(&error)) << error.description().toStdString();
        other.reset();
        EXPECT_EQ(all(u"Person"_s, u"friends.@count == 1"_s), u"Jane Zoë"_s);
        EXPECT_EQ(all(u"Call"_s, u"caller.name == 'Jane'"_s), u"c"_s);
        EXPECT_EQ(all(u"Passport"_s, u"holder.name == 'Zoë'"_s), u"p"_s);
    }
}

TEST_P(VXContextFailureTest, AChangeLostDuringASaveFailsThatOne)
{
    here->existingObjectWithID(jane->objectID())->setValueForKey(7, u"age"_s);
    QObject observer;
    const auto change = [this](const VXNotification &) { here->deleteObject(here->objectWithID(call->objectID())); };
    VXNotificationCenter::defaultCenter().addObserver(&observer, VXManagedObjectContextWillSaveNotification, change,
                                                      QVariant::fromValue(here.get()));
    broken->failing = Call::Row;
    EXPECT_FALSE(here->save(&error));
    EXPECT_TRUE(error.localizedRecoverySuggestion().contains(u"broken"_s)) << error.description().toStdString();
}

// The store that was saved keeps it; saving again saves the rest, and nothing twice.
TEST_P(VXContextFailureTest, ASaveInPartIsFinishedByTheNext)
{
    const auto second =
        std::make_shared<VXFailingStore>(VXPersistentStoreCoordinator::coordinatorWithModel(coordinator->modelPtr())
                                             ->addPersistentStore(VXStoreType::InMemory, {}),
                                         coordinator->modelPtr());
    ASSERT_TRUE(coordinator->addPersistentStore(second, &error));
    const auto addTo = [this](const VXPersistentStoreCoordinator::StorePtr &place, const QString &name) {
        const Object made = context.insertNewObject(entity(u"Person"_s), place);
        made->setValueForKey(name, u"name"_s);
        return made;
    };
    jane->setValueForKey(u"Joan"_s, u"name"_s);
    const Object near = addTo(store, u"near"_s);
    const Object far = addTo(second, u"far"_s);
    second->failing = Call::Commit;
    EXPECT_FALSE(context.save(&error));
    EXPECT_EQ(error.code(), int(Code::SavedInPart)) << error.description().toStdString();
    EXPECT_TRUE(!jane->hasChanges() && !near->hasChanges() && !near->objectID().isTemporary());
    EXPECT_TRUE(far->isInserted() && far->objectID().isTemporary());
    EXPECT_EQ(names(fetch(other, request(u"Person"_s, u"TRUEPREDICATE"_s, {}, {u"name"_s}))), u"Joan Zoë near"_s);

    second->failing = Call::None;
    near->setValueForKey(u"nearer"_s, u"name"_s);
    save();
    EXPECT_FALSE(context.hasChanges());
    other.reset();
    EXPECT_EQ(names(fetch(other, request(u"Person"_s, u"TRUEPREDICATE"_s, {}, {u"name"_s}))), u"Joan Zoë far nearer"_s);
}
