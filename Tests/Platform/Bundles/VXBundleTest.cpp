#include "VXBundle.h"
#include "PlatformTestsPaths.h"

#include "VXPropertyList.h"
#include "VXTesting.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;
using testing::AllOf, testing::ElementsAre, testing::HasSubstr, testing::IsEmpty;

namespace {

class VXBundleTest : public VXHomeTest
{
protected:
    ~VXBundleTest() override { VXBundle::setPreferredLanguages({}); }

    QString makeBundle(const QString &name, const QVariantMap &info) const
    {
        writeFile(name + u"/Contents/Info.plist"_s, VXPropertyList::toData(info, VXPropertyList::Format::XML));
        return path(name);
    }

    // A bundle whose code is one of the fixtures.
    VXBundle::Ptr bundleWithCode(const QString &fixture, const QString &identifier) const
    {
        const QString bundle = makeBundle(fixture + u".vxplugin"_s,
                                          {{u"CFBundleIdentifier"_s, identifier}, {u"CFBundleExecutable"_s, fixture}});
        writeFile(fixture + u".vxplugin/Contents/Resources/Localizable.strings"_s, "title = \"A title\";");
        QDir().mkpath(bundle + u"/Contents/Linux"_s);
        EXPECT_TRUE(
            QFile::copy(QStringLiteral(VORNIX_TEST_FIXTURES "/") + fixture, bundle + u"/Contents/Linux/"_s + fixture));
        return VXBundle::bundleWithPath(bundle);
    }

    VXDiagnosticRecorder _diagnostics;
};

} // namespace

TEST_F(VXBundleTest, KnowsBothLayouts)
{
    const QString plugin = makeBundle(
        u"a.vxplugin"_s, {{u"CFBundleIdentifier"_s, u"a"_s}, {u"CFBundleExecutable"_s, u"code"_s}, {u"n"_s, 1}});
    const auto bundle = VXBundle::bundleWithPath(plugin + u"/../a.vxplugin/"_s);
    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle->bundlePath(), plugin);
    EXPECT_EQ(bundle->bundleIdentifier(), u"a"_s);
    EXPECT_EQ(bundle->objectForInfoDictionaryKey(u"n"_s), 1LL);
    EXPECT_FALSE(bundle->objectForInfoDictionaryKey(u"none"_s).isValid());
    EXPECT_EQ(bundle->resourcesPath(), plugin + u"/Contents/Resources"_s);
    EXPECT_EQ(bundle->builtInPlugInsPath(), plugin + u"/Contents/PlugIns"_s);
    EXPECT_EQ(bundle->executablePath(), plugin + u"/Contents/Linux/code"_s);

    const QString resources = path(u"b.framework/Resources"_s);
    writeFile(u"b.framework/Resources/Info.plist"_s,
              VXPropertyList::toData(QVariantMap{{u"CFBundleIdentifier"_s, u"b"_s}}, VXPropertyList::Format::Binary));
    ASSERT_TRUE(QFile::link(path(u"b.framework"_s), path(u"link.framework"_s)));
    const auto framework = VXBundle::bundleWithPath(path(u"link.framework"_s));
    ASSERT_TRUE(framework);
    EXPECT_EQ(framework->bundleIdentifier(), u"b"_s);
    EXPECT_EQ(QFileInfo(framework->resourcesPath()), QFileInfo(resources));
    EXPECT_TRUE(framework->executablePath().isNull());

    EXPECT_FALSE(VXBundle::bundleWithPath(path(u"none"_s)));
    EXPECT_FALSE(VXBundle::bundleWithPath({}));
    EXPECT_THAT(_diagnostics.texts(), IsEmpty());
}

TEST_F(VXBundleTest, OnePathIsOneObjectWhileItIsHeld)
{
    const QString plugin = makeBundle(u"a.vxplugin"_s, {{u"CFBundleIdentifier"_s, u"a"_s}});
    auto bundle = VXBundle::bundleWithPath(plugin);
    EXPECT_EQ(VXBundle::bundleWithPath(plugin + u'/'), bundle);
    EXPECT_EQ(VXBundle::bundleWithIdentifier(u"a"_s), bundle);
    EXPECT_FALSE(VXBundle::bundleWithIdentifier(u"b"_s));
    EXPECT_FALSE(VXBundle::bundleWithIdentifier({}));

    makeBundle(u"a.vxplugin"_s, {{u"CFBundleIdentifier"_s, u"b"_s}});
    EXPECT_EQ(VXBundle::bundleWithPath(plugin)->bundleIdentifier(), u"a"_s);
    bundle.reset();
    EXPECT_FALSE(VXBundle::bundleWithIdentifier(u"a"_s));
    EXPECT_EQ(VXBundle::bundleWithPath(plugin)->bundleIdentifier(), u"b"_s);
}

TEST_F(VXBundleTest, ManyThreadsMakeAndReleaseOneBundle)
{
    const QString plugin = makeBundle(u"a.vxplugin"_s, {{u"CFBundleIdentifier"_s, u"a"_s}});
    std::atomic<int> wrong = 0;
    std::vector<std::jthread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round) {
                const auto bundle = VXBundle::bundleWithPath(plugin);
                const bool same = bundle && VXBundle::bundleWithPath(plugin) == bundle &&
                                  VXBundle::bundleWithIdentifier(u"a"_s) == bundle &&
                                  bundle->localizedStringForKey(u"key"_s) == u"key"_s;
                wrong += same ? 0 : 1;
            }
        });
    }
    threads.clear();
    EXPECT_EQ(wrong, 0);
}

TEST_F(VXBundleTest, MissingAndDamagedInfoIsReportedOnce)
{
    writeFile(u"damaged/Contents/Info.plist"_s, "<plist>\n<dict><key>a</key></dict></plist>");
    writeFile(u"list/Contents/Info.plist"_s, "<plist><array/></plist>");
    QDir().mkpath(path(u"plain"_s));
    for (const QString &name : {u"damaged"_s, u"list"_s, u"plain"_s}) {
        const auto bundle = VXBundle::bundleWithPath(path(name));
        ASSERT_TRUE(bundle);
        EXPECT_EQ(VXBundle::bundleWithPath(path(name)), bundle);
        EXPECT_TRUE(bundle->infoDictionary().isEmpty());
        EXPECT_TRUE(bundle->bundleIdentifier().isNull());
    }
    QList<std::string> texts;
    for (const QString &text : _diagnostics.texts())
        texts.append(text.toStdString());
    EXPECT_THAT(texts,
                ElementsAre(AllOf(HasSubstr("\"Info.plist\" unreadable"), HasSubstr("line 2"), HasSubstr("/damaged/")),
                            AllOf(HasSubstr("no dictionary"), HasSubstr("/list/Contents/Info.plist")),
                            AllOf(HasSubstr("No such file"), HasSubstr("/plain/Info.plist"))));
}

TEST_F(VXBundleTest, MainBundleIsTheProgramsFolderUnlessSet)
{
    const auto program = VXBundle::mainBundle();
    ASSERT_TRUE(program);
    EXPECT_EQ(program->bundlePath(), QCoreApplication::applicationDirPath());
    EXPECT_TRUE(program->infoDictionary().isEmpty());
    EXPECT_THAT(_diagnostics.texts(), IsEmpty());

    const auto other = VXBundle::bundleWithPath(makeBundle(u"o.app"_s, {}));
    VXBundle::setMainBundle(other);
    EXPECT_EQ(VXBundle::mainBundle(), other);
    VXBundle::setMainBundle(nullptr);
    EXPECT_EQ(VXBundle::mainBundle(), program);
}

TEST_F(VXBundleTest, ChoosesLanguagesByPreferenceThenRegion)
{
    const auto bundle =
        VXBundle::bundleWithPath(makeBundle(u"a.app"_s, {{u"CFBundleDevelopmentRegion"_s, u"English"_s}}));
    for (const char *language : {"pt", "pt_BR", "pt-PT", "German", "en", "zh-Hant"})
        QDir().mkpath(bundle->resourcesPath() + u'/' + QString::fromLatin1(language) + u".lproj"_s);
    EXPECT_EQ(bundle->localizations(),
              (QStringList{u"German"_s, u"en"_s, u"pt"_s, u"pt-PT"_s, u"pt_BR"_s, u"zh-Hant"_s}));
    const std::pair<QStringList, QStringList> rows[] = {
        {{u"pt-BR"_s}, {u"pt_BR"_s, u"pt"_s, u"en"_s}},
        {{u"pt_PT"_s, u"de-AT"_s}, {u"pt-PT"_s, u"pt"_s, u"German"_s, u"en"_s}},
        {{u"fr-FR"_s}, {u"en"_s}},
        {{u"zh-Hant-TW"_s, u"en-US"_s}, {u"zh-Hant"_s, u"en"_s}},
        {{u"x/../.."_s, QString()}, {u"en"_s}},
    };
    for (const auto &[languages, expected] : rows) {
        VXBundle::setPreferredLanguages(languages);
        EXPECT_EQ(bundle->preferredLocalizations(), expected);
    }
    VXBundle::setPreferredLanguages({});
    EXPECT_FALSE(VXBundle::preferredLanguages().isEmpty());
}

TEST_F(VXBundleTest, FindsResourcesInTheBestLanguage)
{
    const auto bundle = VXBundle::bundleWithPath(makeBundle(u"a.app"_s, {{u"CFBundleDevelopmentRegion"_s, u"en"_s}}));
    const QString resources = u"a.app/Contents/Resources/"_s;
    for (const char *file : {"top.txt", "top", "de.lproj/top.txt", "de.lproj/page.txt", "en.lproj/page.txt",
                             "en.lproj/only.txt", "sub/deep.txt", "de.lproj/sub/deep.txt", "fr.lproj/never.txt"})
        writeFile(resources + QString::fromLatin1(file), "x");
    // A name that is no UTF-8 is of no use, but does no harm.
    const std::string unreadable = bundle->resourcesPath().toStdString() + "/bad\xff.txt";
    std::ofstream(unreadable) << "x";
    VXBundle::setPreferredLanguages({u"de"_s});
    const QString folder = bundle->resourcesPath() + u'/';
    EXPECT_EQ(bundle->pathForResource(u"top"_s, u"txt"_s), folder + u"top.txt"_s);
    EXPECT_EQ(bundle->pathForResource(u"top"_s, {}), folder + u"top"_s);
    EXPECT_EQ(bundle->pathForResource(u"page"_s, u"txt"_s), folder + u"de.lproj/page.txt"_s);
    EXPECT_EQ(bundle->pathForResource(u"only"_s, u"txt"_s), folder + u"en.lproj/only.txt"_s);
    EXPECT_EQ(bundle->pathForResource(u"deep"_s, u"txt"_s, u"sub"_s), folder + u"sub/deep.txt"_s);
    EXPECT_TRUE(bundle->pathForResource(u"deep"_s, u"txt"_s).isNull());
    EXPECT_TRUE(bundle->pathForResource(u"never"_s, u"txt"_s).isNull());
    EXPECT_TRUE(bundle->pathForResource({}, {}).isNull());
    QStringList texts = bundle->pathsForResourcesOfType(u"txt"_s);
    texts.removeIf([](const QString &path) { return path.contains(u"bad"_s); });
    EXPECT_EQ(texts,
              (QStringList{folder + u"de.lproj/page.txt"_s, folder + u"en.lproj/only.txt"_s, folder + u"top.txt"_s}));
    EXPECT_EQ(bundle->pathsForResourcesOfType(u"txt"_s, u"sub"_s), QStringList{folder + u"sub/deep.txt"_s});
    EXPECT_EQ(std::remove(unreadable.c_str()), 0); // Qt could not
}

TEST_F(VXBundleTest, LocalizesStrings)
{
    const auto bundle =
        VXBundle::bundleWithPath(makeBundle(u"a.app"_s, {{u"CFBundleName"_s, u"plain"_s}, {u"k"_s, u"v"_s}}));
    const QString resources = u"a.app/Contents/Resources/"_s;
    writeFile(resources + u"de.lproj/Localizable.strings"_s, "Quit = Beenden; Empty = \"\";");
    writeFile(resources + u"fr.lproj/Localizable.strings"_s, "Quit = Quitter;");
    writeFile(resources + u"de.lproj/InfoPlist.strings"_s, "CFBundleName = \"übersetzt\";");
    writeFile(resources + u"Other.strings"_s, "<plist><dict><key>a</key><string>b</string></dict></plist>");
    writeFile(resources + u"Damaged.strings"_s, "a = b;\nc");
    VXBundle::setPreferredLanguages({u"de-DE"_s});
    EXPECT_EQ(bundle->localizedStringForKey(u"Quit"_s), u"Beenden"_s);
    EXPECT_EQ(bundle->localizedStringForKey(u"Empty"_s), u""_s);
    EXPECT_EQ(bundle->localizedStringForKey(u"Missing"_s), u"Missing"_s);
    EXPECT_EQ(bundle->localizedStringForKey(u"Missing"_s, u"value"_s), u"value"_s);
    EXPECT_EQ(bundle->localizedStringForKey(u"Missing"_s, u""_s), u""_s);
    EXPECT_EQ(bundle->localizedStringForKey(u"a"_s, {}, u"Other"_s), u"b"_s);
    EXPECT_EQ(bundle->localizedStringForKey(u"a"_s, {}, u"No table"_s), u"a"_s);
    EXPECT_EQ(bundle->objectForInfoDictionaryKey(u"CFBundleName"_s), u"übersetzt"_s);
    EXPECT_EQ(bundle->objectForInfoDictionaryKey(u"k"_s), u"v"_s);

    VXBundle::setPreferredLanguages({u"fr"_s});
    EXPECT_EQ(bundle->localizedStringForKey(u"Quit"_s), u"Quitter"_s);
    EXPECT_EQ(bundle->objectForInfoDictionaryKey(u"CFBundleName"_s), u"plain"_s);

    EXPECT_THAT(_diagnostics.texts(), IsEmpty());
    EXPECT_EQ(bundle->localizedStringForKey(u"a"_s, {}, u"Damaged"_s), u"a"_s);
    EXPECT_EQ(bundle->localizedStringForKey(u"a"_s, {}, u"Damaged"_s), u"a"_s);
    ASSERT_EQ(_diagnostics.texts().size(), 1);
    EXPECT_THAT(_diagnostics.texts().first().toStdString(), AllOf(HasSubstr("line 2"), HasSubstr("Damaged.strings")));
}

TEST_F(VXBundleTest, MakesItsPrincipalClass)
{
    const auto bundle = bundleWithCode(u"GoodCode"_s, u"fixture.good"_s);
    EXPECT_FALSE(bundle->isLoaded());
    VXError error;
    const QMetaObject *type = bundle->principalClass(&error);
    ASSERT_NE(type, nullptr) << error.description().toStdString();
    EXPECT_TRUE(bundle->isLoaded());
    EXPECT_TRUE(bundle->load());
    EXPECT_STREQ(type->className(), "GoodCode");
    QObject parent;
    const QObject *object = type->newInstance(Q_ARG(QObject *, &parent));
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->parent(), &parent);
    EXPECT_EQ(object->property("title"), u"A title"_s); // the code used its bundle while it loaded
    EXPECT_EQ(VXBundle::pathOfCode(type), bundle->executablePath());
}

TEST_F(VXBundleTest, RefusesCodeThatCannotBeUsedWithItsReason)
{
    const std::tuple<VXBundle::Ptr, bool, const char *> rows[] = {
        {bundleWithCode(u"WrongVersionCode"_s, u"w"_s), true, "built for interface version "},
        {bundleWithCode(u"NoEntryPointCode"_s, u"n"_s), true, "undefined symbol: VXBundlePrincipalClass"},
        {bundleWithCode(u"UnresolvedSymbolCode"_s, u"u"_s), false, "undefined symbol: symbolThatIsDefinedNowhere"},
        {VXBundle::bundleWithPath(makeBundle(u"gone"_s, {{u"CFBundleExecutable"_s, u"gone"_s}})), false,
         "No such file"},
        {VXBundle::bundleWithPath(makeBundle(u"none"_s, {})), false, "names no code"},
        {VXBundle::bundleWithPath(makeBundle(u"outside"_s, {{u"CFBundleExecutable"_s, u"../../x"_s}})), false,
         "names no code"},
    };
    for (const auto &[bundle, loads, reason] : rows) {
        VXError error;
        EXPECT_EQ(bundle->principalClass(&error), nullptr);
        EXPECT_EQ(error.code(), int(VXPlatformErrorCode::BundleLoad));
        EXPECT_THAT(error.description().toStdString(),
                    AllOf(HasSubstr(reason), HasSubstr(bundle->bundlePath().toStdString())));
        EXPECT_EQ(bundle->load(), loads) << reason;
    }
}

TEST_F(VXBundleTest, TellsWhichFileHoldsAnAddress)
{
    static const int here = 0;
    EXPECT_EQ(VXBundle::pathOfCode(&here), QCoreApplication::applicationFilePath());
    EXPECT_TRUE(QFileInfo(VXBundle::pathOfCode(reinterpret_cast<const void *>(&VXBundle::mainBundle)))
                    .fileName()
                    .startsWith(u"libVornixPlatform"_s));
    int onStack = 0;
    EXPECT_TRUE(VXBundle::pathOfCode(&onStack).isNull());
}
