#include "VXAppleScriptBridge.h"

#include "VXLogRecorder.h"
#include "VXMutex.h"
#include "VXScriptingTransport.h"
#include "VXTesting.h"

#include <QtCore/QSet>

#include <atomic>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;
using Code = VXEventCode;
using Descriptor = VXEventDescriptor;

namespace {

/** Keeps what is sent; answers what the test says. */
class RecordingTransport : public VXScriptingTransport
{
public:
    QList<Descriptor> sent;
    qint32 lastMode = 0;
    qint32 lastTimeOut = 0;
    qint32 status = VXScriptingDone;
    Descriptor reply = Descriptor::replyTo({});
    qint64 process = 0;

    qint32 sendMessage(const Descriptor &event, Descriptor *answer, qint32 mode, qint32 timeOut) override
    {
        sent.append(event);
        lastMode = mode;
        lastTimeOut = timeOut;
        *answer = reply;
        return status;
    }
    qint64 pidForApplicationWithIdentifier(const QString &) override { return process; }
    QStringList runningIdentifiers(const QString &) override { return {}; }
};

/** Answers a read with the code of the property that is asked for, and any other event with an error. Any thread. */
class EchoTransport : public VXScriptingTransport
{
public:
    qint32 sendMessage(const Descriptor &event, Descriptor *answer, qint32, qint32) override
    {
        {
            const VXMutexLocker lock(_lock);
            _returnIDs.insert(event.returnID());
        }
        *answer = Descriptor::replyTo(event);
        if (const auto specifier = event.descriptorForKeyword(Code::DirectObject))
            answer->setDescriptor(*specifier->descriptorForKeyword(Code::KeyData), Code::DirectObject);
        else
            answer->setDescriptor(Descriptor::withInteger(-1708), Code::ErrorNumber);
        return VXScriptingDone;
    }
    qint64 pidForApplicationWithIdentifier(const QString &) override { return 1; }
    QStringList runningIdentifiers(const QString &) override { return {}; }

    qsizetype returnIDs() const
    {
        const VXMutexLocker lock(_lock);
        return _returnIDs.size();
    }

private:
    mutable VXMutex _lock;
    QSet<qint32> _returnIDs VX_GUARDED_BY(_lock);
};

} // namespace

class VXAppleScriptBridgeTest : public VXHomeTest
{
protected:
    VXLogRecorder log;
    std::shared_ptr<RecordingTransport> transport = std::make_shared<RecordingTransport>();
    VXAppleScriptBridge bridge{u"org.example.player"_s, transport};

    const Descriptor event = Descriptor::event(VXCode("mpri"), VXCode("paus"), bridge.processDescriptor());

    void answer(std::optional<Descriptor> text, std::optional<Descriptor> number)
    {
        transport->reply = Descriptor::replyTo({});
        if (text)
            transport->reply.setDescriptor(*text, Code::ErrorString);
        if (number)
            transport->reply.setDescriptor(*number, Code::ErrorNumber);
    }
};

TEST_F(VXAppleScriptBridgeTest, AddressesEventsWithTheIdentifier)
{
    EXPECT_EQ(bridge.processIdentifier(), u"org.example.player"_s);
    EXPECT_EQ(bridge.processDescriptor(), Descriptor::withData(VXCode("bund"), "org.example.player"));
    bridge.executeAppleEvent(VXCode("mpri"), VXCode("paus"));
    ASSERT_EQ(transport->sent.size(), 1);
    const Descriptor &sent = transport->sent.first();
    EXPECT_EQ(sent.eventClass(), VXCode("mpri"));
    EXPECT_EQ(sent.eventID(), VXCode("paus"));
    EXPECT_EQ(sent.target(), bridge.processDescriptor());
    EXPECT_EQ(sent.transactionID(), 0);
    EXPECT_EQ(transport->lastMode, 19);
    EXPECT_EQ(transport->lastTimeOut, -1);
}

TEST_F(VXAppleScriptBridgeTest, AsksOnlyWhatRunsToQuit)
{
    EXPECT_FALSE(bridge.processIsRunning());
    bridge.terminateProcess();
    EXPECT_TRUE(transport->sent.isEmpty());
    transport->process = 17;
    EXPECT_TRUE(bridge.processIsRunning());
    bridge.terminateProcess();
    ASSERT_EQ(transport->sent.size(), 1);
    EXPECT_EQ(transport->sent.first().eventClass(), VXCode("aevt"));
    EXPECT_EQ(transport->sent.first().eventID(), VXCode("quit"));
}

TEST_F(VXAppleScriptBridgeTest, ReadsAndWritesProperties)
{
    const Descriptor specifier = VXAppleScriptBridge::descriptorForProperty(Descriptor::withTypeCode(VXCode("pVol")));
    transport->reply.setDescriptor(Descriptor::withReal(0.5), Code::DirectObject);
    EXPECT_EQ(bridge.getAppleScriptPropertyForKeyword(VXCode("pVol")), Descriptor::withReal(0.5));
    EXPECT_EQ(transport->sent.last().eventID(), VXCode("getd"));
    EXPECT_EQ(transport->sent.last().descriptorForKeyword(VXCode("----")), specifier);

    EXPECT_TRUE(bridge.setAppleScriptProperty(Descriptor::withReal(1), VXCode("pVol")));
    EXPECT_EQ(transport->sent.last().eventID(), VXCode("setd"));
    EXPECT_EQ(transport->sent.last().descriptorForKeyword(VXCode("----")), specifier);
    EXPECT_EQ(transport->sent.last().descriptorForKeyword(VXCode("data")), Descriptor::withReal(1));

    transport->status = VXScriptingTimeOut;
    EXPECT_FALSE(bridge.getAppleScriptPropertyForKeyword(VXCode("pVol")));
    EXPECT_FALSE(bridge.setAppleScriptProperty(Descriptor::withReal(1), VXCode("pVol")));
    transport->status = VXScriptingDone;
    transport->reply = Descriptor::replyTo({}); // nothing in it
    EXPECT_FALSE(bridge.getAppleScriptPropertyForKeyword(VXCode("pVol")));
}

TEST_F(VXAppleScriptBridgeTest, TellsHowSendingFailed)
{
    const std::pair<qint32, QString> table[] = {{VXScriptingTargetNotRunning, u"DEBUG"_s},
                                                {VXScriptingTimeOut, u"ERROR"_s},
                                                {VXScriptingConnectionInvalid, u"ERROR"_s}};
    for (const auto &[status, level] : table) {
        transport->status = status;
        Descriptor reply = Descriptor::withInteger(1);
        EXPECT_FALSE(bridge.sendAppleEvent(event, &reply));
        EXPECT_TRUE(reply.isNull());
        ASSERT_EQ(log.lines(level).size(), level == u"DEBUG"_s || status == VXScriptingTimeOut ? 1 : 2);
        EXPECT_TRUE(log.lines(level).last().endsWith(u"org.example.player: AESendMessage: %1"_s.arg(status)));
    }
}

TEST_F(VXAppleScriptBridgeTest, LooksForErrorsInReplies)
{
    struct Row
    {
        std::optional<Descriptor> text;
        std::optional<Descriptor> number;
        QString error; // null: it counts as success
    };
    const Row rows[] = {
        {{}, {}, {}},
        {Descriptor::withString(u""_s), Descriptor::withInteger(0), {}},
        {Descriptor::withString(u"no such track"_s), Descriptor::withInteger(0), u"no such track"_s},
        {{}, Descriptor::withInteger(-1708), u"-1708"_s},
        {Descriptor::withString(u""_s), Descriptor::withInteger(-1728), u"-1728"_s},
        {Descriptor::withString(u"gone"_s), Descriptor::withInteger(-1728), u"gone"_s},
    };
    qsizetype failures = 0;
    for (const Row &row : rows) {
        answer(row.text, row.number);
        Descriptor reply;
        EXPECT_EQ(bridge.sendAppleEvent(event, &reply), row.error.isNull());
        EXPECT_EQ(reply, row.error.isNull() ? transport->reply : Descriptor());
        failures += row.error.isNull() ? 0 : 1;
        ASSERT_EQ(log.lines(u"ERROR"_s).size(), failures);
        if (!row.error.isNull()) {
            EXPECT_TRUE(log.lines(u"ERROR"_s).last().endsWith("org.example.player: returned error: "_L1 + row.error));
        }
    }
}

TEST_F(VXAppleScriptBridgeTest, BuildsSpecifiers)
{
    const Descriptor property = Descriptor::withTypeCode(VXCode("pnam"));
    const Descriptor one = VXAppleScriptBridge::descriptorForProperty(property);
    EXPECT_EQ(one.type(), VXCode("obj "));
    EXPECT_EQ(one.descriptorForKeyword(VXCode("form")), Descriptor::withEnumCode(VXCode("prop")));
    EXPECT_EQ(one.descriptorForKeyword(VXCode("want")), Descriptor::withTypeCode(VXCode("prop")));
    EXPECT_EQ(one.descriptorForKeyword(VXCode("seld")), property);
    EXPECT_EQ(one.descriptorForKeyword(VXCode("from")), Descriptor());

    const Descriptor every = VXAppleScriptBridge::descriptorForObjectOfType(Descriptor::withTypeCode(VXCode("cTrk")),
                                                                            Descriptor::withString(u"x"_s), property);
    EXPECT_EQ(every.type(), VXCode("obj "));
    EXPECT_EQ(every.descriptorForKeyword(VXCode("form")), Descriptor::withEnumCode(VXCode("test")));
    EXPECT_EQ(every.descriptorForKeyword(VXCode("want")), Descriptor::withTypeCode(VXCode("cTrk")));
    EXPECT_EQ(every.descriptorForKeyword(VXCode("from")), Descriptor());
    const Descriptor test = *every.descriptorForKeyword(VXCode("seld"));
    EXPECT_EQ(test.type(), VXCode("cmpd"));
    EXPECT_EQ(test.descriptorForKeyword(VXCode("relo")), Descriptor::withEnumCode(VXCode("=   ")));
    EXPECT_EQ(test.descriptorForKeyword(VXCode("obj2")), Descriptor::withString(u"x"_s));
    const Descriptor examined = *test.descriptorForKeyword(VXCode("obj1"));
    EXPECT_EQ(examined.type(), VXCode("obj "));
    EXPECT_EQ(examined.descriptorForKeyword(VXCode("from")), Descriptor::withData(VXCode("exmn"), {}));
    EXPECT_EQ(examined.descriptorForKeyword(VXCode("seld")), property);
}

TEST_F(VXAppleScriptBridgeTest, ServesFourThreadsAtOnce)
{
    constexpr int threads = 4;
    constexpr int rounds = 200;
    const auto echo = std::make_shared<EchoTransport>();
    VXScriptingTransport::setMaker([] { return std::make_unique<EchoTransport>(); });
    VXAppleScriptBridge shared(u"org.example.player"_s, echo);
    std::atomic<int> right = 0;
    std::vector<std::thread> running;
    for (VXFourCharCode number = 1; number <= threads; ++number) {
        running.emplace_back([&shared, &right, number] {
            const auto own = VXAppleScriptBridge::bridgeWithIdentifier(u"org.example.other"_s);
            for (VXFourCharCode round = 1; round <= rounds; ++round) {
                const VXFourCharCode property = number << 16 | round;
                const auto code = shared.getAppleScriptPropertyForKeyword(property);
                const auto ownCode = own->getAppleScriptPropertyForKeyword(~property);
                VXError error;
                const bool isDone = shared.sendAppleEvent(shared.eventForTarget(property, property), nullptr, &error);
                if (code->codeValue() == property && ownCode->codeValue() == ~property && !isDone && error)
                    ++right;
            }
        });
    }
    for (std::thread &thread : running)
        thread.join();
    VXScriptingTransport::setMaker({});
    EXPECT_EQ(right, threads * rounds);
    EXPECT_EQ(echo->returnIDs(), threads * rounds * 2);
    EXPECT_EQ(log.count(u"org.example.player: returned error: -1708"_s), threads * rounds);
}

TEST_F(VXAppleScriptBridgeTest, WithoutATransportNobodyIsReached)
{
    const auto alone = VXAppleScriptBridge::bridgeWithIdentifier(u"org.example.player"_s);
    EXPECT_FALSE(alone->processIsRunning());
    EXPECT_FALSE(alone->sendAppleEvent(event));
    EXPECT_EQ(log.count(u"AESendMessage: -609"_s), 1);
}
