#include "VXErrorDomain.h"
#include "VXFramework.h"
#include "VXOtherProcess.h"
#include "VXStoreLock.h"
#include "VXUpgradeTesting.h"

#include <QtCore/QFileInfo>

#include <csignal>
#include <cstdlib>

using namespace Qt::StringLiterals;
using testing::SizeIs;

class VXStoreUpgradeTest : public VXUpgradeHomeTest
{
protected:
    // The alert at the end: whether to keep a backup.
    void answerBackup(bool keeps) const { user->answerAlert(VXAlertButton::Default, keeps); }

    QString metadataOf(const QString &folder, const QString &key) const
    {
        VXError error;
        return VXPersistentStoreCoordinator::metadataForPersistentStore(VXStoreType::SQLite,
                                                                        folder + "/notes.sqlite"_L1, &error)
            .value(key)
            .toString();
    }

    const QString live = data(u"notes.vxdatastore"_s);
    const QString upgrading = data(u"notes.vxdatastore.upgrading"_s);
};

TEST_F(VXStoreUpgradeTest, CopiesAllThatBothModelsHaveAndOffersTheOldStoreAsBackup)
{
    writeOldStore(live, 1200); // more than one batch
    const QString before = contentsOfStore(live);
    writeNotesPlugin();
    answerBackup(true);
    user->answerSavePanel(path(u"kept.vxdatastore"_s));
    startWith({});

    ASSERT_THAT(user->alerts(), SizeIs(1)) << log.lines().join(u'\n').toStdString();
    const VXAlert &alert = user->alerts().front();
    EXPECT_EQ(alert.message, u"Successfully upgraded notes."_s);
    EXPECT_EQ(alert.informativeText,
              u"Keep a backup of this file if you think you might want to revert to an older version of Vornix."_s);
    EXPECT_EQ(alert.checkBoxTitle, u"Save old data file as backup."_s);
    EXPECT_EQ(user->savePanels().front().proposedName, u"notes.vxdatastore"_s);
    EXPECT_EQ(user->progressWindows().front()->title, u"Upgrading notes data file..."_s);
    EXPECT_EQ(contentsOfStore(notesPlugin().persistentStoreCoordinator()), before);
    EXPECT_EQ(contentsOfStore(path(u"kept.vxdatastore"_s)), before);
    EXPECT_EQ(metadataOf(live, VXStoreVersionKey), u"1.2"_s);
    EXPECT_EQ(metadataOf(path(u"kept.vxdatastore"_s), VXStoreVersionKey), u"1.1"_s);
    EXPECT_FALSE(QFileInfo::exists(upgrading));
    EXPECT_EQ(notesPlugin().property("version"), 1);
    EXPECT_EQ(log.count(u"Duplicated 1200 Note"_s), 1); // letters are notes
    EXPECT_EQ(log.count(u"Duplicated 400 Letter"_s), 1);
    EXPECT_EQ(log.count(u"] Upgrading store..."_s), 1);
    EXPECT_EQ(QDir(data()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{u"notes.vxdatastore"_s});
}

TEST_F(VXStoreUpgradeTest, WithoutABackupTheOldStoreGoesToTheTrash)
{
    writeOldStore(live);
    const QString before = contentsOfStore(live);
    writeOldStore(upgrading, 2); // of an upgrade that nobody settled
    writeNotesPlugin();
    answerBackup(false);
    startWith({});
    EXPECT_EQ(contentsOfStore(notesPlugin().persistentStoreCoordinator()), before);
    EXPECT_EQ(log.count(u"moving old upgrade file to trash"_s), 1);
    EXPECT_EQ(contentsOfStore(trash(u"notes.vxdatastore.upgrading.1"_s)), before);
    EXPECT_TRUE(QFileInfo::exists(trash(u"notes.vxdatastore.upgrading"_s)));
    EXPECT_FALSE(QFileInfo::exists(upgrading));
}

TEST_F(VXStoreUpgradeTest, LeftoverBesideAStoreOfTheSameVersionIsOfferedUntilItIsSettled)
{
    writeStore(live, u"kept"_s);
    writeOldStore(upgrading);
    writePlugin(u"notes"_s);
    const auto start = [&](bool cancels) {
        answerBackup(cancels);
        if (cancels)
            user->answerSavePanel({});
        startWith({});
        std::_Exit(user->alerts().size() == 1 && user->unusedAnswers() == 0 && user->progressWindows().empty() ? 0 : 1);
    };
    EXPECT_EXIT(start(true), testing::ExitedWithCode(0), "");
    EXPECT_TRUE(QFileInfo::exists(upgrading));
    EXPECT_EXIT(start(false), testing::ExitedWithCode(0), "");
    EXPECT_FALSE(QFileInfo::exists(upgrading));
}

TEST_F(VXStoreUpgradeTest, BackupIsNotPutOverTheStoreInUse)
{
    writeStore(live, u"kept"_s);
    writeOldStore(upgrading);
    writePlugin(u"notes"_s);
    answerBackup(true);
    user->answerSavePanel(live);
    startWith({});
    ASSERT_THAT(user->errors(), SizeIs(1));
    EXPECT_TRUE(QFileInfo::exists(upgrading));
    EXPECT_EQ(textsIn(notesPlugin().persistentStoreCoordinator()), QStringList{u"kept"_s});
}

// -- The ways in which it ends

struct UpgradeRow
{
    const char *title;
    const char *migration;
    const char *version = "1.1"; // nullptr for none
    const char *line = "";       // in the log
    const char *message = "";    // of the alert; empty: it succeeds
    bool userCancels = false;
    bool verifies = true;
    void (*spoil)(const QString &live, const QString &home) = nullptr;
    bool isEmptied = false; // the new store has nothing
};

void PrintTo(const UpgradeRow &row, std::ostream *out)
{
    *out << row.title;
}

class VXStoreUpgradeOutcomeTest : public VXStoreUpgradeTest, public testing::WithParamInterface<UpgradeRow>
{
};

TEST_P(VXStoreUpgradeOutcomeTest, OldDataOrNewDataIsWholeAndTheUserKnows)
{
    const UpgradeRow &row = GetParam();
    writeOldStore(live, 10, QString::fromUtf8(row.version));
    const QString before = contentsOfStore(live);
    if (row.spoil != nullptr)
        row.spoil(live, path());
    const QMap<QString, QByteArray> filesBefore = contentsOf(live);
    writeNotesPlugin(QString::fromUtf8(row.migration));
    VXUserDefaults::standardUserDefaults().setObject(row.verifies, u"migration.verify"_s);
    if (row.userCancels)
        user->cancelNextProgressWindow();
    const bool succeeds = *row.message == '\0';
    if (succeeds)
        answerBackup(false);
    startWith({});

    EXPECT_EQ(user->unusedAnswers(), 0U) << log.lines().join(u'\n').toStdString();
    EXPECT_GE(log.count(QString::fromUtf8(row.line)), 1) << log.lines().join(u'\n').toStdString();
    ASSERT_THAT(user->alerts(), SizeIs(1));
    EXPECT_FALSE(QFileInfo::exists(upgrading));
    if (succeeds) {
        EXPECT_EQ(contentsOfStore(notesPlugin().persistentStoreCoordinator()), row.isEmptied ? u""_s : before);
        EXPECT_EQ(contentsOfStore(trash(u"notes.vxdatastore.upgrading"_s)), before);
    } else {
        EXPECT_EQ(user->alerts().front().message, QString::fromUtf8(row.message));
        EXPECT_TRUE(VXApplication::sharedApplication().isTerminating());
        EXPECT_EQ(contentsOf(live), filesBefore); // to the last byte
    }
    EXPECT_TRUE(VXStoreLock::take(live, VXStoreLock::Purpose::Use, {})); // nobody is left who has it
}

INSTANTIATE_TEST_SUITE_P(
    All, VXStoreUpgradeOutcomeTest,
    testing::Values(
        UpgradeRow{"Plain", ""},
        UpgradeRow{.title = "WithoutVersion", .migration = "", .version = nullptr, .line = "unknown store version: 0x"},
        UpgradeRow{.title = "VersionIsNoNumber", .migration = "", .version = "!", .line = "unknown store version: 0x"},
        UpgradeRow{.title = "Newer",
                   .migration = "",
                   .version = "1.10",
                   .message = "Data file is newer than this plugin supports"},
        UpgradeRow{.title = "HookThrows",
                   .migration = "throws",
                   .line = "Exception while migrating store: runtime_error: thrown as told",
                   .message = "runtime_error"},
        UpgradeRow{.title = "HookThrowsANumber",
                   .migration = "throws a number",
                   .line = "migrate: a value of type int",
                   .message = "The data could not be copied"},
        UpgradeRow{.title = "HookRefuses",
                   .migration = "refuses",
                   .line = "migrate: refused as told",
                   .message = "refused as told"},
        UpgradeRow{.title = "HookMistypes",
                   .migration = "mistypes",
                   .line = "cannot hold a value of type QVariantList",
                   .message = "VXAssertionException"},
        UpgradeRow{.title = "HookIgnoresAndNothingIsSaved",
                   .migration = "ignores",
                   .line = "ignoring: x-coredata://",
                   .verifies = false,
                   .isEmptied = true},
        UpgradeRow{.title = "HookIgnoresAndTheCheckNotices",
                   .migration = "ignores",
                   .line = "ignoring: x-coredata://",
                   .message = "The copy is not what was to be saved"},
        UpgradeRow{.title = "UserCancels",
                   .migration = "waits",
                   .message = "The operation could not be completed. (VXErrorDomain error 34.)",
                   .userCancels = true},
        UpgradeRow{.title = "WithoutModel",
                   .migration = "",
                   .line = "Missing managed object model",
                   .message = "Missing managed object model",
                   .spoil = [](const QString &live, const QString &) { QFile::remove(live + "/notes.mom"_L1); }},
        UpgradeRow{.title = "DamagedAtTheEnd",
                   .migration = "",
                   .line = "migrate: The store is damaged",
                   .message = "The store is damaged, or no store at all.",
                   .spoil =
                       [](const QString &live, const QString &) {
                           QFile file(live + "/notes.sqlite"_L1);
                           ASSERT_TRUE(file.open(QIODevice::ReadWrite));
                           ASSERT_TRUE(file.seek(file.size() / 2));
                           file.write(QByteArray(int(file.size() / 2), '\x5a'));
                       }}),
    [](const auto &each) { return std::string(each.param.title); });

TEST_F(VXStoreUpgradeTest, KilledUpgradeIsUndoneByTheNextStart)
{
    writeOldStore(live);
    const QString before = contentsOfStore(live);
    writeNotesPlugin(u"dies"_s);
    for (int round = 0; round < 3; ++round) { // it is no crash of the plugin, however often
        EXPECT_EXIT(startWith({}), testing::KilledBySignal(SIGKILL), "");
        EXPECT_EQ(contentsOfStore(QFileInfo::exists(live) ? live : upgrading), before);
    }
    writeNotesPlugin();
    answerBackup(false);
    startWith({});
    EXPECT_EQ(contentsOfStore(notesPlugin().persistentStoreCoordinator()), before);
    EXPECT_EQ(log.count(u"Restoring pre-upgrade file: "_s), 3);
    EXPECT_EQ(QDir(data()).entryList({u".new.*"_s}, QDir::Dirs | QDir::Hidden), QStringList());
}

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
