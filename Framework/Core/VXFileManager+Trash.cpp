#include "VXFileManager.h"

#include "VXFileDescriptor.h"
#include "VXMethodLog.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QUrl>

#include <array>
#include <cerrno>
#include <climits>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr auto infoExtension = ".trashinfo"_L1;

// Makes a folder readable for the user only, as the trash has to be. Returns 0 or an errno.
int makePrivateFolder(const QString &path)
{
    if (::mkdir(QFile::encodeName(path).constData(), 0700) == 0)
        return 0;
    const int error = errno;
    return QFileInfo(path).isDir() ? 0 : error;
}

QByteArray trashInfo(const QString &originalPath)
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    std::array<char, 32> date{};
    std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &local);
    return "[Trash Info]\nPath=" + QUrl::toPercentEncoding(originalPath, "/") + "\nDeletionDate=" + date.data() + '\n';
}

// Writes a file that does not exist yet; removes it after a failure. Returns 0 or an errno, EEXIST if it exists.
int writeNewFile(const QString &path, const QByteArray &contents)
{
    const QByteArray name = QFile::encodeName(path);
    VXFileDescriptor file(::open(name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!file.isOpen())
        return errno;
    int error = file.writeAll(contents) ? 0 : errno;
    if (!file.close() && error == 0)
        error = errno;
    if (error != 0)
        ::unlink(name.constData());
    return error;
}

// A trash folder: items, each with an info file that says where it came from.
class Trash
{
public:
    explicit Trash(const QString &files) : _folder(QFileInfo(files).path()), _files(files), _info(_folder + "/info"_L1)
    {
    }

    QString parentFolder() const { return QFileInfo(_folder).path(); }

    // Returns 0 or an errno.
    int makeFolders() const
    {
        for (const QString &folder : {_folder, _files, _info}) {
            if (const int error = makePrivateFolder(folder))
                return error;
        }
        return 0;
    }

    QString filePath(const QString &name) const { return _files + u'/' + name; }
    QString infoPath(const QString &name) const { return _info + u'/' + name + infoExtension; }

    // Reserves a name by creating its info file, which only one process can do. EEXIST when it is taken.
    int reserve(const QString &name, const QString &originalPath) const
    {
        return VXFileManager::itemExistsAtPath(filePath(name)) ? EEXIST
                                                               : writeNewFile(infoPath(name), trashInfo(originalPath));
    }

    void release(const QString &name) const { QFile::remove(infoPath(name)); }

private:
    QString _folder;
    QString _files;
    QString _info;
};

// The name with a number appended. A name that is too long for an info file is truncated; the file itself has the whole
// name.
QString nameInTrash(const QString &ownName, int number)
{
    const QByteArray suffix = number == 0 ? QByteArray() : '.' + QByteArray::number(number);
    const qsizetype longest = NAME_MAX - infoExtension.size() - suffix.size();
    QByteArray name = QFile::encodeName(ownName);
    if (name.size() > longest) {
        qsizetype end = longest;
        while (end > 0 && (static_cast<unsigned char>(name[end]) & 0xC0U) == 0x80U) // not within a character
            --end;
        name.truncate(end);
    }
    return QFile::decodeName(name + suffix);
}

// Reserves the item's own name or, if that is taken, the first free one with a number. Returns 0 or an errno.
int reserveFreeName(const Trash &trash, const QString &originalPath, QString *name)
{
    const QString ownName = QFileInfo(originalPath).fileName();
    int error = EEXIST;
    for (int number = 0; error == EEXIST; ++number) {
        *name = nameInTrash(ownName, number);
        error = trash.reserve(*name, originalPath);
    }
    return error;
}

// The item's path with links in the folders above resolved, as these may lead elsewhere when it is restored.
QString placeOf(const QString &item)
{
    const QFileInfo info(item);
    const QString folder = QFileInfo(info.path()).canonicalFilePath();
    return folder.isEmpty() ? QDir::cleanPath(info.absoluteFilePath()) : QDir(folder).filePath(info.fileName());
}

// Returns 0 when the path names an existing item by a proper name, otherwise an errno.
int checkItem(const QString &path)
{
    const QString name = QFileInfo(path).fileName();
    if (!path.isEmpty() && (name.isEmpty() || name == "."_L1 || name == ".."_L1))
        return EINVAL;
    return VXFileManager::itemExistsAtPath(path) ? 0 : ENOENT;
}

} // namespace

VXError VXFileManager::safelyTrashFileAtPath(const QString &path, QString *trashedPath, const QString &origin)
{
    const VXMutexLocker lock(_lock);
    const auto fail = [this, &path](const QString &reason) {
        VXLogMethod(VXLogError, "safelyTrashFileAtPath:", u"Unable to trash %1: %2"_s.arg(path, reason));
        return recordMoveError(reason, path);
    };
    const QString item = withoutTrailingSlashes(path);
    if (const int error = checkItem(item))
        return fail(qt_error_string(error));

    const Trash trash(pathToUserTrashFolder());
    if (const VXError error = verifyPathExists(trash.parentFolder()))
        return fail(error.localizedDescription());
    if (const int error = trash.makeFolders())
        return fail(qt_error_string(error));

    QString name;
    if (const int error =
            reserveFreeName(trash, placeOf(origin.isNull() ? item : withoutTrailingSlashes(origin)), &name))
        return fail(qt_error_string(error));
    VXError error = moveItemAtPath(item, trash.filePath(name)); // logs its failures
    if (error && !itemExistsAtPath(trash.filePath(name)))
        trash.release(name);
    if (!error && trashedPath != nullptr)
        *trashedPath = trash.filePath(name);
    return error;
}
