// The newest messages of one conversation, and of one folder, beside the same rows fetched with SQLite by hand, by the same
// index; how that grows with the number of messages.

#include "BenchmarkModels.h"
#include "MessageRows.h"

#include "VXConversationKey.h"
#include "VXMessageStore.h"

#include <benchmark/benchmark.h>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <map>
#include <memory>
#include <stdexcept>
#include <vector>

#include <sqlite3.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int parties = 200; // conversations of a store
constexpr qsizetype newest = 50;

QString numberOf(qint64 party)
{
    return u"+1 650 253 %1"_s.arg(party % parties, 4, 10, QChar(u'0'));
}

QString textOf(qint64 message)
{
    return u"Are you coming tonight, or shall we wait until tomorrow? %1"_s.arg(message);
}

VXManagedObjectModel::Ptr messagesModel()
{
    return modelFromFiles({QStringLiteral(VORNIX_MESSAGES_MODEL), QStringLiteral(VORNIX_SMART_FILTERS_MODEL)});
}

/** A store of so many messages in one folder, in conversations of equal length. */
class Messages
{
public:
    explicit Messages(qint64 count) : coordinator(VXPersistentStoreCoordinator::coordinatorWithModel(messagesModel()))
    {
        check(coordinator->addPersistentStore(VXStoreType::SQLite, path()) != nullptr, "no store");
        VXManagedObjectContext context(coordinator);
        const VXManagedObjectPtr inbox = context.insertNewObject(u"VXRootFolder"_s);
        inbox->setValueForKey(u"inbox"_s, u"root_name"_s);
        check(context.save(), "not saved");
        folder = inbox->objectID().number();
        folderEntity = inbox->objectID();
        check(sqlite3_open_v2(path().toUtf8().constData(), &database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX,
                              nullptr) == SQLITE_OK,
              "not opened");
        insertMessageRows(database, folder, count, textOf, numberOf);
    }
    ~Messages()
    {
        sqlite3_finalize(_byHand);
        sqlite3_close(database);
    }
    Messages(const Messages &) = delete;
    Messages &operator=(const Messages &) = delete;

    static Messages &of(qint64 count)
    {
        static std::map<qint64, std::unique_ptr<Messages>> stores; // all: repetitions of several sizes take turns
        if (!stores.contains(count))
            stores[count] = std::make_unique<Messages>(count);
        return *stores[count];
    }

    /** The newest messages of a conversation, every value of each. */
    qint64 readByHand(const QString &conversation)
    {
        if (_byHand == nullptr)
            check(sqlite3_prepare_v2(
                      database,
                      R"(SELECT * FROM "VX_VXMessage" WHERE "conversation" = ?1 ORDER BY "date" DESC, "Z_PK"
                                        LIMIT ?2)",
                      -1, &_byHand, nullptr) == SQLITE_OK,
                  sqlite3_errmsg(database));
        sqlite3_bind_text16(_byHand, 1, conversation.utf16(), int(conversation.size() * 2), SQLITE_TRANSIENT);
        sqlite3_bind_int64(_byHand, 2, newest);
        std::vector<std::vector<QVariant>> rows;
        while (sqlite3_step(_byHand) == SQLITE_ROW) {
            std::vector<QVariant> &row = rows.emplace_back();
            for (int column = 0; column < sqlite3_column_count(_byHand); ++column)
                row.push_back(valueAt(column));
        }
        sqlite3_reset(_byHand);
        return qint64(rows.size());
    }

    const VXPersistentStoreCoordinator::Ptr coordinator;
    qint64 folder = 0;
    VXManagedObjectID folderEntity;
    sqlite3 *database = nullptr;

private:
    QString path() const { return _home.filePath(u"messages.sqlite"_s); }

    QVariant valueAt(int column)
    {
        switch (sqlite3_column_type(_byHand, column)) {
        case SQLITE_INTEGER:
            return qint64(sqlite3_column_int64(_byHand, column));
        case SQLITE_TEXT: {
            const void *const units = sqlite3_column_text16(_byHand, column);
            return QString(static_cast<const QChar *>(units), sqlite3_column_bytes16(_byHand, column) / 2);
        }
        default:
            return {};
        }
    }

    QTemporaryDir _home;
    sqlite3_stmt *_byHand = nullptr;
};

qint64 textsOf(const QList<VXManagedObjectPtr> &messages)
{
    qint64 sum = 0;
    for (const VXManagedObjectPtr &message : messages) {
        const int text = message->entity().propertyForName(u"text"_s)->index();
        sum += message->attribute(text).toString().size();
    }
    return sum;
}

void conversation(benchmark::State &state)
{
    Messages &messages = Messages::of(state.range(0));
    const VXMessageStore store(messages.coordinator);
    qint64 party = 0;
    for (auto _ : state) {
        VXManagedObjectContext context(messages.coordinator);
        const auto found = store.newestOfConversations({VXConversationKey(numberOf(party++))}, newest, context);
        benchmark::DoNotOptimize(textsOf(*found));
    }
    state.counters["allowed"] = 3.0;
}

void conversationByHand(benchmark::State &state)
{
    Messages &messages = Messages::of(state.range(0));
    qint64 party = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(messages.readByHand(VXConversationKey(numberOf(party++))));
}

// How the newest of one folder, which holds them all, are fetched among more and more.
void folder(benchmark::State &state)
{
    Messages &messages = Messages::of(state.range(0));
    const VXMessageStore store(messages.coordinator);
    for (auto _ : state) {
        VXManagedObjectContext context(messages.coordinator);
        const auto found = store.newestOfFolder(context.objectWithID(messages.folderEntity), newest);
        benchmark::DoNotOptimize(textsOf(*found));
    }
}

// All of one size after each other; "/1000000$" as a filter chooses the largest.
[[maybe_unused]] const bool areRegistered = [] {
    for (const qint64 count : {1'000, 10'000, 100'000, 1'000'000}) {
        benchmark::RegisterBenchmark("messages newest 50 of a conversation/ours", conversation)->Arg(count);
        benchmark::RegisterBenchmark("messages newest 50 of a conversation/peer", conversationByHand)->Arg(count);
        benchmark::RegisterBenchmark("messages newest 50 of a folder", folder)->Arg(count);
    }
    return true;
}();

} // namespace
