#include "VXScriptingAdaptors.h"

#include "VXDBusValue.h"
#include "VXDeviceRegistry.h"
#include "VXDeviceURL.h"
#include "VXScriptedAction.h"
#include "VXScriptingCalls.h"
#include "VXScriptingService.h"

using namespace Qt::StringLiterals;

namespace {

// The one device of that name or identifier, if there is one.
VXDevicePlugin::Ptr deviceNamed(const QString &text)
{
    QList<VXDevicePlugin::Ptr> found = VXDeviceRegistry::shared().liveDevices();
    found.removeIf([&text](const VXDevicePlugin::Ptr &device) {
        return device->name() != text && device->url().fileName() != text;
    });
    return found.size() == 1 ? found.first() : nullptr;
}

VXDevicePlugin::Ptr liveDevice(const QString &url)
{
    const QUrl wanted(url);
    const bool isURL = !wanted.isEmpty() && VXDeviceRegistry::shared().isKnown(wanted);
    const VXDevicePlugin::Ptr device = isURL ? VXDeviceRegistry::shared().device(wanted) : deviceNamed(url);
    if (!device)
        throw VXScriptingFault{u"NotFound"_s, u"there is no device \"%1\""_s.arg(url)};
    return device;
}

} // namespace

void VXDevicesAdaptor::List(const QDBusMessage &call, QStringList &urls)
{
    urls = _calls.serve(call, [] {
        QStringList found;
        for (const VXDevicePlugin::Ptr &device : VXDeviceRegistry::shared().liveDevices())
            found.append(VXAbsoluteString(device->url()));
        found.sort();
        return found;
    });
}

void VXDevicesAdaptor::Properties(const QString &url, const QDBusMessage &call, QVariantMap &device)
{
    device = _calls.serve(call, [&url] {
        const VXDevicePlugin::Ptr live = liveDevice(url);
        return VXShownToScripts(QVariantMap{{u"url"_s, live->url()},
                                            {u"name"_s, live->name()},
                                            {u"plugin"_s, live->identifier()},
                                            {u"phoneNumber"_s, live->phoneNumber()},
                                            {u"properties"_s, live->deviceProperties()}})
            .toMap();
    });
}

void VXDevicesAdaptor::Actions(const QString &url, const QDBusMessage &call, QStringList &names)
{
    names = _calls.serve(call, [&url] { return liveDevice(url)->actionNames(); });
}

void VXDevicesAdaptor::Run(const QString &url, const QString &action, const QDBusVariant &object,
                           const QDBusMessage &call, QDBusObjectPath &actionObject)
{
    actionObject = _calls.serve(call, [&] {
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
