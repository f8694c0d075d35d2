#include "VXActivityManager.h"
#include "VXException.h"
#include "VXTesting.h"

#include <atomic>
#include <thread>

using namespace Qt::StringLiterals;

class VXActivityManagerTest : public VXHomeTest
{
protected:
    VXActivityManagerTest()
    {
        VXNotificationCenter &center = VXNotificationCenter::defaultCenter();
        center.addObserver(&context, VXActivityManagerDidAddActivityNotification, [this](const VXNotification &posted) {
            events.append(u"added "_s + posted.object.toString());
        });
        center.addObserver(&context, VXActivityManagerWillRemoveActivityNotification,
                           [this](const VXNotification &posted) {
                               const QString identifier = posted.object.toString();
                               EXPECT_NE(manager.activityWithIdentifier(identifier), nullptr) << "not yet removed";
                               events.append(u"removing "_s + identifier);
                           });
    }

    VXActivityManager &manager = VXActivityManager::sharedActivityManager();
    QStringList events;
    QObject context;
};

TEST_F(VXActivityManagerTest, ANewerActivityTakesThePlaceOfOneWithItsIdentifier)
{
    const VXActivity::Ptr first = manager.addActivityWithTitle(u"first"_s, u"id"_s);
    first->setDelegate(&context);
    const VXActivity::Ptr second = manager.addActivityWithTitle(u"second"_s, u"id"_s);
    EXPECT_EQ(events, (QStringList{u"added id"_s, u"removing id"_s, u"added id"_s}));
    EXPECT_EQ(manager.activities(), QList<VXActivity::Ptr>{second});
    EXPECT_EQ(first->delegate(), nullptr);

    manager.removeActivityWithIdentifier(u"unknown"_s);
    manager.removeActivity(second);
    manager.removeActivity(second);
    EXPECT_EQ(events.size(), 4);
    EXPECT_TRUE(manager.activities().isEmpty());
}

TEST_F(VXActivityManagerTest, FreshIdentifiersDifferAndNoneIsAProgrammingError)
{
    const VXActivity::Ptr one = manager.addActivityWithTitle(u"one"_s);
    const VXActivity::Ptr two = manager.addActivityWithTitle(u"two"_s);
    EXPECT_NE(one->identifier(), two->identifier());
    try {
        manager.addActivityWithTitle(u"title"_s, QString());
        FAIL();
    } catch (const VXAssertionException &exception) {
        EXPECT_EQ(exception.reason(), u"theIdentifier can not be nil: title"_s);
    }
}

TEST_F(VXActivityManagerTest, WorkersAddUpdateAndRemoveWhileTheMainThreadLooksOn)
{
    std::atomic<int> finished{0};
    std::vector<std::thread> workers;
    for (int number = 0; number < 3; ++number) {
        workers.emplace_back([this, &finished, number] {
            const VXActivity::Ptr activity = manager.addActivityWithTitle(u"work %1"_s.arg(number));
            activity->setMaxValue(50);
            for (int step = 0; step < 50; ++step) {
                activity->setSubtitle(u"step %1"_s.arg(step));
                activity->increment();
            }
            EXPECT_EQ(activity->doubleValue(), activity->maxValue());
            manager.removeActivity(activity);
            ++finished;
        });
    }
    EXPECT_TRUE(VXRunUntil([this, &finished] {
        for (const VXActivity::Ptr &activity : manager.activities())
            EXPECT_TRUE(activity->subtitle().isNull() || activity->subtitle().startsWith(u"step "_s));
        return finished == 3;
    }));
    for (std::thread &worker : workers)
        worker.join();
    EXPECT_EQ(events.size(), 6);
}
