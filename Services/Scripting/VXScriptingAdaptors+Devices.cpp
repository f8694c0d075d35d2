#include "VXScriptingAdaptors.h"

#include "VXDBusValue.h"
#include "VXDeviceRegistry.h"
#include "VXDeviceURL.h"
#include "VXScriptedAction.h"
#include "VXScriptingCalls.h"
#include "VXScriptingService.h"

using namespace Qt::StringLiterals;

namespace {

VXDevicePlugin::Ptr liveDevice(const QString &url)
{
    const QUrl wanted(url);
    const VXDevicePlugin::Ptr device = wanted.isEmpty() || !VXDeviceRegistry::shared().isKnown(wanted)
                                           ? nullptr
                                           : VXDeviceRegistry::shared().device(wanted);
    if (!device)
        throw VXScriptingFault{u"NotFound"_s, u"there is no device \"%1\""_s.arg(url)};
    return device;
}

} // namespace

QStringList VXDevicesAdaptor::List(const QDBusMessage &call)
{
    return _calls.serve(call, [] {
        QStringList urls;
        for (const VXDevicePlugin::Ptr &device : VXDeviceRegistry::shared().liveDevices())
            urls.append(VXAbsoluteString(device->url()));
        urls.sort();
        return urls;
    });
}

QVariantMap VXDevicesAdaptor::Properties(const QString &url, const QDBusMessage &call)
{
    return _calls.serve(call, [&url] {
        const VXDevicePlugin::Ptr device = liveDevice(url);
        return VXShownToScripts(QVariantMap{{u"url"_s, device->url()},
                                            {u"name"_s, device->name()},
                                            {u"plugin"_s, device->identifier()},
                                            {u"phoneNumber"_s, device->phoneNumber()},
                                            {u"properties"_s, device->deviceProperties()}})
            .toMap();
    });
}

QStringList VXDevicesAdaptor::Actions(const QString &url, const QDBusMessage &call)
{
    return _calls.serve(call, [&url] { return liveDevice(url)->actionNames(); });
}

QDBusObjectPath VXDevicesAdaptor::Run(const QString &url, const QString &action, const QDBusVariant &object,
                                      const QDBusMessage &call)
{
    return _calls.serve(call, [&] {
        const VXDevicePlugin::Ptr device = liveDevice(url);
        if (!device->actionNames().contains(action))
            throw VXScriptingFault{u"NotFound"_s, u"%1 has no action \"%2\""_s.arg(device->name(), action)};
        const VXDeviceAction::Ptr made = VXDeviceAction::actionWithName(action);
        const QVariant plain = VXPlainDBusValue(object.variant());
        if (plain != QVariant(u""_s))
            made->setObject(plain);
        const QString path = u"%1/actions/%2"_s.arg(VXScriptingService::objectPath()).arg(++_lastAction);
        auto *const scripted = new VXScriptedAction(_calls, made, device, path, parent());
        // After the answer, so that who runs it can listen first.
        QMetaObject::invokeMethod(
            scripted, [scripted] { scripted->start(); }, Qt::QueuedConnection);
        return QDBusObjectPath(path);
    });
}
