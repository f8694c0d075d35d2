#include "VXStoreTransferTest.h"

#include <sys/wait.h>
#include <unistd.h>

using testing::SizeIs;

using VXStoreExportTest = VXStoreTransferTest;

TEST_F(VXStoreExportTest, ExportsAsItIsOrValidatedAndTrashesWhatWasThere)
{
    start();
    writeOldStore(file, 5);
    user->answerAlert(VXAlertButton::Default);
    ASSERT_TRUE(notesPlugin().importStoreAtPath(file));
    writeFile(u".local/share/Vornix 2/Data/notes.vxdatastore/extra.txt"_s, "beside");
    writeFile(u".local/share/Vornix 2/Data/notes.vxdatastore/folder/inside.txt"_s, "inside");
    writeFile(u".new.project/mine.txt"_s, "the user's own");
    const QString before = contentsOfStore(store());
    for (const bool validates : {false, true}) {
        const QString name = validates ? u"validated.vxdatastore"_s : u"plain.vxdatastore"_s;
        writeFile(name + "/was"_L1, "there");
        user->answerSavePanel(path(name), validates);
        notesPlugin().exportStoreAction();
        const VXSavePanel &panel = user->savePanels().back();
        EXPECT_EQ(panel.checkBoxTitle, u"Validate data during save"_s);
        EXPECT_EQ(panel.proposedName, u"notes.vxdatastore"_s);
        EXPECT_FALSE(panel.isChecked);
        EXPECT_EQ(VXUserDefaults::standardUserDefaults().boolForKey(u"export.validate"_s), validates);
        EXPECT_THAT(user->errors(), SizeIs(0));
        EXPECT_EQ(contentsOfStore(path(name)), before);
        EXPECT_EQ(QFileInfo::exists(path(name + "/extra.txt"_L1)), !validates);
        EXPECT_EQ(QFileInfo::exists(path(name + "/folder/inside.txt"_L1)), !validates);
        EXPECT_EQ(readFile(trash(name + "/was"_L1)), "there");
    }
    EXPECT_EQ(user->progressWindows().size(), 3U); // with that of the import
    EXPECT_EQ(user->progressWindows().back()->title, u"Exporting notes data file..."_s);
    user->cancelNextProgressWindow();
    user->answerSavePanel(path(u"plain.vxdatastore"_s), false);
    notesPlugin().exportStoreAction();
    EXPECT_EQ(user->errors().size(), 1U);
    EXPECT_EQ(contentsOfStore(path(u"plain.vxdatastore"_s)), before); // of the time before
    EXPECT_EQ(QDir(path()).entryList({u".vornix-new*"_s}, QDir::AllEntries | QDir::Hidden), QStringList());
    EXPECT_EQ(readFile(path(u".new.project/mine.txt"_s)), "the user's own");
    VXError error;
    EXPECT_EQ(VXPersistentStoreCoordinator::metadataForPersistentStore(
                  VXStoreType::SQLite, path(u"validated.vxdatastore/notes.sqlite"_s), &error)
                  .value(VXStoreVersionKey),
              u"1.2"_s);
}

// To open and close a file ends the locks that a process has on it: the next to close it then takes its log away.
TEST_F(VXStoreExportTest, ExportEndsNoLockOnTheStoreInUse)
{
    start();
    const auto addNote = [&](const VXPersistentStoreCoordinator::Ptr &coordinator) {
        VXManagedObjectContext context(coordinator);
        context.insertNewObject(u"Note"_s)->setValueForKey(u"note"_s, u"text"_s);
        return context.save();
    };
    const auto inOtherProcess = [&](const std::function<int()> &call) {
        const pid_t child = ::fork();
        if (child == 0)
            ::_exit(call());
        int status = -1;
        ::waitpid(child, &status, 0);
        return WEXITSTATUS(status);
    };
    EXPECT_TRUE(addNote(store()));
    ASSERT_FALSE(notesPlugin().exportStoreTo(path(u"a.vxdatastore"_s), false));
    ASSERT_FALSE(notesPlugin().exportStoreTo(path(u"b.vxdatastore"_s), true));
    // As another program does that opens the file, and closes it as the last one.
    const QByteArray database = QFile::encodeName(live + "/notes.sqlite"_L1);
    EXPECT_EQ(inOtherProcess([&] {
                  return ::execlp("sqlite3", "sqlite3", database.constData(),
                                  "PRAGMA user_version = 1; SELECT count(*) FROM sqlite_master", nullptr);
              }),
              0);
    EXPECT_TRUE(QFileInfo::exists(live + "/notes.sqlite-wal"_L1)) << "the log was taken away from under the store";
    EXPECT_TRUE(addNote(store()));
    EXPECT_EQ(contentsOfStore(store()).count(u"text=note"_s), 2);
}

TEST_F(VXStoreExportTest, ExportIsNotWrittenOverTheStoreInUse)
{
    start();
    ASSERT_TRUE(QFile::link(data(), path(u"linked"_s)));
    for (const QString &place : {live, data(), live + "/inside.vxdatastore"_L1, path(u"linked/notes.vxdatastore"_s),
                                 data(u".notes.vxdatastore.lock"_s), data(u"notes.vxdatastore.upgrading"_s), staged}) {
        EXPECT_EQ(notesPlugin().exportStoreTo(place, false).localizedDescription(),
                  u"The data file that is in use lies there"_s)
            << place.toStdString();
    }
    EXPECT_TRUE(QFileInfo::exists(live + "/notes.sqlite"_L1));
}
