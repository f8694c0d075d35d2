// What users, other programs and sudden ends do to a mirror.

#include "VXFileLock.h"
#include "VXMetaDataRemoval.h"
#include "VXMetaDataTesting.h"
#include "VXOtherProcess.h"
#include "VXUserDefaults.h"

#include <csignal>
#include <fstream>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

class VXMetaDataIntrusionTest : public VXMetaDataTest
{
};

TEST_F(VXMetaDataIntrusionTest, AFolderWithTheNameOfAFileIsSomebodysOwn)
{
    const VXManagedObjectPtr jane = add(u"Jane"_s);
    pass();
    ASSERT_TRUE(QFile::remove(fileOf(jane)));
    for (const QString &name : {u".store"_s, u".lock"_s}) { // beside it
        QFile::remove(folder() + name);
        writeFile(QDir(path()).relativeFilePath(folder() + name + "/mine.txt"_L1), "mine");
    }
    for (const QString &name : {metaDataFilename(jane->objectID()), u"p9_MD2.person"_s})
        writeFile(QDir(path()).relativeFilePath(folder() + u'/' + name + "/mine.txt"_L1), "mine");
    EXPECT_EQ(pass(), (VXMetaDataCounts{.added = 1, .orphaned = 1}));
    EXPECT_FALSE(VXMetaDataDebt::isAnyOfAll()); // all is done
    EXPECT_TRUE(sync->checkMetaDataFiles(false)->isClean());
    const QString trash = VXFileManager::defaultManager().pathToUserTrashFolder();
    EXPECT_TRUE(QFile::exists(trash + "/p1_MD2.person/mine.txt"_L1));
    EXPECT_TRUE(QFile::exists(trash + "/p9_MD2.person/mine.txt"_L1));
    EXPECT_TRUE(QFile::exists(trash + "/people.store/mine.txt"_L1));
    EXPECT_TRUE(QFile::exists(trash + "/people.lock/mine.txt"_L1));
    ASSERT_TRUE(QDir(folder()).mkdir(u"p9_MD2.person"_s));
    EXPECT_TRUE(sync->checkMetaDataFiles(true)->isRepaired());
    for (const bool isLink : {false, true}) { // in place of the folder
        QDir(folder()).removeRecursively();
        if (isLink)
            ASSERT_TRUE(QFile::link(path(), folder()));
        else
            writeFile(QDir(path()).relativeFilePath(folder()), "mine");
        EXPECT_EQ(pass(), (VXMetaDataCounts{.added = 1}));
        EXPECT_TRUE(QFile::exists(trash + "/people"_L1));
    }
}

TEST_F(VXMetaDataIntrusionTest, WhatLiesInThePlaceOfAllOfItMakesWay)
{
    const QString all = VXFileManager::defaultManager().pathToUserMetadataFolder();
    const VXManagedObjectPtr jane = add(u"Jane"_s);
    for (const QString &place : {all, QFileInfo(all).path()}) {
        QDir(QFileInfo(all).path()).removeRecursively();
        writeFile(QDir(path()).relativeFilePath(place), "mine");
        EXPECT_EQ(pass(), (VXMetaDataCounts{.added = 1})) << place.toStdString();
        EXPECT_EQ(find(u"jane"_s).size(), 1);
        EXPECT_TRUE(QFile::exists(VXFileManager::defaultManager().pathToUserTrashFolder() + u'/' +
                                  QFileInfo(place).fileName()));
    }
}

TEST_F(VXMetaDataIntrusionTest, NothingStaysOfWhatIsNotSearchedAnyMore)
{
    const auto items = [] {
        return QDir(VXFileManager::defaultManager().pathToUserMetadataFolder())
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    };
    EXPECT_TRUE(VXMetaDataRemoval::remove(u"people"_s));
    EXPECT_THAT(items(), IsEmpty());
    const auto mirror = [&] {
        add(u"Jane"_s);
        pass();
        add(u"Joe"_s); // which is owed
        EXPECT_THAT(VXMetaDataRemoval::identifiers(), ElementsAre(u"people"_s));
    };
    mirror();
    writeFile(QDir(path()).relativeFilePath(folder() + "/notes.txt"_L1), "mine");
    {
        VXOtherProcess other([&] { return std::make_unique<VXFileLock>(folder() + ".lock"_L1); });
        ASSERT_TRUE(other.isReady());
        EXPECT_FALSE(VXMetaDataRemoval::remove(u"people"_s)); // while somebody works on it
        EXPECT_EQ(files().size(), 2);
        other.kill();
    }
    EXPECT_TRUE(VXMetaDataRemoval::remove(u"people"_s));
    EXPECT_THAT(items(), UnorderedElementsAre(u".due"_s, u"people.lock"_s)); // the one empty
    EXPECT_THAT(VXMetaDataRemoval::identifiers(), IsEmpty());
    EXPECT_TRUE(QFile::exists(VXFileManager::defaultManager().pathToUserTrashFolder() + "/notes.txt"_L1));
    // What only looks like a sync's, and what a name would lead out of the folder to, is somebody's own.
    const QString all = VXFileManager::defaultManager().pathToUserMetadataFolder();
    const QString own[] = {all + "/own.store"_L1, path(u"Documents/p1_MD2.person"_s)};
    for (const QString &each : own)
        writeFile(QDir(path()).relativeFilePath(each), "mine");
    EXPECT_THAT(VXMetaDataRemoval::identifiers(), IsEmpty());
    const QString outside = "x/"_L1 + QDir(all + "/x"_L1).relativeFilePath(path(u"Documents"_s));
    VXMetaDataDebt(outside).markAll();
    ASSERT_TRUE(QDir(all).mkdir(u"x"_s)); // without it the way leads nowhere
    EXPECT_THAT(VXMetaDataRemoval::identifiers(), ElementsAre(outside));
    EXPECT_TRUE(VXMetaDataRemoval::remove(outside));
    EXPECT_THAT(VXMetaDataRemoval::identifiers(), IsEmpty());
    for (const QString &each : own)
        EXPECT_TRUE(QFile::exists(each)) << each.toStdString();
    // The user changes his mind, and what is told of others stays.
    mirror();
    ASSERT_TRUE(VXSearchIndex::open()->endChanges(u"others"_s, nullptr));
    VXUserDefaults::standardUserDefaults().setObject(true, u"metadata.ignore"_s);
    EXPECT_FALSE(VXMetaDataSync::launchMetaDataSyncWithIdentifier(u"people"_s, coordinator, u"Person"_s, u"changed"_s));
    EXPECT_THAT(VXMetaDataRemoval::identifiers(), ElementsAre(u"others"_s));
    EXPECT_THAT(find(u"j"_s), IsEmpty());
    VXUserDefaults::standardUserDefaults().setObject(QVariant(), u"metadata.ignore"_s); // for the tests that follow
}

// Another may have begun meanwhile, and files may tell what was read before it wrote them.
TEST_F(VXMetaDataIntrusionTest, APassWhoseLockIsRemovedIsMadeOnceMore)
{
    add(u"Jane"_s);
    add(u"unlocks"_s);
    SearchedPerson::isUnlocking = true;
    sync->setNeedsUpdate(false);
    EXPECT_EQ(sync->synchronizeMetaDataFiles(), VXMetaDataSync::Outcome::Failed);
    EXPECT_TRUE(sync->needsUpdate());
    EXPECT_TRUE(VXMetaDataDebt::isAnyOfAll());
    EXPECT_EQ(pass(), (VXMetaDataCounts{.updated = 2}));
    EXPECT_FALSE(VXMetaDataDebt::isAnyOfAll());
    EXPECT_EQ(pass(), (VXMetaDataCounts{.unchanged = 2}));
}

TEST_F(VXMetaDataIntrusionTest, MakesRightWhatOthersDoToItsFolder)
{
    const VXManagedObjectPtr jane = add(u"Jane"_s);
    const VXManagedObjectPtr joe = add(u"Joe"_s);
    pass();
    // The user's own is not lost; what looks like a file of a sync's, and has no object, is.
    for (const QString &name :
         {u"notes.txt"_s, u"p1_MD2.other"_s, u"p1_MD1.person"_s, u"p-1_MD2.person"_s, u"p01_MD2.person"_s})
        writeFile(QDir(path()).relativeFilePath(folder() + u'/' + name), "mine");
    ASSERT_TRUE(QDir(folder()).mkdir(u"more"_s));
    for (const char *const name : {"/own\xff", "/p5_MD2.person\xff"}) // no UTF-8
        std::ofstream(folder().toStdString() + name) << "mine";
    for (const char *const left : {"/.vornix-new0", ".state.aB12cD"})
        writeFile(QDir(path()).relativeFilePath(folder() + QLatin1String(left)), "of who was killed");
    EXPECT_EQ(pass(), (VXMetaDataCounts{.unchanged = 2, .orphaned = 8}));
    EXPECT_EQ(files().size(), 2);
    EXPECT_FALSE(QFile::exists(folder() + ".state.aB12cD"_L1));
    const QString trash = VXFileManager::defaultManager().pathToUserTrashFolder();
    EXPECT_THAT(QDir(trash).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
                UnorderedElementsAre(u"more"_s, u"notes.txt"_s, u"p1_MD1.person"_s, u"p-1_MD2.person"_s,
                                     u"p01_MD2.person"_s, u"own\ufffd"_s));
    // It goes in the middle of a pass: that is broken off, and the next one makes it all.
    joe->setValueForKey(u"removes"_s, u"name"_s);
    joe->setValueForKey(QDateTime::currentDateTimeUtc().addSecs(1), u"changed"_s);
    const VXManagedObjectPtr jim = add(u"Jim"_s);
    pass();
    EXPECT_TRUE(sync->needsUpdate());
    joe->setValueForKey(u"Joe"_s, u"name"_s);
    ASSERT_TRUE(context.save());
    pass();
    EXPECT_FALSE(sync->needsUpdate());
    EXPECT_EQ(files().size(), 3);
    // A file that cannot be read any more is found by the index, which needs all of them.
    writeFile(QDir(path()).relativeFilePath(fileOf(jane)), "bplist00 no more");
    QFile::remove(VXSearchIndex::path());
    pass();
    EXPECT_TRUE(sync->needsUpdate());
    pass();
    EXPECT_EQ(titleIn(fileOf(jane)), u"Jane"_s);
    EXPECT_EQ(find(u"j"_s).size(), 3);
}

TEST_F(VXMetaDataIntrusionTest, AllOfAProcessMakeWhatWasRemovedDuringThePassOfOne)
{
    VXMetaDataSync::setWork(VXMetaDataWork::OwnSaves);
    add(u"Jane"_s);
    sync->terminate();
    QList<VXMetaDataSync::Ptr> syncs;
    for (const QString &identifier : {u"others"_s, u"people"_s})
        syncs.append(
            VXMetaDataSync::launchMetaDataSyncWithIdentifier(identifier, coordinator, u"Person"_s, u"changed"_s));
    const auto passOf = [](const VXMetaDataSync::Ptr &each) {
        each->setNeedsUpdate(false);
        return each->synchronizeMetaDataFiles();
    };
    const std::function<void()> faults[] = {
        [] { QFile::remove(VXSearchIndex::path()); },
        [] { QDir(VXFileManager::defaultManager().pathToUserMetadataFolder()).removeRecursively(); }};
    for (const auto &fault : faults) {
        EXPECT_EQ(passOf(syncs[0]), VXMetaDataSync::Outcome::Done);
        fault();
        EXPECT_EQ(passOf(syncs[1]), VXMetaDataSync::Outcome::Done);
        EXPECT_FALSE(VXSearchIndex::open()->isAllComplete(nullptr)); // so that who searches has more passes made
        EXPECT_TRUE(syncs[0]->isMirrorGone());
        EXPECT_FALSE(syncs[1]->isMirrorGone());
        EXPECT_EQ(passOf(syncs[0]), VXMetaDataSync::Outcome::Done);
        EXPECT_FALSE(syncs[0]->isMirrorGone());
        EXPECT_TRUE(VXSearchIndex::open()->isAllComplete(nullptr));
        EXPECT_EQ(find(u"jane"_s).size(), 1);
    }
    for (const VXMetaDataSync::Ptr &each : std::as_const(syncs))
        each->terminate();
    VXMetaDataSync::setWork(VXMetaDataWork::Passes);
}

// In a process of its own, which is killed after that time; 0: not. @return whether it was, or the work said yes.
bool runInChild(const std::function<bool()> &work, std::chrono::microseconds life = {})
{
    const pid_t child = ::fork();
    if (child == 0)
        std::_Exit(work() ? 0 : 1);
    if (life.count() > 0) {
        const timespec time{.tv_sec = 0, .tv_nsec = life.count() * 1000};
        ::nanosleep(&time, nullptr);
        ::kill(child, SIGKILL);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFSIGNALED(status) || WEXITSTATUS(status) == 0;
}

TEST_F(VXMetaDataIntrusionTest, ANextPassMakesRightWhatAKilledOneLeft)
{
    sync->terminate();
    const auto open = [this] {
        const auto own = VXPersistentStoreCoordinator::coordinatorWithModel(model());
        EXPECT_TRUE(own->addPersistentStore(VXStoreType::SQLite, path(u"people.sqlite"_s)));
        sync = VXMetaDataSync::initWithIdentifier(u"people"_s, own, u"Person"_s, u"changed"_s);
        return own;
    };
    const auto changeAndPass = [&](int round) {
        const auto own = open();
        VXManagedObjectContext people(own);
        while (true) {
            const auto all = people.executeFetchRequest(VXFetchRequest(*own->model().entityForName(u"Person"_s)));
            for (qsizetype i = 0; i < all->size(); ++i) {
                if (i % 3 == round % 3)
                    people.deleteObject(all->at(i));
                else
                    all->at(i)->setValueForKey(QDateTime::currentDateTimeUtc(), u"changed"_s);
            }
            for (int i = 0; i < 30; ++i)
                addPerson(people, u"Jane"_s)->setValueForKey(QDateTime::currentDateTimeUtc(), u"changed"_s);
            if (!people.save())
                return false;
            pass();
        }
    };
    const auto makeRight = [&] {
        const auto own = open();
        pass();
        const auto report = sync->checkMetaDataFiles(false);
        const bool isFound = report && find(u"jane"_s).size() == report->objectCount;
        return isFound && report->isClean() && !sync->needsUpdate() && !VXMetaDataDebt::isAnyOfAll() &&
               files().size() == report->objectCount; // nothing hidden is left
    };
    std::mt19937 random(1);
    const int kills = qEnvironmentVariableIsSet("VORNIX_KILLS") ? qEnvironmentVariableIntValue("VORNIX_KILLS") : 50;
    for (int round = 0; round < kills; ++round) {
        ASSERT_TRUE(runInChild([&] { return changeAndPass(round); }, std::chrono::microseconds(1 + random() % 30000)));
        ASSERT_TRUE(runInChild(makeRight)) << round;
    }
}

} // namespace
