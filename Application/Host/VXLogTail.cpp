#include "VXLogTail.h"

#include <QtCore/QFileInfo>

#include <sys/stat.h>
#include <utility>

VXLogTail::VXLogTail(const QString &path, LineHandler handler) : _path(path), _handler(std::move(handler)) {}

void VXLogTail::readAvailable()
{
    if (!_file && !open())
        return;
    readLines();
    // What the old file got until it was moved away has been read; its successor comes next.
    while (isReplaced() && open())
        readLines();
}

void VXLogTail::finish()
{
    if (!_pending.isEmpty())
        _handler(std::exchange(_pending, {}));
}

void VXLogTail::follow(std::function<void()> afterReading)
{
    _afterReading = std::move(afterReading);
    _watcher = std::make_unique<QFileSystemWatcher>();
    QObject::connect(_watcher.get(), &QFileSystemWatcher::fileChanged, [this] { changed(); });
    QObject::connect(_watcher.get(), &QFileSystemWatcher::directoryChanged, [this] { changed(); });
    _watcher->addPath(QFileInfo(_path).path());
    changed(); // whatever came before the watch began
}

void VXLogTail::changed()
{
    // A file moved away takes its watch along; one that is being watched already is left alone.
    if (QFileInfo::exists(_path))
        _watcher->addPath(_path);
    readAvailable();
    _afterReading();
}

void VXLogTail::readLines()
{
    if (_file->size() < _file->pos()) { // emptied by somebody
        _file->seek(0);
        _pending.clear();
    }
    while (true) {
        const QByteArray piece = _file->readLine();
        if (piece.isEmpty())
            return;
        _pending += piece;
        if (!_pending.endsWith('\n'))
            continue;
        _pending.chop(1);
        _handler(std::exchange(_pending, {}));
    }
}

bool VXLogTail::isReplaced() const
{
    struct stat opened = {};
    struct stat named = {};
    return ::fstat(_file->handle(), &opened) == 0 && ::stat(QFile::encodeName(_path).constData(), &named) == 0 &&
           (opened.st_ino != named.st_ino || opened.st_dev != named.st_dev);
}

bool VXLogTail::open()
{
    auto file = std::make_unique<QFile>(_path);
    if (!file->open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return false;
    finish();
    _file = std::move(file);
    return true;
}
