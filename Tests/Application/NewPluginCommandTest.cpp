#include "HostTestsPaths.h"
#include "VXBundle.h"
#include "VXHostCommandTable.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXTesting.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QTemporaryFile>

using namespace Qt::StringLiterals;

namespace {

class NewPluginCommandTest : public VXHomeTest
{
protected:
    NewPluginCommandTest()
    {
        const QString program = QStringLiteral(VORNIX_PROGRAM);
        VXBundle::setMainBundle(VXBundle::bundleWithPath(QFileInfo(program).path() + "/../.."_L1));
    }
    ~NewPluginCommandTest() override { VXBundle::setMainBundle(nullptr); }

    struct Outcome
    {
        int status;
        QByteArray output;
        QByteArray errors;
    };

    // "new-plugin" with these arguments, in this process.
    static Outcome run(const QStringList &arguments)
    {
        const VXHostCommandTable &table = VXHostCommandTable::standard();
        const VXHostOptions options(QStringList{u"new-plugin"_s} + arguments, table);
        EXPECT_EQ(options.error(), QString());
        QTemporaryFile out;
        QTemporaryFile errors;
        EXPECT_TRUE(out.open() && errors.open());
        VXHostOutput output(out.handle(), errors.handle(), false);
        VXHostContext context{options, table, output};
        const int status = output.finish(options.command()->run(context));
        return {status, readFile(out.fileName()), readFile(errors.fileName())};
    }

    static QStringList everything(const QString &folder)
    {
        return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }
};

} // namespace

TEST_F(NewPluginCommandTest, EveryKindHasATemplateThatIsFilledIn)
{
    const QStringList kinds = VXHostCommandTable::standard().find(u"new-plugin"_s)->options.first().choices;
    EXPECT_EQ(kinds.size(), 7);
    for (const QString &kind : kinds) {
        const QString folder = path(kind + u"/deep/folder"_s);
        const Outcome outcome = run({u"second-hand try"_s, folder, u"--kind"_s, kind});
        ASSERT_EQ(outcome.status, 0) << outcome.errors.toStdString();
        const QByteArray code = readFile(folder + u"/SecondHandTryPlugin.cpp"_s);
        EXPECT_TRUE(code.contains("class SecondHandTryPlugin : public VX")) << code.toStdString();
        const QByteArray list = readFile(folder + u"/CMakeLists.txt"_s);
        EXPECT_TRUE(list.contains("IDENTIFIER org.example.secondhandtry\n")) << list.toStdString();
        EXPECT_TRUE(list.contains("KIND VX" + kind.left(1).toUpper().toUtf8())) << list.toStdString();
        const QByteArray texts = readFile(folder + u"/Resources/en.lproj/InfoPlist.strings"_s);
        for (const QByteArray &text : {code, list, texts, readFile(folder + u"/README.md"_s)})
            EXPECT_FALSE(text.isEmpty() || text.contains('@')) << text.toStdString();
    }
    const QByteArray list = readFile(path(u"data/deep/folder/CMakeLists.txt"_s));
    EXPECT_TRUE(list.contains("VXDataStoreName STRING secondhandtry\n")) << list.toStdString();
    const QByteArray model = readFile(path(u"data/deep/folder/Resources/secondhandtry.vxmodel"_s));
    EXPECT_TRUE(model.contains("entity Note") && !model.contains('@')) << model.toStdString();
}

TEST_F(NewPluginCommandTest, RefusesWhatItCannotWrite)
{
    writeFile(u"full/kept.txt"_s, "kept");
    writeFile(u"hidden/.kept"_s, "kept");
    writeFile(u"file"_s, "kept");
    const std::tuple<QString, QString, QStringList, int, QByteArray> cases[] = {
        {u"Hello"_s, u"new"_s, {}, 2, "--kind is missing: one of data, exporter"},
        {u"1st"_s, u"new"_s, {u"--kind=data"_s}, 2, "makes no name of a class"},
        {u"Grüße"_s, u"new"_s, {u"--kind=data"_s}, 2, "makes no name of a class"},
        {u"a\"b"_s, u"new"_s, {u"--kind=data"_s}, 2, "makes no name of a class"},
        {u"Hello\n"_s, u"new"_s, {u"--kind=data"_s}, 2, "makes no name of a class"},
        {u"vX interface"_s, u"new"_s, {u"--kind=data"_s}, 2, "begin with VX are Vornix's own"},
        {u"Hello"_s, u"new"_s, {u"--kind=data"_s, u"--identifier=hello"_s}, 2, "not of the form org.example.name"},
        {u"Hello"_s, u"full"_s, {u"--kind=data"_s}, 1, "the folder is not empty"},
        {u"Hello"_s, u"hidden"_s, {u"--kind=data"_s}, 1, "the folder is not empty"},
        {u"Hello"_s, u"file"_s, {u"--kind=data"_s}, 1, "there is a file of that name"},
        {u"Hello"_s, u"file/below"_s, {u"--kind=data"_s}, 1, "file/below"},
    };
    const QStringList before = everything(path());
    for (const auto &[name, folder, options, status, reason] : cases) {
        const Outcome outcome = run(QStringList{name, path(folder)} + options);
        EXPECT_EQ(outcome.status, status) << name.toStdString();
        EXPECT_TRUE(outcome.errors.contains(reason)) << name.toStdString() << ": " << outcome.errors.toStdString();
        EXPECT_EQ(outcome.output, QByteArray(""));
    }
    EXPECT_EQ(everything(path()), before);
    EXPECT_EQ(everything(path(u"full"_s)), QStringList{u"kept.txt"_s});
}

TEST_F(NewPluginCommandTest, LeavesNothingBehindWhenWritingFails)
{
    // The name of the last file is too long for any file system.
    const QString name(300, u'a');
    EXPECT_EQ(run({name, path(u"made"_s), u"--kind=data"_s}).status, 1);
    EXPECT_FALSE(QFileInfo::exists(path(u"made"_s)));
    ASSERT_TRUE(QDir().mkpath(path(u"given"_s)));
    EXPECT_EQ(run({name, path(u"given"_s), u"--kind=data"_s}).status, 1);
    EXPECT_TRUE(QFileInfo::exists(path(u"given"_s)));
    EXPECT_EQ(everything(path(u"given"_s)), QStringList());
    EXPECT_EQ(run({u"Hello"_s, path(u"given"_s), u"--kind=data"_s}).status, 0);
}
