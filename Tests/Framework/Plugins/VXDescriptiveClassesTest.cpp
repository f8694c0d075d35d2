#include "VXFramework.h"
#include "VXPluginManagerTesting.h"

using namespace Qt::StringLiterals;
using testing::ElementsAre;

class VXDescriptiveClassesTest : public VXPluginManagerHomeTest
{
protected:
    VXDescriptiveClassesTest()
    {
        VXBundle::setPreferredLanguages({u"de"_s});
        write(u"app.vxplugin/Contents/Info.plist"_s, u"Main"_s, u"App"_s);
        VXBundle::setMainBundle(VXBundle::bundleWithPath(path(u"app.vxplugin"_s)));
    }
    ~VXDescriptiveClassesTest() override
    {
        VXBundle::setMainBundle(nullptr);
        VXBundle::setPreferredLanguages({});
    }

    /** A bundle that names one class, and "Main" too, with that file. */
    void write(const QString &infoFile, const QString &className, const QString &stringsFile) const
    {
        writeFile(infoFile,
                  u"<plist><dict><key>VXDescriptiveClassList</key>%1</dict></plist>"_s.arg(list(className, stringsFile))
                      .toUtf8());
    }
    void writePlugin(const QString &identifier, const QString &className, const QString &stringsFile) const
    {
        const QVariantMap file{{u"VXStringsFile"_s, stringsFile}};
        VXPluginFixture{.identifier = identifier,
                        .info = {{u"VXDescriptiveClassList"_s, QVariantMap{{u"Main"_s, file}, {className, file}}}}}
            .write(shared());
    }
    void writeStrings(const QString &identifier, const QString &name, const QByteArray &text) const
    {
        writeFile(u".local/share/Vornix 2/PlugIns/%1.vxplugin/Contents/Resources/%2.strings"_s.arg(identifier, name),
                  text);
    }
    static std::string failureFor(const QString &className)
    {
        return VXReasonOfAssertion([&] { manager().localizationInfoForDescriptiveClass(className); }).toStdString();
    }

private:
    static QString list(const QString &className, const QString &stringsFile)
    {
        return u"<dict><key>%1</key><dict><key>VXStringsFile</key><string>%2</string></dict></dict>"_s.arg(className,
                                                                                                           stringsFile);
    }
};

TEST_F(VXDescriptiveClassesTest, TheFirstBundleThatListsAClassHasItsTexts)
{
    writePlugin(u"a"_s, u"Call"_s, u"Texts"_s);
    writeStrings(u"a"_s, u"de.lproj/Texts"_s, "\"title\" = \"Anruf\";");
    writeStrings(u"a"_s, u"en.lproj/Texts"_s, "\"title\" = \"Call\";");
    writePlugin(u"b"_s, u"Call"_s, u"Texts"_s);
    writePlugin(u"off"_s, u"Message"_s, u"Texts"_s);
    VXPluginFixture{.identifier = u"plain"_s}.write(shared());
    startWith({u"a"_s, u"b"_s, u"plain"_s});

    EXPECT_THAT(manager()._descriptiveClassBundles(), ElementsAre(VXBundle::mainBundle(), VXFrameworkBundle(),
                                                                  plugin(u"a"_s)->bundle(), plugin(u"b"_s)->bundle()));
    EXPECT_EQ(manager().bundleForDescriptiveClass(u"Main"_s), VXBundle::mainBundle());
    EXPECT_EQ(manager().bundleForDescriptiveClass(u"Call"_s), plugin(u"a"_s)->bundle());
    EXPECT_EQ(manager().bundleForDescriptiveClass(u"Message"_s), nullptr);
    EXPECT_EQ(manager().localizationInfoForDescriptiveClass(u"Call"_s), (QVariantMap{{u"title"_s, u"Anruf"_s}}));
    EXPECT_EQ(manager().localizationInfoForDescriptiveClass(u"Message"_s), QVariantMap());
}

TEST_F(VXDescriptiveClassesTest, AMissingOrDamagedFileIsAProgrammingError)
{
    writePlugin(u"a"_s, u"Call"_s, u"Texts"_s);
    writeStrings(u"a"_s, u"Texts"_s, "no strings");
    startWith({u"a"_s});
    EXPECT_EQ(failureFor(u"Main"_s), "Missing strings file: App");
    EXPECT_EQ(failureFor(u"Call"_s),
              "Invalid strings file: " + (shared() + u"/a.vxplugin/Contents/Resources/Texts.strings"_s).toStdString());
}
