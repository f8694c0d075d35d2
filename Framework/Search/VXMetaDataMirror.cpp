#include "VXMetaDataMirror.h"

#include "VXFileManager.h"
#include "VXMetaDataSource.h"
#include "VXMethodLog.h"
#include "VXNone.h"

#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QScopeGuard>

#include <algorithm>
#include <limits>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

// Property lists cannot hold null characters and unpaired surrogates.
bool isWritable(const QString &text)
{
    return text.isValidUtf16() && !text.contains(QChar(0));
}

bool isWritable(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QString:
        return isWritable(*static_cast<const QString *>(value.constData()));
    case QMetaType::QStringList:
        return std::ranges::all_of(*static_cast<const QStringList *>(value.constData()),
                                   [](const QString &text) { return isWritable(text); });
    default:
        return value.typeId() != QMetaType::QVariantList;
    }
}

// Replaces what cannot be written by replacement characters.
QVariant writable(const QVariant &value)
{
    if (isWritable(value))
        return value;
    if (value.typeId() == QMetaType::QString)
        return QString::fromUtf8(value.toString().toUtf8()).replace(QChar(0), QChar::ReplacementCharacter);
    QVariantList list = value.toList();
    std::ranges::transform(list, list.begin(), writable);
    return list;
}

// The host and path of the object's URI.
QString identifierOf(const VXManagedObjectID &objectID)
{
    if (!objectID.isTemporary())
        return objectID.store()->identifier() + u'/' + objectID.entity().name() + "/p"_L1 +
               QString::number(objectID.number());
    const QUrl uri = objectID.uriRepresentation();
    return uri.host() + uri.path();
}

} // namespace

VXMetaDataMirror::VXMetaDataMirror(const QString &identifier, const QString &modificationDateKey)
    : _identifier(identifier), _modificationDateKey(modificationDateKey), _folder(identifier)
{
}

VXMetaDataMirror::Use::Use(VXMetaDataMirror &mirror) : _mirror(mirror)
{
    static_cast<void>(_mirror._folder.open()); // failures show up, and are logged, when a file is written
    _mirror._isFolderGone = false;
    _mirror._isWhole = true;
    _mirror._indexer.open();
}

VXMetaDataMirror::Use::~Use()
{
    _mirror._indexer.close();
}

VXMetaDataCounts VXMetaDataMirror::counts() const
{
    return {.added = _added, .updated = _updated, .unchanged = _unchanged, .orphaned = _orphaned, .errors = _errors};
}

void VXMetaDataMirror::resetCounts()
{
    _added = _updated = _unchanged = _errors = 0;
    _orphaned = std::exchange(_removedAhead, 0);
}

bool VXMetaDataMirror::synchronizeFile(const QString &name, const VXManagedObject &object)
{
    bool isFree = false;
    const std::optional<qint64> fileTime = _folder.modificationTime(name, &isFree);
    if (fileTime && isCurrent(object, *fileTime) && !_owed.contains(object.objectID().number()) &&
        isOfPresentGeneration(name)) {
        const auto ahead = _ahead.constFind(object.objectID().number());
        ++(ahead == _ahead.cend() ? _unchanged : *ahead == Ahead::Added ? _added : _updated);
        if (ahead != _ahead.cend())
            _ahead.erase(ahead);
        return true;
    }
    if (fileTime && isOnlyOutdated(name, object, *fileTime)) {
        ++_unchanged;
        return true;
    }
    ++(fileTime ? _updated : _added);
    const bool isWritten = writeFile(name, object, isFree);
    if (!isWritten)
        ++_errors;
    return isWritten;
}

// Its class says the same as before, perhaps as it is no class of this program.
bool VXMetaDataMirror::isOnlyOutdated(const QString &name, const VXManagedObject &object, qint64 fileTime) const
{
    if (!_checksGenerations || !isCurrent(object, fileTime) || _owed.contains(object.objectID().number()))
        return false;
    const std::optional<QVariantMap> values = valuesOf(object);
    return values && !_folder.compare(name, *values);
}

bool VXMetaDataMirror::isCurrent(qint64 number, const char *name, std::optional<qint64> date) const
{
    const std::optional<qint64> fileTime = _folder.modificationTime(name);
    return fileTime && isAsLate(*fileTime, date) && !_owed.contains(number) && !_ahead.contains(number) &&
           (!_checksGenerations || isOfPresentGeneration(QFile::decodeName(name)));
}

bool VXMetaDataMirror::isOfPresentGeneration(const QString &name) const
{
    const auto values = _checksGenerations ? _folder.read(name) : std::nullopt;
    return !_checksGenerations || (values && values->value(VXMetaDataGenerationKey) == VXMetaDataGeneration);
}

bool VXMetaDataMirror::isCurrent(const VXManagedObject &object, qint64 fileTime) const
{
    return !object.hasChanges() && isAsLate(fileTime, modificationTime(object));
}

bool VXMetaDataMirror::isAsLate(qint64 fileTime, std::optional<qint64> date) const
{
    // the latest time that every file system can store
    constexpr qint64 farOff = qint64(std::numeric_limits<qint32>::max()) * 1000;
    if (!date || fileTime >= *date)
        return true;
    if (*date <= farOff || fileTime < farOff)
        return false;
    if (!_latestTime)
        _latestTime = _folder.latestTime();
    return fileTime >= *_latestTime;
}

std::optional<qint64> VXMetaDataMirror::modificationTime(const VXManagedObject &object) const
{
    const QDateTime date = object.valueForKey(_modificationDateKey).toDateTime();
    return date.isValid() ? std::optional(date.toMSecsSinceEpoch()) : std::nullopt;
}

std::optional<QVariantMap> VXMetaDataMirror::valuesOf(const VXManagedObject &object) const
{
    std::optional<QVariantMap> values = metaDataPlist(object);
    if (!values)
        return std::nullopt;
    for (auto value = values->begin(); value != values->end();) {
        if (VXIsNone(*value)) {
            value = values->erase(value);
        } else {
            if (!isWritable(*value))
                *value = writable(*value);
            ++value;
        }
    }
    values->insert(u"kMDItemIdentifier"_s, identifierOf(object.objectID())); // overrides what the class says
    values->insert(u"kMDItemCreator"_s, _identifier);
    return values;
}

bool VXMetaDataMirror::writeFile(const QString &name, const VXManagedObject &object, bool isFree)
{
    constexpr auto operation = "writeObjectMetaData:toFile:";
    _indexer.willChange();
    // Remove the old file in any case: its values are not the object's any more.
    if (!isFree && !removeFile(name, operation))
        return false;
    auto isGone = qScopeGuard([&] { _indexer.didRemove(name); }); // also when the object's class throws
    const std::optional<QVariantMap> values = valuesOf(object);
    if (!values) {
        VXLogMethod(VXLogWarning, operation,
                    "Unable to create meta data for object: "_L1 + object.objectID().uriRepresentation().toString());
        return false;
    }
    // Give the file the object's date, not the present time: a save after the object was read has a later date, so the
    // file is then seen to be older.
    VXError error;
    if (_folder.write(name, *values, modificationTime(object), &error)) {
        _indexer.didWrite(name, *values);
        isGone.dismiss();
    } else {
        _isWhole = false;
        _isFolderGone = _isFolderGone || _folder.isGone();
        VXLogMethod(VXLogError, operation, "Unable to write metadata file: "_L1 + _folder.pathOf(name));
        VXLogMethod(VXLogError, operation, error.description());
    }
    return true;
}

// Leaves it to the caller to tell the index. A folder of that name belongs to somebody, and goes to the trash.
bool VXMetaDataMirror::removeFile(const QString &name, const char *operation)
{
    _indexer.willChange();
    const bool isGone =
        _folder.remove(name) || (QFileInfo(_folder.pathOf(name)).isDir() &&
                                 !VXFileManager::defaultManager().safelyTrashFileAtPath(_folder.pathOf(name)));
    _isWhole = _isWhole && isGone;
    if (!isGone)
        VXLogMethod(VXLogWarning, operation, "Unable to delete file: "_L1 + _folder.pathOf(name));
    return isGone;
}

// Moves what the user has put there to the trash rather than lose it.
void VXMetaDataMirror::removeOrphan(const QString &name)
{
    constexpr auto operation = "synchronizeMetaDataFiles";
    ++_orphaned;
    if (VXNumberInMetaDataFilename(name)) {
        if (removeFile(name, operation))
            _indexer.didRemove(name);
    } else if (VXFileManager::defaultManager().safelyTrashFileAtPath(_folder.pathOf(name))) {
        VXLogMethod(VXLogWarning, operation, "Unable to delete file: "_L1 + _folder.pathOf(name));
    }
}

void VXMetaDataMirror::writeAhead(const VXManagedObject &object)
{
    const QString name = metaDataFilename(object.objectID());
    if (!metaDataPlist(object))
        return removeAhead(object.objectID());
    const Ahead kind = _folder.modificationTime(name) ? Ahead::Updated : Ahead::Added;
    const qint64 number = object.objectID().number();
    if (writeFile(name, object) && !_ahead.contains(number))
        _ahead.insert(number, kind);
}

void VXMetaDataMirror::removeAhead(const VXManagedObjectID &objectID)
{
    const QString name = metaDataFilename(objectID);
    _ahead.remove(objectID.number());
    if (!_folder.modificationTime(name) || !removeFile(name, "mirrorSavedObjects"))
        return;
    _indexer.didRemove(name);
    ++_removedAhead;
}
