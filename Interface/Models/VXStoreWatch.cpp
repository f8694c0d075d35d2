#include "VXStoreWatch.h"

#include "VXManagedObjectContext.h"
#include "VXNotificationCenter.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QPointer>

using namespace Qt::StringLiterals;

VXStoreWatch::VXStoreWatch(const VXPersistentStoreCoordinator::Ptr &coordinator, QObject *parent)
    : QObject(parent), _coordinator(coordinator)
{
    _gathering.setSingleShot(true);
    _gathering.setInterval(gatheringTime);
    connect(&_gathering, &QTimer::timeout, this, &VXStoreWatch::didChange);
    VXNotificationCenter::defaultCenter().addObserver(
        this, VXManagedObjectContextDidSaveNotification, [this](const VXNotification &notification) {
            const auto *const context = notification.object.value<VXManagedObjectContext *>();
            if (context != nullptr && context->persistentStoreCoordinator() == _coordinator)
                QMetaObject::invokeMethod(this, &VXStoreWatch::noteChange, Qt::QueuedConnection);
        });
    for (const VXPersistentStoreCoordinator::StorePtr &store : _coordinator->persistentStores()) {
        if (!store->path().isNull())
            _paths << store->path() << store->path() + "-wal"_L1;
    }
    connect(&_files, &QFileSystemWatcher::fileChanged, this, &VXStoreWatch::noteChange);
    connect(&_files, &QFileSystemWatcher::directoryChanged, this, &VXStoreWatch::noteChange);
    watchFiles();
}

void VXStoreWatch::noteChange()
{
    watchFiles();
    if (!_gathering.isActive())
        _gathering.start();
}

// Log files come and go, and a replaced file is no longer watched: so the folder is watched as well.
void VXStoreWatch::watchFiles()
{
    const QStringList watched = _files.files();
    for (const QString &path : std::as_const(_paths)) {
        if (!watched.contains(path) && QFile::exists(path))
            _files.addPath(path);
    }
    if (_files.directories().isEmpty() && !_paths.isEmpty())
        _files.addPath(QFileInfo(_paths.constFirst()).path());
}
