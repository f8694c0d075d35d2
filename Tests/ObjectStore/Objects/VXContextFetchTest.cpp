#include "VXContextTest.h"

#include <array>

using namespace Qt::StringLiterals;

/** The people Ann 20, Bob 30, Cid 40 and the employee Dora 50, of whom each knows those before. */
class VXContextFetchTest : public VXContextTest
{
protected:
    VXContextFetchTest()
    {
        for (int index = 0; index < 4; ++index) {
            const Object object = add(index == 3 ? u"Employee"_s : u"Person"_s,
                                      {{u"name"_s, names4[size_t(index)]}, {u"age"_s, 20 + 10 * index}});
            object->setValueForKey(QVariant::fromValue(people), u"friends"_s);
            for (int number = 0; number < index; ++number)
                add(u"Phone"_s,
                    {{u"name"_s, u"%1%2"_s.arg(index).arg(number)}, {u"owner"_s, QVariant::fromValue(object)}});
            people.append(object);
        }
        save();
    }

    QString found(const QString &format, const QVariantList &arguments = {})
    {
        return names(fetch(request(u"Person"_s, format, arguments, {u"name"_s})));
    }

    const std::array<QString, 4> names4{u"Ann"_s, u"Bob"_s, u"Cid"_s, u"Dora"_s};
    QList<Object> people;
};
VX_INSTANTIATE_FOR_STORES(VXContextFetchTest);

TEST_P(VXContextFetchTest, UnsavedChangesTakePart)
{
    const Object eve = add(u"Person"_s, {{u"name"_s, u"Eve"_s}, {u"age"_s, 35}});
    EXPECT_EQ(context.countForFetchRequest(request(u"Person"_s)), 5) << "an insertion alone";
    people[0]->setValueForKey(36, u"age"_s); // comes to match
    people[2]->setValueForKey(10, u"age"_s); // does not any more
    context.deleteObject(people[3]);

    VXFetchRequest fetched = request(u"Person"_s, u"age > 29"_s, {}, {u"age"_s});
    EXPECT_EQ(names(fetch(fetched)), u"Bob Eve Ann"_s);
    EXPECT_EQ(context.countForFetchRequest(fetched), 3);
    fetched.offset = 1;
    fetched.limit = 1;
    EXPECT_EQ(names(fetch(fetched)), u"Eve"_s);
    EXPECT_EQ(context.countForFetchRequest(fetched), 1);
    fetched.batchSize = 1;
    EXPECT_EQ(names(fetch(fetched)), u"Eve"_s);
    fetched.limit = fetched.offset = 0;
    EXPECT_EQ(names(fetch(fetched)), u"Bob Eve Ann"_s);
    fetched.includesPendingChanges = false;
    EXPECT_EQ(context.countForFetchRequest(fetched), 3) << "Bob, Cid, Dora";

    EXPECT_EQ(found(u"SELF == %@"_s, {QVariant::fromValue(eve)}), u"Eve"_s);
    const QVariantList two{QVariant::fromValue(people[0]->objectID()), QVariant::fromValue(eve)};
    EXPECT_EQ(found(u"SELF IN %@"_s, {QVariant(two)}), u"Ann Eve"_s);
    eve->setValueForKey(QVariant::fromValue(QList{people[1]}), u"friends"_s);
    EXPECT_EQ(found(u"ANY friends == %@"_s, {QVariant::fromValue(people[1])}), u"Ann Cid Eve"_s);
    EXPECT_EQ(found(u"friends.@count == 1"_s), u"Eve"_s);
}

TEST_P(VXContextFetchTest, RequestsDecideWhatIsReadAndHow)
{
    other.reset();
    VXFetchRequest fetched = request(u"Person"_s, u"TRUEPREDICATE"_s, {}, {u"name"_s});
    fetched.includesSubentities = false;
    EXPECT_EQ(names(fetch(other, fetched)), u"Ann Bob Cid"_s);
    fetched.includesSubentities = true;
    EXPECT_EQ(names(fetch(other, request(u"Named"_s, u"name BEGINSWITH 'D'"_s))), u"Dora"_s);
    EXPECT_EQ(names(fetch(other, request(u"Employee"_s))), u"Dora"_s);

    fetched.includesPropertyValues = false;
    auto faults = other.executeFetchRequest(fetched);
    EXPECT_TRUE(faults->at(2)->isFault());
    EXPECT_EQ(faults->at(2)->valueForKey(u"age"_s), 40);

    const auto older = VXFetchRequest::fromTemplate(entity(u"Person"_s), u"older"_s, {{u"AGE"_s, 35}}, &error);
    ASSERT_TRUE(older);
    EXPECT_EQ(other.countForFetchRequest(*older), 2);

    const Object bob = there(people[1]);
    EXPECT_EQ(bob->valueForKey(u"age"_s), 30);
    people[1]->setValueForKey(31, u"age"_s);
    save();
    fetched.includesPropertyValues = true;
    EXPECT_EQ(fetch(other, fetched)[1]->valueForKey(u"age"_s), 30) << "read before";
    fetched.refreshesObjects = true;
    EXPECT_EQ(fetch(other, fetched)[1]->valueForKey(u"age"_s), 31);

    fetched.sortDescriptors = {{u"phones.@count"_s, false}, {u"name"_s}};
    EXPECT_EQ(names(fetch(other, fetched)), u"Dora Cid Bob Ann"_s);

    for (const auto &[key, reason] :
         {std::pair(u"salary"_s, u"entity Person has no \"salary\""_s),
          {u"name.x"_s, u"\"name\" of Person is an attribute: \"x\" leads nowhere"_s},
          {u"passport"_s, u"\"passport\" leads to objects, which have no order"_s},
          {u"phones.name"_s, u"\"phones.name\" leads to many values, which have no order"_s}}) {
        fetched.sortDescriptors = {{u"name"_s}, {key}};
        EXPECT_FALSE(other.executeFetchRequest(fetched, &error));
        EXPECT_EQ(error.localizedRecoverySuggestion(), reason);
        EXPECT_EQ(other.countForFetchRequest(fetched), 4);
    }
}

TEST_P(VXContextFetchTest, BatchesKeepFewObjectsInMemory)
{
    VXManagedObjectContext walking(coordinator);
    VXFetchRequest fetched = request(u"Person"_s, u"TRUEPREDICATE"_s, {}, {u"name"_s});
    fetched.batchSize = 2;
    fetched.prefetchedRelationships = {u"phones"_s};
    const auto result = walking.executeFetchRequest(fetched);
    ASSERT_EQ(result->size(), 4);
    EXPECT_EQ(walking.registeredObjectCount(), 0);
    QString walked;
    for (const Object &object : *result) {
        walked += object->valueForKey(u"name"_s).toString();
        EXPECT_LE(walking.registeredObjectCount(), 2 + 5);
    }
    EXPECT_EQ(walked, u"AnnBobCidDora"_s);
    EXPECT_EQ(result->at(0)->valueForKey(u"name"_s), u"Ann"_s);
}

TEST_P(VXContextFetchTest, PrefetchedObjectsNeedNoMoreReading)
{
    VXManagedObjectContext fresh(coordinator);
    VXFetchRequest fetched = request(u"Phone"_s, u"TRUEPREDICATE"_s, {}, {u"name"_s});
    fetched.prefetchedRelationships = {u"owner"_s};
    const auto phones = fresh.executeFetchRequest(fetched);
    ASSERT_EQ(phones->size(), 6);
    EXPECT_EQ(fresh.registeredObjectCount(), 6 + 3);
    EXPECT_TRUE(coordinator->removePersistentStore(store)); // so that nothing can be read any more
    QString owners;
    for (const Object &phone : *phones)
        owners += phone->valueForKey(u"owner"_s).value<Object>()->valueForKey(u"name"_s).toString();
    EXPECT_EQ(owners, u"BobCidCidDoraDoraDora"_s);
}

// Predicates that a store decides make no more objects than they find.
TEST_P(VXContextFetchTest, KeyPathsAndTextsAreDecidedByTheStore)
{
    VXManagedObjectContext fresh(coordinator);
    const auto found =
        fetch(fresh, request(u"Phone"_s, u"owner.name CONTAINS[cd] %@ AND owner.age > 35"_s, {u"CÍ"_s}, {u"name"_s}));
    EXPECT_EQ(names(found), u"20 21"_s);
    EXPECT_EQ(fresh.madeObjectCount(), 2);
    EXPECT_EQ(fresh.countForFetchRequest(request(u"Person"_s, u"ANY phones.name BEGINSWITH '3'"_s)), 1);
    EXPECT_EQ(fresh.madeObjectCount(), 2);
}

TEST_P(VXContextFetchTest, FailuresToReadAreReported)
{
    const Object fault = there(people[0]);
    ASSERT_TRUE(fault->isFault());
    EXPECT_TRUE(coordinator->removePersistentStore(store));
    EXPECT_FALSE(other.existingObjectWithID(fault->objectID(), &error));
    EXPECT_EQ(error.code(), int(VXObjectStoreErrorCode::InvalidStore));
    const VXDiagnosticRecorder diagnostics;
    EXPECT_FALSE(fault->valueForKey(u"name"_s).isValid());
    EXPECT_EQ(diagnostics.texts().size(), 1);
    EXPECT_EQ(people[0]->valueForKey(u"name"_s), u"Ann"_s) << "read already";
}
