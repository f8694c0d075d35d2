#include "VXCoreDataSaveError.h"

#include "VXObjectStoreError.h"
#include "VXStoreFolderTest.h"

using namespace Qt::StringLiterals;
using testing::ElementsAre, testing::IsEmpty;

class VXCoreDataSaveErrorTest : public VXStoreFolderTest
{
protected:
    VXCoreDataSaveErrorTest() { coordinator->addPersistentStore(VXStoreType::InMemory, {}); }

    const VXPersistentStoreCoordinator::Ptr coordinator =
        VXPersistentStoreCoordinator::coordinatorWithModel(peopleModel());
    VXManagedObjectContext context{coordinator};
};

TEST_F(VXCoreDataSaveErrorTest, TellsWhatDiffersBetweenObjectContextAndStore)
{
    const VXManagedObjectPtr jane = addPerson(context, u"Jane"_s);
    const VXManagedObjectPtr boss = addPerson(context, u"Boss"_s);
    jane->setValueForKey(QVariantList{1, 2}, u"tags"_s);
    ASSERT_TRUE(context.save());
    VXManagedObjectContext other(coordinator);
    const VXManagedObjectPtr there = other.objectWithID(jane->objectID());
    there->setValueForKey(QVariant::fromValue(other.objectWithID(boss->objectID())), u"boss"_s);
    there->setValueForKey(33, u"age"_s);
    there->setValueForKey(QVariant(), u"tags"_s);
    ASSERT_TRUE(other.save());
    jane->setValueForKey(44, u"age"_s);
    jane->setValueForKey(QVariantList{1, 2, 3}, u"tags"_s);

    VXError error;
    ASSERT_FALSE(context.save(&error));
    EXPECT_TRUE(VXLogCoreDataSaveError(error));
    const QString bossID = boss->objectID().uriRepresentation().toString();
    EXPECT_THAT(takeLog(),
                ElementsAre(u"<INFO> "_s + jane->objectID().uriRepresentation().toString(), u"<INFO> \tkey: age"_s,
                            u"<INFO> \t\tobject:  44"_s, u"<INFO> \t\tcontext: (null)"_s, u"<INFO> \t\tstore:   33"_s,
                            u"<INFO> \tkey: boss"_s, u"<INFO> \t\tobject:  (null)"_s, u"<INFO> \t\tcontext: (null)"_s,
                            u"<INFO> \t\tstore:   "_s + bossID, u"<INFO> \tkey: tags"_s, u"<INFO> \t\tobject:  3"_s,
                            u"<INFO> \t\tcontext: 2"_s, u"<INFO> \t\tstore:   0"_s));
}

TEST_F(VXCoreDataSaveErrorTest, CountsObjectsThatWereLinkedMeanwhile)
{
    const VXManagedObjectPtr boss = addPerson(context, u"Boss"_s);
    ASSERT_TRUE(context.save());
    EXPECT_EQ(boss->valueForKey(u"staff"_s).toList().size(), 0);
    VXManagedObjectContext other(coordinator);
    const VXManagedObjectPtr there = other.objectWithID(boss->objectID());
    there->setValueForKey(33, u"age"_s);
    addPerson(other, u"Jane"_s)->setValueForKey(QVariant::fromValue(there), u"boss"_s);
    ASSERT_TRUE(other.save());
    boss->setValueForKey(33, u"age"_s);
    VXError error;
    ASSERT_FALSE(context.save(&error));
    EXPECT_TRUE(VXLogCoreDataSaveError(error));
    EXPECT_THAT(takeLog().mid(5), ElementsAre(u"<INFO> \tkey: staff"_s, u"<INFO> \t\tobject:  0"_s,
                                              u"<INFO> \t\tcontext: 0"_s, u"<INFO> \t\tstore:   1"_s));
}

TEST_F(VXCoreDataSaveErrorTest, CountsRelatedObjectsInWhateverOrder)
{
    const VXManagedObjectPtr boss = addPerson(context, u"Boss"_s);
    QVariantList staff;
    for (int index = 0; index < 3; ++index) {
        const VXManagedObjectPtr person = addPerson(context, QString::number(index));
        person->setValueForKey(QVariant::fromValue(boss), u"boss"_s);
        staff.prepend(QVariant::fromValue(person->objectID()));
    }
    const auto log = [&](const QVariant &snapshot, const QVariant &stored) {
        const QVariantMap conflict{{u"object"_s, QVariant::fromValue(boss)},
                                   {u"snapshot"_s, QVariantMap{{u"staff"_s, snapshot}}},
                                   {u"cachedRow"_s, QVariantMap{{u"staff"_s, stored}}}};
        EXPECT_TRUE(
            VXLogCoreDataSaveError({VXCocoaErrorDomain, 133020, {{u"conflictList"_s, QVariantList{conflict}}}}));
        return takeLog().mid(1);
    };
    EXPECT_THAT(log(staff, staff), IsEmpty());
    EXPECT_THAT(log(staff, QVariant()), ElementsAre(u"<INFO> \tkey: staff"_s, u"<INFO> \t\tobject:  3"_s,
                                                    u"<INFO> \t\tcontext: 3"_s, u"<INFO> \t\tstore:   0"_s));
}

TEST_F(VXCoreDataSaveErrorTest, OtherErrorsAreNotItsBusiness)
{
    const QVariantMap info{{VXConflictListKey, QVariantList{QVariantMap()}}};
    for (const VXError &error : {VXError(), VXError(VXCocoaErrorDomain, 133000, info), VXError(u"x"_s, 133020, info)})
        EXPECT_FALSE(VXLogCoreDataSaveError(error));
    EXPECT_TRUE(VXLogCoreDataSaveError({VXCocoaErrorDomain, 133020, info})); // of no object
    EXPECT_THAT(takeLog(), IsEmpty());
}
