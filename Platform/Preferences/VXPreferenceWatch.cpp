#include "VXPreferenceWatch.h"

#include <QtCore/QFileInfo>

#include <utility>

VXPreferenceWatch::VXPreferenceWatch(const QString &path, std::function<void()> mayHaveChanged, QObject *parent)
    : QObject(parent), _path(path), _mayHaveChanged(std::move(mayHaveChanged))
{
    connect(&_watcher, &QFileSystemWatcher::directoryChanged, this, &VXPreferenceWatch::look);
    connect(&_watcher, &QFileSystemWatcher::fileChanged, this, &VXPreferenceWatch::look);
    look();
}

// Watched before it is read, so that no change falls in between.
void VXPreferenceWatch::look()
{
    watch();
    _mayHaveChanged();
}

// The folder tells of a file that takes the place of another, the file of what is written into it. A folder that is not
// there yet will be made in the nearest one that is.
void VXPreferenceWatch::watch()
{
    QString folder = QFileInfo(_path).path();
    while (!QFileInfo(folder).isDir() && folder != QFileInfo(folder).path())
        folder = QFileInfo(folder).path();
    QStringList outdated = _watcher.files() + _watcher.directories(); // the file at that path may be another one by now
    if (outdated.removeAll(folder) == 0)
        _watcher.addPath(folder);
    if (!outdated.isEmpty())
        _watcher.removePaths(outdated);
    if (QFileInfo(_path).isFile())
        _watcher.addPath(_path);
}
