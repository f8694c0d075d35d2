#include "HostDeviceFixture.h"
#include "HostProgram.h"
#include "VXHostJSON.h"
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
        hostDeviceFixture(u"org.phones"_s).write(shared);
        VXPluginFixture{.identifier = u"org.reactor"_s}.write(shared);
        writeDefault(u"plugins"_s, R"(["org.phones", "org.reactor"])");
    }

    static void writeDefault(const QString &key, const QByteArray &json)
    {
        EXPECT_EQ(runHost({"defaults", "write", "com.halvern.VNX2", key, QString::fromUtf8(json)}).status, 0);
    }
    static QJsonObject defaults()
    {
        const auto read = runHost("defaults read com.halvern.VNX2");
        return read.json().toObject();
    }
    static HostOutcome devices(const VXWords &arguments) { return runHost(VXWords{"devices"} + arguments); }
    /** "STATUS OUTPUT", or the first line of the errors. */
    static std::string outcomeOf(const VXWords &arguments)
    {
        const HostOutcome outcome = devices(arguments);
        const HostText line = outcome.errors.left(outcome.errors.indexOf('\n'));
        return std::to_string(outcome.status) + ' ' + std::string(outcome.status == 0 ? outcome.output : line);
    }

    const QString url = u"vxdevice://localhost/org.phones/one"_s;
};

TEST_F(HostDevicesTest, AddsListsAndRemoves)
{
    EXPECT_EQ(outcomeOf({}), "0 There are no devices.\n");
    EXPECT_EQ(outcomeOf("default"), "0 There is no default device.\n");
    EXPECT_EQ(
        outcomeOf("add org.phones one 'name=My phone' connected=true"),
        "0 Added vxdevice://localhost/org.phones/one.\n\"vornix devices info one\" tells whether it can be reached.\n");
    EXPECT_EQ(outcomeOf("add org.phones '/dev/tty 1'"),
              "0 Added vxdevice://localhost/org.phones/%2Fdev%2Ftty%201.\n"
              "\"vornix devices info /dev/tty 1\" tells whether it can be reached.\n");
    writeDefault(u"devices21"_s, R"([7, "vxdevice://localhost/org.phones/one", "no url",
                                     "vxdevice://localhost/org.gone/x", "vxdevice://localhost/org.phones/refused"])");
    EXPECT_EQ(devices("list").output,
              "NAME      STATE                  DEFAULT  URL\n"
              "My phone  connected              -        vxdevice://localhost/org.phones/one\n"
              "x         plugin missing         -        vxdevice://localhost/org.gone/x\n"
              "refused   refused by its plugin  yes      vxdevice://localhost/org.phones/refused\n");
    qputenv("COLUMNS", "40"); // the least useful columns go, and are named
    const HostOutcome narrow = devices("list");
    qunsetenv("COLUMNS");
    EXPECT_TRUE(narrow.output.startsWith("NAME      STATE\nMy phone  connected\n")) << narrow.output;
    EXPECT_EQ(narrow.errors, "Left out for lack of room: DEFAULT, URL. --json has everything.\n");
    EXPECT_EQ(outcomeOf({"default", url + u"/messages/7"_s, "--key", "calls"}), "0 " + url.toStdString() + '\n');
    EXPECT_EQ(outcomeOf("default --key calls"), "0 " + url.toStdString() + '\n');
    EXPECT_EQ(outcomeOf({"remove", url}), "0 Removed vxdevice://localhost/org.phones/one.\n");
    const QJsonObject left = defaults();
    EXPECT_EQ(left[u"devices21"_s].toArray().size(), 4) << "entries that make no sense are kept";
    EXPECT_FALSE(left.contains(u"org.phones.one.name"_s));
}

TEST_F(HostDevicesTest, FindsPhonesAndAddsThemByNumber)
{
    const QByteArray found = R"([
        {"name": "Pixel", "identifier": "pixel", "place": "USB, /dev/a", "preferences": {"port": "/dev/a", "name": "Pixel"}},
        {"name": "Galaxy", "identifier": "galaxy", "ports": ["/nowhere/b"], "preferences": {"port": "/nowhere/b"}}])";
    EXPECT_EQ(outcomeOf("add 1"), "1 vornix: \"vornix devices find\" has found nothing yet");
    EXPECT_EQ(outcomeOf("find").substr(0, 24), "0 No phones were found.\n");
    qputenv("VXFoundDevices", found);
    EXPECT_EQ(outcomeOf("add 2"), "1 vornix: \"vornix devices find\" has found nothing yet");
    EXPECT_EQ(devices("find").output.split('\n').first(4),
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
    EXPECT_EQ(outcomeOf("add 3"), "1 vornix: \"vornix devices find\" has shown the numbers 1 to 2");
    EXPECT_EQ(outcomeOf("add 1 mine 'name=My phone'"),
              "0 Added vxdevice://localhost/org.phones/mine.\n\"vornix devices info mine\" tells whether it can be "
              "reached.\n");
    EXPECT_EQ(outcomeOf("add 2 port=null").substr(0, 46), "0 Added vxdevice://localhost/org.phones/galaxy");
    const QJsonObject kept = defaults();
    EXPECT_EQ(kept[u"org.phones.mine.port"_s], "/dev/a"_L1);
    EXPECT_EQ(kept[u"org.phones.mine.name"_s], "My phone"_L1);
    EXPECT_FALSE(kept.contains(u"org.phones.galaxy.port"_s));

    qputenv("VXFoundDevices", found);
    const QJsonObject json = runHost("--json devices find").json().toObject();
    qunsetenv("VXFoundDevices");
    EXPECT_EQ(json[u"devices"_s][0][u"addedAs"_s], "vxdevice://localhost/org.phones/mine"_L1);
    EXPECT_TRUE(json[u"devices"_s][1][u"addedAs"_s].isNull());
    EXPECT_EQ(json[u"devices"_s][1][u"problem"_s], "There is no /nowhere/b."_L1);
}

TEST_F(HostDevicesTest, RemovingWhatTakesPreferencesOfOthersNeedsAYes)
{
    devices("add org.phones one name=Mine");
    devices("add org.phones one2 name=Other");
    const QJsonObject before = defaults();
    EXPECT_THAT(outcomeOf({"remove", url}),
                testing::StartsWith("1 vornix: removing " + url.toStdString() + " also takes the preferences of " +
                                    url.toStdString() + "2, "));
    EXPECT_EQ(defaults(), before);
    EXPECT_EQ(outcomeOf({"remove", url, "--yes"}), "0 Removed " + url.toStdString() + ".\n");
    EXPECT_FALSE(defaults().contains(u"org.phones.one2.name"_s));
    EXPECT_EQ(outcomeOf({"remove", url + u"2"_s}), "0 Removed " + url.toStdString() + "2.\n");
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
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(defaults()[u"devices21"_s].toArray().size(), 6);
    EXPECT_EQ(defaults()[u"plugins"_s].toArray().size(), 2 + 5);
}

TEST_F(HostDevicesTest, TellsAllAboutADevice)
{
    devices("add org.phones one name=Mine speed=9600");
    writeDefault(u"persistent.org.phones.one.paired"_s, "true");
    EXPECT_EQ(devices({"info", url}).output, "Name        Mine\n"
                                             "URL         vxdevice://localhost/org.phones/one\n"
                                             "Plugin      org.phones\n"
                                             "State       not connected\n"
                                             "Default     yes\n"
                                             "Number      +15550100\n"
                                             "Battery     80\n"
                                             "Property    model = 3310\n"
                                             "Preference  name = Mine\n"
                                             "Preference  speed = 9600\n"
                                             "Persistent  paired = true\n");
    const QJsonObject json = devices({"info", url, "--json"}).json().toObject();
    EXPECT_EQ(json[u"preferences"_s], (QJsonObject{{u"name"_s, u"Mine"_s}, {u"speed"_s, 9600}}));
    EXPECT_EQ(json[u"live"_s], true);
    devices("add org.phones two slow=true");
    EXPECT_THAT(outcomeOf({}), testing::HasSubstr("Fixture  not connected  yes"));
    EXPECT_THAT(outcomeOf("info vxdevice://localhost/org.phones/two"), testing::HasSubstr("\nSignal      3\n"));
    writeFile(u".local/share/Vornix 2/PlugIns/org.phones.vxplugin/Contents/Resources/actions.plist"_s,
              "<plist version=\"1.0\"><dict><key>echo</key><dict><key>object</key><string>anything</string>"
              "<key>meaning</key><string>Gives it back</string></dict></dict></plist>");
    EXPECT_EQ(outcomeOf({"actions", url}),
              "0 ACTION   OBJECT    WHAT IT DOES\ncount\necho     anything  Gives it back\n"
              "fail\nhang_up\nthrow\nwait\n");
}

TEST_F(HostDevicesTest, MistakesChangeNothing)
{
    devices("add org.phones one name=Mine");
    const QJsonObject before = defaults();
    const std::pair<VXWords, std::string> cases[] = {
        {"add org.gone d", "1 vornix: there is no plugin \"org.gone\"; "},
        {"add org.reactor d", "1 vornix: Fixture (org.reactor) is not a plugin of devices"},
        {"add org.phones refused a=1",
         "1 vornix: No device vxdevice://localhost/org.phones/refused could be made. The log may"},
        {"add org.phones one a=1", "1 vornix: there is a device one already; \"vornix devices set one KEY=VALUE\""},
        {"add org.phones two a=1 b", "2 vornix: \"b\" is not KEY=VALUE"},
        {"add org.phones", "2 vornix: add needs PLUGIN-ID and DEVICE-ID, or a number that \"find\" showed"},
        {"remove vxdevice://localhost/org.phones/two", "1 vornix: there is no device \"vxdevice://"},
        {"info 'no url'", "1 vornix: there is no device \"no url\""},
        {{"actions", url, url}, "2 vornix: actions takes no \"vxdevice:"},
        {{"default", url}, "2 vornix: default needs --key to keep DEVICE under"},
        {{"do", url, "echo", "--timeout", "-1"}, "2 vornix: --timeout: \"-1\" is no number of seconds"},
        {{"do", url, "echo", "--object", "{"}, "2 vornix: the object is no JSON: "},
        {{"do", url, "fly"}, "1 vornix: there is no action \"fly\""},
        {{"do", url, "fail", "--object", "\"no paper\""}, "1 vornix: no paper"},
        {{"do", url, "throw", "--object", "\"no ink\""}, "1 vornix: Unable to execute throw on Mine. no i"},
        {{"do", url, "throw", "--object", "7"}, "1 vornix: Unable to execute throw on Mine. a value of ty"},
        {{"do", url, "fail", "--object", "\"\\u001b[2J\""}, "1 vornix: ^[[2J"},
    };
    for (const auto &[arguments, outcome] : cases)
        EXPECT_THAT(outcomeOf(arguments), testing::StartsWith(outcome)) << arguments.join(u' ').toStdString();
    EXPECT_EQ(defaults(), before);
}

TEST_F(HostDevicesTest, PreferencesAreThoseOfThePlugin)
{
    hostDeviceFixture(u"org.strict"_s, {{u"VXDevicePreferences"_s, QStringList{u"name"_s, u"connection"_s}}})
        .write(path(u".local/share/Vornix 2/PlugIns"_s));
    writeDefault(u"plugins"_s, R"(["org.strict"])");
    const std::string wrong =
        "1 vornix: devices of org.strict have no preference \"conection\"; did you mean \"connection\"?";
    const std::pair<VXWords, std::string> cases[] = {
        {"add strict s conection=none", wrong},
        {"add strict s connection=none", "0 Added "},
        {"set s conection=none", wrong},
        {"set s conection=null", "0 Name"}, // what is there by a slip can go
        {"rename s 'My phone'", "0 Renamed Fixture to My phone.\n"},
        {"actions 'my phone'", "0 "},
    };
    for (const auto &[arguments, outcome] : cases)
        EXPECT_THAT(outcomeOf(arguments), testing::StartsWith(outcome)) << arguments.join(u' ').toStdString();
    const HostOutcome synced = runHost("--json sync 'My Phone' --calls"); // it has none
    EXPECT_EQ(synced.status, 1);
    EXPECT_TRUE(synced.json().toObject().contains(u"error"_s)) << synced.output;
}

TEST_F(HostDevicesTest, TakesShortNamesAndGuessesWhatWasMeant)
{
    EXPECT_EQ(outcomeOf("add phones one name=Mine"),
              "0 Added " + url.toStdString() + ".\n\"vornix devices info one\" tells whether it can be reached.\n");
    devices("add org.phones two name=Same");
    devices("add org.phones three name=Same");
    const std::pair<VXWords, std::string> cases[] = {
        {"add phone d", "1 vornix: there is no plugin \"phone\"; did you mean \"phones\"?; "},
        {"do one count", "0 3"},
        {"do mine count", "0 3"},
        {"info min", "1 vornix: there is no device \"min\"; did you mean \"Mine\"?"},
        {"info same", "1 vornix: \"same\" is the name of 2 devices"},
    };
    for (const auto &[arguments, outcome] : cases)
        EXPECT_THAT(outcomeOf(arguments), testing::StartsWith(outcome)) << arguments.join(u' ').toStdString();
    EXPECT_THAT(devices("do one coutn").errors,
                testing::HasSubstr("there is no action \"coutn\"; did you mean \"count\"?"));
    const QString file = writeFile(u"object"_s, "\"from a file\"");
    EXPECT_EQ(outcomeOf({"do", "one", "echo", "--object", u'@' + file}), "0 from a file\n");
    EXPECT_EQ(runHost("devices do one echo --object -", "\"from input\"").output, "from input\n");
    EXPECT_THAT(outcomeOf("do one echo --object @/nowhere"), testing::HasSubstr("No such file"));

    EXPECT_EQ(devices("set two name=Other speed=7").status, 0);
    EXPECT_EQ(defaults()[u"org.phones.two.name"_s], u"Other"_s);
    EXPECT_EQ(defaults()[u"org.phones.two.speed"_s], 7);
    EXPECT_EQ(devices("set two speed=null").status, 0);
    EXPECT_FALSE(defaults().contains(u"org.phones.two.speed"_s));
    EXPECT_EQ(devices("set two name").status, 2);
}

TEST_F(HostDevicesTest, DoesActionsAndShowsHowFarTheyAre)
{
    devices("add org.phones one");
    EXPECT_EQ(outcomeOf({"do", url, "echo", "--object", "\"Hi\""}), "0 Hi\n");
    EXPECT_EQ(outcomeOf({"do", url, "echo", "--object", "\"\\u001b[2J\""}), "0 ^[[2J\n"); // not obeyed
    EXPECT_EQ(outcomeOf({"do", url, "echo"}), "0 ");
    EXPECT_EQ(outcomeOf({"do", url, "count"}), "0 3\n");
    EXPECT_FALSE(runHost("log").output.contains("still held by")) << "the registry keeps devices on purpose";
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
    const QJsonObject echoed = devices({"do", url, "echo", "--object", "{\"a\":[1,null]}", "--json"}).json().toObject();
    EXPECT_EQ(echoed[u"result"_s], (QJsonObject{{u"a"_s, QJsonArray{1, QJsonValue()}}}));

    const QList<QByteArray> lines = devices({"do", url, "count", "--json-lines"}).output.trimmed().split('\n');
    EXPECT_EQ(lines.last(), QByteArray("{\"result\":3}"));
    EXPECT_EQ((*VXJSONFromText(lines.first()))[u"progress"_s][u"title"_s], u"[Fixture] count"_s);
}

TEST_F(HostDevicesTest, RunningMakesTheKnownDevices)
{
    devices("add org.phones one name=Mine");
    QProcess process;
    process.start(hostProgram(), {u"run"_s});
    QByteArray errors;
    EXPECT_TRUE(VXRunUntil([&] { return (errors += process.readAllStandardError()).contains("interrupt to end"); }));
    const HostOutcome second = runHost("run");
    EXPECT_EQ(second.status, 1);
    EXPECT_TRUE(second.errors.contains("serves this home already")) << second.errors;
    ::kill(static_cast<pid_t>(process.processId()), SIGTERM);
    ASSERT_TRUE(process.waitForFinished());
    EXPECT_TRUE(errors.contains("listening to Mine, " + url.toUtf8())) << errors.toStdString();
}

TEST_F(HostDevicesTest, AnActionThatTakesTooLongIsCancelled)
{
    devices("add org.phones one");
    const HostOutcome late = devices({"do", url, "wait", "--timeout", "0.01"});
    EXPECT_EQ(late.status, 1);
    EXPECT_TRUE(late.errors.endsWith("the time is up; cancelling\nvornix: wait was cancelled\n")) << late.errors;
    EXPECT_EQ(late.output, "1\n") << "what was done is shown";

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
