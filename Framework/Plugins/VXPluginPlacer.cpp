#include "VXPluginPlacer.h"

#include "VXErrorDomain.h"
#include "VXFileManager.h"
#include "VXFramework.h"
#include "VXMethodLog.h"
#include "VXPluginPaths.h"
#include "VXPluginScanner.h"
#include "VXScratchFolder.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QString prefix = u".install-"_s; // of the names of hidden folders
const QString halfCopies = u".vornix-move."_s;

VXError failure(const QString &path, const QString &reason)
{
    return VXMakeFileError(VXLocalizedString(u"Unable to install plugin."_s), reason, path);
}

QByteArray nodeOf(const QString &path)
{
    struct stat status = {};
    return ::lstat(QFile::encodeName(path).constData(), &status) == 0 ? QByteArray::number(status.st_ino)
                                                                      : QByteArray();
}

// A symbolic link in a hidden folder that tells which bundle is being moved from there, by its inode number, and where
// to.
QByteArray markIn(const QString &folder)
{
    return QFile::encodeName(folder + "/leaving"_L1);
}

// The place that the bundle in a hidden folder came from when it was exchanged with the new one; null if it was not.
QString placeLeft(const QString &folder, const QString &bundle)
{
    std::array<char, PATH_MAX> text{};
    const QByteArray mark(text.data(),
                          std::max<ssize_t>(::readlink(markIn(folder).constData(), text.data(), text.size()), 0));
    const qsizetype slash = mark.indexOf('/');
    return slash < 0 || mark.first(slash) == nodeOf(bundle) ? QString() : QFile::decodeName(mark.sliced(slash));
}

// Returns 0 or an errno.
int exchange(const QString &a, const QString &b)
{
    const bool isDone = ::renameat2(AT_FDCWD, QFile::encodeName(a).constData(), AT_FDCWD,
                                    QFile::encodeName(b).constData(), RENAME_EXCHANGE) == 0;
    return isDone ? 0 : errno;
}

bool isUnknown(int problem)
{
    return problem == EINVAL || problem == ENOSYS || problem == ENOTSUP || problem == EXDEV;
}

// For file systems that cannot exchange: the bundle at the target is moved away first.
VXError moveAfterTrashing(const QString &bundle, const QString &target)
{
    VXFileManager &files = VXFileManager::defaultManager();
    if (VXError error = files.safelyTrashFileAtPath(target))
        return error;
    const VXError error = files.moveItemAtPath(bundle, target);
    if (error)
        VXLogClassMethod(VXLogError, VXPluginPlacer, "place", u"An older copy lies in the trash: %1"_s.arg(target));
    return error;
}

VXError exchangeAndTrash(const QString &bundle, const QString &target)
{
    if (const int problem = exchange(bundle, target))
        return isUnknown(problem) ? moveAfterTrashing(bundle, target) : failure(target, qt_error_string(problem));
    const VXError error = VXFileManager::defaultManager().safelyTrashFileAtPath(bundle, nullptr, target);
    if (error)
        static_cast<void>(exchange(bundle, target)); // restore
    return error;
}

} // namespace

VXError VXPluginPlacer::bringToStaging(const QString &bundle) const
{
    const QString staged = _stagingFolder + u'/' + QFileInfo(bundle).fileName();
    if (!VXExistsAtPath(staged))
        return VXFileManager::defaultManager().moveItemAtPath(bundle, staged);
    return replace(bundle, staged);
}

VXError VXPluginPlacer::place(const QString &bundle, const QString &target) const
{
    if (!VXExistsAtPath(target))
        return VXFileManager::defaultManager().moveItemAtPath(bundle, target);
    return replace(bundle, target);
}

// Moves the bundle into the hidden folder first, where a full disk shows.
VXError VXPluginPlacer::replace(const QString &bundle, const QString &target) const
{
    VXFileManager &files = VXFileManager::defaultManager();
    VXScratchFolder folder(_stagingFolder, prefix);
    if (folder.path().isNull())
        return failure(target, folder.reason());
    const QString hidden = folder.path() + u'/' + QFileInfo(target).fileName();
    if (VXError error = files.moveItemAtPath(bundle, hidden))
        return error;
    const QByteArray mark = nodeOf(hidden) + QFile::encodeName(target);
    const bool isMarked = ::symlink(mark.constData(), markIn(folder.path()).constData()) == 0;
    VXError error = isMarked ? exchangeAndTrash(hidden, target) : failure(target, qt_error_string(errno));
    if (!error)
        return {};
    if (!placeLeft(folder.path(), hidden).isNull()) { // the older copy can be moved neither to the trash nor back
        VXLogMethod(VXLogError, "place", u"The older copy lies in \"%1\" until the next start."_s.arg(hidden));
        folder.keep();
        return {};
    }
    if (const VXError stuck = files.moveItemAtPath(hidden, bundle)) {
        VXLogMethod(VXLogError, "place", u"The plugin lies in \"%1\" now: %2"_s.arg(hidden, stuck.description()));
        folder.keep();
    }
    return error;
}

void VXPluginPlacer::finishInterrupted() const
{
    VXScratchFolder::removeAbandoned(_stagingFolder, halfCopies);
    VXScratchFolder::visitAbandoned(_stagingFolder, prefix, [this](const QString &folder) {
        for (const QString &bundle : VXPluginScanner::pluginPathsInFolder(folder))
            finish(bundle, folder);
        VXScratchFolder::removeAbandoned(folder, halfCopies);
        if (VXPluginScanner::pluginPathsInFolder(folder).isEmpty())
            ::unlink(markIn(folder).constData());
        ::rmdir(QFile::encodeName(folder).constData()); // fails if the folder is not empty
    });
}

// If two bundles of the same name were interrupted, the older one goes to the trash.
void VXPluginPlacer::finish(const QString &bundle, const QString &folder) const
{
    const QFileInfo waiting(_stagingFolder + u'/' + QFileInfo(bundle).fileName());
    const bool isOlder = waiting.exists() && waiting.metadataChangeTime() > QFileInfo(folder).lastModified();
    const QString origin = placeLeft(folder, bundle);
    const VXError error = isOlder || !origin.isNull()
                              ? VXFileManager::defaultManager().safelyTrashFileAtPath(bundle, nullptr, origin)
                              : place(bundle, waiting.filePath());
    if (error)
        VXLogMethod(VXLogError, "finishInterrupted", error.description());
}
