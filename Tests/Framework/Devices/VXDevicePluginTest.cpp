#include "VXDevicePlugin.h"

#include "VXDeviceTesting.h"

#include <thread>

using namespace Qt::StringLiterals;

namespace {

class Handling : public QObject
{
    Q_OBJECT

public:
    Q_INVOKABLE void handle(VXDeviceAction *) { ++calls; }
    Q_INVOKABLE void takesNothing() {}
    void handleToo(VXDeviceAction *) { calls += 10; }

    int calls = 0;
};

} // namespace

class VXDevicePluginTest : public VXHomeTest
{
protected:
    VXDevicePluginTest() { device.initWithURL(QUrl(u"vxdevice://localhost/p/d"_s)); }
    QObject *active(const QString &action = u"a"_s) const { return device.actionHandlerForAction(action).target(); }

    VXDevicePlugin device;
    Handling a, b, c;
};

TEST_F(VXDevicePluginTest, TheFirstHandlerIsActiveUnlessALaterOneOverrides)
{
    device.registerActionHandler(u"a"_s, &a, "handle");
    device.registerActionHandler(u"a"_s, &b, "handle");
    EXPECT_EQ(active(), &a);
    device.registerActionHandler(u"a"_s, &c, "handle", true);
    EXPECT_EQ(active(), &c);
    device.unregisterActionHandler(u"a"_s, &c);
    EXPECT_EQ(active(), &a);
    device.registerActionHandler(u"a"_s, &a, "handle"); // moves to the end
    EXPECT_EQ(active(), &b);
    device.unregisterActionHandler(u"other"_s, &b);
    device.unregisterActionHandlersForTarget(&b);
    EXPECT_EQ(active(), &a);
    EXPECT_EQ(device.actionNames(), QStringList{u"a"_s});
    device.unregisterActionHandlers();
    EXPECT_EQ(active(), nullptr);
    EXPECT_TRUE(device.actionNames().isEmpty());
}

TEST_F(VXDevicePluginTest, HandlersAreCalledByNameOrAsFunctions)
{
    device.registerActionHandler(u"name"_s, &a, "handle");
    device.registerActionHandler(u"function"_s, &a, &Handling::handleToo);
    device.actionHandlerForAction(u"name"_s).invoke(nullptr);
    EXPECT_EQ(a.calls, 1);
    device.actionHandlerForAction(u"function"_s).invoke(nullptr);
    EXPECT_EQ(a.calls, 11);
    {
        Handling shortLived;
        device.registerActionHandler(u"name"_s, &shortLived, "handle", true);
    }
    EXPECT_EQ(active(u"name"_s), &a) << "a handler whose target is gone does not count";
}

TEST_F(VXDevicePluginTest, BrokenPromisesFailAssertions)
{
    const auto registering = [this](const QString &action, QObject *target, const QByteArray &selector) {
        return VXReasonOfAssertion([&] { device.registerActionHandler(action, target, selector); });
    };
    EXPECT_EQ(registering({}, nullptr, {}), u"Action name can not be nil"_s);
    EXPECT_EQ(registering(u"a"_s, nullptr, {}), u"Selector can not be nil: a"_s);
    EXPECT_EQ(registering(u"a"_s, nullptr, "handle"), u"Target does not respond to handle: (null)"_s);
    for (const char *const selector : {"none", "takesNothing"})
        EXPECT_TRUE(registering(u"a"_s, &a, selector).startsWith(u"Target does not respond to "_s)) << selector;
    EXPECT_EQ(VXReasonOfAssertion([&] { device.unregisterActionHandler({}, &a); }), u"Action name can not be nil"_s);
    EXPECT_EQ(VXReasonOfAssertion([&] { device.unregisterActionHandler(u"a"_s, nullptr); }),
              u"Target can not be nil"_s);
    EXPECT_EQ(VXReasonOfAssertion([&] { VXDevicePlugin().initWithURL({}); }), u"theURL can not be nil!"_s);

    QStringList onThread;
    std::thread([&] {
        onThread << VXReasonOfAssertion([&] { device.setPreference(1, u"k"_s); })
                 << VXReasonOfAssertion([&] { device.setPersistentPreference(1, u"k"_s); });
    }).join();
    EXPECT_EQ(onThread, (QStringList{u"setPreference:forKey: should not be called from a thread"_s,
                                     u"setPersistentPreference:forKey: should not be called from a thread"_s}));
    EXPECT_FALSE(device.preferenceForKey(u"k"_s).isValid());
}

TEST_F(VXDevicePluginTest, PropertiesAnnounceTheirChanges)
{
    QStringList heard;
    const auto hear = [&](const QString &when) {
        return [this, &heard, when](const QString &key) {
            heard << when + key + u' ' + QString::number(device.devicePropertyKeys().size());
        };
    };
    QObject::connect(&device, &VXDevicePlugin::willChangeValueForKey, &device, hear(u"will "_s));
    QObject::connect(&device, &VXDevicePlugin::didChangeValueForKey, &device, hear(u"did "_s));
    QObject::connect(&device, &VXDevicePlugin::devicePropertiesDidChange, [&] { heard << u"notified"_s; });

    const VXLocalizedProperty battery(80, u"Battery"_s, 2);
    device.setDeviceProperty(battery, u"battery"_s);
    EXPECT_EQ(heard, (QStringList{u"will deviceProperties 0"_s, u"will localizedProperties 0"_s,
                                  u"did deviceProperties 1"_s, u"did localizedProperties 1"_s, u"notified"_s}));
    const QMetaObject &type = VXDevicePlugin::staticMetaObject;
    EXPECT_EQ(type.property(type.indexOfProperty("deviceProperties")).notifySignal().name(),
              "devicePropertiesDidChange");
    device.setDeviceProperty(u""_s, u"model"_s);
    EXPECT_EQ(device.devicePropertyKeys(), (QStringList{u"battery"_s, u"model"_s})) << "an empty text is a value";
    EXPECT_EQ(device.localizedProperties(), QList{battery});
    device.setDeviceProperty({}, u"battery"_s);
    device.setDeviceProperty(QString(), u"model"_s);
    EXPECT_TRUE(device.deviceProperties().isEmpty());
    EXPECT_FALSE(device.devicePropertyForKey(u"battery"_s).isValid());
}

TEST_F(VXDevicePluginTest, PreferencesFallBackToPersistentOnes)
{
    VXUserDefaults &defaults = VXUserDefaults::standardUserDefaults();
    QStringList told;
    QObject::connect(&device, &VXDevicePlugin::preferencesDidChange, [&](const QString &key) { told << key; });
    device.setPersistentPreference(1, u"k"_s);
    EXPECT_EQ(told, QStringList{u"k"_s});
    EXPECT_EQ(device.preferenceForKey(u"k"_s), QVariant(1));
    device.setPreference(2, u"k"_s);
    EXPECT_EQ(device.preferenceForKey(u"k"_s), QVariant(2));
    EXPECT_EQ(defaults.integerForKey(u"p.d.k"_s), 2);
    EXPECT_EQ(defaults.integerForKey(u"persistent.p.d.k"_s), 1);

    defaults.setObject(3, u"p.dx.k"_s); // of a device whose identifier only begins alike: it goes too
    defaults.setObject(4, u"q.d.k"_s);
    device.resetPreferences();
    EXPECT_EQ(device.preferenceForKey(u"k"_s), QVariant(1));
    EXPECT_FALSE(defaults.objectForKey(u"p.dx.k"_s).isValid());
    EXPECT_EQ(defaults.integerForKey(u"q.d.k"_s), 4);
    device.setPersistentPreference({}, u"k"_s);
    EXPECT_FALSE(device.preferenceForKey(u"k"_s).isValid());
}

#include "VXDevicePluginTest.moc"
