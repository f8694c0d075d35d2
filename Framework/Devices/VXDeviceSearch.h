#pragma once

#include "VXDeviceFinding.h"
#include "VXPlugin.h"

#include <vector>

/**
 * Asks every loaded device plugin, all at the same time, which phones it knows of. Each plugin is asked through an instance that
 * stands for its class and is no device. Main thread only.
 */
class VX_EXPORT VXDeviceSearch : public QObject
{
    Q_OBJECT

public:
    /** A plugin that could not look everywhere. */
    struct Problem
    {
        QString plugin; // identifier
        VXError error;
    };

    VXDeviceSearch();
    ~VXDeviceSearch() override;

    /** Once. Plugins may answer before it returns. */
    void start();
    /** True when every plugin has answered. */
    bool isDone() const;
    /** Waits for no plugin any more; those that have not answered are among the problems. */
    void stop();

    /**
     * What was found so far, in the order of the plugins' identifiers and then as each plugin gave it. Of those that need a port
     * the problem, where their plugin told none, says which program holds it: one that another of them is reached through, or any
     * that has it open.
     */
    QList<VXFoundDevice> devices() const;
    QList<Problem> problems() const;

Q_SIGNALS:
    /** Every plugin has answered. Once. */
    void didEnd();

private:
    struct Asked
    {
        QString plugin;
        VXDeviceFinding::Ptr finding;
        std::shared_ptr<VXPlugin> instance; // until it has answered
    };

    void ask(const QString &plugin);
    void didConclude();
    void letGo(Asked &asked);

    std::vector<Asked> _asked;
    bool _isStarted = false; // all have been asked
    bool _hasEnded = false;
};
