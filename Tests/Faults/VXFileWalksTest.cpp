#include "VXFailingCalls.h"
#include "VXFileManager.h"
#include "VXManagedObjectModel.h"
#include "VXModelParser.h"
#include "VXPropertyList.h"
#include "VXTesting.h"
#include "VXUserDefaults.h"

#include <gtest/gtest-spi.h>
#include <QtCore/QDir>
#include <QtCore/QDirIterator>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

/** Walks over what changes single files and folders. */
class VXFileWalks : public VXHomeTest
{
protected:
    /** Every file below the folder with its contents; links with where they lead. */
    static QVariantMap tree(const QString &folder)
    {
        QVariantMap found;
        QDirIterator item(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                          QDirIterator::Subdirectories);
        while (item.hasNext()) {
            const QFileInfo info(item.next());
            const QString name = info.filePath().mid(folder.size() + 1);
            if (info.isSymLink())
                found.insert(name, info.symLinkTarget());
            else
                found.insert(name, info.isDir() ? QByteArray("folder") : readFile(info.filePath()));
        }
        return found;
    }
    QVariantMap tree() const { return tree(path(u"in"_s)); }
    static QStringList namesOtherThan(const QStringList &names, const QString &folder)
    {
        QStringList found =
            QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
        found.removeIf([&names](const QString &name) { return names.contains(name); });
        return found;
    }

    void makeTree() const
    {
        QDir(path(u"in"_s)).removeRecursively();
        QDir(path(u"out"_s)).removeRecursively();
        QDir(path(u".local"_s)).removeRecursively();
        writeFile(u"in/tree/a"_s, QByteArray(1000, 'a'));
        writeFile(u"in/tree/sub/b"_s, "b");
        QFile::link(u"sub/b"_s, path(u"in/tree/link"_s));
    }
};

TEST_F(VXFileWalks, PropertyList)
{
    const QString file = path(u"in/list.plist"_s);
    const auto write = [file](const QString &text) {
        return VXPropertyList::toFile(QVariantMap{{u"k"_s, text}}, file, VXPropertyList::Format::XML);
    };
    VXFailureWalk walk;
    walk.prepare = [&] {
        makeTree();
        ASSERT_TRUE(write(u"old"_s));
    };
    walk.operation = [&] { return write(u"short enough to stay in a buffer"_s); };
    walk.state = [&] { return readFile(file); };
    walk.leftovers = [&] { return namesOtherThan({u"tree"_s, u"list.plist"_s}, path(u"in"_s)); };
    walk.run();
}

// Whatever libplist, which writes XML, does without memory: the file is whole. It may end the process.
TEST_F(VXFileWalks, PropertyListWithoutMemory)
{
    QVariantMap entries;
    for (const QString &key : {u"a"_s, u"b"_s, u"c"_s})
        entries.insert(key, QVariantList{key, 1, 0.5, true, QByteArray("data"), QVariantMap{{u"k"_s, key}}});
    const QString file = path(u"in/list.plist"_s);
    VXFailureWalk walk;
    walk.prepare = [&] {
        makeTree();
        ASSERT_TRUE(VXPropertyList::toFile(u"old"_s, file, VXPropertyList::Format::XML));
    };
    walk.operation = [&] { return VXPropertyList::toFile(entries, file, VXPropertyList::Format::XML); };
    walk.state = [&] { return VXPropertyList::fromFile(file); };
    walk.kinds = VXCallMalloc;
    walk.caller = "libplist";
    walk.run();
}

TEST_F(VXFileWalks, Preferences)
{
    const QString domain = u"org.example.walk"_s;
    const QString folder = path(u"in"_s);
    VXFailureWalk walk;
    walk.prepare = [&] {
        makeTree();
        VXUserDefaults defaults(domain, folder);
        defaults.setObject(u"old"_s, u"k"_s);
        ASSERT_TRUE(defaults.synchronize());
    };
    walk.operation = [&] {
        auto *const defaults = new VXUserDefaults(domain, folder); // it would try once more when it dies
        defaults->setObject(u"new"_s, u"k"_s);
        return defaults->synchronize();
    };
    walk.state = [&] { return VXUserDefaults(domain, folder).objectForKey(u"k"_s); };
    walk.run();
}

TEST_F(VXFileWalks, MoveOnOneFileSystem)
{
    VXFailureWalk walk;
    walk.prepare = [&] { makeTree(); };
    walk.operation = [&] {
        return VXFileManager::defaultManager().moveItemAtPath(path(u"in/tree"_s), path(u"in/moved"_s)).isNull();
    };
    walk.state = [&] { return tree(); };
    walk.run();
}

TEST_F(VXFileWalks, Model)
{
    const auto modelOf = [](const QByteArray &source) {
        QList<VXModelProblem> problems;
        return VXManagedObjectModel::modelWithDefinition(VXParseModel(source, &problems));
    };
    const auto before = modelOf("entity A { attribute a: string; }");
    const auto after = modelOf("entity B { attribute b: string; }");
    ASSERT_TRUE(before && after);
    VXFailureWalk walk;
    walk.prepare = [&] {
        makeTree();
        ASSERT_TRUE(before->writeToFile(path(u"in/a.mom"_s)));
    };
    walk.operation = [&] { return after->writeToFile(path(u"in/a.mom"_s)); };
    walk.state = [&] { return readFile(path(u"in/a.mom"_s)); };
    walk.leftovers = [&] { return namesOtherThan({u"tree"_s, u"a.mom"_s}, path(u"in"_s)); };
    walk.run();
}

TEST_F(VXFileWalks, MoveToAnotherFileSystem)
{
    const QTemporaryDir other(u"/dev/shm/vornix-test.XXXXXX"_s);
    if (!other.isValid())
        GTEST_SKIP() << "needs a second file system at /dev/shm";
    const QString source = path(u"in/tree"_s);
    const QString moved = other.filePath(u"moved"_s);
    VXFailureWalk walk;
    walk.prepare = [&] {
        makeTree();
        for (const QString &name : namesOtherThan({}, other.path()))
            QDir(other.filePath(name)).removeRecursively();
    };
    walk.operation = [&] { return VXFileManager::defaultManager().moveItemAtPath(source, moved).isNull(); };
    // A process that is killed may leave it at both places, whole at the first.
    walk.state = [&] {
        return QFileInfo::exists(source) ? QVariantList{u"here"_s, tree(source)}
                                         : QVariantList{u"there"_s, tree(moved)};
    };
    walk.leftovers = [&] {
        return namesOtherThan({u"tree"_s}, path(u"in"_s)) +
               namesOtherThan(QFileInfo::exists(source) ? QStringList() : QStringList{u"moved"_s}, other.path());
    };
    walk.run();
}

TEST_F(VXFileWalks, Trash)
{
    const QString trash = path(u".local/share/Trash/"_s);
    VXFailureWalk walk;
    walk.prepare = [&] { makeTree(); };
    walk.operation = [&] { return VXFileManager::defaultManager().safelyTrashFileAtPath(path(u"in/tree"_s)).isNull(); };
    walk.state = [&] {
        const QVariantMap trashed = tree(trash + u"files/tree"_s);
        const bool hasNote = QFileInfo::exists(trash + u"info/tree.trashinfo"_s);
        return QVariantList{tree(), trashed, !trashed.isEmpty() && hasNote};
    };
    walk.leftovers = [&] {
        return namesOtherThan(QFileInfo::exists(path(u"in/tree"_s)) ? QStringList() : QStringList{u"tree.trashinfo"_s},
                              trash + u"info"_s);
    };
    walk.run();
}

TEST_F(VXFileWalks, LogRotation)
{
    const QString log = path(u"in/x.log"_s);
    VXFailureWalk walk;
    walk.prepare = [&] {
        makeTree();
        writeFile(u"in/x.log"_s, QByteArray(2 * 1048576 + 1, 'x'));
        writeFile(u"in/x.log.1"_s, "backup");
    };
    walk.operation = [&] {
        return VXFileManager::defaultManager().verifyLogFileAtPath(log) && QFileInfo(log).size() == 0;
    };
    walk.state = [&] { return QVariantList{QFileInfo(log).size(), QFileInfo(log + u".1"_s).size()}; };
    walk.mayRefuseWhatIsDone = true; // when the new log cannot be made
    walk.run();
}

// What the walks are for: a file is emptied and written in place, and what is left in a buffer is not looked after.
TEST_F(VXFileWalks, FindACarelessWriter)
{
    const QString file = path(u"careless"_s);
    VXFailureWalk walk;
    walk.prepare = [&] { writeFile(u"careless"_s, "old"); };
    walk.operation = [&] {
        QFile writer(file);
        return writer.open(QIODevice::WriteOnly) && writer.write("new") == 3;
    };
    walk.state = [&] { return readFile(file); };
    testing::TestPartResultArray found;
    {
        const testing::ScopedFakeTestPartResultReporter reporter(&found);
        walk.run();
    }
    std::string messages;
    for (int index = 0; index < found.size(); ++index)
        messages += found.GetTestPartResult(index).message();
    EXPECT_THAT(messages, testing::HasSubstr("neither old nor new"));
    EXPECT_THAT(messages, testing::HasSubstr("it said yes"));
}

} // namespace
