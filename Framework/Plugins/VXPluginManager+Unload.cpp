#include "VXPluginManager.h"

#include "VXApplication.h"
#include "VXDiagnostics.h"
#include "VXMethodLog.h"
#include "VXPluginMarker.h"
#include "VXPluginSuspects.h"
#include "VXPluginUnloadRun.h"
#include "VXUserDefaults.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;
using State = VXPluginUnloadRun::State;

namespace {

VXApplication &application()
{
    return VXApplication::sharedApplication();
}

} // namespace

// -- Runs of unloading, each with its own purpose and state

VXPluginManager::UnloadRun VXPluginManager::beginRun(VXUnloadPurpose purpose, VXPluginProxy *subject)
{
    return _unloadRuns.emplace_back(std::make_shared<VXPluginUnloadRun>(purpose, subject));
}

VXPluginManager::UnloadRun VXPluginManager::runOfDisabling(const VXPluginProxy &proxy) const
{
    const auto found = std::ranges::find_if(_unloadRuns, [&](const UnloadRun &run) {
        return run->purpose() == VXUnloadPurpose::Disable && run->concerns(proxy.identifier());
    });
    return found == _unloadRuns.cend() ? nullptr : *found;
}

VXPluginManager::UnloadRun VXPluginManager::runOfQuitting() const
{
    const auto found = std::ranges::find(_unloadRuns, VXUnloadPurpose::Quit, &VXPluginUnloadRun::purpose);
    return found == _unloadRuns.cend() ? nullptr : *found;
}

QStringList VXPluginManager::pluginsAwaited() const
{
    QStringList identifiers;
    for (const UnloadRun &run : _unloadRuns)
        identifiers += run->awaited();
    identifiers.removeDuplicates();
    return identifiers;
}

// Asks the plugins; if all agree, unloads them; if one refuses, drops the run. Plugins that depend on these may have
// been loaded while one took its time.
void VXPluginManager::carryOn(const UnloadRun &run)
{
    const bool isCollected = run->purpose() != VXUnloadPurpose::Disable || run->collectSubject();
    if (!isCollected || run->ask() != VXUnloadLater)
        finishRun(run);
}

void VXPluginManager::finishRun(const UnloadRun &run)
{
    const bool isAgreed = run->state() == State::Agreed;
    _lastRefusal = run->refusal();
    if (run->purpose() == VXUnloadPurpose::Quit) {
        answerQuit(isAgreed);
        return;
    }
    if (isAgreed) {
        run->unload();
        QStringList identifiers{run->subject()->identifier()}; // also when that one could not be loaded
        for (const VXPluginProxy *const proxy : run->plugins())
            identifiers.append(proxy->identifier());
        setPluginsEnabled(identifiers, false);
    }
    std::erase(_unloadRuns, run);
    dropKindCache();
}

// -- Disabling

void VXPluginManager::disablePluginProxy(VXPluginProxy *proxy)
{
    if (proxy->rootProxy()->isBuiltInPlugin()) {
        VXLogMethod(VXLogWarning, "disablePluginProxy:",
                    "A built-in plugin cannot be disabled: "_L1 + VXDescription(proxy->identifier()));
        return;
    }
    if (const UnloadRun run = runOfDisabling(*proxy)) {
        if (run->state() == State::Waiting)
            carryOn(run);
        return; // in progress: the plugin disables itself while it is asked or unloaded
    }
    _lastRefusal = QString();
    carryOn(beginRun(VXUnloadPurpose::Disable, proxy));
    dropKindCache();
}

// -- The end of the application

void VXPluginManager::collectEveryPlugin(VXPluginUnloadRun &run) const
{
    for (VXPluginProxy *const proxy : allPlugins()) {
        if (proxy->parentProxy() == nullptr)
            run.collect(*proxy);
    }
}

int VXPluginManager::shouldShutdown()
{
    UnloadRun run = runOfQuitting();
    if (run && run->state() == State::Asking)
        return VXUnloadCancel; // a plugin that is being asked wants to quit: the caller that asks it goes on
    application().setAsTerminating(true);
    if (!run)
        run = beginRun(VXUnloadPurpose::Quit);
    collectEveryPlugin(*run);
    const int reply = run->ask();
    if (reply == VXUnloadCancel) {
        _lastRefusal = run->refusal();
        std::erase(_unloadRuns, run);
        application().setAsTerminating(false);
    }
    return reply;
}

// Gives the late answer to an application that waits for it.
void VXPluginManager::answerQuit(bool flag)
{
    if (flag)
        shutdown();
    else
        std::erase(_unloadRuns, runOfQuitting());
    application().replyToApplicationShouldTerminate(flag);
    if (!flag)
        application().setAsTerminating(false);
}

void VXPluginManager::replyToPluginShouldUnload(bool flag, const QString &identifier)
{
    const std::vector<UnloadRun> runs = _unloadRuns; // a copy: unloading may end runs, and begin new ones
    for (const UnloadRun &run : runs) {
        if (!run->concerns(identifier))
            continue;
        if (run->state() == State::Asking) {
            run->noteReply(identifier, flag);
        } else if (run->state() == State::Waiting && flag) {
            carryOn(run);
        } else if (run->state() == State::Waiting) {
            run->refuse(identifier);
            finishRun(run);
        }
    }
}

void VXPluginManager::shutdown()
{
    if (std::exchange(_isShutDown, true))
        return; // done before by a late consent
    application().setAsTerminating(true);
    finalizeOpenWindowsForQuit();
    // Saved now, because a plugin may end the program when it is unloaded. The program saves again at its end, and
    // reports failures.
    static_cast<void>(VXUserDefaults::standardUserDefaults().synchronize());
    UnloadRun run = runOfQuitting();
    if (!run)
        run = beginRun(VXUnloadPurpose::Quit);
    const VXPluginMarker::Scope mark; // keeps one file open for all that are unloaded
    collectEveryPlugin(*run);         // includes plugins loaded since consent was asked for
    run->unload();
    _unloadRuns.clear();
    VXPluginSuspects::forget(VXPluginMarker::shared().workers());
}
