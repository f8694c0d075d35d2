#include "VXPreferenceFile.h"

#include "VXDiagnostics.h"
#include "VXFileLock.h"
#include "VXPropertyList.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

// Moves a damaged file out of the way without replacing anything; null when it cannot be moved.
QString setAside(const QString &path)
{
    for (int number = 0;; ++number) {
        const QString aside = path + ".damaged"_L1 + (number == 0 ? QString() : u'.' + QString::number(number));
        if (QFileInfo::exists(aside))
            continue;
        return QFile::rename(path, aside) ? aside : QString();
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

VXPreferenceFile::Stamp VXPreferenceFile::stampOf(const QString &path)
{
    struct stat status = {};
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        return {};
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
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
    _changes.insert(key, {value, ++_lastSequence});
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

QHash<QString, VXPreferenceFile::Change> VXPreferenceFile::pendingChanges() const
{
    const VXMutexLocker lock(_lock);
    QHash<QString, Change> changes = _changes;
    changes.detach(); // a shared hash would be let go of without the lock, which Qt's own test for sharing does not see
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
    QDir().mkpath(QFileInfo(_path).path());
    const VXFileLock fileLock(lockPath());
    if (!fileLock.isHeld()) {
        VXSetError(error, writeError(_path, fileLock.reason()));
        return false;
    }
    return reload(true, changedElsewhere, error) && writeChanges(error);
}

template <class Values>
void VXPreferenceFile::applyChanges(const QHash<QString, Change> &changes, Values &values)
{
    for (auto change = changes.cbegin(); change != changes.cend(); ++change) {
        if (change->value.isValid())
            values.insert(change.key(), change->value);
        else
            values.remove(change.key());
    }
}

// The file's dictionary; empty without a file. A damaged file is set aside when that is allowed.
QVariantMap VXPreferenceFile::readFile(bool mayBeSetAside, VXError *error) const
{
    if (!QFileInfo::exists(_path))
        return {};
    VXError reason;
    const QVariant value = VXPropertyList::fromFile(_path, &reason);
    if (value.metaType() == QMetaType::fromType<QVariantMap>())
        return value.toMap();
    if (!reason)
        reason = VXError::platformError(VXPlatformErrorCode::FileCorrupt, u"Not a dictionary."_s, {}, _path);
    const bool damaged = reason.code() == static_cast<int>(VXPlatformErrorCode::FileCorrupt);
    if (const QString aside = damaged && mayBeSetAside ? setAside(_path) : QString(); !aside.isNull()) {
        VXReportDiagnostic(3, u"Damaged preferences were set aside as \"%1\": %2"_s.arg(aside, reason.description()));
        return {};
    }
    *error = reason;
    return {};
}

bool VXPreferenceFile::reload(bool lockHeld, QStringList *changedElsewhere, VXError *error)
{
    if (stampOf(_path) == _stamp && !_readError)
        return true;
    VXError readError;
    QVariantMap stored = readFile(lockHeld, &readError);
    if (readError && !lockHeld) {
        // Only under the lock is it certain that nobody is just repairing it.
        const VXFileLock fileLock(lockPath());
        readError = {};
        stored = readFile(fileLock.isHeld(), &readError);
    }
    _readError = readError;
    _stamp = stampOf(_path);
    if (readError) {
        VXSetError(error, readError);
        return false;
    }
    _stored = std::move(stored);
    adoptStored(changedElsewhere);
    return true;
}

// Makes the values in memory anew from what the file holds, under what was changed here.
void VXPreferenceFile::adoptStored(QStringList *changedElsewhere)
{
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
    changedElsewhere->append(values.keys()); // what is left has no value any more
}

bool VXPreferenceFile::writeChanges(VXError *error)
{
    const QHash<QString, Change> changes = pendingChanges();
    QVariantMap values = _stored;
    applyChanges(changes, values);
    if (!VXPropertyList::toFile(values, _path, VXPropertyList::Format::XML, error))
        return false;
    _stored = std::move(values);
    _stamp = stampOf(_path);
    const VXMutexLocker lock(_lock);
    for (auto change = changes.cbegin(); change != changes.cend(); ++change) {
        const auto now = _changes.constFind(change.key());
        if (now != _changes.cend() && now->sequence == change->sequence)
            _changes.erase(now);
    }
    return true;
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
    // The lock's file stays: another process may be waiting on it.
    _stored.clear();
    _stamp = {};
    _readError = {};
    const VXMutexLocker lock(_lock);
    _values.clear();
    _changes.clear();
    return true;
}
