// The clients are real ones: gdbus as GNOME would ask, busctl as KRunner would.

#include "VXSearchService.h"

#include "ServicesTestsPaths.h"
#include "VXDesktopProgram.h"
#include "VXSearchIndex.h"
#include "VXTesting.h"
#include "VXTestProcess.h"
#include "VXUserDefaults.h"

#include <QtCore/QFile>
#include <QtCore/QProcess>

#include <optional>

using namespace Qt::StringLiterals;
using testing::HasSubstr, testing::Not;

class VXSearchServiceTest : public VXHomeTest
{
protected:
    static constexpr std::chrono::milliseconds idleTime{60'000};
    const QString jane = u"x-coredata://store/vxperson/p1"_s;
    std::optional<VXTestBus> bus;
    QStringList opened;

    void SetUp() override
    {
        bus.emplace(path(u"bus"_s));
        ASSERT_FALSE(bus->address().isEmpty()) << "the package dbus is missing";
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + path(u"bus"_s).toUtf8());
        const QString detail = u"See you at eight! "_s + QString(101, u'x') + u"\U0001f389 party"_s;
        const auto change = [detail](const QString &name, const QString &kind, const QString &title) {
            return VXSearchIndex::Change{.name = name + "_MD2.vxperson"_L1,
                                         .values =
                                             QVariantMap{{u"kMDItemIdentifier"_s, "store/vxperson/"_L1 + name},
                                                         {u"kMDItemKind"_s, kind},
                                                         {u"kMDItemTitle"_s, title},
                                                         {u"kMDItemPhoneNumbers"_s, QStringList{u"+1 555 0100"_s}},
                                                         {u"kMDItemDescription"_s, detail}}};
        };
        ASSERT_TRUE(VXSearchIndex::open()->apply(
            u"people"_s, {change(u"p1"_s, u"contact"_s, u"Jane Doe"_s), change(u"p2"_s, u"message"_s, u"Jané"_s)},
            nullptr));
    }
    std::unique_ptr<VXSearchService> makeService(std::chrono::milliseconds time = idleTime)
    {
        return std::make_unique<VXSearchService>([this](const QString &url) { opened.append(url); }, time);
    }
    /** What the program writes, while this process serves it. */
    static std::string run(const QString &program, const QStringList &arguments)
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(program, arguments);
        EXPECT_TRUE(VXRunUntil([&] { return process.state() == QProcess::NotRunning; }));
        return process.readAll().toStdString();
    }
    static std::string gdbus(const QString &method, const QStringList &arguments)
    {
        return run(u"gdbus"_s, QStringList{u"call"_s, u"--session"_s, u"--dest"_s, VXSearchService::busName(),
                                           u"--object-path"_s, VXSearchService::objectPath(), u"--method"_s,
                                           "org.gnome.Shell.SearchProvider2."_L1 + method} +
                                   arguments);
    }
    static std::string busctl(const QString &method, const QStringList &arguments)
    {
        return run(u"busctl"_s, QStringList{u"--user"_s, u"call"_s, VXSearchService::busName(),
                                            VXSearchService::objectPath(), u"org.kde.krunner1"_s, method} +
                                    arguments);
    }
};

TEST_F(VXSearchServiceTest, AnswersGnome)
{
    const auto service = makeService();
    ASSERT_EQ(service->problem(), QString());
    EXPECT_EQ(gdbus(u"GetInitialResultSet"_s, {u"['jane', 'd']"_s}),
              "(['x-coredata://store/vxperson/p1', 'x-coredata://store/vxperson/p2'],)\n"); // which has her number
    EXPECT_EQ(gdbus(u"GetSubsearchResultSet"_s, {u"['"_s + jane + u"']"_s, u"['JANE']"_s}),
              "(['x-coredata://store/vxperson/p1', 'x-coredata://store/vxperson/p2'],)\n");
    EXPECT_EQ(gdbus(u"GetInitialResultSet"_s, {u"@as []"_s}), "(@as [],)\n");
    EXPECT_EQ(gdbus(u"GetInitialResultSet"_s, {u"['\" OR *', 'nobody']"_s}), "(@as [],)\n");
    const std::string metas = gdbus(u"GetResultMetas"_s, {u"['x-coredata://none/vxperson/p9', '"_s + jane + u"']"_s});
    EXPECT_THAT(metas, HasSubstr("'name': <'Jane Doe'>"));
    EXPECT_THAT(metas, HasSubstr("'id': <'x-coredata://store/vxperson/p1'>"));
    EXPECT_THAT(metas, HasSubstr("See you at eight! x"));
    EXPECT_THAT(metas, HasSubstr("xx'")); // cut before what would be cut through
    EXPECT_THAT(metas, Not(HasSubstr("p9")));
    EXPECT_EQ(gdbus(u"ActivateResult"_s, {jane, u"['jane']"_s, u"0"_s}), "()\n");
    EXPECT_EQ(gdbus(u"ActivateResult"_s, {u"x-coredata://none/vxperson/p9"_s, u"['jane']"_s, u"0"_s}), "()\n");
    const QString gone = u"x-coredata://store/vxperson/p2"_s; // since it was found
    ASSERT_TRUE(
        VXSearchIndex::open()->apply(u"people"_s, {{.name = u"p2_MD2.vxperson"_s, .values = std::nullopt}}, nullptr));
    EXPECT_EQ(gdbus(u"GetResultMetas"_s, {u"['"_s + gone + u"']"_s}), "(@aa{sv} [],)\n");
    EXPECT_EQ(gdbus(u"ActivateResult"_s, {gone, u"['jane']"_s, u"0"_s}), "()\n");
    VXUserDefaults::standardUserDefaults().setObject(true, u"metadata.ignore"_s);
    EXPECT_EQ(gdbus(u"GetInitialResultSet"_s, {u"['jane']"_s}), "(@as [],)\n");
    VXUserDefaults::standardUserDefaults().setObject(false, u"metadata.ignore"_s);
    for (const QString &words : {u"['jane & joe', '50%+']"_s, u"@as []"_s})
        EXPECT_EQ(gdbus(u"LaunchSearch"_s, {words, u"0"_s}), "()\n");
    ASSERT_EQ(opened.size(), 3);
    EXPECT_EQ(opened[0], u"vxbook://store/vxperson/p1"_s);
    EXPECT_EQ(VXFoundObject::wordsInURL(QUrl(opened[1])), u"jane & joe 50%+"_s);
    EXPECT_EQ(opened[2], QString());
    for (const char *const other : {"vxbook://store?words=a", "vxbook://search/a?words=a", "x://search?words=a"})
        EXPECT_EQ(VXFoundObject::wordsInURL(QUrl(QLatin1StringView(other))), QString());
}

TEST_F(VXSearchServiceTest, AnswersKRunner)
{
    const auto service = makeService();
    int asks = 0;
    QObject::connect(service.get(), &VXSearchService::willAsk, service.get(), [&] { ++asks; });
    EXPECT_EQ(busctl(u"Actions"_s, {}), "a(sss) 0\n");
    EXPECT_EQ(asks, 0);
    const std::string matches = busctl(u"Match"_s, {u"s"_s, u"jane doe"_s});
    EXPECT_THAT(matches, HasSubstr("a(sssida{sv}) 2 \"x-coredata://store/vxperson/p1\" \"Jane Doe\" "
                                   "\"avatar-default\" 100 1 1 \"subtext\" s"));
    EXPECT_GE(asks, 1);
    EXPECT_EQ(busctl(u"Match"_s, {u"s"_s, u"nobody"_s}), "a(sssida{sv}) 0\n");
    EXPECT_THAT(busctl(u"Match"_s, {u"s"_s, u"0100"_s}), HasSubstr("a(sssida{sv}) 2 "));
    busctl(u"Run"_s, {u"ss"_s, jane, QString(u""_s)});
    EXPECT_EQ(opened, QStringList{u"vxbook://store/vxperson/p1"_s});
}

TEST_F(VXSearchServiceTest, ThrowsADamagedIndexAwayAndSaysSo)
{
    const auto service = makeService();
    int discards = 0;
    QObject::connect(service.get(), &VXSearchService::indexWasDiscarded, service.get(), [&] { ++discards; });
    run(u"sqlite3"_s, {VXSearchIndex::path(), u"DELETE FROM words_data"_s});
    for (int round = 0; round < 2; ++round)
        EXPECT_EQ(gdbus(u"GetInitialResultSet"_s, {u"['jane']"_s}), "(@as [],)\n");
    EXPECT_EQ(discards, 1);
    EXPECT_FALSE(QFile::exists(VXSearchIndex::path()));
}

TEST_F(VXSearchServiceTest, EndsWhenNobodyAsks)
{
    const auto service = makeService(std::chrono::milliseconds(50));
    bool isIdle = false;
    QObject::connect(service.get(), &VXSearchService::idle, service.get(), [&] { isIdle = true; });
    EXPECT_TRUE(VXRunUntil([&] { return isIdle; }));
    // The name is free for the next one.
    const auto next = makeService();
    EXPECT_EQ(next->problem(), QString());
}

TEST_F(VXSearchServiceTest, TellsThatThereIsNoBus)
{
    bus->stop();
    EXPECT_NE(makeService()->problem(), QString());
}

// As the bus starts it: the file says what was asked of it.
TEST_F(VXSearchServiceTest, WhatIsChosenIsOpenedByTheProgramWithWindows)
{
    EXPECT_FALSE(VXDesktopProgram::open(u"vxbook://store/vxperson/p1"_s));
    VXTestProcess desktop(
        u"/usr/bin/python3 '%1' com.halvern.VNX2.Desktop"_s.arg(QStringLiteral(VORNIX_FAKE_DESKTOP_PROGRAM)));
    ASSERT_EQ(desktop.readLine(), "ready");
    EXPECT_TRUE(VXDesktopProgram::open(u"vxbook://store/vxperson/p1"_s));
    EXPECT_EQ(desktop.readLine(), "Open vxbook://store/vxperson/p1");
    EXPECT_TRUE(VXDesktopProgram::open({}));
    EXPECT_EQ(desktop.readLine(), "Activate");
}
