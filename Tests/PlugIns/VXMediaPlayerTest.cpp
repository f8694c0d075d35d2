// The reactor that pauses media players, with players that are played by peer.py, and with a real one.

#include "VXAppleScriptBridge.h"
#include "VXDesktopServices.h"
#include "VXLogRecorder.h"
#include "VXPlugInTesting.h"
#include "VXTestProcess.h"

#include <QtCore/QDir>

#include <map>
#include <optional>

using namespace Qt::StringLiterals;

class VXMediaPlayerTest : public VXHomeTest
{
protected:
    VXLogRecorder log;
    std::optional<VXTestBus> bus;
    std::map<QString, VXTestProcess> players;
    std::unique_ptr<VXReactorPlugin> reactor = VXMakeShippedPlugin<VXReactorPlugin>(u"MediaPlayerPlugin"_s);

    void SetUp() override
    {
        bus.emplace(path(u"bus"_s));
        ASSERT_FALSE(bus->address().isEmpty()) << "the package dbus is missing";
        qputenv("DBUS_SESSION_BUS_ADDRESS", bus->address());
        VXScriptingTransport::setMaker([] { return VXMakeScriptingTransport(std::chrono::seconds(1)); });
    }
    void TearDown() override
    {
        reactor->pluginWillUnload();
        VXScriptingTransport::setMaker({});
    }

    static QString identifier(const QString &name) { return "org.mpris.MediaPlayer2."_L1 + name; }
    void start(const QString &name)
    {
        players.erase(name);
        const auto command = u"/usr/bin/python3 '%1' %2"_s.arg(QStringLiteral(VORNIX_PEER), identifier(name));
        VXTestProcess &player = players.try_emplace(name, command).first->second;
        ASSERT_EQ(player.readLine(), "ready") << "the package python3-dbus is missing";
    }
    static QString state(const QString &name)
    {
        const auto value = VXAppleScriptBridge(identifier(name)).getAppleScriptPropertyForKeyword(VXCode("pPst"));
        return value ? value->stringValue() : QString();
    }
    static void tell(const QString &name, const char (&eventID)[5])
    {
        VXAppleScriptBridge(identifier(name)).executeAppleEvent(VXCode("mpri"), VXCode(eventID));
    }
    void call(const QString &id, const QString &subtype, const QVariantMap &options = {})
    {
        reactor->reactToEventWithName(u"incoming_call"_s, subtype,
                                      QVariantMap{{u"call_id"_s, id}, {u"from"_s, u"555-0100"_s}}, options);
    }
    /** The work of the reactor is done when it would let itself be unloaded. */
    void settle()
    {
        ASSERT_TRUE(VXRunUntil([this] { return reactor->pluginShouldUnload() == VXUnloadNow; }));
    }
};

TEST_F(VXMediaPlayerTest, OnlyWhatPlayedGoesOnWhenTheLastCallEnded)
{
    start(u"one"_s);
    start(u"two.paused"_s);
    call(u"1"_s, u"ringing"_s);
    call(u"1"_s, u"connected"_s);
    settle();
    EXPECT_EQ(state(u"one"_s), u"Paused"_s);
    call(u"2"_s, u"ringing"_s);
    call(u"1"_s, u"ended"_s);
    call(u"3"_s, u"ended"_s); // of a call that was never heard of
    settle();
    EXPECT_EQ(state(u"one"_s), u"Paused"_s);
    call(u"2"_s, u"ended"_s);
    settle();
    EXPECT_EQ(state(u"one"_s), u"Playing"_s);
    EXPECT_EQ(state(u"two.paused"_s), u"Paused"_s);
}

TEST_F(VXMediaPlayerTest, WhatTheUserOrAnybodyDidMeanwhileHolds)
{
    start(u"gone"_s);
    start(u"again.paused"_s);
    start(u"left"_s);
    tell(u"again.paused"_s, "play");
    call(u"1"_s, u"ringing"_s, {{u"players"_s, u"gone, again"_s}});
    settle();
    EXPECT_EQ(state(u"left"_s), u"Playing"_s); // not asked for
    EXPECT_EQ(state(u"again.paused"_s), u"Paused"_s);
    players.erase(u"gone"_s);
    start(u"again.paused"_s); // another process
    call(u"1"_s, u"ended"_s);
    settle();
    EXPECT_EQ(state(u"again.paused"_s), u"Paused"_s);

    call(u"2"_s, u"connected"_s);
    call(u"2"_s, u"ended"_s, {{u"goOn"_s, u"false"_s}});
    settle();
    EXPECT_EQ(state(u"left"_s), u"Paused"_s);
    EXPECT_TRUE(log.lines(u"ERROR"_s).isEmpty());
}

TEST_F(VXMediaPlayerTest, APlayerThatDoesNotAnswerKeepsNoOtherPlaying)
{
    start(u"a.silent"_s);
    start(u"b"_s);
    call(u"1"_s, u"ringing"_s);
    ASSERT_TRUE(VXRunUntil([] { return state(u"b"_s) == u"Paused"_s; }));
    settle();
    EXPECT_EQ(log.count(u"org.mpris.MediaPlayer2.a.silent did not answer in time."_s), 1);
    VXScriptingTransport::setMaker([] { return VXMakeScriptingTransport(); }); // which would wait for 25 seconds
    call(u"1"_s, u"ended"_s);
    call(u"2"_s, u"ringing"_s);
    ASSERT_TRUE(VXRunUntil([] { return state(u"b"_s) == u"Paused"_s; }));
    call(u"2"_s, u"ended"_s); // waits for what the ringing asks
    ASSERT_TRUE(VXRunUntil([] { return state(u"b"_s) == u"Playing"_s; }));
}

TEST_F(VXMediaPlayerTest, ARealPlayerIsPausedAndGoesOn)
{
    writeFile(u".asoundrc"_s, "pcm.!default { type null }\nctl.!default { type null }\n"); // plays to nobody
    const QByteArray silence(8000 * 2 * 60, '\0');
    QByteArray header("RIFF....WAVEfmt \x10\0\0\0\1\0\1\0\x40\x1f\0\0\x80\x3e\0\0\2\0\x10\0data....", 44);
    const auto setSize = [&header](qsizetype offset, qsizetype size) {
        for (int byte = 0; byte < 4; ++byte)
            header[offset + byte] = char(size >> (8 * byte));
    };
    setSize(4, silence.size() + 36);
    setSize(40, silence.size());
    const QString song = writeFile(u"song.wav"_s, header + silence);
    qputenv("XDG_RUNTIME_DIR", path().toUtf8());
    qputenv("TERM", "xterm");
    const VXTestProcess cmus(u"script -qfc 'cmus --listen \"%1\"' /dev/null </dev/null"_s.arg(path(u"cmus"_s)));
    const auto remote = [this](const QString &arguments) {
        return std::system(u"cmus-remote --server '%1' %2 >/dev/null 2>&1"_s.arg(path(u"cmus"_s), arguments)
                               .toUtf8()
                               .constData()) == 0;
    };
    ASSERT_TRUE(VXRunUntil([&] { return remote(u"-C 'set output_plugin=alsa'"_s); })) << "the package cmus is missing";
    ASSERT_TRUE(remote(u"-f '%1'"_s.arg(song)));
    ASSERT_TRUE(VXRunUntil([] { return state(u"cmus"_s) == u"Playing"_s; }));
    EXPECT_EQ(
        VXAppleScriptBridge(identifier(u"cmus"_s)).getAppleScriptPropertyForKeyword(VXCode("pnam"))->stringValue(),
        u"cmus"_s);

    call(u"1"_s, u"ringing"_s);
    ASSERT_TRUE(VXRunUntil([] { return state(u"cmus"_s) == u"Paused"_s; }));
    call(u"1"_s, u"ended"_s);
    ASSERT_TRUE(VXRunUntil([] { return state(u"cmus"_s) == u"Playing"_s; }));
}
