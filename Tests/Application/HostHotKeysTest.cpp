#include "HostDeviceFixture.h"
#include "HostProgram.h"
#include "VXTesting.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

using namespace Qt::StringLiterals;

class HostHotKeysTest : public VXHomeTest
{
protected:
    HostHotKeysTest()
    {
        qunsetenv("DISPLAY");
        qunsetenv("WAYLAND_DISPLAY");
    }

    static QMap<QString, QString> bindings()
    {
        QMap<QString, QString> result;
        const QJsonArray all = runHost("hotkeys --json").json().toArray();
        for (const QJsonValue &entry : all)
            result.insert(entry[u"identifier"_s].toString(), entry[u"keys"_s].toString());
        return result;
    }
};

TEST_F(HostHotKeysTest, CommandsAreBoundAndPressed)
{
    EXPECT_EQ(bindings(),
              (QMap<QString, QString>{{u"dial-selection"_s, {}}, {u"hang-up"_s, {}}, {u"open-phonebook"_s, {}}}));
    EXPECT_EQ(runHost("hotkeys bind hang-up alt+ctrl+h").status, 0);
    EXPECT_EQ(runHost("hotkeys bind event:note Super+N").status, 0);
    EXPECT_EQ(bindings().value(u"hang-up"_s), u"Ctrl+Alt+H"_s);
    EXPECT_EQ(bindings().value(u"event:note"_s), u"Super+N"_s);

    ASSERT_EQ(runHost("triggers add --event hot_key --filter 'identifier == \"event:note\"' --reactor "
                      "com.halvern.VNX2.plugin.logevent --option 'text=note taken'")
                  .status,
              0);
    EXPECT_EQ(runHost("hotkeys press event:note").status, 0);
    EXPECT_TRUE(runHost("log").output.contains("note taken"));

    EXPECT_EQ(runHost("hotkeys unbind event:note").status, 0);
    EXPECT_FALSE(bindings().contains(u"event:note"_s));
}

TEST_F(HostHotKeysTest, APressWaitsForWhatItBeganAndTellsWhatWentWrong)
{
    HostOutcome outcome = runHost("hotkeys press hang-up --json");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output.trimmed(),
              "{\"error\":\"There is no phone to do it with. Add one: vornix devices add.\"}");
    outcome = runHost("hotkeys press dial-selection");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(outcome.errors.contains("no X display")) << outcome.errors;

    hostDeviceFixture(u"org.phones"_s).write(path(u".local/share/Vornix 2/PlugIns"_s));
    ASSERT_EQ(runHost("plugins enable org.phones").status, 0);
    ASSERT_EQ(runHost("devices add org.phones one").status, 0);
    outcome = runHost("hotkeys press hang-up");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors.trimmed(), "vornix: There is no call."); // what the phone said, in the end
}

TEST_F(HostHotKeysTest, MistakesAreRefusedWithTheReason)
{
    ASSERT_EQ(runHost("defaults write com.halvern.VNX2 hot-keys '{\"hang-up\": \"35 262144 Strg+H\"}'").status, 0);
    const std::pair<VXWords, QByteArray> rows[] = {{"bind hangup F5", "there are: dial-selection, hang-up"},
                                                   {"bind event: F5", "there is no hot key"},
                                                   {"bind dial-selection Hyper+D", "no modifier"},
                                                   {"bind dial-selection Ctrl+H", "bound to \"hang-up\""},
                                                   {"unbind dial-selection", "bound to no keys"},
                                                   {"press event:none", "bind it first"},
                                                   {"bind hang-up", "bind needs ID KEYS"}};
    for (const auto &[arguments, reason] : rows) {
        const HostOutcome outcome = runHost(VXWords{"hotkeys"} + arguments);
        EXPECT_NE(outcome.status, 0);
        EXPECT_TRUE(outcome.errors.contains(reason)) << outcome.errors;
    }
    EXPECT_EQ(bindings().value(u"hang-up"_s), u"Strg+H"_s);
    EXPECT_TRUE(runHost("hotkeys status").output.contains("DISPLAY is not set"));
}
