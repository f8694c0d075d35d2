// logind is played by fake_logind.py on a bus of the test's own.

#include "VXSleepInhibitor.h"

#include "ServicesTestsPaths.h"
#include "VXActivityManager.h"
#include "VXSleepGuard.h"
#include "VXTesting.h"
#include "VXTestProcess.h"

#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusConnectionInterface>

#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

class VXSleepInhibitorTest : public VXHomeTest
{
protected:
    std::optional<VXTestBus> bus;
    std::optional<VXTestProcess> logind;
    int reader = -1; // of the pipe that inhibitors hold open

    void startLogind(bool refusesToBlock)
    {
        bus.emplace(path(u"bus"_s));
        ASSERT_FALSE(bus->address().isEmpty()) << "the package dbus is missing";
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", bus->address());
        const QByteArray fifo = path(u"fifo"_s).toLocal8Bit();
        ASSERT_EQ(::mkfifo(fifo.constData(), 0600), 0);
        reader = ::open(fifo.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        const QString parameters =
            u"{\"fifo\": \"%1\", \"refuse\": %2}"_s.arg(path(u"fifo"_s), refusesToBlock ? u"true"_s : u"false"_s);
        logind.emplace(u"/usr/bin/python3 -m dbusmock --system --template '%1' --parameters '%2'"_s.arg(
            QStringLiteral(VORNIX_FAKE_LOGIND), parameters));
        ASSERT_TRUE(VXRunUntil([] {
            return QDBusConnection::systemBus().interface()->isServiceRegistered(u"org.freedesktop.login1"_s).value();
        })) << "the package python3-dbusmock is missing";
    }
    ~VXSleepInhibitorTest() override
    {
        if (reader >= 0)
            ::close(reader);
    }

    // A pipe that nobody writes to any more reads as its end.
    bool isHeld() const
    {
        char byte = 0;
        return ::read(reader, &byte, 1) < 0;
    }
    QByteArray asked() const { return readFile(path(u"fifo.asked"_s)); }
};

} // namespace

TEST_F(VXSleepInhibitorTest, SleepIsInhibitedAsLongAsTheInhibitorLives)
{
    startLogind(false);
    auto inhibitor = VXSleepInhibitor::inhibitSleep(u"Writing to Nokia"_s);
    ASSERT_NE(inhibitor, nullptr);
    EXPECT_TRUE(inhibitor->isBlocking());
    EXPECT_EQ(asked(), "sleep block Writing to Nokia\n");
    EXPECT_TRUE(isHeld());
    inhibitor.reset();
    EXPECT_TRUE(VXRunUntil([this] { return !isHeld(); }));
}

TEST_F(VXSleepInhibitorTest, WithoutTheRightToBlockItDelays)
{
    startLogind(true);
    const auto inhibitor = VXSleepInhibitor::inhibitSleep(u"Writing"_s);
    ASSERT_NE(inhibitor, nullptr);
    EXPECT_FALSE(inhibitor->isBlocking());
}

TEST_F(VXSleepInhibitorTest, WithoutLogindTheReasonIsTold)
{
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent");
    QString reason;
    EXPECT_EQ(VXSleepInhibitor::inhibitSleep(u"Writing"_s, &reason), nullptr);
    EXPECT_FALSE(reason.isEmpty());
}

TEST_F(VXSleepInhibitorTest, TheMachineStaysAwakeWhileAnythingRuns)
{
    startLogind(false);
    VXActivityManager &manager = VXActivityManager::sharedActivityManager();
    const auto earlier = manager.addActivityWithTitle(u"Sync"_s);
    VXSleepGuard guard(std::chrono::milliseconds(0));
    ASSERT_TRUE(VXRunUntil([this] { return !asked().isEmpty(); }));
    const auto later = manager.addActivityWithTitle(u"Backup"_s);
    manager.removeActivity(earlier);
    QCoreApplication::processEvents();
    EXPECT_TRUE(isHeld());
    EXPECT_EQ(asked(), "sleep block Sync\n"); // once for both
    manager.removeActivity(later);
    EXPECT_TRUE(VXRunUntil([this] { return !isHeld(); }));
}
