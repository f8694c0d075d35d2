// Both ways of scripting, with the program itself on a bus of the test's own: "vornix run" as others script it, and "vornix
// scripting" with peer.py.

#include "HostDeviceFixture.h"
#include "HostProgram.h"
#include "HostTestsPaths.h"
#include "VXTesting.h"
#include "VXTestProcess.h"

#include <QtCore/QProcess>
#include <QtDBus/QDBusArgument>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusMessage>
#include <QtDBus/QDBusObjectPath>
#include <QtDBus/QDBusVariant>

#include <optional>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

/** Hears the signals of device actions. */
class Listener : public QObject
{
    Q_OBJECT

public:
    QStringList heard;

public Q_SLOTS:
    void progress(const QString &, const QString &status, double value, double maximum)
    {
        heard.append(u"%1 %2/%3"_s.arg(status).arg(value).arg(maximum));
    }
    void concluded(const QDBusMessage &signal)
    {
        const QVariant result = signal.arguments().value(0).value<QDBusVariant>().variant();
        heard.append(u"ended %1 %2"_s.arg(result.toString(), signal.arguments().value(1).toString()));
    }
    void posted(const QString &event, const QString &subtype, const QVariantMap &object)
    {
        heard.append(u"%1 %2 %3"_s.arg(event, subtype, object.value(u"from"_s).toString()));
    }
};

} // namespace

class HostScriptingTest : public VXHomeTest
{
protected:
    const QString url = u"vxdevice://localhost/org.phones/one"_s;
    const QString service = u"com.halvern.VNX2"_s;
    std::optional<VXTestProcess> bus;
    std::optional<VXTestProcess> vornix;
    Listener listener;

    void SetUp() override
    {
        qunsetenv("DISPLAY");
        startBus(u"--session"_s);
        hostDeviceFixture(u"org.phones"_s).write(path(u".local/share/Vornix 2/PlugIns"_s));
    }

    void startBus(const QString &configuration)
    {
        const QString address = "unix:path="_L1 + path(u"bus"_s);
        bus.emplace(u"dbus-daemon %1 --nofork --print-address=1 --address=%2"_s.arg(configuration, address));
        ASSERT_FALSE(bus->readLine().isEmpty()) << "the package dbus is missing";
        qputenv("DBUS_SESSION_BUS_ADDRESS", address.toUtf8());
    }

    void startBusAgain()
    {
        bus.reset();
        startBus(u"--session"_s);
    }

    /** What any program gets on a bus that may be another one by now. */
    QByteArray askAnew(const QString &method, const QString &argument) const
    {
        QProcess gdbus;
        gdbus.start(u"gdbus"_s, {u"call"_s, u"--session"_s, u"--dest"_s, service, u"--object-path"_s,
                                 u"/com/halvern/VNX2"_s, u"--method"_s, service + u'.' + method, argument});
        return gdbus.waitForFinished() ? gdbus.readAllStandardOutput().trimmed() : QByteArray();
    }

    void startVornix()
    {
        ASSERT_EQ(runHost("plugins enable org.phones").status, 0);
        ASSERT_EQ(runHost("devices add org.phones one name=Mine").status, 0);
        vornix.emplace(u"'%1' run 2>&1"_s.arg(hostProgram()));
        QByteArray line;
        do {
            line = vornix->readLine();
        } while (!line.isEmpty() && !line.contains("running, plugins loaded"));
        ASSERT_FALSE(line.isEmpty());
    }

    static QDBusMessage ask(const QString &path, const QString &interface, const QString &method,
                            const QVariantList &arguments)
    {
        const QString name = u"com.halvern.VNX2"_s;
        QDBusMessage message = QDBusMessage::createMethodCall(name, path, name + u'.' + interface, method);
        message.setArguments(arguments);
        return QDBusConnection::sessionBus().call(message);
    }
    /** The first value of the answer; the name and text of an error. */
    QVariant call(const QString &method, const QVariantList &arguments = {}, const QString &path = {}) const
    {
        const QDBusMessage answer = ask(path.isNull() ? u"/com/halvern/VNX2"_s : path, method.section(u'.', 0, 0),
                                        method.section(u'.', 1), arguments);
        if (answer.type() == QDBusMessage::ErrorMessage)
            return answer.errorName().section(u'.', -1) + ": "_L1 + answer.errorMessage();
        const QVariant value = answer.arguments().value(0);
        return value.metaType() == QMetaType::fromType<QDBusVariant>() ? value.value<QDBusVariant>().variant() : value;
    }
    static QVariant variant(const QVariant &value) { return QVariant::fromValue(QDBusVariant(value)); }
    QVariantMap map(const QString &method, const QVariantList &arguments = {}) const
    {
        return qdbus_cast<QVariantMap>(call(method, arguments));
    }
};

TEST_F(HostScriptingTest, DevicesAreShownAndDoWhatTheyAreTold)
{
    startVornix();
    EXPECT_EQ(call(u"Devices.List"_s), QVariant(QStringList{url}));
    const QVariantMap properties = map(u"Devices.Properties"_s, {url});
    EXPECT_EQ(properties.value(u"name"_s), QVariant(u"Mine"_s));
    for (const QString &name : {u"Mine"_s, u"one"_s})
        EXPECT_EQ(map(u"Devices.Properties"_s, {name}).value(u"url"_s), QVariant(url));
    EXPECT_EQ(properties.value(u"phoneNumber"_s), QVariant(u"+15550100"_s));
    EXPECT_EQ(qdbus_cast<QVariantMap>(properties.value(u"properties"_s)),
              (QVariantMap{{u"battery"_s, 80}, {u"model"_s, u"3310"_s}}));
    EXPECT_TRUE(call(u"Devices.Actions"_s, {url}).toStringList().contains(u"echo"_s));
    EXPECT_EQ(call(u"Devices.Actions"_s, {u"vxdevice://localhost/org.phones/two"_s}),
              QVariant(u"NotFound: there is no device \"vxdevice://localhost/org.phones/two\""_s));
    EXPECT_EQ(call(u"Devices.Run"_s, {url, u"fly"_s, variant(u""_s)}),
              QVariant(u"NotFound: Mine has no action \"fly\""_s));

    const auto run = [this](const QString &action, const QVariant &object) {
        return call(u"Devices.Run"_s, {url, action, variant(object)}).value<QDBusObjectPath>().path();
    };
    const QString echo = run(u"echo"_s, u"hello"_s);
    EXPECT_EQ(call(u"Action.Wait"_s, {}, echo), QVariant(u"hello"_s));
    EXPECT_EQ(call(u"Action.Wait"_s, {}, echo), QVariant(u"hello"_s)); // who asks late
    EXPECT_EQ(call(u"Action.Wait"_s, {}, run(u"fail"_s, u"no network"_s)), QVariant(u"Failed: no network"_s));
    EXPECT_TRUE(call(u"Action.Wait"_s, {}, run(u"throw"_s, u"out of order"_s)).toString().contains(u"Failed"_s));
}

TEST_F(HostScriptingTest, ActionsTellTheirProgressAndCanBeCancelled)
{
    startVornix();
    QDBusConnection connection = QDBusConnection::sessionBus();
    const QString interface = service + ".Action"_L1;
    connection.connect(service, {}, interface, u"Progress"_s, &listener,
                       SLOT(progress(QString, QString, double, double)));
    connection.connect(service, {}, interface, u"Concluded"_s, &listener, SLOT(concluded(QDBusMessage)));
    const QString action = call(u"Devices.Run"_s, {url, u"wait"_s, variant(u""_s)}).value<QDBusObjectPath>().path();
    ASSERT_TRUE(VXRunUntil([this] { return listener.heard.contains(u"waiting 1/4"_s); }));
    EXPECT_EQ(qdbus_cast<QVariantMap>(call(u"Action.Info"_s, {}, action)).value(u"isExecuting"_s), QVariant(true));
    call(u"Action.Cancel"_s, {}, action);
    ASSERT_TRUE(VXRunUntil([this] { return listener.heard.contains(u"ended 1 wait was cancelled"_s); }))
        << listener.heard.join(u'|').toStdString();
    EXPECT_EQ(call(u"Action.Wait"_s, {}, action), QVariant(u"Cancelled: wait was cancelled"_s));
}

TEST_F(HostScriptingTest, EventsArePostedHeardAndRemembered)
{
    ASSERT_EQ(runHost("triggers add --event incoming_call --filter 'from CONTAINS \"Jane\"' --reactor logevent "
                      "--option 'text=it was Jane'")
                  .status,
              0);
    runHost("phonebook add 'Jane Doe' --number '+1 555 0100'");
    startVornix();
    QDBusConnection::sessionBus().connect(service, {}, service + ".Events"_L1, u"Posted"_s, &listener,
                                          SLOT(posted(QString, QString, QVariantMap)));
    const QVariantMap jane{{u"from"_s, u"Jane <+1 555 0100>"_s}};
    const QVariantMap tested = map(u"Events.TestTrigger"_s, {u"p1"_s, jane});
    EXPECT_EQ(tested.value(u"passes"_s), QVariant(true));
    EXPECT_EQ(tested.value(u"runs"_s), QVariant(QStringList{u"com.halvern.VNX2.plugin.logevent"_s}));
    EXPECT_EQ(map(u"Events.TestTrigger"_s, {u"p1"_s, QVariantMap{{u"from"_s, u"Joe"_s}}}).value(u"passes"_s),
              QVariant(false));
    EXPECT_TRUE(call(u"Events.TestTrigger"_s, {u"p9"_s, QVariantMap()}).toString().startsWith(u"NotFound"_s));
    EXPECT_EQ(readFile(path(u".local/state/Vornix/error.log"_s)).count("it was Jane"), 0);

    const QVariantMap record = map(u"Events.Post"_s, {u"incoming_call"_s, u"ended"_s, jane});
    EXPECT_EQ(record.value(u"event"_s), QVariant(u"incoming_call"_s));
    EXPECT_THAT(vornix->readLine().toStdString(), testing::EndsWith("  incoming_call::ended  Jane Doe"));
    EXPECT_EQ(readFile(path(u".local/state/Vornix/error.log"_s)).count("it was Jane"), 1);
    ASSERT_TRUE(VXRunUntil([this] { return !listener.heard.isEmpty(); }));
    EXPECT_EQ(listener.heard.first(), u"incoming_call ended Jane <+1 555 0100>"_s);
    const auto history = qdbus_cast<QList<QVariantMap>>(call(u"Events.History"_s, {1U}));
    ASSERT_EQ(history.size(), 1);
    EXPECT_EQ(history.first().value(u"id"_s), record.value(u"id"_s));
    EXPECT_TRUE(map(u"Events.List"_s).contains(u"incoming_call"_s));
    EXPECT_TRUE(call(u"Events.Post"_s, {u""_s, u""_s, QVariantMap()}).toString().startsWith(u"InvalidArgs"_s));

    QVariant deep = u"x"_s; // so deep that it can come in, but not go out again as it is
    for (int level = 0; level < 30; ++level)
        deep = QVariantList{deep};
    EXPECT_EQ(map(u"Events.Post"_s, {u"deep"_s, u""_s, QVariantMap{{u"a"_s, deep}}}).value(u"event"_s), u"deep"_s);
    EXPECT_TRUE(map(u"Events.List"_s).contains(u"incoming_call"_s)); // it is still on the bus
}

TEST_F(HostScriptingTest, SpecifiersAndPhonebookStringsAreAnswered)
{
    startVornix();
    const QString device = u"devices[\"%1\"]"_s.arg(url);
    EXPECT_EQ(call(u"Application.Get"_s, {device + ".localizedDescription"_L1}), QVariant(u"Mine"_s));
    EXPECT_EQ(call(u"Application.Get"_s, {u"as_plugins[\"org.phones\"]"_s}), QVariant(u"as_plugins[\"org.phones\"]"_s));
    EXPECT_EQ(call(u"Application.Get"_s, {u"devices[4].url"_s}),
              QVariant(u"NotFound: Unable to evaluate container specifier: devices[4]"_s));
    EXPECT_EQ(call(u"Application.Get"_s, {device + ".resetPreferences"_L1}),
              QVariant(u"NotFound: Unable to evaluate container specifier: %1.resetPreferences"_s.arg(device)));
    EXPECT_TRUE(call(u"Application.Get"_s, {u"a b"_s}).toString().startsWith(u"InvalidArgs"_s));

    const QVariantMap entry = map(u"Phonebook.Entry"_s, {u"Jane <+1 555 0100/Hm>"_s});
    EXPECT_EQ(entry.value(u"as_name"_s), QVariant(u"Jane"_s));
    EXPECT_EQ(entry.value(u"as_type"_s), QVariant(u"vXnm"_s));
}

TEST_F(HostScriptingTest, ContactsAreLookedUpCompletedAndListed)
{
    const auto insert = [](const QString &entity, const QString &json) {
        return runHost({"store", "insert", "phonebook", entity, json}).output.trimmed();
    };
    const QString jane =
        QString::fromUtf8(insert(u"VXPerson"_s, u"{\"firstName\": \"Jane\", \"lastName\": \"Doe\"}"_s));
    insert(u"VXPhoneNumber"_s, u"{\"number\": \"+1 555 0100\", \"type\": 2, \"person\": \"%1\"}"_s.arg(jane));
    insert(u"VXEmailAddress"_s, u"{\"address\": \"jane@example.org\", \"person\": \"%1\"}"_s.arg(jane));
    startVornix();
    const QStringList all = {u"Jane Doe <+1 555 0100/m>"_s, u"Jane Doe <jane@example.org>"_s};
    EXPECT_EQ(call(u"Phonebook.List"_s, {10U}), QVariant(all));
    EXPECT_EQ(call(u"Phonebook.List"_s, {1U}), QVariant(all.first(1)));
    for (const QString &text : {u"+1 555 0100"_s, u"<jane@example.org/H>"_s}) {
        const QVariantMap found = map(u"Phonebook.LookUp"_s, {text});
        EXPECT_EQ(found.value(u"displayString"_s), QVariant(u"Jane Doe"_s));
        EXPECT_EQ(found.value(u"lastName"_s), QVariant(u"Doe"_s));
        EXPECT_TRUE(all.contains(found.value(u"phonebookString"_s).toString()));
    }
    EXPECT_EQ(map(u"Phonebook.LookUp"_s, {u"+1 555 0199"_s}), QVariantMap());
    EXPECT_EQ(map(u"Phonebook.LookUp"_s, {u""_s}), QVariantMap());
    EXPECT_EQ(call(u"Phonebook.Complete"_s, {u"ja"_s, 7U, 5U}), QVariant(all));
    EXPECT_EQ(call(u"Phonebook.Complete"_s, {u"ja"_s, 2U, 5U}), QVariant(all.last(1)));
    EXPECT_EQ(call(u"Phonebook.Complete"_s, {u"ja"_s, 0U, 5U}).toStringList(), QStringList());
}

TEST_F(HostScriptingTest, AnyDBusProgramFindsItsWay)
{
    startVornix();
    QProcess gdbus;
    gdbus.start(u"gdbus"_s,
                {u"introspect"_s, u"--session"_s, u"--dest"_s, service, u"--object-path"_s, u"/com/halvern/VNX2"_s});
    ASSERT_TRUE(gdbus.waitForFinished()) << "the package libglib2.0-bin is missing";
    const QByteArray shown = gdbus.readAllStandardOutput();
    for (const char *const part : {"interface com.halvern.VNX2.Phonebook", "interface com.halvern.VNX2.Devices",
                                   "interface com.halvern.VNX2.Events", "LookUp(in  s phonebookString",
                                   "out a{sv} contact", "Run(in  s url,", "Posted(s event,"})
        EXPECT_TRUE(shown.contains(part)) << part << "\n" << shown.toStdString();

    VXTestProcess second( // of another home; says why scripts do not reach it
        u"'%1' --home '%2' run 2>&1"_s.arg(hostProgram(), path(u"second"_s)));
    QByteArray said;
    do {
        said = second.readLine();
    } while (!said.isEmpty() && !said.contains("another process is com.halvern.VNX2"));
    EXPECT_FALSE(said.isEmpty());
    vornix.reset();
    EXPECT_TRUE(VXRunUntil([this] { return askAnew(u"Application.Get"_s, u"application"_s) == "(<'Vornix'>,)"; }));
}

TEST_F(HostScriptingTest, IsThereAgainWhenTheBusWasRestarted)
{
    startVornix();
    startBusAgain();
    EXPECT_TRUE(VXRunUntil([this] { return askAnew(u"Application.Get"_s, u"application"_s) == "(<'Vornix'>,)"; }));
}

TEST_F(HostScriptingTest, TheExamplesDoTheirWork)
{
    startVornix();
    const QString examples = QStringLiteral(VORNIX_EXAMPLES) + "/scripting/"_L1;
    const auto said = [&examples](const QString &command) {
        QProcess script;
        script.start(u"bash"_s, {u"-c"_s, examples + command});
        EXPECT_TRUE(script.waitForFinished());
        return script.readAll() + script.readAllStandardError();
    };
    EXPECT_EQ(said(u"missed-calls.py"_s), "No call was missed.\n");
    EXPECT_EQ(said(u"dial.sh 555"_s), "dial: no phone can dial\n");

    const QVariantMap missed{{u"from"_s, u"Joe <555-0199>"_s}, {u"isMissed"_s, true}};
    for (int time = 0; time < 2; ++time)
        call(u"Events.Post"_s, {u"incoming_call"_s, u"ended"_s, missed});
    EXPECT_TRUE(said(u"missed-calls.py"_s).endsWith("  Joe (555-0199), 2 times\n"));

    const QString notes = path(u"notes"_s);
    VXTestProcess note(examples + "call-note.sh "_L1 + notes); // it listens some time after it began
    ASSERT_TRUE(VXRunUntil([&] {
        call(u"Events.Post"_s, {u"incoming_call"_s, u"connected"_s, QVariantMap{{u"from"_s, u"Jane <+1 555 0100>"_s}}});
        return readFile(notes).startsWith("## Jane <+1 555 0100>, 20");
    }));
}

TEST_F(HostScriptingTest, OtherUsersMayNotCall)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can be somebody else";
    bus.reset();
    const QString configuration = writeFile(
        u"open.conf"_s, R"(<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen><auth>EXTERNAL</auth>
        <policy context="default"><allow user="*"/><allow send_destination="*" eavesdrop="true"/>
        <allow receive_sender="*"/><allow own="*"/></policy></busconfig>)");
    startBus("--config-file="_L1 + configuration);
    ASSERT_EQ(::chmod(path().toUtf8().constData(), 0711), 0); // for the bus, which lies there
    startVornix();
    QProcess other;
    other.start(u"setpriv"_s,
                {u"--reuid=nobody"_s, u"--clear-groups"_s, u"gdbus"_s, u"call"_s, u"--address"_s,
                 qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"), u"--dest"_s, service, u"--object-path"_s,
                 u"/com/halvern/VNX2"_s, u"--method"_s, service + ".Devices.List"_L1});
    ASSERT_TRUE(other.waitForFinished());
    const QByteArray said = other.readAllStandardError();
    EXPECT_TRUE(said.contains("org.freedesktop.DBus.Error.AccessDenied")) << said.toStdString();
    EXPECT_TRUE(said.contains("Only programs of the user")) << said.toStdString();
}

TEST_F(HostScriptingTest, TheCommandDrivesOtherPrograms)
{
    const QString player = u"org.mpris.MediaPlayer2.peer"_s;
    VXTestProcess peer(u"/usr/bin/python3 '%1' %2"_s.arg(QStringLiteral(VORNIX_PEER), player));
    ASSERT_EQ(peer.readLine(), "ready") << "the package python3-dbus is missing";
    const QString hasty = u"org.mpris.MediaPlayer2.abrupt"_s;
    VXTestProcess abrupt(u"/usr/bin/python3 '%1' %2"_s.arg(QStringLiteral(VORNIX_PEER), hasty));
    ASSERT_EQ(abrupt.readLine(), "ready");
    struct Row
    {
        VXWords arguments;
        int status;
        QByteArray said; // part of the output, or of the errors
    };
    const Row rows[] = {
        {{u"targets"_s}, 0, "org.mpris.MediaPlayer2.abrupt\norg.mpris.MediaPlayer2.peer\n"},
        {{u"get"_s, player, u"PlaybackStatus"_s}, 0, "Playing"},
        {{u"set"_s, player, u"pVol"_s, u"0.75"_s}, 0, ""},
        {{u"get"_s, player, u"volume"_s, u"--json"_s}, 0, "0.75"},
        {{u"set"_s, player, u"Volume"_s, u"loud"_s}, 1, "Volume takes a value of the type \"d\""},
        {{u"call"_s, player, u"SetPosition"_s, u"/track/1"_s, u"5"_s}, 0, ""},
        {{u"call"_s, player, u"mpri/open"_s, u"file:///a"_s}, 0, "SetPosition /track/1 5"},
        {{u"call"_s, player, u"Pause"_s, u"now"_s}, 1, "Pause takes 0 values"},
        {{u"get"_s, player, u"Loudness"_s}, 1, "no scripting dictionary of"},
        {{u"get"_s, player, u"CanGoNext"_s}, 1, "there is no CanGoNext"},
        {{u"set"_s, player, u"Identity"_s, u"x"_s}, 1, "Identity can only be read"},
        {{u"get"_s, u"Peer"_s, u"Identity"_s}, 1, "did you mean \"org.mpris.MediaPlayer2.peer\""},
        {{u"dictionaries"_s}, 0, "org.freedesktop.Application"},
        {{u"dictionary"_s, player}, 0, "mpri/paus"},
        {{u"quit"_s, player}, 0, ""},
        {{u"quit"_s, hasty}, 0, ""},
        {{u"quit"_s, u"org.mpris.MediaPlayer2.none"_s}, 1, "is not running"},
        {{u"get"_s, u"org.mpris.MediaPlayer2.none"_s, u"Volume"_s}, 1, "is not running"},
    };
    for (const Row &row : rows) {
        const HostOutcome outcome = runHost(QStringList{u"scripting"_s} + row.arguments);
        EXPECT_EQ(outcome.status, row.status) << row.arguments.join(u' ').toStdString();
        const QByteArray &said = row.status == 0 ? outcome.output : outcome.errors;
        EXPECT_TRUE(said.contains(row.said)) << row.arguments.join(u' ').toStdString() << ": " << said.toStdString();
    }
    bus.reset();
    for (const VXWords &arguments : {VXWords{"targets"}, {"get", player, "Volume"}})
        EXPECT_TRUE(runHost(VXWords{"scripting"} + arguments).errors.contains("there is no D-Bus session bus"));
}

#include "HostScriptingTest.moc"
