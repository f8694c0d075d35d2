#include "VXStagedFolder.h"

#include "VXFileManager.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <algorithm>
#include <filesystem>
#include <limits>

namespace {

namespace fs = std::filesystem;

fs::path systemPath(const QString &path)
{
    return QFile::encodeName(path).toStdString();
}

// A read-only folder is made writable meanwhile: moving it to another parent changes its ".." entry.
std::error_code renameItem(const fs::path &from, const fs::path &to)
{
    std::error_code error;
    const fs::file_status status = fs::symlink_status(from, error);
    if (status.type() != fs::file_type::directory) {
        fs::rename(from, to, error);
        return error;
    }
    fs::permissions(from, fs::perms::owner_all, fs::perm_options::add, error);
    fs::rename(from, to, error);
    std::error_code ignored;
    fs::permissions(error ? from : to, status.permissions(), ignored);
    return error;
}

// What is at the destination of an item: nothing, a folder to merge with, a file, or an obstacle.
enum class Place { Free, Folder, OlderFile, NewerFile, Blocked };

Place placeFor(const fs::directory_entry &item, const fs::path &to)
{
    std::error_code error;
    if (!fs::exists(fs::symlink_status(to, error)))
        return Place::Free;
    const bool isFolder = !item.is_symlink(error) && item.is_directory(error);
    if (isFolder || fs::is_directory(to, error))
        return isFolder && fs::is_directory(to, error) ? Place::Folder : Place::Blocked;
    return QFileInfo(QFile::decodeName(to.c_str())).lastModified() <
                   QFileInfo(QFile::decodeName(item.path().c_str())).lastModified()
               ? Place::OlderFile
               : Place::NewerFile;
}

// Moves the contents of one folder into another; without `moves` only checks whether that is possible.
std::error_code merge(const fs::path &from, const fs::path &to, bool moves)
{
    std::error_code error;
    fs::directory_iterator item(from, error);
    while (!error && item != fs::directory_iterator()) {
        const fs::directory_entry entry = *item;
        const fs::path target = to / entry.path().filename();
        item.increment(error); // before the entry is moved
        if (error)
            break;
        switch (placeFor(entry, target)) {
        case Place::Free:
        case Place::OlderFile:
            error = moves ? renameItem(entry.path(), target) : error;
            break;
        case Place::Folder:
            error = merge(entry.path(), target, moves);
            break;
        case Place::NewerFile:
            break;
        case Place::Blocked:
            error = std::make_error_code(std::errc::file_exists);
        }
    }
    return error;
}

// The destination, or the nearest existing folder above it.
QString nearestFolder(QString folder)
{
    while (!VXFileManager::itemExistsAtPath(folder) && QFileInfo(folder).path() != folder)
        folder = QFileInfo(folder).path();
    return folder;
}

} // namespace

VXStagedFolder::VXStagedFolder(const QString &destination) : _destination(destination)
{
    const QString folder = nearestFolder(destination);
    const QString prefix = QStringLiteral(".vornix-new.");
    VXScratchFolder::removeAbandoned(folder, prefix);
    _scratch = std::make_unique<VXScratchFolder>(folder, prefix);
}

qint64 VXStagedFolder::usedBytes() const
{
    std::error_code error;
    qint64 used = 0;
    for (fs::recursive_directory_iterator item(systemPath(path()), error); item != fs::recursive_directory_iterator();
         item.increment(error)) {
        if (item->symlink_status(error).type() == fs::file_type::regular)
            used += qint64(item->file_size(error));
    }
    return used;
}

qint64 VXStagedFolder::freeBytes() const
{
    std::error_code error;
    const fs::space_info space = fs::space(systemPath(path()), error);
    constexpr auto most = quint64(std::numeric_limits<qint64>::max());
    return error ? qint64(most) : qint64(std::min<quint64>(space.available, most));
}

QString VXStagedFolder::moveIntoPlace()
{
    if (const VXError error = VXFileManager::defaultManager().verifyPathExists(_destination))
        return error.localizedDescription();
    std::error_code error = merge(systemPath(path()), systemPath(_destination), false);
    if (!error)
        error = merge(systemPath(path()), systemPath(_destination), true);
    return error ? qt_error_string(error.value()) : QString();
}
