#include "HostProgram.h"
#include "VXHostJSON.h"
#include "VXPluginFixtures.h"
#include "VXTesting.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QProcess>

#include <csignal>

using namespace Qt::StringLiterals;

class HostPluginsTest : public VXHomeTest
{
protected:
    const HostWithoutPlugins bare;
    const QString shared = path(u".local/share/Vornix 2/PlugIns"_s);

    /** A window plugin for "callto" that needs a phonebook plugin, which has a part. */
    void writePlugins() const
    {
        const QString calls = VXPluginFixture{
            .identifier = u"org.calls"_s,
            .name = u"Calls"_s,
            .kind = u"VXPhonebookPlugin"_s,
            .info = {{u"CFBundleShortVersionString"_s,
                      u"1.4"_s}}}.write(shared);
        VXPluginFixture{.identifier = u"org.part"_s}.write(calls + u"/Contents/PlugIns"_s);
        VXPluginFixture{.identifier = u"org.window"_s,
                        .name = u"Dialler"_s,
                        .kind = u"VXInterfacePlugin"_s,
                        .dependencies = {u"org.calls"_s},
                        .info = {{u"NSPrincipalClass"_s, u"WindowPlugin"_s}, {u"FixtureScheme"_s, u"callto"_s}},
                        .code = u"WindowPlugin.so"_s}
            .write(shared);
    }
    static void enable(const QByteArray &identifiers)
    {
        const QString value = QString::fromUtf8(identifiers);
        EXPECT_EQ(runHost({"defaults", "write", "com.halvern.VNX2", "plugins", value}).status, 0);
    }
    /** "STATUS OUTPUT", or the last line of the errors. */
    static std::string change(const VXWords &arguments)
    {
        const HostOutcome outcome = runHost(VXWords{"plugins"} + arguments);
        const QByteArray last = outcome.errors.mid(outcome.errors.lastIndexOf('\n', -2) + 1);
        return std::to_string(outcome.status) + ' ' + (outcome.status == 0 ? outcome.output : last).toStdString();
    }
    static QJsonArray openWindows()
    {
        const HostOutcome read = runHost("defaults read com.halvern.VNX2 open-windows");
        return read.status == 0 ? read.json().toArray() : QJsonArray();
    }
    /** The plugin as "plugins list" tells of it. */
    static QJsonObject listed(const QString &identifier, const VXWords &options = {})
    {
        const auto json = VXJSONFromText(runHost(VXWords{"plugins", "--json"} + options).output);
        for (const auto plugin : json->toArray()) {
            if (plugin[u"identifier"_s] == identifier)
                return plugin.toObject();
        }
        return {};
    }
    static std::string stateAndReason(const QString &identifier, const VXWords &options = {})
    {
        const QJsonObject plugin = listed(identifier, options);
        return (plugin[u"state"_s].toString() + u": "_s + plugin[u"reason"_s].toString()).toStdString();
    }
};

TEST_F(HostPluginsTest, ListsThemAlignedAndAsJSON)
{
    EXPECT_EQ(runHost("plugins").output, "There are no plugins.\n");
    EXPECT_EQ(runHost("plugins --json").output, "[]\n");
    writePlugins();
    VXPluginFixture{.identifier = u"org.broken"_s, .info = {{u"FixtureThrowsIn"_s, u"constructor"_s}}}.write(shared);
    VXPluginFixture{.identifier = u"org.off"_s, .name = u"Off\nline"_s}.write(shared);
    enable(R"(["org.window", "org.calls", "org.broken"])");

    const HostOutcome table = runHost("plugins list");
    EXPECT_EQ(table.output,
              "IDENTIFIER  NAME      VERSION     KIND       STATE\n"
              "org.broken  Fixture   2000        reactor    failed: Its constructor threw FixtureException: "
              "thrown as told\n"
              "org.calls   Calls     1.4 (2000)  phonebook  loaded\n"
              "  org.part  Fixture   2000        reactor    loaded\n"
              "org.off     Off line  2000        reactor    disabled\n"
              "org.window  Dialler   2000        interface  loaded\n");
    EXPECT_EQ(table.errors, "");
    EXPECT_EQ(table.status, 0);

    const QJsonObject calls{{u"identifier"_s, u"org.calls"_s},
                            {u"name"_s, u"Calls"_s},
                            {u"version"_s, u"2000"_s},
                            {u"shortVersion"_s, u"1.4"_s},
                            {u"kind"_s, u"VXPhonebookPlugin"_s},
                            {u"path"_s, shared + u"/org.calls.vxplugin"_s},
                            {u"parent"_s, QJsonValue()},
                            {u"children"_s, QJsonArray{u"org.part"_s}},
                            {u"dependencies"_s, QJsonArray()},
                            {u"dependants"_s, QJsonArray{u"org.window"_s}},
                            {u"installed"_s, true},
                            {u"enabled"_s, true},
                            {u"builtIn"_s, false},
                            {u"loaded"_s, true},
                            {u"state"_s, u"loaded"_s},
                            {u"reason"_s, QJsonValue()}};
    EXPECT_EQ(listed(u"org.calls"_s), calls);
    EXPECT_EQ(listed(u"org.part"_s)[u"parent"_s], u"org.calls"_s);
    EXPECT_EQ(listed(u"org.window"_s)[u"dependencies"_s], (QJsonArray{u"org.calls"_s}));
    EXPECT_EQ(stateAndReason(u"org.part"_s, {u"--safe-mode"_s}), "left out: Safe mode loads built-in plugins only.");
}

TEST_F(HostPluginsTest, InfoTellsWhyACopyWasChosen)
{
    const VXPluginFixture copy{.identifier = u"org.twice"_s};
    copy.write(path(u"development"_s));
    VXPluginFixture newer = copy;
    newer.version = u"2001"_s;
    const QString chosen = newer.write(shared);
    VXPluginFixture{.identifier = u"org.old"_s, .version = u"1944"_s}.write(shared);
    qputenv("VORNIX_PLUGIN_PATH", QFile::encodeName(path(u"development"_s)));

    const QByteArray text = runHost("plugins info org.twice").output;
    const QJsonObject json = runHost("plugins info org.twice --json").json().toObject();
    const HostOutcome old = runHost("plugins info org.old");
    qunsetenv("VORNIX_PLUGIN_PATH");

    EXPECT_TRUE(text.contains("\nPath         " + chosen.toUtf8() + "\n")) << text.toStdString();
    EXPECT_TRUE(text.contains("\nChosen       newest version\n")) << text.toStdString();
    EXPECT_TRUE(text.contains("\nPassed over  " + path(u"development/org.twice.vxplugin"_s).toUtf8() +
                              ", version 2000: older than "))
        << text.toStdString();
    EXPECT_EQ(json[u"choice"_s][u"chosen"_s][u"path"_s], chosen);
    EXPECT_EQ(json[u"choice"_s][u"passedOver"_s][0][u"version"_s], u"2000"_s);
    EXPECT_EQ(old.status, 1);
    EXPECT_TRUE(old.errors.endsWith("version 1944, is below version 1945\n")) << old.errors;
}

TEST_F(HostPluginsTest, WhatIsChangedLasts)
{
    writePlugins();
    const QString window = u"org.window"_s;
    const QString calls = u"org.calls"_s;
    // Each in the state that the ones before it left behind.
    const std::pair<VXWords, std::string> steps[] = {
        {{"enable", window, "--answer", "cancel"}, "1 vornix: Dialler (org.window) was not enabled: "},
        {{"enable", window, "--answer", "default"}, "0 Enabled Dialler (org.window).\n"},
        {{"enable", calls}, "0 Calls (org.calls) is enabled already.\n"},
        {"enable org.part", "1 vornix: Fixture (org.part) is part of org.calls and enabled with it\n"},
        {"disable org.part", "1 vornix: Fixture (org.part) is part of org.calls and disabled with it\n"},
        {{"disable", calls, "--answer", "cancel"},
         "1 vornix: Calls (org.calls) was not disabled: Dialler, which requires it, was not to be disabled\n"},
        {{"disable", calls, "--answer", "default"}, "0 Disabled Calls (org.calls), Dialler (org.window).\n"},
        {{"disable", calls}, "0 Calls (org.calls) is disabled already.\n"},
        {{"retry", calls}, "1 vornix: Calls (org.calls) is not enabled; \"vornix plugins enable org.calls\" "},
        {"info DIALLER", "0 Identifier "},
        {"info window", "0 Identifier "},
        {"info Fixtures", "1 vornix: there is no plugin"},
        {"enable org.none", "1 vornix: there is no plugin \"org.none\"; "},
    };
    for (const auto &[arguments, outcome] : steps)
        EXPECT_THAT(change(arguments), testing::StartsWith(outcome)) << arguments.join(u' ').toStdString();
}

TEST_F(HostPluginsTest, ShortNamesAreLastPartsBeforeNames)
{
    writePlugins(); // org.calls, called "Calls"
    VXPluginFixture{.identifier = u"org.calls.lookup"_s, .name = u"Calls"_s}.write(shared);
    EXPECT_THAT(change("info calls"), testing::StartsWith("0 Identifier  org.calls\n"));
    VXPluginFixture{.identifier = u"org.example.calls"_s, .name = u"Other"_s}.write(shared);
    EXPECT_THAT(change("info calls"),
                testing::StartsWith("1 vornix: \"calls\" may be org.calls or org.example.calls; give the whole"));
}

TEST_F(HostPluginsTest, InstallsNowOrAtTheNextStart)
{
    const VXPluginFixture plugin{.identifier = u"org.new"_s};
    EXPECT_EQ(runHost({"plugins", "install", plugin.write(path(u"a"_s))}).output,
              "Installed Fixture (org.new).\nEnable it with: vornix plugins enable org.new\n");
    VXPluginFixture newer = plugin;
    newer.version = u"2001"_s;
    EXPECT_EQ(runHost({"plugins", "install", newer.write(path(u"b"_s))}).output,
              "Fixture (org.new) will be installed at the next start.\n");
    EXPECT_EQ(listed(u"org.new"_s)[u"version"_s], u"2001"_s);

    const QString installed = shared + u"/org.new.vxplugin"_s;
    EXPECT_THAT(runHost({"plugins", "install", installed}).output, testing::HasSubstr("stays where it is"));
    const QString older = plugin.write(path(u"c"_s));
    const QString namesake = VXPluginFixture{.identifier = u"org.namesake"_s}.write(path(u"d"_s), u"org.new"_s);
    for (const auto &[bundle, question] :
         {std::pair(older, "Version 2001 of org.new"), std::pair(namesake, "Another plugin, org.new")}) {
        const HostOutcome refused = runHost({"plugins", "install", bundle, "--answer", "cancel"});
        EXPECT_THAT(refused.errors, testing::HasSubstr(question));
        EXPECT_EQ(refused.status, 1);
        EXPECT_TRUE(QFile::exists(bundle));
    }
    EXPECT_EQ(runHost({"plugins", "install", older, "--answer", "default"}).status, 0);
    EXPECT_EQ(listed(u"org.new"_s)[u"version"_s], u"2000"_s);

    const QString dependant =
        VXPluginFixture{.identifier = u"org.user"_s, .dependencies = {u"org.new"_s}}.write(shared);
    enable(R"(["org.new", "org.user"])");
    EXPECT_THAT(runHost("plugins remove org.new --answer default").output,
                testing::StartsWith("Removed Fixture (org.new); it lies in the trash: "));
    EXPECT_FALSE(QFile::exists(installed));
    EXPECT_TRUE(QFile::exists(dependant));
    EXPECT_EQ(stateAndReason(u"org.user"_s), "disabled: ");

    const HostOutcome missing = runHost({"plugins", "install", path(u"none.vxplugin"_s)});
    EXPECT_EQ(missing.status, 1);
    EXPECT_TRUE(missing.errors.contains("There is no such bundle.")) << missing.errors;
}

TEST_F(HostPluginsTest, CopiesOfOnePluginThatAreInstalledAtOnceLeaveOne)
{
    for (int number = 1; number <= 6; ++number)
        VXPluginFixture{.identifier = u"org.new"_s}.write(path(u"copy%1"_s.arg(number)));
    const HostOutcome outcome = runHostShell(uR"(
        for i in 1 2 3 4 5 6; do "$0" plugins install '%1'/copy$i/org.new.vxplugin --answer default & done
        for job in $(jobs -p); do wait $job || exit 1; done)"_s.arg(path({})));
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(QDir(shared).entryList(QDir::Dirs | QDir::NoDotAndDotDot), QStringList{u"org.new.vxplugin"_s});
}

TEST_F(HostPluginsTest, ChecksABundleAndInstallsNoneThatCannotBeUsed)
{
    const QVariantMap notes{{u"VXDataStoreName"_s, u"notes"_s}};
    VXPluginFixture{.identifier = u"org.notes"_s, .kind = u"VXDataPlugin"_s, .info = notes}.write(shared);
    const struct
    {
        VXPluginFixture fixture;
        std::string found;
    } rows[] = {
        {{.identifier = u"org.good"_s}, " is in order."},
        {{.identifier = u"org.kind"_s, .kind = u"VXExporterPlugin"_s},
         "error: org.kind.vxplugin: Class RecordingPlugin"},
        {{.identifier = u"org.symbol"_s, .code = u"UnresolvedSymbolCode"_s}, "symbolThatIsDefinedNowhere"},
        {{.identifier = u"org.store"_s,
          .kind = u"VXDataPlugin"_s,
          .info = {{u"VXDataStoreName"_s, u"calls"_s}},
          .code = u"StorePlugin.so"_s},
         "error: org.store.vxplugin: there is no model \"calls.mom\""},
        {{.identifier = u"org.other"_s, .info = notes}, "its store \"notes\" is that of the plugin org.notes"},
        {{.identifier = u"org.notes"_s}, "its identifier is that of a plugin of the kind VXDataPlugin"},
        {{.identifier = u"org.needs"_s, .dependencies = {u"org.notes"_s, u"org.none"_s}},
         "warning: org.needs.vxplugin: it needs the plugin org.none, which is not installed here"},
        {{.identifier = u"org.typing"_s, .info = {{u"VXPluginDependancies"_s, 1}}},
         "warning: org.typing.vxplugin: the key VXPluginDependancies means nothing"},
        {{.identifier = u"org.text"_s, .info = {{u"VXReactorDefaults"_s, u"none"_s}}},
         "warning: org.text.vxplugin: VXReactorDefaults is a string; it must be a dictionary"},
        {{.identifier = u"org.map"_s, .info = {{u"VXReactorEventNameList"_s, QVariantMap{{u"a"_s, 1}}}}},
         "warning: org.map.vxplugin: VXReactorEventNameList is a dictionary; it must be an array"},
        {{.identifier = u"org.one"_s, .info = {{u"VXReactorName"_s, 1}}},
         "warning: org.one.vxplugin: VXReactorName is a single value; it must be a string"},
        {{.identifier = u"not an id"_s}, "CFBundleIdentifier \"not an id\" is not of the form org.example.hello"},
    };
    for (const auto &[fixture, found] : rows) {
        const QString bundle = fixture.write(path(u"new"_s));
        const HostOutcome outcome = runHost({"plugins", "check", bundle});
        EXPECT_THAT(outcome.output, testing::HasSubstr(found));
        EXPECT_EQ(outcome.status, outcome.output.contains("error: ") ? 1 : 0);
        EXPECT_EQ(runHost({"plugins", "install", bundle}).status, outcome.status) << outcome.output;
        EXPECT_EQ(QFile::exists(bundle), outcome.status == 1);
    }
}

TEST_F(HostPluginsTest, APluginThatTwiceEndedTheProgramIsLeftOutUntilItIsRetried)
{
    const QVariantMap ends{{u"FixtureEndsIn"_s, u"constructor"_s}};
    const QString bundle = VXPluginFixture{.identifier = u"org.crash"_s, .info = ends}.write(shared);
    enable(R"(["org.crash"])");
    const QString listPlugins = u"\"$0\" plugins; exit $?"_s;
    for (int end = 0; end < 2; ++end) {
        const HostOutcome crashed = runHostShell(listPlugins);
        EXPECT_EQ(crashed.status, 128 + SIGABRT);
        EXPECT_THAT(crashed.errors, testing::HasSubstr("crashed while the plugin org.crash was loading"));
    }
    const std::string leftOut = "left out: The program ended 2 times in a row while this plugin was loading.";
    for (int start = 0; start < 3; ++start)
        EXPECT_EQ(stateAndReason(u"org.crash"_s), leftOut);
    EXPECT_THAT(runHost("plugins").errors, testing::HasSubstr("vornix plugins retry org.crash"));
    EXPECT_EQ(runHostShell(u"\"$0\" plugins retry org.crash; exit $?"_s).status, 128 + SIGABRT); // no better
    EXPECT_EQ(stateAndReason(u"org.crash"_s), leftOut);

    VXPluginFixture{.identifier = u"org.crash"_s}.write(shared); // mended
    ASSERT_TRUE(QFile::exists(bundle));
    const HostOutcome retried = runHost("plugins retry org.crash");
    EXPECT_EQ(retried.output, "Fixture (org.crash) is loaded.\n") << retried.errors;
    EXPECT_EQ(stateAndReason(u"org.crash"_s), "loaded: ");
    EXPECT_EQ(runHost("plugins").errors, "");
}

TEST_F(HostPluginsTest, WhoInterruptsAPluginThatLoadsIsToldAndNoCrash)
{
    const QVariantMap ends{{u"FixtureEndsIn"_s, u"constructor"_s}, {u"FixtureSignal"_s, SIGINT}};
    VXPluginFixture{.identifier = u"org.slow"_s, .info = ends}.write(shared);
    enable(R"(["org.slow"])");
    for (int start = 0; start < 3; ++start) {
        const HostOutcome ended = runHostShell(u"(trap - INT; exec \"$0\" plugins); exit $?"_s);
        EXPECT_EQ(ended.status, 128 + SIGINT) << ended.errors;
        EXPECT_THAT(ended.errors,
                    testing::StartsWith("vornix: ended by a signal while the plugin org.slow was loading"));
    }
    VXPluginFixture{.identifier = u"org.slow"_s}.write(shared);
    EXPECT_EQ(stateAndReason(u"org.slow"_s), "loaded: ");
}

TEST_F(HostPluginsTest, WhatAPluginDoesAtTheEndTakesNothingFromTheCommand)
{
    const std::tuple<const char *, const char *, int, bool, const char *> rows[] = {
        {"pluginDidLoad", "exit", 1, false, "ended while the plugin org.bad was loading"},
        {"pluginWillUnload", "exit", 0, true, "ended while the plugin org.bad was unloading"},
        {"pluginShouldUnload", "exit", 0, true, "ended by the plugin org.bad, "},
        {"pluginShouldUnload", "_exit", 0, true, "ended by the plugin org.bad, "},
        {"pluginWillUnload", nullptr, 128 + SIGABRT, true, "crashed while the plugin org.bad was unloading"},
    };
    int version = 2000; // none is blamed for what another did
    for (const auto &[point, ending, status, isDone, told] : rows) {
        writePlugins();
        enable(R"(["org.bad"])");
        const QString where = QString::fromLatin1(point);
        const QVariantMap does{{where, QString::fromLatin1(ending)}};
        const QVariantMap info =
            ending == nullptr ? QVariantMap{{u"FixtureEndsIn"_s, where}} : QVariantMap{{u"FixtureDoes"_s, does}};
        VXPluginFixture{.identifier = u"org.bad"_s, .version = QString::number(++version), .info = info}.write(shared);
        const HostOutcome outcome = runHostShell(u"\"$0\" plugins enable org.calls --json; exit $?"_s);
        EXPECT_EQ(outcome.status, status);
        const QJsonObject json = outcome.json().toObject();
        EXPECT_EQ(json.contains(u"error"_s), !isDone) << outcome.output;
        EXPECT_THAT(outcome.errors, testing::HasSubstr(told));
        QDir(shared + u"/org.bad.vxplugin"_s).removeRecursively();
        EXPECT_EQ(listed(u"org.calls"_s)[u"enabled"_s].toBool(), isDone) << told;
    }
}

TEST_F(HostPluginsTest, APluginThatEndsTheProgramIsNamedWhereverItWasCalled)
{
    writePlugins();
    enable(R"(["org.window", "org.calls"])");
    const std::string bundle = (shared + u"/org.window.vxplugin"_s).toStdString();
    const auto open = [](const QString &how) {
        return runHostShell(u"\"$0\" open callto:1 > /dev/null; \"$0\" open callto:2?%1 --json; exit $?"_s.arg(how));
    };
    for (const QString &how : {u"exit"_s, u"_exit"_s, u"_Exit"_s, u"quick_exit"_s, u"thread"_s}) {
        const HostOutcome ended = open(how);
        const std::string text = "the program was ended by the plugin org.window, " + bundle;
        EXPECT_EQ(ended.status, 1);
        EXPECT_EQ(std::string(ended.errors), "vornix: " + text + '\n') << how.toStdString();
        EXPECT_EQ(std::string(ended.output), "{\"error\":\"" + text + "\"}\n") << how.toStdString();
    }
    for (const auto &[how, signal] : {std::pair(u"abort"_s, SIGABRT), std::pair(u"recurse"_s, SIGSEGV)}) {
        const HostOutcome crashed = open(how);
        EXPECT_EQ(crashed.status, 128 + signal);
        EXPECT_EQ(crashed.json().toObject()[u"error"_s].toString().toStdString(),
                  "the program crashed, in the code of " + bundle);
    }
    const HostOutcome smashed = open(u"smash"_s); // nobody can tell whose code it was
    EXPECT_GT(smashed.status, 128);
    EXPECT_TRUE(smashed.json().toObject().contains(u"error"_s)) << smashed.errors;
    const HostOutcome forked = open(u"fork"_s);
    EXPECT_EQ(forked.errors, QByteArray());
    EXPECT_EQ(forked.json().toObject()[u"answer"_s].toString(), u"a window of org.window"_s);
    const HostOutcome late = open(u"late"_s); // after the answer
    EXPECT_EQ(late.status, 128 + SIGABRT);
    EXPECT_THAT(late.errors, testing::StartsWith("vornix: the program crashed, in the code of " + bundle));
    EXPECT_EQ(late.json().toObject()[u"answer"_s].toString(), u"a window of org.window"_s);
}

TEST_F(HostPluginsTest, EveryCommandAsksThePluginsBeforeItEnds)
{
    for (const QString &reply : {u"agree"_s, u"refuse"_s, u"nothing"_s}) {
        const QVariantMap does{{u"pluginShouldUnload"_s, reply}};
        VXPluginFixture{.identifier = u"org.asked"_s,
                        .info = {{u"FixtureDoes"_s, does}, {u"FixtureReply"_s, reply == u"nothing"_s ? 1 : 2}}}
            .write(shared);
        enable(R"(["org.asked"])");
        const HostOutcome outcome = runHost("plugins info org.asked");
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.errors.contains("the plugin org.asked did not agree"), reply == u"refuse"_s);
    }
}

TEST_F(HostPluginsTest, GraphShowsWhatNeedsWhat)
{
    writePlugins();
    VXPluginFixture{.identifier = u"org.orphan"_s, .name = u"A \"B\" \\"_s, .dependencies = {u"org.gone"_s}}.write(
        shared);
    EXPECT_EQ(runHost("plugins graph").output,
              "digraph plugins {\n"
              "    rankdir=LR;\n"
              "    node [shape=box];\n"
              "    \"org.calls\" [label=\"Calls\\norg.calls\", color=gray, fontcolor=gray];\n"
              "    \"org.part\" [label=\"Fixture\\norg.part\", color=gray, fontcolor=gray];\n"
              "    \"org.orphan\" [label=\"A \\\"B\\\" \\\\\\norg.orphan\", color=gray, fontcolor=gray];\n"
              "    \"org.window\" [label=\"Dialler\\norg.window\", color=gray, fontcolor=gray];\n"
              "    \"org.gone\" [color=red, fontcolor=red, style=dashed];\n"
              "    \"org.orphan\" -> \"org.gone\";\n"
              "    \"org.window\" -> \"org.calls\";\n"
              "    \"org.calls\" -> \"org.part\" [style=dashed];\n"
              "}\n");
    const auto json = VXJSONFromText(runHost("plugins graph --json").output);
    EXPECT_EQ((*json)[u"missing"_s], (QJsonArray{u"org.gone"_s}));
    EXPECT_EQ((*json)[u"dependencies"_s].toArray().size(), 2);
}

TEST_F(HostPluginsTest, OpensURLsAndTheirWindowsAgain)
{
    writePlugins();
    enable(R"(["org.window", "org.calls"])");
    EXPECT_EQ(runHost("open callto:1").output, "a window of org.window\n");
    EXPECT_EQ(openWindows(), (QJsonArray{u"callto:1"_s}));
    EXPECT_EQ(runHost("open callto:2 --json").json().toObject(),
              (QJsonObject{{u"url"_s, u"callto:2"_s}, {u"answer"_s, u"a window of org.window"_s}}));
    EXPECT_EQ(runHost("open callto:3?modal").output, "{\"class\":\"WindowPlugin\",\"name\":\"\"}\n");
    const HostOutcome refused = runHost("open other:1");
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.errors, "vornix: no plugin knows the URL other:1\n"_ba);
    EXPECT_THAT(
        runHost("open callto:4?fault").errors,
        testing::ContainsRegex("cannot open the URL callto:4.fault: The plugin org.window failed: .*no window"));
    EXPECT_EQ(runHost("open callto:5 --safe-mode").status, 1);
    EXPECT_EQ(openWindows(), (QJsonArray{u"callto:1"_s, u"callto:2"_s}));
}

TEST_F(HostPluginsTest, RunsUntilASignalThatPluginsAgreeTo)
{
    // A reply of 2 promises a later one, which never comes.
    const QString bundle = VXPluginFixture{.identifier = u"org.slow"_s, .info = {{u"FixtureReply"_s, 2}}}.write(shared);
    enable(R"(["org.slow"])");
    for (const int reply : {1, 2}) {
        VXPluginFixture{.identifier = u"org.slow"_s, .info = {{u"FixtureReply"_s, reply}}}.write(shared);
        QProcess process;
        QByteArray errors;
        const auto says = [&](const QByteArray &text) {
            return VXRunUntil([&] { return (errors += process.readAllStandardError()).contains(text); });
        };
        process.start(hostProgram(), {u"run"_s, u"--json"_s});
        EXPECT_TRUE(says("running, plugins loaded: 1; interrupt to end\n")) << errors.toStdString();
        ::kill(static_cast<pid_t>(process.processId()), SIGINT);
        if (reply == 2) {
            EXPECT_TRUE(says("waiting until the plugins agree to end")) << errors.toStdString();
            process.terminate();
        }
        ASSERT_TRUE(process.waitForFinished());
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(process.exitCode(), reply - 1);
        EXPECT_EQ(VXJSONFromText(process.readAllStandardOutput())->toObject().contains(u"error"_s), reply == 2);
    }
    VXPluginFixture{.identifier = u"org.slow"_s}.write(shared); // or the next command would wait for its reply
    EXPECT_EQ(stateAndReason(u"org.slow"_s), "loaded: ");
}
