#include "VXStorePath.h"

#include "VXObjectStoreError.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <cerrno>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

QString realPath(const QFileInfo &file)
{
    if (const QString real = file.canonicalFilePath(); !real.isEmpty())
        return real;
    if (file.isSymLink()) // to a file that does not exist yet
        return file.symLinkTarget();
    const QString folder = QFileInfo(file.absolutePath()).canonicalFilePath();
    return folder.isEmpty() ? file.absoluteFilePath() : QFileInfo(folder + u'/' + file.fileName()).filePath();
}

} // namespace

std::optional<QString> VXRealStorePath(const QString &path, VXError *error)
{
    const auto refuse = [&](VXObjectStoreErrorCode code, const QString &reason) {
        VXSetError(error, VXObjectStoreError(code, u"The store cannot be opened."_s, reason, path));
        return std::nullopt;
    };
    const QString real = realPath(QFileInfo(path));
    const QString folder = QFileInfo(real).path();
    struct stat status = {};
    const bool isThere = ::stat(QFile::encodeName(real).constData(), &status) == 0;
    if (!isThere && ::stat(QFile::encodeName(folder).constData(), &status) != 0 && errno == ENOENT)
        return refuse(VXObjectStoreErrorCode::FileRead, u"The folder %1 does not exist."_s.arg(folder));
    const bool isPlain = S_ISREG(status.st_mode);
    if (!isThere || S_ISDIR(status.st_mode) || (isPlain && status.st_nlink <= 1))
        return real;
    return refuse(VXObjectStoreErrorCode::InvalidStore,
                  isPlain
                      ? u"Its file has %1 names (hard links); it may have one only."_s.arg(qulonglong(status.st_nlink))
                      : u"It is no plain file."_s);
}
