#include "HostProgram.h"
#include "VXPluginFixtures.h"
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
        const QJsonArray all = QJsonDocument::fromJson(runHost({u"hotkeys"_s, u"--json"_s}).output).array();
        for (const QJsonValue &entry : all)
            result.insert(entry[u"identifier"_s].toString(), entry[u"keys"_s].toString());
        return result;
    }
};

TEST_F(HostHotKeysTest, CommandsAreBoundAndPressed)
{
    EXPECT_EQ(bindings(),
              (QMap<QString, QString>{{u"dial-selection"_s, {}}, {u"hang-up"_s, {}}, {u"open-phonebook"_s, {}}}));
    EXPECT_EQ(runHost({u"hotkeys"_s, u"bind"_s, u"hang-up"_s, u"alt+ctrl+h"_s}).status, 0);
    EXPECT_EQ(runHost({u"hotkeys"_s, u"bind"_s, u"event:note"_s, u"Super+N"_s}).status, 0);
    EXPECT_EQ(bindings().value(u"hang-up"_s), u"Ctrl+Alt+H"_s);
    EXPECT_EQ(bindings().value(u"event:note"_s), u"Super+N"_s);

    ASSERT_EQ(
        runHost({u"triggers"_s, u"add"_s, u"--event"_s, u"hot_key"_s, u"--filter"_s, u"identifier == \"event:note\""_s,
                 u"--reactor"_s, u"com.halvern.VNX2.plugin.logevent"_s, u"--option"_s, u"text=note taken"_s})
            .status,
        0);
    EXPECT_EQ(runHost({u"hotkeys"_s, u"press"_s, u"event:note"_s}).status, 0);
    EXPECT_TRUE(runHost({u"log"_s}).output.contains("note taken"));

    EXPECT_EQ(runHost({u"hotkeys"_s, u"unbind"_s, u"event:note"_s}).status, 0);
    EXPECT_FALSE(bindings().contains(u"event:note"_s));
}

TEST_F(HostHotKeysTest, APressWaitsForWhatItBeganAndTellsWhatWentWrong)
{
    HostOutcome outcome = runHost({u"hotkeys"_s, u"press"_s, u"hang-up"_s, u"--json"_s});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output.trimmed(),
              "{\"error\":\"There is no phone to do it with. Add one: vornix devices add.\"}");
    outcome = runHost({u"hotkeys"_s, u"press"_s, u"dial-selection"_s});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(outcome.errors.contains("no X display")) << outcome.errors.toStdString();

    VXPluginFixture{.identifier = u"org.phones"_s,
                    .kind = u"VXDevicePlugin"_s,
                    .info = {{u"NSPrincipalClass"_s, u"DeviceFixture"_s}},
                    .code = u"DeviceFixture.so"_s}
        .write(path(u".local/share/Vornix 2/PlugIns"_s));
    ASSERT_EQ(runHost({u"plugins"_s, u"enable"_s, u"org.phones"_s}).status, 0);
    ASSERT_EQ(runHost({u"devices"_s, u"add"_s, u"org.phones"_s, u"one"_s}).status, 0);
    outcome = runHost({u"hotkeys"_s, u"press"_s, u"hang-up"_s});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors.trimmed(), "vornix: There is no call."); // what the phone said, in the end
}

TEST_F(HostHotKeysTest, MistakesAreRefusedWithTheReason)
{
    ASSERT_EQ(runHost({u"defaults"_s, u"write"_s, u"com.halvern.VNX2"_s, u"hot-keys"_s,
                       u"{\"hang-up\": \"35 262144 Strg+H\"}"_s})
                  .status,
              0);
    const struct
    {
        QStringList arguments;
        QByteArray reason;
    } rows[] = {{{u"bind"_s, u"hangup"_s, u"F5"_s}, "there are: dial-selection, hang-up"},
                {{u"bind"_s, u"event:"_s, u"F5"_s}, "there is no hot key"},
                {{u"bind"_s, u"dial-selection"_s, u"Hyper+D"_s}, "no modifier"},
                {{u"bind"_s, u"dial-selection"_s, u"Ctrl+H"_s}, "bound to \"hang-up\""},
                {{u"unbind"_s, u"dial-selection"_s}, "bound to no keys"},
                {{u"press"_s, u"event:none"_s}, "bind it first"},
                {{u"bind"_s, u"hang-up"_s}, "bind needs ID KEYS"}};
    for (const auto &row : rows) {
        const HostOutcome outcome = runHost(QStringList{u"hotkeys"_s} + row.arguments);
        EXPECT_NE(outcome.status, 0);
        EXPECT_TRUE(outcome.errors.contains(row.reason)) << outcome.errors.toStdString();
    }
    EXPECT_EQ(bindings().value(u"hang-up"_s), u"Strg+H"_s);
    EXPECT_TRUE(runHost({u"hotkeys"_s, u"status"_s}).output.contains("DISPLAY is not set"));
}
