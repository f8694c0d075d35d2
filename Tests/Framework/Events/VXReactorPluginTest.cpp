#include "VXReactorPlugin.h"
#include "VXEventTesting.h"
#include "VXExporterPlugin.h"
#include "VXExportSheetController.h"

#include <QtCore/QDir>

using namespace Qt::StringLiterals;
using testing::ElementsAre, testing::SizeIs;

class VXReactorPluginTest : public VXEventTest
{
protected:
    QString writeExporter(const QString &identifier, const QString &name, const QVariantMap &info = {}) const
    {
        QVariantMap keys = info;
        keys.insert(u"VXExporterTargetName"_s, u"Numbers"_s);
        return VXPluginFixture{.identifier = identifier,
                               .name = name,
                               .kind = u"VXExporterPlugin"_s,
                               .info = keys,
                               .code = u"WritingExporter.so"_s}
            .write(shared());
    }
    static QVariantList exported() { return QCoreApplication::instance()->property("VXExportedObjects").toList(); }
};

TEST_F(VXReactorPluginTest, TellsWhatItsBundleSaysAndNoneWhereThatIsSilent)
{
    VXBundle::setPreferredLanguages({u"en"_s});
    writeReactor(u"silent"_s);
    writeReactor(u"odd"_s, {{u"VXReactorEventNameList"_s, 7}, {u"VXReactorDefaults"_s, QVariantList{1}}});
    const QString names = u"test.reactor.vxplugin/Contents/Resources/en.lproj/InfoPlist.strings"_s;
    writeFile(u".local/share/Vornix 2/PlugIns/"_s + names, "VXReactorName = \"Play a sound\";");
    start({u"silent"_s, u"odd"_s}, {{u"VXReactorName"_s, u"PlaySound"_s},
                                    {u"VXReactorCategory"_s, u"Sounds"_s},
                                    {u"VXReactorEventNameList"_s, QStringList{u"ping"_s, u"pong"_s}},
                                    {u"VXReactorClassList"_s, QStringList()},
                                    {u"VXReactorDefaults"_s, QVariantMap{{u"volume"_s, 3}}},
                                    {u"VXReactorOptionsNibFile"_s, u"Options"_s}});
    const auto &full = plugin(reactor)->as<VXReactorPlugin>("reactorName");
    EXPECT_EQ(full.reactorName(), u"Play a sound"_s);
    EXPECT_EQ(full.reactorCategory(), u"Sounds"_s);
    EXPECT_EQ(full.reactorEventNameList(), (QStringList{u"ping"_s, u"pong"_s}));
    EXPECT_EQ(full.reactorClassList(), QStringList()); // empty, not none
    EXPECT_EQ(full.reactorDefaults(), (QVariantMap{{u"volume"_s, 3}}));
    EXPECT_EQ(full.reactorOptionsNibNameForEventName(u"ping"_s), u"Options"_s);
    EXPECT_EQ(full.reactorOptionsNibNameForEventName(u"other"_s), u"Options"_s);
    for (const QString &identifier : {u"silent"_s, u"odd"_s}) {
        const auto &silent = plugin(identifier)->as<VXReactorPlugin>("reactorName");
        EXPECT_TRUE(silent.reactorName().isNull() && silent.reactorCategory().isNull());
        EXPECT_FALSE(silent.reactorEventNameList() || silent.reactorClassList() || silent.reactorDefaults());
        EXPECT_TRUE(silent.reactorOptionsNibNameForEventName(u"ping"_s).isNull());
    }
}

TEST_F(VXReactorPluginTest, WhatSubclassesMustImplementFailsAnAssertion)
{
    VXReactorPlugin plain;
    EXPECT_EQ(VXReasonOfAssertion([&] { plain.reactToEventWithName(u"ping"_s, {}, {}, {}); }),
              u"subclasses of VXReactorPlugin must implement "
              "-[VXReactorPlugin reactToEventWithName:subtype:object:options:]"_s);
    VXExporterPlugin exporter;
    EXPECT_EQ(VXReasonOfAssertion([&] { exporter.reactToEventWithName(u"ping"_s, {}, {}, {}); }),
              u"Subclasses of VXExporterPlugin must overload -exportObjects:"_s);
}

TEST_F(VXReactorPluginTest, ExportersExportACallOnceAndEverythingElseAlways)
{
    writeExporter(u"good"_s, u"Good"_s);
    writeExporter(u"bad"_s, u"Bad"_s, {{u"FixtureExportError"_s, u"No disk."_s}});
    startWith({u"good"_s, u"bad"_s});
    auto &good = plugin(u"good"_s)->as<VXExporterPlugin>("reactorName");
    EXPECT_EQ(good.reactorName(), u"Numbers"_s);
    EXPECT_EQ(good.exportPanel().message, u"Export to Numbers"_s);
    const std::tuple<QString, QString, bool> rows[] = {
        {u"incoming_call"_s, u"ended"_s, true},
        {u"outgoing_call"_s, u"ended"_s, true},
        {u"incoming_call"_s, u"connected"_s, false},
        {u"outgoing_call"_s, {}, false},
        {u"incoming_call"_s, u"Ended"_s, false},
        {u"incoming_message"_s, u"connected"_s, true},
        {u"ping"_s, {}, true},
    };
    int number = 0;
    for (const auto &[event, subtype, exports] : rows) {
        SCOPED_TRACE((event + u' ' + subtype).toStdString());
        QCoreApplication::instance()->setProperty("VXExportedObjects", QVariant());
        good.reactToEventWithName(event, subtype, ++number, {});
        EXPECT_EQ(exported(), exports ? QVariantList{number} : QVariantList());
    }
    EXPECT_THAT(user->errors(), SizeIs(0));
    plugin(u"bad"_s)->as<VXExporterPlugin>("reactorName").reactToEventWithName(u"ping"_s, {}, 1, {});
    ASSERT_THAT(user->errors(), SizeIs(1));
    EXPECT_EQ(user->errors()[0].localizedDescription(), u"No disk."_s);
    EXPECT_EQ(log.count(u"No disk."_s), 0);
}

TEST_F(VXReactorPluginTest, TheExportSheetRemembersTheChoiceEvenWhenCancelled)
{
    writeExporter(u"z"_s, u"Apple"_s);
    writeExporter(u"a"_s, u"Pear"_s);
    writeExporter(u"m"_s, u"Fig"_s);
    writeExporter(u"off"_s, u"Date"_s);
    startWith({u"z"_s, u"a"_s, u"m"_s});
    auto &defaults = VXUserDefaults::standardUserDefaults();
    const QString key = u"export.sheet.selection"_s;
    defaults.setObject(u"gone"_s, key); // an exporter that is no longer installed
    QList<int> ends;
    {
        VXExportSheetController sheet({1, 2}, u"Calls"_s);
        EXPECT_EQ(sheet.objects(), (QVariantList{1, 2}));
        EXPECT_EQ(sheet.descriptiveClassName(), u"Calls"_s);
        QStringList titles;
        for (const auto &item : sheet.items())
            titles.append(item.title);
        EXPECT_THAT(titles, ElementsAre(u"Apple"_s, u"Fig"_s, u"Pear"_s));
        EXPECT_EQ(sheet.selectedExporterIdentifier(), u"z"_s);
        EXPECT_FALSE(sheet.selectedExporterOptions());
        EXPECT_FALSE(sheet.selectItemAtIndex(3));
        EXPECT_TRUE(sheet.selectItemAtIndex(2));
        sheet.setEndHandler([&](int returnCode) {
            EXPECT_EQ(defaults.stringForKey(key), u"a"_s); // stored first
            ends.append(returnCode);
        });
        sheet.cancelAction();
        sheet.OKAction(); // it has ended
    }
    VXExportSheetController sheet({}, u"Calls"_s);
    EXPECT_EQ(sheet.selectedExporterIdentifier(), u"a"_s);
    EXPECT_TRUE(sheet.selectItemWithIdentifier(u"m"_s));
    sheet.setEndHandler([&](int returnCode) { ends.append(returnCode); });
    sheet.OKAction();
    EXPECT_THAT(ends, ElementsAre(0, 1));
    EXPECT_EQ(defaults.stringForKey(key), u"m"_s);
}
