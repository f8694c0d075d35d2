#include "VXPluginUnloadRun.h"

#include "VXApplication.h"
#include "VXFramework.h"

#include <algorithm>

using namespace Qt::StringLiterals;

bool VXPluginUnloadRun::concerns(const QString &identifier) const
{
    if (_subject != nullptr && _subject->identifier() == identifier)
        return true;
    return std::any_of(_pluginsToUnload.cbegin(), _pluginsToUnload.cend(),
                       [&](const VXPluginProxy *proxy) { return proxy->identifier() == identifier; });
}

// -- Collecting

bool VXPluginUnloadRun::collectSubject()
{
    _state = State::Collecting;
    _pluginsToUnload.clear();
    return collect(*_subject);
}

bool VXPluginUnloadRun::collect(VXPluginProxy &proxy)
{
    if (_pluginsToUnload.contains(&proxy) || _beingCollected.contains(&proxy))
        return true;
    const auto add = [this](VXPluginProxy *child) { return collect(*child); };
    QList<VXPluginProxy *> children = proxy.childProxies();
    if (!proxy.isLoaded()) // its child may be loaded on its own because another plugin depends on it
        return std::all_of(children.begin(), children.end(), add);
    _beingCollected.insert(&proxy); // ends recursion: plugins may depend on each other, and children on their parents
    const QStringList dependencies = proxy.dependencies();
    // A child that the plugin depends on goes after the plugin.
    const auto deferred = std::stable_partition(children.begin(), children.end(), [&](const VXPluginProxy *child) {
        return !dependencies.contains(child->identifier());
    });
    bool isAccepted = std::all_of(children.begin(), deferred, add) && collectDependants(proxy);
    if (isAccepted) {
        _pluginsToUnload.append(&proxy);
        isAccepted = std::all_of(deferred, children.end(), add);
    }
    _beingCollected.remove(&proxy);
    return isAccepted;
}

bool VXPluginUnloadRun::collectDependants(VXPluginProxy &proxy)
{
    const QList<VXPluginProxy *> dependants = proxy.dependantPlugins(); // a copy: other things happen during an alert
    return std::all_of(dependants.cbegin(), dependants.cend(), [&](VXPluginProxy *dependant) {
        if (!dependant->isLoaded())
            return true;
        VXPluginProxy *const root = dependant->rootProxy();
        const bool isAgreed = _purpose != VXUnloadPurpose::Disable || _pluginsToUnload.contains(root) ||
                              _beingCollected.contains(root) || root == _subject || _agreedRoots.contains(root);
        if (!isAgreed && !userLetsDisable(*root, *proxy.rootProxy()))
            return false;
        _agreedRoots.insert(root);
        // The root as well, since that is what the user agreed to disable.
        return collect(*dependant) && collect(*root);
    });
}

bool VXPluginUnloadRun::userLetsDisable(VXPluginProxy &dependantRoot, VXPluginProxy &root)
{
    VXAlert alert;
    alert.message = VXLocalizedString(u"Disable dependent plugin?"_s);
    alert.informativeText = VXLocalizedString(u"%1 requires the plugin %2 and should be disabled first."_s)
                                .arg(dependantRoot.description(), root.description());
    alert.defaultButton = VXLocalizedString(u"OK"_s);
    alert.alternateButton = VXLocalizedString(u"Cancel"_s);
    VXUserInterface &user = VXApplication::sharedApplication().userInterface();
    if (user.runAlert(alert).button == VXAlertButton::Default)
        return true;
    _state = State::Refused;
    _refusal = VXLocalizedString(u"%1, which requires it, was not to be disabled"_s).arg(dependantRoot.description());
    return false;
}

// -- Consent

int VXPluginUnloadRun::ask()
{
    _state = State::Asking;
    _awaited.clear();
    _repliesWhileAsked.clear();
    QStringList undecided;
    const QList<VXPluginProxy *> asked = _pluginsToUnload;
    for (VXPluginProxy *const proxy : asked) {
        if (proxy->isLoaded() && proxy->pluginInstancesShouldUnload() == VXUnloadLater)
            undecided.append(proxy->identifier());
    }
    // Replies may have come while other plugins were asked.
    for (auto reply = _repliesWhileAsked.cbegin(); reply != _repliesWhileAsked.cend(); ++reply) {
        if (!reply.value()) {
            refuse(reply.key());
            return VXUnloadCancel;
        }
        undecided.removeAll(reply.key());
    }
    _awaited = undecided;
    _state = undecided.isEmpty() ? State::Agreed : State::Waiting;
    return undecided.isEmpty() ? VXUnloadNow : VXUnloadLater;
}

void VXPluginUnloadRun::refuse(const QString &identifier)
{
    _state = State::Refused;
    _awaited.clear();
    _refusal = VXLocalizedString(u"the plugin %1 did not agree"_s).arg(identifier);
}

void VXPluginUnloadRun::unload()
{
    _state = State::Unloading;
    _awaited.clear();
    for (VXPluginProxy *const proxy : std::as_const(_pluginsToUnload))
        proxy->unload(); // does nothing for those unloaded meanwhile
}
