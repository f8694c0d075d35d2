#pragma once

#include <QtCore/QFileSystemWatcher>
#include <QtCore/QObject>
#include <QtCore/QString>

#include <functional>

/**
 * Tells when a file may have been made, changed, replaced or removed, also in a folder that is not there yet. It tells
 * too often rather than too rarely. Private to VXUserDefaults. For a thread with an event loop.
 */
class VXPreferenceWatch : public QObject
{
public:
    VXPreferenceWatch(const QString &path, std::function<void()> mayHaveChanged, QObject *parent);

private:
    void watch();
    void look();

    const QString _path;
    const std::function<void()> _mayHaveChanged;
    QFileSystemWatcher _watcher;
};
