#include "VXPersistentStoreCoordinator.h"
#include "VXRowSaver.h"
#include "VXSQLiteConnection.h"
#include "VXTesting.h"
#include "VXTestSQL.h"
#include "VXUserDefaults.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QScopeGuard>

#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

using Code = VXObjectStoreErrorCode;
using Coordinator = VXPersistentStoreCoordinator;

const QByteArray phoneSource = R"(
abstract entity Party {
    attribute name: string optional indexed;
    attribute z_pk: string optional;
    relationship calls: Call[] optional inverse caller;
    relationship groups: Group[] optional inverse members;
    relationship friends: Party[] optional inverse friends;
}
entity Person: Party {
    attribute code: integer16 optional;
    relationship spouse: Person optional inverse spouse;
}
entity Company: Party { attribute code: string optional; }
entity Call {
    attribute small: integer16 optional;
    attribute medium: integer32 optional;
    attribute large: integer64 optional;
    attribute cost: double optional;
    attribute answered: boolean optional;
    attribute number: string optional;
    attribute date: date optional;
    attribute photo: binary optional;
    attribute extra: property-list optional;
    attribute mood: string optional transient;
    relationship caller: Party optional inverse calls;
}
entity Group { relationship members: Party[] optional inverse groups; }
)";

} // namespace

class VXSQLiteStoreTest : public VXHomeTest
{
protected:
    Coordinator::StorePtr open(const VXStoreOptions &options = {}) { return openWithModel(model, options); }

    Coordinator::StorePtr openWithModel(const VXManagedObjectModel::Ptr &other, const VXStoreOptions &options = {})
    {
        error = {};
        return Coordinator::coordinatorWithModel(other)->addPersistentStore(VXStoreType::SQLite, path(u"a.sqlite"_s),
                                                                            options, &error);
    }

    /** A store of one person, closed again. */
    VXManagedObjectID makeStore()
    {
        const auto store = open();
        VXRowSaver saver(*store);
        const VXManagedObjectID jane = saver.add(u"Person"_s, {{u"name"_s, u"Jane"_s}});
        EXPECT_TRUE(saver.saveAndCommit());
        return jane;
    }

    void runSQL(const char *sql) const { VXRunSQL(path(u"a.sqlite"_s), sql); }

    static qsizetype rowCount(VXPersistentStore &store, const QString &entity)
    {
        VXError error;
        const QList<VXFetchedRow> rows =
            VXFetchRows(store, VXFetchRequest(*store.model().entityForName(entity)), &error);
        EXPECT_FALSE(error) << error.description().toStdString();
        return rows.size();
    }

    const VXManagedObjectModel::Ptr model = VXModelOf(phoneSource);
    VXError error;
};

TEST_F(VXSQLiteStoreTest, StatementsAreLoggedWhileThatIsWanted)
{
    makeStore();
    const auto store = open();
    const VXDiagnosticRecorder log;
    for (const bool isWanted : {false, true, false}) {
        VXUserDefaults::standardUserDefaults().setObject(isWanted, u"debug.SQL"_s);
        EXPECT_EQ(rowCount(*store, u"Party"_s), 1);
    }
    ASSERT_EQ(log.texts().size(), 1) << log.texts().join(u'\n').toStdString();
    EXPECT_THAT(log.texts().first().toStdString(),
                testing::ContainsRegex(R"(^\[SQL\] 0x.* ms, rows 1, scanned 0, sorts 0: SELECT .* FROM "VX_Party")"));
}

// The index has the texts in another order, which shows where units differ in both bytes.
TEST_F(VXSQLiteStoreTest, TheFirstObjectsByAnIndexedTextAreThoseOfTheWholeOrder)
{
    const auto store = openWithModel(
        VXModelOf("entity Note { attribute text: string optional indexed; attribute plain: string optional; }"));
    VXRowSaver saver(*store);
    const QString units = u"\u0000aAz\u00ff\u0100\u0160\u0161\u0200\u4e00\ud7ff\ue000\ufeff\uff01\uffff"_s;
    QStringList texts{QString(), u""_s, u"\U0001f600"_s, QString()};
    for (const QChar unit : units) {
        for (const QString &end : {u""_s, u"b"_s, u"\u0101"_s, u""_s})
            texts.append(unit + end);
    }
    for (const QString &text : std::as_const(texts)) {
        const QVariant value = text.isNull() ? QVariant() : QVariant(text);
        saver.add(u"Note"_s, {{u"text"_s, value}, {u"plain"_s, value}});
    }
    ASSERT_TRUE(saver.saveAndCommit());
    runSQL("UPDATE VX_NOTE SET text = x'6100', plain = x'6100' WHERE Z_PK IN (3, 9)"); // data come last
    VXFetchRequest request(*store->model().entityForName(u"Note"_s));
    const auto numbers = [&](const QString &key, qsizetype offset, qsizetype limit) {
        request.sortDescriptors = {{.key = key}};
        request.offset = offset;
        request.limit = limit;
        const std::unique_ptr<VXRowCursor> cursor = store->fetch(request, false, &error);
        QList<qint64> found;
        for (VXFetchedRow row; cursor && cursor->next(&row, &error) == VXRowCursor::Step::Row;)
            found.append(row.objectID.number());
        return found;
    };
    const QList<qint64> all = numbers(u"plain"_s, 0, 0);
    ASSERT_EQ(all.size(), texts.size());
    for (qsizetype offset = 0; offset <= all.size(); ++offset)
        EXPECT_EQ(numbers(u"text"_s, offset, 7), all.mid(offset, 7)) << offset;
}

TEST_F(VXSQLiteStoreTest, EntitiesOfAFamilyShareATable)
{
    const auto store = open();
    VXRowSaver saver(*store);
    const auto jane = saver.add(u"Person"_s, {{u"code"_s, 7}, {u"z_pk"_s, u"own"_s}});
    const auto shop = saver.add(u"Company"_s, {{u"code"_s, u"seven"_s}});
    const auto call = saver.add(u"Call"_s, {{u"caller"_s, QVariant::fromValue(shop)}});
    ASSERT_TRUE(saver.saveAndCommit());
    EXPECT_NE(jane.number(), shop.number());
    EXPECT_EQ(rowCount(*store, u"Party"_s), 2);
    EXPECT_EQ(rowCount(*store, u"Person"_s), 1);
    const auto valueOf = [&](const VXManagedObjectID &objectID, const QString &key) {
        return store->row(objectID, &error)->value(objectID.entity().propertyForName(key)->index());
    };
    EXPECT_EQ(valueOf(jane, u"code"_s), 7);
    EXPECT_EQ(valueOf(jane, u"z_pk"_s), u"own"_s);
    EXPECT_EQ(valueOf(shop, u"code"_s), u"seven"_s);
    const auto caller = valueOf(call, u"caller"_s).value<VXManagedObjectID>();
    EXPECT_EQ(&caller.entity(), &shop.entity()); // not the abstract destination
    // A number that belongs to an object of another entity
    EXPECT_FALSE(store->row({shop.entity(), store->identity(), jane.number()}, &error));
    EXPECT_FALSE(error);
}

TEST_F(VXSQLiteStoreTest, WaitsOnlySoLongForAnotherProcess)
{
    makeStore();
    sqlite3 *database = nullptr;
    ASSERT_EQ(sqlite3_open(path(u"a.sqlite"_s).toUtf8().constData(), &database), SQLITE_OK);
    const auto close = qScopeGuard([&] { sqlite3_close(database); });
    const auto store = open({.busyTimeout = std::chrono::milliseconds(1)});
    ASSERT_EQ(sqlite3_exec(database, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    VXRowSaver saver(*store);
    EXPECT_FALSE(saver.save());
    EXPECT_EQ(saver.error.code(), int(Code::StoreTimedOut));
    EXPECT_EQ(rowCount(*store, u"Party"_s), 1); // readers do not wait
}

TEST_F(VXSQLiteStoreTest, ModelsThatDifferAreRefusedAndAdditionsMade)
{
    makeStore();
    const QByteArray before = readFile(path(u"a.sqlite"_s));
    const QList<std::pair<QByteArray, QByteArray>> changes{
        {"attribute small: integer16", "attribute small: integer32"},
        {"entity Group { relationship members: Party[] optional inverse groups; }",
         "entity Group { attribute x: date; relationship members: Party[] optional inverse groups; }"},
        {"attribute photo: binary optional;", ""},
    };
    for (const auto &[part, replacement] : changes) {
        EXPECT_FALSE(openWithModel(VXModelOf(QByteArray(phoneSource).replace(part, replacement))));
        EXPECT_EQ(error.code(), int(Code::StoreIncompatibleModel)) << replacement.toStdString();
        EXPECT_EQ(error.filePath(), path(u"a.sqlite"_s));
        EXPECT_EQ(readFile(path(u"a.sqlite"_s)), before);
    }
    // Entities in addition, one in a family that is there
    const auto larger = VXModelOf(phoneSource + "entity Worker: Person { attribute pay: double optional; } "
                                                "entity Note { attribute text: string optional indexed; }");
    EXPECT_FALSE(openWithModel(larger, {.isReadOnly = true}));
    EXPECT_EQ(error.code(), int(Code::StoreIncompatibleModel));
    {
        const auto store = openWithModel(larger);
        ASSERT_TRUE(store) << error.description().toStdString();
        VXRowSaver saver(*store);
        saver.add(u"Note"_s, {{u"text"_s, u"x"_s}});
        const auto worker = saver.add(u"Worker"_s, {{u"pay"_s, 1.5}});
        const auto spouse = saver.add(u"Person"_s, {{u"spouse"_s, QVariant::fromValue(worker)}});
        saver.change(worker, {{u"spouse"_s, QVariant::fromValue(spouse)}});
        ASSERT_TRUE(saver.saveAndCommit()) << saver.error.description().toStdString();
    }
    auto store = openWithModel(larger);
    ASSERT_TRUE(store) << error.description().toStdString();
    EXPECT_EQ(rowCount(*store, u"Party"_s), 3);
    EXPECT_EQ(rowCount(*store, u"Note"_s), 1);
    EXPECT_EQ(store->check(), QStringList());
    EXPECT_FALSE(open()); // the smaller model does not know them all
    EXPECT_EQ(error.code(), int(Code::StoreIncompatibleModel));
    store.reset();
    const QByteArray after = readFile(path(u"a.sqlite"_s));
    writeFile(u"a.sqlite"_s, before);
    EXPECT_FALSE(Coordinator::metadataForPersistentStore(VXStoreType::SQLite, path(u"a.sqlite"_s)).isEmpty());
    writeFile(u"a.sqlite"_s, after);
    EXPECT_FALSE(open()); // what was found before says nothing of the file as it is now
}

// More than SQLite hands to a function.
TEST_F(VXSQLiteStoreTest, EntitiesMayHaveAnyNumberOfProperties)
{
    for (const int count : {96, 97, 98, 130}) {
        QByteArray source = "entity Wide {";
        for (int number = 0; number < count; ++number)
            source += "attribute a" + QByteArray::number(number) + ": integer32 optional;";
        const auto wideModel = VXModelOf(source + '}');
        const auto store = Coordinator::coordinatorWithModel(wideModel)->addPersistentStore(VXStoreType::SQLite,
                                                                                            path(u"%1"_s.arg(count)));
        VXRowSaver saver(*store);
        const VXManagedObjectID wide = saver.add(u"Wide"_s, {{u"a0"_s, 1}, {u"a%1"_s.arg(count - 1), count}});
        ASSERT_TRUE(saver.saveAndCommit());
        EXPECT_EQ(VXFetchValues(*store, VXFetchRequest(wide.entity()), u"a%1"_s.arg(count - 1)), QVariantList{count});
        EXPECT_EQ(store->row(wide, nullptr)->value(0), 1);
    }
}

TEST_F(VXSQLiteStoreTest, ForeignAndDamagedFilesStayAsTheyAre)
{
    makeStore();
    const QString file = path(u"a.sqlite"_s);
    const QByteArray good = readFile(file);
    ASSERT_GT(good.size(), 4096 * 4);
    const auto patched = [&](qsizetype at, const QByteArray &bytes) {
        return QByteArray(good).replace(at, bytes.size(), bytes);
    };
    runSQL(
        "PRAGMA writable_schema = ON; UPDATE sqlite_master SET sql = replace(sql, 'number\" TEXT', 'number\" REAL')");
    const QByteArray retyped = readFile(file);
    QFile::remove(file);
    runSQL("CREATE TABLE t (x); INSERT INTO t VALUES (1)");
    const QByteArray foreign = readFile(file);
    const std::tuple<const char *, QByteArray, Code> cases[] = {
        {"a text", "Dear diary", Code::FileCorrupt},
        {"a store of another form", "<?xml version=\"1.0\"?><store/>", Code::FileCorrupt},
        {"an SQLite file of somebody else", foreign, Code::FileCorrupt},
        {"half of it", good.first(good.size() / 2), Code::FileCorrupt},
        {"its header", good.first(100), Code::FileCorrupt},
        {"a schema that is none", patched(100, QByteArray(4000, '\xff')), Code::FileCorrupt},
        {"a later format", patched(60, QByteArray("\0\0\0\x09", 4)), Code::IncompatibleStoreType},
        {"a column of another type", retyped, Code::FileCorrupt},
        {"texts in UTF-8", patched(56, QByteArray("\0\0\0\x01", 4)), Code::IncompatibleStoreType},
    };
    for (const auto &[what, contents, code] : cases) {
        QDir(path()).removeRecursively();
        writeFile(u"a.sqlite"_s, contents);
        EXPECT_FALSE(open()) << what;
        EXPECT_EQ(error.code(), int(code)) << what << error.description().toStdString();
        EXPECT_EQ(error.filePath(), file) << what;
        EXPECT_EQ(readFile(file), contents) << what;
        EXPECT_TRUE(Coordinator::metadataForPersistentStore(VXStoreType::SQLite, file).isEmpty() ||
                    code == Code::IncompatibleStoreType || contents == retyped);
        EXPECT_EQ(QDir(path()).entryList(QDir::Files), QStringList{u"a.sqlite"_s}) << what;
    }
    QFile::remove(file);
    ASSERT_TRUE(QDir().mkpath(file));
    EXPECT_FALSE(open());
    EXPECT_EQ(error.code(), int(Code::FileRead));
}

TEST_F(VXSQLiteStoreTest, AFileOfNoBytesBecomesAStore)
{
    writeFile(u"a.sqlite"_s, "");
    EXPECT_TRUE(open()) << error.description().toStdString();
    const auto store = open();
    ASSERT_TRUE(store);
    EXPECT_EQ(rowCount(*store, u"Party"_s), 0);
}

// Not as root, whom permissions do not stop.
TEST_F(VXSQLiteStoreTest, ReadOnlyFoldersAreReadAndRefuseWriting)
{
    makeStore();
    const bool isRoot = geteuid() == 0;
    ASSERT_EQ(chmod(path(u"a.sqlite"_s).toUtf8().constData(), 0644), 0);
    ASSERT_EQ(chmod(path().toUtf8().constData(), 0555), 0);
    if (isRoot) {
        ASSERT_EQ(seteuid(65534), 0);
    }
    const auto restore = qScopeGuard([&] {
        EXPECT_TRUE(!isRoot || seteuid(0) == 0);
        EXPECT_EQ(chmod(path().toUtf8().constData(), 0755), 0);
    });
    {
        const auto store = open({.isReadOnly = true});
        ASSERT_TRUE(store) << error.description().toStdString();
        EXPECT_EQ(rowCount(*store, u"Party"_s), 1);
        VXRowSaver saver(*store);
        EXPECT_FALSE(saver.save());
        EXPECT_EQ(saver.error.code(), int(Code::FileWrite));
        EXPECT_FALSE(store->reserveNumbers(*store->model().entityForName(u"Group"_s), 1, &error));
        EXPECT_EQ(store->check(), QStringList());
        if (isRoot) { // another user may write what this one only reads
            ASSERT_EQ(seteuid(0), 0);
            makeStore();
            ASSERT_EQ(seteuid(65534), 0);
            EXPECT_EQ(rowCount(*store, u"Party"_s), 2);
        }
    }
    EXPECT_FALSE(open());
    EXPECT_TRUE(error.code() == int(Code::FileWrite) || error.code() == int(Code::FileRead));
    EXPECT_FALSE(Coordinator::coordinatorWithModel(model)->addPersistentStore(VXStoreType::SQLite,
                                                                              path(u"new.sqlite"_s), {}, &error));
    EXPECT_EQ(error.filePath(), path(u"new.sqlite"_s));
}

TEST_F(VXSQLiteStoreTest, AValueTooLargeForSQLiteIsToldAsThat)
{
    const auto connection = VXSQLiteConnection::open(path(u"b"_s), VXSQLiteConnection::Access::Create, {}, {}, &error);
    VXSQLiteStatement statement = connection->statement(u"SELECT ?1, ?2"_s, &error);
    const QByteArray large(1'000'000'001, Qt::Uninitialized);
    statement.bindData(1, large);
    statement.bindNumber(2, 1); // of which SQLite has no error to tell
    EXPECT_FALSE(statement.run());
    EXPECT_EQ(connection->lastError().localizedDescription(), u"A value is too large for the store."_s);
}

TEST_F(VXSQLiteStoreTest, ReadingAloneMakesNoStore)
{
    EXPECT_FALSE(open({.isReadOnly = true}));
    EXPECT_EQ(error.code(), int(Code::FileRead));
    EXPECT_FALSE(QFile::exists(path(u"a.sqlite"_s)));
}

TEST_F(VXSQLiteStoreTest, ChecksFindWhatOthersBroke)
{
    {
        const auto store = open();
        VXRowSaver saver(*store);
        const auto jane = saver.add(u"Person"_s);
        saver.add(u"Person"_s);
        saver.add(u"Call"_s, {{u"caller"_s, QVariant::fromValue(jane)}, {u"extra"_s, u"x"_s}});
        saver.link(saver.add(u"Group"_s), u"members"_s, {jane});
        ASSERT_TRUE(saver.saveAndCommit());
        EXPECT_EQ(store->check(), QStringList());
    }
    const std::tuple<const char *, const char *, const char *> cases[] = {
        {"UPDATE VX_Call SET caller = 99", "UPDATE VX_Call SET caller = 1", "\"caller\" of x-coredata"},
        {"UPDATE VX_Call SET caller = -6", "UPDATE VX_Call SET caller = 1",
         "\"caller\" leads to no object that can be"},
        {"UPDATE VX_Call SET Z_PK = -6", "UPDATE VX_Call SET Z_PK = 1", "has no number"},
        {"UPDATE VX_Call SET Z_OPT = 9223372036854775807", "UPDATE VX_Call SET Z_OPT = 1", "of no version"},
        {"UPDATE VX_Call SET extra = x'00'", "UPDATE VX_Call SET extra = NULL", "\"extra\" of an object"},
        {"UPDATE VX_Party SET Z_ENT = 77", "UPDATE VX_Party SET Z_ENT = 2", "unknown entity"},
        {"INSERT INTO \"VX_Group.members\" VALUES (1, 98)", "DELETE FROM \"VX_Group.members\" WHERE Z_TARGET = 98",
         "\"members\" of x-coredata"},
        {"UPDATE VX_Party SET \"Person.spouse\" = 2 WHERE Z_PK = 1",
         "UPDATE VX_Party SET \"Person.spouse\" = NULL WHERE Z_PK = 1", "p2, which does not lead back"},
        {"INSERT INTO \"VX_Party.friends\" VALUES (1, 2)", "DELETE FROM \"VX_Party.friends\"",
         "p2, which does not lead back"},
    };
    for (const auto &[sql, undo, finding] : cases) {
        runSQL(sql);
        EXPECT_THAT(open()->check().join(u'\n').toStdString(), testing::HasSubstr(finding)) << sql;
        runSQL(undo);
    }
    EXPECT_EQ(open()->check(), QStringList());
}
