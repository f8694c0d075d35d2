#include "VXScratchFolder.h"

#include "VXItemCopy.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

void removeTree(const QString &path)
{
    VXRemoveCopy(QFile::encodeName(path).toStdString());
}

} // namespace

VXFileDescriptor VXScratchFolder::lock(const QString &path, bool *isHeldElsewhere)
{
    const QByteArray name = QFile::encodeName(path);
    VXFileDescriptor folder(::open(name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat locked = {};
    struct stat there = {};
    const bool isLocked = folder.isOpen() && ::flock(folder.number(), LOCK_EX | LOCK_NB) == 0;
    if (isHeldElsewhere != nullptr)
        *isHeldElsewhere = folder.isOpen() && !isLocked && errno == EWOULDBLOCK;
    const bool isOurs = isLocked && ::fstat(folder.number(), &locked) == 0 && locked.st_uid == ::geteuid() &&
                        ::lstat(name.constData(), &there) == 0 && there.st_dev == locked.st_dev &&
                        there.st_ino == locked.st_ino;
    if (!isOurs)
        folder.close();
    return folder;
}

VXScratchFolder::VXScratchFolder(const QString &folder, const QString &prefix)
{
    while (_path.isNull()) {
        QByteArray path = QFile::encodeName(u"%1/%2XXXXXX"_s.arg(folder, prefix));
        if (::mkdtemp(path.data()) == nullptr) {
            _reason = qt_error_string(errno);
            return;
        }
        // Before it was locked, another process may have taken the folder for an abandoned one: then it has been
        // removed, or is about to be removed by the holder of its lock.
        bool isBeingRemoved = false;
        _lock = lock(QFile::decodeName(path), &isBeingRemoved);
        if (_lock.isOpen() || (!isBeingRemoved && QFile::exists(QFile::decodeName(path))))
            _path = QFile::decodeName(path);
    }
}

VXScratchFolder::~VXScratchFolder()
{
    if (!_path.isNull() && !_isKept)
        removeTree(_path);
}

void VXScratchFolder::visitAbandoned(const QString &folder, const QString &prefix,
                                     const std::function<void(const QString &path)> &visit)
{
    const QStringList names =
        QDir(folder).entryList({prefix + u'*'}, QDir::Dirs | QDir::Hidden | QDir::NoSymLinks | QDir::NoDotAndDotDot);
    for (const QString &name : names) {
        const QString path = folder + u'/' + name;
        if (const VXFileDescriptor held = lock(path); held.isOpen())
            visit(path);
    }
}

void VXScratchFolder::removeAbandoned(const QString &folder, const QString &prefix)
{
    visitAbandoned(folder, prefix, removeTree);
}
