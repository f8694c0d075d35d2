#include "VXApplication.h"
#include "VXScriptedUserInterface.h"
#include "VXTesting.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

constexpr const char *markerVariable = "VX_TEST_RELAUNCH_MARKER";

// The relaunched program writes down how it was started, and ends before any test of it begins.
const bool relaunched = [] {
    const char *marker = std::getenv(markerVariable);
    if (marker == nullptr)
        return false;
    std::ostringstream commandLine;
    commandLine << std::ifstream("/proc/self/cmdline").rdbuf();
    const std::string part = std::string(marker) + ".part";
    std::ofstream(part) << commandLine.str();
    std::rename(part.c_str(), marker);
    std::_Exit(0);
}();

class VXApplicationTest : public VXHomeTest
{
protected:
    VXApplicationTest()
    {
        auto scripted = std::make_unique<VXScriptedUserInterface>();
        user = scripted.get();
        application.setUserInterface(std::move(scripted));
    }
    ~VXApplicationTest() override
    {
        application.setShouldTerminateHandler({});
        application.setOpenURLHandler({});
        application.setAsTerminating(false);
    }

    // True when the event loop was told to end before it became idle.
    static bool endsEventLoop()
    {
        constexpr int idle = 7;
        // In the loop's second round: one round handles events and timers alike, and the last exit code counts.
        QTimer::singleShot(0, [] { QTimer::singleShot(0, [] { QCoreApplication::exit(idle); }); });
        return QCoreApplication::exec() != idle;
    }

    VXApplication &application = VXApplication::sharedApplication();
    VXScriptedUserInterface *user;
};

} // namespace

TEST_F(VXApplicationTest, TerminateAsksAndObeys)
{
    int asked = 0;
    int willTerminate = 0;
    VXTerminateReply reply = VXTerminateReply::Cancel;
    application.setShouldTerminateHandler([&] {
        ++asked;
        application.setAsTerminating(reply != VXTerminateReply::Cancel);
        return reply;
    });
    QObject context;
    QObject::connect(&application, &VXApplication::willTerminate, &context, [&] { ++willTerminate; });

    application.terminate();
    EXPECT_FALSE(application.isTerminating());
    EXPECT_FALSE(endsEventLoop());

    reply = VXTerminateReply::Later;
    application.terminate();
    application.terminate(); // while the answer is awaited: not asked again
    EXPECT_EQ(asked, 2);
    EXPECT_TRUE(application.isTerminating());
    EXPECT_FALSE(endsEventLoop());
    application.replyToApplicationShouldTerminate(false);
    EXPECT_FALSE(application.isTerminating());

    application.replyToApplicationShouldTerminate(true); // nobody waits for it
    EXPECT_EQ(willTerminate, 0);
    application.terminate();
    application.replyToApplicationShouldTerminate(true);
    EXPECT_EQ(willTerminate, 1);
    EXPECT_TRUE(endsEventLoop());

    reply = VXTerminateReply::Now;
    application.terminate();
    EXPECT_EQ(willTerminate, 2);
    EXPECT_TRUE(endsEventLoop()); // asked for before the loop began
}

TEST_F(VXApplicationTest, RelaunchStartsTheProgramWithTheSameArguments)
{
    const QString marker = path(u"marker"_s);
    EXPECT_TRUE(application.relaunchIfDue()); // not due: nothing happens
    application.setNeedsRelaunch(true);
    EXPECT_FALSE(endsEventLoop());
    application.setDidFinishLaunching(true);
    EXPECT_FALSE(application.needsRelaunch());
    EXPECT_TRUE(endsEventLoop());

    qputenv(markerVariable, marker.toLocal8Bit());
    VXError error;
    EXPECT_TRUE(application.relaunchIfDue(&error)) << testing::PrintToString(error);
    ASSERT_TRUE(VXRunUntil([&] { return QFileInfo::exists(marker); }));
    qunsetenv(markerVariable);
    const auto arguments = [](const QByteArray &commandLine) { return commandLine.sliced(commandLine.indexOf('\0')); };
    EXPECT_EQ(arguments(readFile(marker)), arguments(readFile(u"/proc/self/cmdline"_s)));
    EXPECT_TRUE(application.relaunchIfDue()); // once is enough
}

TEST_F(VXApplicationTest, ErrorsOfOtherThreadsAreShown)
{
    const VXError error(u"Domain"_s, 3);
    std::atomic<bool> done = false;
    std::thread worker([&] {
        application.presentError(error);
        done = true;
    });
    EXPECT_TRUE(VXRunUntil([&] { return done.load(); }));
    worker.join();
    ASSERT_EQ(user->errors().size(), 1U);
    EXPECT_EQ(user->errors().front(), error);
    application.presentError({}); // no error, nothing to show
    EXPECT_EQ(user->errors().size(), 1U);
}

TEST_F(VXApplicationTest, OpeningAnURLBringsTheApplicationToTheFront)
{
    EXPECT_FALSE(application.openURLString(u"callto:1"_s).isValid());
    application.setOpenURLHandler([](const QString &url) { return url == u"callto:1"_s ? QVariant(1) : QVariant(); });
    EXPECT_EQ(application.openURLString(u"callto:1"_s), QVariant(1));
    EXPECT_FALSE(application.openURLString(u"other:1"_s).isValid());
    EXPECT_EQ(user->activations(), 3);
}
