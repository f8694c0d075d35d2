#include "VXPluginManager.h"

#include "VXApplication.h"
#include "VXDiagnostics.h"
#include "VXFramework.h"
#include "VXMethodLog.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

bool userLetsDisable(const VXPluginProxy &dependantRoot, const VXPluginProxy &root)
{
    VXAlert alert;
    alert.message = VXLocalizedString(u"Disable dependent plugin?"_s);
    alert.informativeText = VXLocalizedString(u"%1 requires the plugin %2 and should be disabled first."_s)
                                .arg(dependantRoot.description(), root.description());
    alert.defaultButton = VXLocalizedString(u"OK"_s);
    alert.alternateButton = VXLocalizedString(u"Cancel"_s);
    VXUserInterface &user = VXApplication::sharedApplication().userInterface();
    return user.runAlert(alert).button == VXAlertButton::Default;
}

bool isTerminating()
{
    return VXApplication::sharedApplication().isTerminating();
}

} // namespace

void VXPluginManager::disablePluginProxy(VXPluginProxy *proxy)
{
    if (proxy->rootProxy()->isBuiltInPlugin()) {
        VXLogMethod(VXLogWarning, "disablePluginProxy:",
                    "A built-in plugin can not be disabled: "_L1 + VXDescription(proxy->identifier()));
        return;
    }
    if (!proxy->isLoaded()) // as when it could not be loaded: nothing depends on it, nobody is to be asked
        setPluginsEnabled({proxy->rootProxy()->identifier()}, false);
    if (!addPluginToUnloadStack(proxy))
        _pluginsToUnload.clear();
    else if (shouldUnloadPluginStack() == VXUnloadNow)
        unloadPluginStack();
    dropKindCache();
}

// -- The unload stack

bool VXPluginManager::addPluginToUnloadStack(VXPluginProxy *proxy)
{
    if (!proxy->isLoaded() || _pluginsToUnload.contains(proxy) || _pluginsBeingStacked.contains(proxy))
        return true;
    _pluginsBeingStacked.insert(proxy); // plugins may depend on each other, and children on their parents
    const QStringList dependencies = proxy->dependencies();
    QList<VXPluginProxy *> children = proxy->childProxies();
    // A child that the plugin depends on goes after it.
    const auto deferred = std::stable_partition(children.begin(), children.end(), [&](const VXPluginProxy *child) {
        return !dependencies.contains(child->identifier());
    });
    const auto add = [this](VXPluginProxy *child) { return addPluginToUnloadStack(child); };
    bool isAccepted = std::all_of(children.begin(), deferred, add) && addDependantsToUnloadStack(proxy);
    if (isAccepted) {
        _pluginsToUnload.append(proxy);
        isAccepted = std::all_of(deferred, children.end(), add);
    }
    _pluginsBeingStacked.remove(proxy);
    return isAccepted;
}

bool VXPluginManager::addDependantsToUnloadStack(VXPluginProxy *proxy)
{
    const QList<VXPluginProxy *> dependants = proxy->dependantPlugins(); // an alert lets other things happen
    return std::all_of(dependants.cbegin(), dependants.cend(), [&](VXPluginProxy *dependant) {
        if (!dependant->isLoaded())
            return true;
        VXPluginProxy *const root = dependant->rootProxy();
        const bool isAgreed = isTerminating() || _pluginsToUnload.contains(root) || _pluginsBeingStacked.contains(root);
        if (!isAgreed && !userLetsDisable(*root, *proxy->rootProxy()))
            return false;
        // The root too, for it is what the user agreed to disable.
        return addPluginToUnloadStack(dependant) && addPluginToUnloadStack(root);
    });
}

bool VXPluginManager::addEveryPluginToUnloadStack()
{
    const QList<VXPluginProxy *> plugins = allPlugins();
    return std::all_of(plugins.cbegin(), plugins.cend(), [this](VXPluginProxy *proxy) {
        return proxy->parentProxy() != nullptr || addPluginToUnloadStack(proxy);
    });
}

int VXPluginManager::shouldUnloadPluginStack() const
{
    int reply = VXUnloadNow;
    const QList<VXPluginProxy *> asked = _pluginsToUnload;
    for (VXPluginProxy *const proxy : asked) {
        // A plugin's Cancel is not honoured: what the user has decided is done.
        if (proxy->pluginInstancesShouldUnload() == VXUnloadLater)
            reply = VXUnloadLater;
    }
    return reply;
}

void VXPluginManager::unloadPluginStack()
{
    const QList<VXPluginProxy *> plugins = std::exchange(_pluginsToUnload, {}); // hooks may disable others
    QStringList identifiers;
    for (VXPluginProxy *const proxy : plugins) {
        proxy->unload();
        identifiers.append(proxy->identifier());
    }
    if (!isTerminating())
        setPluginsEnabled(identifiers, false);
}

// -- Consent that comes late, and the end of the application

void VXPluginManager::replyToPluginShouldUnload(bool flag, const QString &)
{
    if (_pluginsToUnload.isEmpty())
        return; // nothing waits for it
    const int reply = flag ? shouldUnloadPluginStack() : VXUnloadCancel;
    if (reply == VXUnloadLater)
        return;
    const bool shouldUnload = reply == VXUnloadNow;
    const bool wasTerminating = isTerminating();
    if (!shouldUnload)
        _pluginsToUnload.clear();
    else if (wasTerminating)
        shutdown();
    else
        unloadPluginStack();
    dropKindCache();
    if (!wasTerminating)
        return;
    VXApplication &application = VXApplication::sharedApplication();
    application.replyToApplicationShouldTerminate(shouldUnload);
    if (!shouldUnload)
        application.setAsTerminating(false);
}

int VXPluginManager::shouldShutdown()
{
    VXApplication &application = VXApplication::sharedApplication();
    application.setAsTerminating(true);
    const int reply = addEveryPluginToUnloadStack() ? shouldUnloadPluginStack() : VXUnloadCancel;
    if (reply == VXUnloadNow || reply == VXUnloadLater)
        return reply;
    _pluginsToUnload.clear();
    application.setAsTerminating(false);
    return VXUnloadCancel;
}

void VXPluginManager::shutdown()
{
    if (std::exchange(_isShutDown, true))
        return; // a late consent has brought it about
    VXApplication::sharedApplication().setAsTerminating(true);
    finalizeOpenWindowsForQuit();
    addEveryPluginToUnloadStack(); // what was loaded since consent was asked for
    unloadPluginStack();
}
