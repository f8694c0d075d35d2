#pragma once

#include "VXInterfaceExport.h"
#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QFileSystemWatcher>
#include <QtCore/QObject>
#include <QtCore/QTimer>

#include <chrono>

/**
 * Notifies when the contents of a coordinator's stores have changed: after saves by any thread of this process, and by
 * other processes, which it notices by the data files. Several changes are reported as one. Main thread.
 */
class VX_INTERFACE_EXPORT VXStoreWatch : public QObject
{
    Q_OBJECT

public:
    /** How long changes are collected before they are reported. */
    static constexpr std::chrono::milliseconds gatheringTime{100};

    explicit VXStoreWatch(const VXPersistentStoreCoordinator::Ptr &coordinator, QObject *parent = nullptr);

Q_SIGNALS:
    void didChange();

private:
    void noteChange();
    void watchFiles();

    const VXPersistentStoreCoordinator::Ptr _coordinator;
    QStringList _paths; // of data files and their logs
    QFileSystemWatcher _files;
    QTimer _gathering;
};
