#include "VXBusQueue.h"

#include "VXBusMock.h"
#include "VXTesting.h"
#include "VXTestProcess.h"

#include <optional>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

class VXBusErrandTest : public VXHomeTest
{
protected:
    const QString name = u"org.example.phones"_s;
    VXTestBus bus{path(u"bus"_s)};
    std::optional<VXBusMock> mock{std::in_place, bus.address(), name};
    VXBusService::Ptr service = VXBusService::named(name, QString::fromLocal8Bit(bus.address()));
    QStringList ends; // "RESULT" or "failed: TEXT"; the queue's own end may add to them
    QStringList steps;
    std::optional<VXBusQueue> queue{service};

    void SetUp() override
    {
        ASSERT_TRUE(VXRunUntil([this] { return service->isThere(); }));
        queue->open();
    }
    static VXBusCall method(const QString &called, const QString &signature = {})
    {
        return {.path = u"/a"_s, .interface = u"org.example.I"_s, .method = called, .signature = signature};
    }
    VXBusErrand::Conclusion note()
    {
        return [this](const QVariantMap &result, const VXError &error) {
            ends.append(error.isNull() ? result.value(u"is"_s).toString()
                                       : "failed: "_L1 + error.localizedDescription());
        };
    }
    /** Calls First, then Second, and gives what that answers. */
    VXBusQueue::Work twoSteps(std::chrono::milliseconds first = 10s, std::chrono::milliseconds second = 10s)
    {
        return [this, first, second](VXBusErrand &errand) {
            errand.begin(u"First"_s, first);
            errand.call(method(u"First"_s), [this, &errand, second](const QVariantList &) {
                steps.append(u"second"_s);
                errand.begin(u"Second"_s, second);
                errand.call(method(u"Second"_s), [&errand](const QVariantList &answer) {
                    errand.succeed({{u"is"_s, answer.value(0)}});
                });
            });
        };
    }
    bool ended(qsizetype count)
    {
        return VXRunUntil([&] { return ends.size() == count; });
    }
    VXDeviceAction::Ptr action(const QString &actionName) const { return VXDeviceAction::actionWithName(actionName); }
};

TEST_F(VXBusErrandTest, StepsFollowEachOther)
{
    mock->answer(u"First"_s);
    mock->answer(u"Second"_s, {u"done"_s});
    queue->enqueue(twoSteps(), note());
    queue->enqueue(twoSteps(), note());
    ASSERT_TRUE(ended(2));
    EXPECT_EQ(ends, (QStringList{u"done"_s, u"done"_s}));
    EXPECT_EQ(mock->calls(), (QStringList{u"First"_s, u"Second"_s, u"First"_s, u"Second"_s}));
}

TEST_F(VXBusErrandTest, AnErrorAndAnotherTypeEndIt)
{
    mock->refuse(u"First"_s, u"org.example.Error"_s, u"not now"_s);
    queue->enqueue(twoSteps(), note());
    mock->answer(u"Typed"_s, {7});
    queue->enqueue(
        [](VXBusErrand &errand) {
            errand.begin(u"Typed"_s, 10s);
            errand.call(method(u"Typed"_s, u"s"_s), [&errand](const QVariantList &) { errand.succeed(); });
        },
        note());
    queue->enqueue([](VXBusErrand &) { throw std::runtime_error("a driver's fault"); }, note());
    ASSERT_TRUE(ended(3));
    EXPECT_EQ(ends, (QStringList{u"failed: not now"_s, u"failed: The service's answer is not understood."_s,
                                 u"failed: a driver's fault"_s}));
}

TEST_F(VXBusErrandTest, EachStepHasItsDeadline)
{
    mock->hold(u"First"_s);
    mock->answer(u"Second"_s, {u"done"_s});
    queue->enqueue(twoSteps(50ms), note());
    ASSERT_TRUE(ended(1));
    EXPECT_EQ(ends, QStringList{u"failed: First: the answer did not come in time."_s});
    // The next is not held up by it, and what comes late goes nowhere.
    queue->enqueue(twoSteps(), note());
    ASSERT_TRUE(VXRunUntil([this] { return mock->held().size() == 2; }));
    mock->reply(mock->held().first());
    mock->reply(mock->held().first());
    mock->reply(mock->held().last());
    ASSERT_TRUE(ended(2));
    EXPECT_EQ(ends.last(), u"done"_s);
    EXPECT_EQ(steps.size(), 1);
    EXPECT_EQ(mock->count(u"Second"_s), 1);
}

TEST_F(VXBusErrandTest, WhatBelongsToAStepThatIsOverIsDropped)
{
    mock->hold(u"Slow"_s);
    mock->answer(u"First"_s);
    VXBusErrand::Ptr running;
    queue->enqueue(
        [&](VXBusErrand &errand) {
            running = errand.shared_from_this();
            errand.begin(u"One"_s, 10s);
            errand.listen({}, u"org.example.I"_s, {}, [&](const QDBusMessage &) { steps.append(u"one heard"_s); });
            errand.wait(1ms, [&] { steps.append(u"one waited"_s); });
            errand.call(method(u"Slow"_s), [&](const QVariantList &) { steps.append(u"one answered"_s); });
            errand.compute([] { return 1; }, [&](int) { steps.append(u"one computed"_s); });
            errand.begin(u"Two"_s, 10s);
            errand.listen({}, u"org.example.I"_s, {}, [&](const QDBusMessage &) { steps.append(u"two heard"_s); });
            errand.call(method(u"Slow"_s), [&](const QVariantList &) { steps.append(u"two answered"_s); });
            errand.compute([] { return 1; }, [&](int) { steps.append(u"two computed"_s); });
        },
        note());
    ASSERT_TRUE(VXRunUntil([this] { return mock->held().size() == 2; }));
    mock->reply(mock->held().last()); // out of order
    mock->reply(mock->held().first());
    mock->emitSignal(u"/a"_s, u"org.example.I"_s, u"Changed"_s);
    ASSERT_TRUE(VXRunUntil([this] { return steps.size() == 3; }));
    running->wait(1ms, [&] { running->succeed({{u"is"_s, u"waited"_s}}); });
    ASSERT_TRUE(ended(1));
    running->fail(VXError(VXErrorDomain, VXErrorGeneral)); // the first conclusion counts
    running->begin(u"Three"_s, 1ms);
    running->call(method(u"First"_s), [&](const QVariantList &) { steps.append(u"three"_s); });
    steps.sort();
    EXPECT_EQ(steps, (QStringList{u"two answered"_s, u"two computed"_s, u"two heard"_s}));
    EXPECT_EQ(ends, QStringList{u"waited"_s});
}

TEST_F(VXBusErrandTest, TheServiceEndsBetweenTwoSteps)
{
    mock->answer(u"First"_s);
    mock->hold(u"Second"_s);
    queue->enqueue(twoSteps(), note());
    ASSERT_TRUE(VXRunUntil([this] { return mock->held().size() == 1; }));
    mock->vanish();
    ASSERT_TRUE(ended(1));
    EXPECT_EQ(ends, QStringList{u"failed: The service org.example.phones has ended."_s});
    // It answers all the same, and is back: neither is taken for the other.
    mock->appear();
    ASSERT_TRUE(VXRunUntil([this] { return service->isThere(); }));
    mock->reply(mock->held().first(), {u"late"_s});
    mock->answer(u"Second"_s, {u"again"_s});
    queue->enqueue(twoSteps(), note());
    ASSERT_TRUE(ended(2));
    EXPECT_EQ(ends.last(), u"again"_s);
}

TEST_F(VXBusErrandTest, TakesLeaveUnlessItSucceeds)
{
    mock->hold(u"First"_s);
    mock->answer(u"Cancel"_s);
    const auto work = [&](bool succeeds) {
        return [this, succeeds](VXBusErrand &errand) {
            errand.setFarewell([this] { service->send(method(u"Cancel"_s)); });
            errand.begin(u"First"_s, 20ms);
            if (succeeds)
                errand.succeed();
        };
    };
    queue->enqueue(work(true), note());
    ASSERT_TRUE(ended(1));
    EXPECT_EQ(mock->count(u"Cancel"_s), 0);
    queue->enqueue(work(false), note());
    ASSERT_TRUE(VXRunUntil([this] { return mock->count(u"Cancel"_s) == 1; }));
}

TEST_F(VXBusErrandTest, OnePhoneNeverWaitsForAnother)
{
    mock->hold(u"First"_s);
    mock->answer(u"Quick"_s, {u"quick"_s});
    queue->enqueue(twoSteps(), note());
    VXBusQueue other(service);
    other.open();
    other.enqueue(
        [](VXBusErrand &errand) {
            errand.begin(u"Quick"_s, 10s);
            errand.call(method(u"Quick"_s), [&errand](const QVariantList &answer) {
                errand.succeed({{u"is"_s, answer.value(0)}});
            });
        },
        note());
    ASSERT_TRUE(ended(1));
    EXPECT_EQ(ends, QStringList{u"quick"_s});
    EXPECT_TRUE(queue->isBusy());
}

TEST_F(VXBusErrandTest, ADeepQueueOfWorkThatEndsAtOnce)
{
    for (int count = 0; count < 20000; ++count)
        queue->enqueue([](VXBusErrand &errand) { errand.succeed({{u"is"_s, u"x"_s}}); }, note());
    ASSERT_TRUE(ended(20000));
}
