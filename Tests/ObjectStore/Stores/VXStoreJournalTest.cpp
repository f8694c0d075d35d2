// What keeps saves apart and whole: the lock file of an XML store, the write-ahead log of an SQLite store.

#include "VXStoreFileTest.h"

#include <QtCore/QFile>

#include <functional>

#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

using VXStoreLockTest = VXStoreFileTest;
INSTANTIATE_TEST_SUITE_P(Types, VXStoreLockTest, testing::Values(VXStoreType::XML));

TEST_P(VXStoreLockTest, LinksInPlaceOfTheLockAreNotFollowed)
{
    const QString victim = writeFile(u"victim"_s, "precious");
    const auto store = open(u"a"_s);
    const QString lock = path(u"a.lock"_s);
    const struct
    {
        const char *what;
        std::function<void()> make;
    } cases[] = {
        {"symbolic", [&] { QFile::link(victim, lock); }},
        {"dangling", [&] { QFile::link(path(u"nothing"_s), lock); }},
        {"hard", [&] { EXPECT_EQ(::link(victim.toUtf8().constData(), lock.toUtf8().constData()), 0); }},
        {"pipe", [&] { EXPECT_EQ(::mkfifo(lock.toUtf8().constData(), 0600), 0); }},
    };
    for (const auto &each : cases) {
        QFile::remove(lock);
        each.make();
        EXPECT_FALSE(store->reserveNumbers(*model->entityForName(u"Item"_s), 1, &error)) << each.what;
        EXPECT_EQ(error.code(), int(Code::FileWrite)) << each.what;
        EXPECT_EQ(readFile(victim), "precious") << each.what;
    }
    EXPECT_FALSE(QFile::exists(path(u"nothing"_s)));
    QFile::remove(lock);
    addItem(*store);
}

// A line that was cut short was never told to anybody, and takes none of the others along.
TEST_P(VXStoreLockTest, NumbersAreGivenOnceWhateverCutsTheirList)
{
    const VXEntityDescription &item = *model->entityForName(u"Item"_s);
    const auto first = open(u"a"_s);
    const auto second = open(u"a"_s);
    QSet<qint64> given;
    const auto take = [&](VXPersistentStore &store) {
        const auto number = store.reserveNumbers(item, 10, &error);
        ASSERT_TRUE(number) << error.description().toStdString();
        for (qint64 each = *number; each < *number + 10; ++each) {
            EXPECT_FALSE(given.contains(each)) << each;
            given.insert(each);
        }
    };
    take(*first);
    take(*second);
    QFile lock(path(u"a.lock"_s));
    ASSERT_TRUE(lock.open(QIODevice::Append) && lock.write("Item 9") == 6);
    lock.close();
    take(*first);
    addItem(*second); // with it come the numbers of all
    EXPECT_EQ(readFile(path(u"a.lock"_s)), "");
    take(*first);
    take(*second);
    take(*open(u"a"_s));
}

namespace {

/** The usual files of SQLite, whose log cannot be brought to the disk for a while. */
struct FailingSync
{
    static inline int failures = 0; // to come
    static inline const sqlite3_io_methods *usual = nullptr;
    static inline int (*usualOpen)(sqlite3_vfs *, const char *, sqlite3_file *, int, int *) = nullptr;
    static inline sqlite3_io_methods methods;
    static inline sqlite3_vfs vfs;

    static int sync(sqlite3_file *file, int flags)
    {
        if (failures > 0) {
            --failures;
            return SQLITE_IOERR_FSYNC;
        }
        return usual->xSync(file, flags);
    }
    static int open(sqlite3_vfs *, const char *name, sqlite3_file *file, int flags, int *outFlags)
    {
        const int status = usualOpen(sqlite3_vfs_find("unix"), name, file, flags, outFlags);
        if (status == SQLITE_OK && (flags & SQLITE_OPEN_WAL) != 0) {
            usual = file->pMethods;
            methods = *usual;
            methods.xSync = sync;
            file->pMethods = &methods;
        }
        return status;
    }

    FailingSync()
    {
        vfs = *sqlite3_vfs_find("unix");
        usualOpen = vfs.xOpen;
        vfs.zName = "failing";
        vfs.xOpen = open;
        sqlite3_vfs_register(&vfs, 1);
    }
    ~FailingSync()
    {
        failures = 0;
        sqlite3_vfs_unregister(&vfs);
    }
};

} // namespace

using VXStoreLogTest = VXStoreFileTest;
INSTANTIATE_TEST_SUITE_P(Types, VXStoreLogTest, testing::Values(VXStoreType::SQLite));

// The log is copied as a crash leaves it, and recovered.
TEST_P(VXStoreLogTest, WhatWasNotSavedDoesNotComeBack)
{
    const FailingSync disk;
    const auto recovered = [this] {
        for (const QString &end : {u""_s, u"-wal"_s}) {
            QFile::remove(path(u"b"_s + end));
            EXPECT_TRUE(QFile::copy(path(u"a"_s + end), path(u"b"_s + end)));
        }
        return count(*open(u"b"_s));
    };
    const auto store = open(u"a"_s);
    addItem(*store);
    VXRowSaver saver(*store);
    saver.add(u"Item"_s);
    const VXSaveRequest request = saver.request;
    FailingSync::failures = 1;
    EXPECT_FALSE(saver.saveAndCommit());
    EXPECT_EQ(saver.error.code(), int(Code::FileWrite)) << saver.error.description().toStdString();
    EXPECT_EQ(count(*store), 1);
    EXPECT_EQ(recovered(), 1);

    FailingSync::failures = 100;
    saver.request = request;
    EXPECT_FALSE(saver.saveAndCommit());
    EXPECT_EQ(saver.error.code(), int(Code::SaveUnknown)) << saver.error.description().toStdString();
    EXPECT_EQ(count(*store), 1);
    FailingSync::failures = 0;
    saver.request = request;
    EXPECT_TRUE(saver.saveAndCommit()) << saver.error.description().toStdString();
    EXPECT_EQ(recovered(), 2);
}
