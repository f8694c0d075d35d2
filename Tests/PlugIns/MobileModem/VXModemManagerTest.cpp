// With the real ModemManager on a bus of the test's own. The modem is fake_modem.py, which ModemManager's test profiles lead to.

#include "ModemManagerTestsPaths.h"
#include "VXBusPhoneTest.h"
#include "VXMobileModem.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QProcess>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusConnectionInterface>
#include <QtDBus/QDBusReply>

#include <optional>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

class VXModemManagerTest : public VXBusPhoneTest
{
protected:
    VXModemManagerTest()
        : VXBusPhoneTest(u"com.halvern.VNX2.MobileModem"_s, [] { return std::make_shared<VXMobileModem>(); })
    {
        patience = 6;
    }

    std::optional<VXTestProcess> policy;
    std::optional<VXTestProcess> fakeModem;
    std::optional<VXTestProcess> manager;
    QFile control{path(u"control"_s)};

    void SetUp() override
    {
        policy.emplace(u"/usr/bin/python3 -m dbusmock --session --template polkitd"_s);
        ASSERT_TRUE(waitForService(u"org.freedesktop.PolicyKit1"_s)) << "the package python3-dbusmock is missing";
        call(u"org.freedesktop.PolicyKit1"_s, u"/org/freedesktop/PolicyKit1/Authority"_s,
             u"org.freedesktop.DBus.Mock"_s, u"AllowUnknown"_s, {true});
        // ModemManager takes the prefix for a part of the name.
        const QString name = u"abstract:vornix-%1"_s.arg(QCoreApplication::applicationPid());
        ASSERT_EQ(::mkfifo(QFile::encodeName(control.fileName()).constData(), 0600), 0);
        fakeModem.emplace(u"/usr/bin/python3 '%1' %2 '%3'"_s.arg(QStringLiteral(FAKE_MODEM), name, control.fileName()));
        ASSERT_EQ(fakeModem->readLine(), "ready");
        ASSERT_TRUE(control.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        manager.emplace(
            u"'%1' --test-session --test-enable --no-auto-scan 2>/dev/null"_s.arg(QStringLiteral(MODEM_MANAGER)));
        ASSERT_TRUE(waitForService(VXModemNames::service));
        const QDBusMessage made =
            call(VXModemNames::service, VXModemNames::root, u"org.freedesktop.ModemManager1.Test"_s, u"SetProfile"_s,
                 {u"fake"_s, u"generic"_s, QStringList{name}});
        ASSERT_NE(made.type(), QDBusMessage::ErrorMessage) << made.errorMessage().toStdString();
    }
    static bool waitForService(const QString &service)
    {
        return VXRunUntil(
            [&] { return QDBusConnection::sessionBus().interface()->isServiceRegistered(service).value(); });
    }
    static QDBusMessage call(const QString &service, const QString &path, const QString &interface,
                             const QString &method, const QVariantList &arguments)
    {
        QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
        message.setArguments(arguments);
        return QDBusConnection::sessionBus().call(message);
    }
    void happen(const QString &what) { control.write((what + u'\n').toUtf8()); }
    /** Whether the modem was made to do that, maybe after other things. */
    bool obeyed(const QByteArray &what)
    {
        QByteArray line;
        do
            line = fakeModem->readLine();
        while (!line.isEmpty() && !line.startsWith(what));
        return line.startsWith(what);
    }
    QStringList texts() { return VXBusPhoneTest::texts(perform(u"read_messages"_s), u"text"_s); }
    QString commandLine(const QString &arguments) const
    {
        return u"'%1' --home '%2' %3"_s.arg(QStringLiteral(VORNIX_PROGRAM), path(u"home"_s), arguments);
    }
    /** What the program answers. */
    QJsonDocument vornix(const QStringList &command) const
    {
        QProcess process;
        process.start(QStringLiteral(VORNIX_PROGRAM), QStringList{u"--json"_s, u"--home"_s, path(u"home"_s)} + command);
        EXPECT_TRUE(process.waitForFinished(60000));
        const QByteArray output = process.readAllStandardOutput();
        EXPECT_EQ(process.exitCode(), 0) << command.join(u' ').toStdString() << output.toStdString()
                                         << process.readAllStandardError().toStdString();
        return QJsonDocument::fromJson(output);
    }
    /** The modem is probed, and switched on. */
    bool isReachedInTheEnd() const
    {
        return VXRunUntil([this] { return phone->isConnected(); }) || isReached();
    }
    /** Until then it makes emergency calls only. */
    bool isRegisteredInTheEnd() const
    {
        constexpr int registered = 8; // MM_MODEM_STATE_REGISTERED
        return until([] {
            const QDBusMessage state =
                call(VXModemNames::service, VXModemNames::root + u"/Modem/0"_s, u"org.freedesktop.DBus.Properties"_s,
                     u"Get"_s, {VXModemNames::modem, u"State"_s});
            return state.arguments().value(0).value<QDBusVariant>().variant().toInt() >= registered;
        });
    }
};

TEST_F(VXModemManagerTest, UsesAModemFromItsFindingToItsEnd)
{
    makePhone();
    ASSERT_TRUE(isReachedInTheEnd());
    EXPECT_EQ(phone->phoneNumber(), u"+491700000"_s);
    EXPECT_EQ(shown(u"imei"_s), u"490154203237518"_s);
    EXPECT_TRUE(VXRunUntil([this] { return shown(u"signal"_s).toInt() > 0; }));
    EXPECT_EQ(phone->actionNames(), (QStringList{u"answer"_s, u"delete_message"_s, u"dial"_s, u"hang_up"_s,
                                                 u"read_messages"_s, u"send_message"_s}));
    EXPECT_EQ(texts(), (QStringList{u"Grüße"_s, u"old"_s}));
    EXPECT_TRUE(events.isEmpty()) << events.join(u'|').toStdString(); // what lay there is not new

    happen(u"message +491701 Hello"_s);
    ASSERT_TRUE(hears({u"new_message +491701 Hello"_s}));
    EXPECT_TRUE(lastEvent.value(u"date"_s).toDateTime().isValid());
    happen(u"part 2/2 7 +491709 of two"_s);
    ASSERT_TRUE(VXRunUntil([this] { return texts().size() == 4; })); // and nobody is told yet
    happen(u"part 1/2 7 +491709 One "_s);
    ASSERT_TRUE(hears({u"new_message +491701 Hello"_s, u"new_message +491709 One of two"_s}));
    EXPECT_EQ(texts(), (QStringList{u"Grüße"_s, u"Hello"_s, u"One of two"_s, u"old"_s}));

    EXPECT_EQ(fateOfSending(u"+49 1705"_s, u"Grüß Gott"_s), u"sent"_s);
    EXPECT_TRUE(obeyed("sent "));
    EXPECT_EQ(texts().size(), 4); // nothing is left of it
    for (const QVariant &item : items(perform(u"read_messages"_s)))
        EXPECT_TRUE(item.toMap().value(u"text"_s) != "old"_L1 || succeeds(u"delete_message"_s, item));
    EXPECT_TRUE(obeyed("deleted 2"));
    EXPECT_EQ(texts(), (QStringList{u"Grüße"_s, u"Hello"_s, u"One of two"_s}));
}

TEST_F(VXModemManagerTest, MakesAndTakesCalls)
{
    makePhone();
    ASSERT_TRUE(isReachedInTheEnd());
    happen(u"ring +491705"_s);
    ASSERT_TRUE(VXRunUntil([this] { return !events.isEmpty(); }));
    EXPECT_EQ(events, QStringList{u"incoming_call ringing +491705"_s});
    EXPECT_TRUE(succeeds(u"answer"_s));
    EXPECT_TRUE(obeyed("answered"));
    ASSERT_TRUE(hears({u"incoming_call ringing +491705"_s, u"incoming_call connected +491705"_s}));
    int told = 0;
    ASSERT_TRUE(VXRunUntil([this, &told] {
        happen(u"over"_s); // ModemManager does not listen for it at once
        ++told;
        return events.size() == 3;
    }));
    while (told-- > 0) // else it would be the answer to the next call
        ASSERT_TRUE(obeyed("over"));
    EXPECT_EQ(events.last(), u"incoming_call ended +491705"_s);

    events.clear();
    ASSERT_TRUE(isRegisteredInTheEnd());
    ASSERT_TRUE(succeeds(u"dial"_s, u"+49 171"_s));
    EXPECT_TRUE(obeyed("dialled +49171"));
    happen(u"taken"_s);
    ASSERT_TRUE(hears({u"outgoing_call ringing +49171"_s, u"outgoing_call connected +49171"_s}));
    EXPECT_TRUE(succeeds(u"hang_up"_s));
    EXPECT_TRUE(obeyed("hung up"));
    ASSERT_TRUE(VXRunUntil([this] { return events.size() == 3; }));
    EXPECT_EQ(events.last(), u"outgoing_call ended +49171"_s);
}

TEST_F(VXModemManagerTest, IsSyncedByTheProgramAndASecondTimeNothingChanges)
{
    const auto sync = [&] {
        const QJsonObject result = vornix({u"sync"_s, u"mine"_s, u"--messages"_s}).object()[u"messages"_s].toObject();
        return u"%1 %2"_s.arg(result[u"added"_s].toInt(-1)).arg(result[u"changed"_s].toInt(-1));
    };
    vornix({u"plugins"_s, u"enable"_s, u"com.halvern.VNX2.MobileModem"_s});
    vornix({u"devices"_s, u"add"_s, u"com.halvern.VNX2.MobileModem"_s, u"mine"_s});
    EXPECT_EQ(sync(), u"2 0"_s);
    EXPECT_EQ(sync(), u"0 0"_s);
    // Modems keep no note of what was read: here it stays so.
    const auto inbox = [&] { return vornix({u"messages"_s, u"list"_s, u"inbox"_s}).array(); };
    vornix({u"messages"_s, u"read"_s, inbox().first()[u"uri"_s].toString()});
    EXPECT_EQ(sync(), u"0 0"_s);
    EXPECT_EQ(inbox().first()[u"state"_s].toString(), u"read"_s);
    EXPECT_TRUE(vornix({u"devices"_s, u"info"_s, u"mine"_s})
                    .object()[u"properties"_s][u"phoneNumber"_s]
                    .toString()
                    .startsWith(u"+49170"_s));
}

TEST_F(VXModemManagerTest, OutboxTriggersAndTheRunningProgramUseIt)
{
    vornix({u"plugins"_s, u"enable"_s, u"MobileModem"_s});
    QJsonObject found;
    ASSERT_TRUE(VXRunUntil([&] { // once it is probed
        found = vornix({u"devices"_s, u"find"_s}).object()[u"devices"_s][0].toObject();
        return !found.isEmpty();
    }));
    EXPECT_EQ(found[u"name"_s], u"Example Fake 1"_s);
    vornix({u"devices"_s, u"add"_s, u"1"_s, u"mine"_s});
    const auto isConnected = [&] {
        return vornix({u"status"_s}).object()[u"phones"_s][0][u"state"_s] == "connected"_L1;
    };
    ASSERT_TRUE(VXRunUntil(isConnected) || VXRunUntil(isConnected)); // switched on
    const QString heard = path(u"heard"_s);
    vornix({u"triggers"_s, u"add"_s, u"--event"_s, u"new_message"_s, u"--filter"_s, u"text BEGINSWITH \"Hello\""_s,
            u"--reactor"_s, u"runcommand"_s, u"--option"_s, u"program=printf %s \"$VORNIX_OBJECT_TEXT\" >$1"_s,
            u"--option"_s, u"useShell=true"_s, u"--option"_s, u"arguments=[\"%1\"]"_s.arg(heard)});
    VXTestProcess running(commandLine(u"run 2>&1"_s)); // it tells on standard error
    const auto tells = [&](const QByteArray &what) {
        QByteArray line;
        do
            line = running.readLine();
        while (!line.isEmpty() && !line.contains(what));
        return line.contains(what);
    };
    happen(u"ring +491705"_s);
    EXPECT_TRUE(tells("ringing"));
    vornix({u"devices"_s, u"do"_s, u"mine"_s, u"hang_up"_s});
    EXPECT_TRUE(obeyed("hung up"));
    EXPECT_TRUE(tells("ended"));
    happen(u"message +491701 Hello there"_s);
    EXPECT_TRUE(tells("new_message"));
    EXPECT_TRUE(VXRunUntil([&] { return readFile(heard) == "Hello there"; })) << readFile(heard).toStdString();
    vornix({u"messages"_s, u"send"_s, u"+491709"_s, u"Hi"_s});
    EXPECT_TRUE(obeyed("sent "));
    EXPECT_EQ(vornix({u"messages"_s, u"list"_s, u"sent"_s}).array().size(), 1);
}
