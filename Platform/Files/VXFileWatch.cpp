#include "VXFileWatch.h"

#include <QtCore/QFileInfo>

#include <utility>

VXFileWatch::VXFileWatch(const QStringList &paths, std::function<void()> mayHaveChanged, QObject *parent)
    : QObject(parent), _paths(paths), _mayHaveChanged(std::move(mayHaveChanged))
{
    connect(&_watcher, &QFileSystemWatcher::directoryChanged, this, &VXFileWatch::look);
    connect(&_watcher, &QFileSystemWatcher::fileChanged, this, &VXFileWatch::look);
    look();
}

// Watches before reading, so that no change is missed.
void VXFileWatch::look()
{
    watch();
    _mayHaveChanged();
}

// Watches the folder for replaced files, and the files for changes of their contents. A folder that does not exist yet
// is awaited in the nearest existing one.
void VXFileWatch::watch()
{
    QString folder = QFileInfo(_paths.constFirst()).path();
    while (!QFileInfo(folder).isDir() && folder != QFileInfo(folder).path())
        folder = QFileInfo(folder).path();
    QStringList outdated = _watcher.files() + _watcher.directories(); // the file at a path may be a different one now
    if (outdated.removeAll(folder) == 0)
        _watcher.addPath(folder);
    if (!outdated.isEmpty())
        _watcher.removePaths(outdated);
    for (const QString &path : _paths) {
        if (QFileInfo(path).isFile())
            _watcher.addPath(path);
    }
}
