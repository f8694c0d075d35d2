// The reactors that ship: programs, notifications, log lines.

#include "VXEventText.h"
#include "VXException.h"
#include "VXLogRecorder.h"
#include "VXPluginFixtures.h"
#include "VXPlugInTesting.h"
#include "VXTestProcess.h"

#include <QtCore/QFile>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtDBus/QDBusConnection>

#include <csignal>
#include <cstdio>
#include <sys/stat.h>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

const QString runCommand = u"RunCommandPlugin"_s;
const QString shell = u"/bin/sh"_s;

// A process that is gone, or is only waited for by its parent.
bool hasEnded(qint64 process)
{
    QFile file(u"/proc/%1/stat"_s.arg(process));
    if (!file.open(QIODevice::ReadOnly))
        return true;
    const QByteArray status = file.readAll();
    return status.mid(status.lastIndexOf(')') + 2, 1) == "Z";
}

// A notification service, as a desktop has one.
class NotificationService : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    QStringList notifications;
    QStringList capabilities;

    Q_SCRIPTABLE QStringList GetCapabilities() const { return capabilities; }
    Q_SCRIPTABLE uint Notify(const QString &, uint, const QString &, const QString &title, const QString &text,
                             const QStringList &, const QVariantMap &, int)
    {
        notifications.append(title + u'|' + text);
        return 1;
    }
};

} // namespace

class VXReactorsTest : public VXHomeTest
{
protected:
    VXLogRecorder log;

    /** Reacts to a call, and waits for what the reactor does. */
    static void react(const QString &target, const QVariantMap &options, const QVariant &object = {},
                      const QString &subtype = u"ended"_s)
    {
        const auto reactor = VXMakeShippedPlugin<VXReactorPlugin>(target);
        reactor->reactToEventWithName(u"incoming_call"_s, subtype, object, options);
        reactor->pluginWillUnload();
    }
};

TEST_F(VXReactorsTest, PlaceholdersAreReplacedOnce)
{
    const VXEvent event{
        u"call"_s, {}, QVariantMap{{u"a"_s, u"{b}"_s}, {u"b"_s, 2}, {u"c"_s, QVariantMap{{u"d"_s, 0.5}}}}};
    const std::pair<QString, QString> table[] = {
        {u"{event}/{subtype}/{ a }"_s, u"call//{b}"_s},
        {u"{c.d}{none}{b}"_s, u"0.52"_s},
        {u"{{b} {b"_s, u"{b} {b"_s},
        {u"{}"_s, QString(u""_s)},
        {u"}"_s, u"}"_s},
        {u"{{"_s, u"{"_s},
    };
    for (const auto &[text, expected] : table)
        EXPECT_EQ(VXEventText(text, event), expected) << text.toStdString();
}

TEST_F(VXReactorsTest, LogLinesHaveTheLevelAndStayLines)
{
    const QVariantMap object{{u"from"_s, u"Jane\n<ERROR> forged"_s}};
    react(u"LogEventPlugin"_s, {{u"level"_s, u"warning"_s}, {u"text"_s, u"{event}: {from}"_s}}, object);
    react(u"LogEventPlugin"_s, {});
    EXPECT_EQ(log.lines(u"WARNING"_s).size(), 1);
    EXPECT_EQ(log.count(u"reactToEventWithName:subtype:object:options:] incoming_call: Jane <ERROR> forged"_s), 1);
    EXPECT_TRUE(log.lines(u"NOTICE"_s).value(0).endsWith(u"incoming_call ended"_s));
    EXPECT_THROW(react(u"LogEventPlugin"_s, {{u"level"_s, u"loud"_s}}), VXException);
}

TEST_F(VXReactorsTest, ProgramsGetTheEvent)
{
    qputenv("VORNIX_OBJECT_STALE", "of another event");
    const QVariantMap object{{u"phoneNumber"_s, u"$(touch x) \"+1\""_s},
                             {u"2nd key"_s, QDateTime({2026, 1, 31}, {16, 5}, Qt::UTC)},
                             {u"note"_s, QString(100'000, u'x')}};
    const QString script =
        writeFile(u"a b.sh"_s, "#!/bin/sh\nenv | grep ^VORNIX | sort > \"$1\"\ncat > \"$2\"\npwd >> \"$1\"\n");
    ASSERT_TRUE(QFile::setPermissions(script, QFile::ReadOwner | QFile::ExeOwner));
    react(runCommand, {{u"program"_s, u"~/a b.sh"_s}, {u"arguments"_s, QStringList{u"out 1"_s, u"in"_s}}}, object);
    qunsetenv("VORNIX_OBJECT_STALE");
    EXPECT_EQ(readFile(path(u"out 1"_s)),
              QByteArray("VORNIX_EVENT=incoming_call\nVORNIX_OBJECT_2ND_KEY=2026-01-31T16:05:00Z\n"
                         "VORNIX_OBJECT_PHONE_NUMBER=$(touch x) \"+1\"\nVORNIX_SUBTYPE=ended\n") +
                  path().toUtf8() + '\n');
    const QJsonObject input = QJsonDocument::fromJson(readFile(path(u"in"_s))).object();
    EXPECT_EQ(input[u"event"_s].toString(), u"incoming_call"_s);
    EXPECT_EQ(input[u"object"_s][u"note"_s].toString().size(), 100'000);
    EXPECT_EQ(log.lines(u"INFO"_s).size(), 1);
    EXPECT_TRUE(log.lines(u"ERROR"_s).isEmpty());
}

TEST_F(VXReactorsTest, ShellsRunOnlyWhenToldTo)
{
    const QVariantMap line{{u"program"_s, u"echo \"$1\" > ~/out; exit 4"_s}, {u"arguments"_s, u"a b"_s}};
    EXPECT_THROW(react(runCommand, line), VXException);
    QVariantMap withShell = line;
    withShell.insert(u"useShell"_s, true);
    react(runCommand, withShell);
    EXPECT_EQ(readFile(path(u"out"_s)), QByteArray("a b\n"));
    EXPECT_EQ(log.count(u"/bin/sh ended with status 4"_s), 1);

    for (const QVariantMap &options : {QVariantMap{},
                                       {{u"program"_s, u"no-such-program"_s}},
                                       {{u"program"_s, u"./here"_s}},
                                       {{u"program"_s, shell}, {u"timeout"_s, u"soon"_s}}})
        EXPECT_THROW(react(runCommand, options), VXException);
}

TEST_F(VXReactorsTest, TheEndOfTheErrorOutputIsLogged)
{
    const QString script = u"i=0; while [ $i -lt 5000 ]; do echo line $i >&2; i=$((i+1)); done; kill -KILL $$"_s;
    react(runCommand, {{u"program"_s, script}, {u"useShell"_s, true}});
    const QString line = log.lines(u"ERROR"_s).value(0);
    EXPECT_EQ(log.count(u"was ended by signal 9 (Killed); its error output ends with:"_s), 1);
    EXPECT_EQ(log.count(u"line 4999"_s), 1);
    EXPECT_EQ(log.count(u"line 4000"_s), 0);
}

TEST_F(VXReactorsTest, TheTimeOutEndsTheWholeProcessGroup)
{
    // One of the group does not listen.
    const QString script = u"(trap '' TERM; exec sleep 1000) & echo $! > ~/child; echo waiting >&2; sleep 1000"_s;
    react(runCommand, {{u"program"_s, script}, {u"useShell"_s, true}, {u"timeout"_s, 0.5}});
    EXPECT_EQ(log.count(u"was ended when its time was over; its error output ends with: waiting"_s), 1);
    const qint64 child = readFile(path(u"child"_s)).trimmed().toLongLong();
    ASSERT_GT(child, 0);
    EXPECT_TRUE(VXRunUntil([&] { return hasEnded(child); }));
}

TEST_F(VXReactorsTest, UnloadingWaitsForPrograms)
{
    const auto reactor = VXMakeShippedPlugin<VXReactorPlugin>(runCommand);
    EXPECT_EQ(reactor->pluginShouldUnload(), VXUnloadNow);
    ASSERT_EQ(::mkfifo(QFile::encodeName(path(u"gate"_s)).constData(), 0600), 0);
    reactor->reactToEventWithName(u"e"_s, {}, {}, {{u"program"_s, u"cat ~/gate > ~/out"_s}, {u"useShell"_s, true}});
    EXPECT_EQ(reactor->pluginShouldUnload(), VXUnloadLater); // and the poster did not wait either
    writeFile(u"gate"_s, "opened");
    reactor->pluginWillUnload();
    EXPECT_EQ(readFile(path(u"out"_s)), QByteArray("opened"));
}

TEST_F(VXReactorsTest, NotificationsReachTheService)
{
    VXTestBus messageBus(path(u"bus"_s));
    const QByteArray address = messageBus.address();
    ASSERT_FALSE(address.isEmpty()) << "the package dbus is missing";
    qputenv("DBUS_SESSION_BUS_ADDRESS", address);

    const QVariantMap options{{u"title"_s, u"{from}"_s}, {u"text"_s, u"<b>{event}</b>"_s}};
    const QVariantMap object{{u"from"_s, u"Jane & Joe"_s}};
    react(u"DesktopNotificationPlugin"_s, options, object);
    EXPECT_EQ(log.lines(u"WARNING"_s).size(), 1); // nobody serves on the bus

    QDBusConnection bus = QDBusConnection::connectToBus(QString::fromUtf8(address), u"service"_s);
    NotificationService service;
    ASSERT_TRUE(
        bus.registerObject(u"/org/freedesktop/Notifications"_s, &service,
                           QDBusConnection::ExportScriptableSlots | QDBusConnection::ExportScriptableInvokables));
    ASSERT_TRUE(bus.registerService(u"org.freedesktop.Notifications"_s));
    for (const bool hasMarkup : {false, true}) {
        service.capabilities = hasMarkup ? QStringList{u"body"_s, u"body-markup"_s} : QStringList{u"body"_s};
        const auto reactor = VXMakeShippedPlugin<VXReactorPlugin>(u"DesktopNotificationPlugin"_s);
        reactor->reactToEventWithName(u"call"_s, {}, object, options);
        EXPECT_TRUE(service.notifications.isEmpty()); // the service answers on this thread: nobody waited for it
        EXPECT_TRUE(VXRunUntil([&] { return !service.notifications.isEmpty(); }));
        const QString text = hasMarkup ? u"&lt;b&gt;call&lt;/b&gt;"_s : u"<b>call</b>"_s;
        EXPECT_EQ(service.notifications, QStringList{u"Jane & Joe|"_s + text});
        service.notifications.clear();
        reactor->pluginWillUnload();
    }
    EXPECT_EQ(log.lines(u"WARNING"_s).size(), 1);

    QDBusConnection::disconnectFromBus(u"service"_s);
    messageBus.stop();
    react(u"DesktopNotificationPlugin"_s, options, object);
    EXPECT_EQ(log.lines(u"WARNING"_s).size(), 2); // there is no bus
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
}

#include "VXReactorsTest.moc"
