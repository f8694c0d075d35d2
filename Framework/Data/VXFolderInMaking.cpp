#include "VXFolderInMaking.h"

#include "VXAtomicFile.h"
#include "VXDiagnostics.h"
#include "VXErrorDomain.h"
#include "VXFileManager.h"
#include "VXFramework.h"
#include "VXScratchFolder.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <cerrno>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

// Contains the program's own name, since such folders are removed from folders of the user's choice, too.
const QString prefix = u".vornix-new."_s;

} // namespace

void VXFolderInMaking::removeLeftovers(const QString &folder)
{
    VXScratchFolder::removeAbandoned(folder, prefix);
}

VXFolderInMaking::VXFolderInMaking(const QString &place) : _place(QDir::cleanPath(QFileInfo(place).absoluteFilePath()))
{
    const QFileInfo info(_place);
    _problem = VXFileManager::defaultManager().verifyPathExists(info.path());
    if (_problem)
        return;
    removeLeftovers(info.path());
    _around = std::make_unique<VXScratchFolder>(info.path(), prefix);
    if (_around->path().isNull())
        _problem = VXMakeFileError(VXLocalizedString(u"Could not create folder."_s), _around->reason(), _place);
    else
        _path = _around->path() + u'/' + info.fileName();
}

VXFolderInMaking::~VXFolderInMaking() = default;

bool VXFolderInMaking::moveIntoPlace(bool *isTaken, VXError *error)
{
    // The contents are personal, whatever the modes of the files.
    QFile::setPermissions(_path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    // rename() replaces nothing but an empty folder.
    const bool isMoved = std::rename(QFile::encodeName(_path).constData(), QFile::encodeName(_place).constData()) == 0;
    const int problem = isMoved ? 0 : errno;
    *isTaken = problem == EEXIST || problem == ENOTEMPTY || problem == ENOTDIR;
    if (!isMoved) {
        VXSetError(error,
                   VXMakeFileError(VXLocalizedString(u"Unable to move file"_s), qt_error_string(problem), _place));
        return false;
    }
    if (!VXSynchronizeFolderOf(_place)) // a failure is only reported: the folder is in place all the same
        VXReportDiagnostic(
            4, u"The folder of \"%1\" could not be brought to the disk: %2"_s.arg(_place, qt_error_string(errno)));
    return true;
}

VXError VXFolderInMaking::errorAbout(const VXError &error, const QString &original) const
{
    if (!error || _path.isEmpty() || !error.filePath().startsWith(_path + u'/'))
        return error;
    QVariantMap info = error.userInfo();
    info.insert(VXFilePathErrorKey, original + error.filePath().sliced(_path.size()));
    return {error.domain(), error.code(), info};
}
