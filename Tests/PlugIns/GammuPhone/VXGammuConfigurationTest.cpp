#include "VXGammuPhoneTest.h"

#include <gammu.h>

using namespace Qt::StringLiterals;

using VXGammuConfigurationTest = VXGammuPhoneTest;

TEST_F(VXGammuConfigurationTest, ReadsASectionOfAConfigurationFile)
{
    addContacts("BEGIN:VCARD\nVERSION:3.0\nN:Found;\nTEL:+1\nEND:VCARD\n");
    const QString file = writeFile(
        u"phones"_s, "[gammu]\nconnection = at\nport = /nowhere\n\n[gammu3]\nmodel = dummy\nconnection = none\n"
                     "port = " +
                         dummyPath().toUtf8() + "\n");
    for (const QString &section : {u"gammu3"_s, u"3"_s}) {
        const auto phone = makePhone({{u"config_file"_s, file}, {u"config_section"_s, section}});
        EXPECT_EQ(items(run(phone, u"read_contacts"_s), u"lastName"_s), (QVariantList{u"Found"_s}));
    }
}

TEST_F(VXGammuConfigurationTest, WhatCannotBeReachedIsTold)
{
    const QString empty = writeFile(u"empty"_s, "");
    const QString noise = writeFile(u"noise"_s, QByteArray::fromHex("ff00fe5b5d3d0a5b67616d6d755d"));
    const QString other = writeFile(u"other"_s, "[gammu1]\nport = /x\n");
    const QVariantList bad{
        QVariantMap{},
        QVariantMap{{u"connection"_s, u"none"_s}},
        QVariantMap{{u"connection"_s, u"pigeon"_s}, {u"port"_s, u"/dev/null"_s}},
        QVariantMap{{u"connection"_s, u"at"_s}, {u"port"_s, path(u"nowhere"_s)}},
        QVariantMap{{u"connection"_s, u"at"_s}, {u"port"_s, empty}},
        QVariantMap{{u"connection"_s, u"none"_s}, {u"model"_s, u"dummy"_s}, {u"port"_s, path(u"nowhere"_s)}},
        QVariantMap{{u"connection"_s, u"none"_s}, {u"model"_s, QString(60, u'x')}, {u"port"_s, u"/"_s}},
        QVariantMap{{u"config_file"_s, path(u"nowhere"_s)}},
        QVariantMap{{u"config_file"_s, path()}},
        QVariantMap{{u"config_file"_s, empty}},
        QVariantMap{{u"config_file"_s, noise}},
        QVariantMap{{u"config_file"_s, other}},
        QVariantMap{{u"config_file"_s, other}, {u"config_section"_s, u"gammu2"_s}},
        QVariantMap{{u"config_file"_s, other}, {u"config_section"_s, u"phone"_s}},
    };
    for (const QVariant &preferences : bad) {
        const auto phone = makePhone(preferences.toMap());
        const auto action = run(phone, u"read_contacts"_s);
        EXPECT_TRUE(action->error()) << testing::PrintToString(preferences);
        const QString told = action->error().localizedDescription();
        EXPECT_FALSE(told.isEmpty());
        EXPECT_EQ(phone->devicePropertyForKey(u"problem"_s).value<VXLocalizedProperty>().value(), told);
        EXPECT_FALSE(static_cast<VXGammuPhone *>(phone.get())->isConnecting());
    }
}

TEST_F(VXGammuConfigurationTest, APortThatIsNotThereIsToldAsThat)
{
    for (const QString &connection : {u"none"_s, u"at"_s}) {
        const auto phone = makePhone({{u"connection"_s, connection}, {u"port"_s, path(u"nowhere"_s)}});
        EXPECT_EQ(run(phone, u"read_contacts"_s)->error().code(), ERR_DEVICENOTEXIST);
    }
}

TEST_F(VXGammuConfigurationTest, APhoneIsConnectingUntilItsPropertiesAreThere)
{
    const auto phone = makeDummy();
    const auto *const dummy = static_cast<VXGammuPhone *>(phone.get());
    EXPECT_TRUE(dummy->isConnecting());
    QStringList changes;
    QObject::connect(dummy, &VXDevicePlugin::didChangeValueForKey, dummy, [&](const QString &key) {
        if (key == "isConnecting"_L1)
            changes << phone->devicePropertyKeys();
    });
    ASSERT_TRUE(VXRunUntil([&] { return !dummy->isConnecting(); }));
    EXPECT_TRUE(dummy->isConnected());
    EXPECT_EQ(changes,
              (QStringList{u"battery"_s, u"firmware"_s, u"imei"_s, u"manufacturer"_s, u"model"_s, u"signal"_s}));
}
