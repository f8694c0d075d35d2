#include "VXDevicePopup.h"

#include "VXDeviceTesting.h"

#include <thread>

using namespace Qt::StringLiterals;

class VXDevicePopupTest : public VXDeviceHomeTest
{
protected:
    static void setPreference(const QString &device, const QString &key, const QVariant &value)
    {
        VXUserDefaults::standardUserDefaults().setObject(value, VXMakeDevicePreferenceKey(phone(device), key));
    }
    static QStringList titles(const VXDevicePopup &popup)
    {
        QStringList titles;
        for (const VXDevicePopup::Item &item : popup.items())
            titles << item.title;
        return titles;
    }
};

TEST_F(VXDevicePopupTest, ShowsNamesInOrderAndFollowsTheRegistryInAWindow)
{
    setPreference(u"1"_s, u"name"_s, u"Zoe's"_s);
    setPreference(u"2"_s, u"name"_s, u"Anna's"_s);
    startWithPhones({u"1"_s, u"2"_s});
    VXDevicePopup popup;
    EXPECT_EQ(titles(popup), (QStringList{u"Anna's"_s, u"Zoe's"_s}));
    EXPECT_EQ(popup.selectedURL(), phone(u"2"_s)) << "none is connected: the first";

    VXDevicePlugin::removeDeviceAtURL(phone(u"2"_s));
    EXPECT_EQ(popup.items().size(), 2) << "not in a window";
    popup.setInWindow(true);
    EXPECT_EQ(titles(popup), QStringList{u"Zoe's"_s});
    EXPECT_EQ(popup.selectedURL(), phone(u"1"_s));

    int changes = 0;
    QObject::connect(&popup, &VXDevicePopup::itemsDidChange, &popup, [&changes] { ++changes; });
    std::thread([] { VXDevicePlugin::removeDeviceAtURL(phone(u"none"_s)); }).join();
    setPreference(u"3"_s, u"name"_s, u"Bea's"_s);
    auto device = VXDevicePlugin::hold(new VXDevicePlugin);
    device->initWithURL(phone(u"3"_s));
    VXDevicePlugin::addDevice(device);
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(popup.items().size(), 2);
    EXPECT_EQ(popup.selectedURL(), phone(u"1"_s)) << "still there";
    popup.setInWindow(false);
    VXDevicePlugin::removeDeviceAtURL(phone(u"3"_s));
    EXPECT_EQ(changes, 1);
    idle();
}

TEST_F(VXDevicePopupTest, AGoneSelectionGivesWayToAConnectedDevice)
{
    setPreference(u"3"_s, u"connected"_s, true);
    startWithPhones({u"1"_s, u"2"_s, u"3"_s, u"4"_s});
    VXDevicePopup popup;
    EXPECT_EQ(popup.selectedURL(), phone(u"3"_s));
    popup.setSelectedURL(phone(u"4"_s));
    popup.setSelectedURL(phone(u"unknown"_s));
    EXPECT_EQ(popup.selectedURL(), phone(u"4"_s));
    popup.rebuild();
    EXPECT_EQ(popup.selectedURL(), phone(u"4"_s)) << "kept while it is there";
    VXDevicePlugin::removeDeviceAtURL(phone(u"4"_s));
    popup.rebuild();
    EXPECT_EQ(popup.selectedURL(), phone(u"3"_s));
}

TEST_F(VXDevicePopupTest, KeepsTheChoiceUnderItsKey)
{
    startWithPhones({u"1"_s, u"2"_s});
    VXDevicePopup popup;
    popup.setDefaultsKey(u"calls"_s);
    EXPECT_EQ(popup.selectedURL(), phone(u"2"_s));
    popup.activateItem({u"One"_s, phone(u"1"_s)});
    EXPECT_EQ(VXDevicePlugin::defaultDeviceForKey(u"calls"_s)->url(), phone(u"1"_s));
    VXDevicePopup other;
    other.setDefaultsKey(u"calls"_s);
    EXPECT_EQ(other.selectedURL(), phone(u"1"_s));
}

TEST_F(VXDevicePopupTest, WithoutDevicesItOffersToAddOne)
{
    startWithPhones({});
    VXDevicePopup popup;
    ASSERT_EQ(titles(popup), QStringList{u"Add a phone..."_s});
    EXPECT_TRUE(popup.selectedURL().isEmpty());
    popup.activateItem(popup.items().first());
    EXPECT_EQ(log.lines(u"WARNING"_s).filter(u"plugin not enabled: (null)"_s).size(), 1);
}
