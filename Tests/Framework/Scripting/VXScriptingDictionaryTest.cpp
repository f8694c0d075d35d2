#include "VXScriptingDictionaries.h"

#include "VXBundle.h"
#include "VXLogRecorder.h"
#include "VXPropertyList.h"
#include "VXTesting.h"

using namespace Qt::StringLiterals;

TEST(VXScriptingDictionaryTest, KnowsTypes)
{
    for (const char *const good : {"s", "as", "a{sv}", "a(isa{sas})", "v", "aay", "(s)"})
        EXPECT_TRUE(VXIsTypeSignature(good)) << good;
    for (const char *const bad : {"", "a", "ss", "a{vs}", "a{s}", "a{sss}", "()", "(s", "{sv}", "e", "a{s"})
        EXPECT_FALSE(VXIsTypeSignature(bad)) << bad;
    EXPECT_FALSE(VXIsTypeSignature(QByteArray(200, 'a') + 's'));
}

class VXScriptingDictionariesTest : public VXHomeTest
{
protected:
    VXLogRecorder log;

    static QByteArray dictionary(const QString &target, const QVariantList &properties)
    {
        return VXPropertyList::toData(QVariantMap{{u"target"_s, target},
                                                  {u"path"_s, u"/"_s},
                                                  {u"interface"_s, u"org.example"_s},
                                                  {u"properties"_s, properties}},
                                      VXPropertyList::Format::XML);
    }
    static QVariantMap property(const QString &code, const QString &name)
    {
        return {{u"code"_s, code}, {u"name"_s, name}, {u"type"_s, u"s"_s}};
    }
    QString own(const QString &name) const { return u".local/share/Vornix 2/Scripting/%1.plist"_s.arg(name); }
};

TEST_F(VXScriptingDictionariesTest, ThoseThatShipCanBeReadAndServeTheirTargets)
{
    const VXScriptingDictionaries dictionaries;
    EXPECT_TRUE(log.lines(u"WARNING"_s).isEmpty());
    ASSERT_EQ(dictionaries.all().size(), 2);
    const QString player = u"org.mpris.MediaPlayer2.some"_s;
    const auto status = dictionaries.property(player, VXCode("pPst"));
    ASSERT_TRUE(status);
    EXPECT_EQ(status->name, u"PlaybackStatus"_s);
    EXPECT_EQ(status->interface, u"org.mpris.MediaPlayer2.Player"_s);
    EXPECT_FALSE(status->isWritable);
    EXPECT_EQ(dictionaries.propertyNamed(player, u"volume"_s)->code, VXCode("pVol"));
    EXPECT_FALSE(dictionaries.property(u"org.mpris.MediaPlayer2000"_s, VXCode("pPst")));

    const auto methods = [&dictionaries](const QString &target) {
        QStringList found;
        for (const VXScriptingEvent &event : dictionaries.events(target, VXCode("aevt"), VXCode("quit")))
            found.append(event.method);
        return found;
    };
    EXPECT_EQ(methods(player), (QStringList{u"Quit"_s, u"ActivateAction"_s, u"quit"_s}));
    EXPECT_EQ(methods(u"org.example.Editor"_s), (QStringList{u"ActivateAction"_s, u"quit"_s}));
    EXPECT_EQ(VXScriptingDictionary::pathForTarget(u"/{path}"_s, u"org.example.My-Editor"_s),
              u"/org/example/My_Editor"_s);
}

TEST_F(VXScriptingDictionariesTest, TheUsersGoBeforePluginsAndThoseThatShip)
{
    writeFile(own(u"player"_s), dictionary(u"org.mpris.MediaPlayer2"_s, {property(u"pPst"_s, u"Mine"_s)}));
    writeFile(own(u"damaged"_s), "no list");
    writeFile(u"Some.vxplugin/Contents/Info.plist"_s, "<plist><dict/></plist>");
    writeFile(u"Some.vxplugin/Contents/Resources/Scripting/player.plist"_s,
              dictionary(u"org.mpris.MediaPlayer2"_s,
                         {property(u"pPst"_s, u"Plugin's"_s), property(u"pVol"_s, u"Plugin's volume"_s)}));
    VXScriptingDictionaries dictionaries;
    EXPECT_EQ(log.count(u"damaged.plist"_s), 1);
    const QString player = u"org.mpris.MediaPlayer2.some"_s;
    const VXBundle::Ptr plugin = VXBundle::bundleWithPath(path(u"Some.vxplugin"_s));
    dictionaries.addBundle(*plugin);
    EXPECT_EQ(dictionaries.property(player, VXCode("pPst"))->name, u"Mine"_s);
    EXPECT_EQ(dictionaries.property(player, VXCode("pVol"))->name, u"Plugin's volume"_s);
    EXPECT_EQ(dictionaries.property(player, VXCode("pRat"))->name, u"Rate"_s);
    dictionaries.removeBundle(*plugin);
    EXPECT_EQ(dictionaries.property(player, VXCode("pVol"))->name, u"Volume"_s);
}

TEST_F(VXScriptingDictionariesTest, SaysWhatIsWrong)
{
    const QVariantMap good{{u"target"_s, u"org.example"_s}, {u"path"_s, u"/"_s}, {u"interface"_s, u"org.example"_s}};
    const auto with = [&good](const QString &key, const QVariant &value) {
        QVariantMap map = good;
        map.insert(key, value);
        return map;
    };
    QVariantMap coded = property(u"toolong"_s, u"Name"_s);
    QVariantMap typed = property(u"abcd"_s, u"Name"_s);
    typed[u"type"_s] = u"ss"_s;
    const QVariantMap event{{u"class"_s, u"abcd"_s},
                            {u"id"_s, u"abcd"_s},
                            {u"name"_s, u"Go"_s},
                            {u"method"_s, u"Go"_s},
                            {u"parameters"_s, QVariantList{QVariantMap{{u"type"_s, u"s"_s}}}}};
    const std::pair<QVariant, QString> table[] = {
        {QVariantList(), u"it is no dictionary"_s},
        {QVariantMap(), u"\"target\" is missing"_s},
        {with(u"target"_s, 5), u"\"target\" is no text"_s},
        {with(u"properties"_s, u"x"_s), u"\"properties\" is no array"_s},
        {with(u"properties"_s, QVariantList{coded}), u"the property Name: \"code\" is no code"_s},
        {with(u"properties"_s, QVariantList{typed}), u"\"type\" is no type: ss"_s},
        {with(u"events"_s, QVariantList{event}), u"the event Go: a parameter has neither"_s},
    };
    EXPECT_TRUE(VXScriptingDictionary::fromPropertyList(good));
    for (const auto &[list, reason] : table) {
        VXError error;
        EXPECT_FALSE(VXScriptingDictionary::fromPropertyList(list, &error));
        EXPECT_TRUE(error.localizedDescription().contains(reason)) << error.localizedDescription().toStdString();
    }
}
