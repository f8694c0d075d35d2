// Contacts: look-ups and completions beside SQLite by hand on the same file, with 1,000 to 1,000,000 contacts; and the
// import from vCards beside the insertion of the same rows.

#include "VXCardReader.h"
#include "VXContactCompletion.h"
#include "VXContactImport.h"
#include "VXContactLookup.h"
#include "VXDataManager.h"
#include "VXFolders.h"
#include "VXManagedObjectContext.h"
#include "VXPhonebookManager.h"
#include "VXPluginManager.h"

#include <benchmark/benchmark.h>
#include <QtCore/QBuffer>
#include <QtCore/QDir>
#include <QtCore/QTemporaryDir>

#include <algorithm>
#include <filesystem>
#include <sqlite3.h>
#include <stdexcept>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 mostContacts = 100'000; // but for how things grow

QString numberOf(qint64 contact)
{
    return u"+49 171 "_s + QString::number(contact).rightJustified(7, u'0');
}

QString word(qint64 seed)
{
    static const QString starts = u"jakemaliborusatenidopefugihy"_s;
    QString text;
    for (int syllable = 0; syllable < 3; ++syllable, seed /= 14)
        text += starts.mid(2 * (seed % 14), 2);
    return text;
}

QByteArray cards(qint64 from, qint64 to)
{
    QByteArray text;
    for (qint64 contact = from; contact < to; ++contact) {
        const QString first = word(contact * 7919);
        const QString last = word(contact * 104729 / 14);
        text +=
            u"BEGIN:VCARD\r\nVERSION:3.0\r\nFN:%1 %2\r\nN:%2;%1;;;\r\nTEL;TYPE=cell:%3\r\nEMAIL:%1.%2%4@example.org\r\n"
            "ORG:Mill %5\r\nUID:%4\r\nEND:VCARD\r\n"_s.arg(first, last, numberOf(contact))
                .arg(contact)
                .arg(contact % 100)
                .toUtf8();
    }
    return text;
}

void import(const VXPersistentStoreCoordinator::Ptr &store, QByteArray text)
{
    QBuffer buffer(&text);
    buffer.open(QIODevice::ReadOnly);
    VXCardReader reader(buffer);
    VXError error;
    if (!VXContactImport(store, u"benchmark"_s).run(reader, &error))
        throw std::runtime_error(error.description().toStdString());
}

/** A home folder with the plugins of the phonebook, in which this process starts; contacts are added as they are needed. */
class Phonebook
{
public:
    static Phonebook &shared()
    {
        static Phonebook phonebook;
        return phonebook;
    }

    /** With so many contacts, made when it is first asked for. That of the most is the one that look-ups go to. */
    VXPersistentStoreCoordinator::Ptr storeOf(qint64 count)
    {
        VXPersistentStoreCoordinator::Ptr &made = _stores[count];
        if (!made) {
            made = count == mostContacts ? store : makeStore(fileInHome(u"%1.sqlite"_s.arg(count)));
            for (qint64 contact = 0; contact < count; contact += mostContacts) // of a million the cards alone are large
                import(made, cards(contact, std::min(contact + mostContacts, count)));
        }
        return made;
    }
    QString fileOf(qint64 count) { return storeOf(count)->persistentStores().constFirst()->path(); }
    /** Beside the plugin's own; its classes make the words here too. */
    VXPersistentStoreCoordinator::Ptr makeStore(const QString &path) const
    {
        const auto coordinator = VXPersistentStoreCoordinator::coordinatorWithModel(store->modelPtr());
        coordinator->addPersistentStore(VXStoreType::SQLite, path);
        return coordinator;
    }
    QString fileInHome(const QString &name) const { return _home.filePath(name); }

    VXPersistentStoreCoordinator::Ptr store;

private:
    Phonebook()
    {
        VXSetHomeFolder(_home.path());
        const QString plugins = _home.filePath(u".local/share/Vornix 2/PlugIns"_s);
        QDir().mkpath(plugins);
        const std::filesystem::path plugin = VORNIX_PHONEBOOK_PLUGIN;
        std::filesystem::copy(plugin, plugins.toStdString() / plugin.filename(),
                              std::filesystem::copy_options::recursive);
        VXPluginManager::sharedPluginManager().startup();
        store = VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(u"phonebook"_s);
    }

    QTemporaryDir _home;
    QHash<qint64, VXPersistentStoreCoordinator::Ptr> _stores; // by how many contacts they have
};

/** SQLite by hand. */
class Database
{
public:
    explicit Database(const QString &path)
    {
        if (sqlite3_open(path.toUtf8().constData(), &_database) != SQLITE_OK)
            throw std::runtime_error("the database cannot be opened");
    }
    ~Database()
    {
        for (sqlite3_stmt *const each : _statements)
            sqlite3_finalize(each);
        sqlite3_close(_database);
    }
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;

    void execute(const QByteArray &sql) { sqlite3_exec(_database, sql.constData(), nullptr, nullptr, nullptr); }
    sqlite3_stmt *prepare(const QByteArray &sql)
    {
        sqlite3_stmt *made = nullptr;
        if (sqlite3_prepare_v2(_database, sql.constData(), -1, &made, nullptr) != SQLITE_OK)
            throw std::runtime_error(sqlite3_errmsg(_database));
        _statements.push_back(made);
        return made;
    }

private:
    sqlite3 *_database = nullptr;
    std::vector<sqlite3_stmt *> _statements;
};

// Each row into values of its own.
qsizetype readAll(sqlite3_stmt *statement)
{
    qsizetype size = 0;
    while (sqlite3_step(statement) == SQLITE_ROW) {
        for (int column = 0; column < sqlite3_column_count(statement); ++column) {
            if (sqlite3_column_type(statement, column) == SQLITE_TEXT)
                size += QString(static_cast<const QChar *>(sqlite3_column_text16(statement, column)),
                                sqlite3_column_bytes16(statement, column) / 2)
                            .size();
            else
                size += sqlite3_column_int64(statement, column);
        }
    }
    sqlite3_reset(statement);
    return size;
}

// By the phonebook manager, which has no answer kept.
void lookUp(benchmark::State &state)
{
    Phonebook::shared().storeOf(state.range(0));
    VXPhonebookManager &manager = VXPhonebookManager::sharedPhonebookManager();
    qint64 contact = 0;
    for (auto _ : state) {
        contact = (contact + 7919) % state.range(0);
        const QString number = numberOf(contact);
        manager.removeFromCache(number);
        if (!manager.entryForPhonebookString(number))
            state.SkipWithError("a contact was not found");
    }
    state.counters["allowed"] = 3;
}

// By what the manager's plugin looks up with, in stores of other sizes.
void lookUpInStore(benchmark::State &state)
{
    VXManagedObjectContext context(Phonebook::shared().storeOf(state.range(0)));
    const VXContactLookup lookup(context);
    qint64 contact = 0;
    for (auto _ : state) {
        contact = (contact + 7919) % state.range(0);
        if (lookup.forPhoneNumber(numberOf(contact), 0, {}).size() != 1)
            state.SkipWithError("a contact was not found");
    }
    state.counters["allowed"] = 3;
}

void lookUpByHand(benchmark::State &state)
{
    Database database(Phonebook::shared().fileOf(state.range(0)));
    sqlite3_stmt *const statement = database.prepare("SELECT * FROM \"VX_VXPhoneNumber\" WHERE \"search\" = ?1");
    qint64 contact = 0;
    for (auto _ : state) {
        contact = (contact + 7919) % state.range(0);
        const QString search = u"71"_s + QString::number(contact).rightJustified(7, u'0');
        sqlite3_bind_text16(statement, 1, search.utf16(), int(search.size() * 2), SQLITE_STATIC);
        benchmark::DoNotOptimize(readAll(statement));
    }
}

void lookUpCached(benchmark::State &state)
{
    Phonebook::shared().storeOf(state.range(0));
    VXPhonebookManager &manager = VXPhonebookManager::sharedPhonebookManager();
    const QString number = numberOf(1);
    for (auto _ : state)
        benchmark::DoNotOptimize(manager.entryForPhonebookString(number));
}

const QStringList beginnings{u"ja"_s, u"ke"_s, u"bo"_s, u"sa"_s, u"hy"_s};

void complete(benchmark::State &state)
{
    VXManagedObjectContext context(Phonebook::shared().storeOf(state.range(0)));
    qsizetype next = 0;
    for (auto _ : state) {
        const QString &typed = beginnings[next++ % beginnings.size()];
        VXError error;
        if (VXContactCompletion(context, VXPhonebookPropertyAll, 10).complete(typed, &error).size() != 10)
            state.SkipWithError("too few were found");
    }
    if (state.range(0) == mostContacts)
        state.counters["allowed"] = 0.1;
}

void completeByScan(benchmark::State &state)
{
    Database database(Phonebook::shared().fileOf(state.range(0)));
    sqlite3_stmt *const statement = database.prepare(
        "SELECT COUNT(*) FROM \"VX_VXPerson\" p LEFT JOIN \"VX_VXPhoneNumber\" n ON n.person = p.Z_PK LEFT "
        "JOIN \"VX_VXEmailAddress\" e ON e.person = p.Z_PK WHERE firstName LIKE ?1 OR lastName LIKE ?1 OR "
        "nickname LIKE ?1 OR company LIKE ?1 OR number LIKE ?1 OR address LIKE ?1");
    qsizetype next = 0;
    for (auto _ : state) {
        const QString pattern = u'%' + beginnings[next++ % beginnings.size()] + u'%';
        sqlite3_bind_text16(statement, 1, pattern.utf16(), int(pattern.size() * 2), SQLITE_STATIC);
        benchmark::DoNotOptimize(readAll(statement));
    }
}

const QString importedFile = u"imported.sqlite"_s;

void importCards(benchmark::State &state)
{
    const QString path = Phonebook::shared().fileInHome(importedFile);
    const QByteArray text = cards(0, mostContacts);
    for (auto _ : state) {
        for (const QString &each : {path, path + u"-wal"_s, path + u"-shm"_s})
            QFile::remove(each);
        import(Phonebook::shared().makeStore(path), text);
    }
    state.counters["allowed"] = 3;
}

// The rows of the import, into a file of the same tables and indexes. What reads them is not measured.
void insertRows(benchmark::State &state)
{
    const QString path = Phonebook::shared().fileInHome(importedFile);
    if (!QFile::exists(path))
        import(Phonebook::shared().makeStore(path), cards(0, mostContacts));
    const QString copy = Phonebook::shared().fileInHome(u"copy.sqlite"_s);
    for (auto _ : state) {
        state.PauseTiming();
        for (const QString &each : {copy, copy + u"-wal"_s, copy + u"-shm"_s})
            QFile::remove(each);
        Database source(path);
        Database target(copy);
        target.execute("PRAGMA encoding = 'UTF-16le'; PRAGMA journal_mode = WAL");
        std::vector<QByteArray> tables;
        sqlite3_stmt *const schema =
            source.prepare("SELECT type, name, sql FROM sqlite_master WHERE sql IS NOT NULL AND "
                           "name NOT LIKE 'sqlite_%' ORDER BY type DESC");
        while (sqlite3_step(schema) == SQLITE_ROW) {
            target.execute(reinterpret_cast<const char *>(sqlite3_column_text(schema, 2)));
            if (QByteArray(reinterpret_cast<const char *>(sqlite3_column_text(schema, 0))) == "table")
                tables.emplace_back(reinterpret_cast<const char *>(sqlite3_column_text(schema, 1)));
        }
        state.ResumeTiming();
        target.execute("BEGIN");
        for (const QByteArray &table : tables) {
            sqlite3_stmt *const rows = source.prepare("SELECT * FROM \"" + table + '"');
            QByteArray marks("?1");
            for (int column = 2; column <= sqlite3_column_count(rows); ++column)
                marks += ", ?" + QByteArray::number(column);
            sqlite3_stmt *const insertion = target.prepare("INSERT INTO \"" + table + "\" VALUES (" + marks + ')');
            bool isDone = false;
            while (!isDone) {
                state.PauseTiming();
                std::vector<sqlite3_value *> values;
                for (int row = 0; row < 20'000 && !isDone; ++row) {
                    isDone = sqlite3_step(rows) != SQLITE_ROW;
                    for (int column = 0; column < sqlite3_column_count(rows) && !isDone; ++column)
                        values.push_back(sqlite3_value_dup(sqlite3_column_value(rows, column)));
                }
                state.ResumeTiming();
                const int width = sqlite3_column_count(rows);
                for (size_t index = 0; index < values.size(); ++index) {
                    const int column = int(index % size_t(width)) + 1;
                    sqlite3_bind_value(insertion, column, values[index]);
                    if (column != width)
                        continue;
                    sqlite3_step(insertion);
                    sqlite3_reset(insertion);
                }
                state.PauseTiming();
                for (sqlite3_value *const value : values)
                    sqlite3_value_free(value);
                state.ResumeTiming();
            }
        }
        target.execute("COMMIT");
    }
}

} // namespace

BENCHMARK(lookUp)->Name("ContactLookUp/ours")->Arg(100'000);
BENCHMARK(lookUpByHand)->Name("ContactLookUp/peer")->Arg(100'000);
BENCHMARK(lookUpInStore)->Name("ContactLookUpGrowth/ours")->RangeMultiplier(10)->Range(1'000, 1'000'000);
BENCHMARK(lookUpByHand)->Name("ContactLookUpGrowth/peer")->RangeMultiplier(10)->Range(1'000, 1'000'000);
BENCHMARK(lookUpCached)->Name("ContactLookUpCached/ours")->Arg(100'000);
BENCHMARK(complete)->Name("ContactCompletion/ours")->RangeMultiplier(10)->Range(1'000, 1'000'000);
BENCHMARK(completeByScan)->Name("ContactCompletion/peer")->RangeMultiplier(10)->Range(1'000, 1'000'000);
BENCHMARK(importCards)->Name("ContactImport/ours")->Iterations(1)->Repetitions(2)->Unit(benchmark::kMillisecond);
BENCHMARK(insertRows)->Name("ContactImport/peer")->Iterations(1)->Repetitions(2)->Unit(benchmark::kMillisecond);
