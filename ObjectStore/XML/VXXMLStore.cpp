#include "VXXMLStore.h"

#include "VXAtomicFile.h"
#include "VXFolders.h"
#include "VXRegularFile.h"
#include "VXReservedNumbers.h"
#include "VXStoreErrors.h"
#include "VXXMLStoreReader.h"
#include "VXXMLStoreWriter.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <cerrno>

using namespace Qt::StringLiterals;

namespace {

using Code = VXObjectStoreErrorCode;

VXError readError(const QString &path, const QString &reason)
{
    return VXObjectStoreError(Code::FileRead, u"The store cannot be read."_s, reason, path);
}

// Of what knows the system's reason, or has one of its own.
template <class File>
VXError writeError(const File &file, const QString &reason, const QString &path)
{
    return file.systemError() == 0 ? VXStoreWriteError(path, reason) : VXStoreWriteError(path, file.systemError());
}

// Carries the new contents to the disk, beside the file that they are to replace.
bool writeBeside(VXAtomicFile &file, const QString &path, const QVariantMap &metadata, const VXRowTables &tables,
                 const VXManagedObjectModel &model, VXError *error)
{
    QString reason;
    const bool isWritten = file.open() && VXXMLStoreWriter(file).write(metadata, tables, model, &reason);
    if (isWritten && file.prepare())
        return true;
    VXSetError(error, reason.isNull() ? writeError(file, file.errorString(), path) : VXStoreWriteError(path, reason));
    return false;
}

bool commitTo(VXAtomicFile &file, const QString &path, VXError *error)
{
    if (file.commit())
        return true;
    VXSetError(error, writeError(file, file.errorString(), path));
    return false;
}

} // namespace

/** The new file is beside the old one; the commit moves it to its place. */
class VXXMLStore::Transaction final : public VXStoreTransaction
{
public:
    Transaction(VXXMLStore &store, WriterTurn turn, std::unique_ptr<VXFileLock> lock)
        : _store(store), _turn(std::move(turn)), _lock(std::move(lock)), _file(store.path(), VXFileAccess::Shared)
    {
    }

    bool prepare(const VXSaveRequest &request, VXError *error)
    {
        _metadata = request.metadata.value_or(QVariantMap());
        _contents = {_store.metadataWith(_metadata), _store.tables()};
        _contents.tables.apply(request);
        _store.raiseHighestNumbers(_contents.tables, *_lock);
        return writeBeside(_file, _store.path(), _contents.metadata, _contents.tables, _store.model(), error);
    }

    bool commit(VXError *error) override
    {
        const VXMutexLocker lock(_store._fileLock);
        _contents.stamp = _file.stamp();
        if (!commitTo(_file, _store.path(), error))
            return false;
        VXReservedNumbers(_lock->file().number()).clear();
        _store.adopt(_contents);
        _store.markMetadataSaved(_metadata);
        return true;
    }

private:
    VXXMLStore &_store;
    const WriterTurn _turn;
    const std::unique_ptr<VXFileLock> _lock;
    VXAtomicFile _file;
    Contents _contents;
    QVariantMap _metadata; // the changes
};

VXXMLStore::VXXMLStore(const QString &path, const VXManagedObjectModel::Ptr &model, const VXStoreOptions &options)
    : VXRowTableStore(VXStoreType::XML, path, model), _options(options)
{
}

VXXMLStore::~VXXMLStore()
{
    setClosed();
}

void VXXMLStore::close()
{
    const VXMutexLocker lock(_fileLock);
    _isClosed = true;
}

bool VXXMLStore::isOpen(VXError *error) const
{
    if (_isClosed)
        VXSetError(error, VXClosedStoreError(path()));
    return !_isClosed;
}

QVariantMap VXXMLStore::metadataOfFile(const QString &path, VXError *error)
{
    QFile file(path);
    if (QString reason; !VXRegularFile::open(file, &reason)) {
        VXSetError(error, readError(path, reason));
        return {};
    }
    return VXXMLStoreReader(file, path).readMetadata(error).value_or(QVariantMap());
}

bool VXXMLStore::open(VXError *error)
{
    if (!_options.isReadOnly && !QFileInfo::exists(path()) && !create(error))
        return false;
    const std::optional<Contents> contents = read(error);
    if (!contents)
        return false;
    {
        const VXMutexLocker lock(_fileLock);
        adopt(*contents);
    }
    setOpened(contents->metadata);
    return true;
}

bool VXXMLStore::create(VXError *error)
{
    const std::unique_ptr<VXFileLock> lock = lockFile(error);
    if (!lock)
        return false;
    if (QFileInfo::exists(path())) // another process has made it meanwhile
        return true;
    VXAtomicFile file(path());
    return writeBeside(file, path(), initialMetadata(), {}, model(), error) && commitTo(file, path(), error);
}

std::optional<VXXMLStore::Contents> VXXMLStore::read(VXError *error) const
{
    QFile file(path());
    if (QString reason; !VXRegularFile::open(file, &reason)) {
        VXSetError(error, readError(path(), reason));
        return std::nullopt;
    }
    const VXFileStamp stamp = VXFileStamp::ofDescriptor(file.handle());
    VXXMLStoreReader reader(file, path());
    const std::optional<QVariantMap> metadata = reader.readMetadata(error);
    if (!metadata)
        return std::nullopt;
    if (QString reason; !isCompatible(*metadata, &reason)) {
        VXSetError(error, VXObjectStoreError(Code::StoreIncompatibleModel, u"The store was made with another model."_s,
                                             reason, path()));
        return std::nullopt;
    }
    const auto &storeIdentity = VXStoreIdentity::withIdentifier(metadata->value(VXStoreUUIDKey).toString());
    const std::optional<VXRowTables> tables = reader.readObjects(model(), storeIdentity, error);
    return tables ? std::optional(Contents{*metadata, *tables, stamp}) : std::nullopt;
}

void VXXMLStore::adopt(const Contents &contents)
{
    _stamp = contents.stamp;
    _metadata = contents.metadata;
    setTables(contents.tables);
}

// The entities that the model has in addition to those of the file may be among what is written.
QVariantMap VXXMLStore::metadataWith(const QVariantMap &changes) const
{
    const VXMutexLocker lock(_fileLock);
    return changedMetadata(changedMetadata(_metadata, changes), modelMetadata());
}

bool VXXMLStore::refresh(VXError *error)
{
    const VXMutexLocker lock(_fileLock);
    if (!isOpen(error))
        return false;
    if (VXFileStamp::ofPath(path()) == _stamp)
        return true;
    if (!VXExistsAtPath(path())) {
        VXSetError(error, VXReplacedStoreError(path()));
        return false;
    }
    const std::optional<Contents> contents = read(error);
    if (!contents)
        return false;
    const auto &storeIdentity = VXStoreIdentity::withIdentifier(contents->metadata.value(VXStoreUUIDKey).toString());
    if (&storeIdentity != &identity()) {
        VXSetError(error, VXReplacedStoreError(path()));
        return false;
    }
    setStoredMetadata(contents->metadata);
    adopt(*contents);
    return true;
}

QString VXXMLStore::lockPath() const
{
    return path() + ".lock"_L1;
}

std::unique_ptr<VXFileLock> VXXMLStore::lockFile(VXError *error) const
{
    if (_options.isReadOnly) {
        VXSetError(error, VXReadOnlyStoreError(path()));
        return nullptr;
    }
    auto lock = std::make_unique<VXFileLock>(lockPath(), _options.busyTimeout);
    if (lock->isHeld())
        return lock;
    if (lock->isTimedOut())
        VXSetError(error, VXObjectStoreError(Code::StoreTimedOut, u"The store could not be written."_s,
                                             u"Another process has locked it."_s, path()));
    else
        VXSetError(error, writeError(*lock, lock->reason(), path()));
    return nullptr;
}

std::optional<qint64> VXXMLStore::reserveNumbers(const VXEntityDescription &root, qint64 count, VXError *error)
{
    const WriterTurn turn = waitForTurn();
    const std::unique_ptr<VXFileLock> lock = lockFile(error);
    if (!lock || !refresh(error))
        return std::nullopt;
    VXReservedNumbers reserved(lock->file().number());
    const QByteArray name = root.name().toUtf8();
    const qint64 first = takeNumbers(root, count, reserved.read().value(name));
    const qint64 highest = first + count - 1;
    const bool isUsedUp = highest > VXLargestStoreNumber;
    if (!isUsedUp && reserved.add(name, highest))
        return first;
    VXSetError(error, isUsedUp ? VXStoreWriteError(path(), u"The numbers of its objects are used up."_s)
                               : VXStoreWriteError(path(), errno)); // of the lock file
    return std::nullopt;
}

std::unique_ptr<VXStoreTransaction> VXXMLStore::saveInTurn(WriterTurn turn, const VXSaveRequest &request,
                                                           QList<VXRowConflict> *conflicts, VXError *error)
{
    std::unique_ptr<VXFileLock> lock = lockFile(error);
    if (!lock || !refresh(error) || !canSave(request, conflicts, error))
        return nullptr;
    auto transaction = std::make_unique<Transaction>(*this, std::move(turn), std::move(lock));
    return transaction->prepare(request, error) ? std::move(transaction) : nullptr;
}

// A save also stores all numbers given out so far, by any process.
void VXXMLStore::raiseHighestNumbers(VXRowTables &tables, const VXFileLock &lock) const
{
    const QMap<QByteArray, qint64> numbers = VXReservedNumbers(lock.file().number()).read();
    for (auto entry = numbers.cbegin(); entry != numbers.cend(); ++entry) {
        if (const VXEntityDescription *const entity = model().entityForName(QString::fromUtf8(entry.key())))
            tables.raiseHighestNumber(entity->rootEntity(), *entry);
    }
}

bool VXXMLStore::copyTo(const QString &path, VXError *error)
{
    if (QFileInfo::exists(path)) {
        VXSetError(error, VXStoreWriteError(path, u"There is something already."_s));
        return false;
    }
    const VXMutexLocker lock(_fileLock);
    // As it lies there: a save replaces it at once.
    const std::optional<Contents> contents = isOpen(error) ? read(error) : std::nullopt;
    VXAtomicFile file(path);
    return contents && writeBeside(file, path, contents->metadata, contents->tables, model(), error) &&
           commitTo(file, path, error);
}
