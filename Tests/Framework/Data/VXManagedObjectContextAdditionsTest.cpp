#include "VXManagedObjectContextAdditions.h"

#include "VXApplication.h"
#include "VXFramework.h"
#include "VXMainThread.h"
#include "VXStoreFolderTest.h"

#include <QtCore/QObject>

#include <thread>

using namespace Qt::StringLiterals;
using testing::ElementsAre, testing::IsEmpty;

class VXManagedObjectContextAdditionsTest : public VXStoreFolderTest
{
protected:
    VXManagedObjectContextAdditionsTest() { coordinator->addPersistentStore(VXStoreType::InMemory, {}); }
    ~VXManagedObjectContextAdditionsTest() override
    {
        VXApplication::sharedApplication().setAsTerminating(false);
        VX_OSX_VERSION = 0x1050;
    }

    static VXPersistentStoreCoordinator::Ptr makeCoordinator()
    {
        return VXPersistentStoreCoordinator::coordinatorWithModel(peopleModel());
    }
    /** Has the observer notice saves, as "1 - 2": how many objects were inserted, updated, deleted. */
    void observe(const VXManagedObjectContext *own)
    {
        const auto countOf = [](const VXObjectIDList &list) { return list ? QString::number(list->size()) : u"-"_s; };
        VXNotificationCenter::defaultCenter().addObserver(
            observer.get(), VXManagedObjectContextDidSaveNotification, [=, this](const VXNotification &notification) {
                dispatchContextSaveNotificationToMainThread(
                    observer.get(), notification, own,
                    [=, this](const auto &inserted, const auto &updated, const auto &deleted) {
                        EXPECT_TRUE(VXMainThread::isCurrent());
                        heard.append(countOf(inserted) + u' ' + countOf(updated) + u' ' + countOf(deleted));
                    });
            });
    }

    const VXPersistentStoreCoordinator::Ptr coordinator = makeCoordinator();
    VXManagedObjectContext context{coordinator};
    std::unique_ptr<QObject> observer = std::make_unique<QObject>();
    QStringList heard;
};

TEST_F(VXManagedObjectContextAdditionsTest, TellsOfWhatOthersSaved)
{
    observe(&context);
    VXManagedObjectContext other(coordinator);
    const VXManagedObjectPtr jane = addPerson(other, u"Jane"_s);
    addPerson(other, u"Joe"_s);
    ASSERT_TRUE(other.save());
    jane->setValueForKey(3, u"age"_s);
    addPerson(other, u"Zoë"_s);
    ASSERT_TRUE(other.save());
    other.deleteObject(jane);
    ASSERT_TRUE(other.save());
    EXPECT_THAT(heard, ElementsAre(u"2 - -"_s, u"1 1 -"_s, u"- - 1"_s));

    heard.clear();
    addPerson(context, u"own"_s);
    ASSERT_TRUE(context.save());
    const auto elsewhere = makeCoordinator();
    elsewhere->addPersistentStore(VXStoreType::InMemory, {});
    VXManagedObjectContext stranger(elsewhere);
    addPerson(stranger, u"other store"_s);
    ASSERT_TRUE(stranger.save());
    VXApplication::sharedApplication().setAsTerminating(true);
    addPerson(other, u"too late"_s);
    ASSERT_TRUE(other.save());
    EXPECT_THAT(heard, IsEmpty());
}

TEST_F(VXManagedObjectContextAdditionsTest, HandsOverToTheMainThreadWithoutWaiting)
{
    observe(nullptr);
    const auto saveElsewhere = [](const VXPersistentStoreCoordinator::Ptr &store) {
        std::thread([&store] {
            VXManagedObjectContext other(store);
            addPerson(other, u"Jane"_s);
            EXPECT_TRUE(other.save());
        }).join();
    };
    saveElsewhere(coordinator); // ends although the main thread does not listen
    EXPECT_THAT(heard, IsEmpty());
    EXPECT_TRUE(VXRunUntil([this] { return !heard.isEmpty(); }));
    EXPECT_THAT(heard, ElementsAre(u"1 - -"_s));

    auto own = VXPersistentStoreCoordinator::coordinatorWithModel(modelOf("entity Person { attribute name: string; }"));
    own->addPersistentStore(VXStoreType::InMemory, {});
    const std::weak_ptr<const VXManagedObjectModel> model = own->modelPtr();
    saveElsewhere(own);
    own.reset();
    EXPECT_FALSE(model.expired()) << "the IDs under way lead to it";
    EXPECT_TRUE(VXRunUntil([&model] { return model.expired(); }));
    heard.clear();

    saveElsewhere(coordinator);
    observer.reset(); // before its turn came
    bool isOver = false;
    std::thread([&isOver] { VXMainThread::perform([&isOver] { isOver = true; }); }).join();
    EXPECT_TRUE(VXRunUntil([&isOver] { return isOver; }));
    EXPECT_THAT(heard, IsEmpty());
}

TEST_F(VXManagedObjectContextAdditionsTest, FetchesObjectsThatAreThere)
{
    const VXManagedObjectPtr jane = addPerson(context, u"Jane"_s);
    EXPECT_EQ(vx_fetchManagedObjectWithID(context, jane->objectID()), jane); // not saved yet
    ASSERT_TRUE(context.save());
    VXManagedObjectContext other(coordinator);
    const VXManagedObjectID objectID = jane->objectID();
    const VXManagedObjectPtr there = vx_fetchManagedObjectWithID(other, objectID);
    ASSERT_TRUE(there);
    EXPECT_EQ(there->valueForKey(u"name"_s), u"Jane"_s);

    context.deleteObject(jane);
    ASSERT_TRUE(context.save());
    EXPECT_FALSE(vx_fetchManagedObjectWithID(context, objectID));
    EXPECT_FALSE(vx_fetchManagedObjectWithID(other, objectID)); // though it holds the object
    EXPECT_FALSE(vx_fetchManagedObjectWithID(context, {}));
    const auto animals = modelOf("entity Animal { attribute name: string; }");
    EXPECT_FALSE(vx_fetchManagedObjectWithID(
        context, VXManagedObjectID(*animals->entityForName(u"Animal"_s), *objectID.store(), 1)));
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(VXManagedObjectContextAdditionsTest, CountsOnEverySystem)
{
    for (int version : {0x1050, 0x1049}) {
        VX_OSX_VERSION = version;
        VXFetchRequest request(*coordinator->model().entityForName(u"Person"_s));
        const qsizetype before = vx_countForFetchRequest(context, request).value_or(-1);
        addPerson(context, u"Jane"_s);
        EXPECT_EQ(vx_countForFetchRequest(context, request), before + 1) << version;
        request.predicate = VXPredicate::truth(false);
        EXPECT_EQ(vx_countForFetchRequest(context, request), 0) << version;
    }
}
