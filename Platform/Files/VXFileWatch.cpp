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

// Watched before it is read, so that no change falls in between.
void VXFileWatch::look()
{
    watch();
    _mayHaveChanged();
}

// The folder tells of a file that takes the place of another, the file of what is written into it. A folder that is not
// there yet will be made in the nearest one that is.
void VXFileWatch::watch()
{
    QString folder = QFileInfo(_paths.constFirst()).path();
    while (!QFileInfo(folder).isDir() && folder != QFileInfo(folder).path())
        folder = QFileInfo(folder).path();
    QStringList outdated = _watcher.files() + _watcher.directories(); // the file at a path may be another one by now
    if (outdated.removeAll(folder) == 0)
        _watcher.addPath(folder);
    if (!outdated.isEmpty())
        _watcher.removePaths(outdated);
    for (const QString &path : _paths) {
        if (QFileInfo(path).isFile())
            _watcher.addPath(path);
    }
}
