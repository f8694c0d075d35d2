#include "VXLogRecorder.h"
#include "VXMetaDataTesting.h"
#include "VXThread.h"
#include "VXUserDefaults.h"

#include <atomic>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

static bool keepsWholeSeconds = false; // of a file's date

// In place of the system's, for the framework, too.
extern "C" [[gnu::visibility("default")]] int futimens(int file, const timespec times[2]) noexcept
{
    const auto kept = [](timespec time) { return timespec{time.tv_sec, keepsWholeSeconds ? 0 : time.tv_nsec}; };
    const timespec all[] = {kept(times[0]), kept(times[1])};
    return int(::syscall(SYS_utimensat, file, nullptr, all, 0));
}

namespace {

class VXMetaDataSyncTest : public VXMetaDataTest
{
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
    EXPECT_EQ(written, (QVariantMap{{VXMetaDataGenerationKey, VXMetaDataGeneration},
                                    {u"kMDItemTitle"_s, u"Jane"_s},
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
    jane->setValueForKey(QDateTime::fromMSecsSinceEpoch(qint64(1) << 46), u"changed"_s); // later than files can be
    ASSERT_TRUE(context.save());
    EXPECT_EQ(pass(), (VXMetaDataCounts{.updated = 1}));
    EXPECT_EQ(pass(), (VXMetaDataCounts{.unchanged = 1}));
    keepsWholeSeconds = true;
    add(u"Jim"_s, QDateTime::fromMSecsSinceEpoch(1234));
    EXPECT_EQ(pass(), (VXMetaDataCounts{.added = 1, .unchanged = 1}));
    EXPECT_EQ(pass(), (VXMetaDataCounts{.unchanged = 2}));
    keepsWholeSeconds = false;
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

TEST_F(VXMetaDataSyncTest, TextsThatNoFileCanHoldAreFoundAllTheSame)
{
    const VXManagedObjectPtr odd = add(u"Odd"_s + QChar(0) + u"one"_s + QChar(0xd800));
    EXPECT_EQ(pass(), (VXMetaDataCounts{.added = 1}));
    EXPECT_EQ(titleIn(fileOf(odd)), u"Odd\ufffdone?"_s);
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
    const QString all = VXFileManager::defaultManager().pathToUserMetadataFolder();
    for (const QString &place : {all, VXFileManager::defaultManager().pathToUserTrashFolder()}) { // where it cannot go
        ASSERT_TRUE(QDir(place).removeRecursively());
        writeFile(QDir(path()).relativeFilePath(place), "no folder");
    }
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
    const auto other = VXPersistentStoreCoordinator::coordinatorWithModel(model());
    const VXLogRecorder log; // they would remove each other's files
    EXPECT_FALSE(VXMetaDataSync::launchMetaDataSyncWithIdentifier(u"people"_s, other, u"Person"_s, u"changed"_s));
    EXPECT_EQ(log.count(u"another sync with this identifier runs"_s), 1);
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
        const QList<VXFoundObject> found = VXMetaDataTest::find(words);
        return found.size() == 1 ? found.first().uri() : QUrl();
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
    // One in the background gives way.
    add(u"hurries"_s);
    for (int i = 0; i < 150; ++i)
        addPerson(context, QString::number(i));
    ASSERT_TRUE(context.save());
    sync->setNeedsUpdate(false);
    isDone = false;
    std::thread background([&] {
        VXThread::vx_lowerPriority();
        EXPECT_EQ(sync->synchronizeMetaDataFiles(), VXMetaDataSync::Outcome::Failed);
        isDone = true;
    });
    EXPECT_TRUE(VXRunUntil([&] { return isDone.load(); }));
    background.join();
    EXPECT_TRUE(sync->needsUpdate());
    sync->setNeedsUpdate(false);
    EXPECT_EQ(sync->synchronizeMetaDataFiles(0ms), VXMetaDataSync::Outcome::Done);
    EXPECT_EQ(files().size(), 451);
    SearchedPerson::waiting.reset();
}

} // namespace
