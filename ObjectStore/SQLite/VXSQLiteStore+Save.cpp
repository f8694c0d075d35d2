#include "VXSQLiteStore.h"

#include "VXSaveReferences.h"
#include "VXStoreErrors.h"

#include <algorithm>
#include <map>
#include <span>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

using Code = VXObjectStoreErrorCode;
using Step = VXSQLiteStatement::Step;

namespace {

using Changes = std::span<const VXRowChange *const>;

// Rows inserted per statement, for which SQLite opens the table and its indexes only once. More gain little.
constexpr size_t rowsAtOnce = 8;

// Pages in the log, from which on a save merges it into the file: 1000 is what SQLite takes by itself.
constexpr int usualLog = 1000;
constexpr int longLog = 8000; // while saves are secured later, as merging waits for the disk

bool isInsertion(const VXRowChange &change)
{
    return change.row && !change.base && !change.overwrites;
}

// What is inserted, by entity: objects of several, such as persons with their numbers, are mostly made in turn.
std::vector<const VXRowChange *> insertionsOf(const VXSaveRequest &request)
{
    std::vector<const VXRowChange *> made;
    made.reserve(size_t(request.changes.size()));
    for (const VXRowChange &change : request.changes) {
        if (isInsertion(change))
            made.push_back(&change);
    }
    const auto entity = [](const VXRowChange *change) { return change->objectID.entity().number(); };
    if (!std::ranges::is_sorted(made, {}, entity))
        std::ranges::stable_sort(made, {}, entity);
    return made;
}

// The first insertions that a single statement can carry out.
Changes firstOf(const Changes &insertions)
{
    const auto isLikeFirst = [&](const VXRowChange *change) {
        return &change->objectID.entity() == &insertions.front()->objectID.entity();
    };
    const bool areSeveral = insertions.size() >= rowsAtOnce &&
                            std::all_of(insertions.begin(), insertions.begin() + rowsAtOnce, isLikeFirst);
    return insertions.first(areSeveral ? rowsAtOnce : 1);
}

} // namespace

/** A transaction of the writer, with the turn to write; undone unless committed. */
class VXSQLiteStore::Transaction final : public VXStoreTransaction
{
public:
    Transaction(VXSQLiteStore &store, const std::optional<QVariantMap> &metadata, bool isSecuredLater)
        : _store(store), _turn(store._writing), _metadata(metadata), _isSecuredLater(isSecuredLater)
    {
    }
    ~Transaction() override
    {
        if (_store._writer && _store._writer->isInTransaction())
            _store._writer->execute(u"ROLLBACK"_s, nullptr);
        if (_store._writer && _isSecuredLater)
            _store._writer->execute(u"PRAGMA synchronous = FULL"_s, nullptr);
    }

    bool begin(VXError *error)
    {
        return _store.isWritable(error) && (!_isSecuredLater || waitForNoDisk(error)) &&
               _store._writer->execute(u"BEGIN IMMEDIATE"_s, error) && _store.isInPlace(error);
    }
    /** Leaves the entries that others have saved meanwhile, and learns them. */
    bool writeMetadata(VXError *error)
    {
        if (!_metadata)
            return true;
        if (VXSQLiteFile::writeMetadata(*_store._writer, *_metadata, error))
            _written = VXSQLiteFile::readMetadata(*_store._writer, _store.path(), error);
        return _written.has_value();
    }
    bool commit(VXError *error) override
    {
        VXError problem;
        if (_store._writer->execute(u"COMMIT"_s, &problem)) {
            if (_written) {
                _store.setStoredMetadata(*_written);
                _store.markMetadataSaved(*_metadata);
            }
            _store._isUnsecured = _isSecuredLater; // syncing the log makes all in it lasting
            return true;
        }
        const bool mayBeLogged = _store._writer->mayHaveCommitted();
        if (_store._writer->isInTransaction())
            _store._writer->execute(u"ROLLBACK"_s, nullptr);
        if (mayBeLogged && !_store.overwriteLog(nullptr))
            problem = VXObjectStoreError(Code::SaveUnknown, u"It is not known whether the objects were saved."_s,
                                         problem.localizedRecoverySuggestion(), _store.path());
        VXSetError(error, problem);
        return false;
    }

private:
    bool waitForNoDisk(VXError *error)
    {
        return _store.lengthenLog(error) && _store._writer->execute(u"PRAGMA synchronous = NORMAL"_s, error);
    }

    VXSQLiteStore &_store;
    const std::unique_lock<VXMutex> _turn;
    const std::optional<QVariantMap> _metadata; // the changes
    const bool _isSecuredLater;
    std::optional<QVariantMap> _written; // all, with those
};

/** Writes the changes of one save. Bound values are not copied: the request must outlive this. */
class VXSQLiteStore::Saver
{
public:
    Saver(const VXSQLiteStore &store, QList<VXRowConflict> *conflicts, VXError *error)
        : _store(store), _connection(*store._writer), _conflicts(conflicts), _error(error)
    {
    }

    bool save(const VXSaveRequest &request)
    {
        const qsizetype conflictCount = _conflicts->size();
        VXSaveReferences concerned;
        bool hasDeletions = false;
        const std::vector<const VXRowChange *> insertions = insertionsOf(request);
        for (Changes rest(insertions); !rest.empty();) {
            const Changes changes = firstOf(rest);
            if (!insert(changes))
                return false;
            for (const VXRowChange *const each : changes)
                concerned.add(*each);
            rest = rest.subspan(changes.size());
        }
        for (const VXRowChange &change : request.changes) {
            if (isInsertion(change))
                continue;
            if (change.row && !update(change))
                return false;
            concerned.add(change);
            hasDeletions = hasDeletions || !change.row;
        }
        concerned.complete(request);
        for (const VXLinkChange &change : request.links) {
            if (!link(change))
                return false;
        }
        if (!_store.findDenied(request, concerned, _conflicts, _error))
            return false;
        if (hasDeletions && !removeAll(request.changes)) // last, and with all links
            return false;
        return _conflicts->size() == conflictCount &&
               _store.findReferenceConflicts(request, concerned, _conflicts, _error) &&
               _conflicts->size() == conflictCount;
    }

private:
    using Key = std::pair<const VXEntityDescription *, QList<int>>;

    bool insert(const Changes &changes);
    bool update(const VXRowChange &change);
    bool removeAll(const QList<VXRowChange> &changes);
    bool remove(const VXRowChange &change);
    bool removeLinks(const VXManagedObjectID &objectID);
    bool link(const VXLinkChange &change);
    bool noteConflict(const VXManagedObjectID &objectID);

    /** The statements of one kind used by the save. */
    struct Statements
    {
        std::map<Key, VXSQLiteStatement> all;
        std::map<Key, VXSQLiteStatement>::value_type *last = nullptr;
    };

    // Looks up a statement only when the kind of change differs from the last one.
    template <class SQL>
    VXSQLiteStatement *statementFor(Statements &statements, const VXEntityDescription &entity,
                                    const QList<int> &properties, const SQL &sql)
    {
        if (statements.last == nullptr || statements.last->first.first != &entity ||
            statements.last->first.second != properties) {
            const Key key(&entity, properties);
            auto found = statements.all.find(key);
            if (found == statements.all.end())
                found = statements.all.emplace(key, _connection.statement(sql(), _error)).first;
            statements.last = &*found;
        }
        return statements.last->second ? &statements.last->second : nullptr;
    }
    bool run(VXSQLiteStatement &statement)
    {
        if (statement.run())
            return true;
        VXSetError(_error, _connection.lastError());
        return false;
    }

    const VXSQLiteStore &_store;
    VXSQLiteConnection &_connection;
    QList<VXRowConflict> *const _conflicts;
    VXError *const _error;
    Statements _insertions;
    Statements _updates;    // of rows with a known version
    Statements _overwrites; // of whole rows
    Statements _deletions;
};

// For one entity. If it fails, the whole transaction does.
bool VXSQLiteStore::Saver::insert(const Changes &changes)
{
    const VXEntityDescription &entity = changes.front()->objectID.entity();
    const VXSQLiteRowLayout &layout = _store.layout(entity);
    VXSQLiteStatement *const statement = statementFor(_insertions, entity, {int(changes.size())},
                                                      [&] { return layout.insertion(qsizetype(changes.size())); });
    if (statement == nullptr)
        return false;
    qsizetype place = 0;
    for (const VXRowChange *const change : changes) {
        if (!layout.bindInsertion(*statement, place++, change->objectID, *change->row, _error))
            return false;
    }
    if (statement->run())
        return true;
    if (_connection.isIdentifierTaken())
        VXSetError(_error,
                   VXObjectStoreError(Code::ReferentialIntegrity, u"The objects cannot be saved."_s,
                                      u"A new object has the identifier of one that is stored."_s, _store.path()));
    else
        VXSetError(_error, _connection.lastError());
    statement->reset();
    return false;
}

bool VXSQLiteStore::Saver::update(const VXRowChange &change)
{
    const VXEntityDescription &entity = change.objectID.entity();
    const VXSQLiteRowLayout &layout = _store.layout(entity);
    const QList<int> &properties = change.overwrites ? layout.storedProperties() : change.changedProperties;
    // A version above the stored one, whatever that is, tells every other context that the row has changed.
    const auto sql = [&] {
        const int count = layout.parameterCount(properties);
        return u"UPDATE %1 SET %2Z_OPT = %3 WHERE Z_PK = ?%4%5"_s.arg(
            VXSQLiteSchema::table(entity), layout.assignments(properties),
            (change.overwrites ? u"MAX(?%1, Z_OPT + 1)"_s : u"?%1"_s).arg(count + 1), QString::number(count + 2),
            change.overwrites ? QString() : u" AND Z_OPT = ?%1"_s.arg(count + 3));
    };
    VXSQLiteStatement *const statement = change.overwrites ? statementFor(_overwrites, entity, {}, sql)
                                                           : statementFor(_updates, entity, properties, sql);
    int parameter = 1;
    if (statement == nullptr ||
        !layout.bindProperties(*statement, properties, change.objectID, *change.row, &parameter, _error))
        return false;
    statement->bindNumber(parameter++, change.row->version());
    statement->bindNumber(parameter++, change.objectID.number());
    if (!change.overwrites)
        statement->bindNumber(parameter, change.base->version());
    if (!run(*statement))
        return false;
    if (_connection.changes() > 0)
        return true;
    const VXRowChange *const whole = &change;
    return change.overwrites ? insert(Changes(&whole, 1)) : noteConflict(change.objectID);
}

bool VXSQLiteStore::Saver::removeAll(const QList<VXRowChange> &changes)
{
    return std::all_of(changes.cbegin(), changes.cend(),
                       [this](const VXRowChange &change) { return change.row || remove(change); });
}

bool VXSQLiteStore::Saver::remove(const VXRowChange &change)
{
    const bool isChecked = change.base && !change.overwrites;
    const QString table = VXSQLiteSchema::table(change.objectID.entity());
    VXSQLiteStatement *const statement =
        statementFor(_deletions, change.objectID.entity().rootEntity(), {int(isChecked)}, [&] {
            return u"DELETE FROM %1 WHERE Z_PK = ?1%2"_s.arg(table, isChecked ? u" AND Z_OPT = ?2"_s : QString());
        });
    if (statement == nullptr)
        return false;
    statement->bindNumber(1, change.objectID.number());
    if (isChecked)
        statement->bindNumber(2, change.base->version());
    if (!run(*statement))
        return false;
    if (isChecked && _connection.changes() == 0)
        return noteConflict(change.objectID);
    return removeLinks(change.objectID);
}

bool VXSQLiteStore::Saver::removeLinks(const VXManagedObjectID &objectID)
{
    for (const VXRelationshipDescription *const relationship : objectID.entity().relationships()) {
        if (relationship->isTransient() || !relationship->isManyToMany())
            continue;
        const VXSQLiteLink pairs = VXSQLiteSchema::link(*relationship);
        for (const QString &end :
             pairs.isSymmetric ? QStringList{pairs.source, pairs.target} : QStringList{pairs.source}) {
            VXSQLiteStatement statement =
                _connection.statement(u"DELETE FROM %1 WHERE %2 = ?1"_s.arg(pairs.table, end), _error);
            if (!statement)
                return false;
            statement.bindNumber(1, objectID.number());
            if (!run(statement))
                return false;
        }
    }
    return true;
}

bool VXSQLiteStore::Saver::link(const VXLinkChange &change)
{
    const VXSQLiteLink pairs = VXSQLiteSchema::link(*change.relationship);
    VXSQLiteStatement removal = _connection.statement(
        u"DELETE FROM %1 WHERE %2 = ?1 AND %3 = ?2"_s.arg(pairs.table, pairs.source, pairs.target), _error);
    VXSQLiteStatement addition = _connection.statement(
        u"INSERT OR IGNORE INTO %1 (%2, %3) VALUES (?1, ?2)"_s.arg(pairs.table, pairs.source, pairs.target), _error);
    if (!removal || !addition)
        return false;
    const auto runPair = [this](VXSQLiteStatement &statement, qint64 source, qint64 target) {
        statement.bindNumber(1, source);
        statement.bindNumber(2, target);
        return run(statement);
    };
    const auto runAll = [&](VXSQLiteStatement &statement, const QList<VXManagedObjectID> &targets) {
        for (const VXManagedObjectID &target : targets) {
            if (!runPair(statement, change.source.number(), target.number()) ||
                (pairs.isSymmetric && !runPair(statement, target.number(), change.source.number())))
                return false;
        }
        return true;
    };
    return runAll(removal, change.removed) && runAll(addition, change.added);
}

bool VXSQLiteStore::Saver::noteConflict(const VXManagedObjectID &objectID)
{
    VXError problem;
    _conflicts->append({objectID, _store.readRow(_connection, objectID, &problem)});
    VXSetError(_error, problem);
    return problem.isNull();
}

// To be called with the turn to write.
bool VXSQLiteStore::isWritable(VXError *error) const
{
    if (!_writer)
        VXSetError(error, _options.isReadOnly ? VXReadOnlyStoreError(path()) : VXClosedStoreError(path()));
    return bool(_writer);
}

// What is written to a file that was removed or moved away is lost, though SQLite has it written.
bool VXSQLiteStore::isInPlace(VXError *error) const
{
    if (!_writer->hasMoved())
        return true;
    VXSetError(error, VXReplacedStoreError(path()));
    return false;
}

// A transaction that failed at its very end lies in the log, whole, where the next one will overwrite it; until then whoever
// recovers the log after a crash would take it for saved. So that next one follows at once.
bool VXSQLiteStore::overwriteLog(VXError *error)
{
    return _writer->execute(u"PRAGMA user_version = %1"_s.arg(VXSQLiteSchema::formatVersion), error);
}

std::unique_ptr<VXStoreTransaction> VXSQLiteStore::save(const VXSaveRequest &request, QList<VXRowConflict> *conflicts,
                                                        VXError *error)
{
    auto transaction = std::make_unique<Transaction>(*this, request.metadata, request.isSecuredLater);
    const bool isWritten =
        transaction->begin(error) && Saver(*this, conflicts, error).save(request) && transaction->writeMetadata(error);
    return isWritten ? std::move(transaction) : nullptr;
}

// Who saves next should not have to merge what many saves have left either.
bool VXSQLiteStore::lengthenLog(VXError *error)
{
    _isLogLong = _isLogLong || _writer->execute(u"PRAGMA wal_autocheckpoint = %1"_s.arg(longLog), error);
    return _isLogLong;
}

// One more transaction, for which the log is synced with all that is in it. The log is then merged into the file by a thread, while
// others may save.
bool VXSQLiteStore::secureSaves(VXError *error)
{
    const std::unique_lock<VXMutex> turn(_writing);
    if (_isUnsecured && !(isWritable(error) && overwriteLog(error)))
        return false;
    _isUnsecured = false;
    if (!_isLogLong || std::exchange(_isMerging, true))
        return true;
    if (_merging.joinable())
        _merging.join(); // it has ended
    _merging = std::thread([this] { mergeLog(); });
    return true;
}

// What other readers keep from being merged, the next save merges.
void VXSQLiteStore::mergeLog()
{
    if (const VXSQLiteConnectionPool::Lease connection = _readers.borrow(nullptr))
        connection->execute(u"PRAGMA wal_checkpoint(PASSIVE)"_s, nullptr);
    const std::unique_lock<VXMutex> turn(_writing);
    if (_writer)
        _isLogLong = !_writer->execute(u"PRAGMA wal_autocheckpoint = %1"_s.arg(usualLog), nullptr);
    _isMerging = false;
}

// A reserved number that was not used may be given out again after a power cut, so this is not synced; the save that
// uses the number is, along with everything written before.
std::optional<qint64> VXSQLiteStore::reserveNumbers(const VXEntityDescription &root, qint64 count, VXError *error)
{
    const std::unique_lock<VXMutex> turn(_writing);
    if (!isWritable(error))
        return std::nullopt;
    const VXSQLiteConnectionPool::Lease connection = _readers.borrow(error);
    VXSQLiteStatement statement =
        connection
            ? connection->statement(
                  u"INSERT INTO Z_PRIMARYKEY (Z_NAME, Z_MAX) SELECT ?1, IFNULL(MAX(Z_PK), 0) + ?2 FROM %1 WHERE 1 "
                  "ON CONFLICT (Z_NAME) DO UPDATE SET Z_MAX = MAX(Z_MAX + ?2, excluded.Z_MAX) RETURNING Z_MAX"_s.arg(
                      VXSQLiteSchema::table(root)),
                  error)
            : VXSQLiteStatement();
    if (!statement)
        return std::nullopt;
    statement.bindText(1, root.name());
    statement.bindNumber(2, count);
    const bool isDone = statement.step() == Step::Row;
    const qint64 highest = isDone ? statement.number(0) : 0;
    if (isDone && highest > VXLargestStoreNumber) {
        VXSetError(error, damage(u"The numbers of its objects are used up."_s));
        return std::nullopt;
    }
    if (isDone && statement.step() == Step::Done)
        return highest - count + 1;
    VXSetError(error, connection->lastError());
    return std::nullopt;
}
