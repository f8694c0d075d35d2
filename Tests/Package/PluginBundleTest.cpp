#include "PackageTestsPaths.h"
#include "VXBundle.h"
#include "VXPlugin.h"
#include "VXPropertyList.h"
#include "VXTesting.h"

#include <QtCore/QFile>

#include <dlfcn.h>

using namespace Qt::StringLiterals;

namespace {

VXBundle::Ptr sample()
{
    return VXBundle::bundleWithPath(QStringLiteral(VORNIX_SAMPLE_BUNDLE));
}

} // namespace

TEST(PluginBundleTest, InfoHoldsWhatWasGiven)
{
    const QVariantMap expected{
        {u"CFBundleDevelopmentRegion"_s, u"de"_s},
        {u"CFBundleExecutable"_s, u"SamplePlugin.so"_s},
        {u"CFBundleIconFile"_s, u"sample.svg"_s},
        {u"CFBundleIdentifier"_s, u"org.example.sample"_s},
        {u"CFBundleName"_s, u"SamplePlugin"_s},
        {u"CFBundlePackageType"_s, u"BNDL"_s},
        {u"CFBundleShortVersionString"_s, u"1.0 (beta)"_s},
        {u"CFBundleVersion"_s, u"2000.1.10"_s},
        {u"NSPrincipalClass"_s, u"SamplePlugin"_s},
        {u"VXPluginClass"_s, u"VXReactorPlugin"_s},
        {u"VXPluginName"_s, u"Sample & <\"Co\">; %1 $PATH @X@"_s},
        {u"VXPluginDependencies"_s, QVariantList{u"org.example.one"_s, u"org.example.two"_s}},
        {u"VXPostsEvents"_s, QVariantMap{{u"sample_began"_s, QVariantMap()}, {u"sample_ended"_s, QVariantMap()}}},
        {u"SampleText"_s, u"a;b > c"_s},
        {u"SampleNumber"_s, -12LL},
        {u"SampleYes"_s, true},
        {u"SampleNo"_s, false},
        {u"SampleList"_s, QVariantList{u"x & y"_s, u"true"_s, u""_s}},
        {u"SampleTree"_s, QVariantMap{{u"k"_s, 0.5}}},
    };
    const QVariantMap info = sample()->infoDictionary();
    EXPECT_EQ(info.keys(), expected.keys());
    for (auto entry = expected.cbegin(); entry != expected.cend(); ++entry)
        EXPECT_EQ(info.value(entry.key()), entry.value()) << entry.key().toStdString();
}

TEST(PluginBundleTest, ResourcesServeEveryLanguage)
{
    const struct
    {
        QString language;
        QString name;
    } cases[] = {{u"en"_s, u"Sample"_s}, {u"de-AT"_s, u"Probe"_s}, {u"fr"_s, u"Probe"_s}};
    for (const auto &[language, name] : cases) {
        VXBundle::setPreferredLanguages({language});
        EXPECT_EQ(sample()->objectForInfoDictionaryKey(u"VXPluginName"_s), name) << language.toStdString();
    }
    EXPECT_FALSE(sample()->pathForResource(u"sample"_s, u"svg"_s).isNull());
    const QVariant defaults = VXPropertyList::fromFile(sample()->pathForResource(u"defaults"_s, u"plist"_s));
    EXPECT_EQ(defaults.toMap().value(u"sample.count"_s), 3);
}

TEST(PluginBundleTest, CodeOfPluginAndChildIsThereAndHidden)
{
    const VXBundle::Ptr parent = sample();
    const VXBundle::Ptr child = VXBundle::bundleWithPath(parent->builtInPlugInsPath() + "/SampleChild.vxplugin"_L1);
    ASSERT_NE(child, nullptr);
    EXPECT_EQ(child->infoDictionary().value(u"CFBundleShortVersionString"_s), u"1"_s); // that of VERSION
    VXError error;
    const QMetaObject *const parentClass = parent->principalClass(&error);
    ASSERT_NE(parentClass, nullptr) << error.description().toStdString();
    const QMetaObject *const childClass = child->principalClass(&error);
    ASSERT_NE(childClass, nullptr) << error.description().toStdString();
    EXPECT_TRUE(parentClass->inherits(&VXPlugin::staticMetaObject));
    EXPECT_NE(parentClass, childClass); // each its own, though of one name

    void *const handle = ::dlopen(QFile::encodeName(parent->executablePath()).constData(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(handle, nullptr) << ::dlerror();
    EXPECT_NE(::dlsym(handle, "VXBundlePrincipalClass"), nullptr);
    EXPECT_EQ(::dlsym(handle, "VXSampleHidden"), nullptr);
    ::dlclose(handle);
}
