#include "VXStoreFileTest.h"
#include "VXOtherProcess.h"
#include "VXTestSQL.h"

#include <QtCore/QFile>
#include <QtCore/QSize>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <thread>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

// The data file of a store, its names, and what lies beside it.

INSTANTIATE_TEST_SUITE_P(Types, VXStoreFileTest, testing::Values(VXStoreType::XML, VXStoreType::SQLite),
                         [](const auto &each) { return each.param == VXStoreType::XML ? "XML" : "SQLite"; });

TEST_P(VXStoreFileTest, ALinkLeadsToTheOneStore)
{
    QDir(path()).mkdir(u"folder"_s);
    QFile::link(path(u"folder/a"_s), path(u"link"_s));
    QFile::link(path(u"folder"_s), path(u"other"_s));
    const auto made = open(u"link"_s); // even the one that is yet to be made
    ASSERT_TRUE(made) << error.description().toStdString();
    addItem(*made);
    for (const QString &name : {u"link"_s, u"other/a"_s, u"folder/a"_s}) {
        for (const bool isReadOnly : {true, false}) {
            const auto store = open(name, {.isReadOnly = isReadOnly});
            ASSERT_TRUE(store) << error.description().toStdString();
            EXPECT_EQ(store->path(), path(u"folder/a"_s));
            EXPECT_EQ(count(*store), 1) << name.toStdString() << isReadOnly;
        }
    }
    EXPECT_EQ(files(), QStringList{u"link"_s}) << "nothing lies beside the link";
}

TEST_P(VXStoreFileTest, OtherFilesThanPlainOnesAreRefused)
{
    addItem(*open(u"a"_s));
    ASSERT_EQ(::link(path(u"a"_s).toUtf8().constData(), path(u"b"_s).toUtf8().constData()), 0);
    ASSERT_EQ(::mkfifo(path(u"pipe"_s).toUtf8().constData(), 0600), 0);
    for (const auto &[name, reason] :
         {std::pair("a", "2 names"), std::pair("b", "2 names"), std::pair("pipe", "no plain file")}) {
        EXPECT_FALSE(open(QLatin1StringView(name)));
        EXPECT_EQ(error.code(), int(Code::InvalidStore));
        EXPECT_THAT(error.localizedRecoverySuggestion().toStdString(), testing::HasSubstr(reason));
        EXPECT_TRUE(Coordinator::metadataForPersistentStore(GetParam(), path(QLatin1StringView(name))).isEmpty());
    }
    QFile::remove(path(u"b"_s));
    EXPECT_TRUE(open(u"a"_s));
    EXPECT_FALSE(open(u"no/a"_s));
    EXPECT_EQ(error.localizedRecoverySuggestion(), u"The folder %1 does not exist."_s.arg(path(u"no"_s)));
}

// As two processes have it: each store object has a coordinator of its own.
TEST_P(VXStoreFileTest, TwoStoresOnOneFileSeeEachOthersSavesAndConflicts)
{
    const auto first = open(u"store"_s);
    const auto second = open(u"store"_s);
    VXRowSaver one(*first);
    VXRowSaver two(*second);
    const VXManagedObjectID item = one.add(u"Item"_s, {{u"text"_s, u"first"_s}});
    two.add(u"Item"_s, {{u"text"_s, u"second"_s}}); // neither was saved, and yet they differ
    ASSERT_TRUE(one.saveAndCommit() && two.saveAndCommit());
    EXPECT_EQ(texts(*first), (QVariantList{u"first"_s, u"second"_s}));

    one.change(item, {{u"text"_s, u"one"_s}});
    two.change(item, {{u"text"_s, u"two"_s}});
    two.add(u"Item"_s);
    first->setMetadata({{u"note"_s, u"\x01?"_s}});
    one.request.metadata = first->unsavedMetadata();
    ASSERT_TRUE(one.saveAndCommit());
    EXPECT_FALSE(first->unsavedMetadata());
    EXPECT_FALSE(two.saveAndCommit());
    EXPECT_FALSE(two.error);
    ASSERT_EQ(two.conflicts.size(), 1);
    EXPECT_EQ(two.conflicts[0].objectID, item);
    EXPECT_EQ(two.conflicts[0].stored->value(item.entity().propertyForName(u"text"_s)->index()), u"one"_s);
    EXPECT_EQ(texts(*second), (QVariantList{u"one"_s, u"second"_s})) << "nothing of it was saved";
    const QVariantMap metadata = open(u"store"_s)->metadata();
    EXPECT_EQ(metadata.value(u"note"_s), u"\x01?"_s);
    EXPECT_EQ(Coordinator::metadataForPersistentStore(GetParam(), path(u"store"_s)), metadata);

    two.request.changes[0].overwrites = true;
    ASSERT_TRUE(two.saveAndCommit());
    EXPECT_GT(first->row(item, &error)->version(), 2); // above both, so that whoever read the first's save will notice
    EXPECT_EQ(texts(*first), (QVariantList{u"two"_s, u"second"_s, QVariant()}));

    one.change(item, {{u"text"_s, u"three"_s}});
    two.remove(item);
    ASSERT_TRUE(two.saveAndCommit());
    EXPECT_FALSE(one.saveAndCommit());
    ASSERT_EQ(one.conflicts.size(), 1);
    EXPECT_EQ(one.conflicts[0].stored, nullptr);
    one.request.changes[0].overwrites = true;
    ASSERT_TRUE(one.saveAndCommit());
    EXPECT_EQ(texts(*second), (QVariantList{u"three"_s, u"second"_s, QVariant()}));
}

TEST_P(VXStoreFileTest, OnlyTheMetadataThatWereSetAreReplaced)
{
    const auto first = open(u"a"_s);
    const auto second = open(u"a"_s);
    QVariantMap expected = first->metadata();
    const auto set = [](VXPersistentStore &store, const QVariantMap &changes, const QString &removed = {}) {
        QVariantMap metadata = store.metadata();
        metadata.remove(removed);
        metadata.insert(changes);
        store.setMetadata(metadata);
        VXRowSaver saver(store);
        saver.request.metadata = store.unsavedMetadata();
        EXPECT_TRUE(saver.saveAndCommit());
        EXPECT_FALSE(store.unsavedMetadata());
    };
    set(*first, {{u"a"_s, 1}, {u"b"_s, 1}});
    set(*second, {{u"c"_s, 2}}); // has not seen those
    set(*second, {{u"b"_s, 3}}, u"a"_s);
    set(*first, {{u"d"_s, 4}});
    expected.insert({{u"b"_s, 3}, {u"c"_s, 2}, {u"d"_s, 4}});
    EXPECT_EQ(first->metadata(), expected);
    EXPECT_EQ(open(u"a"_s)->metadata(), expected);

    std::vector<std::thread> threads; // with entries of their own
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&first, number] {
            for (int time = 0; time < 200; ++time)
                first->changeMetadata({{QString::number(number), time}, {u"b"_s, {}}, {VXStoreUUIDKey, u"mine"_s}});
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    expected.remove(u"b"_s);
    expected.insert({{u"0"_s, 199}, {u"1"_s, 199}, {u"2"_s, 199}, {u"3"_s, 199}});
    EXPECT_EQ(first->metadata(), expected);
}

TEST_P(VXStoreFileTest, ACopyIsWhatWasSaved)
{
    const auto store = open(u"a"_s);
    VXRowSaver saver(*store);
    const VXManagedObjectID one = saver.add(u"Item"_s, {{u"text"_s, u"one"_s}});
    saver.add(u"Item"_s, {{u"parent"_s, QVariant::fromValue(one)}});
    saver.link(one, u"peers"_s, {one});
    store->setMetadata({{u"owner"_s, u"me"_s}});
    saver.request.metadata = store->unsavedMetadata();
    ASSERT_TRUE(saver.saveAndCommit());
    const auto pending = [&] {
        saver.add(u"Item"_s);
        return saver.save();
    }();
    ASSERT_TRUE(pending); // somebody is in the midst of a save
    ASSERT_TRUE(store->copyTo(path(u"it's a copy"_s), &error)) << error.description().toStdString();
    EXPECT_FALSE(store->copyTo(path(u"it's a copy"_s), &error));
    EXPECT_EQ(error.code(), int(Code::FileWrite));
    EXPECT_FALSE(store->copyTo(path(u"no folder/copy"_s), &error));

    const auto copy = open(u"it's a copy"_s);
    ASSERT_TRUE(copy) << error.description().toStdString();
    EXPECT_EQ(count(*copy), 2);
    EXPECT_EQ(copy->metadata(), store->metadata());
    EXPECT_EQ(copy->check(), QStringList());
    EXPECT_EQ(copy->row({one.entity(), copy->identity(), one.number()}, &error)->version(), 1);
    EXPECT_EQ(files().filter(u"new"_s), QStringList());
}

namespace {

std::array<int, 2> inTheMidst; // written to by who copies, once half of it is there
std::array<int, 2> goOn;       // read from then

void waitInTheMidst(int)
{
    char sign = 'x';
    if (::write(inTheMidst[1], &sign, 1) != 1 || ::read(goOn[0], &sign, 1) != 1)
        std::_Exit(2);
}

} // namespace

// To a place that takes long: who writes to the store meanwhile does not wait for it.
TEST_P(VXStoreFileTest, ACopyUnderWayKeepsNoWriterOut)
{
    if (GetParam() == VXStoreType::XML) // whose writers take turns with readers
        return;
    {
        const auto store = open(u"a"_s);
        VXRowSaver saver(*store);
        for (int item = 0; item < 200; ++item)
            saver.add(u"Item"_s, {{u"text"_s, QString(1000, u'x')}});
        ASSERT_TRUE(saver.saveAndCommit());
        VXPersistentStore::closeAll();
    }
    ASSERT_EQ(::pipe(inTheMidst.data()) | ::pipe(goOn.data()), 0);
    const pid_t copier = ::fork();
    if (copier == 0) {
        const auto store = open(u"a"_s);
        std::signal(SIGXFSZ, waitInTheMidst);
        const rlimit most{rlim_t(QFileInfo(path(u"a"_s)).size() / 2), RLIM_INFINITY};
        ::setrlimit(RLIMIT_FSIZE, &most);
        std::_Exit(!store || store->copyTo(path(u"b"_s), &error) || !error ||
                           error.description().contains(u"not an error"_s)
                       ? 1
                       : 0); // it fails by that limit in the end
    }
    char sign = 0;
    ASSERT_EQ(::read(inTheMidst[0], &sign, 1), 1);
    const auto store = open(u"a"_s, {.busyTimeout = std::chrono::milliseconds(0)});
    ASSERT_TRUE(store) << error.description().toStdString();
    addItem(*store);
    EXPECT_EQ(::write(goOn[1], &sign, 1), 1);
    int status = 0;
    EXPECT_EQ(::waitpid(copier, &status, 0), copier);
    EXPECT_EQ(status, 0);
    for (const int end : {inTheMidst[0], inTheMidst[1], goOn[0], goOn[1]})
        ::close(end);
    EXPECT_EQ(count(*store), 201);
    EXPECT_EQ(files().filter(u"b"_s), QStringList());
    EXPECT_TRUE(store->copyTo(path(u"b"_s), &error));
    EXPECT_EQ(count(*open(u"b"_s)), 201);
}

TEST_P(VXStoreFileTest, AClosedStoreIsAllInItsFile)
{
    const auto coordinator = Coordinator::coordinatorWithModel(model);
    const auto store = coordinator->addPersistentStore(GetParam(), path(u"a"_s));
    addItem(*store);
    ASSERT_TRUE(coordinator->removePersistentStore(store, &error));
    EXPECT_EQ(files().filter(u"-wal"_s), QStringList());
    EXPECT_TRUE(QFile::copy(path(u"a"_s), path(u"b"_s)));
    EXPECT_EQ(count(*open(u"b"_s)), 1);
    VXRowSaver saver(*store);
    EXPECT_FALSE(saver.save());
    EXPECT_EQ(saver.error.code(), int(Code::InvalidStore));
    EXPECT_FALSE(store->fetch(VXFetchRequest(*model->entityForName(u"Item"_s)), true, &error));
    EXPECT_EQ(error.code(), int(Code::InvalidStore));
}

TEST_P(VXStoreFileTest, ReadingAloneLeavesNothingBeside)
{
    addItem(*open(u"a"_s));
    const QByteArray contents = readFile(path(u"a"_s));
    const QStringList before = files();
    {
        const auto reader = open(u"a"_s, {.isReadOnly = true});
        ASSERT_TRUE(reader) << error.description().toStdString();
        EXPECT_EQ(count(*reader), 1);
        addItem(*open(u"a"_s));
        EXPECT_EQ(count(*reader), 2) << "it sees what others save";
    }
    EXPECT_EQ(files(), before);
    EXPECT_NE(readFile(path(u"a"_s)), contents);
    EXPECT_EQ(count(*open(u"a"_s, {.isReadOnly = true})), 2);
    EXPECT_EQ(files(), before);
}

TEST_P(VXStoreFileTest, AllStoresAreClosedAtTheEnd)
{
    const auto store = open(u"a"_s);
    addItem(*store);
    VXPersistentStore::closeAll();
    VXPersistentStore::closeAll();
    EXPECT_EQ(files().filter(u"-wal"_s), QStringList());
    EXPECT_EQ(count(*open(u"a"_s)), 1);
    EXPECT_FALSE(store->copyTo(path(u"b"_s), &error));
    EXPECT_EQ(error.code(), int(Code::InvalidStore));
    EXPECT_EQ(error.filePath(), store->path());

    std::atomic<bool> isOver = false; // while others open stores
    std::thread opener([&] {
        for (int time = 0; time < 50; ++time)
            EXPECT_TRUE(open(u"a"_s)) << error.description().toStdString();
        isOver = true;
    });
    while (!isOver)
        VXPersistentStore::closeAll();
    opener.join();
}

// All begin at once, none waits for the file to be there.
TEST_P(VXStoreFileTest, ProcessesMakeOneStoreTogether)
{
    constexpr int processes = 6;
    constexpr int itemsOfEach = 5;
    for (const QString &name : {u"0"_s, u"1"_s, u"2"_s, u"3"_s, u"4"_s}) {
        EXPECT_EQ(VXProcessesThatSucceed(processes,
                                         [&](int) {
                                             const auto store = open(name);
                                             EXPECT_TRUE(store) << error.description().toStdString();
                                             for (int item = 0; store && item < itemsOfEach; ++item)
                                                 addItem(*store);
                                             return bool(store);
                                         }),
                  processes);
        EXPECT_EQ(count(*open(name)), processes * itemsOfEach);
    }
    EXPECT_EQ(files().filter(u".new"_s), QStringList());
}

TEST_P(VXStoreFileTest, WhatADeathLeftDoesNotMatter)
{
    const QString aside = u".a.new"_s;
    writeFile(aside, "half");
    writeFile(aside + u"-journal"_s, "a journal");
    const auto gone = open(u"gone"_s);
    addItem(*gone);
    for (const QString &name : {u"a-wal"_s, u"copy-wal"_s})
        QFile::copy(path(u"gone-wal"_s), path(name)); // an XML store has none
    const auto store = open(u"a"_s);
    EXPECT_EQ(count(*store), 0);
    ASSERT_TRUE(store->copyTo(path(u"copy"_s), &error)) << error.description().toStdString();
    EXPECT_EQ(count(*open(u"copy"_s)), 0);

    for (const QString &name : {u"b-journal"_s, u"b-wal"_s, u"b-shm"_s}) {
        writeFile(name, "Dear diary");
        EXPECT_EQ(bool(open(u"b"_s)), GetParam() == VXStoreType::XML) << "it is the user's";
        EXPECT_EQ(error.localizedRecoverySuggestion().endsWith(u"move it away"_s), GetParam() != VXStoreType::XML);
        EXPECT_EQ(readFile(path(name)), "Dear diary");
        QFile::remove(path(name));
    }
}

TEST_P(VXStoreFileTest, NothingIsSavedToAFileThatIsElsewhere)
{
    const auto store = open(u"a"_s);
    addItem(*store);
    addItem(*open(u"other"_s));
    VXRowSaver saver(*store);
    saver.add(u"Item"_s);
    ASSERT_TRUE(QFile::rename(path(u"a"_s), path(u"aside"_s)));
    EXPECT_FALSE(saver.saveAndCommit()) << "moved";
    EXPECT_EQ(saver.error.code(), int(Code::InvalidStore));
    EXPECT_EQ(saver.error.localizedRecoverySuggestion(), u"Its file is gone."_s);
    ASSERT_TRUE(QFile::rename(path(u"other"_s), path(u"a"_s)));
    EXPECT_FALSE(saver.saveAndCommit()) << "replaced";
    EXPECT_EQ(saver.error.code(), int(Code::InvalidStore));
    ASSERT_TRUE(QFile::remove(path(u"a"_s)) && QFile::rename(path(u"aside"_s), path(u"a"_s)));
    EXPECT_TRUE(saver.saveAndCommit()) << "back again";
    EXPECT_EQ(count(*open(u"a"_s)), 2);
}

TEST_P(VXStoreFileTest, AFileMovedOverAnOpenStoreDoesNotGetItsLog)
{
    auto store = open(u"a"_s);
    addItem(*open(u"other"_s));
    addItem(*store);
    addItem(*store);
    ASSERT_TRUE(QFile::rename(path(u"a"_s), path(u"aside"_s)) && QFile::rename(path(u"other"_s), path(u"a"_s)));
    store.reset();
    EXPECT_EQ(count(*open(u"a"_s)), 1);
    EXPECT_EQ(count(*open(u"aside"_s)), 2) << "what was saved goes with the file";
}

TEST_P(VXStoreFileTest, WhatNoPropertyListHoldsIsNotSaved)
{
    const auto store = open(u"a"_s);
    VXRowSaver saver(*store);
    saver.add(u"Item"_s, {{u"list"_s, QSize(1, 1)}});
    EXPECT_FALSE(saver.saveAndCommit());
    EXPECT_TRUE(saver.error);
}

TEST_P(VXStoreFileTest, BrokenReferencesAreToldAndMended)
{
    VXManagedObjectID lonely;
    {
        const auto store = open(u"a"_s);
        VXRowSaver saver(*store);
        const VXManagedObjectID gone = saver.add(u"Item"_s, {{u"text"_s, u"gone"_s}});
        lonely = saver.add(u"Item"_s, {{u"text"_s, u"lonely"_s}, {u"parent"_s, QVariant::fromValue(gone)}});
        saver.link(lonely, u"peers"_s, {gone});
        ASSERT_TRUE(saver.saveAndCommit());
        ASSERT_EQ(gone.number(), 1);
    }
    if (GetParam() == VXStoreType::XML) { // as a store looks where links were not checked
        QByteArray text = readFile(path(u"a"_s));
        const qsizetype object = text.indexOf("<object entity=\"Item\" id=\"1\"");
        text.remove(object, text.indexOf("</object>", object) + 9 - object);
        text.replace("<relationship name=\"parent\"",
                     "<relationship name=\"peers\" to=\"Item/5\"/><relationship name=\"parent\"");
        writeFile(u"a"_s, text);
    } else {
        VXRunSQL(path(u"a"_s), "DELETE FROM VX_Item WHERE Z_PK = 1");
    }
    const auto store = open(u"a"_s);
    ASSERT_TRUE(store) << error.description().toStdString();
    EXPECT_EQ(store->check().size(), 2) << store->check().join(u'\n').toStdString();
    const VXManagedObjectID source(lonely.entity(), store->identity(), lonely.number());
    EXPECT_TRUE(store->related(
        {source}, *source.entity().relationshipForName(u"peers"_s),
        [](const VXManagedObjectID &, const VXManagedObjectID &) { ADD_FAILURE() << "leads nowhere"; }, &error));
    const auto mended = store->mend(&error);
    ASSERT_TRUE(mended) << error.description().toStdString();
    EXPECT_EQ(mended->size(), 2);
    EXPECT_EQ(store->check(), QStringList());
    EXPECT_EQ(store->mend(&error), QStringList());
    const auto again = open(u"a"_s);
    EXPECT_EQ(again->check(), QStringList());
    EXPECT_EQ(again->row({lonely.entity(), again->identity(), lonely.number()}, &error)->version(), 2);
}
