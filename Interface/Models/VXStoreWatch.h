#pragma once

#include "VXInterfaceExport.h"
#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QFileSystemWatcher>
#include <QtCore/QObject>
#include <QtCore/QTimer>

#include <chrono>

/**
 * Tells when what lies in the stores of a coordinator has changed: after saves of any thread of this process, and of other
 * processes, by their data files. Many changes are told as one. Main thread.
 */
class VX_INTERFACE_EXPORT VXStoreWatch : public QObject
{
    Q_OBJECT

public:
    /** How long changes are gathered before they are told. */
    static constexpr std::chrono::milliseconds gatheringTime{100};

    explicit VXStoreWatch(const VXPersistentStoreCoordinator::Ptr &coordinator, QObject *parent = nullptr);

Q_SIGNALS:
    void didChange();

private:
    void noteChange();
    void watchFiles();

    const VXPersistentStoreCoordinator::Ptr _coordinator;
    QStringList _paths; // of data files, and what they write ahead
    QFileSystemWatcher _files;
    QTimer _gathering;
};
