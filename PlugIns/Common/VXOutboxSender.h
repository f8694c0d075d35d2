#pragma once

#include "VXOutboxRunner.h"
#include "VXPlugin.h"

#include <chrono>
#include <memory>

/**
 * Has a plugin send the outbox's entries of one kind, by VXOutboxRunner, for as long as the plugin is loaded. Main
 * thread only.
 */
class VXOutboxSender
{
public:
    /** The plugin must outlive it. */
    explicit VXOutboxSender(VXPlugin &plugin) : _plugin(plugin) {}
    VXOutboxSender(const VXOutboxSender &) = delete;
    VXOutboxSender &operator=(const VXOutboxSender &) = delete;

    void start(const QString &kind, const VXOutbox &outbox, const VXOutboxRunner::Deliver &deliver);
    /** nullptr before the start. */
    VXOutboxRunner *runner() const { return _runner.get(); }

    /** The plugin's answer to the question whether it can be unloaded: later, while something is being sent. */
    int shouldUnload();
    /** Finishes what is being sent, or gives up if that takes half a minute; what waits is left to the next program. */
    void stop();

private:
    void waitWhileBusy(std::chrono::milliseconds longest);

    VXPlugin &_plugin;
    std::unique_ptr<VXOutboxRunner> _runner;
    QTimer _farewell; // runs from the question on
};
