#include "VXPluginScanner.h"
#include "VXLogRecorder.h"
#include "VXPluginFixtures.h"
#include "VXTesting.h"

using namespace Qt::StringLiterals;

class VXPluginScannerTest : public VXHomeTest
{
protected:
    QString writeCopy(const QString &folder, const QString &version) const
    {
        return VXPluginFixture{.identifier = u"copied"_s, .version = version, .code = {}}.write(path(folder),
                                                                                                u"Copy"_s);
    }

    VXPluginScanner scanner{{path(u"application"_s), path(u"extra"_s), path(u"shared"_s)}, path(u"shared"_s)};
    VXLogRecorder log;
};

TEST_F(VXPluginScannerTest, ChoosesTheNewestCopyAndAmongEqualOnesTheLastFolders)
{
    struct Copy
    {
        QString folder;
        QString version;
        QString reason; // with %1 for the folder of the other copy; null for the chosen one
    };
    const struct
    {
        QString what;
        std::vector<Copy> copies;
        QString chosen; // folder; null for none
        QString reason;
    } rows[] = {
        {u"alone"_s, {{u"application"_s, u"1"_s, {}}}, u"application"_s, u"only copy"_s},
        {u"equal"_s,
         {{u"application"_s, u"2000.1"_s, u"same version as the one in shared, and earlier folder"_s},
          {u"shared"_s, u"2000.1"_s, {}}},
         u"shared"_s,
         u"same version as the one in application, and later folder"_s},
        {u"newer in the earlier folder"_s,
         {{u"application"_s, u"2000.10"_s, {}}, {u"shared"_s, u"2000.9"_s, u"older than the one in application"_s}},
         u"application"_s,
         u"newest version"_s},
        {u"newer in the later folder"_s,
         {{u"application"_s, u"2000.1"_s, u"older than the one in shared"_s}, {u"shared"_s, u"2000.1.1"_s, {}}},
         u"shared"_s,
         u"newest version"_s},
        {u"three"_s,
         {{u"application"_s, u"2000"_s, u"older than the one in extra"_s},
          {u"extra"_s, u"2002"_s, {}},
          {u"shared"_s, u"2001"_s, u"older than the one in extra"_s}},
         u"extra"_s,
         u"newest version"_s},
        {u"too old for the shared folder"_s, {{u"shared"_s, u"1944.9"_s, u"below version 1945"_s}}, {}, {}},
        {u"too old there, but not elsewhere"_s,
         {{u"extra"_s, u"3"_s, {}}, {u"shared"_s, u"1944"_s, u"below version 1945"_s}},
         u"extra"_s,
         u"only copy"_s},
        {u"just new enough"_s, {{u"shared"_s, u"1945"_s, {}}}, u"shared"_s, u"only copy"_s},
        {u"words behind the number"_s, {{u"shared"_s, u"1945beta"_s, {}}}, u"shared"_s, u"only copy"_s},
        {u"no number"_s, {{u"shared"_s, u"new"_s, u"below version 1945"_s}}, {}, {}},
        {u"no version in the shared folder"_s, {{u"shared"_s, {}, u"below version 1945"_s}}, {}, {}},
        {u"no version elsewhere"_s,
         {{u"application"_s, {}, u"older than the one in extra"_s}, {u"extra"_s, u"1"_s, {}}},
         u"extra"_s,
         u"newest version"_s},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.what.toStdString());
        QDir(path()).removeRecursively();
        for (const Copy &copy : row.copies)
            writeCopy(copy.folder, copy.version);
        const QStringList paths = scanner.latestPluginPaths();
        EXPECT_EQ(paths, row.chosen.isNull() ? QStringList() : QStringList{path(row.chosen + "/Copy.vxplugin"_L1)});

        const VXPluginChoice choice = scanner.choices().value(u"copied"_s);
        EXPECT_EQ(QString(choice.chosen.reason).remove(path() + u'/'), row.reason);
        EXPECT_EQ(choice.passedOver.size(), qsizetype(row.copies.size()) - paths.size());
        for (const Copy &copy : row.copies) {
            const QString file = path(copy.folder + "/Copy.vxplugin"_L1);
            for (const VXPluginCopy &passed : choice.passedOver) {
                if (passed.path == file) {
                    EXPECT_EQ(QString(passed.reason).remove(path() + u'/'), copy.reason);
                }
            }
        }
    }
}

TEST_F(VXPluginScannerTest, SkipsWhatHasNoReadableIdentifierAndSaysWhy)
{
    const QString good = writeCopy(u"shared"_s, u"2000"_s);
    const QString nameless = VXPluginFixture{.identifier = {}, .code = {}}.write(path(u"shared"_s), u"Nameless"_s);
    writeFile(u"shared/Damaged.vxplugin/Contents/Info.plist"_s, "<plist><dict><key>a");
    writeFile(u"shared/List.vxplugin/Contents/Info.plist"_s, "<plist><array/></plist>");
    writeFile(u"shared/Empty.vxplugin/Contents/other"_s, {});
    writeFile(u"shared/File.vxplugin"_s, {});
    writeFile(u"shared/Other.bundle/Contents/Info.plist"_s, {}); // no plugin at all
    EXPECT_EQ(scanner.latestPluginPaths(), QStringList{good});

    EXPECT_THAT(log.lines(u"WARNING"_s).filter(u"Info.plist is missing identifier: "_s + nameless), testing::SizeIs(1));
    const QString shared = path(u"shared"_s);
    for (const auto &[text, bundle] :
         {std::pair{"Unable to create data from plist: %1"_L1, "Empty"_L1},
          std::pair{"Unable to create data from plist: %1"_L1, "File"_L1},
          std::pair{"Unable to create dictionary from plist data: %1 Not a property list: line 1: "_L1, "Damaged"_L1},
          std::pair{"Unable to create dictionary from plist data: %1 It is no dictionary."_L1, "List"_L1}})
        EXPECT_EQ(log.count(QString(text).arg(shared + u'/' + bundle + ".vxplugin/Contents/Info.plist"_L1)), 1)
            << bundle.data();
    EXPECT_EQ(log.count(u"Other.bundle"_s), 0);
}
