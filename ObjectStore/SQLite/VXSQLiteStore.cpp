#include "VXSQLiteStore.h"

#include "VXFolders.h"
#include "VXSQLiteLastLook.h"
#include "VXStoreErrors.h"

#include <algorithm>

using namespace Qt::StringLiterals;

using Access = VXSQLiteConnection::Access;
using Code = VXObjectStoreErrorCode;

namespace {

// in bytes; the log is truncated to this after a large save was merged into the file
constexpr int largestLog = 4 << 20;

} // namespace

VXSQLiteStore::VXSQLiteStore(const QString &path, const VXManagedObjectModel::Ptr &model, const VXStoreOptions &options)
    : VXPersistentStore(VXStoreType::SQLite, path, model), _options(options), _schema(*model),
      _readers(path, options.busyTimeout, &_executions)
{
}

VXSQLiteStore::~VXSQLiteStore()
{
    setClosed();
    close();
}

// The last connection merges the log into the file and removes it; but not of a file that lies elsewhere by now, whose log SQLite
// would play into the one that has taken its place.
void VXSQLiteStore::close()
{
    std::thread merging;
    {
        const std::unique_lock<VXMutex> turn(_writing);
        merging = std::move(_merging);
    }
    if (merging.joinable())
        merging.join();
    const std::unique_lock<VXMutex> turn(_writing);
    _readers.close();
    if (_writer && _isUnsecured) // another process may have it open, and will merge it at its end
        overwriteLog(nullptr);
    if (_writer && _writer->hasMoved() && _writer->execute(u"PRAGMA busy_timeout = 200"_s, nullptr))
        _writer->execute(u"PRAGMA wal_checkpoint(TRUNCATE)"_s, nullptr);
    _writer.reset();
    _isUnsecured = _isLogLong = false;
}

QVariantMap VXSQLiteStore::metadataOfFile(const QString &path, VXError *error)
{
    return VXSQLiteLastLook::shared().look(path, VXStoreOptions().busyTimeout, error).value_or(QVariantMap());
}

bool VXSQLiteStore::open(VXError *error)
{
    if (VXSQLiteFile::isMissing(path()) && _options.isReadOnly) {
        VXSetError(error, VXObjectStoreError(Code::FileRead, u"The store cannot be read."_s,
                                             VXExistsAtPath(path()) ? u"It is empty."_s : u"There is no such file."_s,
                                             path()));
        return false;
    }
    if (VXSQLiteFile::isMissing(path()) &&
        !VXSQLiteFile::create(path(), _schema, model(), initialMetadata(), _options.busyTimeout, error))
        return false;
    std::optional<VXSQLiteFile::Contents> contents = openExisting(error);
    if (contents && !_options.isReadOnly)
        contents = openForWriting(*contents, error);
    if (!contents)
        return false;
    adopt(*contents);
    setOpened(contents->metadata);
    return true;
}

// Checks the file without changing it. Only a suitable one is then opened for writing, and the writer looks again at what may have
// changed meanwhile; so it is enough here what somebody has just found.
std::optional<VXSQLiteFile::Contents> VXSQLiteStore::openExisting(VXError *error)
{
    std::optional<VXSQLiteFile::Contents> contents =
        _options.isReadOnly ? std::nullopt : VXSQLiteLastLook::shared().take(path());
    if (!contents) {
        const std::unique_ptr<VXSQLiteConnection> connection =
            VXSQLiteFile::openForReading(path(), _options.busyTimeout, &_executions, error);
        if (connection)
            contents = VXSQLiteFile::read(*connection, path(), error);
    }
    if (!contents || !isUsable(*contents, error))
        return std::nullopt;
    if (_options.isReadOnly && !isComplete(*contents)) {
        VXSetError(error,
                   VXObjectStoreError(Code::StoreIncompatibleModel, u"The store cannot be opened."_s,
                                      u"The model has entities that the store, which is read only, lacks."_s, path()));
        return std::nullopt;
    }
    return contents;
}

std::optional<VXSQLiteFile::Contents> VXSQLiteStore::openForWriting(const VXSQLiteFile::Contents &found, VXError *error)
{
    _writer = VXSQLiteConnection::open(path(), Access::Write, _options.busyTimeout, &_executions, error);
    if (!_writer)
        return std::nullopt;
    if (_writer->isReadOnly()) {
        VXSetError(error, VXStoreWriteError(path(), u"The file must not be changed."_s));
        return std::nullopt;
    }
    std::optional<VXSQLiteFile::Contents> contents =
        _writer->execute(u"PRAGMA synchronous = FULL"_s, error) ? complete(found, error) : std::nullopt;
    if (contents && !(_writer->execute(u"PRAGMA journal_mode = WAL"_s, error) &&
                      _writer->execute(u"PRAGMA journal_size_limit = %1"_s.arg(largestLog), error)))
        contents.reset();
    if (!contents)
        _writer.reset();
    _readers.setWriting();
    return contents;
}

// Adds the entities and indexes of the model that the file lacks.
std::optional<VXSQLiteFile::Contents> VXSQLiteStore::complete(const VXSQLiteFile::Contents &found, VXError *error) const
{
    std::optional<VXSQLiteFile::Contents> contents = VXSQLiteFile::read(*_writer, path(), error, &found);
    if (!contents || isComplete(*contents))
        return contents;
    if (!_writer->execute(u"BEGIN IMMEDIATE"_s, error))
        return std::nullopt;
    contents = VXSQLiteFile::read(*_writer, path(), error); // another process may have done it meanwhile
    const bool isDone =
        contents && isUsable(*contents, error) && VXSQLiteFile::extend(*_writer, _schema, model(), *contents, error) &&
        VXSQLiteFile::writeMetadata(*_writer, modelMetadata(), error) && _writer->execute(u"COMMIT"_s, error);
    return isDone ? contents : std::nullopt;
}

bool VXSQLiteStore::isUsable(const VXSQLiteFile::Contents &contents, VXError *error) const
{
    QString reason;
    if (!isCompatible(contents.metadata, &reason)) {
        VXSetError(error,
                   VXObjectStoreError(Code::StoreIncompatibleModel, u"The store cannot be opened."_s, reason, path()));
        return false;
    }
    const QVariantMap hashes = contents.metadata.value(VXStoreModelVersionHashesKey).toMap();
    if (hashes.size() == model().entities().size() && !_schema.additions(contents.existing).tables.isEmpty()) {
        VXSetError(error, damage(u"Tables are missing in it."_s));
        return false;
    }
    if (const QString misfit = _schema.misfit(contents.existing); !misfit.isNull()) {
        VXSetError(error, damage(misfit));
        return false;
    }
    return true;
}

bool VXSQLiteStore::isComplete(const VXSQLiteFile::Contents &contents) const
{
    const VXSQLiteSchema::Additions additions = _schema.additions(contents.existing);
    const auto hasNumber = [&](const VXEntityDescription *entity) {
        return contents.entityNumbers.contains(entity->name());
    };
    return additions.tables.isEmpty() && (additions.indexes.isEmpty() || _options.isReadOnly) &&
           std::all_of(model().entities().cbegin(), model().entities().cend(), hasNumber);
}

void VXSQLiteStore::adopt(const VXSQLiteFile::Contents &contents)
{
    for (const VXEntityDescription *const entity : model().entities())
        _schema.setEntityNumber(*entity, contents.entityNumbers.value(entity->name()));
    for (const VXEntityDescription *const entity : model().entities())
        _layouts.push_back(std::make_unique<VXSQLiteRowLayout>(*entity, _schema));
}

VXError VXSQLiteStore::damage(const QString &reason) const
{
    return VXObjectStoreError(Code::FileCorrupt, u"The store is damaged, or no store at all."_s, reason, path());
}

bool VXSQLiteStore::copyTo(const QString &path, VXError *error)
{
    return _readers.borrow(error) && // fails once the store is closed
           VXSQLiteFile::copy(this->path(), path, !_options.isReadOnly, _options.busyTimeout, error);
}
