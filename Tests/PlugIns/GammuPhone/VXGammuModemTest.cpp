#include "VXDeviceActionDelays.h"
#include "VXEventManager.h"
#include "VXGammuPhoneTest.h"
#include "VXGammuStrings.h"
#include "VXScriptedModem.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>

#include <csignal>
#include <gammu.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// A message from +15550123456, as phones list it (3GPP TS 23.040), with these coding and user data.
QByteArray listed(int location, const QByteArray &coding, const QByteArray &length, const QByteArray &data)
{
    const QByteArray unit = "040B915155103254F600" + coding + "62901121950000" + length + data;
    return "+CMGL: " + QByteArray::number(location) + ",1,," + QByteArray::number(unit.size() / 2) +
           "\r\n07915155214365F7" + unit;
}

} // namespace

class VXGammuModemTest : public VXGammuPhoneTest
{
protected:
    VXGammuModemTest()
    {
        VXNotificationCenter::defaultCenter().addObserver(
            &observer, VXEventManagerWillPostEventNotification, [this](const VXNotification &notification) {
                const QVariantMap object = notification.object.toMap();
                events.append(notification.userInfo.value(u"event_name"_s).toString() + u' ' +
                              notification.userInfo.value(u"event_message"_s).toString() + u' ' +
                              object.value(u"number"_s).toString());
                last = object;
            });
    }
    VXDevicePlugin::Ptr connect(const QVariantMap &preferences = {})
    {
        const auto phone = makeModem(modem.port(), preferences);
        EXPECT_TRUE(VXRunUntil([&] { return phone->devicePropertyForKey(u"signal"_s).isValid(); }));
        return phone;
    }
    bool waitForEvent(const QString &event)
    {
        return VXRunUntil([&] { return events.contains(event); });
    }

    QObject observer;
    VXScriptedModem modem;
    QStringList events;
    QVariantMap last;
};

// Connecting takes longer than the phone may be silent.
TEST_F(VXGammuModemTest, TellsWhatThePhoneIs)
{
    const auto phone = connect({{u"timeout"_s, 1}});
    QVariantMap values;
    for (const QString &key : phone->devicePropertyKeys())
        values.insert(key, phone->devicePropertyForKey(key).value<VXLocalizedProperty>().value());
    EXPECT_EQ(values, (QVariantMap{{u"manufacturer"_s, u"Scripted"_s},
                                   {u"model"_s, u"Modem 1"_s},
                                   {u"firmware"_s, u"1.0"_s},
                                   {u"imei"_s, u"490154203237518"_s},
                                   {u"battery"_s, 77},
                                   {u"signal"_s, 60}}));
    EXPECT_TRUE(static_cast<VXGammuPhone *>(phone.get())->isConnected());
}

TEST_F(VXGammuModemTest, AnIncomingCallRingsIsAnsweredAndEnds)
{
    const auto phone = connect();
    modem.say("RING");
    modem.say("+CLIP: \"+15550123\",145");
    ASSERT_TRUE(waitForEvent(u"incoming_call ringing +15550123"_s));
    modem.say("+CLIP: \"+15550123\",145");
    EXPECT_EQ(run(phone, u"answer"_s)->error(), VXError());
    ASSERT_TRUE(waitForEvent(u"incoming_call connected +15550123"_s));
    modem.say("NO CARRIER");
    ASSERT_TRUE(waitForEvent(u"incoming_call ended +15550123"_s));
    EXPECT_EQ(events.size(), 3) << events.join(u'\n').toStdString();
    EXPECT_EQ(last.value(u"isMissed"_s), false);
    EXPECT_TRUE(modem.wasAsked("ATA"));

    modem.say("+CLIP: \"+15550124\",145");
    modem.say("NO CARRIER");
    ASSERT_TRUE(waitForEvent(u"incoming_call ended +15550124"_s));
    EXPECT_EQ(last.value(u"isMissed"_s), true);
}

TEST_F(VXGammuModemTest, AnOutgoingCallIsDialledAndHungUp)
{
    const auto phone = connect();
    EXPECT_EQ(run(phone, u"dial"_s, u"+1 (555) 0177"_s)->error(), VXError());
    EXPECT_TRUE(modem.wasAsked("ATDT+15550177;")) << modem.commands().join('\n').toStdString();
    EXPECT_EQ(run(phone, u"hang_up"_s)->error(), VXError());
    ASSERT_TRUE(waitForEvent(u"outgoing_call ended +15550177"_s));
    EXPECT_EQ(events, (QStringList{u"outgoing_call ringing +15550177"_s, u"outgoing_call ended +15550177"_s}));
    EXPECT_TRUE(run(phone, u"dial"_s, u"1;AT+CMGD=1"_s)->error());
}

TEST_F(VXGammuModemTest, ANewMessageIsReadWhereItLies)
{
    const auto phone = connect();
    modem.answer("AT+CMGR=5", "+CMGR: 0,,24\r\n07915155214365F7040B915155103254F60000629011219500000"
                              "5C8329BFD06");
    modem.say("+CMTI: \"ME\",5");
    ASSERT_TRUE(waitForEvent(u"new_message  +15550123456"_s)) << modem.commands().join('\n').toStdString();
    EXPECT_EQ(last.value(u"text"_s), u"Hello"_s);
    EXPECT_EQ(last.value(u"state"_s), u"unread"_s);
}

// Eight-bit data: the bytes, marked as what they are. A compressed text, which the library gives nothing of, makes the result a partial one.
TEST_F(VXGammuModemTest, MessagesOfUnknownCodingsAreTold)
{
    const QByteArrayList messages{listed(1, "00", "05", "C8329BFD06"), listed(2, "04", "04", "01FF8000"),
                                  listed(3, "20", "04", "DEADBEEF"), listed(4, "08", "04", "04160436")};
    modem.answer("AT+CMGL=4", messages.join("\r\n"));
    modem.answer("AT+CPMS=\"ME\",\"ME\"", "+CPMS: 4,50,4,50,0,50");
    const auto action = run(connect(), u"read_messages"_s);
    EXPECT_EQ(action->error(), VXError());
    EXPECT_EQ(items(action, u"text"_s), (QVariantList{u"Hello"_s, QVariant(), u"Жж"_s}));
    EXPECT_EQ(items(action, u"isDecodable"_s), (QVariantList{true, false, true}));
    EXPECT_EQ(items(action, u"data"_s).value(1).toByteArray(), QByteArray::fromHex("01FF8000"));
    EXPECT_EQ(items(action, u"coding"_s).value(1), u"8bit"_s);
    EXPECT_FALSE(action->result().toMap().value(u"isComplete"_s).toBool());
    const QStringList problems = action->result().toMap().value(u"problems"_s).toStringList();
    ASSERT_EQ(problems.size(), 1);
    EXPECT_TRUE(problems.first().startsWith(u"SMS 3: "_s)) << problems.first().toStdString();
}

TEST_F(VXGammuModemTest, SendsALongMessageInParts)
{
    const auto phone = connect();
    const QVariantMap message{{u"number"_s, u"+15550123456"_s}, {u"text"_s, u"Привет "_s.repeated(20)}};
    const auto action = run(phone, u"send_message"_s, message);
    EXPECT_EQ(action->error(), VXError());
    EXPECT_EQ(action->result().toMap(), (QVariantMap{{u"partCount"_s, 3}, {u"sentCount"_s, 3}}));
    QByteArray sent;
    for (const QByteArray &command : modem.commands())
        sent += command.contains("0B915155103254F60008") ? command : QByteArray();
    EXPECT_EQ(sent.count("041F0440043804320435044200"), 20 - 2) << sent.toStdString(); // two words are divided
}

TEST_F(VXGammuModemTest, UnpluggedInTheMiddleOfAReadLeavesAPartialResult)
{
    const auto phone = connect();
    modem.say("+CLIP: \"+15550123\",145");
    ASSERT_TRUE(waitForEvent(u"incoming_call ringing +15550123"_s));
    modem.intercept("AT+CPBR=3", [this] { modem.unplug(); });
    const auto action = run(phone, u"read_contacts"_s);
    EXPECT_EQ(action->error().domain(), VXGammuErrorDomain) << action->description().toStdString();
    EXPECT_EQ(items(action, u"name"_s), (QVariantList{u"Ann"_s, u"Bob"_s}));
    EXPECT_FALSE(action->result().toMap().value(u"isComplete"_s).toBool());
    EXPECT_TRUE(waitForEvent(u"incoming_call ended +15550123"_s));
    EXPECT_FALSE(static_cast<VXGammuPhone *>(phone.get())->isConnected());

    const auto again = run(phone, u"read_contacts"_s);
    EXPECT_EQ(again->error().code(), ERR_DEVICENOTEXIST) << again->description().toStdString();
}

TEST_F(VXGammuModemTest, IdleAndUnpluggedIsNotConnected)
{
    const auto phone = connect();
    modem.unplug();
    EXPECT_TRUE(VXRunUntil([&] { return !static_cast<VXGammuPhone *>(phone.get())->isConnected(); }));
}

// Its user gives up: the action ends with that error, and what was read; the next one connects anew.
TEST_F(VXGammuModemTest, CancellingEndsTheWaitForAPhoneThatDoesNotAnswer)
{
    const auto phone = connect();
    const auto action = VXDeviceAction::actionWithName(u"read_contacts"_s);
    const auto queued = VXDeviceAction::actionWithName(u"read_calls"_s);
    modem.intercept("AT+CPBR=2", [&] {
        action->cancel();
        queued->cancel();
    });
    QStringList concluded;
    const auto note = [&](VXDeviceAction *done) { concluded << done->actionName(); };
    action->executeWithDevice(phone, note);
    queued->executeWithDevice(phone, note);
    ASSERT_TRUE(VXRunUntil([&] { return !action->isExecuting() && !queued->isExecuting(); }));
    EXPECT_EQ(concluded, (QStringList{u"read_calls"_s, u"read_contacts"_s})) << "each once, what waits first";
    EXPECT_TRUE(action->isCancelled() && queued->isCancelled());
    EXPECT_EQ(items(action, u"name"_s), (QVariantList{u"Ann"_s}));
    EXPECT_FALSE(action->result().toMap().value(u"isComplete"_s).toBool());

    modem.answer("AT+CPBR=2", "+CPBR: 2,\"+15550102\",145,\"Bob\"");
    modem.intercept("AT+CPBR=2", {});
    EXPECT_EQ(items(run(phone, u"read_contacts"_s), u"name"_s), (QVariantList{u"Ann"_s, u"Bob"_s, u"Cid"_s}));
}

TEST_F(VXGammuModemTest, UnloadingWhileItConnectsIsNoProblemOfThePhone)
{
    modem.fallSilent();
    const auto phone = makeModem(modem.port());
    ASSERT_TRUE(VXRunUntil([&] { return !modem.commands().isEmpty(); }));
    phone->pluginWillUnload();
    QCoreApplication::processEvents();
    EXPECT_FALSE(phone->devicePropertyForKey(u"problem"_s).isValid());
}

// The action's watchdog concludes before the handler has noticed; that one's conclusion does no harm.
TEST_F(VXGammuModemTest, TheWatchdogConcludesAnActionOfASilentPhone)
{
    const auto phone = connect();
    VXSetDeviceActionDelays(std::chrono::milliseconds(0), std::chrono::seconds(1));
    const auto action = VXDeviceAction::actionWithName(u"read_contacts"_s);
    modem.intercept("AT+CPBR=1", [&] { action->cancel(); });
    int completions = 0;
    action->executeWithDevice(phone, [&](VXDeviceAction *) { ++completions; });
    ASSERT_TRUE(VXRunUntil([&] { return !action->isExecuting() && action->isCancelled(); }));
    ASSERT_TRUE(VXRunUntil([&] { return !static_cast<VXGammuPhone *>(phone.get())->isConnected(); }));
    EXPECT_EQ(completions, 1);
    VXSetDeviceActionDelays(std::chrono::seconds(60), std::chrono::seconds(1));
}

TEST_F(VXGammuModemTest, APhoneThatNeverAnswersTakesNoLongerThanItMay)
{
    modem.fallSilent();
    const auto phone = makeModem(modem.port(), {{u"timeout"_s, 1}});
    const auto action = run(phone, u"read_contacts"_s);
    EXPECT_EQ(action->error().code(), ERR_TIMEOUT) << action->description().toStdString();
}

// The library counts the messages of card and phone through; what an event tells must be where deleting looks.
TEST_F(VXGammuModemTest, AMessageIsDeletedWhereItLiesAndNowhereElse)
{
    const QByteArray message = "+CMGR: 0,,24\r\n07915155214365F7040B915155103254F600006290112195000005C8329BFD06";
    modem.answer("AT+CPMS=?", "+CPMS: (\"SM\",\"ME\"),(\"SM\",\"ME\"),(\"SM\",\"ME\")");
    for (const QByteArray memory : {"SM", "ME"})
        for (const QByteArray &command : {"AT+CPMS=\"" + memory + '"', "AT+CPMS=\"" + memory + "\",\"" + memory + '"'})
            modem.answer(command, "+CPMS: 5,50,5,50,5,50");
    modem.answer("AT+CMGR=5", message);
    const auto phone = connect();
    modem.say("+CMTI: \"ME\",5");
    ASSERT_TRUE(waitForEvent(u"new_message  +15550123456"_s)) << modem.commands().join('\n').toStdString();
    EXPECT_EQ(last.value(u"memory"_s), u"ME"_s);

    QVariantMap elsewhere = last;
    elsewhere.insert(u"memory"_s, u"SM"_s);
    QVariantMap other = last;
    other.insert(u"number"_s, u"+1999"_s);
    for (const QVariantMap &wrong :
         {elsewhere, other, QVariantMap{{u"memory"_s, u"ME"_s}, {u"location"_s, 5}}, QVariantMap{{u"location"_s, 5}}})
        EXPECT_TRUE(run(phone, u"delete_message"_s, wrong)->error());
    EXPECT_FALSE(modem.wasAsked("AT+CMGD=5"));

    EXPECT_EQ(run(phone, u"delete_message"_s, last)->error(), VXError());
    const QList<QByteArray> commands = modem.commands();
    const qsizetype deleted = commands.indexOf("AT+CMGD=5");
    ASSERT_GE(deleted, 0) << commands.join('\n').toStdString();
    qsizetype chosen = deleted;
    while (chosen > 0 && !commands[chosen].startsWith("AT+CPMS=\""))
        --chosen;
    EXPECT_TRUE(commands[chosen].startsWith("AT+CPMS=\"ME\"")) << commands[chosen].toStdString();
}

TEST_F(VXGammuModemTest, NothingThatIsWrittenBecomesACommand)
{
    const auto phone = connect();
    const auto numberOf = [](const QString &number) { return QVariantList{QVariantMap{{u"number"_s, number}}}; };
    for (const QVariantMap &contact : {QVariantMap{{u"name"_s, u"A"_s}, {u"numbers"_s, numberOf(u"1\rATD0900;"_s)}},
                                       QVariantMap{{u"name"_s, u"A\rATD0900;"_s}, {u"numbers"_s, numberOf(u"1"_s)}},
                                       QVariantMap{{u"name"_s, u"A\",\"B"_s}, {u"numbers"_s, numberOf(u"1"_s)}}}) {
        QVariantMap object = contact;
        object.insert(u"location"_s, 1);
        EXPECT_EQ(run(phone, u"write_contact"_s, object)->error().domain(), VXErrorDomain);
    }
    for (const QByteArray &command : modem.commands())
        EXPECT_FALSE(command.startsWith("ATD") || command.startsWith("AT+CPBW")) << command.toStdString();
}

TEST_F(VXGammuModemTest, ALongMessageHasNoPartsWithoutText)
{
    const auto phone = connect();
    const auto send = [&](const QString &text) {
        return run(phone, u"send_message"_s, QVariantMap{{u"number"_s, u"+1555"_s}, {u"text"_s, text}});
    };
    EXPECT_EQ(send(QString(1000, u'x'))->result().toMap().value(u"partCount"_s), 7);
    qsizetype sent = 0;
    for (const QByteArray &command : modem.commands())
        sent += command.startsWith("AT+CMGS=") ? 1 : 0;
    EXPECT_EQ(sent, 7);
    EXPECT_TRUE(send(QString(33000, u'x'))->error());
    EXPECT_TRUE(static_cast<VXGammuPhone *>(phone.get())->isConnected()) << "it was not even asked";
}

TEST_F(VXGammuModemTest, ASilentPhoneHoldsUpNoOther)
{
    VXScriptedModem mute;
    mute.fallSilent();
    const auto silent = makeModem(mute.port());
    const auto waiting = VXDeviceAction::actionWithName(u"read_contacts"_s);
    waiting->executeWithDevice(silent);
    const auto phone = connect();
    EXPECT_EQ(items(run(phone, u"read_contacts"_s), u"name"_s), (QVariantList{u"Ann"_s, u"Bob"_s, u"Cid"_s}));
    EXPECT_TRUE(waiting->isExecuting());
    silent->pluginWillUnload();
    EXPECT_FALSE(waiting->isExecuting()) << "it ends at once";
    EXPECT_TRUE(waiting->error());
}

// As when the library crashes: what ran has an error, and the next request finds a phone.
TEST_F(VXGammuModemTest, ADeadProcessIsReplaced)
{
    const auto phone = connect();
    modem.intercept("AT+CPBR=2", [] {
        QFile children(u"/proc/%1/task/%1/children"_s.arg(::getpid()));
        EXPECT_TRUE(children.open(QIODevice::ReadOnly));
        for (const QByteArray &child : children.readAll().split(' '))
            if (const pid_t process = child.trimmed().toInt(); process > 0)
                ::kill(process, SIGKILL);
    });
    const auto action = run(phone, u"read_contacts"_s);
    EXPECT_EQ(action->error().localizedDescription(), u"The phone's process ended unexpectedly."_s);
    EXPECT_EQ(items(action, u"name"_s), QVariantList{u"Ann"_s});
    modem.intercept("AT+CPBR=2", {});
    EXPECT_EQ(items(run(phone, u"read_contacts"_s), u"name"_s).size(), 3);
}
