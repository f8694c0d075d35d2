#include "VXMetaDataSync.h"
#include "../Data/VXStoreFolderTest.h"
#include "VXFileLock.h"
#include "VXFileManager.h"
#include "VXLogRecorder.h"
#include "VXMainThread.h"
#include "VXManagedObjectClass.h"
#include "VXMetaDataRemoval.h"
#include "VXMetaDataSource.h"
#include "VXOtherProcess.h"
#include "VXPropertyList.h"
#include "VXSearchIndex.h"
#include "VXSQLiteConnection.h"
#include "VXUserDefaults.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QMap>

#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <random>
#include <stdexcept>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

/** Tells its name; "silent" has no metadata, "throws" throws, "moody" now and then, "removes" takes away the folder, "unlocks" once its lock. */
class SearchedPerson : public VXManagedObject, public VXMetaDataSource
{
public:
    std::optional<QVariantMap> metaDataPlist() const override
    {
        const QString name = valueForKey(u"name"_s).toString();
        if (name == "throws"_L1 || (name == "moody"_L1 && isMoody))
            throw std::runtime_error("no name");
        if (name == "removes"_L1)
            QDir(VXFileManager::defaultManager().pathToUserMetadataFolder() + "/people"_L1).removeRecursively();
        if (name == "unlocks"_L1 && std::exchange(isUnlocking, false))
            QFile::remove(VXFileManager::defaultManager().pathToUserMetadataFolder() + "/people.lock"_L1);
        if (name == "silent"_L1)
            return std::nullopt;
        return QVariantMap{
            {u"kMDItemTitle"_s, name}, {u"kMDItemComment"_s, QVariant()}, {u"kMDItemCreator"_s, u"itself"_s}};
    }
    static inline int read = 0;
    static inline bool isMoody = true;
    static inline bool isUnlocking = true;

protected:
    void awakeFromFetch() override { ++read; }
};

class VXMetaDataSyncTest : public VXStoreFolderTest
{
protected:
    VXMetaDataSyncTest()
    {
        VXManagedObjectClass::registerClass<SearchedPerson>(u"SearchedPerson"_s);
        EXPECT_TRUE(coordinator->addPersistentStore(VXStoreType::InMemory, {}));
        sync = VXMetaDataSync::initWithIdentifier(u"people"_s, coordinator, u"Person"_s, u"changed"_s);
    }
    ~VXMetaDataSyncTest() override
    {
        if (sync)
            sync->terminate();
        VXManagedObjectClass::removeClass(u"SearchedPerson"_s);
    }

    VXManagedObjectPtr add(const QString &name, const QDateTime &changed = QDateTime::currentDateTimeUtc())
    {
        const VXManagedObjectPtr person = addPerson(context, name);
        person->setValueForKey(changed, u"changed"_s);
        EXPECT_TRUE(context.save());
        return person;
    }
    static QString folder() { return VXFileManager::defaultManager().pathToUserMetadataFolder() + "/people"_L1; }
    static QString fileOf(const VXManagedObjectPtr &object)
    {
        return folder() + u'/' + metaDataFilename(object->objectID());
    }
    static QString titleIn(const QString &path)
    {
        return VXPropertyList::fromFile(path).toMap().value(u"kMDItemTitle"_s).toString();
    }
    static QStringList files() { return QDir(folder()).entryList(QDir::Files | QDir::Hidden); }
    VXMetaDataCounts pass()
    {
        sync->setNeedsUpdate(false);
        sync->synchronizeMetaDataFiles();
        return sync->counts();
    }
    static QList<VXFoundObject> find(const QString &words)
    {
        const auto index = VXSearchIndex::open();
        return index->find(words, {}, 1000, nullptr).value_or(QList<VXFoundObject>());
    }
    static void setAge(const QString &path, int seconds)
    {
        const qint64 time = QDateTime::currentSecsSinceEpoch() - seconds;
        const timespec times[] = {{.tv_sec = time, .tv_nsec = 0}, {.tv_sec = time, .tv_nsec = 0}};
        EXPECT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0), 0);
    }

    static VXManagedObjectModel::Ptr model()
    {
        return modelOf(R"(entity Person (SearchedPerson) {
            attribute name: string;
            attribute changed: date optional;
        })");
    }

    const VXPersistentStoreCoordinator::Ptr coordinator = VXPersistentStoreCoordinator::coordinatorWithModel(model());
    VXManagedObjectContext context{coordinator};
    VXMetaDataSync::Ptr sync;
};

TEST_F(VXMetaDataSyncTest, KeepsOneFileForEachObject)
{
    const VXManagedObjectPtr jane = add(u"Jane"_s);
    const VXManagedObjectPtr joe = add(u"Joe"_s);
    EXPECT_EQ(pass(), (VXMetaDataCounts{.added = 2}));
    EXPECT_EQ(metaDataFilename(jane->objectID()), u"p1_MD2.person"_s);
    EXPECT_THAT(files(), UnorderedElementsAre(u"p1_MD2.person"_s, u"p2_MD2.person"_s));
    const QUrl uri = jane->objectID().uriRepresentation();
    const QVariantMap written = VXPropertyList::fromFile(fileOf(jane)).toMap();
    EXPECT_EQ(written, (QVariantMap{{u"kMDItemTitle"_s, u"Jane"_s},
                                    {u"kMDItemIdentifier"_s, QString(uri.host() + uri.path())},
                                    {u"kMDItemCreator"_s, u"people"_s}}));
    EXPECT_EQ(pass(), (VXMetaDataCounts{.unchanged = 2}));

    jane->setValueForKey(u"Janet"_s, u"name"_s);
    jane->setValueForKey(QDateTime::currentDateTimeUtc().addSecs(3600), u"changed"_s); // a clock that is put back later
    context.deleteObject(joe);
    ASSERT_TRUE(context.save());
    EXPECT_TRUE(sync->needsUpdate());
    EXPECT_EQ(pass(), (VXMetaDataCounts{.updated = 1, .orphaned = 1}));
    EXPECT_EQ(titleIn(fileOf(jane)), u"Janet"_s);
    EXPECT_THAT(files(), ElementsAre(u"p1_MD2.person"_s));
    EXPECT_EQ(pass(), (VXMetaDataCounts{.unchanged = 1})); // and not written again until that time
}

TEST_F(VXMetaDataSyncTest, ObjectsOfAnotherStoreHaveTheSameNumbers)
{
    add(u"Jane"_s);
    add(u"Joe"_s);
    pass();
    const auto other = VXPersistentStoreCoordinator::coordinatorWithModel(model());
    ASSERT_TRUE(other->addPersistentStore(VXStoreType::InMemory, {}));
    VXManagedObjectContext otherContext(other);
    const VXManagedObjectPtr ann = addPerson(otherContext, u"Ann"_s);
    ann->setValueForKey(QDateTime::currentDateTimeUtc().addYears(-1), u"changed"_s); // older than the files
    ASSERT_TRUE(otherContext.save());
    sync->terminate();
    sync = VXMetaDataSync::initWithIdentifier(u"people"_s, other, u"Person"_s, u"changed"_s);
    EXPECT_EQ(pass(), (VXMetaDataCounts{.added = 1, .orphaned = 2}));
    EXPECT_EQ(titleIn(fileOf(ann)), u"Ann"_s);
    EXPECT_THAT(find(u"j"_s), IsEmpty());
    EXPECT_EQ(pass(), (VXMetaDataCounts{.unchanged = 1}));
}

TEST_F(VXMetaDataSyncTest, WhatIsOwedIsWrittenWhateverItsDateSays)
{
    const VXManagedObjectPtr jane = add(u"Jane"_s);
    add(u"Joe"_s);
    pass();
    jane->setValueForKey(u"Janet"_s, u"name"_s); // and its date stays
    ASSERT_TRUE(context.save());
    EXPECT_TRUE(VXMetaDataDebt::isOwnOfAll());
    EXPECT_EQ(pass(), (VXMetaDataCounts{.updated = 1, .unchanged = 1}));
    EXPECT_EQ(titleIn(fileOf(jane)), u"Janet"_s);
    EXPECT_FALSE(VXMetaDataDebt::isAnyOfAll());
}

TEST_F(VXMetaDataSyncTest, ReadsNoObjectWhereAllAroundItIsCurrent)
{
    const auto own = VXPersistentStoreCoordinator::coordinatorWithModel(model());
    ASSERT_TRUE(own->addPersistentStore(VXStoreType::SQLite, path(u"people.sqlite"_s)));
    VXManagedObjectContext people(own);
    QList<VXManagedObjectPtr> all;
    for (int i = 0; i < 1200; ++i) { // three pages
        all.append(addPerson(people, "Jane %1"_L1.arg(QString::number(i))));
        if (i % 2 == 0) // else without date
            all.last()->setValueForKey(QDateTime::currentDateTimeUtc(), u"changed"_s);
    }
    ASSERT_TRUE(people.save());
    sync->terminate();
    sync = VXMetaDataSync::initWithIdentifier(u"people"_s, own, u"Person"_s, u"changed"_s);
    EXPECT_EQ(pass(), (VXMetaDataCounts{.added = 1200}));
    const struct
    {
        const char *what;
        std::function<void()> change;
        VXMetaDataCounts counts;
        int read; // at most
    } cases[] = {
        {"nothing", [] {}, {.unchanged = 1200}, 0},
        {"a later date",
         [&] {
             all[700]->setValueForKey(QDateTime::currentDateTimeUtc().addSecs(60), u"changed"_s);
             ASSERT_TRUE(people.save());
         },
         {.updated = 1, .unchanged = 1199},
         500},
        {"a save without one",
         [&] {
             all[701]->setValueForKey(u"Ann"_s, u"name"_s);
             ASSERT_TRUE(people.save());
         },
         {.updated = 1, .unchanged = 1199},
         500},
        {"a lost file", [&] { QFile::remove(fileOf(all[1199])); }, {.added = 1, .unchanged = 1199}, 500},
        {"an older file", [&] { setAge(fileOf(all[0]), 60); }, {.updated = 1, .unchanged = 1199}, 500},
        {"a deletion",
         [&] {
             people.deleteObject(all[3]);
             ASSERT_TRUE(people.save());
         },
         {.unchanged = 1199, .orphaned = 1},
         0},
    };
    for (const auto &each : cases) {
        each.change();
        SearchedPerson::read = 0;
        EXPECT_EQ(pass(), each.counts) << each.what;
        EXPECT_LE(SearchedPerson::read, each.read) << each.what;
        EXPECT_TRUE(sync->checkMetaDataFiles(false)->isClean()) << each.what;
    }
    // A save in the midst of it ends it before the orphans.
    QFile::copy(fileOf(all[0]), folder() + "/p7777_MD2.person"_L1);
    sync->setNeedsUpdate(true);
    sync->synchronizeMetaDataFiles();
    EXPECT_EQ(sync->counts(), VXMetaDataCounts());
    EXPECT_EQ(pass(), (VXMetaDataCounts{.unchanged = 1199, .orphaned = 1}));
}

TEST_F(VXMetaDataSyncTest, WhatCanNotBeNotedBesideTheMirrorIsNotedElsewhereOrToldOnce)
{
    const QString due = VXFileManager::defaultManager().pathToUserMetadataFolder() + "/.due"_L1;
    const QString beside = VXFileManager::defaultManager().pathToUserVNXApplicationSupportFolder() + "/.search-due"_L1;
    for (int round = 0; round < 2; ++round) {
        VXMetaDataDebt(u"people"_s).forget();
        for (const QString &folder : {due, beside}) {
            QDir(folder).removeRecursively();
            writeFile(QDir(path()).relativeFilePath(folder), "no folder");
        }
        const VXLogRecorder log;
        add(u"Jane"_s);
        add(u"Joe"_s);
        EXPECT_EQ(log.count(u"what is saved and not mirrored cannot be noted"_s), 1);
        QFile::remove(beside); // where the stores are
        const VXManagedObjectPtr jim = add(u"Jim"_s);
        EXPECT_TRUE(VXMetaDataDebt::isOwnOfAll());
        pass();
        EXPECT_EQ(titleIn(fileOf(jim)), u"Jim"_s);
        EXPECT_FALSE(VXMetaDataDebt::isAnyOfAll());
        QFile::remove(due);
    }
}

TEST_F(VXMetaDataSyncTest, AFolderWithTheNameOfAFileIsSomebodysOwn)
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
}

TEST_F(VXMetaDataSyncTest, WhatIsOwedOutlivesWhatIsSettledAfter)
{
    VXMetaDataDebt debt(u"people"_s);
    debt.mark({1});
    debt.beginPass();
    debt.endPass(false); // broken off
    debt.mark({2});
    debt.leaveToPass();
    debt.mark({3});
    debt.settleOwn();
    debt.mark({4});
    EXPECT_THAT(debt.beginPass().numbers, UnorderedElementsAre(1, 2, 4));
    debt.endPass(true);
    EXPECT_FALSE(debt.isAny());
}

TEST_F(VXMetaDataSyncTest, AllIsToldAnewWhenASettingOfTheTextsChanges)
{
    VXUserDefaults &defaults = VXUserDefaults::standardUserDefaults();
    sync->terminate();
    sync = VXMetaDataSync::initWithIdentifier(u"people"_s, coordinator, u"Person"_s, u"changed"_s, {u"order"_s});
    add(u"Jane"_s);
    EXPECT_EQ(pass(), (VXMetaDataCounts{.added = 1}));
    for (const QVariant &value : {QVariant(1), QVariant(2), QVariant()}) {
        EXPECT_EQ(pass(), (VXMetaDataCounts{.unchanged = 1}));
        EXPECT_TRUE(VXMetaDataSettings::areAllPresent());
        defaults.setObject(value, u"order"_s);
        EXPECT_FALSE(VXMetaDataSettings::areAllPresent());
        EXPECT_EQ(pass(), (VXMetaDataCounts{.updated = 1}));
    }
}

TEST_F(VXMetaDataSyncTest, NothingStaysOfWhatIsNotSearchedAnyMore)
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
}

// Another may have begun meanwhile, and files may tell what was read before it wrote them.
TEST_F(VXMetaDataSyncTest, APassWhoseLockIsRemovedIsMadeOnceMore)
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

TEST_F(VXMetaDataSyncTest, TextsThatNoFileCanHoldAreFoundAllTheSame)
{
    const VXManagedObjectPtr odd = add(u"Odd"_s + QChar(0) + u"one"_s + QChar(0xd800));
    EXPECT_EQ(pass(), (VXMetaDataCounts{.added = 1}));
    EXPECT_EQ(titleIn(fileOf(odd)), u"Odd\ufffdone?"_s);
}

TEST_F(VXMetaDataSyncTest, AnIndexThatSaysOtherWordsIsMadeAnew)
{
    add(u"Jane"_s);
    pass();
    const auto spoil = [](const QString &sql) {
        VXError error;
        const auto index = VXSQLiteConnection::open(VXSearchIndex::path(), VXSQLiteConnection::Access::Write,
                                                    std::chrono::seconds(1), nullptr, &error);
        EXPECT_TRUE(index && index->execute(sql, &error)) << error.description().toStdString();
    };
    spoil(u"INSERT INTO words (words) VALUES ('delete-all')"_s);
    EXPECT_THAT(find(u"jane"_s), IsEmpty());
    EXPECT_FALSE(sync->checkMetaDataFiles(false)->isClean());
    EXPECT_TRUE(sync->checkMetaDataFiles(true)->isRepaired());
    EXPECT_EQ(find(u"jane"_s).size(), 1);
    // One that could not be told of a change, as something was in its place that cannot be moved away.
    QFile::remove(VXSearchIndex::path());
    QDir().mkpath(VXSearchIndex::path());
    writeFile(QDir(path()).relativeFilePath(VXFileManager::defaultManager().pathToUserTrashFolder()), "no folder");
    const VXLogRecorder log;
    add(u"Joe"_s);
    pass();
    EXPECT_GE(log.count(u"What is no file lies in its place"_s), 1);
    EXPECT_TRUE(VXMetaDataDebt::isAnyOfAll());
    QDir().rmdir(VXSearchIndex::path());
    pass();
    EXPECT_EQ(find(u"j"_s).size(), 2);
    EXPECT_FALSE(VXMetaDataDebt::isAnyOfAll());
}

TEST_F(VXMetaDataSyncTest, WritesAnObjectThatIsChangedAndNotSaved)
{
    const VXManagedObjectPtr jane = add(u"Jane"_s);
    pass();
    EXPECT_TRUE(sync->synchronizeMetaDataFile(fileOf(jane), *jane));
    EXPECT_EQ(sync->counts(), (VXMetaDataCounts{.added = 1, .unchanged = 1}));
    jane->setValueForKey(u"Janet"_s, u"name"_s);
    EXPECT_TRUE(sync->synchronizeMetaDataFile(fileOf(jane), *jane));
    EXPECT_EQ(titleIn(fileOf(jane)), u"Janet"_s);
}

TEST_F(VXMetaDataSyncTest, GoesOnPastObjectsThatCannotBeDescribed)
{
    const VXManagedObjectPtr silent = add(u"silent"_s);
    add(u"throws"_s);
    const VXManagedObjectPtr jane = add(u"Jane"_s);
    const VXLogRecorder log;
    for (int round = 0; round < 2; ++round)
        EXPECT_EQ(pass(), (VXMetaDataCounts{.added = round == 0 ? 3 : 2, .unchanged = round, .errors = 1}));
    EXPECT_EQ(
        log.count("Unable to create meta data for object: "_L1 + silent->objectID().uriRepresentation().toString()), 2);
    EXPECT_EQ(log.count(u"people: caught exception"_s), 2);
    EXPECT_THAT(files(), ElementsAre(metaDataFilename(jane->objectID())));
}

TEST_F(VXMetaDataSyncTest, WhatCouldNotBeDescribedIsOwedToTheNextPass)
{
    VXMetaDataSync::setWork(VXMetaDataWork::OwnSaves);
    const VXManagedObjectPtr jane = add(u"Jane"_s);
    pass();
    sync->terminate();
    sync = VXMetaDataSync::launchMetaDataSyncWithIdentifier(u"people"_s, coordinator, u"Person"_s, u"changed"_s);
    jane->setValueForKey(u"moody"_s, u"name"_s); // and its date stays
    ASSERT_TRUE(context.save());
    SearchedPerson::isMoody = true;
    sync->terminate();                         // mirrors what was saved
    EXPECT_TRUE(VXMetaDataDebt::isAnyOfAll()); // for a pass
    sync = VXMetaDataSync::initWithIdentifier(u"people"_s, coordinator, u"Person"_s, u"changed"_s);
    pass();
    EXPECT_FALSE(VXMetaDataDebt::isAnyOfAll()); // else there would be passes without end
    EXPECT_THAT(files(), IsEmpty());
    ASSERT_TRUE(QFile::copy(VXSearchIndex::path(), fileOf(jane))); // whatever lies there
    SearchedPerson::isMoody = false;
    EXPECT_EQ(pass(), (VXMetaDataCounts{.updated = 1}));
    EXPECT_EQ(titleIn(fileOf(jane)), u"moody"_s);
    EXPECT_EQ(pass(), (VXMetaDataCounts{.unchanged = 1}));
    VXMetaDataSync::setWork(VXMetaDataWork::Passes);
}

TEST_F(VXMetaDataSyncTest, StopsForASaveBeforeItLooksForOrphans)
{
    add(u"Jane"_s);
    pass();
    QFile::copy(folder() + "/p1_MD2.person"_L1, folder() + "/p7_MD2.person"_L1);
    sync->setNeedsUpdate(true);
    sync->synchronizeMetaDataFiles();
    EXPECT_EQ(sync->counts(), VXMetaDataCounts());
    EXPECT_EQ(files().size(), 2);
    EXPECT_EQ(pass(), (VXMetaDataCounts{.unchanged = 1, .orphaned = 1}));
}

TEST_F(VXMetaDataSyncTest, MakesWhatIsMissingAndTrashesTheFormerFolder)
{
    const QString former = VXFileManager::defaultManager().pathToUserVNXApplicationSupportFolder() + "/MetaData"_L1;
    ASSERT_TRUE(QDir().mkpath(former));
    const VXManagedObjectPtr jane = add(u"Jane"_s);
    EXPECT_EQ(pass().added, 1);
    EXPECT_FALSE(QFile::exists(former));
    struct stat status = {};
    ASSERT_EQ(::stat(QFile::encodeName(fileOf(jane)).constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
    ASSERT_TRUE(QDir(folder()).removeRecursively());
    EXPECT_EQ(pass().added, 1);
    setAge(fileOf(jane), 3600);
    EXPECT_EQ(pass().updated, 1);
    ASSERT_TRUE(QDir(folder()).removeRecursively());
    writeFile(QDir(path()).relativeFilePath(folder()), "no folder");
    const VXLogRecorder log;
    EXPECT_EQ(pass(), VXMetaDataCounts());
    EXPECT_EQ(log.count("people: Unable to create metadata folder at "_L1 + folder()), 1);
}

TEST_F(VXMetaDataSyncTest, LaunchedMirrorsWhatIsSavedUntilItsEnd)
{
    VXUserDefaults::standardUserDefaults().setObject(true, u"metadata.ignore"_s);
    EXPECT_FALSE(VXMetaDataSync::launchMetaDataSyncWithIdentifier(u"people"_s, coordinator, u"Person"_s, u"changed"_s));
    VXUserDefaults::standardUserDefaults().setObject(false, u"metadata.ignore"_s);
    sync->terminate();
    const VXManagedObjectPtr jane = add(u"Jane"_s);
    sync = VXMetaDataSync::launchMetaDataSyncWithIdentifier(u"people"_s, coordinator, u"Person"_s, u"changed"_s);
    ASSERT_TRUE(sync);
    ASSERT_TRUE(VXRunUntil([&] { return QFile::exists(fileOf(jane)); }));
    // At once, though the next pass is due in ten seconds.
    const VXManagedObjectPtr joe = add(u"Joe"_s);
    context.deleteObject(jane);
    ASSERT_TRUE(context.save());
    EXPECT_TRUE(VXRunUntil([&] { return QFile::exists(fileOf(joe)) && files().size() == 1; }));
    sync->terminate();
    EXPECT_FALSE(sync->isRunning());
    EXPECT_TRUE(VXRunUntil([&] { return sync.use_count() == 1; })); // its thread has ended
    add(u"Jim"_s);
    EXPECT_EQ(files().size(), 1);
}

TEST_F(VXMetaDataSyncTest, TakesItsFrequencyAndItsCoordinatorFromTheCaller)
{
    const struct
    {
        QVariant setting;
        double frequency;
    } cases[] = {{{}, 10}, {3, 10}, {60, 60}, {10.5, 10.5}, {u"often"_s, 10}};
    for (const auto &each : cases) {
        VXUserDefaults::standardUserDefaults().setObject(each.setting, u"metadata.sync.frequency"_s);
        EXPECT_EQ(VXMetaDataSync::syncFrequency(), each.frequency) << each.setting.toString().toStdString();
    }
    const VXLogRecorder log;
    EXPECT_FALSE(VXMetaDataSync::initWithIdentifier(u"people"_s, nullptr, u"Person"_s, u"changed"_s));
    EXPECT_EQ(log.count(u"thePersistentStoreCoordinator can not be nil: people/Person"_s), 1);
}

TEST_F(VXMetaDataSyncTest, KeepsTheIndexInStep)
{
    const auto find = [](const QString &words) {
        const QList<VXFoundObject> found = VXMetaDataSyncTest::find(words);
        return found.size() == 1 ? found.first().uri : QUrl();
    };
    const VXManagedObjectPtr jane = add(u"Jane"_s);
    pass();
    EXPECT_EQ(find(u"jan"_s), jane->objectID().uriRepresentation());
    jane->setValueForKey(u"Zoë"_s, u"name"_s);
    jane->setValueForKey(QDateTime::currentDateTimeUtc().addSecs(1), u"changed"_s);
    ASSERT_TRUE(context.save());
    pass();
    EXPECT_EQ(find(u"jan"_s), QUrl());
    EXPECT_EQ(find(u"zoe"_s), jane->objectID().uriRepresentation());
    // Lost, or left by a worker that was killed between a file and the index.
    const std::function<void()> faults[] = {
        [] { QFile::remove(VXSearchIndex::path()); },
        [] { EXPECT_TRUE(VXSearchIndex::open()->beginChanges(u"people"_s, nullptr)); },
        [] {
            EXPECT_TRUE(VXSearchIndex::open()->apply(u"people"_s, {{u"p1_MD2.person"_s, {}}}, nullptr));
        },
    };
    for (const auto &fault : faults) {
        fault();
        EXPECT_EQ(pass(), (VXMetaDataCounts{.unchanged = 1}));
        EXPECT_EQ(find(u"zoe"_s), jane->objectID().uriRepresentation());
    }
    context.deleteObject(jane);
    ASSERT_TRUE(context.save());
    pass();
    EXPECT_EQ(find(u"zoe"_s), QUrl());
}

TEST_F(VXMetaDataSyncTest, OneAtATimeWorksOnAFolder)
{
    const auto other = VXMetaDataSync::initWithIdentifier(u"people"_s, coordinator, u"Person"_s, u"changed"_s);
    for (int i = 0; i < 300; ++i)
        addPerson(context, QString::number(i));
    ASSERT_TRUE(context.save());
    sync->setNeedsUpdate(false);
    other->setNeedsUpdate(false);
    std::atomic<bool> isDone = false;
    std::thread thread([&] {
        other->synchronizeMetaDataFiles();
        isDone = true;
    });
    sync->synchronizeMetaDataFiles();
    EXPECT_TRUE(VXRunUntil([&] { return isDone.load(); })); // its activity asks for the main thread
    thread.join();
    EXPECT_EQ(sync->counts().added + other->counts().added, 300);
    EXPECT_EQ(sync->counts().unchanged + other->counts().unchanged, 300);
    other->terminate();
}

TEST_F(VXMetaDataSyncTest, LeavesWordOfWhatItCouldNotMirror)
{
    VXMetaDataSync::setWork(VXMetaDataWork::OwnSaves);
    sync->terminate();
    const auto launch = [this] {
        sync = VXMetaDataSync::launchMetaDataSyncWithIdentifier(u"people"_s, coordinator, u"Person"_s, u"changed"_s);
        EXPECT_THAT(VXMetaDataSync::launchedSyncs(), ElementsAre(sync));
    };
    launch();
    const VXManagedObjectPtr jane = add(u"Jane"_s);
    EXPECT_TRUE(VXMetaDataDebt::isOwnOfAll());
    EXPECT_FALSE(QFile::exists(folder())); // a process that does one thing does not do this beside it
    sync->terminate();
    EXPECT_EQ(titleIn(fileOf(jane)), u"Jane"_s);
    EXPECT_EQ(find(u"jane"_s).size(), 1);
    EXPECT_FALSE(VXMetaDataDebt::isAnyOfAll());
    EXPECT_THAT(VXMetaDataSync::launchedSyncs(), IsEmpty());

    launch();
    for (int i = 0; i < 200; ++i)
        addPerson(context, QString::number(i));
    ASSERT_TRUE(context.save());
    sync->terminate();
    EXPECT_TRUE(VXMetaDataDebt(u"people"_s).isAny());
    VXMetaDataSync::setWork(VXMetaDataWork::Passes);
    launch(); // its first pass
    EXPECT_TRUE(VXRunUntil([] { return !VXMetaDataDebt::isAnyOfAll() && find(u"1*"_s).size() == 111; }));
    sync->terminate();
    EXPECT_EQ(files().size(), 201);

    VXMetaDataSync::setWork(VXMetaDataWork::OwnSaves);
    launch();
    VXOtherProcess other([&] { return std::make_unique<VXFileLock>(folder() + ".lock"_L1); });
    ASSERT_TRUE(other.isReady());
    add(u"Joe"_s);
    sync->terminate(); // waits for nobody
    EXPECT_TRUE(VXMetaDataDebt::isAnyOfAll());
    EXPECT_THAT(find(u"joe"_s), IsEmpty());
    other.kill();
    sync = VXMetaDataSync::initWithIdentifier(u"people"_s, coordinator, u"Person"_s, u"changed"_s);
    pass();
    EXPECT_FALSE(VXMetaDataDebt::isAnyOfAll());
    EXPECT_EQ(find(u"joe"_s).size(), 1);
}

TEST_F(VXMetaDataSyncTest, MakesRightWhatOthersDoToItsFolder)
{
    const VXManagedObjectPtr jane = add(u"Jane"_s);
    const VXManagedObjectPtr joe = add(u"Joe"_s);
    pass();
    // The user's own is not lost; what looks like a file of a sync's, and has no object, is.
    for (const QString &name :
         {u"notes.txt"_s, u"p1_MD2.other"_s, u"p1_MD1.person"_s, u"p-1_MD2.person"_s, u"p01_MD2.person"_s})
        writeFile(QDir(path()).relativeFilePath(folder() + u'/' + name), "mine");
    ASSERT_TRUE(QDir(folder()).mkdir(u"more"_s));
    writeFile(QDir(path()).relativeFilePath(folder() + "/.vornix-new0"_L1), "of who was killed");
    EXPECT_EQ(pass(), (VXMetaDataCounts{.unchanged = 2, .orphaned = 6}));
    EXPECT_EQ(files().size(), 2);
    const QString trash = VXFileManager::defaultManager().pathToUserTrashFolder();
    EXPECT_THAT(
        QDir(trash).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
        UnorderedElementsAre(u"more"_s, u"notes.txt"_s, u"p1_MD1.person"_s, u"p-1_MD2.person"_s, u"p01_MD2.person"_s));
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

TEST_F(VXMetaDataSyncTest, AllOfAProcessMakeWhatWasRemovedDuringThePassOfOne)
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

TEST_F(VXMetaDataSyncTest, NothingIsWrongBeforeTheFirstPass)
{
    add(u"Jane"_s);
    VXMetaDataReport report = sync->checkMetaDataFiles(false).value();
    EXPECT_TRUE(report.isClean());
    EXPECT_FALSE(report.isTakenIn);
    writeFile(QDir(path()).relativeFilePath(folder() + "/p7_MD2.person"_L1), "mine");
    EXPECT_FALSE(sync->checkMetaDataFiles(false)->isClean()); // that is
    pass();
    report = sync->checkMetaDataFiles(false).value();
    EXPECT_TRUE(report.isClean());
    EXPECT_TRUE(report.isTakenIn);
    ASSERT_TRUE(QFile::remove(VXSearchIndex::path()));
    EXPECT_FALSE(sync->checkMetaDataFiles(false)->isClean());
}

TEST_F(VXMetaDataSyncTest, ChecksEveryFileWhateverItsDate)
{
    for (const VXStoreType type : {VXStoreType::SQLite, VXStoreType::XML, VXStoreType::InMemory}) {
        SCOPED_TRACE(int(type));
        const auto own = VXPersistentStoreCoordinator::coordinatorWithModel(model());
        ASSERT_TRUE(own->addPersistentStore(
            type, type == VXStoreType::InMemory ? QString() : path("store%1"_L1.arg(QString::number(int(type))))));
        VXManagedObjectContext people(own);
        QList<VXManagedObjectPtr> all;
        for (int i = 0; i < 1200; ++i) // more than are read at a time
            all.append(addPerson(people, "Jane %1"_L1.arg(QString::number(i))));
        ASSERT_TRUE(people.save());
        sync->terminate();
        sync = VXMetaDataSync::initWithIdentifier(u"people"_s, own, u"Person"_s, u"changed"_s);
        pass();
        VXMetaDataReport report = sync->checkMetaDataFiles(false).value();
        EXPECT_TRUE(report.isClean());
        EXPECT_EQ(report.objectCount, 1200);
        EXPECT_EQ(report.fileCount, 1200);
        ASSERT_TRUE(QFile::remove(fileOf(all[0])));
        ASSERT_TRUE(QFile::copy(fileOf(all[600]), fileOf(all[0])));
        ASSERT_TRUE(QFile::remove(fileOf(all[1199])));
        ASSERT_TRUE(QFile::copy(fileOf(all[600]), folder() + "/p7777_MD2.person"_L1));
        ASSERT_TRUE(QFile(fileOf(all[2])).resize(9));
        using Kind = VXMetaDataFinding::Kind;
        for (const bool repairs : {false, true}) {
            report = sync->checkMetaDataFiles(repairs).value();
            QMap<Kind, QString> found;
            for (const VXMetaDataFinding &finding : std::as_const(report.findings))
                found.insert(finding.kind, finding.name);
            EXPECT_EQ(report.findings.size(), 4);
            EXPECT_EQ(found, (QMap<Kind, QString>{{Kind::Stale, metaDataFilename(all[0]->objectID())},
                                                  {Kind::Missing, metaDataFilename(all[1199]->objectID())},
                                                  {Kind::Orphaned, u"p7777_MD2.person"_s},
                                                  {Kind::Damaged, metaDataFilename(all[2]->objectID())}}));
            EXPECT_EQ(report.unrepaired, 0);
        }
        EXPECT_TRUE(sync->checkMetaDataFiles(false)->isClean());
        EXPECT_EQ(pass().unchanged, 1200);
        ASSERT_TRUE(QDir(folder()).removeRecursively());
    }
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

TEST_F(VXMetaDataSyncTest, ANextPassMakesRightWhatAKilledOneLeft)
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
