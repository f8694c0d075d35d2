#include "VXGammuPhoneTest.h"
#include "GammuPhoneTestsPaths.h"

#include "VXDeviceURL.h"
#include "VXUserDefaults.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>

#include <array>
#include <cstdio>
#include <thread>

using namespace Qt::StringLiterals;

VXGammuPhoneTest::~VXGammuPhoneTest()
{
    for (const VXDevicePlugin::Ptr &phone : _phones)
        phone->pluginWillUnload();
    _phones.clear();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

QString VXGammuPhoneTest::dummyPath(const QString &relative) const
{
    return path(u"dummy/"_s + relative);
}

// Not by QProcess: forking a process with threads ends the thread sanitizer's view of it, popen(3) spawns.
QByteArray VXGammuPhoneTest::gammu(const VXWords &arguments) const
{
    QDir().mkpath(dummyPath());
    const QString configuration =
        writeFile(u"gammurc"_s, "[gammu]\nmodel = dummy\nconnection = none\nport = " + dummyPath().toUtf8() + "\n");
    QByteArray command = "LC_ALL=C.UTF-8 " GAMMU_PROGRAM;
    for (QString argument : VXWords{"-c", configuration} + arguments)
        command += " '" + argument.replace(u'\'', u"'\\''"_s).toUtf8() + '\'';
    FILE *const program = ::popen((command + " </dev/null 2>&1").constData(), "re");
    QByteArray output;
    std::array<char, 4096> bytes{};
    while (const size_t count = program != nullptr ? ::fread(bytes.data(), 1, bytes.size(), program) : 0)
        output.append(bytes.data(), qsizetype(count));
    EXPECT_TRUE(program != nullptr && ::pclose(program) == 0) << output.toStdString();
    return output;
}

void VXGammuPhoneTest::addContacts(const QByteArray &cards, const QString &memory) const
{
    gammu({"addnew", writeFile(u"cards.vcf"_s, cards), "-yes", "-memory", memory});
}

VXDevicePlugin::Ptr VXGammuPhoneTest::makePhone(const QVariantMap &preferences)
{
    static int count = 0; // preferences outlive a test that shares its process with others
    const QUrl url = VXMakeDeviceURL({}, u"com.halvern.VNX2.GammuPhone"_s, u"phone%1."_s.arg(++count));
    for (auto preference = preferences.begin(); preference != preferences.end(); ++preference)
        VXUserDefaults::standardUserDefaults().setObject(*preference, VXMakeDevicePreferenceKey(url, preference.key()));
    _phones.push_back(VXDevicePlugin::hold(new VXGammuPhone(QStringLiteral(PHONE_PROGRAM))));
    EXPECT_TRUE(_phones.back()->initWithURL(url));
    return _phones.back();
}

VXDevicePlugin::Ptr VXGammuPhoneTest::makeDummy()
{
    QDir().mkpath(dummyPath());
    return makePhone({{u"model"_s, u"dummy"_s}, {u"connection"_s, u"none"_s}, {u"port"_s, dummyPath()}});
}

VXDevicePlugin::Ptr VXGammuPhoneTest::makeModem(const QString &port, const QVariantMap &preferences)
{
    QVariantMap all{{u"connection"_s, u"at"_s}, {u"port"_s, port}};
    all.insert(preferences);
    return makePhone(all);
}

VXDeviceAction::Ptr VXGammuPhoneTest::run(const VXDevicePlugin::Ptr &phone, const QString &name, const QVariant &object)
{
    const auto action = VXDeviceAction::actionWithName(name);
    action->setObject(object);
    action->executeWithDevice(phone);
    EXPECT_TRUE(VXRunUntil([&] { return !action->isExecuting(); })) << name.toStdString();
    return action;
}

QVariantList VXGammuPhoneTest::items(const VXDeviceAction::Ptr &action, const QString &key)
{
    QVariantList values;
    for (const QVariant &item : action->result().toMap().value(u"items"_s).toList())
        values.append(item.toMap().value(key));
    return values;
}

// In a process of its own, which ends its application before the phone is asked on a thread.
TEST(VXGammuPhoneDeathTest, AnActionIsCancelledWhenTheMainThreadHasEnded)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto run = [] {
        const VXDevicePlugin::Ptr phone = VXDevicePlugin::hold(new VXGammuPhone(u"/nonexistent"_s));
        phone->initWithURL(VXMakeDeviceURL({}, u"com.halvern.VNX2.GammuPhone"_s, u"late."_s));
        const auto action = VXDeviceAction::actionWithName(u"dial"_s);
        qApp->~QCoreApplication();
        std::thread([&] { action->executeWithDevice(phone); }).join();
        std::_Exit(action->isCancelled() && !action->isExecuting() ? 7 : 1);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(7), "");
}
