#include "VXLogTail.h"

#include "VXRegularFile.h"

#include <QtCore/QFileInfo>

#include <sys/stat.h>
#include <utility>

VXLogTail::VXLogTail(const QString &path, VXLineSplitter::LineHandler handler) : _path(path), _lines(std::move(handler))
{
}

void VXLogTail::readAvailable()
{
    if (!_file && !open())
        return;
    readLines();
    // Everything that was written to the old file before it was moved away has been read; now its successor follows.
    while (isReplaced() && open())
        readLines();
}

void VXLogTail::follow(std::function<void()> afterReading)
{
    _afterReading = std::move(afterReading);
    _watcher = std::make_unique<QFileSystemWatcher>();
    QObject::connect(_watcher.get(), &QFileSystemWatcher::fileChanged, [this] { changed(); });
    QObject::connect(_watcher.get(), &QFileSystemWatcher::directoryChanged, [this] { changed(); });
    _watcher->addPath(QFileInfo(_path).path());
    changed(); // for changes before the watch began
}

void VXLogTail::changed()
{
    // A watch stays with a file that is moved away; a file that is already being watched is left alone.
    if (QFileInfo::exists(_path))
        _watcher->addPath(_path);
    readAvailable();
    _afterReading();
}

void VXLogTail::readLines()
{
    if (_file->size() < _file->pos()) { // somebody has emptied it
        _file->seek(0);
        _lines.reset();
    }
    constexpr qint64 chunkSize = 65536;
    for (QByteArray chunk = _file->read(chunkSize); !chunk.isEmpty(); chunk = _file->read(chunkSize))
        _lines.feed(chunk);
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
    QString reason;
    if (!VXRegularFile::open(*file, &reason))
        return false;
    finish();
    _file = std::move(file);
    return true;
}
