#include "VXCoreDataStore.h"

#include "VXManagedObjectContext.h"
#include "VXStoreFolderTest.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

using namespace Qt::StringLiterals;
using testing::ElementsAre, testing::HasSubstr, testing::IsEmpty, testing::ResultOf;

namespace {

const VXCoreDataStoreClass &stores = VXCoreDataStore::storeClass();

const auto asText = [](const QString &text) { return text.toStdString(); };

} // namespace

using VXCoreDataStoreTest = VXStoreFolderTest;

TEST_F(VXCoreDataStoreTest, FindsTheDataFileOfAFolder)
{
    EXPECT_EQ(stores.storeWithPath(path(u"nothing"_s)), nullptr);
    EXPECT_THAT(takeLog(), IsEmpty());

    const QString folder = makeFolder(u"Test.mom"_s);
    for (const char *const ignored : {"c.SQLITE", "d.XML", "e.sqlite-wal", ".sqlite", ".xml", "xml", "f.MOM", ".mom"})
        writeFile(u"Test.vxdatastore/"_s + QLatin1StringView(ignored), "x");
    EXPECT_EQ(stores.storeWithPath(folder), nullptr);
    EXPECT_THAT(takeLog(), ElementsAre(u"<ERROR> +[VXCoreDataStore storeWithPath:] missing data file: "_s + folder));

    writeFile(u"Test.vxdatastore/a.sqlite"_s, "");
    EXPECT_EQ(stores.storeWithPath(folder)->dataFileName(), u"a.sqlite"_s);
    EXPECT_EQ(stores.storeWithPath(folder)->storePath(), folder);
    EXPECT_THAT(takeLog(), IsEmpty());

    writeFile(u"Test.vxdatastore/b.xml"_s, "");
    EXPECT_EQ(stores.storeWithPath(folder)->dataFileName(), u"b.xml"_s);
    EXPECT_THAT(takeLog(),
                ElementsAre(u"<WARNING> +[VXCoreDataStore storeWithPath:] more than one data file: "_s + folder));
    EXPECT_THAT(stores.dataFilesForStorePath(folder), ElementsAre(u"a.sqlite"_s, u"b.xml"_s));
    EXPECT_THAT(stores.modelFilesForStorePath(folder), ElementsAre(u"Test.mom"_s));
}

TEST_F(VXCoreDataStoreTest, AttachesEveryFileOfTheDataFilesKind)
{
    const QString folder = makeFolder(u"Test.mom"_s);
    for (const QString &name : {u"a.sqlite"_s, u"b.sqlite"_s, u"c.xml"_s})
        makeDataFile(folder, name);
    EXPECT_EQ(personCount(VXCoreDataStore(folder, u"b.sqlite"_s).persistentStoreCoordinator()), 2);

    VXCoreDataStore store(folder, u"c.xml"_s);
    EXPECT_EQ(personCount(store.persistentStoreCoordinator()), 1);
    EXPECT_EQ(store.persistentStoreCoordinator(), store.persistentStoreCoordinator());
    EXPECT_EQ(store.managedObjectModel(), store.persistentStoreCoordinator()->modelPtr());
    EXPECT_EQ(store.metadata(), QVariantMap()); // of a foreign program
    EXPECT_THAT(takeLog(), ElementsAre(u"<WARNING> -[VXCoreDataStore metadata] missing store identifier"_s));

    const QVariantMap owned{{VXStoreOwnerIdentifierKey, u"org.example"_s}, {VXStoreVersionKey, u"2"_s}};
    makeDataFile(folder, u"d.xml"_s, owned);
    const QVariantMap metadata = stores.storeWithPath(folder)->metadata();
    EXPECT_EQ(metadata.value(u"$$__VXStoreOwnerIdentifierKey__$$"_s), u"org.example"_s);
    EXPECT_EQ(metadata.value(u"$$__VXStoreVersionKey__$$"_s), u"2"_s);
}

TEST_F(VXCoreDataStoreTest, MakesTheDataFileThatIsMissing)
{
    const QString folder = makeFolder(u"Test.mom"_s);
    for (const QString &name : {u"Test.sqlite"_s, u"Test.xml"_s}) {
        VXCoreDataStore store(folder, name);
        EXPECT_FALSE(QFile::exists(folder + u'/' + name));
        EXPECT_EQ(personCount(store.persistentStoreCoordinator()), 0) << name.toStdString();
        EXPECT_TRUE(QFile::exists(folder + u'/' + name));
    }
    const QStringList before = QDir(folder).entryList();
    const auto coordinator = VXCoreDataStore(folder, u"Test.other"_s).persistentStoreCoordinator();
    ASSERT_NE(coordinator, nullptr);
    EXPECT_EQ(coordinator->persistentStores().first()->type(), VXStoreType::InMemory);
    EXPECT_EQ(QDir(folder).entryList(), before);

    const VXCoreDataStore::Ptr memory = stores.memoryStoreWithModel(peopleModel());
    EXPECT_TRUE(memory->storePath().isNull() && memory->dataFileName().isNull());
    EXPECT_EQ(personCount(memory->persistentStoreCoordinator()), 0);
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(VXCoreDataStoreTest, WithoutAModelThereIsNoCoordinatorUntilOneIsThere)
{
    const QString folder = makeFolder(u"Test.MOM"_s);
    VXCoreDataStore store(folder, u"Test.sqlite"_s);
    const QString missing = u"<ERROR> -[VXCoreDataStore managedObjectModel] Missing managed object model"_s;
    EXPECT_EQ(store.persistentStoreCoordinator(), nullptr);
    EXPECT_THAT(takeLog(), ElementsAre(missing));
    EXPECT_EQ(store.metadata(), QVariantMap());
    EXPECT_THAT(takeLog(), ElementsAre(missing, u"<WARNING> -[VXCoreDataStore metadata] missing store identifier"_s));

    writeFile(u"Test.vxdatastore/broken.mom"_s, "no model");
    VXError error;
    EXPECT_EQ(store.managedObjectModel(&error), nullptr);
    EXPECT_EQ(error.filePath(), folder + u"/broken.mom"_s);
    EXPECT_THAT(takeLog(), ElementsAre(ResultOf(asText, HasSubstr("/broken.mom")), missing));

    const auto animals = modelOf("entity Animal { attribute name: string; }");
    ASSERT_TRUE(animals->writeToFile(folder + u"/animals.mom"_s) && peopleModel()->writeToFile(folder + u"/p.mom"_s));
    ASSERT_NE(store.persistentStoreCoordinator(), nullptr);
    EXPECT_EQ(store.managedObjectModel()->entities().size(), 2);
}

TEST_F(VXCoreDataStoreTest, AFileThatCannotBeOpenedIsLoggedAndTriedAgain)
{
    const QString folder = makeFolder(u"Test.mom"_s);
    for (const auto &[name, type] : {std::pair("a b.sqlite", "SQLite"), std::pair("a b.xml", "XML")}) {
        const QString file = writeFile(u"Test.vxdatastore/"_s + QLatin1StringView(name), "damaged");
        VXCoreDataStore store(folder, QString::fromLatin1(name));
        EXPECT_EQ(store.persistentStoreCoordinator(), nullptr);
        const std::string begin = std::string("<ERROR> -[VXCoreDataStore persistentStoreCoordinator] loading ") + type +
                                  ": " + QUrl::fromLocalFile(file).toEncoded().toStdString() + ": ";
        EXPECT_THAT(takeLog(), ElementsAre(ResultOf(asText, testing::StartsWith(begin))));
        EXPECT_EQ(readFile(file), "damaged");
        QFile::remove(file);
        EXPECT_EQ(personCount(store.persistentStoreCoordinator()), 0) << name;
    }
    const QString gone = path(u"gone"_s);
    VXCoreDataStore store(gone, u"x.xml"_s);
    ASSERT_TRUE(QDir().mkpath(gone) && peopleModel()->writeToFile(gone + u"/x.mom"_s) && store.managedObjectModel());
    ASSERT_TRUE(QDir(gone).removeRecursively());
    EXPECT_EQ(store.persistentStoreCoordinator(), nullptr);
    EXPECT_THAT(takeLog(), ElementsAre(ResultOf(asText, HasSubstr("creating XML: file:///"))));
}
