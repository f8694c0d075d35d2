#pragma once

#include "VXDeviceFinding.h"
#include "VXPlugin.h"

#include <vector>

/**
 * Asks every loaded device plugin, all at the same time, which phones it can find. Each plugin is asked through an
 * instance made for that, which does not become a device. Main thread only.
 */
class VX_EXPORT VXDeviceSearch : public QObject
{
    Q_OBJECT

public:
    /** A plugin that could not search everywhere. */
    struct Problem
    {
        QString plugin; // identifier
        VXError error;
    };

    VXDeviceSearch();
    ~VXDeviceSearch() override;

    /** To be called once. Plugins may answer before it returns. */
    void start();
    /** Whether every plugin has answered. */
    bool isDone() const;
    /** Stops waiting; plugins that have not answered are listed as problems. */
    void stop();

    /**
     * What was found so far, ordered by the plugins' identifiers, and for each plugin in its own order. For phones that
     * need a port and whose plugin reported no problem, the problem says which program holds the port: one through
     * which another of them is reached, or any that has it open.
     */
    QList<VXFoundDevice> devices() const;
    QList<Problem> problems() const;

Q_SIGNALS:
    /** Every plugin has answered. Emitted once. */
    void didEnd();

private:
    struct Asked
    {
        QString plugin;
        VXDeviceFinding::Ptr finding;
        std::shared_ptr<VXPlugin> instance; // kept until it has answered
    };

    void ask(const QString &plugin);
    void didConclude();
    void letGo(Asked &asked);

    std::vector<Asked> _asked;
    bool _isStarted = false; // all plugins have been asked
    bool _hasEnded = false;
};
