#include "VXContextTest.h"
#include "VXException.h"

using namespace Qt::StringLiterals;

using VXManagedObjectContextTest = VXContextTest;
VX_INSTANTIATE_FOR_STORES(VXManagedObjectContextTest);

TEST_P(VXManagedObjectContextTest, ThereIsOneObjectForAnID)
{
    const Object jane = person(u"Jane"_s);
    save();
    EXPECT_EQ(context.registeredObjectCount(), 1);
    EXPECT_EQ(fetch(request(u"Person"_s)).value(0), jane);
    EXPECT_NE(there(jane), jane);
    EXPECT_TRUE(there(jane)->isFault());
    const VXManagedObjectID objectID = jane->objectID();
    const QUrl uri = objectID.uriRepresentation();
    EXPECT_EQ(context.objectWithID(coordinator->objectIDForURIRepresentation(uri)), jane);
    EXPECT_EQ(other.registeredObjectCount(), 0) << "nobody holds it";
    EXPECT_FALSE(other.objectRegisteredForID(objectID));

    const VXManagedObjectID unknown(entity(u"Person"_s), store->identity(), 4711);
    const Object nobody = context.objectWithID(unknown);
    ASSERT_TRUE(nobody);
    EXPECT_FALSE(nobody->valueForKey(u"name"_s).isValid());
    EXPECT_FALSE(context.existingObjectWithID(unknown, &error));
    EXPECT_FALSE(error);
    EXPECT_THROW(context.insertNewObject(u"Nobody"_s), VXAssertionException);
    EXPECT_THROW(jane->setValueForKey(QVariant::fromValue(QList{there(jane)}), u"friends"_s), VXAssertionException);
}

TEST_P(VXManagedObjectContextTest, DeleteRulesDecideAboutTheRest)
{
    const Object jane = person(u"Jane"_s);
    const Object phone = add(u"Phone"_s, {{u"name"_s, u"555"_s}, {u"owner"_s, QVariant::fromValue(jane)}});
    const Object call = add(u"Call"_s, {{u"name"_s, u"c"_s}, {u"caller"_s, QVariant::fromValue(jane)}});
    const Object club = add(u"Group"_s, {{u"name"_s, u"Club"_s}});
    club->setValueForKey(QVariant::fromValue(QList{jane}), u"members"_s);
    save();

    other.deleteObject(there(club));
    EXPECT_FALSE(other.save(&error));
    EXPECT_EQ(error.code(), int(VXObjectStoreErrorCode::RelationshipDeniedDelete));
    EXPECT_TRUE(error.description().contains("still leads to an object."_L1)) << error.description().toStdString();
    EXPECT_EQ(other.deletedObjects().size(), 1) << "what could not be saved stays";
    other.rollback();

    context.deleteObject(jane);
    EXPECT_TRUE(call->isDeleted());
    EXPECT_FALSE(phone->valueForKey(u"owner"_s).isValid());
    EXPECT_TRUE(club->valueForKey(u"members"_s).toList().isEmpty());
    EXPECT_TRUE(fetch(request(u"Call"_s)).isEmpty());
    context.rollback();
    EXPECT_EQ(phone->valueForKey(u"owner"_s).value<Object>(), jane);
    EXPECT_EQ(fetch(request(u"Call"_s)).size(), 1);

    context.deleteObject(jane);
    save();
    EXPECT_EQ(jane->managedObjectContext(), nullptr);
    EXPECT_THROW(jane->setValueForKey(1, u"age"_s), VXAssertionException);
    for (const auto &[name, count] : {std::pair{u"Person"_s, 0}, {u"Call"_s, 0}, {u"Phone"_s, 1}, {u"Group"_s, 1}})
        EXPECT_EQ(fetch(other, request(name)).size(), count) << name.toStdString();
    context.deleteObject(club);
    save();
    EXPECT_EQ(store->check(), QStringList());

    const Object passing = person(u"x"_s);
    context.deleteObject(passing);
    EXPECT_FALSE(context.hasChanges()) << "deleted before it was ever saved";
}

// A chain as long as this must not need a stack as deep.
TEST_P(VXManagedObjectContextTest, LongChainsAreDeletedAndForgotten)
{
    constexpr int length = 20'000;
    Object last;
    for (int index = 0; index < length; ++index) {
        const Object next = add(u"Person"_s, {{u"name"_s, QString::number(index)}});
        if (last)
            next->setValueForKey(QVariant::fromValue(QList{last}), u"friends"_s);
        last = next;
    }
    save();
    EXPECT_EQ(context.registeredObjectCount(), 1) << "only what is held";
    for (const Object &each : fetch(request(u"Person"_s)))
        context.deleteObject(each);
    save();
    EXPECT_EQ(context.countForFetchRequest(request(u"Person"_s)), 0);
}

TEST_P(VXManagedObjectContextTest, RefreshedObjectsShowTheStore)
{
    const Object jane = person(u"Jane"_s);
    save();
    const Object same = there(jane);
    same->setValueForKey(50, u"age"_s);
    same->setValueForKey(1.7, u"height"_s);
    save(other);

    jane->setValueForKey(u"Joan"_s, u"name"_s);
    context.refreshObject(jane, true);
    EXPECT_EQ(jane->valueForKey(u"age"_s), 50);
    EXPECT_EQ(jane->valueForKey(u"name"_s), u"Joan"_s);
    save(); // on top of the other's changes, without a conflict
    jane->setValueForKey(u"Jo"_s, u"name"_s);
    context.refreshObject(jane, false);
    EXPECT_FALSE(context.hasChanges());
    EXPECT_TRUE(jane->isFault());
    EXPECT_EQ(jane->valueForKey(u"name"_s), u"Joan"_s);

    context.reset();
    EXPECT_EQ(jane->managedObjectContext(), nullptr);
    EXPECT_FALSE(jane->valueForKey(u"name"_s).isValid());
}

TEST_P(VXManagedObjectContextTest, ObserversAreToldOnceWhatChanged)
{
    const Object jane = person(u"Jane"_s);
    const Object zoe = person(u"Zoe"_s);
    const Object gone = person(u"Gone"_s);
    save();
    QStringList told;
    const auto describe = [&told](const VXNotification &notification) {
        QStringList parts;
        const QVariantMap &info = notification.userInfo;
        for (auto entry = info.cbegin(); entry != info.cend(); ++entry)
            parts.append(u"%1 [%2]"_s.arg(entry.key(), sortedNames(*entry)));
        told.append(parts.join(u", "_s));
    };
    QObject observer;
    auto &center = VXNotificationCenter::defaultCenter();
    for (const auto &name :
         {VXManagedObjectContextObjectsDidChangeNotification, VXManagedObjectContextDidSaveNotification})
        center.addObserver(&observer, name, describe, QVariant::fromValue(&context));

    person(u"New"_s);
    jane->setValueForKey(1, u"age"_s);
    jane->setValueForKey(2, u"age"_s);
    context.deleteObject(gone);
    save();
    jane->setValueForKey(3, u"age"_s);
    save();
    save();
    EXPECT_EQ(told, (QStringList{u"deleted [Gone], inserted [New], updated [Jane]"_s,
                                 u"deleted [Gone], inserted [New], updated [Jane]"_s, u"updated [Jane]"_s,
                                 u"updated [Jane]"_s}));
    told.clear();
    there(zoe)->setValueForKey(u"Zoë"_s, u"name"_s);
    save(other);
    context.mergeChanges({}, {zoe->objectID()}, {});
    EXPECT_EQ(told, QStringList{u"refreshed [Zoë]"_s});

    told.clear();
    context.refreshObject(zoe, false);
    jane->setValueForKey(4, u"age"_s);
    context.refreshObject(jane, true);
    context.processPendingChanges();
    EXPECT_EQ(told, QStringList{u"refreshed [Zoë], updated [Jane]"_s});

    told.clear();
    context.rollback();
    EXPECT_EQ(told, QStringList{u"refreshed [Jane]"_s});
}

TEST_P(VXManagedObjectContextTest, ObjectsTurnedIntoFaultsAreNotHeld)
{
    for (int number = 0; number < 10; ++number)
        person(QString::number(number));
    save();
    context.reset();
    VXFetchRequest batched = request(u"Person"_s);
    batched.batchSize = 2;
    const auto people = context.executeFetchRequest(batched);
    for (const Object &each : *people) {
        EXPECT_FALSE(each->valueForKey(u"name"_s).isNull());
        context.refreshObject(each, false);
    }
    EXPECT_LE(context.registeredObjectCount(), 4);
}

TEST_P(VXManagedObjectContextTest, RowsThatAreKeptAreReadOnce)
{
    const Object brief = person(u"Zoë"_s);
    const Object lengthy = person(QString(1000, u'x'));
    save();
    context.reset();
    other.keepRows(1000);
    const auto namesIn = [&](VXManagedObjectContext &from) {
        VXFetchRequest batched = request(u"Person"_s, u"TRUEPREDICATE"_s, {}, {u"name"_s});
        batched.batchSize = 1;
        const auto people = from.executeFetchRequest(batched);
        QStringList names;
        for (const Object &each : *people)
            names.append(each->valueForKey(u"name"_s).toString().left(5));
        return names;
    };
    EXPECT_EQ(namesIn(other), (QStringList{u"Zoë"_s, u"xxxxx"_s}));
    for (const Object &each : {brief, lengthy})
        context.objectWithID(each->objectID())->setValueForKey(u"new"_s, u"name"_s);
    save();
    EXPECT_EQ(namesIn(context), (QStringList{u"new"_s, u"new"_s}));
    QStringList kept;
    const auto note = [&](const VXFetchedRow &fetched) {
        kept.append(fetched.row->text(fetched.objectID.entity().propertyForName(u"name"_s)->index()).toString());
    };
    EXPECT_TRUE(other.storedRows({brief->objectID(), lengthy->objectID()}, note, &error));
    EXPECT_EQ(kept, (QStringList{u"Zoë"_s, u"new"_s}));
    other.reset();
    kept.clear();
    EXPECT_TRUE(other.storedRows({brief->objectID()}, note, &error));
    EXPECT_EQ(kept, QStringList{u"new"_s});
}

TEST_P(VXManagedObjectContextTest, ChangesOfOthersAreMergedUnderOwnOnes)
{
    const Object jane = person(u"Jane"_s);
    const Object zoe = person(u"Zoe"_s);
    const Object call = add(u"Call"_s, {{u"name"_s, u"c"_s}, {u"caller"_s, QVariant::fromValue(jane)}});
    save();
    EXPECT_EQ(sortedNames(jane->valueForKey(u"calls"_s)), u"c"_s);
    const Object sameJane = there(jane);
    const Object sameCall = there(call);
    sameJane->setValueForKey(60, u"age"_s);
    sameCall->setValueForKey(QVariant::fromValue(there(zoe)), u"caller"_s);
    const Object added = add(other, u"Phone"_s, {{u"name"_s, u"1"_s}, {u"owner"_s, QVariant::fromValue(sameJane)}});
    save(other);

    EXPECT_EQ(sortedNames(jane->valueForKey(u"calls"_s)), u"c"_s) << "read before";
    EXPECT_EQ(sortedNames(jane->valueForKey(u"phones"_s)), u"1"_s) << "read only now";
    jane->setValueForKey(u"Joan"_s, u"name"_s);
    context.mergeChanges({added->objectID()}, {jane->objectID(), call->objectID(), zoe->objectID()}, {});
    EXPECT_EQ(jane->valueForKey(u"age"_s), 60);
    EXPECT_EQ(jane->valueForKey(u"name"_s), u"Joan"_s);
    EXPECT_EQ(sortedNames(jane->valueForKey(u"calls"_s)), QString());
    EXPECT_EQ(sortedNames(zoe->valueForKey(u"calls"_s)), u"c"_s);
    save();

    const VXManagedObjectID callID = call->objectID(), zoeID = zoe->objectID();
    zoe->setValueForKey(u"glad"_s, u"mood"_s); // no unsaved change
    other.deleteObject(sameCall);
    other.deleteObject(there(zoe));
    save(other);
    context.mergeChanges({}, {}, {callID, zoeID});
    for (const Object &gone : {call, zoe})
        EXPECT_EQ(gone->managedObjectContext(), nullptr);
}

// What the context leads to itself counts, not what somebody else made of it, and nothing brings back what is gone.
TEST_P(VXManagedObjectContextTest, OwnReferencesCountWhateverOthersDo)
{
    const Object jane = person(u"Jane"_s);
    const Object phone = add(u"Phone"_s, {{u"name"_s, u"1"_s}});
    save();
    const Object zoe = add(other, u"Person"_s, {{u"name"_s, u"Zoe"_s}});
    there(phone)->setValueForKey(QVariant::fromValue(zoe), u"owner"_s);
    save(other);
    phone->setValueForKey(QVariant::fromValue(jane), u"owner"_s);
    context.mergeChanges({zoe->objectID()}, {phone->objectID()}, {});
    const Object sameZoe = context.objectWithID(zoe->objectID());
    EXPECT_EQ(sortedNames(sameZoe->valueForKey(u"phones"_s)), QString());
    EXPECT_EQ(sortedNames(jane->valueForKey(u"phones"_s)), u"1"_s);
    context.refreshObject(phone, false);
    EXPECT_EQ(sortedNames(sameZoe->valueForKey(u"phones"_s)), u"1"_s);

    phone->setValueForKey(QVariant::fromValue(jane), u"owner"_s);
    other.deleteObject(zoe);
    save(other);
    context.mergeChanges({}, {}, {sameZoe->objectID()});
    EXPECT_EQ(names(fetch(request(u"Person"_s))), u"Jane"_s);
    context.reset();
    const Object loose = fetch(request(u"Phone"_s)).first();
    loose->setValueForKey(QVariant::fromValue(context.objectWithID(zoe->objectID())), u"owner"_s);
    EXPECT_EQ(names(fetch(request(u"Person"_s))), u"Jane"_s) << "it is gone";
    EXPECT_EQ(context.countForFetchRequest(request(u"Person"_s)), 1);
}

TEST_P(VXManagedObjectContextTest, PermanentIDsCanBeHadBeforeSaving)
{
    const Object jane = person(u"Jane"_s);
    const Object call = add(u"Call"_s, {{u"name"_s, u"c"_s}, {u"caller"_s, QVariant::fromValue(jane)}});
    ASSERT_TRUE(context.obtainPermanentIDs({jane}, &error));
    EXPECT_FALSE(jane->objectID().isTemporary());
    EXPECT_TRUE(jane->isInserted());
    EXPECT_EQ(call->valueForKey(u"caller"_s).value<Object>(), jane);
    EXPECT_EQ(sortedNames(jane->valueForKey(u"calls"_s)), u"c"_s);
    EXPECT_EQ(names(fetch(request(u"Call"_s, u"caller.name == 'Jane'"_s))), u"c"_s);
    const VXManagedObjectID objectID = jane->objectID();
    save();
    EXPECT_TRUE(context.obtainPermanentIDs({jane, nullptr}, &error));
    EXPECT_EQ(jane->objectID(), objectID);
    EXPECT_EQ(other.existingObjectWithID(objectID)->valueForKey(u"name"_s), u"Jane"_s);
}
