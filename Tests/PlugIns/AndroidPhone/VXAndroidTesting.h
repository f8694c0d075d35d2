#pragma once

#include "VXAndroidPhone.h"
#include "VXDeviceURL.h"
#include "VXEventManager.h"
#include "VXTesting.h"
#include "VXTestProcess.h"
#include "VXUserDefaults.h"

/** A phone of the test's own bus, and what it tells. */
class VXAndroidTest : public VXHomeTest
{
protected:
    const QUrl url = VXMakeDeviceURL({}, QStringLiteral("com.halvern.VNX2.AndroidPhone"), QStringLiteral("mine"));
    VXTestBus bus{path(QStringLiteral("bus"))};
    std::shared_ptr<VXAndroidPhone> phone;
    QStringList events; // "NAME SUBTYPE NUMBER TEXT"
    QVariantMap lastEvent;

    void makePhone()
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
        phone = std::make_shared<VXAndroidPhone>();
        ASSERT_TRUE(phone->initWithURL(url));
    }
    void TearDown() override
    {
        if (phone)
            phone->pluginWillUnload();
        VXNotificationCenter::defaultCenter().removeObserver(&_observer);
    }
    void setPreference(const QString &key, const QVariant &value) const
    {
        VXUserDefaults::standardUserDefaults().setObject(value, VXMakeDevicePreferenceKey(url, key));
    }
    VXDeviceAction::Ptr begin(const QString &name, const QVariant &object = {}) const
    {
        const VXDeviceAction::Ptr action = VXDeviceAction::actionWithName(name);
        action->setObject(object);
        action->executeWithDevice(phone);
        return action;
    }
    /** Waits for its end. */
    VXDeviceAction::Ptr perform(const QString &name, const QVariant &object = {}) const
    {
        const VXDeviceAction::Ptr action = begin(name, object);
        EXPECT_TRUE(VXRunUntil([&] { return !action->isExecuting(); })) << name.toStdString();
        return action;
    }
    /** One key of the items that an action read, sorted. */
    static QStringList texts(const VXDeviceAction::Ptr &action, const QString &key)
    {
        QStringList texts;
        for (const QVariant &item : action->result().toMap().value(QStringLiteral("items")).toList())
            texts.append(item.toMap().value(key).toString());
        texts.sort();
        return texts;
    }
    QString shown(const QString &key) const
    {
        return phone->devicePropertyForKey(key).value<VXLocalizedProperty>().value().toString();
    }
    bool hears(const QStringList &expected) const
    {
        const bool came = VXRunUntil([&] { return events == expected; });
        EXPECT_EQ(events, expected);
        return came;
    }
    bool hasProblem(const QString &beginning) const
    {
        const bool has = VXRunUntil([&] { return shown(QStringLiteral("problem")).startsWith(beginning); });
        EXPECT_TRUE(has) << shown(QStringLiteral("problem")).toStdString();
        return has;
    }
    bool isReached() const
    {
        const bool is = VXRunUntil([&] { return phone->isConnected(); });
        EXPECT_TRUE(is) << shown(QStringLiteral("problem")).toStdString();
        return is;
    }

private:
    QObject _observer;
};
