#include "VXActivityManager.h"
#include "VXErrorDomain.h"
#include "VXException.h"
#include "VXURLError.h"
#include "VXWebTesting.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QDir>
#include <QtCore/QRandomGenerator>
#include <QtCore/QTimer>

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

const VXError cancelled(VXErrorDomain, VXErrorCancelled);

int threadCount()
{
    return static_cast<int>(QDir(u"/proc/self/task"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size());
}

class VXWebRequestTest : public VXWebTest
{
protected:
    /** The thread sanitizer begins a thread of its own with the first: not to be counted as one of ours. */
    static void SetUpTestSuite()
    {
        std::thread([] {}).join();
    }
};

class AbstractRequest : public VXWebRequest
{
};

TEST_F(VXWebRequestTest, TheBaseIsAbstract)
{
    const auto request = std::make_shared<AbstractRequest>();
    EXPECT_FALSE(request->isActive());
    EXPECT_EQ(VXReasonOfAssertion([&] { request->_executeWithRequest(VXURLRequest(server.url({}))); }),
              u"VXWebRequest is an abstract class.  Use one of its subclasses instead"_s);
    EXPECT_EQ(VXReasonOfAssertion([&] { request->requestURL({}); }), u"theURL can not be nil"_s);
    request->setDelegate(delegate);
    request->requestURL(server.url(u"/form"_s));
    ASSERT_TRUE(told());
    EXPECT_EQ(request->error().localizedDescription(), u"Unable to start web request"_s);
}

TEST_F(VXWebRequestTest, WhatIsNoWebURLCanNotBeStarted)
{
    int calls = 0;
    for (const QUrl &url : {QUrl(u"file:///etc/passwd"_s), QUrl(u"ftp://localhost/x"_s), QUrl(u"http:"_s),
                            QUrl(u"mailto:jane@example.org"_s)}) {
        const auto connection = VXWebConnection::create();
        connection->setDelegate(delegate);
        connection->setError({}); // of none that runs
        connection->requestURL(url);
        EXPECT_THROW(connection->requestURL(server.url(u"/form"_s)), VXAssertionException); // it runs
        ASSERT_TRUE(told(++calls));
        EXPECT_EQ(connection->error().code(), -1) << url.toString().toStdString();
        EXPECT_EQ(connection->error().localizedDescription(), u"Unable to start web request"_s);
        EXPECT_EQ(connection->error().userInfo().value(VXFailingURLErrorKey).toUrl(), url);
    }
    EXPECT_TRUE(server.requests().isEmpty());
}

TEST_F(VXWebRequestTest, TheActivityNamesWhatIsAskedFor)
{
    for (const auto &[path, name] :
         {std::pair{u"/form"_s, u"form"_s}, std::pair{u"/lists/spare%20parts/"_s, u"spare parts"_s},
          std::pair{u"/"_s, server.url({}).host()}}) {
        const auto connection = VXWebConnection::requestURL(server.url(path), {}, delegate);
        const auto shown = VXActivityManager::sharedActivityManager().activityWithIdentifier(connection->uuid());
        ASSERT_TRUE(shown);
        EXPECT_EQ(shown->title(), "Downloading "_L1 + name);
        connection->cancel();
    }
}

TEST_F(VXWebRequestTest, CancellingWhatWasNeverStartedTellsTheDelegateOnce)
{
    const auto connection = VXWebConnection::create();
    connection->setDelegate(delegate);
    connection->cancel();
    EXPECT_EQ(connection->error(), cancelled);
    EXPECT_EQ(delegate->calls, 1);
    connection->cancel();
    EXPECT_EQ(delegate->calls, 1);

    connection->requestURL(server.url(u"/answer?body=x"_s));
    ASSERT_TRUE(told(2));
    EXPECT_TRUE(connection->error().isNull());
    connection->cancel(); // it has completed
    EXPECT_TRUE(connection->error().isNull());
    EXPECT_EQ(connection->data(), "x");
    EXPECT_EQ(delegate->calls, 2);
}

TEST_F(VXWebRequestTest, TheDelegateIsHeldUntilItIsToldAndThenOnlyKnown)
{
    auto own = std::make_shared<VXWebDelegate>();
    const std::weak_ptr<VXWebDelegate> watched = own;
    std::weak_ptr<VXWebRequest> request;
    {
        const auto connection = VXWebConnection::requestURL(server.url(u"/answer"_s), {}, own);
        request = connection;
        // A delegate that holds its request.
        own->whenTold = [held = VXWebRequest::Ptr(connection), calls = &delegate->calls] { ++*calls; };
    }
    own.reset();
    EXPECT_FALSE(watched.expired());
    ASSERT_TRUE(told());
    EXPECT_TRUE(VXRunUntil([&] { return watched.expired() && request.expired(); }));
}

TEST_F(VXWebRequestTest, ADelegateThatIsSetByTheOneBeforeIsToldOfTheNextStart)
{
    const auto connection = VXWebConnection::requestURL(server.url(u"/answer"_s), {}, delegate);
    int calls = 0;
    delegate->whenTold = [&] {
        const auto next = std::make_shared<VXWebDelegate>(); // held by the request alone
        next->whenTold = [&calls] { ++calls; };
        connection->setDelegate(next);
    };
    ASSERT_TRUE(told());
    connection->requestURL(server.url(u"/answer"_s));
    EXPECT_TRUE(VXRunUntil([&] { return calls == 1; }));
    EXPECT_EQ(delegate->calls, 1);
}

TEST_F(VXWebRequestTest, NoDelegateNoActivity)
{
    const auto connection = VXWebConnection::requestURL(server.url(u"/silent"_s), {}, delegate);
    VXActivityManager &manager = VXActivityManager::sharedActivityManager();
    EXPECT_TRUE(manager.activityWithIdentifier(connection->uuid()));
    connection->setDelegate(nullptr);
    EXPECT_FALSE(manager.activityWithIdentifier(connection->uuid()));
    connection->cancel();
    EXPECT_EQ(delegate->calls, 0);
}

TEST_F(VXWebRequestTest, MayBeStartedAgainByItsDelegate)
{
    const auto connection = VXWebConnection::create();
    connection->setDelegate(delegate);
    delegate->whenTold = [&] {
        if (delegate->calls < 3)
            connection->requestURL(server.url(u"/answer?body=%1"_s.arg(delegate->calls)));
    };
    connection->requestURL(server.url(u"/silent"_s));
    connection->cancel();
    ASSERT_TRUE(told(3));
    EXPECT_EQ(connection->data(), "2");
    EXPECT_TRUE(connection->error().isNull());
}

// A cancel that comes when the delegate has started the request again is one of that start, or of none.
TEST_F(VXWebRequestTest, ALateCancelTouchesOnlyItsOwnRun)
{
    constexpr int starts = 300;
    const auto connection = VXWebConnection::create();
    connection->setDelegate(delegate);
    int successes = 0;
    delegate->whenTold = [&] {
        successes += connection->error() ? 0 : 1;
        EXPECT_TRUE(connection->error() == cancelled || connection->data() == "x");
        if (delegate->calls < starts)
            connection->requestURL(server.url(u"/answer?body=x"_s));
    };
    connection->requestURL(server.url(u"/answer?body=x"_s));
    std::atomic<bool> isOver{false};
    std::thread canceller([&] {
        QRandomGenerator random(1);
        while (!isOver) {
            std::this_thread::sleep_for(std::chrono::microseconds(random.bounded(600)));
            connection->cancel();
        }
    });
    EXPECT_TRUE(told(starts));
    isOver = true;
    std::atomic<bool> isJoined{false};
    std::thread joiner([&] {
        canceller.join();
        isJoined = true;
    });
    EXPECT_TRUE(VXRunUntil([&] { return isJoined.load(); }));
    joiner.join();
    EXPECT_EQ(delegate->calls, starts);
    EXPECT_LT(successes, starts);
}

TEST_F(VXWebRequestTest, CancelledWhileItStartsItLeavesNothing)
{
    constexpr int rounds = 200;
    std::vector<std::weak_ptr<VXWebRequest>> requests;
    std::atomic<bool> isOver{false};
    std::thread starter([&] {
        QRandomGenerator random(1);
        for (int round = 0; round < rounds; ++round) {
            const VXWebRequest::Ptr request = VXWebConnection::create();
            requests.push_back(request);
            request->setDelegate(delegate);
            std::thread canceller([&, delay = random.bounded(200)] {
                std::this_thread::sleep_for(std::chrono::microseconds(delay));
                request->cancel();
            });
            EXPECT_NO_THROW(request->requestURL(server.url(u"/answer"_s)));
            canceller.join();
        }
        isOver = true;
    });
    EXPECT_TRUE(VXRunUntil([&] { return isOver.load(); }));
    starter.join();
    EXPECT_TRUE(VXRunUntil(
        [&] { return std::ranges::all_of(requests, [](const auto &request) { return request.expired(); }); }));
    EXPECT_GE(delegate->calls, rounds); // where the cancel had ended before the start, once for each
    EXPECT_TRUE(VXActivityManager::sharedActivityManager().activities().isEmpty());
}

TEST_F(VXWebRequestTest, ACancelWaitsUntilTheDelegateHasBeenTold)
{
    const auto connection = VXWebConnection::create();
    connection->setDelegate(delegate);
    std::atomic<bool> isCancelling{false};
    std::atomic<bool> hasBeenTold{false};
    std::thread other;
    delegate->whenTold = [&] {
        other = std::thread([&] {
            isCancelling = true;
            connection->cancel();
            EXPECT_TRUE(hasBeenTold);
        });
        EXPECT_TRUE(VXRunUntil([&] { return isCancelling.load(); }));
        for (int i = 0; i < 1000; ++i)
            QCoreApplication::processEvents();
        connection->cancel(); // returns here, and changes nothing
        hasBeenTold = true;
    };
    connection->requestURL(server.url(u"/answer?body=x"_s));
    ASSERT_TRUE(VXRunUntil([&] { return hasBeenTold.load(); }));
    other.join();
    EXPECT_FALSE(connection->error());
    EXPECT_EQ(delegate->calls, 1);
}

// An error that was set ends the request also where it is taken back.
TEST_F(VXWebRequestTest, ItEndsWithAnErrorThatIsSet)
{
    for (int round = 0; round < 50; ++round) {
        const auto connection = VXWebConnection::requestURL(server.url(u"/silent"_s), {}, delegate);
        if (round % 2 == 0)
            std::this_thread::yield();
        connection->setError(VXError(u"mine"_s, 7));
        ASSERT_TRUE(told(round + 1));
        EXPECT_EQ(connection->error(), VXError(u"mine"_s, 7));
        connection->setError({});
        EXPECT_FALSE(connection->isActive());
    }
}

/** Throws what subclasses of plugins may throw. */
class ThrowingRequest : public VXWebConnection
{
public:
    std::function<void()> onResponse;
    std::function<void()> onData;

protected:
    VXError didReceiveResponse(const VXWebResponse &response) override
    {
        if (onResponse)
            onResponse();
        return VXWebConnection::didReceiveResponse(response);
    }
    VXError didReceiveData(QByteArrayView bytes) override
    {
        if (onData)
            onData();
        return VXWebConnection::didReceiveData(bytes);
    }
};

TEST_F(VXWebRequestTest, WhatIsThrownEndsNothingButItsOwnRequest)
{
    const std::function<void()> kinds[] = {[] { throw std::runtime_error("why"); }, [] { throw 42; },
                                           [] { VXFailAssertion(u"why"_s); }};
    int calls = 0;
    for (const auto &fail : kinds) {
        for (const auto member : {&ThrowingRequest::onResponse, &ThrowingRequest::onData}) {
            const auto request = std::make_shared<ThrowingRequest>();
            (*request).*member = fail;
            request->setDelegate(delegate);
            request->requestURL(server.url(u"/answer?body=x"_s));
            ASSERT_TRUE(told(++calls));
            EXPECT_EQ(request->error().localizedDescription(), u"A fault of the program ended the web request."_s);
            EXPECT_TRUE(request->data().isNull());
        }
        const auto throwing = std::make_shared<VXWebDelegate>();
        throwing->whenTold = fail;
        const auto request = VXWebConnection::requestURL(server.url(u"/silent"_s), {}, throwing);
        EXPECT_NO_THROW(request->cancel());
        EXPECT_EQ(throwing.use_count(), 1);
        EXPECT_EQ(post(u"/answer?body=next"_s)->data(), "next");
        ++calls;
    }
}

TEST_F(VXWebRequestTest, CancelledAtAnyMomentItCompletesOnceAndLeavesNoThread)
{
    const int threadsBefore = threadCount();
    const int rounds =
        qEnvironmentVariableIntValue("VORNIX_CANCELS") > 0 ? qEnvironmentVariableIntValue("VORNIX_CANCELS") : 100;
    QRandomGenerator random(1);
    int expected = 0;
    const QStringList paths{u"/answer?body=x"_s, u"/slow"_s, u"/close"_s, u"/silent"_s, u"/huge"_s};
    QStringList folders;
    for (int round = 0; round < rounds; ++round) {
        const QUrl url = server.url(paths[round % paths.size()]);
        VXWebRequest::Ptr request = VXWebConnection::create();
        if (round % 3 == 0) {
            const auto download = VXWebDownload::create();
            folders.append(download->folderPath());
            request = download;
        }
        request->setDelegate(delegate);
        request->requestURL(url);
        const QDeadlineTimer moment(std::chrono::microseconds(random.bounded(3000)));
        while (!moment.hasExpired())
            QCoreApplication::processEvents();
        if (round % 2 == 0) {
            request->cancel();
        } else {
            std::thread other([&] { request->cancel(); });
            ASSERT_TRUE(VXRunUntil([&] { return delegate->calls > expected; }));
            QCoreApplication::processEvents();
            std::atomic<bool> isJoined{false};
            std::thread joiner([&] {
                other.join();
                isJoined = true;
            });
            ASSERT_TRUE(VXRunUntil([&] { return isJoined.load(); }));
            joiner.join();
        }
        EXPECT_EQ(delegate->calls, ++expected);
    }
    EXPECT_TRUE(VXRunUntil([&] { return threadCount() <= threadsBefore; }));
    EXPECT_EQ(delegate->calls, expected);
    EXPECT_TRUE(delegate->wasOnMainThread);
    EXPECT_TRUE(VXActivityManager::sharedActivityManager().activities().isEmpty());
    for (const QString &folder : folders)
        QDir(folder).removeRecursively();
}

TEST_F(VXWebRequestTest, TheEndOfTheProgramIsToldToo)
{
    const auto endProgram = [&] {
        const int threadsBefore = threadCount(); // a sanitizer may have one of its own
        const auto connection = VXWebConnection::requestURL(server.url(u"/silent"_s), {}, delegate);
        QCoreApplication::instance()->~QCoreApplication();
        const bool isToldOnce = delegate->calls == 1 && delegate->wasOnMainThread;
        const QDeadlineTimer deadline(5000); // a thread that has done its work takes a moment to be gone
        while (threadCount() > threadsBefore && !deadline.hasExpired())
            std::this_thread::yield();
        std::_Exit(isToldOnce && connection->error() == cancelled && threadCount() == threadsBefore ? 0 : 1);
    };
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // a fork would have none of the threads that are kept
    EXPECT_EXIT(endProgram(), testing::ExitedWithCode(0), "");
}

// A thread that has become free runs the next request, and ends when none comes.
TEST_F(VXWebRequestTest, OneAfterTheOtherShareAThread)
{
    const int threadsBefore = threadCount();
    for (int i = 0; i < 20; ++i) {
        post(u"/answer?body=x"_s);
        EXPECT_LE(threadCount(), threadsBefore + 2); // one may be just about to become free
    }
    EXPECT_GT(threadCount(), threadsBefore);
    EXPECT_TRUE(VXRunUntil([&] { return threadCount() <= threadsBefore; }));
}

// More than there are threads, some of them cancelled before their turn.
TEST_F(VXWebRequestTest, ManyAtOnce)
{
    constexpr int count = 300;
    std::vector<VXWebConnection::Ptr> connections;
    for (int i = 0; i < count; ++i)
        connections.push_back(
            VXWebConnection::requestURL(server.url(u"/answer?body=%1"_s.arg(i)), {{u"i"_s, i}}, delegate));
    EXPECT_LE(threadCount(), 110);
    for (int i = 9; i < count; i += 10)
        connections[static_cast<size_t>(i)]->cancel();
    ASSERT_TRUE(told(count));
    for (int i = 0; i < count; ++i) {
        const VXWebConnection &connection = *connections[static_cast<size_t>(i)];
        EXPECT_TRUE(connection.data().toInt() == i || (i % 10 == 9 && connection.error() == cancelled)) << i;
    }
    EXPECT_EQ(delegate->calls, count);
}

// A hundred without an end have all the turns.
TEST_F(VXWebRequestTest, WhatWaitsForItsTurnEndsInTimeAndIsStoppedAtOnce)
{
    const auto openFiles = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
    const auto before = openFiles();
    std::vector<VXWebConnection::Ptr> endless;
    for (int i = 0; i < 100; ++i) {
        endless.push_back(VXWebConnection::create());
        endless.back()->setTimeout(0);
        endless.back()->requestURL(server.url(u"/silent"_s));
    }
    auto waiting = VXWebConnection::requestURL(server.url(u"/answer?waited"_s), {}, delegate);
    waiting->cancel();
    EXPECT_EQ(delegate->calls, 1);
    EXPECT_EQ(waiting->error(), cancelled);
    const std::weak_ptr<VXWebConnection> watched = std::exchange(waiting, nullptr);
    EXPECT_TRUE(watched.expired()); // not kept for its turn

    const auto refused = VXWebConnection::requestURL(server.url(u"/answer?waited"_s), {}, delegate);
    refused->setError(VXError(u"mine"_s, 7));
    EXPECT_EQ(delegate->calls, 2);
    EXPECT_EQ(refused->error(), VXError(u"mine"_s, 7));

    const auto late = VXWebConnection::create();
    late->setDelegate(delegate);
    late->setTimeout(0.2F);
    late->requestURL(server.url(u"/answer?waited"_s));
    ASSERT_TRUE(told(3));
    EXPECT_EQ(late->error().code(), VXURLErrorTimedOut);
    EXPECT_THAT(late->error().localizedDescription().toStdString(), testing::HasSubstr("its turn"));
    const auto next = VXWebConnection::requestURL(server.url(u"/answer?body=next"_s), {}, delegate);
    endless.back()->cancel(); // and that one has its turn
    ASSERT_TRUE(told(4));
    EXPECT_EQ(next->data(), "next");
    for (const VXWebConnection::Ptr &connection : endless)
        connection->cancel();
    EXPECT_FALSE(server.requests().contains(u"POST /answer?waited"_s));
    EXPECT_TRUE(VXRunUntil([&] { return openFiles() < before + 100; }));
}

} // namespace
