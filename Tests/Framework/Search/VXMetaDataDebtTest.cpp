// What is owed to a mirror: by processes that saved and could not do it, and by passes that could not end.

#include "VXFileLock.h"
#include "VXLogRecorder.h"
#include "VXMetaDataRemoval.h"
#include "VXMetaDataState.h"
#include "VXMetaDataTesting.h"
#include "VXOtherProcess.h"
#include "VXUserDefaults.h"

#include <QtCore/QProcess>

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

class VXMetaDataDebtTest : public VXMetaDataTest
{
};

TEST_F(VXMetaDataDebtTest, WhatIsOwedIsWrittenWhateverItsDateSays)
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

TEST_F(VXMetaDataDebtTest, WhatCanNotBeNotedBesideTheMirrorIsNotedElsewhereOrToldOnce)
{
    const QString due = VXFileManager::defaultManager().pathToUserMetadataFolder() + "/.due"_L1;
    const QString beside = VXFileManager::defaultManager().pathToUserVNXApplicationSupportFolder() + "/.search-due"_L1;
    for (int round = 0; round < 2; ++round) {
        VXMetaDataDebt(u"people"_s).forget();
        for (const QString &folder : {due, beside, VXFileManager::defaultManager().pathToUserTrashFolder()}) {
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

TEST_F(VXMetaDataDebtTest, WhatIsOwedOutlivesWhatIsSettledAfter)
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
    for (const bool isDone : {false, true}) {
        EXPECT_THAT(debt.beginPass().numbers, UnorderedElementsAre(1, 2, 4));
        debt.endPass(isDone);
        const QDir due(VXFileManager::defaultManager().pathToUserMetadataFolder() + "/.due"_L1);
        EXPECT_EQ(due.entryList(QDir::Files).size(), isDone ? 0 : 1);
    }
    EXPECT_FALSE(debt.isAny());
}

TEST_F(VXMetaDataDebtTest, WhatSomebodyElsePutBesideItIsNoDebt)
{
    add(u"Jane"_s);
    pass();
    const QString all = VXFileManager::defaultManager().pathToUserMetadataFolder();
    for (const QString &name : {u"/.due/notes"_s, u"/.due/photo@2x.png"_s, u"/foreign.settings"_s})
        writeFile(QDir(path()).relativeFilePath(all + name), "mine");
    const auto isNothing = [] {
        return !VXMetaDataDebt::isAnyOfAll() && VXMetaDataSettings::areAllPresent() &&
               VXMetaDataRemoval::identifiers() == QStringList{u"people"_s};
    };
    EXPECT_TRUE(isNothing());
    const QString pictures = path(u"Pictures"_s);
    ASSERT_TRUE(QDir().rename(all + "/.due"_L1, pictures) && QFile::link(pictures, all + "/.due"_L1));
    writeFile(u"Pictures/a@0123456789abcdef"_s, "mine");
    EXPECT_TRUE(isNothing());
    const QStringList own = QDir(pictures).entryList(QDir::Files);
    add(u"Joe"_s);
    EXPECT_TRUE(VXMetaDataDebt::isAnyOfAll());
    EXPECT_EQ(QDir(pictures).entryList(QDir::Files), own);
}

TEST_F(VXMetaDataDebtTest, AllIsToldAnewWhenASettingOfTheTextsChanges)
{
    VXUserDefaults &defaults = VXUserDefaults::standardUserDefaults();
    sync->terminate();
    sync = VXMetaDataSync::initWithIdentifier(u"people"_s, coordinator, u"Person"_s, u"changed"_s,
                                              {.settings = {u"order"_s}});
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

TEST_F(VXMetaDataDebtTest, WhatCouldNotBeDescribedIsOwedToTheNextPass)
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

TEST_F(VXMetaDataDebtTest, WhatAnotherProgramWritesIntoAnOpenStoreIsOwed)
{
    sync->terminate();
    const QString file = path(u"people.sqlite"_s);
    const auto own = VXPersistentStoreCoordinator::coordinatorWithModel(model());
    ASSERT_TRUE(own->addPersistentStore(VXStoreType::SQLite, file));
    VXManagedObjectContext people(own);
    const VXManagedObjectPtr jane = addPerson(people, u"Jane"_s);
    ASSERT_TRUE(people.save());
    sync = VXMetaDataSync::initWithIdentifier(u"people"_s, own, u"Person"_s, u"changed"_s);
    const VXLogRecorder log;
    const auto isOfOthers = [&] {
        sync->timedMetaDataWorker(); // what it does now and then
        return log.count(u"another program has written to the store"_s) > 0;
    };
    EXPECT_FALSE(isOfOthers());
    jane->setValueForKey(u"Janet"_s, u"name"_s);
    ASSERT_TRUE(people.save());
    EXPECT_FALSE(isOfOthers());
    EXPECT_EQ(titleIn(fileOf(jane)), u"Janet"_s);
    EXPECT_FALSE(isOfOthers());
    QProcess::execute(u"sqlite3"_s, {file, u"UPDATE VX_Person SET name = 'Joan'"_s});
    EXPECT_TRUE(isOfOthers());
    EXPECT_EQ(titleIn(fileOf(jane)), u"Joan"_s);
}

TEST_F(VXMetaDataDebtTest, LeavesWordOfWhatItCouldNotMirror)
{
    VXMetaDataSync::setWork(VXMetaDataWork::OwnSaves);
    sync->terminate();
    const auto launch = [this] {
        sync = VXMetaDataSync::launchMetaDataSyncWithIdentifier(u"people"_s, coordinator, u"Person"_s, u"changed"_s);
        EXPECT_THAT(VXMetaDataSync::launchedSyncs(), ElementsAre(sync));
    };
    // On this thread: that of a launched one gives way to all others.
    const auto passOfAnother = [this] {
        sync = VXMetaDataSync::initWithIdentifier(u"people"_s, coordinator, u"Person"_s, u"changed"_s);
        pass();
        EXPECT_FALSE(VXMetaDataDebt::isAnyOfAll());
        sync->terminate();
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
    passOfAnother();
    EXPECT_EQ(find(u"1*"_s).size(), 111);
    EXPECT_EQ(files().size(), 201);

    launch();
    VXOtherProcess other([&] { return std::make_unique<VXFileLock>(folder() + ".lock"_L1); });
    ASSERT_TRUE(other.isReady());
    add(u"Joe"_s);
    sync->terminate(); // waits for nobody
    EXPECT_TRUE(VXMetaDataDebt::isAnyOfAll());
    EXPECT_THAT(find(u"joe"_s), IsEmpty());
    other.kill();
    passOfAnother();
    EXPECT_EQ(find(u"joe"_s).size(), 1);

    const QString state = folder() + ".state"_L1;
    ASSERT_TRUE(QFile::copy(state, path(u"copy"_s)) && QFile::remove(state) && QFile::rename(path(u"copy"_s), state));
    launch(); // in a copied home
    add(u"Jill"_s);
    sync->terminate();
    EXPECT_EQ(find(u"jill"_s).size(), 1);
    EXPECT_TRUE(VXMetaDataDebt::isAnyOfAll()); // the rest, which may be of another day
    passOfAnother();
    for (const bool isLost : {true, false}) {
        ASSERT_TRUE(!isLost || QFile::remove(state));
        EXPECT_EQ(VXMetaDataState(u"people"_s).isReplaced(), isLost);
        passOfAnother();
    }
    VXMetaDataSync::setWork(VXMetaDataWork::Passes);
}

} // namespace
