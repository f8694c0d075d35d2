#include "VXStoreUpgradeTest.h"
#include "VXManagedObjectClass.h"
#include "VXStoreLock.h"
#include "VXStorePast.h"
#include "VXTestSQL.h"

#include <algorithm>
#include <cstdlib>

using testing::HasSubstr, testing::SizeIs;

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
    const QList<VXEntityMigration> entities = notesPlugin().lastMigration();
    const auto authors = std::ranges::find(entities, u"Author"_s, &VXEntityMigration::entity);
    EXPECT_TRUE(authors != entities.end() && authors->isUnchanged()); // what is not a number stays so
    EXPECT_EQ(QDir(data()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{u"notes.vxdatastore"_s});
}

TEST_F(VXStoreUpgradeTest, RowsThatAreCopiedAsTheyAreMakeTheSameStore)
{
    writeOldStore(live, 1200);
    const QString before = contentsOfStore(live);
    writeNotesPlugin(u"rows"_s);
    answerBackup(false);
    startWith({});
    EXPECT_EQ(contentsOfStore(notesPlugin().persistentStoreCoordinator()), before);
    EXPECT_EQ(log.count(u"one by one"_s), 0) << log.lines().join(u'\n').toStdString();
    EXPECT_FALSE(notesPlugin().property("version").isValid()); // no hook was called
    EXPECT_EQ(metadataOf(live, VXStoreVersionKey), u"1.2"_s);
    EXPECT_EQ(log.count(u"Duplicated 1200 Note"_s), 1);
    EXPECT_EQ(log.count(u"Duplicated 400 Letter"_s), 1);
    QStringList told;
    for (const VXEntityMigration &entity : notesPlugin().lastMigration())
        told.append(u"%1 %2 of %3, without %4"_s.arg(entity.entity)
                        .arg(entity.copied)
                        .arg(entity.found)
                        .arg(entity.droppedProperties.join(u' ')));
    EXPECT_EQ(told.join(u'\n').toStdString(), "Note 800 of 800, without mood\n"
                                              "Letter 400 of 400, without mood\n"
                                              "Tag 2 of 2, without \n"
                                              "Author 1 of 1, without ");
}

// Of letters, too, which inherit it; all else goes by rows.
TEST_F(VXStoreUpgradeTest, HooksAreCalledForTheAttributesThatRowsLeaveToThem)
{
    writeOldStore(live, 1200);
    const QString before = contentsOfStore(live);
    writeNotesPlugin(u"rows, shouts"_s);
    answerBackup(false);
    startWith({});
    EXPECT_EQ(contentsOfStore(notesPlugin().persistentStoreCoordinator()),
              QString(before).replace("note "_L1, "NOTE "_L1));
    EXPECT_EQ(log.count(u"one by one"_s), 0) << log.lines().join(u'\n').toStdString();
    EXPECT_FALSE(notesPlugin().property("version").isValid()); // no object was made
    QStringList told;
    for (const VXEntityMigration &entity : notesPlugin().lastMigration())
        told.append(u"%1 %2"_s.arg(entity.entity).arg(entity.changedValues.value(u"text"_s)));
    EXPECT_EQ(told.join(u", "_s).toStdString(), "Note 800, Letter 400, Tag 0, Author 0");
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
    EXPECT_FALSE(QFileInfo::exists(upgrading));
    QStringList past; // the one that nobody settled, too
    for (const VXStorePast::Entry &entry : VXStorePast::entries(live))
        past.append(entry.reason + u' ' + entry.path);
    EXPECT_EQ(past, (QStringList{"upgraded "_L1 + trash(u"notes.vxdatastore.upgrading.1"_s),
                                 "upgraded "_L1 + trash(u"notes.vxdatastore.upgrading"_s)}));
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

namespace {

// As another program may: the first note.
void change(const QString &folder, const char *assignment)
{
    VXRunSQL(folder + "/notes.sqlite"_L1, QByteArray("UPDATE VX_Note SET ") + assignment + " WHERE Z_PK = 1");
}

} // namespace

struct UpgradeRow
{
    const char *title;
    const char *migration = "";
    const char *line = "";       // in the log
    const char *message = "";    // of the alert; empty: it succeeds
    const char *version = "1.1"; // nullptr for none
    const char *owner = "org.example.notes";
    bool userCancels = false;
    bool verifies = true;
    void (*spoil)(const QString &live) = nullptr;
    bool isEmptied = false;         // the new store has nothing
    bool isChanged = false;         // it has other values
    bool namesEarlierStore = false; // as the way out

    UpgradeRow with(auto UpgradeRow::*field, auto value) const
    {
        UpgradeRow row = *this;
        row.*field = value;
        return row;
    }
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
    writeOldStore(live, 10, QString::fromUtf8(row.version), QString::fromUtf8(row.owner));
    const QString before = contentsOfStore(live);
    if (row.spoil != nullptr)
        row.spoil(live);
    const QMap<QString, QByteArray> filesBefore = contentsOf(live);
    const QString earlier = path(u"earlier"_s);
    ASSERT_TRUE(QDir().mkpath(earlier));
    VXStorePast::note(live, earlier, u"upgraded"_s);
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
        const QString after = contentsOfStore(notesPlugin().persistentStoreCoordinator());
        if (row.isChanged)
            EXPECT_NE(after, before);
        else
            EXPECT_EQ(after, row.isEmptied ? u""_s : before);
        EXPECT_EQ(user->alerts().front().details.contains("Nothing was copied"_L1), row.isEmptied);
        EXPECT_EQ(contentsOfStore(trash(u"notes.vxdatastore.upgrading"_s)), before);
    } else {
        EXPECT_EQ(user->alerts().front().message, QString::fromUtf8(row.message));
        EXPECT_TRUE(VXApplication::sharedApplication().isTerminating());
        EXPECT_EQ(contentsOf(live), filesBefore); // to the last byte
        const QString details = user->alerts().front().details;
        EXPECT_EQ(details.contains(earlier), row.namesEarlierStore) << details.toStdString();
        EXPECT_EQ(details.contains("The store is as it was."_L1), !row.namesEarlierStore) << details.toStdString();
    }
    EXPECT_TRUE(VXStoreLock::take(live, VXStoreLock::Purpose::Use, {})); // nobody is left who has it
}

using Row = UpgradeRow;

const char *const differs = "The copy is not what the old store holds";
const char *const notCopied = "The data could not be copied";
const char *const unfit = "The data file has values that do not fit";

const Row upgradeRows[] = {
    Row{"Plain"},
    Row{"WithoutVersion", "", "unknown store version: 0x"}.with(&Row::version, nullptr),
    Row{"WithoutOwner", "", "missing store identifier"}.with(&Row::version, "1.2").with(&Row::owner, nullptr),
    Row{"OfAPluginThatIsGone"}.with(&Row::owner, "org.example.renamed"),
    Row{"HookSavesItself", "saves"},
    Row{"VersionIsNoNumber", "", "unknown store version: 0x"}.with(&Row::version, "!"),
    Row{"VersionIsAWord", "", "unknown store version: 0x"}.with(&Row::version, "beta"),
    Row{"Newer", "", "", "Data file is newer than this plugin supports"}
        .with(&Row::version, "1.10")
        .with(&Row::namesEarlierStore, true),
    Row{"HookThrows", "throws", "Exception while migrating store: runtime_error: thrown as told", "runtime_error"},
    Row{"HookThrowsANumber", "throws a number", "migrate: a value of type int", notCopied},
    Row{"HookRefuses", "refuses", "migrate: refused as told", "refused as told"},
    Row{"HookMistypes", "mistypes", "cannot hold a value of type QVariantList", "VXAssertionException"},
    Row{"HookReturnsTheOldObject", "returns the old", " is no object of the new store.", notCopied},
    Row{"HookChangesValuesAsAsked", "shouts"}.with(&Row::isChanged, true),
    Row{"CheckRepairsTheOld", "repairs"}.with(&Row::isChanged, true),
    Row{"HookSpoilsValues", "spoils", "migrate: The copy is not what the old store holds \"name\" of x-coredata://",
        differs},
    Row{"HookSpoilsValuesOfRows", "rows, spoiled",
        "migrate: The copy is not what the old store holds \"pages\" of x-coredata://", differs},
    Row{"HookLeavesRowsWithoutAMandatoryValue", "rows, without names", "\"name\" of \"Tag\" needs a value.", notCopied},
    Row{"HookSpoilsValuesUnverified", "spoils"}.with(&Row::verifies, false).with(&Row::isChanged, true),
    Row{"HookSpoilsValuesAndSaysSo", "spoils openly"}.with(&Row::isChanged, true),
    Row{"HookMakesOthers", "makes others"}.with(&Row::isChanged, true),
    Row{"HookChangesTheOld", "changes the old"},
    Row{"HookDeletes", "deletes", "\"author\" of entity \"Note\" cannot lead to an object of another context",
        "VXAssertionException"},
    Row{"HookLosesReferences", "unties", "migrate: The copy is not what the old store holds \"", differs},
    Row{"HookGivesOneTagForTwo", "unites"}.with(&Row::isChanged, true),
    Row{"HookIgnoresAndNothingIsSaved", "ignores", "nothing is saved; 2 of \"Tag\" have no new object"}.with(
        &Row::isEmptied, true),
    Row{"HookIgnoresAndNothingIsSavedUnverified", "ignores", "migrate: (null)"}
        .with(&Row::verifies, false)
        .with(&Row::isEmptied, true),
    Row{"UserCancels", "waits", "", "The operation could not be completed. (VXErrorDomain error 34.)"}.with(
        &Row::userCancels, true),
    Row{"WithoutModel", "", "Missing managed object model", "Missing managed object model"}.with(
        &Row::spoil, [](const QString &live) { QFile::remove(live + "/notes.mom"_L1); }),
    Row{"ValueOfAnotherType", "", "Note/p1 cannot be 'many'.", unfit}.with(
        &Row::spoil, [](const QString &live) { change(live, "pages = 'many'"); }),
    Row{"ValueOutOfRange", "rows", "\"pages\" of x-coredata://", unfit}.with(
        &Row::spoil, [](const QString &live) { change(live, "pages = 4000000000"); }),
    Row{"DamagedAtTheEnd", "", "migrate: The store is damaged", "The store is damaged, or no store at all."}
        .with(&Row::spoil,
              [](const QString &live) {
                  QFile file(live + "/notes.sqlite"_L1);
                  ASSERT_TRUE(file.open(QIODevice::ReadWrite));
                  ASSERT_TRUE(file.seek(file.size() / 2));
                  file.write(QByteArray(int(file.size() / 2), '\x5a'));
              })
        .with(&Row::namesEarlierStore, true)};

INSTANTIATE_TEST_SUITE_P(All, VXStoreUpgradeOutcomeTest, testing::ValuesIn(upgradeRows),
                         [](const auto &each) { return std::string(each.param.title); });

// -- What the old store holds

// Objects that others lead to: one is gone, of the others one gets no new object.
TEST_F(VXStoreUpgradeTest, DanglingReferencesAreLeftOutAndTold)
{
    writeOldStore(live, 4);
    VXRunSQL(live + "/notes.sqlite"_L1,
             "DELETE FROM VX_Author; INSERT INTO \"VX_Note.tags\" SELECT Z_PK, 999 FROM VX_Note WHERE text = 'note 1'");
    writeNotesPlugin(u"forgets"_s);
    answerBackup(false);
    startWith({});
    const QString after = contentsOfStore(notesPlugin().persistentStoreCoordinator());
    EXPECT_EQ(after.count(u"tags=(red)"_s), 4) << after.toStdString();
    EXPECT_EQ(log.count(u"Unable to retrieve relationship tags for object x-coredata://"_s), 3); // each other note, and
    EXPECT_EQ(log.count(u"<null>"_s), 3); // the one that leads to 999
    EXPECT_EQ(log.count(u"Unable to retrieve relationship author for object x-coredata://"_s), 4);
    const QList<VXEntityMigration> entities = notesPlugin().lastMigration();
    const auto notes = std::ranges::find(entities, u"Note"_s, &VXEntityMigration::entity);
    ASSERT_NE(notes, entities.end());
    EXPECT_EQ(notes->droppedProperties, QStringList{u"mood"_s}); // of "gone" there was none
    EXPECT_EQ(notes->notFound, (QMap<QString, qint64>{{u"author"_s, 3}, {u"tags"_s, 2}}));
}

// Where new objects have room for one reference of many, one stays, whichever end it is told by, and of the others the user is told.
TEST_F(VXStoreUpgradeTest, WhatANewRelationshipHasNoRoomForIsToldAndNotTakenFromOthers)
{
    const QByteArray toOneTag = newSource().replace("tags: Tag[] optional", "tags: Tag optional");
    const struct
    {
        const char *migration;
        QByteArray model;
        const char *relationship; // of the old model
        const char *expected;
    } rows[] = {
        {"", toOneTag, "tags", "4 kept, 2 left out, 2 told"}, // two of the notes have two tags
        {"rows", toOneTag, "tags", "4 kept, 2 left out, 2 told"},
        {"", newSource().replace("tags: Tag[] optional", "tag: Tag optional").replace("inverse tags", "inverse tag"),
         "notes", "4 kept, 2 left out, 1 told"}, // by the tag that came second
        {"",
         newSource()
             .replace("author: Author optional inverse notes", "author: Author optional inverse note")
             .replace("notes: Note[] optional inverse author", "note: Note optional inverse author"),
         "author", "1 kept, 3 left out, 3 told"},
    };
    for (const auto &row : rows) {
        const QString line = " in relationship "_L1 + QLatin1StringView(row.relationship) + " for"_L1;
        const auto told = [&] {
            return std::ranges::count_if(log.lines(), [&](const QString &each) {
                return each.contains("There is no room for "_L1) && each.contains(line);
            });
        };
        const auto before = told(); // by the rows above
        const auto upgrade = [&] {
            writeOldStore(live, 4);
            writeNotesPlugin(QString::fromUtf8(row.migration), {}, row.model);
            answerBackup(false);
            startWith({});
            const QString after = contentsOfStore(notesPlugin().persistentStoreCoordinator());
            qsizetype kept = 0;
            for (const QLatin1StringView each : {" tags=red"_L1, " tags=green"_L1, " tag=red"_L1, " tag=green"_L1})
                kept += after.count(each);
            if (kept == 0 || row.model.contains("note: Note"))
                kept = after.count(u" author=Jane"_s);
            qint64 leftOut = 0;
            for (const VXEntityMigration &entity : notesPlugin().lastMigration())
                leftOut += entity.notFound.value(QString::fromUtf8(row.relationship));
            std::fprintf(stderr, "%d kept, %d left out, %d told", int(kept), int(leftOut), int(told() - before));
            std::_Exit(0);
        };
        EXPECT_EXIT(upgrade(), testing::ExitedWithCode(0), row.expected) << row.relationship;
        QDir(live).removeRecursively();
    }
}

// A link that says where it leads from its folder must lead there from the trash and a backup, too.
TEST_F(VXStoreUpgradeTest, StoreThatIsARelativeLinkCanBeReadWhereverItGoes)
{
    for (const QString &place : {path(u"backup/kept.vxdatastore"_s), trash(u"notes.vxdatastore.upgrading"_s)}) {
        const auto upgrade = [&] {
            writeOldStore(data(u"real.vxdatastore"_s));
            const QString before = contentsOfStore(data(u"real.vxdatastore"_s));
            QDir().mkpath(path(u"backup"_s));
            if (::symlink("real.vxdatastore", QFile::encodeName(live).constData()) != 0)
                std::_Exit(1);
            writeNotesPlugin();
            answerBackup(place.startsWith(path(u"backup"_s)));
            user->answerSavePanel(path(u"backup/kept.vxdatastore"_s));
            startWith({});
            const bool isRead = contentsOfStore(place) == before && contentsOfStore(live) == before;
            std::_Exit(isRead && QFileInfo(place).isSymLink() && !QFileInfo(live).isSymLink() ? 0 : 2);
        };
        EXPECT_EXIT(upgrade(), testing::ExitedWithCode(0), "") << place.toStdString();
        QDir(data()).removeRecursively();
    }
}

class VXStoreUpgradeInheritanceTest : public VXStoreUpgradeTest, public testing::WithParamInterface<const char *>
{
};

// Letters are no notes any more, so that nothing may lead to one, however they are copied.
TEST_P(VXStoreUpgradeInheritanceTest, ReferencesThatItAllowedAreLeftOutAndTold)
{
    writeOldStore(live, 6);
    writeNotesPlugin(QString::fromUtf8(GetParam()), {},
                     newSource().replace("entity Letter: Note {", "entity Letter { attribute text: string;"));
    answerBackup(false);
    startWith({});
    const auto store = notesPlugin().persistentStoreCoordinator();
    ASSERT_TRUE(store) << log.lines().join(u'\n').toStdString();
    EXPECT_EQ(store->persistentStores().constFirst()->check(), QStringList());
    const QString after = contentsOfStore(store);
    EXPECT_EQ(after.count(u"Letter "_s), 2);
    EXPECT_THAT(after.toStdString(), HasSubstr("notes=(note 0,note 1,note 3,note 4)"));
    EXPECT_EQ(notesPlugin().property("version"), 1); // the hooks were called
    QMap<QString, QMap<QString, qint64>> notFound;
    for (const VXEntityMigration &entity : notesPlugin().lastMigration())
        notFound.insert(entity.entity, entity.notFound);
    EXPECT_EQ(notFound[u"Author"_s], (QMap<QString, qint64>{{u"notes"_s, 2}}));
    EXPECT_EQ(notFound[u"Tag"_s], (QMap<QString, qint64>{{u"notes"_s, 3}})); // one letter has both tags
    EXPECT_EQ(notFound[u"Note"_s], (QMap<QString, qint64>{{u"children"_s, 2}, {u"parent"_s, 1}}));
}

INSTANTIATE_TEST_SUITE_P(All, VXStoreUpgradeInheritanceTest, testing::Values("", "rows"));

namespace {

/** As a plugin's class of today, which counts on today's keys. */
class TestNoteOfToday : public VXManagedObject
{
    void awakeFromFetch() override { EXPECT_TRUE(valueForKey(u"added"_s).isValid()); }
};

} // namespace

TEST_F(VXStoreUpgradeTest, OldObjectsAreNotOfTodaysClasses)
{
    const auto named = [](QByteArray source) {
        return source.replace("entity Note {", "entity Note (TestNoteOfToday) {");
    };
    VXManagedObjectClass::registerClass<TestNoteOfToday>(u"TestNoteOfToday"_s);
    writeOldStore(live, 3, u"1.1"_s, u"org.example.notes"_s, named(oldSource()));
    const QString before = contentsOfStore(live);
    writeNotesPlugin({}, {}, named(newSource()));
    answerBackup(false);
    startWith({});
    EXPECT_EQ(contentsOfStore(notesPlugin().persistentStoreCoordinator()), before);
    VXManagedObjectContext context(notesPlugin().persistentStoreCoordinator());
    const auto found = context.executeFetchRequest(
        VXFetchRequest(*context.persistentStoreCoordinator()->model().entityForName(u"Note"_s)));
    ASSERT_TRUE(found && !found->isEmpty());
    EXPECT_NE(dynamic_cast<const TestNoteOfToday *>(found->at(0).get()), nullptr);
    VXManagedObjectClass::removeClass(u"TestNoteOfToday"_s);
}
