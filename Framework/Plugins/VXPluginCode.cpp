#include "VXPluginCode.h"

#include "VXDiagnostics.h"
#include "VXMethodLog.h"
#include "VXPluginGuard.h"
#include "VXPluginKind.h"
#include "VXPluginPaths.h"
#include "VXPluginProxy.h"

using namespace Qt::StringLiterals;

namespace {

bool descendsFrom(const QMetaObject &type, const QString &baseName)
{
    for (const QMetaObject *each = &type; each != nullptr; each = each->superClass()) {
        if (QString::fromLatin1(each->className()) == baseName)
            return true;
    }
    return false;
}

// Deferred, as one of the instance's functions may be running when its plugin is unloaded.
void deleteInstance(VXPlugin *instance)
{
    instance->deleteLater();
}

} // namespace

const QMetaObject *VXPluginCode::principalClass(QString *reason) const
{
    const VXLogOrigin origin = VXInstanceOrigin(&_proxy, "pluginClass");
    const VXBundle::Ptr bundle = _proxy.bundle();
    if (!bundle) {
        *reason = "Plugin is not installed: "_L1 + VXDescription(_proxy.identifier());
        VXLogFrom(origin, VXLogError, *reason);
        return nullptr;
    }
    if (!bundle->isLoaded() && VXDebugCategory::PLUG().isEnabled())
        VXTraceFrom(origin, VXDebugCategory::PLUG(),
                    u"Loading: %1 %2 (%3)"_s.arg(VXDescription(_proxy.identifier()),
                                                 VXDescription(_proxy.infoText(u"CFBundleShortVersionString"_s)),
                                                 VXDescription(_proxy.infoText(u"CFBundleVersion"_s))));
    const QMetaObject *const type = loadedClass(*bundle, reason);
    if (type == nullptr) {
        VXLogFrom(origin, VXLogError,
                  u"Principal class %1 could not be loaded from bundle: %2"_s.arg(
                      VXDescription(_proxy.infoText(u"NSPrincipalClass"_s)), bundle->bundlePath()));
        return nullptr;
    }
    const QString problem = problemOfClass(*type, *bundle);
    if (problem.isNull())
        return type;
    VXLogFrom(origin, VXLogError, problem);
    *reason = problem;
    return nullptr;
}

const QMetaObject *VXPluginCode::loadedClass(VXBundle &bundle, QString *reason) const
{
    const QMetaObject *type = nullptr;
    VXError error;
    VXCallPlugin(
        _proxy, "pluginClass", [&] { type = bundle.principalClass(&error); }, reason);
    if (error) {
        VXLogFrom(VXInstanceOrigin(&_proxy, "pluginClass"), VXLogError, error.description());
        *reason = error.localizedRecoverySuggestion();
    }
    return type;
}

// Null when the class is as it should be.
QString VXPluginCode::problemOfClass(const QMetaObject &type, const VXBundle &bundle) const
{
    const QString name = QString::fromUtf8(type.className());
    if (!type.inherits(&VXPlugin::staticMetaObject))
        return u"Missing/invalid principal class (%1 not a VXPlugin) in %2"_s.arg(name, bundle.bundlePath());
    const QString place = VXBundle::pathOfCode(&type);
    if (!VXIsInsideFolder(place, bundle.bundlePath())) {
        const bool isOfAnother = place.contains(".vxplugin/"_L1);
        return isOfAnother
                   ? u"The code of %1 is that of another plugin, which is loaded from %2"_s.arg(bundle.bundlePath(),
                                                                                                place)
                   : u"The class named by %1 lies in %2 (Q_OBJECT is missing from the plugin's own class)"_s.arg(
                         bundle.bundlePath(), place);
    }
    const QString kind = _proxy.pluginClassType();
    const QString base = VXPluginKind::baseClass(kind);
    if (!base.isNull() && !descendsFrom(type, base))
        return u"Class %1 in %2 is no %3, which its kind \"%4\" asks for: one of the two is "
               "to change"_s.arg(name, bundle.bundlePath(), base, kind);
    return {};
}

std::shared_ptr<VXPlugin> VXPluginCode::makeInstance(QString *reason) const
{
    const QMetaObject *const type = principalClass(reason);
    if (type == nullptr)
        return nullptr;
    QObject *made = nullptr;
    const bool returned = VXCallPlugin(
        _proxy, "instantiate", [&] { made = type->newInstance(); }, reason);
    if (made == nullptr && !returned)
        *reason = u"Its constructor threw %1"_s.arg(*reason);
    if (made == nullptr && returned)
        *reason =
            u"Class %1 has no Q_INVOKABLE constructor without arguments"_s.arg(QString::fromUtf8(type->className()));
    return made == nullptr ? nullptr : std::shared_ptr<VXPlugin>(static_cast<VXPlugin *>(made), deleteInstance);
}
