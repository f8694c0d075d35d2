#include "VXFaultTest.h"

#include <QtCore/QDeadlineTimer>

#include <array>
#include <random>
#include <thread>
#include <unistd.h>

using namespace Qt::StringLiterals;

/** Processes with several threads each that write one store at once. */
class VXManyWritersTest : public VXFaultTest
{
protected:
    static constexpr int processCount = 4;
    static constexpr int threadCount = 4;
    static constexpr int counterCount = 6;
    using Sums = std::array<qlonglong, counterCount + 1>; // how often each was raised; last: objects added

    /** Raises counters, and again where somebody else was faster, until the time is up. */
    static void work(VXManagedObjectContext &context, unsigned seed, const QDeadlineTimer &deadline, Sums &done)
    {
        std::mt19937 random(seed);
        const auto &model = context.persistentStoreCoordinator()->model();
        VXFetchRequest request(*model.entityForName(u"Counter"_s));
        request.sortDescriptors = {{u"number"_s}};
        request.refreshesObjects = true;
        while (!deadline.hasExpired()) {
            VXError error;
            const auto counters = context.executeFetchRequest(request, &error);
            ASSERT_TRUE(counters && counters->size() == counterCount) << error.description().toStdString();
            const std::array<size_t, 2> places{random() % counterCount, random() % counterCount};
            for (const size_t place : places) {
                const Object counter = counters->at(qsizetype(place));
                counter->setValueForKey(counter->valueForKey(u"value"_s).toLongLong() + 1, u"value"_s);
            }
            const Object item = context.insertNewObject(u"Item"_s);
            item->setValueForKey(seed, u"number"_s);
            if (context.save(&error)) {
                for (const size_t place : places)
                    ++done[place];
                ++done.back();
                continue;
            }
            ASSERT_EQ(error.code(), int(VXObjectStoreErrorCode::MergeConflict)) << error.description().toStdString();
            context.reset();
        }
    }

    void runProcess(int pipe, unsigned process, const QDeadlineTimer &deadline) const
    {
        const Opened opened = open(VXStoreType::SQLite, path(u"store"_s));
        ASSERT_TRUE(opened.store) << opened.error.description().toStdString();
        std::array<Sums, threadCount> sums = {};
        std::vector<std::thread> threads;
        for (unsigned thread = 0; thread < threadCount; ++thread) {
            threads.emplace_back([&, thread] {
                VXManagedObjectContext context(opened.coordinator);
                work(context, process * threadCount + thread, deadline, sums.at(thread));
            });
        }
        for (std::thread &thread : threads)
            thread.join();
        ASSERT_EQ(::write(pipe, sums.data(), sizeof(sums)), ssize_t(sizeof(sums)));
    }
};

TEST_F(VXManyWritersTest, NoUpdateIsLost)
{
    {
        const Opened opened = open(VXStoreType::SQLite, path(u"store"_s));
        for (int number = 0; number < counterCount; ++number)
            opened.context->insertNewObject(u"Counter"_s)->setValueForKey(number, u"number"_s);
        ASSERT_TRUE(opened.context->save());
    }
    const QDeadlineTimer deadline(std::chrono::seconds(configured("VORNIX_FAULT_SECONDS", 2)));
    std::array<int, 2> pipe = {};
    ASSERT_EQ(::pipe(pipe.data()), 0);
    std::array<pid_t, processCount> processes = {};
    for (unsigned process = 0; process < processCount; ++process)
        processes.at(process) = start([&, process] { runProcess(pipe[1], process, deadline); });
    ::close(pipe[1]);
    Sums expected = {};
    for (Sums sums = {}; ::read(pipe[0], sums.data(), sizeof(sums)) == ssize_t(sizeof(sums));) {
        for (size_t place = 0; place < sums.size(); ++place)
            expected.at(place) += sums.at(place);
    }
    ::close(pipe[0]);
    for (const pid_t process : processes)
        EXPECT_EQ(outcomeOf(process), 0);

    const Opened opened = open(VXStoreType::SQLite, path(u"store"_s));
    ASSERT_TRUE(opened.store) << opened.error.description().toStdString();
    for (const Object &counter : opened.fetch(u"Counter"_s))
        EXPECT_EQ(counter->valueForKey(u"value"_s), expected.at(counter->valueForKey(u"number"_s).toUInt()));
    EXPECT_EQ(opened.fetch(u"Item"_s).size(), expected.back());
    EXPECT_GT(expected.back(), 0);
    EXPECT_EQ(opened.store->check(), QStringList());
    RecordProperty("Saves", std::to_string(expected.back()));
}
