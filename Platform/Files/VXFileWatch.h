#pragma once

#include "VXPlatformExport.h"

#include <QtCore/QFileSystemWatcher>
#include <QtCore/QObject>
#include <QtCore/QStringList>

#include <functional>

/**
 * Calls a function when one of some files in a folder may have been made, changed, replaced or removed; the folder need
 * not exist yet. Reports too often rather than too rarely, and once at the start. For a thread with an event loop.
 */
class VX_PLATFORM_EXPORT VXFileWatch : public QObject
{
public:
    VXFileWatch(const QStringList &paths, std::function<void()> mayHaveChanged, QObject *parent);

private:
    void watch();
    void look();

    const QStringList _paths;
    const std::function<void()> _mayHaveChanged;
    QFileSystemWatcher _watcher;
};
