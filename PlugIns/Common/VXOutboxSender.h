#pragma once

#include "VXOutboxRunner.h"
#include "VXPlugin.h"

#include <chrono>
#include <memory>

/**
 * Has a plugin send entries of one kind from the outbox for as long as it is loaded: as VXOutboxRunner does. Main thread only.
 */
class VXOutboxSender
{
public:
    /** The plugin outlives it. */
    explicit VXOutboxSender(VXPlugin &plugin) : _plugin(plugin) {}
    VXOutboxSender(const VXOutboxSender &) = delete;
    VXOutboxSender &operator=(const VXOutboxSender &) = delete;

    void start(const QString &kind, const VXOutbox &outbox, const VXOutboxRunner::Deliver &deliver);
    /** nullptr before the start. */
    VXOutboxRunner *runner() const { return _runner.get(); }

    /** The plugin's answer when it is asked whether it can be unloaded: later, while something is being sent. */
    int shouldUnload();
    /** What is being sent is sent, or given up where that takes half a minute; what waits is left to the next program. */
    void stop();

private:
    void waitWhileBusy(std::chrono::milliseconds longest);

    VXPlugin &_plugin;
    std::unique_ptr<VXOutboxRunner> _runner;
    QTimer _farewell; // from the question on
};
