// The mirror of messages that searches look into: a first pass beside writing the same files with bare calls, a pass with
// nothing changed beside reading the same file attributes, one message saved among many, the memory of a pass; and searches of
// two and three letters beside the same queries bare.

#include "BenchmarkModels.h"

#include "VXFileDescriptor.h"
#include "VXFolders.h"
#include "VXManagedObjectClass.h"
#include "VXMessage.h"
#include "VXMessageStore.h"
#include "VXMetaDataSync.h"
#include "VXSearchIndex.h"

#include <benchmark/benchmark.h>
#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <dirent.h>
#include <fcntl.h>
#include <malloc.h>
#include <map>
#include <memory>
#include <sqlite3.h>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 usualCount = 100'000;
constexpr qint64 indexCount = 1'000'000;
const QString identifier = u"benchmark"_s;

VXManagedObjectModel::Ptr messagesModel()
{
    return modelFromFiles({QStringLiteral(VORNIX_MESSAGES_MODEL), QStringLiteral(VORNIX_SMART_FILTERS_MODEL)});
}

/** A store of so many messages, and what is mirrored of it. */
class Mirror
{
public:
    explicit Mirror(qint64 count) : coordinator(VXPersistentStoreCoordinator::coordinatorWithModel(messagesModel()))
    {
        VXSetHomeFolder(_home.path());
        VXManagedObjectClass::registerClass<VXMessage>(VXMessageStore::entityName);
        check(coordinator->addPersistentStore(VXStoreType::SQLite, path()) != nullptr, "no store");
        VXManagedObjectContext context(coordinator);
        const VXManagedObjectPtr inbox = context.insertNewObject(u"VXRootFolder"_s);
        inbox->setValueForKey(u"inbox"_s, u"root_name"_s);
        check(context.save(), "not saved");
        insert(count, inbox->objectID().number());
        sync = VXMetaDataSync::initWithIdentifier(identifier, coordinator, VXMessageStore::entityName, u"date"_s,
                                                  {.settings = {}, .relationships = {u"folder"_s}});
    }
    ~Mirror() { sync->terminate(); }
    Mirror(const Mirror &) = delete;
    Mirror &operator=(const Mirror &) = delete;

    static Mirror &of(qint64 count)
    {
        static std::map<qint64, std::unique_ptr<Mirror>> mirrors;
        if (!mirrors.contains(count))
            mirrors[count] = std::make_unique<Mirror>(count);
        VXSetHomeFolder(mirrors[count]->_home.path()); // where the index lies
        return *mirrors[count];
    }

    QString folder() const { return _home.filePath(u".cache/Metadata/Vornix 2/"_s + identifier); }
    /** Nothing is removed before the end: where many files have just been deleted, some file systems make new ones slowly. */
    void forget() { QDir(_home.path()).rename(u".cache"_s, u"aside-%1"_s.arg(++_asideCount)); }
    /** A new one beside the mirror. */
    QString newFolder()
    {
        const QString name = u"by-hand-%1"_s.arg(++_asideCount);
        QDir(_home.path()).mkdir(name);
        return _home.filePath(name);
    }
    void pass() const
    {
        sync->setNeedsUpdate(false);
        sync->synchronizeMetaDataFiles();
    }
    /** With all mirrored. */
    Mirror &whole()
    {
        if (!QFile::exists(folder()))
            pass();
        return *this;
    }

    const VXPersistentStoreCoordinator::Ptr coordinator;
    VXMetaDataSync::Ptr sync;

private:
    QString path() const { return _home.filePath(u"messages.sqlite"_s); }

    void insert(qint64 count, qint64 folder) const
    {
        sqlite3 *database = nullptr;
        check(sqlite3_open(path().toUtf8().constData(), &database) == SQLITE_OK, "not opened");
        const QByteArray sql =
            "INSERT INTO \"VX_VXMessage\" (Z_ENT, Z_OPT, text, date, state, direction, \"from\", from_search, "
            "otherParty_search, conversation, pending, folder, \"folder:entity\") "
            "WITH RECURSIVE n (i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < ?1 - 1) "
            "SELECT (SELECT Z_ENT FROM Z_ENTITY WHERE Z_NAME = 'VXMessage'), 1, "
            "'Are you coming tonight, or shall we wait until tomorrow? ' || i, 1600000000000 + i * 1000, 3, 1, "
            "'+1 650 253 ' || printf('%04d', i % 200), '+1650253' || printf('%04d', i % 200), '', '', 0, ?2, "
            "(SELECT Z_ENT FROM Z_ENTITY WHERE Z_NAME = 'VXRootFolder') FROM n";
        sqlite3_stmt *statement = nullptr;
        check(sqlite3_prepare_v2(database, sql.constData(), -1, &statement, nullptr) == SQLITE_OK,
              sqlite3_errmsg(database));
        sqlite3_bind_int64(statement, 1, count);
        sqlite3_bind_int64(statement, 2, folder);
        check(sqlite3_step(statement) == SQLITE_DONE, sqlite3_errmsg(database));
        sqlite3_finalize(statement);
        sqlite3_exec(database, "PRAGMA wal_checkpoint(TRUNCATE)", nullptr, nullptr, nullptr);
        sqlite3_close(database);
    }

    QTemporaryDir _home;
    int _asideCount = 0;
};

// Of all threads.
double processorMilliseconds()
{
    struct rusage usage = {};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto of = [](const timeval &time) { return double(time.tv_sec) * 1000 + double(time.tv_usec) / 1000; };
    return of(usage.ru_utime) + of(usage.ru_stime);
}

// -- The first pass, and its peer: each into a folder made anew, with nothing of the other's left to be written

void firstPass(benchmark::State &state)
{
    Mirror &mirror = Mirror::of(usualCount);
    for (auto _ : state) {
        state.PauseTiming();
        mirror.forget();
        ::sync();
        const double before = processorMilliseconds();
        state.ResumeTiming();
        mirror.pass();
        state.counters["processor_ms"] = processorMilliseconds() - before;
    }
    check(mirror.sync->counts().added == usualCount, "not all files are there");
    state.counters["allowed"] = 3.0;
}

// The same names and bytes, each whole or not at all, as the pass does it.
void writeByHand(benchmark::State &state)
{
    Mirror &mirror = Mirror::of(usualCount).whole();
    std::vector<std::pair<QByteArray, QByteArray>> files;
    for (const QString &name : QDir(mirror.folder()).entryList(QDir::Files)) {
        QFile file(mirror.folder() + u'/' + name);
        check(file.open(QIODevice::ReadOnly), "not read");
        files.emplace_back(QFile::encodeName(name), file.readAll());
    }
    for (auto _ : state) {
        state.PauseTiming();
        const VXFileDescriptor at(::open(QFile::encodeName(mirror.newFolder()).constData(), O_RDONLY | O_DIRECTORY));
        ::sync();
        const double before = processorMilliseconds();
        state.ResumeTiming();
        for (const auto &[name, bytes] : files) {
            VXFileDescriptor file(::openat(at.number(), ".new", O_WRONLY | O_CREAT | O_TRUNC, S_IRUSR | S_IWUSR));
            check(file.writeAll(bytes) && file.close(), "not written");
            check(::renameat(at.number(), ".new", at.number(), name.constData()) == 0, "not renamed");
        }
        state.counters["processor_ms"] = processorMilliseconds() - before;
    }
}

// -- A pass with nothing changed

void unchangedPass(benchmark::State &state)
{
    const Mirror &mirror = Mirror::of(usualCount).whole();
    for (auto _ : state)
        mirror.pass();
    check(mirror.sync->counts().unchanged == usualCount, "something was changed");
    state.counters["allowed"] = 2.0;
}

void readAttributesByHand(benchmark::State &state)
{
    const Mirror &mirror = Mirror::of(usualCount).whole();
    const QByteArray folder = QFile::encodeName(mirror.folder());
    for (auto _ : state) {
        DIR *const list = ::opendir(folder.constData());
        qint64 sum = 0;
        while (const dirent *const entry = ::readdir(list)) {
            struct stat status = {};
            if (::fstatat(::dirfd(list), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0)
                sum += status.st_mtim.tv_sec;
        }
        ::closedir(list);
        benchmark::DoNotOptimize(sum);
    }
}

// -- One message saved among many

// From the save until the file says it, and what the process computed meanwhile; the pass that the save makes due comes later.
void oneSave(benchmark::State &state)
{
    Mirror &mirror = Mirror::of(usualCount).whole();
    const auto launched =
        VXMetaDataSync::launchMetaDataSyncWithIdentifier(identifier, mirror.coordinator, VXMessageStore::entityName,
                                                         u"date"_s, {.settings = {}, .relationships = {u"folder"_s}});
    check(launched != nullptr, "no thread");
    while (launched->needsUpdate() || launched->counts().unchanged < usualCount) // its first pass
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    VXManagedObjectContext context(mirror.coordinator);
    const VXManagedObjectPtr message =
        context
            .executeFetchRequest(VXFetchRequest(*mirror.coordinator->model().entityForName(VXMessageStore::entityName)))
            ->first();
    const QByteArray file = QFile::encodeName(mirror.folder() + u'/' + metaDataFilename(message->objectID()));
    double processor = 0;
    qint64 saves = 0;
    for (auto _ : state) {
        message->setValueForKey(QDateTime::currentDateTimeUtc().addSecs(++saves), u"date"_s);
        const qint64 due = message->valueForKey(u"date"_s).toDateTime().toSecsSinceEpoch();
        const double before = processorMilliseconds();
        check(context.save(), "not saved");
        struct stat status = {};
        while (::stat(file.constData(), &status) != 0 || status.st_mtim.tv_sec != due) {
            ::usleep(1000);
            QCoreApplication::processEvents(); // a pass shows its activity there
        }
        processor += processorMilliseconds() - before;
    }
    state.counters["processor_ms"] = processor / double(saves);
    launched->terminate();
    mirror.forget();
}

// -- Memory

double peakMegabytes()
{
    QFile status(u"/proc/self/status"_s);
    check(status.open(QIODevice::ReadOnly), "no status");
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.simplified().split(' ').value(1).toDouble() / 1024;
    }
    return 0;
}

void memoryOfPass(benchmark::State &state)
{
    Mirror &mirror = Mirror::of(state.range(0));
    mirror.forget();
    double peak = 0;
    for (auto _ : state) {
        ::malloc_trim(0); // what an earlier pass has left would hide what this one takes
        QFile peaks(u"/proc/self/clear_refs"_s);
        check(peaks.open(QIODevice::WriteOnly) && peaks.write("5") == 1, "not reset");
        peaks.close();
        const double before = peakMegabytes();
        mirror.pass();
        peak = peakMegabytes() - before;
    }
    state.counters["more_MB"] = peak;
    mirror.forget();
}

// -- Searching

/** An index of a million people, and a bare connection to it. */
class Index
{
public:
    Index()
    {
        VXSetHomeFolder(_home.path());
        index = VXSearchIndex::open();
        check(index != nullptr, "no index");
        check(index->beginMany(nullptr), "not written"); // as a first pass does it
        QList<VXSearchIndex::Change> changes;
        for (qint64 i = 0; i < indexCount; ++i) {
            const QString number = QString::number(i);
            changes.append({.name = u'p' + number + "_MD2.vxperson"_L1,
                            .values = QVariantMap{{u"kMDItemIdentifier"_s, "store/VXPerson/p"_L1 + number},
                                                  {u"kMDItemKind"_s, u"contact"_s},
                                                  {u"kMDItemTitle"_s, word(i) + u' ' + word(i * 7919 + 1)},
                                                  {u"kMDItemPhoneNumbers"_s, QStringList{"+1650"_L1 + number}},
                                                  // A beginning that all have, of a thousand words.
                                                  {u"kMDItemTextContent"_s, "sch"_L1 + word(i % 1000)}}});
            if (changes.size() == 5000)
                check(index->apply(identifier, std::exchange(changes, {}), nullptr), "not written");
        }
        check(index->endMany(nullptr), "not written");
        index = VXSearchIndex::openExisting(); // as who searches
        check(sqlite3_open_v2(VXSearchIndex::path().toUtf8().constData(), &database, SQLITE_OPEN_READONLY, nullptr) ==
                  SQLITE_OK,
              "not opened");
    }
    static Index &shared()
    {
        static Index index;
        return index;
    }

    std::unique_ptr<VXSearchIndex> index;
    sqlite3 *database = nullptr;

private:
    static QString word(qint64 seed)
    {
        static const QString starts = u"jakemaliborusatenidopefugihy"_s;
        QString text;
        for (int syllable = 0; syllable < 4; ++syllable, seed /= 14)
            text += starts.mid(seed % 14 * 2, 2);
        return text;
    }

    QTemporaryDir _home;
};

void findLetters(benchmark::State &state, const char *letters)
{
    const Index &index = Index::shared();
    for (auto _ : state) {
        const auto found = index.index->find(QString::fromLatin1(letters), {}, 20, nullptr);
        check(found && found->size() == 20, "not found");
    }
    state.counters["allowed"] = 1.5;
}

void findLettersByHand(benchmark::State &state, const char *letters)
{
    const QByteArray expression = "text : \"" + QByteArray(letters) + "\" *";
    const Index &index = Index::shared();
    sqlite3_stmt *statement = nullptr;
    const char *const sql = "SELECT object, entry.kind, title, detail, date FROM words JOIN entry ON entry.id = "
                            "words.rowid WHERE words MATCH ?1 ORDER BY words.rowid DESC LIMIT 20";
    check(sqlite3_prepare_v2(index.database, sql, -1, &statement, nullptr) == SQLITE_OK,
          sqlite3_errmsg(index.database));
    for (auto _ : state) {
        sqlite3_bind_text(statement, 1, expression.constData(), -1, SQLITE_STATIC);
        int count = 0;
        while (sqlite3_step(statement) == SQLITE_ROW) {
            for (int column = 0; column < 5; ++column)
                benchmark::DoNotOptimize(sqlite3_column_text(statement, column));
            ++count;
        }
        check(count == 20, "not found");
        sqlite3_reset(statement);
    }
    sqlite3_finalize(statement);
}

} // namespace

BENCHMARK(firstPass)->Name("search first pass of 100,000/ours")->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(writeByHand)->Name("search first pass of 100,000/peer")->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(unchangedPass)->Name("search pass of 100,000 unchanged/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(readAttributesByHand)->Name("search pass of 100,000 unchanged/peer")->Unit(benchmark::kMillisecond);
BENCHMARK(oneSave)->Name("search one save among 100,000")->Iterations(20)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(memoryOfPass)
    ->Name("search memory of a first pass")
    ->RangeMultiplier(10)
    ->Range(10'000, 1'000'000)
    ->Iterations(1)
    ->Repetitions(1) // which takes minutes
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(findLetters, two, "ja")
    ->Name("search two letters among 1,000,000/ours")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(findLettersByHand, two, "ja")
    ->Name("search two letters among 1,000,000/peer")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(findLetters, three, "sch")
    ->Name("search three letters that 1,000,000 have/ours")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(findLettersByHand, three, "sch")
    ->Name("search three letters that 1,000,000 have/peer")
    ->Unit(benchmark::kMillisecond);
