#pragma once

#include "VXDeviceAction.h"

#include <QtCore/QByteArray>

#include <chrono>
#include <memory>

struct VXHostContext;
class VXProgressWindow;

/**
 * Runs one device action for a person who waits for it: with a progress bar on a terminal, or with lines of JSON, until
 * it concludes. Ctrl-C and the time limit ask it to abort; a second Ctrl-C does not wait for that. Main thread only.
 */
class VXDeviceActionRun
{
public:
    VXDeviceActionRun(VXHostContext &context, const VXDeviceAction::Ptr &action);
    ~VXDeviceActionRun();
    VXDeviceActionRun(const VXDeviceActionRun &) = delete;
    VXDeviceActionRun &operator=(const VXDeviceActionRun &) = delete;

    /** Zero: no limit. @return the exit status, after the answer or failure was written. */
    int run(const VXDevicePlugin::Ptr &device, std::chrono::milliseconds timeout);
    /** The same without a limit and without an answer. @return what went wrong; null if nothing did. */
    QString runQuietly(const VXDevicePlugin::Ptr &device);

private:
    void execute(const VXDevicePlugin::Ptr &device, std::chrono::milliseconds timeout);
    void waitForConclusion(std::chrono::milliseconds timeout);
    void userDidCancel();
    void showProgress();
    QString failure() const; // null if it succeeded
    int answer();

    VXHostContext &_context;
    const VXDeviceAction::Ptr _action;
    const bool _writesLines;
    const std::shared_ptr<bool> _hasConcluded; // the action may outlive its run
    std::unique_ptr<VXProgressWindow> _window;
    QByteArray _lastLine;
};
