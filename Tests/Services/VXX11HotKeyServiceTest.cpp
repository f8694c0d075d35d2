// Real presses in a real X server, sent by xdotool.

#include "VXDesktopServices.h"

#include "VXKeyCombination.h"
#include "VXTesting.h"
#include "VXTestProcess.h"

#include <QtCore/QFile>

using namespace Qt::StringLiterals;

class VXX11HotKeyServiceTest : public VXHomeTest
{
protected:
    VXTestDisplay display;
    std::unique_ptr<VXHotKeyService> service;
    QList<quint32> pressed;

    void SetUp() override
    {
        ASSERT_TRUE(display.isUp()) << "the package xvfb is missing";
        qunsetenv("WAYLAND_DISPLAY");
        service = VXMakeHotKeyService();
        ASSERT_EQ(service->name(), u"X11"_s);
        ASSERT_EQ(service->installListener(), VXHotKeyDone);
        QObject::connect(service.get(), &VXHotKeyService::hotKeyPressed, service.get(),
                         [this](VXHotKeyID hotKeyID) { pressed.append(hotKeyID.id); });
    }

    static quint32 bind(VXHotKeyService &service, quint32 id, const QString &combination, VXHotKeyRef *ref = nullptr)
    {
        const auto keys = VXKeyCombination::fromText(combination);
        VXHotKeyRef made = 0;
        const quint32 status = service.registerHotKey(
            {.hotKeyID = {id, id}, .keyCode = keys->keyCode, .modifiers = VXHotKeyModifiersFromFlags(keys->modifiers)},
            &made);
        if (ref != nullptr)
            *ref = made;
        return status;
    }
    static void run(const QString &command) { ASSERT_EQ(std::system(QFile::encodeName(command).constData()), 0); }
    /** Presses these, then the key of the last hot key, and waits for that. */
    QList<quint32> pressedBy(const QString &keys)
    {
        pressed.clear();
        run("xdotool key --clearmodifiers "_L1 + keys + " ctrl+F12"_L1);
        EXPECT_TRUE(VXRunUntil([this] { return pressed.contains(last); }));
        pressed.removeAll(last);
        return pressed;
    }
    static constexpr quint32 last = 99;
};

TEST_F(VXX11HotKeyServiceTest, TellsOfPressesWhateverTheLocks)
{
    ASSERT_EQ(bind(*service, last, u"Ctrl+F12"_s), VXHotKeyDone);
    ASSERT_EQ(bind(*service, 1, u"Ctrl+Alt+D"_s), VXHotKeyDone);
    ASSERT_EQ(bind(*service, 2, u"Super+Shift+F5"_s), VXHotKeyDone);
    EXPECT_EQ(pressedBy(u"ctrl+alt+d"_s), QList<quint32>{1});
    EXPECT_EQ(pressedBy(u"d ctrl+d ctrl+alt+shift+d alt+d"_s), QList<quint32>{});
    EXPECT_EQ(pressedBy(u"super+shift+F5"_s), QList<quint32>{2});
    EXPECT_EQ(pressedBy(u"Num_Lock ctrl+alt+d"_s), QList<quint32>{1});
    EXPECT_EQ(pressedBy(u"Caps_Lock ctrl+alt+d"_s), QList<quint32>{1}); // with both
    EXPECT_EQ(pressedBy(u"Num_Lock ctrl+alt+d Caps_Lock"_s), QList<quint32>{1});
}

TEST_F(VXX11HotKeyServiceTest, AHeldKeyIsPressedOnce)
{
    ASSERT_EQ(bind(*service, last, u"Ctrl+F12"_s), VXHotKeyDone);
    ASSERT_EQ(bind(*service, 1, u"F9"_s), VXHotKeyDone);
    run(u"xset r rate 200 100 2>/dev/null; xdotool keydown F9 sleep 0.5 keyup F9"_s);
    EXPECT_EQ(pressedBy(u"F9"_s), (QList<quint32>{1, 1}));
}

TEST_F(VXX11HotKeyServiceTest, OneProgramHasACombination)
{
    VXHotKeyRef ref = 0;
    ASSERT_EQ(bind(*service, last, u"Ctrl+F12"_s), VXHotKeyDone);
    ASSERT_EQ(bind(*service, 1, u"Ctrl+Alt+D"_s, &ref), VXHotKeyDone);
    EXPECT_EQ(bind(*service, 2, u"Ctrl+Alt+D"_s), VXHotKeyTaken);
    const std::unique_ptr<VXHotKeyService> other = VXMakeHotKeyService();
    EXPECT_EQ(bind(*other, 3, u"Ctrl+Alt+D"_s), VXHotKeyTaken);
    EXPECT_EQ(bind(*other, 3, u"Ctrl+Alt+E"_s), VXHotKeyDone);
    EXPECT_EQ(pressedBy(u"ctrl+alt+d"_s), QList<quint32>{1}); // undisturbed

    EXPECT_EQ(service->unregisterHotKey(ref), VXHotKeyDone);
    EXPECT_EQ(service->unregisterHotKey(ref), VXHotKeyUnknownRef);
    EXPECT_EQ(pressedBy(u"ctrl+alt+d"_s), QList<quint32>{});
    EXPECT_EQ(bind(*other, 4, u"Ctrl+Alt+D"_s), VXHotKeyDone);
}

TEST_F(VXX11HotKeyServiceTest, KeysAreThoseOfTheKeyboardWhateverTheLayout)
{
    ASSERT_EQ(bind(*service, last, u"Ctrl+F12"_s), VXHotKeyDone);
    ASSERT_EQ(bind(*service, 1, u"Ctrl+Alt+D"_s), VXHotKeyDone);
    run(u"setxkbmap -layout us -variant dvorak"_s);
    EXPECT_EQ(pressedBy(u"ctrl+alt+e"_s), QList<quint32>{1}); // which this layout has there
    run(u"setxkbmap -layout us -option altwin:swap_alt_win"_s);
    EXPECT_EQ(pressedBy(u"ctrl+alt+d"_s), QList<quint32>{1});
    EXPECT_EQ(bind(*service, 2, u"Key700"_s), VXHotKeyNoSuchKey);
}

TEST_F(VXX11HotKeyServiceTest, SaysWhenThereIsNoServer)
{
    ASSERT_EQ(bind(*service, 1, u"F9"_s), VXHotKeyDone);
    bool told = false;
    QObject::connect(service.get(), &VXHotKeyService::problemChanged, service.get(), [&told] { told = true; });
    display.stop();
    ASSERT_TRUE(VXRunUntil([&told] { return told; }));
    EXPECT_FALSE(service->problem().isNull());
    EXPECT_EQ(bind(*service, 2, u"F8"_s), VXHotKeyNotConnected);

    qputenv("DISPLAY", ":4711");
    const std::unique_ptr<VXHotKeyService> none = VXMakeHotKeyService();
    EXPECT_EQ(none->name(), u"none"_s);
    EXPECT_TRUE(none->problem().contains(u":4711"_s));
    EXPECT_EQ(none->installListener(), VXHotKeyNotConnected);
    qunsetenv("DISPLAY");
    EXPECT_TRUE(VXMakeHotKeyService()->problem().contains(u"DISPLAY is not set"_s));
}
