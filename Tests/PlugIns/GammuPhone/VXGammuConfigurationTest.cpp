#include "VXGammuPhoneTest.h"

using namespace Qt::StringLiterals;

class VXGammuConfigurationTest : public VXGammuPhoneTest
{
};

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
        const auto action = run(makePhone(preferences.toMap()), u"read_contacts"_s);
        EXPECT_TRUE(action->error()) << testing::PrintToString(preferences);
        EXPECT_FALSE(action->error().localizedDescription().isEmpty());
    }
}

TEST_F(VXGammuConfigurationTest, UnloadingEndsWhatWaits)
{
    const auto phone = makeDummy();
    const auto first = VXDeviceAction::actionWithName(u"read_contacts"_s);
    const auto second = VXDeviceAction::actionWithName(u"read_contacts"_s);
    first->executeWithDevice(phone);
    second->executeWithDevice(phone);
    phone->pluginWillUnload();
    EXPECT_TRUE(VXRunUntil([&] { return !first->isExecuting() && !second->isExecuting(); }));
}
