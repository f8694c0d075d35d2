#include "VXContextTest.h"

#include <QtCore/QPoint>

#include <array>

using namespace Qt::StringLiterals;

using VXContextSaveTest = VXContextTest;
VX_INSTANTIATE_FOR_STORES(VXContextSaveTest);

TEST_P(VXContextSaveTest, NothingIsSavedUnlessAllIsValid)
{
    const Object jane = person(u"Jane"_s);
    const Object nameless = add(u"Person"_s);
    EXPECT_FALSE(context.save(&error));
    EXPECT_EQ(error.domain(), VXCocoaErrorDomain);
    EXPECT_EQ(error.code(), int(VXObjectStoreErrorCode::MissingMandatoryProperty));
    EXPECT_EQ(error.userInfo().value(VXValidationObjectKey).value<Object>(), nameless);
    EXPECT_EQ(error.userInfo().value(VXValidationKeyKey), u"name"_s);
    const Object call = add(u"Call"_s, {{u"name"_s, u"c"_s}});
    EXPECT_FALSE(context.save(&error));
    EXPECT_EQ(error.code(), int(VXObjectStoreErrorCode::MultipleValidation));
    EXPECT_EQ(error.userInfo().value(VXDetailedErrorsKey).toList().size(), 2);
    EXPECT_TRUE(jane->isInserted() && jane->objectID().isTemporary());
    EXPECT_TRUE(fetch(other, request(u"Person"_s)).isEmpty());

    nameless->setValueForKey(u"x"_s, u"name"_s);
    call->setValueForKey(QVariant::fromValue(jane), u"caller"_s);
    save();
    EXPECT_EQ(names(fetch(other, request(u"Person"_s, u"ANY calls.name == 'c'"_s))), u"Jane"_s);
}

TEST_P(VXContextSaveTest, MergePoliciesDecideWhatIsKept)
{
    struct Case
    {
        VXMergePolicy policy;
        const char *expected; // name and age; none where saving fails
    };
    // Here the name becomes "mine"; there the name becomes "theirs" and the age 99.
    for (const Case &each : std::array<Case, 5>{{{VXMergePolicy::Error, nullptr},
                                                 {VXMergePolicy::MergeByPropertyObjectTrumps, "mine 99"},
                                                 {VXMergePolicy::MergeByPropertyStoreTrumps, "theirs 99"},
                                                 {VXMergePolicy::Overwrite, "mine 18"},
                                                 {VXMergePolicy::Rollback, "theirs 99"}}}) {
        SCOPED_TRACE(int(each.policy));
        const Object object = person(u"first"_s);
        const Object bystander = person(u"bystander"_s);
        save();
        const Object same = there(object);
        same->setValueForKey(u"theirs"_s, u"name"_s);
        same->setValueForKey(99, u"age"_s);
        save(other);

        object->setValueForKey(u"mine"_s, u"name"_s);
        bystander->setValueForKey(1, u"age"_s);
        context.setMergePolicy(each.policy);
        error = {};
        const bool isSaved = context.save(&error);
        ASSERT_EQ(isSaved, each.expected != nullptr) << error.description().toStdString();
        other.reset();
        EXPECT_EQ(there(bystander)->valueForKey(u"age"_s), isSaved ? 1 : 18);
        if (isSaved) {
            const auto both = [](const Object &from) {
                return u"%1 %2"_s.arg(from->valueForKey(u"name"_s).toString(), from->valueForKey(u"age"_s).toString());
            };
            EXPECT_EQ(both(object), QLatin1StringView(each.expected));
            EXPECT_EQ(both(there(object)), QLatin1StringView(each.expected));
            EXPECT_FALSE(context.hasChanges());
            continue;
        }
        EXPECT_EQ(error.code(), 133020);
        const QVariantList conflicts = error.userInfo().value(u"conflictList"_s).toList();
        ASSERT_EQ(conflicts.size(), 1);
        const QVariantMap conflict = conflicts[0].toMap();
        EXPECT_EQ(conflict[u"object"_s].value<Object>(), object);
        EXPECT_EQ(conflict[u"snapshot"_s].toMap()[u"name"_s], u"first"_s);
        EXPECT_EQ(conflict[u"cachedRow"_s].toMap()[u"name"_s], u"theirs"_s);
        EXPECT_EQ(conflict[u"cachedRow"_s].toMap()[u"age"_s], 99);
        EXPECT_EQ(object->valueForKey(u"name"_s), u"mine"_s) << "nothing is lost";
        context.refreshObject(object, true);
        save();
        context.reset();
    }
}

TEST_P(VXContextSaveTest, DeletedObjectsConflictToo)
{
    // Deleted there and changed here, and the other way round: whether saving succeeds, and how many there are then.
    struct Case
    {
        VXMergePolicy policy;
        bool isSaved;
        int changedHere;
        int deletedHere;
    };
    for (const Case &each : std::array<Case, 4>{{{VXMergePolicy::Error, false, 0, 1},
                                                 {VXMergePolicy::MergeByPropertyObjectTrumps, true, 1, 0},
                                                 {VXMergePolicy::MergeByPropertyStoreTrumps, true, 0, 1},
                                                 {VXMergePolicy::Rollback, true, 0, 1}}}) {
        for (const bool isDeletedHere : {false, true}) {
            SCOPED_TRACE(std::to_string(int(each.policy)) + (isDeletedHere ? " deleted here" : " changed here"));
            const QString name = QString::number(int(each.policy) * 2 + int(isDeletedHere));
            const Object object = person(name);
            save();
            const Object same = there(object);
            EXPECT_EQ(same->valueForKey(u"name"_s), name);
            VXManagedObjectContext &deleting = isDeletedHere ? context : other;
            VXManagedObjectContext &changing = isDeletedHere ? other : context;
            deleting.deleteObject(isDeletedHere ? object : same);
            (isDeletedHere ? same : object)->setValueForKey(7, u"age"_s);
            save(isDeletedHere ? changing : deleting);
            context.setMergePolicy(each.policy);
            error = {};
            EXPECT_EQ(context.save(&error), each.isSaved);
            EXPECT_EQ(error.code(), each.isSaved ? 0 : 133020);
            context.reset();
            other.reset();
            EXPECT_EQ(fetch(other, request(u"Person"_s, u"name == %@"_s, {name})).size(),
                      isDeletedHere ? each.deletedHere : each.changedHere);
        }
    }
    EXPECT_EQ(store->check(), QStringList());
}

TEST_P(VXContextSaveTest, WhatBothDeletedIsNoConflict)
{
    const Object changed = person(u"changed"_s);
    const Object deleted = person(u"deleted"_s);
    save();
    there(changed)->setValueForKey(1, u"age"_s);
    other.deleteObject(there(deleted));
    save(other);
    changed->setValueForKey(2, u"age"_s);
    context.deleteObject(deleted);
    EXPECT_FALSE(context.save(&error));
    const QVariantList conflicts = error.userInfo().value(VXConflictListKey).toList();
    ASSERT_EQ(conflicts.size(), 1);
    EXPECT_EQ(conflicts[0].toMap()[u"object"_s].value<Object>(), changed);
    context.refreshObject(changed, false);
    save();
}

TEST_P(VXContextSaveTest, SeveralStoresAreSavedTogetherOrNotAtAll)
{
    const auto second = coordinator->addPersistentStore(VXStoreType::InMemory, {});
    const Object here = person(u"here"_s);
    const Object elsewhere = context.insertNewObject(entity(u"Person"_s), second);
    elsewhere->setValueForKey(u"elsewhere"_s, u"name"_s);
    save();
    EXPECT_EQ(here->objectID().store(), &store->identity());
    EXPECT_EQ(elsewhere->objectID().store(), &second->identity());
    EXPECT_EQ(names(fetch(other, request(u"Person"_s, u"TRUEPREDICATE"_s, {}, {u"name"_s}))), u"elsewhere here"_s);

    there(elsewhere)->setValueForKey(1, u"age"_s);
    save(other);
    here->setValueForKey(2, u"age"_s);
    elsewhere->setValueForKey(2, u"age"_s);
    EXPECT_FALSE(context.save(&error));
    EXPECT_EQ(error.code(), 133020);
    other.reset();
    EXPECT_EQ(there(here)->valueForKey(u"age"_s), 18) << "the other store had a conflict";

    EXPECT_TRUE(coordinator->removePersistentStore(second));
    EXPECT_FALSE(context.save(&error));
    EXPECT_EQ(error.code(), int(VXObjectStoreErrorCode::InvalidStore));
    context.refreshObject(elsewhere, false);
    save();
}

TEST_P(VXContextSaveTest, MetadataIsSavedWithTheObjects)
{
    QVariantMap metadata = store->metadata();
    metadata.insert(u"owner"_s, u"me"_s);
    store->setMetadata(metadata);
    EXPECT_FALSE(context.hasChanges());
    save();
    EXPECT_FALSE(store->unsavedMetadata());
    for (const QVariant &value : QVariantList{QPoint(), 1, true, 1.0, u"me"_s}) {
        metadata.insert(u"owner"_s, value);
        store->setMetadata(metadata);
        EXPECT_TRUE(store->unsavedMetadata()) << value.typeName();
        EXPECT_EQ(context.save(&error), value.typeId() != QMetaType::QPoint) << "which no property list holds";
    }
    if (GetParam() == VXStoreType::InMemory)
        return;
    const QVariantMap read = VXPersistentStoreCoordinator::metadataForPersistentStore(GetParam(), path(u"store"_s));
    EXPECT_EQ(read.value(u"owner"_s), u"me"_s);
}
