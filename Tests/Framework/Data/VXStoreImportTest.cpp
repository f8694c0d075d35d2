#include "VXCoreDataStoreMigrationWindowController.h"
#include "VXFramework.h"
#include "VXNotificationCenter.h"
#include "VXUpgradeTesting.h"

#include <QtCore/QFileInfo>
#include <QtCore/QTimer>

#include <algorithm>
#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using testing::HasSubstr;
using testing::SizeIs;

class VXStoreImportTest : public VXUpgradeHomeTest
{
protected:
    // Starts a plugin that has a store with one author and two tags, and no notes.
    void start(const QString &migration = {}, const QVariantMap &info = {{u"FixtureDescription"_s, u"Some notes"_s}})
    {
        writeOldStore(live, 0, u"1.2"_s, u"org.example.notes"_s, newSource());
        writeNotesPlugin(migration, info);
        startWith({});
    }
    VXPersistentStoreCoordinator::Ptr store() const { return notesPlugin().persistentStoreCoordinator(); }
    void expectFailure(const QString &text) const
    {
        ASSERT_FALSE(user->alerts().empty());
        EXPECT_EQ(user->alerts().back().message, u"Unable to import data."_s);
        EXPECT_EQ(user->alerts().back().informativeText, text);
        EXPECT_EQ(user->alerts().back().defaultButton, u"OK"_s);
    }

    const QString live = data(u"notes.vxdatastore"_s);
    const QString staged = waiting(u"notes.vxdatastore"_s);
    const QString file = path(u"others.vxdatastore"_s);
};

TEST_F(VXStoreImportTest, PanelShowsFoldersAndStoresOfThePlugin)
{
    start();
    const struct
    {
        QString folder;
        QString dataFile;
        bool isShown;
    } rows[] = {{u"a.vxdatastore"_s, u"notesOld.sqlite"_s, true}, {u"b.vxdatastore"_s, u"notes.xml"_s, true},
                {u"c.vxdatastore"_s, u"other.sqlite"_s, false},   {u"d.vxdatastore"_s, u"my notes.sqlite"_s, false},
                {u"e.other"_s, u"notes.sqlite"_s, false},         {u"f.vxdatastore"_s, u"notes.txt"_s, false}};
    const VXOpenPanel panel = notesPlugin().importPanel();
    EXPECT_FALSE(panel.canChooseDirectories);
    for (const auto &row : rows) {
        writeFile(row.folder + u'/' + row.dataFile, "");
        EXPECT_EQ(notesPlugin().isValidStoreAtPath(path(row.folder)), row.isShown) << row.folder.toStdString();
        EXPECT_EQ(panel.canChoose(path(row.folder)), row.isShown);
    }
}

TEST_F(VXStoreImportTest, MergeAddsAllObjectsOfAnyVersion)
{
    start();
    writeOldStore(file, 7);
    const auto files = contentsOf(file);
    const QString before = contentsOfStore(store());
    writeFile(QDir(path()).relativeFilePath(live + "/.vornix-0123456789abcdef"_L1), "being written");
    user->answerOpenPanel(file);
    user->answerAlert(VXAlertButton::Default);
    VXError error;
    EXPECT_TRUE(notesPlugin().importStore(&error)) << error.description().toStdString();
    const VXAlert &alert = user->alerts().front();
    EXPECT_EQ(alert.message, u"Merge imported data with existing data?"_s);
    EXPECT_EQ(alert.informativeText, u"Some notes"_s);
    EXPECT_EQ(QStringList({alert.defaultButton, alert.alternateButton, alert.otherButton}),
              QStringList({u"Merge"_s, u"Cancel"_s, u"Replace"_s}));
    EXPECT_EQ(user->progressWindows().front()->title, u"Importing notes data file..."_s);
    const QString merged = contentsOfStore(store());
    EXPECT_EQ(merged.count(u"text=note"_s), 7);
    EXPECT_EQ(merged.count(u"Author name=Jane"_s), 2); // the one that was there, and that of the file
    EXPECT_EQ(contentsOf(file), files);                // which was only read
    const QList<VXStorePast::Entry> past = VXStorePast::entries(live);
    ASSERT_THAT(past, SizeIs(1)); // one step to undo
    EXPECT_EQ(past.front().reason, u"merged"_s);
    EXPECT_EQ(contentsOfStore(past.front().path), before);
    EXPECT_FALSE(QFileInfo::exists(past.front().path + "/.vornix-0123456789abcdef"_L1));
    EXPECT_EQ(QDir(data()).entryList({u".vornix-new.*"_s}, QDir::Dirs | QDir::Hidden), QStringList());
}

TEST_F(VXStoreImportTest, WhatAMergeLosesKeepsItFromBeingSaved)
{
    start(u"unties"_s);
    writeOldStore(file, 7);
    const QString before = contentsOfStore(store());
    user->answerAlert(VXAlertButton::Default);
    EXPECT_FALSE(notesPlugin().importStoreAtPath(file));
    expectFailure(u"The copy is not what the old store holds"_s);
    EXPECT_EQ(contentsOfStore(store()), before);
}

TEST_F(VXStoreImportTest, CancelDoesNothing)
{
    start();
    writeOldStore(file);
    const QString before = contentsOfStore(store());
    user->answerOpenPanel({});
    EXPECT_FALSE(notesPlugin().importStore());
    user->answerAlert(VXAlertButton::Alternate);
    EXPECT_FALSE(notesPlugin().importStoreAtPath(file));
    EXPECT_THAT(user->alerts(), SizeIs(1)); // the question alone
    EXPECT_FALSE(notesPlugin().importStoreAtPath(live));
    expectFailure(u"It is the store itself"_s);
    EXPECT_EQ(contentsOfStore(store()), before);
    EXPECT_FALSE(QFileInfo::exists(staged));
}

TEST_F(VXStoreImportTest, MergeThatIsCancelledOrFailsChangesNothing)
{
    start(u"waits"_s);
    writeOldStore(file);
    const QString before = contentsOfStore(store());
    user->cancelNextProgressWindow();
    user->answerAlert(VXAlertButton::Default);
    EXPECT_FALSE(notesPlugin().importStoreAtPath(file));
    expectFailure(u"The operation could not be completed. (VXErrorDomain error 34.)"_s);
    EXPECT_EQ(contentsOfStore(store()), before);
    EXPECT_THAT(VXStorePast::entries(live), SizeIs(0));
    EXPECT_EQ(QDir(data()).entryList(QDir::Dirs | QDir::NoDotAndDotDot), QStringList{u"notes.vxdatastore"_s});
}

// Hooks that save by themselves: what was there before is found, whatever becomes of them.
TEST_F(VXStoreImportTest, MergeThatIsCutOffCanBeTakenBack)
{
    for (const QString &how : {u"saves and fails"_s, u"saves and dies"_s}) {
        writeOldStore(live, 0, u"1.2"_s, u"org.example.notes"_s, newSource());
        const QString before = contentsOfStore(live);
        writeNotesPlugin(how, {{u"FixtureDescription"_s, u"Some notes"_s}});
        writeOldStore(file);
        const auto merge = [&] {
            startWith({});
            user->answerAlert(VXAlertButton::Default);
            std::_Exit(notesPlugin().importStoreAtPath(file) ? 0 : 1);
        };
        if (how == "saves and fails"_L1)
            EXPECT_EXIT(merge(), testing::ExitedWithCode(1), "");
        else
            EXPECT_EXIT(merge(), testing::KilledBySignal(SIGKILL), "");
        EXPECT_NE(contentsOfStore(live), before) << how.toStdString();
        const QList<VXStorePast::Entry> past = VXStorePast::entries(live);
        ASSERT_FALSE(past.isEmpty()) << how.toStdString();
        EXPECT_EQ(past.front().reason, u"merged"_s);
        EXPECT_EQ(contentsOfStore(past.front().path), before) << how.toStdString();
        ASSERT_TRUE(QDir(live).removeRecursively());
        ASSERT_TRUE(QDir(file).removeRecursively());
    }
}

TEST_F(VXStoreImportTest, MergeThatSavesNothingSucceedsAndIsLogged)
{
    start(u"ignores"_s);
    writeOldStore(file);
    const QString before = contentsOfStore(store());
    user->answerAlert(VXAlertButton::Default);
    VXError error;
    EXPECT_TRUE(notesPlugin().importStoreAtPath(file, &error));
    EXPECT_FALSE(error);
    EXPECT_EQ(log.count(u"nothing is saved; 2 of \"Tag\" have no new object"_s), 1);
    EXPECT_EQ(contentsOfStore(store()), before);
    EXPECT_THAT(VXStorePast::entries(live), SizeIs(0)); // there is nothing to undo

    user->answerSavePanel(path(u"out.vxdatastore"_s), true);
    user->answerAlert(VXAlertButton::Default);
    notesPlugin().exportStoreAction(); // whose user must not take that for a copy either
    EXPECT_EQ(user->alerts().back().message,
              u"Nothing was copied: the new data file is empty, as the plugin wants it."_s);
}

TEST_F(VXStoreImportTest, ReplaceStagesAConsistentCopyAndAsksForARelaunch)
{
    start();
    writeOldStore(file, 4);
    const QString imported = contentsOfStore(file);
    writeFile(u".local/share/Vornix 2/Data (Install)/notes.vxdatastore/old"_s, "waited before");
    VXApplication &application = VXApplication::sharedApplication();
    for (const bool hasLaunched : {false, true}) {
        application.setDidFinishLaunching(hasLaunched);
        application.setNeedsRelaunch(false);
        user->answerAlert(VXAlertButton::Other);
        if (hasLaunched)
            user->answerAlert(VXAlertButton::Alternate);
        EXPECT_TRUE(notesPlugin().importStoreAtPath(file));
        EXPECT_EQ(application.needsRelaunch(), !hasLaunched);
        EXPECT_EQ(contentsOfStore(staged), imported);
    }
    const VXAlert &alert = user->alerts().back();
    EXPECT_EQ(alert.message, u"Vornix must be re-launched in order to use the new data file."_s);
    EXPECT_EQ(alert.defaultButton, u"Re-Launch Now"_s);
    EXPECT_EQ(alert.alternateButton, u"Re-Launch Later"_s);
    EXPECT_EQ(readFile(trash(u"notes.vxdatastore/old"_s)), "waited before");
    EXPECT_EQ(user->unusedAnswers(), 0U);
}

// What waits may itself be what the user chose.
TEST_F(VXStoreImportTest, WhatWaitsAlreadyCanBeStagedAgain)
{
    start();
    writeOldStore(staged, 4);
    const QString waits = contentsOfStore(staged);
    for (const bool isGone : {false, true}) {
        const auto store = notesPlugin().createStoreFromFileAtPath(staged);
        ASSERT_TRUE(store && store->persistentStoreCoordinator());
        if (isGone)
            QDir(staged).removeRecursively();
        EXPECT_EQ(bool(notesPlugin().stageStore(*store)), isGone); // an empty one would replace the user's data
        EXPECT_EQ(contentsOfStore(staged), isGone ? QString() : waits);
    }
    const QString told = u"Could not copy file: %1 -> %1"_s.arg(staged);
    EXPECT_TRUE(std::ranges::any_of(log.lines(), [&](const QString &line) { return line.endsWith(told); }));
}

TEST_F(VXStoreImportTest, WhatIsSavedIsNotCancelled)
{
    start();
    writeOldStore(file, 3);
    const auto source = notesPlugin().createStoreFromFileAtPath(file);
    const auto destination = VXCoreDataStore::storeClass().storeWithPath(live);
    const auto controller = VXCoreDataStoreMigrationWindowController::importStore(source, destination, notesPlugin());
    QObject context;
    VXNotificationCenter::defaultCenter().addObserver(
        &context, VXManagedObjectContextDidSaveNotification, [&](const VXNotification &) {
            QTimer::singleShot(0, &context, [&] { controller->cancel(); }); // as a click that was waiting
        });
    EXPECT_FALSE(controller->runModal());
    EXPECT_EQ(contentsOfStore(store()).count(u"text=note"_s), 3);
}

namespace {

// Objects out of order, in each page that has many: some are found only by reading all.
void swapFirstCells(const QString &database)
{
    QFile file(database);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    constexpr qint64 pageSize = 4096;
    constexpr qint64 headerSize = 8; // of a leaf: its kind first, the number of cells at 3
    int swapped = 0;
    for (qint64 page = pageSize; page < file.size(); page += pageSize) {
        ASSERT_TRUE(file.seek(page));
        const QByteArray begin = file.read(headerSize + 4);
        if (begin[0] != 0x0d || begin[4] < 20)
            continue;
        ++swapped;
        ASSERT_TRUE(file.seek(page + headerSize));
        file.write(begin.sliced(headerSize + 2, 2) + begin.sliced(headerSize, 2));
    }
    EXPECT_GT(swapped, 0);
}

} // namespace

TEST_F(VXStoreImportTest, DamageThatACopyDoesNotStumbleOnIsFoundBeforeAnythingIsReplaced)
{
    start();
    writeOldStore(file, 50);
    swapFirstCells(file + "/notes.sqlite"_L1);
    for (const VXAlertButton how : {VXAlertButton::Default, VXAlertButton::Other}) {
        user->answerAlert(how);
        VXError error;
        EXPECT_FALSE(notesPlugin().importStoreAtPath(file, &error));
        EXPECT_THAT(error.description().toStdString(), HasSubstr("The store is damaged, or no store at all."));
        EXPECT_FALSE(QFileInfo::exists(staged));
    }
}

TEST_F(VXStoreImportTest, ReadOnlySourcesAreMergedAndStagedAndLeftAsTheyAre)
{
    start();
    writeOldStore(file, 5);
    writeFile(u"others.vxdatastore/folder/inside.txt"_s, "inside");
    const QStringList locks{u"saving.lock"_s, u"sync.lock.turn"_s};
    for (const QString &lock : locks)
        writeFile(u"others.vxdatastore/"_s + lock, "");
    const QString imported = contentsOfStore(file);
    const auto files = contentsOf(file);
    const QFile::Permissions reading = QFile::ReadOwner | QFile::ExeOwner;
    for (const QString &name : files.keys())
        ASSERT_TRUE(QFile::setPermissions(file + u'/' + name, QFile::ReadOwner));
    ASSERT_TRUE(QFile::setPermissions(file, reading));
    user->answerAlert(VXAlertButton::Default);
    EXPECT_TRUE(notesPlugin().importStoreAtPath(file));
    EXPECT_EQ(contentsOfStore(store()).count(u"text=note"_s), 5);
    VXApplication::sharedApplication().setDidFinishLaunching(false);
    user->answerAlert(VXAlertButton::Other);
    EXPECT_TRUE(notesPlugin().importStoreAtPath(file));
    EXPECT_EQ(contentsOfStore(staged), imported);
    EXPECT_EQ(readFile(staged + "/folder/inside.txt"_L1), "inside");
    EXPECT_EQ(QDir(staged).entryList(locks, QDir::Files), QStringList()); // no data
    EXPECT_EQ(contentsOf(file), files);
    EXPECT_EQ(QFile::permissions(file) & QFile::WriteOwner, QFile::Permissions());
    ASSERT_TRUE(QFile::setPermissions(file, reading | QFile::WriteOwner)); // or it could not be removed
}

TEST_F(VXStoreImportTest, HostileFilesGetTheirTextAndChangeNothing)
{
    start();
    const QString before = contentsOfStore(store());
    const struct
    {
        const char *text;
        std::function<void()> make;
    } rows[] = {
        {"Not a recognized data file.", [&] { writeFile(u"others.vxdatastore/readme.txt"_s, "nothing"); }},
        {"Not a recognized data file.", [] {}},
        {"Missing managed object model",
         [&] {
             writeOldStore(file);
             QFile::remove(file + "/notes.mom"_L1);
         }},
        {"The store is damaged, or no store at all.",
         [&] {
             writeOldStore(file);
             writeFile(u"others.vxdatastore/notes.sqlite"_s, "garbage");
         }},
        {"Data file is newer than this plugin supports", [&] { writeOldStore(file, 1, u"1.10"_s); }},
        {"Data file does not belong to this plugin", // of a plugin that nobody knows
         [&] {
             QDir().mkpath(file);
             ASSERT_TRUE(modelOf("entity Other { attribute text: string; }")->writeToFile(file + "/notes.mom"_L1));
             const auto theirs =
                 VXCoreDataStore::storeClass().makeStore(file, u"notes.sqlite"_s)->persistentStoreCoordinator();
             theirs->persistentStores().constFirst()->setMetadata({{VXStoreOwnerIdentifierKey, u"org.example.else"_s}});
             ASSERT_TRUE(VXManagedObjectContext(theirs).save());
         }},
    };
    for (const auto &row : rows) {
        QDir(file).removeRecursively();
        row.make();
        const auto files = contentsOf(file);
        EXPECT_FALSE(notesPlugin().importStoreAtPath(file)) << row.text;
        expectFailure(QString::fromUtf8(row.text));
        EXPECT_EQ(contentsOf(file), files);
    }
    EXPECT_EQ(contentsOfStore(store()), before);
    EXPECT_THAT(user->alerts(), SizeIs(std::size(rows)));
}

TEST_F(VXStoreImportTest, PluginThatDescribesNothingImportsNothing)
{
    start({}, {});
    writeOldStore(file);
    VXError error;
    EXPECT_FALSE(notesPlugin().importStoreAtPath(file, &error));
    expectFailure(u"No data was found in this file."_s);
    EXPECT_EQ(error.localizedRecoverySuggestion(), file);
    EXPECT_EQ(log.count(u"plugin not designed for importing: org.example.notes"_s), 1);
}

TEST_F(VXStoreImportTest, MergeReadsALinkAndAStoreWithoutVersionAndOfAFormerIdentifierThatIsBeingWritten)
{
    start();
    writeOldStore(path(u"real.vxdatastore"_s), 3, {}, u"org.example.former"_s);
    ASSERT_TRUE(QFile::link(path(u"real.vxdatastore"_s), file));
    const auto writer = VXCoreDataStore::storeClass().storeWithPath(path(u"real.vxdatastore"_s)); // and its log
    writer->usePlainObjects();
    VXManagedObjectContext context(writer->persistentStoreCoordinator());
    context.insertNewObject(u"Note"_s)->setValueForKey(u"note just written"_s, u"text"_s);
    ASSERT_TRUE(context.save());
    user->answerAlert(VXAlertButton::Default);
    EXPECT_TRUE(notesPlugin().importStoreAtPath(file));
    EXPECT_EQ(contentsOfStore(store()).count(u"text=note"_s), 4);
    EXPECT_EQ(log.count(u"unknown store version: 0x"_s), 1);
}

// -- Legacy data

TEST_F(VXStoreImportTest, LegacyDataThatIsNotThereIsAskedFor)
{
    start();
    EXPECT_FALSE(notesPlugin().hasLegacyData());
    user->answerAlert(VXAlertButton::Alternate);
    EXPECT_FALSE(notesPlugin().importLegacyData());
    EXPECT_EQ(user->alerts().back().message, u"Unable to locate data file."_s);
    EXPECT_EQ(user->alerts().back().defaultButton, u"Select File..."_s);
    user->answerAlert(VXAlertButton::Default);
    user->answerOpenPanel({});
    EXPECT_FALSE(notesPlugin().importLegacyData());
    EXPECT_EQ(user->unusedAnswers(), 0U);
}

TEST_F(VXStoreImportTest, LegacyBundleIsCopiedAndTrashed)
{
    start();
    const auto writeLegacy = [&](const QByteArray &model) {
        QDir().mkpath(path(u"legacy"_s));
        const auto coordinator =
            VXPersistentStoreCoordinator::coordinatorWithModel(modelOf(model), nullptr, VXObjectClasses::Plain);
        ASSERT_TRUE(coordinator->addPersistentStore(VXStoreType::XML, path(u"legacy/global.xml"_s)));
        VXManagedObjectContext context(coordinator);
        context.insertNewObject(u"Note"_s)->setValueForKey(u"note of old"_s, u"text"_s);
        ASSERT_TRUE(context.save());
    };
    VXManagedObjectContext context(store());
    writeLegacy(oldSource()); // not readable with the current model
    EXPECT_FALSE(notesPlugin().importLegacyXMLBundle(path(u"legacy"_s), context));
    EXPECT_EQ(log.count(u"] store: "_s), 1);
    EXPECT_TRUE(QFileInfo::exists(path(u"legacy/global.xml"_s)));
    EXPECT_FALSE(context.hasChanges());
    QDir(path(u"legacy"_s)).removeRecursively();

    writeLegacy(newSource());
    EXPECT_TRUE(notesPlugin().importLegacyXMLBundle(path(u"legacy"_s), context));
    EXPECT_THAT(context.insertedObjects(), SizeIs(1)); // not saved here
    EXPECT_FALSE(QFileInfo::exists(path(u"legacy"_s)));
    EXPECT_TRUE(QFileInfo::exists(trash(u"legacy/global.xml"_s)));

    writeFile(u"legacy/readme"_s, "");
    EXPECT_TRUE(notesPlugin().importLegacyXMLBundle(path(u"legacy"_s), context));
    EXPECT_EQ(log.count(u"Missing legacyFile"_s), 1);
    EXPECT_FALSE(QFileInfo::exists(path(u"legacy"_s)));
    EXPECT_FALSE(notesPlugin().importLegacyXMLBundle(path(u"legacy"_s), context)); // nothing to trash
    EXPECT_EQ(log.count(u"] trash: "_s), 1);
}

TEST_F(VXStoreImportTest, PropertyListsAreReadOrRefusedWithTheReason)
{
    start();
    VXError error;
    const QString list =
        writeFile(u"list.plist"_s, "<plist version=\"1.0\"><dict><key>a</key><integer>1</integer></dict></plist>");
    EXPECT_EQ(notesPlugin().loadDictionaryFromFilePath(list, &error).toMap().value(u"a"_s), 1);
    EXPECT_FALSE(notesPlugin().loadDictionaryFromFilePath(path(u"none"_s), &error).isValid());
    EXPECT_EQ(error.localizedDescription(), u"Unable to load data"_s);
    EXPECT_EQ(error.localizedRecoverySuggestion(), path(u"none"_s));
    const QString broken = writeFile(u"broken.plist"_s, "<plist><dict>");
    EXPECT_FALSE(notesPlugin().loadDictionaryFromFilePath(broken, &error).isValid());
    EXPECT_EQ(error.localizedRecoverySuggestion(), broken);
    EXPECT_EQ(log.count("Invalid plist: "_L1 + broken), 1);
}

// -- Export

TEST_F(VXStoreImportTest, ExportsAsItIsOrValidatedAndTrashesWhatWasThere)
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
TEST_F(VXStoreImportTest, ExportEndsNoLockOnTheStoreInUse)
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

TEST_F(VXStoreImportTest, ExportIsNotWrittenOverTheStoreInUse)
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
