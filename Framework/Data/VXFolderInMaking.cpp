#include "VXFolderInMaking.h"

#include "VXErrorDomain.h"
#include "VXFileManager.h"
#include "VXFramework.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <cerrno>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

QString lockIn(const QString &folder)
{
    return folder + "/.new.lock"_L1;
}

} // namespace

void VXFolderInMaking::removeLeftovers(const QString &folder)
{
    const auto leftovers = [&] {
        return QDir(folder).entryList({u".new.*"_s}, QDir::Dirs | QDir::Hidden | QDir::NoSymLinks);
    };
    if (leftovers().isEmpty())
        return;
    const VXFileLock lock(lockIn(folder), std::chrono::milliseconds(0));
    if (!lock.isHeld()) // somebody is making one
        return;
    for (const QString &name : leftovers())
        QDir(folder + u'/' + name).removeRecursively();
}

void VXFolderInMaking::removeLock(const QString &folder)
{
    const VXFileLock lock(lockIn(folder), std::chrono::milliseconds(0));
    if (lock.isHeld())
        QFile::remove(lockIn(folder));
}

VXFolderInMaking::VXFolderInMaking(const QString &place) : _place(QDir::cleanPath(QFileInfo(place).absoluteFilePath()))
{
    const QFileInfo info(_place);
    _problem = VXFileManager::defaultManager().verifyPathExists(info.path());
    if (_problem)
        return;
    removeLeftovers(info.path());
    _lock =
        std::make_unique<VXFileLock>(lockIn(info.path()), std::chrono::milliseconds::max(), VXFileLock::Mode::Shared);
    _around = std::make_unique<QTemporaryDir>(info.path() + "/.new.XXXXXX"_L1);
    if (_lock->isHeld() && _around->isValid()) {
        _path = _around->filePath(info.fileName());
        return;
    }
    const QString reason = _lock->isHeld() ? _around->errorString() : _lock->reason();
    _problem = VXMakeFileError(VXLocalizedString(u"Could not create folder."_s), reason, _place);
}

VXFolderInMaking::~VXFolderInMaking() = default;

bool VXFolderInMaking::moveIntoPlace(bool *isTaken, VXError *error)
{
    // What lies in it is personal, whatever the modes of its files.
    QFile::setPermissions(_path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    // Takes the place of nothing but an empty folder.
    const bool isMoved = std::rename(QFile::encodeName(_path).constData(), QFile::encodeName(_place).constData()) == 0;
    const int problem = isMoved ? 0 : errno;
    *isTaken = problem == EEXIST || problem == ENOTEMPTY || problem == ENOTDIR;
    if (!isMoved)
        VXSetError(error,
                   VXMakeFileError(VXLocalizedString(u"Unable to move file"_s), qt_error_string(problem), _place));
    return isMoved;
}
