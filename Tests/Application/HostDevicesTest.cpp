#include "HostProgram.h"
#include "VXHostJSON.h"
#include "VXPluginFixtures.h"
#include "VXTesting.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QProcess>

#include <csignal>

using namespace Qt::StringLiterals;

class HostDevicesTest : public VXHomeTest
{
protected:
    HostDevicesTest()
    {
        const QString shared = path(u".local/share/Vornix 2/PlugIns"_s);
        VXPluginFixture{.identifier = u"org.phones"_s,
                        .kind = u"VXDevicePlugin"_s,
                        .info = {{u"NSPrincipalClass"_s, u"DeviceFixture"_s}},
                        .code = u"DeviceFixture.so"_s}
            .write(shared);
        VXPluginFixture{.identifier = u"org.reactor"_s}.write(shared);
        writeDefault(u"plugins"_s, R"(["org.phones", "org.reactor"])");
    }

    static void writeDefault(const QString &key, const QByteArray &json)
    {
        EXPECT_EQ(runHost({u"defaults"_s, u"write"_s, u"com.halvern.VNX2"_s, key, QString::fromUtf8(json)}).status, 0);
    }
    static QJsonObject defaults()
    {
        const auto read = runHost({u"defaults"_s, u"read"_s, u"com.halvern.VNX2"_s});
        return VXJSONFromText(read.output)->toObject();
    }
    static HostOutcome devices(const QStringList &arguments) { return runHost(QStringList{u"devices"_s} + arguments); }
    /** "STATUS OUTPUT", or the first line of the errors. */
    static std::string outcomeOf(const QStringList &arguments)
    {
        const HostOutcome outcome = devices(arguments);
        const QByteArray said =
            outcome.status == 0 ? outcome.output : outcome.errors.left(outcome.errors.indexOf('\n'));
        return std::to_string(outcome.status) + ' ' + said.toStdString();
    }

    const QString url = u"vxdevice://localhost/org.phones/one"_s;
};

TEST_F(HostDevicesTest, AddsListsAndRemoves)
{
    EXPECT_EQ(outcomeOf({}), "0 There are no devices.\n");
    EXPECT_EQ(outcomeOf({u"default"_s}), "0 There is no default device.\n");
    EXPECT_EQ(
        outcomeOf({u"add"_s, u"org.phones"_s, u"one"_s, u"name=My phone"_s, u"connected=true"_s}),
        "0 Added vxdevice://localhost/org.phones/one.\n\"vornix devices info one\" tells whether it can be reached.\n");
    EXPECT_EQ(outcomeOf({u"add"_s, u"org.phones"_s, u"/dev/tty 1"_s}),
              "0 Added vxdevice://localhost/org.phones/%2Fdev%2Ftty%201.\n"
              "\"vornix devices info /dev/tty 1\" tells whether it can be reached.\n");
    writeDefault(u"devices21"_s, R"([7, "vxdevice://localhost/org.phones/one", "no url",
                                     "vxdevice://localhost/org.gone/x", "vxdevice://localhost/org.phones/refused"])");
    EXPECT_EQ(devices({u"list"_s}).output,
              QByteArray("NAME      STATE                  DEFAULT  URL\n"
                         "My phone  connected              -        vxdevice://localhost/org.phones/one\n"
                         "x         plugin missing         -        vxdevice://localhost/org.gone/x\n"
                         "refused   refused by its plugin  yes      vxdevice://localhost/org.phones/refused\n"));
    qputenv("COLUMNS", "40"); // the least useful columns go, and are named
    const HostOutcome narrow = devices({u"list"_s});
    qunsetenv("COLUMNS");
    EXPECT_TRUE(narrow.output.startsWith("NAME      STATE\nMy phone  connected\n")) << narrow.output.toStdString();
    EXPECT_EQ(narrow.errors, QByteArray("For want of room without: DEFAULT, URL. --json has everything.\n"));
    EXPECT_EQ(outcomeOf({u"default"_s, url + u"/messages/7"_s, u"--key"_s, u"calls"_s}),
              "0 " + url.toStdString() + '\n');
    EXPECT_EQ(outcomeOf({u"default"_s, u"--key"_s, u"calls"_s}), "0 " + url.toStdString() + '\n');
    EXPECT_EQ(outcomeOf({u"remove"_s, url}), "0 Removed vxdevice://localhost/org.phones/one.\n");
    const QJsonObject left = defaults();
    EXPECT_EQ(left[u"devices21"_s].toArray().size(), 4) << "entries that make no sense are kept";
    EXPECT_FALSE(left.contains(u"org.phones.one.name"_s));
}

TEST_F(HostDevicesTest, FindsPhonesAndAddsThemByNumber)
{
    const QByteArray found = R"([
        {"name": "Pixel", "identifier": "pixel", "place": "USB, /dev/a", "preferences": {"port": "/dev/a", "name": "Pixel"}},
        {"name": "Galaxy", "identifier": "galaxy", "ports": ["/nowhere/b"], "preferences": {"port": "/nowhere/b"}}])";
    EXPECT_EQ(outcomeOf({u"add"_s, u"1"_s}), "1 vornix: \"vornix devices find\" has found nothing yet");
    EXPECT_EQ(outcomeOf({u"find"_s}).substr(0, 24), "0 No phones were found.\n");
    qputenv("VXFoundDevices", found);
    EXPECT_EQ(outcomeOf({u"add"_s, u"2"_s}), "1 vornix: \"vornix devices find\" has found nothing yet");
    EXPECT_EQ(devices({u"find"_s}).output.split('\n').first(4),
              (QList<QByteArray>{
                  "#  NAME    PLUGIN   WHERE        STATE", "1  Pixel   Fixture  USB, /dev/a  ready to be added",
                  "2  Galaxy  Fixture               There is no /nowhere/b.",
                  "2: Connect the phone and switch it on; \"vornix devices find\" shows the ports that there are."}));
    qputenv("VXFoundDevices", R"([{"name": "Pixel", "identifier": "a1"}, {"name": "Pixel", "identifier": "b2"}])");
    const QByteArray alike = devices({u"find"_s}).output;
    EXPECT_TRUE(alike.contains("1  Pixel (a1)") && alike.contains("2  Pixel (b2)")) << alike.toStdString();
    qputenv("VXFoundDevices", found);
    devices({u"find"_s});
    qputenv("VXFoundDevices", "[]"); // what a number means was shown, whatever there is by now
    EXPECT_EQ(outcomeOf({u"add"_s, u"3"_s}), "1 vornix: \"vornix devices find\" has shown the numbers 1 to 2");
    EXPECT_EQ(outcomeOf({u"add"_s, u"1"_s, u"mine"_s, u"name=My phone"_s}),
              "0 Added vxdevice://localhost/org.phones/mine.\n\"vornix devices info mine\" tells whether it can be "
              "reached.\n");
    EXPECT_EQ(outcomeOf({u"add"_s, u"2"_s, u"port=null"_s}).substr(0, 46),
              "0 Added vxdevice://localhost/org.phones/galaxy");
    const QJsonObject kept = defaults();
    EXPECT_EQ(kept[u"org.phones.mine.port"_s], "/dev/a"_L1);
    EXPECT_EQ(kept[u"org.phones.mine.name"_s], "My phone"_L1);
    EXPECT_FALSE(kept.contains(u"org.phones.galaxy.port"_s));

    qputenv("VXFoundDevices", found);
    const QJsonObject json = VXJSONFromText(runHost({u"--json"_s, u"devices"_s, u"find"_s}).output)->toObject();
    qunsetenv("VXFoundDevices");
    EXPECT_EQ(json[u"devices"_s][0][u"addedAs"_s], "vxdevice://localhost/org.phones/mine"_L1);
    EXPECT_TRUE(json[u"devices"_s][1][u"addedAs"_s].isNull());
    EXPECT_EQ(json[u"devices"_s][1][u"problem"_s], "There is no /nowhere/b."_L1);
}

TEST_F(HostDevicesTest, RemovingWhatTakesPreferencesOfOthersNeedsAYes)
{
    devices({u"add"_s, u"org.phones"_s, u"one"_s, u"name=Mine"_s});
    devices({u"add"_s, u"org.phones"_s, u"one2"_s, u"name=Other"_s});
    const QJsonObject before = defaults();
    EXPECT_THAT(outcomeOf({u"remove"_s, url}),
                testing::StartsWith("1 vornix: removing " + url.toStdString() + " also takes the preferences of " +
                                    url.toStdString() + "2, "));
    EXPECT_EQ(defaults(), before);
    EXPECT_EQ(outcomeOf({u"remove"_s, url, u"--yes"_s}), "0 Removed " + url.toStdString() + ".\n");
    EXPECT_FALSE(defaults().contains(u"org.phones.one2.name"_s));
    EXPECT_EQ(outcomeOf({u"remove"_s, url + u"2"_s}), "0 Removed " + url.toStdString() + "2.\n");
}

TEST_F(HostDevicesTest, ManyProcessesAtOnceLoseNothingOfEachOther)
{
    const QString shared = path(u".local/share/Vornix 2/PlugIns"_s);
    for (int number = 1; number <= 5; ++number)
        VXPluginFixture{.identifier = u"org.many%1"_s.arg(number)}.write(shared);
    const HostOutcome outcome = runHostShell(uR"(
        for i in 1 2 3 4 5 6; do "$0" devices add org.phones $i & done
        for i in 1 2 3 4 5; do "$0" plugins enable org.many$i & done
        for job in $(jobs -p); do wait $job || exit 1; done)"_s);
    EXPECT_EQ(outcome.status, 0) << outcome.errors.toStdString();
    EXPECT_EQ(defaults()[u"devices21"_s].toArray().size(), 6);
    EXPECT_EQ(defaults()[u"plugins"_s].toArray().size(), 2 + 5);
}

TEST_F(HostDevicesTest, TellsAllAboutADevice)
{
    devices({u"add"_s, u"org.phones"_s, u"one"_s, u"name=Mine"_s, u"speed=9600"_s});
    writeDefault(u"persistent.org.phones.one.paired"_s, "true");
    EXPECT_EQ(devices({u"info"_s, url}).output, QByteArray("Name        Mine\n"
                                                           "URL         vxdevice://localhost/org.phones/one\n"
                                                           "Plugin      org.phones\n"
                                                           "State       not connected\n"
                                                           "Default     yes\n"
                                                           "Number      +15550100\n"
                                                           "Battery     80\n"
                                                           "Property    model = 3310\n"
                                                           "Preference  name = Mine\n"
                                                           "Preference  speed = 9600\n"
                                                           "Persistent  paired = true\n"));
    const QJsonObject json = VXJSONFromText(devices({u"info"_s, url, u"--json"_s}).output)->toObject();
    EXPECT_EQ(json[u"preferences"_s], (QJsonObject{{u"name"_s, u"Mine"_s}, {u"speed"_s, 9600}}));
    EXPECT_EQ(json[u"live"_s], true);
    devices({u"add"_s, u"org.phones"_s, u"two"_s, u"slow=true"_s});
    EXPECT_THAT(outcomeOf({}), testing::HasSubstr("Fixture  not connected  yes"));
    EXPECT_THAT(outcomeOf({u"info"_s, u"vxdevice://localhost/org.phones/two"_s}),
                testing::HasSubstr("\nSignal      3\n"));
    writeFile(u".local/share/Vornix 2/PlugIns/org.phones.vxplugin/Contents/Resources/actions.plist"_s,
              "<plist version=\"1.0\"><dict><key>echo</key><dict><key>object</key><string>anything</string>"
              "<key>meaning</key><string>Gives it back</string></dict></dict></plist>");
    EXPECT_EQ(outcomeOf({u"actions"_s, url}),
              "0 ACTION   OBJECT    WHAT IT DOES\ncount\necho     anything  Gives it back\n"
              "fail\nhang_up\nthrow\nwait\n");
}

TEST_F(HostDevicesTest, MistakesChangeNothing)
{
    devices({u"add"_s, u"org.phones"_s, u"one"_s, u"name=Mine"_s});
    const QJsonObject before = defaults();
    const std::pair<QStringList, std::string> cases[] = {
        {{u"add"_s, u"org.gone"_s, u"d"_s}, "1 vornix: there is no plugin \"org.gone\"; "},
        {{u"add"_s, u"org.reactor"_s, u"d"_s}, "1 vornix: Fixture (org.reactor) is not a plugin of devices"},
        {{u"add"_s, u"org.phones"_s, u"refused"_s, u"a=1"_s},
         "1 vornix: No device vxdevice://localhost/org.phones/refused could be made. The log may"},
        {{u"add"_s, u"org.phones"_s, u"one"_s, u"a=1"_s},
         "1 vornix: there is a device one already; \"vornix devices set one KEY=VALUE\""},
        {{u"add"_s, u"org.phones"_s, u"two"_s, u"a=1"_s, u"b"_s}, "2 vornix: \"b\" is not KEY=VALUE"},
        {{u"add"_s, u"org.phones"_s}, "2 vornix: add needs PLUGIN-ID and DEVICE-ID, or a number that \"find\" showed"},
        {{u"remove"_s, u"vxdevice://localhost/org.phones/two"_s}, "1 vornix: there is no device \"vxdevice://"},
        {{u"info"_s, u"no url"_s}, "1 vornix: there is no device \"no url\""},
        {{u"info"_s, u""_s}, "2 vornix: info needs DEVICE"},
        {{u"list"_s, url}, "2 vornix: list takes nothing more"},
        {{u"actions"_s, url, url}, "2 vornix: actions takes no \"vxdevice:"},
        {{u"default"_s, url}, "2 vornix: default needs --key to keep DEVICE under"},
        {{u"info"_s, url, u"--timeout"_s, u"1"_s}, "2 vornix: --timeout does not go with info"},
        {{u"do"_s, url, u"echo"_s, u"--timeout"_s, u"-1"_s}, "2 vornix: --timeout takes a number of seconds"},
        {{u"do"_s, url, u"echo"_s, u"--object"_s, u"{"_s}, "2 vornix: the object is no JSON: "},
        {{u"do"_s, url, u"fly"_s}, "1 vornix: there is no action \"fly\""},
        {{u"do"_s, url, u"fail"_s, u"--object"_s, u"\"no paper\""_s}, "1 vornix: no paper"},
        {{u"do"_s, url, u"throw"_s, u"--object"_s, u"\"no ink\""_s}, "1 vornix: Unable to execute throw on Mine. no i"},
        {{u"do"_s, url, u"throw"_s, u"--object"_s, u"7"_s}, "1 vornix: Unable to execute throw on Mine. a value of ty"},
        {{u"do"_s, url, u"fail"_s, u"--object"_s, u"\"\\u001b[2J\""_s}, "1 vornix: ^[[2J"},
    };
    for (const auto &[arguments, outcome] : cases)
        EXPECT_THAT(outcomeOf(arguments), testing::StartsWith(outcome)) << arguments.join(u' ').toStdString();
    EXPECT_EQ(defaults(), before);
}

TEST_F(HostDevicesTest, PreferencesAreThoseOfThePlugin)
{
    VXPluginFixture{.identifier = u"org.strict"_s,
                    .kind = u"VXDevicePlugin"_s,
                    .info = {{u"NSPrincipalClass"_s, u"DeviceFixture"_s},
                             {u"VXDevicePreferences"_s, QStringList{u"name"_s, u"connection"_s}}},
                    .code = u"DeviceFixture.so"_s}
        .write(path(u".local/share/Vornix 2/PlugIns"_s));
    writeDefault(u"plugins"_s, R"(["org.strict"])");
    const std::string wrong =
        "1 vornix: devices of org.strict have no preference \"conection\"; did you mean \"connection\"?";
    const std::pair<QStringList, std::string> cases[] = {
        {{u"add"_s, u"strict"_s, u"s"_s, u"conection=none"_s}, wrong},
        {{u"add"_s, u"strict"_s, u"s"_s, u"connection=none"_s}, "0 Added "},
        {{u"set"_s, u"s"_s, u"conection=none"_s}, wrong},
        {{u"set"_s, u"s"_s, u"conection=null"_s}, "0 Name"}, // what is there by a slip can go
        {{u"rename"_s, u"s"_s, u"My phone"_s}, "0 Renamed Fixture to My phone.\n"},
        {{u"rename"_s, u"my phone"_s}, "2 vornix: rename needs DEVICE NAME"},
        {{u"actions"_s, u"my phone"_s}, "0 "},
    };
    for (const auto &[arguments, outcome] : cases)
        EXPECT_THAT(outcomeOf(arguments), testing::StartsWith(outcome)) << arguments.join(u' ').toStdString();
    const HostOutcome synced = runHost({u"--json"_s, u"sync"_s, u"My Phone"_s, u"--calls"_s}); // it has none
    EXPECT_EQ(synced.status, 1);
    EXPECT_TRUE(VXJSONFromText(synced.output)->toObject().contains(u"error"_s)) << synced.output.toStdString();
}

TEST_F(HostDevicesTest, TakesShortNamesAndGuessesWhatWasMeant)
{
    EXPECT_EQ(outcomeOf({u"add"_s, u"phones"_s, u"one"_s, u"name=Mine"_s}),
              "0 Added " + url.toStdString() + ".\n\"vornix devices info one\" tells whether it can be reached.\n");
    devices({u"add"_s, u"org.phones"_s, u"two"_s, u"name=Same"_s});
    devices({u"add"_s, u"org.phones"_s, u"three"_s, u"name=Same"_s});
    const std::pair<QStringList, std::string> cases[] = {
        {{u"add"_s, u"phone"_s, u"d"_s}, "1 vornix: there is no plugin \"phone\"; did you mean \"phones\"?; "},
        {{u"do"_s, u"one"_s, u"count"_s}, "0 3"},
        {{u"do"_s, u"mine"_s, u"count"_s}, "0 3"},
        {{u"info"_s, u"min"_s}, "1 vornix: there is no device \"min\"; did you mean \"Mine\"?"},
        {{u"info"_s, u"same"_s}, "1 vornix: \"same\" is the name of 2 devices"},
    };
    for (const auto &[arguments, outcome] : cases)
        EXPECT_THAT(outcomeOf(arguments), testing::StartsWith(outcome)) << arguments.join(u' ').toStdString();
    EXPECT_THAT(devices({u"do"_s, u"one"_s, u"coutn"_s}).errors.toStdString(),
                testing::HasSubstr("there is no action \"coutn\"; did you mean \"count\"?"));
    const QString file = writeFile(u"object"_s, "\"from a file\"");
    EXPECT_EQ(outcomeOf({u"do"_s, u"one"_s, u"echo"_s, u"--object"_s, u'@' + file}), "0 from a file\n");
    EXPECT_EQ(runHost({u"devices"_s, u"do"_s, u"one"_s, u"echo"_s, u"--object"_s, u"-"_s}, "\"from input\"").output,
              QByteArray("from input\n"));
    EXPECT_THAT(outcomeOf({u"do"_s, u"one"_s, u"echo"_s, u"--object"_s, u"@/nowhere"_s}),
                testing::HasSubstr("No such file"));

    EXPECT_EQ(devices({u"set"_s, u"two"_s, u"name=Other"_s, u"speed=7"_s}).status, 0);
    EXPECT_EQ(defaults()[u"org.phones.two.name"_s], u"Other"_s);
    EXPECT_EQ(defaults()[u"org.phones.two.speed"_s], 7);
    EXPECT_EQ(devices({u"set"_s, u"two"_s, u"speed=null"_s}).status, 0);
    EXPECT_FALSE(defaults().contains(u"org.phones.two.speed"_s));
    EXPECT_EQ(devices({u"set"_s, u"two"_s, u"name"_s}).status, 2);
}

TEST_F(HostDevicesTest, DoesActionsAndShowsHowFarTheyAre)
{
    devices({u"add"_s, u"org.phones"_s, u"one"_s});
    EXPECT_EQ(outcomeOf({u"do"_s, url, u"echo"_s, u"--object"_s, u"\"Hi\""_s}), "0 Hi\n");
    EXPECT_EQ(outcomeOf({u"do"_s, url, u"echo"_s, u"--object"_s, u"\"\\u001b[2J\""_s}), "0 ^[[2J\n"); // not obeyed
    EXPECT_EQ(outcomeOf({u"do"_s, url, u"echo"_s}), "0 ");
    EXPECT_EQ(outcomeOf({u"do"_s, url, u"count"_s}), "0 3\n");
    EXPECT_FALSE(runHost({u"log"_s}).output.contains("still held by")) << "the registry keeps devices on purpose";
    EXPECT_EQ(
        outcomeOf(
            {u"do"_s, url, u"echo"_s, u"--object"_s,
             u"{\"items\":[{\"name\":\"Ann\",\"numbers\":[{\"number\":\"1\",\"type\":\"fax\"},{\"number\":\"2\"}]},"
             "{\"name\":\"Bob\",\"dates\":[]}],\"problems\":[\"SM 2\", \"SM 3\"],\"isComplete\":false}"_s}),
        "0 items\n"
        "  name     Ann\n"
        "  numbers  number 1, type fax\n"
        "           number 2\n"
        "\n"
        "  dates  -\n"
        "  name   Bob\n"
        "\n"
        "isComplete  false\n"
        "problems    SM 2, SM 3\n");
    const QJsonObject echoed =
        VXJSONFromText(devices({u"do"_s, url, u"echo"_s, u"--object"_s, u"{\"a\":[1,null]}"_s, u"--json"_s}).output)
            ->toObject();
    EXPECT_EQ(echoed[u"result"_s], (QJsonObject{{u"a"_s, QJsonArray{1, QJsonValue()}}}));

    const QList<QByteArray> lines = devices({u"do"_s, url, u"count"_s, u"--json-lines"_s}).output.trimmed().split('\n');
    EXPECT_EQ(lines.last(), QByteArray("{\"result\":3}"));
    EXPECT_EQ((*VXJSONFromText(lines.first()))[u"progress"_s][u"title"_s], u"[Fixture] count"_s);
}

TEST_F(HostDevicesTest, RunningMakesTheKnownDevices)
{
    devices({u"add"_s, u"org.phones"_s, u"one"_s, u"name=Mine"_s});
    QProcess process;
    process.start(hostProgram(), {u"run"_s});
    QByteArray errors;
    EXPECT_TRUE(VXRunUntil([&] { return (errors += process.readAllStandardError()).contains("interrupt to end"); }));
    const HostOutcome second = runHost({u"run"_s});
    EXPECT_EQ(second.status, 1);
    EXPECT_TRUE(second.errors.contains("serves this home already")) << second.errors.toStdString();
    ::kill(static_cast<pid_t>(process.processId()), SIGTERM);
    ASSERT_TRUE(process.waitForFinished());
    EXPECT_TRUE(errors.contains("listening to Mine, " + url.toUtf8())) << errors.toStdString();
}

TEST_F(HostDevicesTest, AnActionThatTakesTooLongIsCancelled)
{
    devices({u"add"_s, u"org.phones"_s, u"one"_s});
    const HostOutcome late = devices({u"do"_s, url, u"wait"_s, u"--timeout"_s, u"0.01"_s});
    EXPECT_EQ(late.status, 1);
    EXPECT_TRUE(late.errors.endsWith("the time is over; cancelling\nvornix: wait was cancelled\n"))
        << late.errors.toStdString();
    EXPECT_EQ(late.output, QByteArray("1\n")) << "what was done is shown";

    QProcess process;
    process.start(hostProgram(), {u"devices"_s, u"do"_s, url, u"wait"_s, u"--json-lines"_s});
    QByteArray output;
    EXPECT_TRUE(VXRunUntil([&] { return (output += process.readAllStandardOutput()).contains("\"value\":1"); }));
    ::kill(static_cast<pid_t>(process.processId()), SIGINT);
    ASSERT_TRUE(process.waitForFinished());
    EXPECT_EQ(process.exitCode(), 1);
    EXPECT_EQ((output + process.readAllStandardOutput()).trimmed().split('\n').last(),
              QByteArray("{\"error\":\"wait was cancelled\",\"result\":1}"));
}
