#include "VXNewsNotices.h"
#include "VXDesktopSettings.h"

#include "VXBusMock.h"
#include "VXDesktopTesting.h"
#include "VXEventManager.h"
#include "VXIdleTime.h"
#include "VXMainWindow.h"
#include "VXTestProcess.h"
#include "VXTriggerStore.h"
#include "VXUserDefaults.h"

#include <QtWidgets/QApplication>
#include <QtWidgets/QPushButton>

using namespace Qt::StringLiterals;

namespace {

const QString serviceName = u"org.freedesktop.Notifications"_s;

class VXNewsNoticesTest : public VXDesktopTest
{
protected:
    VXNewsNoticesTest() : daemon(path(u"bus"_s)), service(daemon.address(), serviceName)
    {
        service.answer(u"Notify"_s, [this](const QDBusMessage &message) {
            notified = message.arguments();
            return QVariantList{uint(3)};
        });
        service.answer(u"CloseNotification"_s);
        VXContactRecord jane;
        jane.firstName = u"Jane"_s;
        jane.lastName = u"Doe"_s;
        jane.numbers = {{u"+1 555 0100"_s, 0, {}}};
        add(jane);
    }
    ~VXNewsNoticesTest() override { QDBusConnection::disconnectFromBus(u"news"_s); }

    static void call(const QString &step, const QVariantMap &more = {})
    {
        QVariantMap object{{u"from"_s, u"+15550100"_s}, {u"direction"_s, 1}, {u"call_id"_s, u"7"_s}};
        object.insert(more);
        VXEventManager::sharedEventManager().postEventWithName(u"incoming_call"_s, step, object);
        QApplication::processEvents();
    }

    VXTestBus daemon;
    VXBusMock service;
    QDBusConnection bus = QDBusConnection::connectToBus(QString::fromUtf8(daemon.address()), u"news"_s);
    QVariantList notified;
};

} // namespace

TEST_F(VXNewsNoticesTest, aCallThatRingsShowsWhoItIsUntilItEnds)
{
    VXMainWindow window;
    const VXNewsNotices news(window, bus);
    const auto isOnScreen = [&] { return news.bezel().isVisible(); };
    call(u"ringing"_s);
    EXPECT_TRUE(VXRunUntil(isOnScreen));
    EXPECT_TRUE(news.bezel().accessibleName().contains(u"Jane Doe"_s)) << news.bezel().accessibleName().toStdString();
    call(u"connected"_s);
    EXPECT_FALSE(isOnScreen());
    call(u"ended"_s, {{u"isMissed"_s, false}});

    call(u"ringing"_s);
    const_cast<VXBezelWindow &>(news.bezel()).hide(); // closed by the user
    call(u"ringing"_s);                               // phones tell it with each ring
    EXPECT_FALSE(isOnScreen());
    call(u"ended"_s, {{u"isMissed"_s, false}});

    VXUserDefaults::standardUserDefaults().setObject(false, VXDesktopSettings::tellsNewsKey);
    call(u"ringing"_s);
    EXPECT_FALSE(isOnScreen());
}

TEST_F(VXNewsNoticesTest, whatAnAutomationTellsOfIsLeftToIt)
{
    const auto triggers = VXTriggerStore::open();
    VXTriggerChange change;
    change.event = u"incoming_call"_s;
    change.reactions = {{u"com.halvern.VNX2.plugin.desktopnotification"_s, {}}};
    change.filter = u"from CONTAINS \"0100\""_s;
    VXError error;
    ASSERT_FALSE(triggers->add(change, &error).isNull()) << error.description().toStdString();
    ASSERT_TRUE(triggers->save());
    VXMainWindow window;
    const VXNewsNotices news(window, bus);
    call(u"ringing"_s);
    EXPECT_FALSE(news.bezel().isVisible());
    call(u"ringing"_s, {{u"from"_s, u"+15550177"_s}, {u"call_id"_s, u"8"_s}}); // its filter does not hold
    EXPECT_TRUE(news.bezel().isVisible());
}

TEST_F(VXNewsNoticesTest, anAutomationCanWaitUntilTheUserIsAway)
{
    const auto triggers = VXTriggerStore::open();
    VXTriggerChange change;
    change.event = u"incoming_call"_s;
    change.filter = u"idle >= 60"_s;
    change.reactions = {{u"com.halvern.VNX2.plugin.logevent"_s, {}}};
    VXError error;
    const VXTrigger trigger = triggers->add(change, &error);
    ASSERT_FALSE(trigger.isNull()) << error.description().toStdString();
    const QVariant object = QVariantMap{{u"from"_s, u"+15550100"_s}};
    using Kind = VXFilterVerdict::Kind;
    EXPECT_EQ(trigger.test(object).kind, Kind::Rejected); // nobody knows
    for (const auto &[seconds, expected] : {std::pair(59.0, Kind::Rejected), std::pair(61.0, Kind::Passed)}) {
        VXIdleTime::setSource([seconds = seconds] { return seconds; });
        EXPECT_EQ(trigger.test(object).kind, expected) << seconds;
    }
    VXIdleTime::setSource({});
}

TEST_F(VXNewsNoticesTest, aMissedCallStaysAsANotificationThatCanBeActedOn)
{
    service.answer(u"GetCapabilities"_s, {QStringList{u"body"_s, u"actions"_s, u"body-markup"_s}});
    VXMainWindow window;
    const VXNewsNotices news(window, bus);
    call(u"ringing"_s);
    EXPECT_TRUE(notified.isEmpty());
    call(u"ended"_s, {{u"isMissed"_s, true}});
    ASSERT_TRUE(VXRunUntil([&] { return !notified.isEmpty(); }));
    EXPECT_TRUE(notified.value(3).toString().contains(u"Jane Doe"_s));
    const QStringList actions = notified.value(5).toStringList();
    ASSERT_EQ(actions.size(), 6);
    EXPECT_EQ(actions.at(0), u"default"_s);
    window.showSection(u"contacts"_s);
    QApplication::processEvents();
    service.emitSignal(u"/org/freedesktop/Notifications"_s, serviceName, u"ActionInvoked"_s, {uint(3), actions.at(4)});
    EXPECT_TRUE(VXRunUntil([&] { return window.section(u"messages"_s)->isVisible(); }));
}

TEST_F(VXNewsNoticesTest, aMessageThatCameInIsToldWithoutItsMarkup)
{
    service.answer(u"GetCapabilities"_s, {QStringList{u"body"_s, u"body-markup"_s}});
    VXMainWindow window;
    const VXNewsNotices news(window, bus);
    VXEventManager::sharedEventManager().postEventWithName(
        u"new_message"_s, {}, QVariantMap{{u"from"_s, u"+15550100"_s}, {u"direction"_s, 1}, {u"text"_s, u"<b>Hi"_s}});
    ASSERT_TRUE(VXRunUntil([&] { return !notified.isEmpty(); }));
    EXPECT_EQ(notified.value(3).toString(), u"Jane Doe"_s);
    EXPECT_EQ(notified.value(4).toString(), u"&lt;b&gt;Hi"_s);
    EXPECT_EQ(notified.value(5).toStringList(), QStringList()); // it shows no buttons
}
