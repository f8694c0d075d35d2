#include "VXBusPhoneTest.h"

#include "VXDeviceURL.h"
#include "VXEventManager.h"
#include "VXUserDefaults.h"

#include <QtCore/QCoreApplication>

using namespace Qt::StringLiterals;

VXBusPhoneTest::VXBusPhoneTest(const QString &plugin, std::function<std::shared_ptr<VXBusDevice>()> make)
    : url(VXMakeDeviceURL({}, plugin, u"mine"_s)), _make(std::move(make))
{
    for (const char *variable : {"DBUS_SESSION_BUS_ADDRESS", "DBUS_SYSTEM_BUS_ADDRESS"})
        qputenv(variable, bus.address());
    VXNotificationCenter::defaultCenter().addObserver(
        &_observer, VXEventManagerWillPostEventNotification, [this](const VXNotification &notification) {
            lastEvent = notification.object.toMap();
            const QStringList words{notification.userInfo.value(u"event_name"_s).toString(),
                                    notification.userInfo.value(u"event_message"_s).toString(),
                                    lastEvent.value(u"number"_s).toString(), lastEvent.value(u"text"_s).toString()};
            events.append(words.join(u' ').simplified());
        });
}

VXBusPhoneTest::~VXBusPhoneTest()
{
    if (phone)
        phone->pluginWillUnload();
    phone.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    VXNotificationCenter::defaultCenter().removeObserver(&_observer);
    for (const char *variable : {"DBUS_SESSION_BUS_ADDRESS", "DBUS_SYSTEM_BUS_ADDRESS"})
        qunsetenv(variable);
}

void VXBusPhoneTest::makePhone()
{
    phone = _make();
    ASSERT_TRUE(phone->initWithURL(url));
}

void VXBusPhoneTest::setPreference(const QString &key, const QVariant &value) const
{
    VXUserDefaults::standardUserDefaults().setObject(value, VXMakeDevicePreferenceKey(url, key));
}

QStringList VXBusPhoneTest::found() const
{
    const auto finder = _make();
    const auto finding = std::make_shared<VXDeviceFinding>();
    finder->findDevices(finding);
    EXPECT_TRUE(VXRunUntil([&] { return finding->isConcluded(); }));
    QStringList told;
    for (const VXFoundDevice &device : finding->devices())
        told << QStringList{device.name, device.identifier, device.place, device.ports.join(u' '),
                            device.problem.localizedDescription()}
                    .join(u'|');
    if (const VXError problem = finding->problem(); !problem.isNull())
        told << problem.localizedDescription() + u' ' + problem.localizedRecoverySuggestion();
    return told;
}

// -- Actions

VXDeviceAction::Ptr VXBusPhoneTest::begin(const QString &name, const QVariant &object) const
{
    const VXDeviceAction::Ptr action = VXDeviceAction::actionWithName(name);
    action->setObject(object);
    action->executeWithDevice(phone);
    return action;
}

bool VXBusPhoneTest::until(const std::function<bool()> &isSo) const
{
    for (int time = 0; time < patience; ++time) {
        if (VXRunUntil(isSo))
            return true;
    }
    return false;
}

bool VXBusPhoneTest::waitFor(const VXDeviceAction::Ptr &action) const
{
    return until([&] { return !action->isExecuting(); });
}

VXDeviceAction::Ptr VXBusPhoneTest::perform(const QString &name, const QVariant &object) const
{
    const VXDeviceAction::Ptr action = begin(name, object);
    EXPECT_TRUE(waitFor(action)) << name.toStdString();
    return action;
}

testing::AssertionResult VXBusPhoneTest::succeeds(const QString &name, const QVariant &object) const
{
    const VXError error = perform(name, object)->error();
    return error.isNull() ? testing::AssertionSuccess()
                          : testing::AssertionFailure() << error.localizedText().toStdString();
}

QString VXBusPhoneTest::fateOfSending(const QString &number, const QString &text) const
{
    const auto sent = perform(u"send_message"_s, QVariantMap{{u"number"_s, number}, {u"text"_s, text}});
    return sent->error().isNull() ? u"sent"_s : resultOf(sent).value(u"failure"_s).toString();
}

QVariantList VXBusPhoneTest::items(const VXDeviceAction::Ptr &action)
{
    EXPECT_EQ(action->error().localizedDescription(), QString());
    return resultOf(action).value(u"items"_s).toList();
}

QStringList VXBusPhoneTest::texts(const VXDeviceAction::Ptr &action, const QString &key)
{
    QStringList texts;
    for (const QVariant &item : resultOf(action).value(u"items"_s).toList())
        texts.append(item.toMap().value(key).toString());
    texts.sort();
    return texts;
}

// -- What it shows and tells

QString VXBusPhoneTest::shown(const QString &key) const
{
    return phone->devicePropertyForKey(key).value<VXLocalizedProperty>().value().toString();
}

QString VXBusPhoneTest::problem() const
{
    return (shown(u"problem"_s) + u' ' + shown(u"remedy"_s)).trimmed();
}

bool VXBusPhoneTest::hears(const QStringList &expected) const
{
    const bool came = until([&] { return events == expected; });
    EXPECT_EQ(events, expected);
    return came;
}

bool VXBusPhoneTest::hasProblem(const QString &beginning) const
{
    const bool has = until([&] { return problem().startsWith(beginning); });
    EXPECT_TRUE(has) << problem().toStdString();
    return has;
}

bool VXBusPhoneTest::isReached() const
{
    const bool is = until([&] { return phone->isConnected(); });
    EXPECT_TRUE(is) << problem().toStdString();
    return is;
}
