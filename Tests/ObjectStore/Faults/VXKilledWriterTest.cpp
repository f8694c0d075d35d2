#include "VXFaultTest.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <ctime>
#include <random>
#include <unistd.h>

using namespace Qt::StringLiterals;

class VXKilledWriterTest : public VXFaultTest, public testing::WithParamInterface<VXStoreType>
{
protected:
    static constexpr int keptSaves = 20;

    /** Each save counts one more, adds an object with a child, links it to the one before and deletes one of long ago. */
    static qlonglong change(const Opened &opened)
    {
        const QList<Object> counters = opened.fetch(u"Counter"_s);
        const Object counter = counters.isEmpty() ? opened.context->insertNewObject(u"Counter"_s) : counters.first();
        const qlonglong number = counter->valueForKey(u"value"_s).toLongLong() + 1;
        counter->setValueForKey(number, u"value"_s);
        counter->setValueForKey(0, u"number"_s);
        const Object item = opened.context->insertNewObject(u"Item"_s);
        const Object child = opened.context->insertNewObject(u"Part"_s);
        item->setValueForKey(number, u"number"_s);
        child->setValueForKey(0, u"number"_s);
        child->setValueForKey(QVariant::fromValue(item), u"parent"_s);
        for (const Object &before : opened.fetch(u"Item"_s, u"number > 0 AND number == %@"_s, {number - 1}))
            item->setValueForKey(QVariantList{QVariant::fromValue(before)}, u"peers"_s);
        for (const Object &old : opened.fetch(u"Item"_s, u"number > 0 AND number == %@"_s, {number - keptSaves}))
            opened.context->deleteObject(old);
        return number;
    }

    void write(int pipe, std::chrono::microseconds life, bool startsLate, bool securesLater) const
    {
        if (!startsLate)
            killAfter(life);
        const Opened opened = open(GetParam(), path(u"store"_s));
        ASSERT_TRUE(opened.store) << opened.error.description().toStdString();
        opened.context->setSecuresLater(securesLater);
        while (true) {
            const qlonglong number = change(opened);
            VXError error;
            ASSERT_TRUE(opened.context->save(&error)) << error.description().toStdString();
            ASSERT_EQ(::write(pipe, &number, sizeof(number)), ssize_t(sizeof(number)));
            if (std::exchange(startsLate, false))
                killAfter(life);
        }
    }

    // By the kernel's clock: the process cannot know when.
    static void killAfter(std::chrono::microseconds life)
    {
        sigevent event = {};
        event.sigev_notify = SIGEV_SIGNAL;
        event.sigev_signo = SIGKILL;
        timer_t timer = {};
        ASSERT_EQ(::timer_create(CLOCK_MONOTONIC, &event, &timer), 0);
        const itimerspec time = {{}, {0, 1 + life.count() * 1000}};
        ASSERT_EQ(::timer_settime(timer, 0, &time, nullptr), 0);
    }

    /** @param saved as the last one was told; then as the store has it. */
    void checkStore(qlonglong &saved) const
    {
        const qlonglong told = saved;
        const Opened opened = open(GetParam(), path(u"store"_s));
        ASSERT_TRUE(opened.store) << opened.error.description().toStdString();
        ASSERT_EQ(opened.store->check(), QStringList());
        const QList<Object> counters = opened.fetch(u"Counter"_s);
        ASSERT_LE(counters.size(), 1);
        saved = counters.isEmpty() ? 0 : counters.first()->valueForKey(u"value"_s).toLongLong();
        ASSERT_GE(saved, told);
        ASSERT_LE(saved, told + 1) << "it may have died before it could tell, once";
        const QList<Object> items = opened.fetch(u"Item"_s, u"number > 0"_s);
        ASSERT_EQ(items.size(), std::min<qlonglong>(saved, keptSaves));
        for (qsizetype place = 0; place < items.size(); ++place) {
            ASSERT_EQ(items[place]->valueForKey(u"number"_s), saved - items.size() + place + 1);
            ASSERT_EQ(items[place]->valueForKey(u"children"_s).toList().size(), 1);
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Stores, VXKilledWriterTest, testing::Values(VXStoreType::SQLite, VXStoreType::XML),
                         [](const auto &each) { return each.param == VXStoreType::XML ? "XML" : "SQLite"; });

TEST_P(VXKilledWriterTest, NoSaveIsLost)
{
    std::mt19937 random(1);
    qlonglong saved = 0;
    for (int round = configured("VORNIX_FAULT_ROUNDS", 20); round > 0; --round) {
        std::array<int, 2> pipe = {};
        ASSERT_EQ(::pipe(pipe.data()), 0);
        const std::chrono::microseconds life(random() % 40'000);
        const pid_t writer = start([&] { write(pipe[1], life, round % 3 != 0, round % 2 != 0); });
        ::close(pipe[1]);
        while (::read(pipe[0], &saved, sizeof(saved)) > 0)
            continue;
        ::close(pipe[0]);
        ASSERT_EQ(outcomeOf(writer), 128 + SIGKILL);
        ASSERT_NO_FATAL_FAILURE(checkStore(saved)) << round;
    }
    EXPECT_GT(saved, 0);
}
