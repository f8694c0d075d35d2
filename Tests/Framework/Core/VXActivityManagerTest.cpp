#include "VXActivityManager.h"
#include "VXTesting.h"

#include <atomic>
#include <stdexcept>
#include <thread>
#include <utility>

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
    manager.removeActivity(first); // which is gone, and shares the identifier
    EXPECT_EQ(manager.activityWithIdentifier(u"id"_s), second);
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
    EXPECT_EQ(manager.activityWithIdentifier(one->identifier()), one); // the first of the process
    EXPECT_EQ(VXReasonOfAssertion([this] { manager.addActivityWithTitle(u"title"_s, QString()); }),
              u"theIdentifier can not be nil: title"_s);
}

TEST_F(VXActivityManagerTest, LeaveWhateverObserversDo)
{
    QObject troublemaker;
    std::function<void()> trouble;
    VXNotificationCenter::defaultCenter().addObserver(&troublemaker, VXActivityManagerWillRemoveActivityNotification,
                                                      [&](const VXNotification &) { trouble(); });
    const QList<std::function<void()>> troubles{
        [] { throw std::runtime_error("thrown"); },
        [&] { manager.removeActivityWithIdentifier(u"id"_s); },
    };
    for (const auto &each : troubles) {
        trouble = each;
        const VXActivity::Ptr activity = manager.addActivityWithTitle(u"title"_s, u"id"_s);
        activity->setDelegate(&context);
        try {
            manager.removeActivity(activity);
        } catch (const std::runtime_error &) { // for now it comes through to who removes
        }
        EXPECT_EQ(manager.activityWithIdentifier(u"id"_s), nullptr);
        EXPECT_EQ(activity->delegate(), nullptr);
    }
    VXActivity::Ptr newer;
    bool isReplaced = false;
    trouble = [&] {
        if (!std::exchange(isReplaced, true))
            newer = manager.addActivityWithTitle(u"newer"_s, u"id"_s);
    };
    manager.removeActivity(manager.addActivityWithTitle(u"older"_s, u"id"_s));
    EXPECT_EQ(manager.activityWithIdentifier(u"id"_s), newer);
    trouble = [] {};
    manager.removeActivity(newer);
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
