// The portal is played by fake_portal.py on a bus of the test's own.

#include "VXDesktopServices.h"

#include "ServicesTestsPaths.h"
#include "VXKeyCombination.h"
#include "VXPortalTest.h"

#include <QtDBus/QDBusReply>

class VXPortalHotKeyServiceTest : public VXPortalTest
{
protected:
    const QString script = QStringLiteral(VORNIX_FAKE_PORTAL);
    std::unique_ptr<VXHotKeyService> service;
    QStringList news; // "pressed 1", "refused 1: reason", "problem"

    void SetUp() override
    {
        VXPortalTest::SetUp();
        startPortal(script);
        service = VXMakeHotKeyService(VXHotKeyServiceKind::Portal);
        ASSERT_TRUE(service->problem().isNull()) << service->problem().toStdString();
        ASSERT_EQ(service->installListener(), VXHotKeyDone);
        const auto note = [this](const QString &text) { news.append(text); };
        QObject::connect(service.get(), &VXHotKeyService::hotKeyPressed, service.get(),
                         [note](VXHotKeyID id) { note(u"pressed %1"_s.arg(id.id)); });
        QObject::connect(service.get(), &VXHotKeyService::registrationRefused, service.get(),
                         [note](VXHotKeyRef ref, const QString &why) { note(u"refused %1: %2"_s.arg(ref).arg(why)); });
        QObject::connect(service.get(), &VXHotKeyService::problemChanged, service.get(),
                         [note] { note(u"problem"_s); });
    }

    QStringList texts(const QString &method) const
    {
        const QDBusReply<QStringList> reply(play(method));
        return reply.value();
    }
    QStringList triggers() const { return texts(u"Triggers"_s); }
    VXHotKeyRef bind(quint32 id, const QString &combination)
    {
        const auto keys = VXKeyCombination::fromText(combination);
        VXHotKeyRef ref = 0;
        EXPECT_EQ(service->registerHotKey({.hotKeyID = {id, id},
                                           .keyCode = keys->keyCode,
                                           .modifiers = VXHotKeyModifiersFromFlags(keys->modifiers),
                                           .identifier = u"dial"_s,
                                           .title = u"Dial"_s},
                                          &ref),
                  VXHotKeyDone);
        return ref;
    }
};

TEST_F(VXPortalHotKeyServiceTest, BindsTogetherAndTellsOfPresses)
{
    bind(1, u"Ctrl+Alt+D"_s);
    const VXHotKeyRef second = bind(2, u"Super+PageUp"_s);
    bind(3, u"AudioPlay"_s);
    ASSERT_TRUE(VXRunUntil([this] { return triggers().size() == 3; }));
    EXPECT_EQ(triggers(), (QStringList{u"CTRL+ALT+d"_s, u"LOGO+Page_Up"_s, u"XF86AudioPlay"_s}));
    EXPECT_EQ(texts(u"Identifiers"_s).first(),
              u"dial CTRL+ALT+d"_s); // the same at any time, for the desktop remembers it
    play(u"Press"_s, {u"CTRL+ALT+d"_s});
    play(u"Press"_s, {u"XF86AudioPlay"_s});
    ASSERT_TRUE(VXRunUntil([this] { return news.size() == 2; }));
    EXPECT_EQ(news, (QStringList{u"pressed 1"_s, u"pressed 3"_s}));

    // A session can be given shortcuts once: a change makes a new one.
    EXPECT_EQ(service->unregisterHotKey(second), VXHotKeyDone);
    bind(4, u"F5"_s);
    ASSERT_TRUE(VXRunUntil([this] { return triggers().contains(u"F5"_s); }));
    EXPECT_EQ(triggers(), (QStringList{u"CTRL+ALT+d"_s, u"XF86AudioPlay"_s, u"F5"_s}));
    VXHotKeyRef ref = 0;
    EXPECT_EQ(service->registerHotKey({.hotKeyID = {5, 5}, .keyCode = 63}, &ref), VXHotKeyTaken);
    EXPECT_EQ(service->registerHotKey({.hotKeyID = {5, 5}, .keyCode = 700}, &ref), VXHotKeyNoSuchKey);
}

TEST_F(VXPortalHotKeyServiceTest, TheUserMayRefuse)
{
    play(u"Refuse"_s, {0U, QStringList{u"F5"_s}});
    bind(1, u"F5"_s);
    bind(2, u"F6"_s);
    ASSERT_TRUE(VXRunUntil([this] { return !news.isEmpty(); }));
    EXPECT_EQ(news, QStringList{u"refused 1: the desktop did not grant it"_s});
    EXPECT_EQ(triggers(), QStringList{u"F6"_s});

    news.clear();
    play(u"Refuse"_s, {1U, QStringList()});
    bind(3, u"F7"_s);
    ASSERT_TRUE(VXRunUntil([this] { return news.size() == 2; }));
    EXPECT_EQ(news.last(), u"refused 3: the user refused it"_s);
}

TEST_F(VXPortalHotKeyServiceTest, EverythingIsAskedForAgainWhenThePortalIsRestarted)
{
    bind(1, u"F5"_s);
    ASSERT_TRUE(VXRunUntil([this] { return triggers().size() == 1; }));
    portal.reset();
    ASSERT_TRUE(VXRunUntil([this] { return news == QStringList{u"problem"_s}; }));
    EXPECT_FALSE(service->problem().isNull());
    VXHotKeyRef ref = 0;
    EXPECT_EQ(service->registerHotKey({.hotKeyID = {2, 2}, .keyCode = 64}, &ref), VXHotKeyNotConnected);
    startPortal(script);
    ASSERT_TRUE(VXRunUntil([this] { return triggers() == QStringList{u"F5"_s}; }));
    EXPECT_TRUE(service->problem().isNull());
    play(u"Press"_s, {u"F5"_s});
    ASSERT_TRUE(VXRunUntil([this] { return news.contains(u"pressed 1"_s); }));
}

TEST_F(VXPortalHotKeyServiceTest, SaysWhenTheBusEnded)
{
    bus->stop();
    ASSERT_TRUE(VXRunUntil([this] { return news.contains(u"problem"_s); }));
    EXPECT_FALSE(service->problem().isNull());
}

TEST_F(VXPortalHotKeyServiceTest, SaysWhenThereIsNoPortal)
{
    portal.reset();
    const auto none = VXMakeHotKeyService(VXHotKeyServiceKind::Portal);
    EXPECT_TRUE(none->problem().contains(u"no portal"_s)) << none->problem().toStdString();
    EXPECT_EQ(none->installListener(), VXHotKeyNotConnected);
}
