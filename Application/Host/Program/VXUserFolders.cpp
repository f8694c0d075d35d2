#include "VXUserFolders.h"

#include "VXFolders.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <cerrno>
#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// The folder itself, or the nearest existing one above it.
QString existingPart(const QString &path)
{
    QString part = path;
    while (!QFileInfo::exists(part) && part != "/"_L1)
        part = QFileInfo(part).path();
    return part;
}

QString problemOfFolder(const QString &path)
{
    const QString part = existingPart(path);
    const QByteArray name = QFile::encodeName(part);
    if (!QFileInfo(part).isDir())
        return u"%1: %2"_s.arg(qt_error_string(ENOTDIR), part);
    if (::faccessat(AT_FDCWD, name.constData(), W_OK | X_OK, AT_EACCESS) != 0)
        return u"%1: %2"_s.arg(qt_error_string(errno), part);
    struct statvfs room = {};
    if (::statvfs(name.constData(), &room) == 0 && room.f_blocks > 0 && room.f_bavail == 0)
        return u"%1: %2"_s.arg(qt_error_string(ENOSPC), part);
    return {};
}

} // namespace

QString VXProblemOfUserFolders()
{
    for (const VXFolderType type : {VXFolderType::ApplicationSupport, VXFolderType::Preferences, VXFolderType::Logs}) {
        const QString folder = VXFindFolder(type, VXFolderDomain::User);
        if (folder.isNull())
            return qEnvironmentVariableIsEmpty("HOME") ? u"HOME is not set; use --home DIR"_s
                                                       : u"HOME is no absolute path; use --home DIR"_s;
        const QString own = folder + (type == VXFolderType::Logs ? "/Vornix"_L1 : "/Vornix 2"_L1);
        const QString problem = problemOfFolder(own);
        if (problem.isNull())
            continue;
        const bool isFull =
            problem.startsWith(qt_error_string(ENOSPC)); // then even reading cannot make do with what there is
        const QString stores =
            VXFindFolder(VXFolderType::ApplicationSupport, VXFolderDomain::User) + "/Vornix 2/Data"_L1;
        return problem +
               (isFull ? u"; free some. Until then \"vornix store list FOLDER ENTITY\" reads a copy elsewhere of "
                         "a store in %1"_s
                       : u"; --home DIR keeps everything elsewhere, \"vornix store list FOLDER ENTITY\" reads a "
                         "store in %1 as it is"_s)
                   .arg(stores);
    }
    return {};
}
