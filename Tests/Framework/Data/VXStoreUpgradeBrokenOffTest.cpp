#include "VXOtherProcess.h"
#include "VXStoreLock.h"
#include "VXStorePast.h"
#include "VXStoreUpgradeTest.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/inotify.h>
#include <unistd.h>

using testing::AllOf, testing::HasSubstr, testing::Not, testing::SizeIs;

// Upgrades that are killed, wait for others, or are taken back.

class VXStoreKilledUpgradeTest : public VXStoreUpgradeTest, public testing::WithParamInterface<const char *>
{
};

TEST_P(VXStoreKilledUpgradeTest, IsUndoneByTheNextStart)
{
    writeOldStore(live);
    const QString before = contentsOfStore(live);
    writeNotesPlugin(QString::fromUtf8(GetParam()));
    for (int round = 0; round < 3; ++round) { // it is no crash of the plugin, however often
        EXPECT_EXIT(startWith({}), testing::KilledBySignal(SIGKILL), "");
        EXPECT_EQ(contentsOfStore(QFileInfo::exists(live) ? live : upgrading), before);
    }
    writeNotesPlugin();
    answerBackup(false);
    startWith({});
    EXPECT_EQ(contentsOfStore(notesPlugin().persistentStoreCoordinator()), before);
    EXPECT_EQ(log.count(u"Restoring pre-upgrade file: "_s), 3);
    EXPECT_EQ(QDir(data()).entryList({u".vornix-new.*"_s}, QDir::Dirs | QDir::Hidden), QStringList());
}

INSTANTIATE_TEST_SUITE_P(All, VXStoreKilledUpgradeTest, testing::Values("dies", "rows die"));

TEST_F(VXStoreUpgradeTest, WhatKeepsItFromBeginningIsToldAsCancelled)
{
    writeOldStore(live);
    const auto files = contentsOf(live);
    writeOldStore(upgrading, 2);
    writeFile(u".local/share/Trash"_s, "in the way");
    writeNotesPlugin();
    startWith({});
    ASSERT_THAT(user->alerts(), SizeIs(1));
    EXPECT_EQ(user->alerts().front().message, VXError(VXErrorDomain, VXErrorCancelled).localizedDescription());
    EXPECT_EQ(contentsOf(live), files);
    EXPECT_TRUE(QFileInfo::exists(upgrading));
}

// What lies aside is of another upgrade then, and older.
TEST_F(VXStoreUpgradeTest, OneThatIsCancelledBeforeItBeginsTakesNothingBack)
{
    writeOldStore(live);
    const auto files = contentsOf(live);
    writeOldStore(upgrading, 2);
    writeNotesPlugin();
    user->cancelNextProgressWindow();
    startWith({});
    ASSERT_THAT(user->alerts(), SizeIs(1));
    EXPECT_THAT(user->alerts().front().details.toStdString(), HasSubstr("The store is as it was."));
    EXPECT_EQ(contentsOf(live), files);
    EXPECT_TRUE(QFileInfo::exists(upgrading));
}

namespace {

/** In another process: does something when the lock file of a store is opened. Then it is gone. */
template <class F>
void whenLockIsOpened(const QString &store, F &&act)
{
    const int watch = ::inotify_init1(IN_CLOEXEC);
    const QByteArray file = QFile::encodeName(VXStoreLock::lockFileForStorePath(store));
    ASSERT_GE(::inotify_add_watch(watch, file.constData(), IN_OPEN), 0);
    if (::fork() != 0)
        return;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    alignas(inotify_event) char events[4096];
    if (::read(watch, events, sizeof events) > 0)
        act();
    ::kill(::getpid(), SIGKILL);
}

} // namespace

// Killed while another start waits for it: that one must not take the empty place for a first start.
TEST_F(VXStoreUpgradeTest, KilledUpgradeIsUndoneByWhoWaitedForIt)
{
    writeOldStore(live);
    const QString before = contentsOfStore(live);
    writeNotesPlugin();
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    auto lock = VXStoreLock::take(live, VXStoreLock::Purpose::Use, {}); // makes the file
    lock = nullptr;
    if (::fork() == 0) {
        const auto alone = VXStoreLock::take(live, VXStoreLock::Purpose::Replace, {});
        whenLockIsOpened(live, [&] {
            static_cast<void>(
                std::rename(QFile::encodeName(live).constData(), QFile::encodeName(upgrading).constData()));
        });
        const bool isTold = alone && ::write(ready[1], "r", 1) == 1;
        ::wait(nullptr);
        ::_exit(isTold ? 0 : 1);
    }
    char told = 0;
    ASSERT_EQ(::read(ready[0], &told, 1), 1);
    answerBackup(false);
    startWith({});
    EXPECT_EQ(contentsOfStore(notesPlugin().persistentStoreCoordinator()), before);
    EXPECT_EQ(contentsOfStore(trash(u"notes.vxdatastore.upgrading"_s)), before);
}

TEST_F(VXStoreUpgradeTest, WhoCannotUpgradeTakesNothingBackFromWhoDoes)
{
    writeOldStore(live);
    writeNotesPlugin();
    const QString before = contentsOfStore(live);
    const VXOtherProcess other([&] { return VXStoreLock::take(live, VXStoreLock::Purpose::Replace, {}); });
    ASSERT_TRUE(other.isReady());
    VXDataPlugin::holdBackStore(u"notes"_s);
    startWith({});
    ASSERT_TRUE(QDir().rename(live, upgrading)); // as who has the place alone does first
    EXPECT_FALSE(notesPlugin().restoreUpgradingFile());
    EXPECT_FALSE(QFileInfo::exists(live));
    EXPECT_EQ(contentsOfStore(upgrading), before);
}

TEST_F(VXStoreUpgradeTest, StoreThatGivesWayToTheOneBeforeIsListed)
{
    writeStore(live, u"of the future"_s, u"1.10"_s);
    writeOldStore(upgrading);
    const QString before = contentsOfStore(upgrading);
    writeNotesPlugin();
    startWith({});
    ASSERT_THAT(user->alerts(), SizeIs(1));
    EXPECT_THAT(user->alerts().front().details.toStdString(), HasSubstr("\"vornix store rollback notes\""));
    EXPECT_EQ(contentsOfStore(live), before);
    const QList<VXStorePast::Entry> past = VXStorePast::entries(live);
    ASSERT_EQ(past.size(), 1);
    EXPECT_EQ(past.constFirst().path, trash(u"notes.vxdatastore"_s));
    EXPECT_EQ(past.constFirst().reason, u"removed"_s);
    // What comes to lie there when the trash was emptied is another one.
    ASSERT_TRUE(QDir().rename(trash(u"notes.vxdatastore"_s), path(u"kept"_s)));
    ASSERT_TRUE(QDir().mkpath(trash(u"notes.vxdatastore"_s)));
    EXPECT_EQ(VXStorePast::entries(live).size(), 0);
}

TEST_F(VXStoreUpgradeTest, ReplacementThatCannotBeUpgradedTellsOfTheFormerStore)
{
    writeStore(live, u"mine"_s);
    writeOldStore(waiting(u"notes.vxdatastore"_s));
    writeNotesPlugin(u"throws"_s);
    const auto start = [&] {
        startWith({});
        const bool isTold = user->alerts().back().details.contains("\"vornix store rollback notes\""_L1);
        std::_Exit(isTold ? 0 : 1);
    };
    for (int round = 0; round < 2; ++round)
        EXPECT_EXIT(start(), testing::ExitedWithCode(0), "") << round;
}

// What the user took back is the user's: the store that it replaced is no remedy for it.
TEST_F(VXStoreUpgradeTest, UpgradeThatFailsAfterARollbackDoesNotOfferWhatWasRolledBack)
{
    writeStore(live, u"of the failed upgrade"_s);
    writeOldStore(path(u"kept"_s));
    const QString before = contentsOfStore(path(u"kept"_s));
    VXStorePast::note(live, path(u"kept"_s), u"upgraded"_s);
    writeNotesPlugin(u"throws"_s);
    const auto takeBack = [&] {
        VXDataPlugin::holdBackStore(u"notes"_s);
        startWith({});
        bool isWaiting = false;
        std::_Exit(notesPlugin().takeBack(path(u"kept"_s), &isWaiting) || isWaiting ? 1 : 0);
    };
    EXPECT_EXIT(takeBack(), testing::ExitedWithCode(0), "");
    startWith({});
    ASSERT_THAT(user->alerts(), SizeIs(1));
    EXPECT_THAT(user->alerts().front().details.toStdString(),
                AllOf(HasSubstr("The store is as it was."), Not(HasSubstr("rollback"))));
    EXPECT_EQ(contentsOfStore(live), before);
}

// Rollbacks of rollbacks are listed, but push nothing else out.
TEST_F(VXStoreUpgradeTest, GoingToAndFroKeepsTheListOfWhatTheStoreWas)
{
    writeOldStore(live, 20, u"1.2"_s, u"org.example.notes"_s, newSource());
    QStringList kept;
    for (int i = 0; i < 9; ++i) {
        kept.prepend(path(u"kept%1"_s.arg(i)));
        writeOldStore(kept.constFirst(), i, u"1.2"_s, u"org.example.notes"_s, newSource());
        VXStorePast::note(live, kept.constFirst(), u"merged"_s);
    }
    const QString before = contentsOfStore(live);
    writeNotesPlugin();
    VXDataPlugin::holdBackStore(u"notes"_s);
    startWith({});
    for (int round = 0; round < 12; ++round) {
        bool isWaiting = false;
        const VXError error = notesPlugin().takeBack(notesPlugin().earlierStores().constFirst().path, &isWaiting);
        ASSERT_FALSE(error || isWaiting) << error.description().toStdString();
        EXPECT_EQ(contentsOfStore(live) == before, round % 2 == 1);
    }
    QStringList listed;
    for (const VXStorePast::Entry &entry : notesPlugin().earlierStores()) {
        if (entry.reason == "merged"_L1)
            listed.append(entry.path);
    }
    EXPECT_EQ(listed, kept.sliced(1)); // the first was the one taken back
}

TEST_F(VXStoreUpgradeTest, StoreThatOthersHaveOpenIsNotUpgraded)
{
    writeOldStore(live);
    const auto files = contentsOf(live);
    writeNotesPlugin();
    VXOtherProcess other([&] { return VXStoreLock::take(live, VXStoreLock::Purpose::Use, {}); });
    ASSERT_TRUE(other.isReady());
    startWith({});
    ASSERT_THAT(user->alerts(), SizeIs(1));
    EXPECT_EQ(user->alerts().front().message, VXLocalizedString(u"The store is in use"_s));
    EXPECT_EQ(contentsOf(live), files);
}
