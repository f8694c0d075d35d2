// "vornix status": how things stand, and the report for others, in which nothing of the user's may be found.

#include "HostDeviceFixture.h"
#include "HostProgram.h"
#include "HostTestsPaths.h"
#include "VXJSON.h"
#include "VXTesting.h"
#include "VXTestProcess.h"

#include <QtCore/QDirIterator>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtDBus/QDBusConnection>

#include <optional>
#include <pwd.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using testing::HasSubstr, testing::Not;

class HostStatusTest : public VXHomeTest
{
protected:
    HostStatusTest()
    {
        qunsetenv("DISPLAY");
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + path(u"no-bus"_s).toUtf8());
        const QVariantList services{service(u"org.running"_s, u"session"_s), service(u"org.absent"_s, u"session"_s),
                                    service(u"org.system"_s, u"system"_s)};
        auto phones = hostDeviceFixture(u"org.phones"_s, {{u"VXServices"_s, services}});
        phones.write(shared);
        phones.identifier = u"org.off"_s;
        phones.write(shared);
    }
    ~HostStatusTest() override
    {
        qunsetenv("DBUS_SYSTEM_BUS_ADDRESS");
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    }

    static QVariantMap service(const QString &name, const QString &bus)
    {
        return {{u"name"_s, name}, {u"bus"_s, bus}, {u"title"_s, "Title of "_L1 + name}, {u"package"_s, u"pack"_s}};
    }
    static void run(const VXWords &arguments) { EXPECT_EQ(runHost(arguments).status, 0) << arguments[0].toStdString(); }
    static void enable(const QString &plugin) { run({"plugins", "enable", plugin}); }

    /** "STATE|REASON|REMEDY", with a "!" in front for a fault. */
    static QString standing(const QString &group, const QString &key, const QString &identifier)
    {
        const auto json = VXJSONFromText(runHost("--json status").output);
        const QJsonObject status = json ? json->toObject() : QJsonObject();
        for (const auto item : status[group].toArray()) {
            if (item[key] == identifier)
                return (item[u"fault"_s].toBool() ? u"!"_s : QString()) + item[u"state"_s].toString() + u'|' +
                       item[u"reason"_s].toString() + u'|' + item[u"remedy"_s].toString();
        }
        return {};
    }

    const QString shared = path(u".local/share/Vornix 2/PlugIns"_s);
};

TEST_F(HostStatusTest, TellsHowServicesStand)
{
    std::optional<VXTestBus> bus(path(u"bus"_s));
    qputenv("DBUS_SESSION_BUS_ADDRESS", bus->address());
    const auto of = [](const QString &name) { return standing(u"services"_s, u"service"_s, name); };
    EXPECT_EQ(of(u"org.absent"_s), u"not there|No program offers it, and the bus knows none to start.|"_s)
        << "nobody enabled needs it";
    enable(u"org.phones"_s);
    QDBusConnection peer = QDBusConnection::connectToBus(QString::fromUtf8(bus->address()), u"status-peer"_s);
    ASSERT_TRUE(peer.registerService(u"org.running"_s));
    EXPECT_EQ(of(u"org.running"_s), u"running||"_s);
    EXPECT_EQ(of(u"org.absent"_s), u"!not there|No program offers it, and the bus knows none to start.|"
                                   "Install the package \"pack\", or start it if it is there."_s);
    EXPECT_TRUE(of(u"org.system"_s).startsWith(u"!unreachable|"_s)) << of(u"org.system"_s).toStdString();
    EXPECT_TRUE(of(u"com.halvern.VNX2"_s).startsWith(u"not running|"_s));
    ASSERT_TRUE(peer.registerService(u"com.halvern.VNX2"_s));
    EXPECT_EQ(of(u"com.halvern.VNX2"_s), u"running||"_s);
    QDBusConnection::disconnectFromBus(u"status-peer"_s);
    bus.reset();
    EXPECT_TRUE(of(u"org.running"_s).startsWith(u"!unreachable|"_s)) << of(u"org.running"_s).toStdString();
    const QByteArray text = runHost("status").output;
    EXPECT_THAT(text.toStdString(), HasSubstr("! Title of org.running"));
}

TEST_F(HostStatusTest, TellsHowPhonesAndPluginsStand)
{
    enable(u"org.phones"_s);
    enable(u"org.off"_s);
    run("devices add org.phones well connected=true");
    run("devices add org.phones ill 'problem=It is off.'");
    run("devices add org.phones half connected=true notAllowed=contacts");
    run("devices add org.off idle");
    run("plugins disable org.off");
    const auto phone = [](const QString &rest) {
        return standing(u"phones"_s, u"url"_s, "vxdevice://localhost/"_L1 + rest);
    };
    EXPECT_EQ(phone(u"org.phones/well"_s), u"connected||"_s);
    EXPECT_EQ(phone(u"org.phones/ill"_s), u"!not connected|It is off.|\"vornix devices info ill\" tells more of it."_s);
    EXPECT_EQ(phone(u"org.phones/half"_s),
              u"connected|Not allowed on the phone: contacts.|"
              "Allow it in the settings of the phone for this computer, if it is wanted."_s);
    EXPECT_EQ(phone(u"org.off/idle"_s), u"!plugin disabled|The plugin org.off is disabled.|"
                                        "\"vornix plugins enable org.off\" has it serve the phone."_s);
    EXPECT_EQ(standing(u"plugins"_s, u"identifier"_s, u"org.phones"_s), u"loaded||"_s);
    EXPECT_EQ(standing(u"plugins"_s, u"identifier"_s, u"org.off"_s), u"disabled||"_s);
    VXPluginFixture{.identifier = u"org.broken"_s}.write(shared);
    enable(u"org.broken"_s);
    writeFile(u".local/share/Vornix 2/PlugIns/org.broken.vxplugin/Contents/Linux/RecordingPlugin.so"_s, "broken");
    const QString broken = standing(u"plugins"_s, u"identifier"_s, u"org.broken"_s);
    EXPECT_TRUE(broken.startsWith(u"!failed|"_s)) << broken.toStdString();
    EXPECT_TRUE(broken.endsWith(u"\"vornix plugins disable org.broken\" leaves it out."_s)) << broken.toStdString();
}

// What nobody may read in a report; each stands in several places.
class HostReportTest : public HostStatusTest
{
protected:
    /** Unpacked, all files together, and their names. */
    QByteArray report(const QString &fileName)
    {
        const HostOutcome outcome = runHost({"status", "--bundle", path(fileName)});
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        const QString folder = path(u"unpacked-"_s + fileName);
        EXPECT_EQ(runHostShell(u"unzip -q '%1' -d '%2'"_s.arg(path(fileName), folder)).status, 0);
        QByteArray all;
        QDirIterator files(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            const QString file = files.next();
            all += file.sliced(folder.size()).toUtf8() + '\n' + readFile(file);
        }
        EXPECT_THAT(all.toStdString(), HasSubstr("vornix-report/log.txt"));
        return all;
    }

    const QString name = u"Wilhelmine Oberschlunz"_s;
    const QString number = u"+49 (170) 555-0199"_s;
    const QString digits = u"491705550199"_s;
    const QString address = u"wil.ober+x@geheim.example"_s;
    const QString text = u"Treffen um acht: hinterm Bahnhof, \"Gleis\" sieben!\nzweite Zeile"_s;
};

TEST_F(HostReportTest, HasNothingOfTheUsers)
{
    enable(u"org.phones"_s);
    const QString jsonText = QString::fromUtf8(VXJSONText(text)); // with quotation marks
    run({"phonebook", "add", name, "--number", number, "--email", address});
    run({"devices", "add", "org.phones", digits, u"name="_s + name,
         u"problem=%1 of %2 at %3"_s.arg(number, name, path(u"Bilder"_s))});
    run({"triggers", "add", "--event", "incoming_call", "--reactor", "logevent", "--name", name, "--filter",
         u"from CONTAINS \"%1\" OR text CONTAINS \"%2\""_s.arg(number, name)});
    run({"triggers", "add", "--event", "incoming_call", "--reactor", "logevent", "--option",
         u"text={from} {text} {date} "_s + name});
    const QString party = u"%1 <%2>"_s.arg(name, number);
    const QString object =
        uR"({"from": "%1", "to": "%2", "text": %3, "direction": 1, "duration": %4, "%5": {"number": %4, "list": ["%5", %4, "%2"]},
             "state": %4, "partCount": 5550199, "device_url": "vxdevice://localhost/org.phones/%4", "date": "%5", "path": "%6/x y/%7.vcf"})"_s
            .arg(party, address, jsonText, digits, name, path())
            .arg(u"Oberschlunz"_s);
    run({"post", "incoming_call", "--subtype", "ended", "--object", object});
    run({"post", u"event:"_s + name, "--subtype", digits, "--object", object});
    // What failures and others log, in the forms that log lines have.
    const QString log = path(u".local/state/Vornix/error.log"_s);
    QByteArray lines = readFile(log);
    const QByteArray said = (name + u' ' + number + u' ' + address + u' ' + path(u"x"_s) + u' ' + text).toUtf8();
    lines += "Nov 15 22:04:32.118 [311:2] <ERROR> " + said.left(said.indexOf('\n')) + "\n\tzweite Zeile\n";
    lines += "Nov 15 22:04:32.118 [311:2] <ERROR> 0x" + digits.toUtf8() + " -[Wilhelmine Oberschlunz:] Oberschlunz\n";
    lines += "Oberschlunz 15 22:04:32.118 [311:2] <ERROR> Bahnhof\n" + digits.toUtf8() + '\n';
    lines += "Nov 15 22:04:32.118 [311:2] <ERROR> 0x0061fe40 +[VXDevicePlugin deviceAtURL:] plugin is missing or "
             "disabled for device: vxdevice://localhost/com.halvern.VNX2.GammuPhone/" +
             digits.toUtf8() + "\n";
    lines += "Nov 15 22:04:32.119 [311:2] <NOTICE> call of " + party.toUtf8() + " from 0170/5550199 to " +
             path().toUtf8() + "\n";
    writeFile(u".local/state/Vornix/error.log"_s, lines);
    writeFile(u".local/state/Vornix/error.log.1"_s, lines);

    const QString all = QString::fromUtf8(report(u"report.zip"_s));
    const passwd *const user = ::getpwuid(::getuid());
    const QString home = QString::fromUtf8(qgetenv("HOME"));
    for (const QString &secret :
         {u"wilhelmine"_s, u"schlunz"_s, u"170"_s + u"555"_s, u"555-0199"_s, u"5550199"_s, u"geheim"_s, u"wil.ober"_s,
          u"Treffen"_s, u"Bahnhof"_s, u"Gleis"_s, u"zweite"_s, u"Zeile"_s, u"Bilder"_s, home, path(),
          QFileInfo(home).fileName(), QString::fromUtf8(user->pw_name) + u'/'})
        EXPECT_FALSE(all.contains(secret, Qt::CaseInsensitive)) << secret.toStdString();

    // What helps is there: what the program said, and the same mark for the same value, whatever its spelling.
    EXPECT_TRUE(all.contains(u"+[VXDevicePlugin deviceAtURL:] plugin is missing or disabled for device: "
                             "vxdevice://localhost/com.halvern.VNX2.GammuPhone/<device:"_s));
    EXPECT_TRUE(all.contains(u"\"event\":\"incoming_call\""_s)) << all.toStdString();
    EXPECT_TRUE(all.contains(u"\"outcome\":\"ran\""_s));
    EXPECT_TRUE(all.contains(u"\"direction\":1"_s));
    const QString mark = QRegularExpression(u"<NOTICE> <text:\\w+> <<(number:\\w+)>>"_s).match(all).captured(1);
    ASSERT_FALSE(mark.isEmpty());
    EXPECT_GT(all.count(mark), 3);
    const QString later = QString::fromUtf8(report(u"later.zip"_s));
    EXPECT_TRUE(later.contains(mark)) << "marks stay the same in later reports";
}

TEST_F(HostReportTest, ReplacesAnOlderOneOrLeavesItAlone)
{
    const QString old = writeFile(u"old.zip"_s, "not an archive");
    report(u"old.zip"_s);
    EXPECT_TRUE(readFile(old).startsWith("PK"));
    EXPECT_EQ(QFileInfo(old).permissions() & (QFile::ReadGroup | QFile::ReadOther), 0);
    const HostOutcome outcome = runHost({"status", "--bundle", path(u"nowhere/x.zip"_s)});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("the report was not written: "));
    EXPECT_TRUE(QDir(path()).entryList({u".vornix-report*"_s}, QDir::Dirs | QDir::Hidden).isEmpty());
}
