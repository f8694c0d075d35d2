#include "VXPreferenceFile.h"

#include "VXDiagnostics.h"
#include "VXFileLock.h"
#include "VXFolders.h"
#include "VXPropertyList.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

using namespace Qt::StringLiterals;

namespace {

VXMutex filesLock;
QStringList filesAside VX_GUARDED_BY(filesLock);

// Renames a damaged file without replacing another; null when that fails.
QString setAside(const QString &path)
{
    for (int number = 0;; ++number) {
        const QString aside = path + ".damaged"_L1 + (number == 0 ? QString() : u'.' + QString::number(number));
        if (VXExistsAtPath(aside))
            continue;
        if (!QFile::rename(path, aside))
            return {};
        const VXMutexLocker lock(filesLock);
        filesAside.append(aside);
        return aside;
    }
}

VXError writeError(const QString &path, const QString &reason)
{
    return VXError::platformError(VXPlatformErrorCode::FileWrite, u"Unable to write preferences."_s, reason, path);
}

} // namespace

VXPreferenceFile::VXPreferenceFile(const QString &path) : _path(path)
{
    const VXMutexLocker lock(_ioLock);
    VXError error;
    if (!reload(false, nullptr, &error))
        VXReportDiagnostic(3, u"Unable to read preferences: %1"_s.arg(error.description()));
}

QStringList VXPreferenceFile::filesSetAside()
{
    const VXMutexLocker lock(filesLock);
    return filesAside;
}

QString VXPreferenceFile::lockPath() const
{
    return _path + ".lock"_L1;
}

QVariant VXPreferenceFile::value(const QString &key) const
{
    const VXMutexLocker lock(_lock);
    return _values.value(key);
}

QVariantMap VXPreferenceFile::values() const
{
    const VXMutexLocker lock(_lock);
    QVariantMap result;
    for (auto entry = _values.cbegin(); entry != _values.cend(); ++entry)
        result.insert(entry.key(), entry.value());
    return result;
}

void VXPreferenceFile::setValue(const QVariant &value, const QString &key)
{
    const VXMutexLocker lock(_lock);
    if (value.isValid())
        _values.insert(key, value);
    else
        _values.remove(key);
    _changes.insert(key, {{{}, value, ++_lastSequence}});
}

void VXPreferenceFile::updateValue(const QString &key, const Update &update)
{
    const VXMutexLocker lock(_lock);
    const QVariant value = update(_values.value(key));
    if (value.isValid())
        _values.insert(key, value);
    else
        _values.remove(key);
    _changes[key].append({update, {}, ++_lastSequence});
}

void VXPreferenceFile::setValues(const QVariantMap &values)
{
    const QVariantMap before = this->values();
    for (auto entry = before.cbegin(); entry != before.cend(); ++entry) {
        if (!values.contains(entry.key()))
            setValue({}, entry.key());
    }
    for (auto entry = values.cbegin(); entry != values.cend(); ++entry)
        setValue(entry.value(), entry.key());
}

VXPreferenceFile::Changes VXPreferenceFile::pendingChanges(quint64 *lastSequence) const
{
    const VXMutexLocker lock(_lock);
    *lastSequence = _lastSequence;
    Changes changes = _changes;
    // a shared hash would be released without the lock, which Qt's own check for sharing does not notice
    changes.detach();
    return changes;
}

bool VXPreferenceFile::hasPendingChanges() const
{
    const VXMutexLocker lock(_lock);
    return !_changes.isEmpty();
}

bool VXPreferenceFile::synchronize(QStringList *changedElsewhere, VXError *error)
{
    const VXMutexLocker lock(_ioLock);
    if (!hasPendingChanges())
        return reload(false, changedElsewhere, error);
    QString reason;
    if (!VXMakePrivateFolder(QFileInfo(_path).path(), &reason)) {
        VXSetError(error, writeError(_path, reason));
        return false;
    }
    const VXFileLock fileLock(lockPath());
    if (!fileLock.isHeld()) {
        VXSetError(error, writeError(_path, fileLock.reason()));
        return false;
    }
    return reload(true, changedElsewhere, error) && writeChanges(error);
}

template <class Values>
void VXPreferenceFile::applyChanges(const Changes &changes, Values &values)
{
    for (auto ofKey = changes.cbegin(); ofKey != changes.cend(); ++ofKey) {
        QVariant value = values.value(ofKey.key());
        for (const Change &change : *ofKey)
            value = change.update ? change.update(value) : change.value;
        if (value.isValid())
            values.insert(ofKey.key(), value);
        else
            values.remove(ofKey.key());
    }
}

// The file's dictionary; empty without a file. A damaged file is renamed if that is allowed.
QVariantMap VXPreferenceFile::readFile(bool mayBeSetAside, VXFileStamp *stamp, VXError *error) const
{
    *stamp = {};
    if (!QFileInfo::exists(_path))
        return {};
    VXError reason;
    const QVariant value = VXPropertyList::fromFile(_path, &reason, nullptr, stamp);
    if (value.metaType() == QMetaType::fromType<QVariantMap>())
        return value.toMap();
    if (!reason)
        reason = VXError::platformError(VXPlatformErrorCode::FileCorrupt, u"Not a dictionary."_s, {}, _path);
    const bool damaged = reason.code() == static_cast<int>(VXPlatformErrorCode::FileCorrupt);
    if (const QString aside = damaged && mayBeSetAside ? setAside(_path) : QString(); !aside.isNull()) {
        VXReportDiagnostic(3, u"Damaged preferences were set aside as \"%1\": %2"_s.arg(aside, reason.description()));
        *stamp = {};
        return {};
    }
    *error = reason;
    return {};
}

bool VXPreferenceFile::reload(bool lockHeld, QStringList *changedElsewhere, VXError *error)
{
    if (VXFileStamp::ofPath(_path) == _stamp && !_readError)
        return true;
    VXError readError;
    VXFileStamp stamp; // of what is read: another process may replace the file right after
    QVariantMap stored = readFile(lockHeld, &stamp, &readError);
    if (readError && !lockHeld) {
        // Only with the lock is it certain that nobody is just repairing it.
        const VXFileLock fileLock(lockPath());
        readError = {};
        stored = readFile(fileLock.isHeld(), &stamp, &readError);
    }
    if (readError) {
        _readError = readError;
        _stamp = stamp;
        VXSetError(error, readError);
        return false;
    }
    adopt(std::move(stored), stamp, changedElsewhere);
    return true;
}

void VXPreferenceFile::refresh(QStringList *changedElsewhere)
{
    const VXMutexLocker lock(_ioLock);
    if (VXFileStamp::ofPath(_path) == _stamp)
        return;
    VXError error;
    VXFileStamp stamp;
    QVariantMap stored = readFile(false, &stamp, &error);
    if (!error)
        adopt(std::move(stored), stamp, changedElsewhere);
}

// Sets the values in memory to those of the file with the pending changes applied.
void VXPreferenceFile::adopt(QVariantMap stored, const VXFileStamp &stamp, QStringList *changedElsewhere)
{
    _readError = {};
    _stamp = stamp;
    _stored = std::move(stored);
    const VXMutexLocker lock(_lock);
    QHash<QString, QVariant> values;
    values.reserve(_stored.size());
    for (auto entry = _stored.cbegin(); entry != _stored.cend(); ++entry)
        values.insert(entry.key(), entry.value());
    applyChanges(_changes, values);
    std::swap(values, _values);
    if (changedElsewhere == nullptr)
        return;
    for (auto entry = _values.cbegin(); entry != _values.cend(); ++entry) {
        if (values.take(entry.key()) != entry.value())
            changedElsewhere->append(entry.key());
    }
    changedElsewhere->append(values.keys()); // what remains has no value any more
}

namespace {

// Compares the bytes, since a QVariant considers the numbers 1 and 1.0, and true, equal.
bool isSameFile(const QVariantMap &values, const QVariantMap &stored)
{
    const auto contents = [](const QVariantMap &map) {
        return VXPropertyList::toData(map, VXPropertyList::Format::Binary, nullptr);
    };
    const QByteArray data = values == stored ? contents(values) : QByteArray();
    return !data.isEmpty() && data == contents(stored);
}

} // namespace

bool VXPreferenceFile::writeChanges(VXError *error)
{
    quint64 lastSequence = 0;
    const Changes changes = pendingChanges(&lastSequence);
    QVariantMap values = _stored;
    applyChanges(changes, values);
    if (isSameFile(values, _stored)) { // most programs set at their start what they set the last time
        forgetChanges(lastSequence);
        return true;
    }
    VXFileStamp stamp;
    if (!VXPropertyList::toFile(values, _path, VXPropertyList::Format::XML, error, VXFileAccess::Private, &stamp))
        return false;
    _stored = std::move(values);
    _stamp = stamp;
    forgetChanges(lastSequence);
    return true;
}

// Drops the changes that were written. Later ones remain; an update remains without those before it.
void VXPreferenceFile::forgetChanges(quint64 lastSequence)
{
    const VXMutexLocker lock(_lock);
    _changes.removeIf([lastSequence](Changes::iterator ofKey) {
        ofKey->removeIf([lastSequence](const Change &change) { return change.sequence <= lastSequence; });
        return ofKey->isEmpty();
    });
}

bool VXPreferenceFile::remove(VXError *error)
{
    const VXMutexLocker ioLock(_ioLock);
    if (QFileInfo::exists(_path)) {
        const VXFileLock fileLock(lockPath());
        QFile file(_path);
        if (!fileLock.isHeld() || !file.remove()) {
            VXSetError(error, writeError(_path, fileLock.isHeld() ? file.errorString() : fileLock.reason()));
            return false;
        }
    }
    // The lock file is kept: another process may be waiting for it.
    _stored.clear();
    _stamp = {};
    _readError = {};
    const VXMutexLocker lock(_lock);
    _values.clear();
    _changes.clear();
    return true;
}
