// The other programs are peer.py on a bus of the test's own.

#include "VXAppleScriptBridge.h"
#include "VXDesktopServices.h"
#include "VXScriptingService.h"

#include "ServicesTestsPaths.h"
#include "VXLogRecorder.h"
#include "VXTesting.h"
#include "VXTestProcess.h"

#include <atomic>
#include <optional>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace Qt::StringLiterals;
using Code = VXEventCode;
using Descriptor = VXEventDescriptor;

class VXDBusTransportTest : public VXHomeTest
{
protected:
    static constexpr std::chrono::milliseconds timeOut{2000};
    const QString playerName = u"org.mpris.MediaPlayer2.peer"_s;
    VXLogRecorder log;
    std::optional<VXTestBus> bus;
    std::optional<VXTestProcess> peer;
    std::shared_ptr<VXScriptingTransport> transport = VXMakeScriptingTransport(timeOut);
    VXAppleScriptBridge player{playerName, transport};

    void SetUp() override
    {
        startBus();
        startPeer(playerName);
    }
    void TearDown() override { transport.reset(); }

    void startBus()
    {
        bus.emplace(path(u"bus"_s));
        ASSERT_FALSE(bus->address().isEmpty()) << "the package dbus is missing";
        // Without the bus' own identifier, which another one at the same place would not have.
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + path(u"bus"_s).toUtf8());
    }
    void startPeer(const QString &name)
    {
        peer.emplace(u"/usr/bin/python3 '%1' %2"_s.arg(QStringLiteral(VORNIX_PEER), name));
        ASSERT_EQ(peer->readLine(), "ready") << "the package python3-dbus is missing";
    }
    Descriptor event(const char (&eventClass)[5], const char (&eventID)[5]) const
    {
        return player.eventForTarget(VXCode(eventClass), VXCode(eventID));
    }
    qint32 send(const Descriptor &sent, Descriptor *reply, qint32 wait = -1)
    {
        return transport->sendMessage(sent, reply, VXScriptingWaitReply + VXScriptingNeverInteract, wait);
    }
    Descriptor readEvent(VXFourCharCode property) const
    {
        Descriptor made = event("core", "getd");
        made.setDescriptor(VXAppleScriptBridge::descriptorForProperty(Descriptor::withTypeCode(property)),
                           Code::DirectObject);
        return made;
    }
    QVariant read(const char (&property)[5])
    {
        const auto value = player.getAppleScriptPropertyForKeyword(VXCode(property));
        return value ? value->value() : QVariant();
    }
    /** What the target, or the transport for it, answers in place of a result. */
    qint64 errorOf(const Descriptor &sent)
    {
        Descriptor reply;
        EXPECT_EQ(send(sent, &reply), VXScriptingDone);
        const auto number = reply.descriptorForKeyword(Code::ErrorNumber);
        return number ? number->integerValue().value_or(0) : 0;
    }
};

TEST_F(VXDBusTransportTest, ReadsAndWritesProperties)
{
    EXPECT_EQ(read("pPst"), QVariant(u"Playing"_s));
    EXPECT_EQ(read("pShf"), QVariant(true));
    EXPECT_EQ(read("pPos"), QVariant(qlonglong(1) << 40));
    EXPECT_EQ(read("pnam"), QVariant(u"Peer"_s));
    EXPECT_EQ(read("pMim"), QVariant(QVariantList{u"audio/ogg"_s}));
    EXPECT_EQ(read("pLst"), QVariant(qlonglong(5))); // as the other side has it
    EXPECT_EQ(read("pRat"), QVariant(1.0));          // comes late
    const QVariantMap metadata = read("pMta").toMap();
    EXPECT_EQ(metadata.value(u"mpris:trackid"_s), QVariant(u"/track/1"_s));
    EXPECT_EQ(metadata.value(u"xesam:artist"_s), QVariant(QVariantList{u"Jane"_s, u"Joe"_s}));
    EXPECT_EQ(metadata.value(u"bytes"_s), QVariant(QByteArray("\0\1", 2)));
    EXPECT_EQ(metadata.value(u"numbers"_s), QVariant(QVariantList{1LL, 2LL}));
    EXPECT_EQ(metadata.value(u"most"_s), QVariant(~qulonglong(0)));
    EXPECT_EQ(metadata.value(u"pair"_s), QVariant(QVariantList{u"a"_s, QVariantList{7LL}}));
    EXPECT_EQ(metadata.value(u"nested"_s),
              QVariant(QVariantMap{{u"deep"_s, QVariantList{QVariantMap{{u"x"_s, 1LL}}}}}));

    EXPECT_TRUE(player.setAppleScriptProperty(Descriptor::withString(u"0.25"_s), VXCode("pVol")));
    EXPECT_EQ(read("pVol"), QVariant(0.25));
    EXPECT_FALSE(player.setAppleScriptProperty(Descriptor::withString(u"loud"_s), VXCode("pVol")));
    EXPECT_EQ(log.count(u"returned error: Volume takes a value of the type \"d\""_s), 1);
    EXPECT_FALSE(player.setAppleScriptProperty(Descriptor::withBoolean(false), VXCode("pShf")));
    EXPECT_EQ(log.count(playerName + u": returned error: not that one"_s), 1);
}

TEST_F(VXDBusTransportTest, CallsMethodsWithTheirParameters)
{
    player.executeAppleEvent(VXCode("mpri"), VXCode("paus"));
    Descriptor position = event("mpri", "spos");
    position.setDescriptor(Descriptor::withString(u"/track/2"_s), Code::DirectObject);
    position.setDescriptor(Descriptor::withReal(17), VXCode("mpPs"));
    EXPECT_TRUE(player.sendAppleEvent(position));
    Descriptor open = event("mpri", "open");
    open.setDescriptor(Descriptor::withString(u"file:///a"_s), Code::DirectObject);
    Descriptor reply;
    EXPECT_TRUE(player.sendAppleEvent(open, &reply));
    EXPECT_EQ(reply.returnID(), open.returnID());
    EXPECT_EQ(reply.descriptorAtIndex(1)->value(),
              QVariant(QVariantList{u"Pause"_s, u"SetPosition /track/2 17"_s, u"file:///a"_s}));
}

TEST_F(VXDBusTransportTest, AnswersErrorsForWhatCannotBe)
{
    EXPECT_EQ(errorOf(event("what", "ever")), VXScriptingEventNotHandled);
    EXPECT_EQ(errorOf(event("mpri", "stop")), VXScriptingEventNotHandled); // the dictionary has it, the peer has not
    EXPECT_EQ(errorOf(event("mpri", "open")), VXScriptingParameterMissing);
    Descriptor position = event("mpri", "spos");
    position.setDescriptor(Descriptor::withString(u"no path"_s), Code::DirectObject);
    position.setDescriptor(Descriptor::withInteger(1), VXCode("mpPs"));
    EXPECT_EQ(errorOf(position), VXScriptingCoercionFailed);
    EXPECT_EQ(errorOf(readEvent(VXCode("none"))), VXScriptingNoSuchObject);
    EXPECT_EQ(errorOf(readEvent(VXCode("pCGN"))), VXScriptingNoSuchObject); // likewise
    EXPECT_EQ(errorOf(event("core", "getd")), VXScriptingNoSuchObject);
    Descriptor every = event("core", "getd");
    every.setDescriptor(VXAppleScriptBridge::descriptorForObjectOfType(Descriptor::withTypeCode(VXCode("cTrk")),
                                                                       Descriptor::withInteger(1),
                                                                       Descriptor::withTypeCode(VXCode("pnam"))),
                        Code::DirectObject);
    EXPECT_EQ(errorOf(every), VXScriptingNoSuchObject);

    Descriptor deep = Descriptor::withInteger(1);
    for (int level = 0; level < 40; ++level)
        deep = Descriptor::list({deep});
    Descriptor action = event("fdap", "actn");
    action.setDescriptor(Descriptor::withString(u"quit"_s), Code::DirectObject);
    action.setDescriptor(deep, VXCode("fdPm")); // the bus would end the connection
    EXPECT_EQ(errorOf(action), VXScriptingCoercionFailed);

    Descriptor reply;
    EXPECT_EQ(send(readEvent(VXCode("pMxR")), &reply), VXScriptingDone);
    EXPECT_EQ(reply.descriptorForKeyword(Code::ErrorString)->stringValue(), u"org.example.Error.Strange"_s);
    EXPECT_EQ(send(readEvent(VXCode("pCSk")), &reply), VXScriptingDone); // the target is there, whatever it says
    EXPECT_EQ(reply.descriptorForKeyword(Code::ErrorString)->stringValue(), u"no such thing here"_s);
}

TEST_F(VXDBusTransportTest, TellsWhatDoesNotRunFromWhatDoesNotAnswer)
{
    Descriptor reply;
    EXPECT_EQ(send(readEvent(VXCode("pMnR")), &reply, 50), VXScriptingTimeOut);
    EXPECT_TRUE(player.processIsRunning());
    EXPECT_EQ(transport->runningIdentifiers(u"org.mpris."_s), QStringList{playerName});

    EXPECT_EQ(send(event("mpri", "next"), &reply), VXScriptingConnectionInvalid); // ends in the middle of it
    EXPECT_FALSE(player.processIsRunning());
    EXPECT_TRUE(transport->runningIdentifiers(u"org.mpris."_s).isEmpty());
    EXPECT_EQ(send(event("mpri", "next"), &reply), VXScriptingTargetNotRunning);
    EXPECT_EQ(send(event("what", "ever"), &reply), VXScriptingTargetNotRunning);
    for (const QString &name : {u""_s, u"no name"_s, u"one"_s, u"org..x"_s, u"org.1x"_s})
        EXPECT_EQ(send(Descriptor::event(VXCode("mpri"), VXCode("play"), Descriptor::withString(name)), &reply),
                  VXScriptingTargetNotRunning);
    EXPECT_FALSE(player.getAppleScriptPropertyForKeyword(VXCode("pPst")));
    EXPECT_TRUE(log.lines(u"ERROR"_s).isEmpty());
    EXPECT_EQ(log.lines(u"DEBUG"_s).size(), 1);
    EXPECT_EQ(log.count(playerName + u": AESendMessage: -600"_s), 1);
}

TEST_F(VXDBusTransportTest, AsksToQuitInTheWayThatTheTargetKnows)
{
    player.terminateProcess();
    ASSERT_TRUE(VXRunUntil([this] { return !player.processIsRunning(); }));
    startPeer(u"org.example.My-Editor"_s);
    VXAppleScriptBridge editor(u"org.example.My-Editor"_s, transport);
    ASSERT_TRUE(editor.processIsRunning());
    editor.terminateProcess();
    ASSERT_TRUE(VXRunUntil([&editor] { return !editor.processIsRunning(); }));
    EXPECT_TRUE(log.lines(u"ERROR"_s).isEmpty());
}

TEST_F(VXDBusTransportTest, ThisProgramAnswersItselfOnTheMainThread)
{
    const VXScriptingService service;
    ASSERT_TRUE(service.problem().isNull()) << service.problem().toStdString();
    const VXAppleScriptBridge self(VXScriptingService::busName(), transport);
    Descriptor reply;
    EXPECT_EQ(send(self.eventForTarget(VXCode("aevt"), VXCode("quit")), &reply), VXScriptingDone); // in time
    EXPECT_EQ(reply.descriptorForKeyword(Code::ErrorNumber)->integerValue(), VXScriptingEventNotHandled);
    EXPECT_EQ(reply.descriptorForKeyword(Code::ErrorString)->stringValue(),
              u"it understands no way of Quit that is known here"_s);
}

TEST_F(VXDBusTransportTest, ConnectsAgainWhenTheBusWasRestarted)
{
    EXPECT_EQ(read("pPst"), QVariant(u"Playing"_s));
    peer.reset();
    bus.reset();
    Descriptor reply;
    ASSERT_TRUE(VXRunUntil(
        [&] { return send(event("mpri", "play"), &reply) == VXScriptingConnectionInvalid; })); // it learns of it late
    EXPECT_FALSE(player.processIsRunning());
    startBus();
    startPeer(playerName);
    EXPECT_EQ(read("pPst"), QVariant(u"Playing"_s));
}

TEST_F(VXDBusTransportTest, ABusThatDoesNotAnswerIsNotWaitedFor)
{
    peer.reset();
    bus.reset();
    const int listening = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0); // takes connections, and that is all
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    path(u"bus"_s).toUtf8().toStdString().copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(listening, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(listening, 10), 0);
    Descriptor reply;
    EXPECT_EQ(send(event("mpri", "play"), &reply), VXScriptingConnectionInvalid);
    EXPECT_EQ(transport->problem(), u"the D-Bus session bus does not answer"_s);
    EXPECT_EQ(VXScriptingService().problem(), transport->problem());
    EXPECT_EQ(VXMakeHotKeyService(VXHotKeyServiceKind::Portal)->problem(), transport->problem());
    ::close(listening);
}

TEST_F(VXDBusTransportTest, ServesFourThreadsAtOnce)
{
    constexpr int threads = 4;
    constexpr int rounds = 50;
    std::atomic<int> right = 0;
    std::vector<std::thread> running;
    for (int number = 0; number < threads; ++number) {
        running.emplace_back([this, &right] {
            for (int round = 0; round < rounds; ++round) {
                const auto state = player.getAppleScriptPropertyForKeyword(VXCode("pPst"));
                const auto metadata = player.getAppleScriptPropertyForKeyword(VXCode("pMta"));
                if (state && state->stringValue() == u"Playing"_s && metadata && metadata->value().toMap().size() == 7)
                    ++right;
            }
        });
    }
    for (std::thread &thread : running)
        thread.join();
    EXPECT_EQ(right, threads * rounds);
}
