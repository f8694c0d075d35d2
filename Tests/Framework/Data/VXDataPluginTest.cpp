#include "VXDataPlugin.h"
#include "VXDataPluginTesting.h"
#include "VXFramework.h"
#include "VXOtherProcess.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <csignal>
#include <cstdlib>

using testing::ElementsAre, testing::HasSubstr, testing::SizeIs;

class VXDataPluginTest : public VXDataPluginHomeTest
{
protected:
    static VXDataPlugin &dataPlugin(const QString &identifier)
    {
        return plugin(identifier)->as<VXDataPlugin>("persistentStoreCoordinator");
    }

    const QString live = data(u"notes.vxdatastore"_s);
    const QString replacement = waiting(u"notes.vxdatastore"_s);
};

TEST_F(VXDataPluginTest, MakesStoresStampedAndSeededAndFindsThemAgain)
{
    const QVariantMap seeds{{u"FixtureValidation"_s, u"seeds"_s}};
    writePlugin(u"notes"_s, u"sqlite"_s, seeds);
    writePlugin(u"pages"_s, u"xml"_s, seeds);
    startWith({});
    for (const auto &[name, type] : {std::pair(u"notes"_s, u"sqlite"_s), std::pair(u"pages"_s, u"xml"_s)}) {
        const QString folder = data(name + ".vxdatastore"_L1);
        EXPECT_THAT(textsIn(dataPlugin(u"org.example."_s + name).persistentStoreCoordinator()), ElementsAre(u"new"_s));
        EXPECT_TRUE(QFile::exists(folder + u'/' + name + ".mom"_L1));
        const auto again = VXCoreDataStore::storeClass().storeWithPath(folder); // as the next start would
        ASSERT_TRUE(again);
        EXPECT_EQ(again->dataFileName(), name + u'.' + type);
        EXPECT_EQ(again->metadata().value(VXStoreOwnerIdentifierKey), u"org.example."_s + name);
        EXPECT_EQ(again->metadata().value(VXStoreVersionKey), u"1.2"_s);
        EXPECT_THAT(textsIn(again->persistentStoreCoordinator()), ElementsAre(u"new"_s));
    }
    EXPECT_THAT(user->alerts(), SizeIs(0));
}

TEST_F(VXDataPluginTest, StoreIsMadeThoughAProcessDiedMakingIt)
{
    const struct
    {
        QString store;
        QString type;
        QString validation;
    } rows[] = {{u"notes"_s, u"sqlite"_s, u"dies early"_s},
                {u"pages"_s, u"sqlite"_s, u"dies"_s},
                {u"leaves"_s, u"xml"_s, u"dies"_s}};
    for (const auto &[store, type, validation] : rows) {
        writePlugin(store, type, {{u"FixtureValidation"_s, validation}});
        EXPECT_EXIT(startWith({}), testing::KilledBySignal(SIGKILL), "") << store.toStdString();
        writePlugin(store, type);
    }
    EXPECT_EXIT((startWith({}), std::_Exit(0)), testing::ExitedWithCode(0), ""); // leaves the last plugin out
    startWith({});
    EXPECT_THAT(user->alerts(), SizeIs(0)) << log.lines().join(u'\n').toStdString();
    for (const auto &row : rows)
        EXPECT_THAT(textsIn(dataPlugin("org.example."_L1 + row.store).persistentStoreCoordinator()), SizeIs(0));
}

TEST_F(VXDataPluginTest, StoreInMemoryLeavesNoTrace)
{
    writePlugin(u"notes"_s, u"memory"_s, {{u"FixtureValidation"_s, u"seeds"_s}});
    startWith({});
    EXPECT_THAT(textsIn(dataPlugin(u"org.example.notes"_s).persistentStoreCoordinator()), ElementsAre(u"new"_s));
    EXPECT_FALSE(QFile::exists(data()));
}

TEST_F(VXDataPluginTest, OpensAStoreOfItsVersionWhateverTheNumberLooksLike)
{
    writeStore(live, u"kept"_s, u"1.02"_s);
    writePlugin(u"notes"_s);
    startWith({});
    EXPECT_THAT(textsIn(dataPlugin(u"org.example.notes"_s).persistentStoreCoordinator()), ElementsAre(u"kept"_s));
}

TEST_F(VXDataPluginTest, WaitingStoreIsMovedInAndTheOldOneTrashed)
{
    for (const bool hasOld : {false, true}) {
        if (hasOld)
            writeStore(data(u"others.vxdatastore"_s), u"old"_s, u"1.2"_s, u"org.example.others"_s);
        const QString name = hasOld ? u"others"_s : u"notes"_s;
        writeStore(waiting(name + ".vxdatastore"_L1), u"imported"_s, u"1.2"_s, u"org.example."_s + name);
        writePlugin(name);
    }
    startWith({});
    for (const QString &name : {u"notes"_s, u"others"_s}) {
        EXPECT_THAT(textsIn(dataPlugin(u"org.example."_s + name).persistentStoreCoordinator()),
                    ElementsAre(u"imported"_s));
        EXPECT_FALSE(QFile::exists(waiting(name + ".vxdatastore"_L1)));
    }
    EXPECT_THAT(
        textsIn(
            VXCoreDataStore::storeClass().storeWithPath(trash(u"others.vxdatastore"_s))->persistentStoreCoordinator()),
        ElementsAre(u"old"_s));
    EXPECT_FALSE(QFile::exists(trash(u"notes.vxdatastore"_s)));
}

TEST_F(VXDataPluginTest, StoreThatIsInUseIsReplacedAtALaterStart)
{
    writeStore(live, u"kept"_s);
    writeStore(replacement, u"imported"_s);
    writePlugin(u"notes"_s);
    VXOtherProcess other(
        [&] { return VXCoreDataStore::storeClass().storeWithPath(live)->persistentStoreCoordinator(); });
    ASSERT_TRUE(other.isReady());
    const auto textsAtStart = [&](const QString &expected) {
        startWith({});
        const bool isExpected =
            textsIn(dataPlugin(u"org.example.notes"_s).persistentStoreCoordinator()) == QStringList(expected);
        std::_Exit(isExpected && user->alerts().empty() ? 0 : 1);
    };
    EXPECT_EXIT(textsAtStart(u"kept"_s), testing::ExitedWithCode(0), "The store \"notes\" is in use");
    EXPECT_EQ(log.count(u"its replacement waits for a start when nobody has it open"_s), 1);
    EXPECT_TRUE(QFile::exists(replacement));
    other.kill();
    EXPECT_EXIT(textsAtStart(u"imported"_s), testing::ExitedWithCode(0), "");
    EXPECT_EQ(log.count(u"its replacement waits for a start when nobody has it open"_s), 1);
    EXPECT_FALSE(QFile::exists(replacement));
}

TEST_F(VXDataPluginTest, ObjectIsOfferedToEachPluginUntilOneOpensIt)
{
    for (const QString &name : {u"notes"_s, u"others"_s, u"pages"_s})
        writePlugin(name, u"memory"_s, {{u"FixtureOpens"_s, name}});
    startWith({});
    EXPECT_EQ(VXApplication::sharedApplication().openURLString(u"x-coredata://others/Note/p1"_s), true);
    EXPECT_TRUE(dataPlugin(u"org.example.others"_s).property("asked").isValid());
    EXPECT_FALSE(VXApplication::sharedApplication().openURLString(u"x-coredata://none/Note/p1"_s).isValid());
    for (const QString &name : {u"notes"_s, u"others"_s, u"pages"_s})
        EXPECT_EQ(dataPlugin("org.example."_L1 + name).property("asked").toUrl().host(), u"none"_s);
}

TEST_F(VXDataPluginTest, ChangedModelOfTheSameVersionIsToldAtOnce)
{
    writeStore(live, u"kept"_s);
    writePlugin(u"notes"_s, u"sqlite"_s, {}, {},
                "entity Note { attribute text: string = \"new\"; attribute mood: string optional; }");
    startWith({});
    EXPECT_EQ(log.count(u"Entity \"Note\" of the plugin org.example.notes is another one in its store \"notes\""_s), 1);
    EXPECT_THAT(textsIn(dataPlugin(u"org.example.notes"_s).persistentStoreCoordinator()), ElementsAre(u"kept"_s));
}

TEST_F(VXDataPluginTest, StoreOfAnEarlierModelHasTheIndexesOfThePresentOne)
{
    writeStore(live, u"kept"_s);
    writePlugin(u"notes"_s, u"sqlite"_s, {}, {}, "entity Note { attribute text: string indexed = \"new\"; }");
    startWith({});
    const auto store = dataPlugin(u"org.example.notes"_s).persistentStoreCoordinator();
    EXPECT_THAT(textsIn(store), ElementsAre(u"kept"_s));
    EXPECT_TRUE(store->model().entityForName(u"Note"_s)->attributeForName(u"text"_s)->isIndexed());
}

TEST_F(VXDataPluginTest, TemporaryStoreIsForThisUserOnly)
{
    writePlugin(u"notes"_s);
    startWith({});
    VXError error;
    const auto first = dataPlugin(u"org.example.notes"_s).createStore(&error);
    const auto second = dataPlugin(u"org.example.notes"_s).createStore(&error);
    ASSERT_TRUE(first && second) << error.description().toStdString();
    EXPECT_NE(first->storePath(), second->storePath());
    EXPECT_EQ(QFileInfo(QFileInfo(first->storePath()).path()).permissions() &
                  (QFile::ReadGroup | QFile::ReadOther | QFile::ExeGroup | QFile::ExeOther),
              QFile::Permissions());
    EXPECT_EQ(first->metadata().value(VXStoreVersionKey), u"1.2"_s);
    for (const auto &store : {first, second})
        QDir(QFileInfo(store->storePath()).path()).removeRecursively();
}

TEST_F(VXDataPluginTest, FailedCreationsSayWhyAndLeaveNothing)
{
    writePlugin(u"notes"_s);
    startWith({});
    VXDataPlugin &notesPlugin = dataPlugin(u"org.example.notes"_s);

    writeFile(u"taken/notes.mom"_s, "not to be replaced");
    VXError error;
    EXPECT_FALSE(notesPlugin.createStoreAtPath(path(u"taken"_s), {}, &error));
    EXPECT_EQ(error.localizedDescription(), u"Unable to copy file"_s);
    EXPECT_EQ(log.count(u"Could not copy file: "_s), 1);
    EXPECT_EQ(readFile(path(u"taken/notes.mom"_s)), "not to be replaced");

    EXPECT_FALSE(
        notesPlugin.createStoreAtPath(path(u"unknown"_s), u"odd"_s, &error)); // as one in memory, without a file
    EXPECT_EQ(error.localizedDescription(), u"Missing data store"_s);
    EXPECT_EQ(error.localizedRecoverySuggestion(), path(u"unknown"_s));
    EXPECT_EQ(log.count("missing data file "_L1 + path(u"unknown"_s)), 1);
    EXPECT_FALSE(QFile::exists(path(u"unknown"_s)));

    const QString ownModel = notesPlugin.dataModelPaths().constFirst();
    QDir().mkdir(path(u"with model"_s));
    ASSERT_TRUE(QFile::rename(ownModel, path(u"with model/notes.mom"_s)));
    EXPECT_FALSE(notesPlugin.createStoreAtPath(path(u"without"_s), {}, &error));
    EXPECT_EQ(log.count(u"Missing managed object model"_s), 1);
    EXPECT_TRUE(notesPlugin.createStoreAtPath(path(u"with model"_s), {}, &error)) << error.description().toStdString();

    writeFile(u"file"_s, "");
    EXPECT_FALSE(notesPlugin.createStoreAtPath(path(u"file/store"_s), {}, &error));
    EXPECT_EQ(error.localizedDescription(), VXLocalizedString(u"Could not create folder."_s));
}

TEST_F(VXDataPluginTest, OnlyTheFirstFailureIsShown)
{
    for (const QString &name : {u"notes"_s, u"pages"_s}) {
        writeFile(u".local/share/Vornix 2/Data/%1.vxdatastore/%1.sqlite"_s.arg(name), "damaged");
        writePlugin(name);
    }
    startWith({});
    EXPECT_THAT(user->alerts(), SizeIs(1));
    EXPECT_FALSE(VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(u"pages"_s));
    EXPECT_EQ(log.count(u"plugin org.example.pages did not return store pages"_s), 1);
    EXPECT_THAT(user->alerts(), SizeIs(1));
}

// -- Stores that are not opened: one in each process, for it ends the application

struct RefusedStore
{
    const char *title;
    const char *version; // of the store; nullptr for none
    const char *owner;
    const char *validation;
    const char *message; // of the alert
    const char *reason;  // there too
    const char *line;    // in the log
    void (*spoil)(const QString &folder);
};

void PrintTo(const RefusedStore &store, std::ostream *out)
{
    *out << store.title;
}

class VXDataPluginRefusalTest : public VXDataPluginTest, public testing::WithParamInterface<RefusedStore>
{
};

TEST_P(VXDataPluginRefusalTest, TellsTheUserQuitsAndLeavesTheStoreAsItWas)
{
    const RefusedStore &refused = GetParam();
    writeStore(live, u"kept"_s, QString::fromUtf8(refused.version), QString::fromUtf8(refused.owner));
    if (refused.spoil != nullptr)
        refused.spoil(live);
    const QMap<QString, QByteArray> before = contentsOf(live);
    writePlugin(u"notes"_s, u"sqlite"_s, {{u"FixtureValidation"_s, QString::fromUtf8(refused.validation)}});
    VXPluginFixture{.identifier = u"org.example.disabled"_s,
                    .kind = u"VXDataPlugin"_s,
                    .info = {{u"VXDataStoreName"_s, u"notes"_s}}}
        .write(shared());
    startWith({});

    ASSERT_THAT(user->alerts(), SizeIs(1));
    const VXAlert &alert = user->alerts().front();
    EXPECT_EQ(alert.message, QString::fromUtf8(refused.message));
    EXPECT_EQ(alert.informativeText, live);
    EXPECT_EQ(alert.defaultButton, u"Quit"_s);
    EXPECT_TRUE(alert.alternateButton.isNull());
    EXPECT_THAT(alert.details.toStdString(),
                testing::AllOf(HasSubstr("(org.example.notes)"), HasSubstr(refused.reason)));
    EXPECT_TRUE(VXApplication::sharedApplication().isTerminating());
    EXPECT_EQ(log.count(QString::fromUtf8(refused.line)), 1) << log.lines().join(u'\n').toStdString();
    EXPECT_FALSE(dataPlugin(u"org.example.notes"_s).persistentStoreCoordinator());
    EXPECT_TRUE(contentsOf(live) == before || *refused.validation != '\0'); // which it was opened for
}

INSTANTIATE_TEST_SUITE_P(
    All, VXDataPluginRefusalTest,
    testing::Values(
        RefusedStore{"Newer", "1.10", "org.example.notes", "", "Data file is newer than this plugin supports", "newer",
                     "persistentStoreCoordinator] Data file is newer than this plugin supports", nullptr},
        RefusedStore{"OfAnotherPluginWithAStoreOfThatName", "1.2", "org.example.disabled", "",
                     "Data file does not belong to this plugin",
                     "It is that of org.example.disabled, whose store is called \"notes\".",
                     "persistentStoreCoordinator] Data file does not belong", nullptr},
        RefusedStore{"Damaged", "1.2", "org.example.notes", "", "The store is damaged, or no store at all.",
                     "It does not begin as an SQLite file.", "It does not begin as an SQLite file.",
                     [](const QString &folder) {
                         QFile file(folder + "/notes.sqlite"_L1);
                         ASSERT_TRUE(file.open(QIODevice::WriteOnly));
                         file.write("no store at all");
                     }},
        RefusedStore{"WithoutDataFile", "1.2", "org.example.notes", "", "Unable to read data file",
                     "Unable to read data file", "missing data file: ",
                     [](const QString &folder) {
                         for (const QString &name : QDir(folder).entryList({u"notes.sqlite*"_s}))
                             QFile::remove(folder + u'/' + name);
                     }},
        RefusedStore{"WithoutModel", "1.2", "org.example.notes", "", "Unable to read data file",
                     "Missing managed object model", "Missing managed object model",
                     [](const QString &folder) { QFile::remove(folder + "/notes.mom"_L1); }},
        RefusedStore{"WithACopyOfItself", "1.2", "org.example.notes", "", "Unable to read data file",
                     "is a copy of the other", "is a copy of the other",
                     [](const QString &folder) {
                         ASSERT_TRUE(QFile::copy(folder + "/notes.sqlite"_L1, folder + "/backup.sqlite"_L1));
                     }},
        RefusedStore{"Refused", "1.2", "org.example.notes", "refuses", "Unable to read data file", "refused as told",
                     "_validateAndSaveStoreController:] validate: refused as told", nullptr},
        RefusedStore{"Thrown", "1.2", "org.example.notes", "throws", "Unable to read data file", "thrown as told",
                     "threw std::runtime_error: thrown as told", nullptr}),
    [](const auto &each) { return std::string(each.param.title); });

TEST_F(VXDataPluginTest, StoreThatCannotBeTrashedIsNotReplaced)
{
    writeStore(live, u"kept"_s);
    writeStore(replacement, u"imported"_s);
    const auto before = contentsOf(live);
    const auto waitingBefore = contentsOf(replacement);
    writeFile(u".local/share/Trash"_s, "in the way");
    writePlugin(u"notes"_s);
    startWith({});
    ASSERT_THAT(user->alerts(), SizeIs(1));
    EXPECT_EQ(user->alerts().front().informativeText, live);
    EXPECT_NE(user->alerts().front().message, u"Unable to read data file"_s); // but why it was not trashed
    EXPECT_TRUE(VXApplication::sharedApplication().isTerminating());
    EXPECT_EQ(contentsOf(live), before);
    EXPECT_EQ(contentsOf(replacement), waitingBefore);
}
