#pragma once

#include "VXDeviceURL.h"
#include "VXEventManager.h"
#include "VXMobileModem.h"
#include "VXTesting.h"
#include "VXTestProcess.h"
#include "VXUserDefaults.h"

/** A modem of the test's own bus, and what it tells. */
class VXModemTest : public VXHomeTest
{
protected:
    const QUrl url = VXMakeDeviceURL({}, QStringLiteral("com.halvern.VNX2.MobileModem"), QStringLiteral("mine"));
    VXTestBus bus{path(QStringLiteral("bus"))};
    std::shared_ptr<VXMobileModem> modem;
    QStringList events; // "NAME SUBTYPE NUMBER TEXT"
    QVariantMap lastEvent;

    void makeModem()
    {
        setPreference(QStringLiteral("bus"), QString::fromLocal8Bit(bus.address()));
        VXNotificationCenter::defaultCenter().addObserver(
            &_observer, VXEventManagerWillPostEventNotification, [this](const VXNotification &notification) {
                const QVariantMap object = notification.object.toMap();
                lastEvent = object;
                events.append(QStringLiteral("%1 %2 %3 %4")
                                  .arg(notification.userInfo.value(QStringLiteral("event_name")).toString(),
                                       notification.userInfo.value(QStringLiteral("event_message")).toString(),
                                       object.value(QStringLiteral("number")).toString(),
                                       object.value(QStringLiteral("text")).toString())
                                  .simplified());
            });
        modem = std::make_shared<VXMobileModem>();
        ASSERT_TRUE(modem->initWithURL(url));
    }
    void TearDown() override
    {
        if (modem)
            modem->pluginWillUnload();
        VXNotificationCenter::defaultCenter().removeObserver(&_observer);
    }
    void setPreference(const QString &key, const QVariant &value) const
    {
        VXUserDefaults::standardUserDefaults().setObject(value, VXMakeDevicePreferenceKey(url, key));
    }
    /** Waits for its end. */
    VXDeviceAction::Ptr perform(const QString &name, const QVariant &object = {})
    {
        const VXDeviceAction::Ptr action = VXDeviceAction::actionWithName(name);
        action->setObject(object);
        action->executeWithDevice(modem);
        EXPECT_TRUE(VXRunUntil([&] { return !action->isExecuting(); })) << name.toStdString();
        return action;
    }
    QString shown(const QString &key) const
    {
        return modem->devicePropertyForKey(key).value<VXLocalizedProperty>().value().toString();
    }
    bool hears(const QStringList &expected)
    {
        const bool came = VXRunUntil([&] { return events == expected; });
        EXPECT_EQ(events, expected);
        return came;
    }

private:
    QObject _observer;
};
