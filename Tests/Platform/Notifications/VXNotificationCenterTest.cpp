#include "VXNotificationCenter.h"
#include "VXException.h"
#include "VXNotificationQueue.h"
#include "VXTesting.h"

#include <QtCore/QTimer>

#include <stdexcept>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

const VXNotificationName firstName(u"VXTestDidHappenNotification"_s);
const VXNotificationName otherName(u"VXTestWillHappenNotification"_s);

} // namespace

class VXNotificationCenterTest : public testing::Test
{
protected:
    VXNotificationCenter::Handler record(const QString &who)
    {
        return [this, who](const VXNotification &notification) {
            calls.append(who + u':' + notification.object.toString());
        };
    }

    VXNotificationCenter center;
    QStringList calls;
};

TEST_F(VXNotificationCenterTest, ReachesObserversByNameAndObjectInOrder)
{
    center.addObserver(nullptr, firstName, record(u"any"_s));
    center.addObserver(nullptr, firstName, record(u"only a"_s), u"a"_s);
    center.addObserver(nullptr, otherName, record(u"other"_s));
    center.postNotificationName(firstName, u"a"_s);
    center.postNotificationName(firstName, u"b"_s);
    center.postNotificationName(VXNotificationName(u"VXTestWillHappenNotification"_s)); // the same by its text
    EXPECT_EQ(calls, (QStringList{u"any:a"_s, u"only a:a"_s, u"any:b"_s, u"other:"_s}));
}

TEST_F(VXNotificationCenterTest, ObjectsAreTheSameWhateverTheirPointersType)
{
    QTimer timer;
    center.addObserver(nullptr, firstName, record(u"timer"_s), QVariant::fromValue<QObject *>(&timer));
    center.postNotificationName(firstName, QVariant::fromValue(&timer));
    EXPECT_EQ(calls.size(), 1);
}

TEST_F(VXNotificationCenterTest, AnObserverRemovedMeanwhileIsNotCalledAnyMore)
{
    VXNotificationCenter::ObserverID second = 0;
    center.addObserver(nullptr, firstName, [&](const VXNotification &) {
        center.removeObserver(second);
        center.addObserver(nullptr, firstName, record(u"late"_s));
    });
    second = center.addObserver(nullptr, firstName, record(u"second"_s));
    center.postNotificationName(firstName);
    EXPECT_EQ(calls, QStringList()) << "neither the removed one nor one added during the post";
    center.postNotificationName(firstName);
    EXPECT_EQ(calls, QStringList{u"late:"_s});
}

TEST_F(VXNotificationCenterTest, ObserversGoWithTheirContext)
{
    auto context = std::make_unique<QObject>();
    QObject other;
    center.addObserver(context.get(), firstName, record(u"gone"_s));
    center.addObserver(&other, firstName, record(u"removed"_s));
    center.addObserver(&other, otherName, record(u"removed"_s));
    EXPECT_TRUE(center.hasObservers(firstName));
    context.reset();
    center.removeObserver(&other);
    EXPECT_FALSE(center.hasObservers(firstName));
    center.postNotificationName(firstName);
    center.postNotificationName(otherName);
    EXPECT_EQ(calls, QStringList());
}

TEST_F(VXNotificationCenterTest, PostsFromManyThreadsWhileObserversComeAndGo)
{
    std::atomic<int> received{0};
    QObject context;
    center.addObserver(&context, firstName, [&received](const VXNotification &) { ++received; });
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([this] {
            for (int round = 0; round < 500; ++round) {
                const auto own = center.addObserver(nullptr, otherName, [](const VXNotification &) {});
                center.postNotificationName(firstName);
                center.postNotificationName(otherName);
                center.removeObserver(own);
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(received, 2000);
}

TEST_F(VXNotificationCenterTest, TheQueuePostsEqualNotificationsOnceWhenIdle)
{
    VXNotificationQueue queue(center);
    QVariantMap lastInfo;
    center.addObserver(nullptr, firstName, record(u"first"_s));
    center.addObserver(nullptr, otherName, [&](const VXNotification &notification) {
        lastInfo = notification.userInfo;
        calls.append(u"other"_s);
        if (calls.count(u"other"_s) == 1)
            queue.enqueueNotification(otherName); // another round, not an endless one
    });
    queue.enqueueNotification(firstName, u"a"_s);
    queue.enqueueNotification(firstName, u"b"_s);
    queue.enqueueNotification(otherName, {}, {{u"n"_s, 1}});
    queue.enqueueNotification(otherName, {}, {{u"n"_s, 2}});
    queue.enqueueNotification(firstName, u"a"_s);
    queue.enqueueNotification(firstName, u"dropped"_s);
    queue.dequeueNotifications(firstName, u"dropped"_s);

    QObject receiver;
    QMetaObject::invokeMethod(
        &receiver, [this] { calls.append(u"events come before idleness"_s); }, Qt::QueuedConnection);
    EXPECT_TRUE(VXRunUntil([this] { return calls.count(u"other"_s) == 2; }));
    EXPECT_EQ(calls,
              (QStringList{u"events come before idleness"_s, u"first:a"_s, u"first:b"_s, u"other"_s, u"other"_s}));
    EXPECT_EQ(lastInfo, QVariantMap());
}

TEST_F(VXNotificationCenterTest, AThrowingObserverStopsNobodyElse)
{
    const VXDiagnosticRecorder recorder;
    QObject context;
    const std::function<void()> throwing[] = {
        [] { throw VXException(u"Name"_s, u"a reason"_s); },
        [] { throw std::runtime_error("standard"); },
        [] { throw 7; },
    };
    for (const auto &each : throwing)
        center.addObserver(&context, firstName, [each](const VXNotification &) { each(); });
    center.addObserver(nullptr, firstName, record(u"last"_s));
    center.postNotificationName(firstName);
    VXNotificationQueue queue(center);
    queue.enqueueNotification(firstName);
    EXPECT_TRUE(VXRunUntil([this] { return calls.size() == 2; }));
    EXPECT_EQ(calls, (QStringList{u"last:"_s, u"last:"_s}));
    const QStringList texts = recorder.texts();
    ASSERT_EQ(texts.size(), 6);
    const std::string who = "An observer of VXTestDidHappenNotification for QObject, of .*PlatformTests, threw ";
    const char *const thrown[] = {"Name: a reason", "std::runtime_error: standard", "a value of type int"};
    for (qsizetype index = 0; index < texts.size(); ++index)
        EXPECT_THAT(texts[index].toStdString(), testing::MatchesRegex(who + thrown[index % 3]));
}
