#include "VXPluginProxy.h"

#include "VXDiagnostics.h"
#include "VXException.h"
#include "VXFramework.h"
#include "VXInvocation.h"
#include "VXMethodLog.h"
#include "VXPluginGuard.h"
#include "VXPluginKind.h"
#include "VXPluginPaths.h"
#include "VXPropertyList.h"
#include "VXUserDefaults.h"

#include <QtCore/QSet>

#include <atomic>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

// A cache of the user default "plugins" as a set, reloaded after a change.
class EnabledIdentifiers
{
public:
    static EnabledIdentifiers &shared()
    {
        static auto *const identifiers = new EnabledIdentifiers;
        return *identifiers;
    }

    bool contains(const QString &identifier)
    {
        if (_isStale.exchange(false)) {
            const QStringList listed = VXUserDefaults::standardUserDefaults().stringArrayForKey(u"plugins"_s);
            _identifiers = QSet<QString>(listed.cbegin(), listed.cend());
        }
        return _identifiers.contains(identifier);
    }

    void drop() { _isStale = true; }

private:
    EnabledIdentifiers()
    {
        VXNotificationCenter::defaultCenter().addObserver(
            nullptr, VXUserDefaultsDidChangeNotification, [this](const VXNotification &) { drop(); }, u"plugins"_s);
    }

    QSet<QString> _identifiers;
    std::atomic<bool> _isStale = true; // set on any thread that changes the defaults
};

} // namespace

std::unique_ptr<VXPluginProxy> VXPluginProxy::proxyWithIdentifier(const QString &identifier)
{
    return std::make_unique<VXPluginProxy>(identifier);
}

VXPluginProxy::VXPluginProxy(const QString &identifier) : _identifier(identifier) {}

VXPluginProxy::~VXPluginProxy() = default;

void VXPluginProxy::setBundle(const VXBundle::Ptr &bundle)
{
    _plugin_bundle = bundle;
    _parent_proxy = nullptr;
    _child_proxies.clear();
    _location = Location::Unknown;
    const QString path = bundle ? bundle->pathForResource(u"defaults"_s, u"plist"_s) : QString();
    if (path.isNull())
        return;
    const QVariant defaults = VXPropertyList::fromFile(path);
    if (defaults.metaType() != QMetaType::fromType<QVariantMap>()) {
        VXLogMethod(VXLogWarning, "setBundle:", "invalid defaults: "_L1 + path);
        return;
    }
    VXUserDefaults::standardUserDefaults().registerDefaults(defaults.toMap());
    EnabledIdentifiers::shared().drop(); // registering defaults posts no notification
}

QString VXPluginProxy::name() const
{
    QString found;
    if (const Instance instance = _singleton)
        VXCallPlugin(*this, "name", [&] { found = instance->name(); });
    if (found.isNull())
        found = VXPlugin::name();
    return found.isNull() ? _remoteInfo.value(u"name"_s).toString() : found;
}

void VXPluginProxy::setParentProxy(VXPluginProxy *parent)
{
    _parent_proxy = parent;
    _location = Location::Unknown;
}

VXPluginProxy *VXPluginProxy::rootProxy()
{
    return _parent_proxy == nullptr ? this : _parent_proxy->rootProxy();
}

QStringList VXPluginProxy::dependencies() const
{
    return _plugin_bundle ? _plugin_bundle->infoDictionary().value(u"VXPluginDependencies"_s).toStringList()
                          : QStringList();
}

void VXPluginProxy::addDependantPlugin(VXPluginProxy *plugin)
{
    if (!_dependantPlugins.contains(plugin))
        _dependantPlugins.append(plugin);
}

void VXPluginProxy::removeDependantPlugin(VXPluginProxy *plugin)
{
    _dependantPlugins.removeOne(plugin);
}

bool VXPluginProxy::isEnabled() const
{
    if (_parent_proxy != nullptr)
        return _parent_proxy->isEnabled();
    return isBuiltInPlugin() || EnabledIdentifiers::shared().contains(_identifier);
}

bool VXPluginProxy::isBuiltInPlugin() const
{
    if (!_plugin_bundle)
        return false; // only the identifier is known so far, so the result must not be cached
    if (_location == Location::Unknown)
        _location = findLocation();
    return _location == Location::BuiltIn;
}

VXPluginProxy::Location VXPluginProxy::findLocation() const
{
    if (VXIsInsideFolder(_plugin_bundle->bundlePath(), VXFrameworkBundle()->bundlePath()))
        return Location::BuiltIn;
    // A root without a name intentionally counts as built-in wherever it is: it cannot be disabled.
    const bool hasName = _plugin_bundle->infoDictionary().contains(u"VXPluginName"_s);
    return _parent_proxy != nullptr || hasName ? Location::NotBuiltIn : Location::BuiltIn;
}

bool VXPluginProxy::createsSingletonInstance() const
{
    return VXPluginKind::createsSingletonInstance(pluginClassType());
}

bool VXPluginProxy::respondsToSelector(const QByteArray &selector, qsizetype argumentCount) const
{
    return VXInvocation::respondsTo(_singleton.get(), selector, argumentCount) ||
           VXInvocation::respondsTo(this, selector, argumentCount);
}

QVariant VXPluginProxy::performSelector(const QByteArray &selector, const QVariantList &arguments, QString *reason)
{
    const Instance instance = _singleton; // held, as the call may unload the plugin
    VXInvocation invocation = VXInvocation::withMethod(instance.get(), selector, arguments);
    if (invocation.isNull())
        invocation = VXInvocation::withMethod(this, selector, arguments);
    std::optional<QVariant> result;
    const auto call = [&] { result = invocation.invoke(); };
    const bool returned = VXCallPlugin(*this, selector.constData(), call, reason);
    if (returned && !result) // there is no such method, or none with these argument types
        doesNotRecognizeSelector(selector);
    return result.value_or(QVariant());
}

void VXPluginProxy::doesNotRecognizeSelector(const QByteArray &selector) const
{
    const QString name = QString::fromUtf8(selector);
    VXFailAssertion(
        _singleton ? u"Plugin %1 does not respond to selector %2"_s.arg(VXDescription(_identifier), name)
                   : u"Plugin %1 was not loaded when selector %2 was called"_s.arg(VXDescription(_identifier), name));
}
