#include "VXDevicePlugin.h"

#include "VXDeviceFinding.h"
#include "VXDeviceURL.h"
#include "VXDiagnostics.h"
#include "VXException.h"
#include "VXKeyValueCoding.h"
#include "VXMainThread.h"
#include "VXNone.h"
#include "VXUserDefaults.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QString &propertiesKey()
{
    static const QString key = u"deviceProperties"_s;
    return key;
}

// Derived from the properties: announced whenever these change.
const QString &localizedPropertiesKey()
{
    static const QString key = u"localizedProperties"_s;
    return key;
}

QString persistentKey(const QString &key)
{
    return "persistent."_L1 + key;
}

void assertMainThread(QLatin1StringView operation)
{
    VXAssert(VXMainThread::isCurrent(), operation + " should not be called from a thread"_L1);
}

QString describe(const QObject *object)
{
    return object == nullptr ? VXDescription({}) : QString::fromLatin1(object->metaObject()->className());
}

} // namespace

VXDevicePlugin::VXDevicePlugin() = default;

VXDevicePlugin::~VXDevicePlugin() = default;

VXDevicePlugin::Ptr VXDevicePlugin::hold(VXDevicePlugin *device)
{
    // Deferred, as the device's functions may be running when the last owner releases it, perhaps on another thread.
    return {device, [](VXDevicePlugin *gone) { gone->deleteLater(); }};
}

void VXDevicePlugin::findDevices(const std::shared_ptr<VXDeviceFinding> &finding)
{
    finding->conclude();
}

bool VXDevicePlugin::initWithURL(const QUrl &theURL)
{
    VXAssert(theURL.isValid(), u"theURL can not be nil!"_s);
    _url = theURL;
    _preferencePrefix = VXMakeDevicePreferenceKey(_url, u""_s);
    return true;
}

QString VXDevicePlugin::phoneNumber() const
{
    return {};
}

QString VXDevicePlugin::localizedDescription() const
{
    return name();
}

QString VXDevicePlugin::description() const
{
    return VXDescription(VXPlugin::description()) + u' ' + VXDescription(name()) + u' ' + VXAbsoluteString(_url);
}

// -- Properties

QStringList VXDevicePlugin::devicePropertyKeys() const
{
    return deviceProperties().keys();
}

QVariantMap VXDevicePlugin::deviceProperties() const
{
    const VXMutexLocker lock(_lock);
    return _deviceProperties;
}

QVariant VXDevicePlugin::devicePropertyForKey(const QString &key) const
{
    return VXValueForKey(deviceProperties(), key);
}

void VXDevicePlugin::setDeviceProperty(const QVariant &value, const QString &key)
{
    Q_EMIT willChangeValueForKey(propertiesKey());
    Q_EMIT willChangeValueForKey(localizedPropertiesKey());
    {
        const VXMutexLocker lock(_lock);
        if (VXIsNone(value))
            _deviceProperties.remove(key);
        else
            _deviceProperties.insert(key, value);
    }
    Q_EMIT didChangeValueForKey(propertiesKey());
    Q_EMIT didChangeValueForKey(localizedPropertiesKey());
    Q_EMIT devicePropertiesDidChange();
}

QList<VXLocalizedProperty> VXDevicePlugin::localizedProperties() const
{
    QList<VXLocalizedProperty> localized;
    for (const QVariant &value : deviceProperties()) {
        if (value.metaType() == QMetaType::fromType<VXLocalizedProperty>())
            localized.append(value.value<VXLocalizedProperty>());
    }
    return localized;
}

// -- Preferences

// The same as VXMakeDevicePreferenceKey, without parsing the URL each time.
QString VXDevicePlugin::preferenceKey(const QString &key) const
{
    return _preferencePrefix + VXDescription(key);
}

QVariant VXDevicePlugin::preferenceForKey(const QString &key) const
{
    const VXUserDefaults &defaults = VXUserDefaults::standardUserDefaults();
    const QString ordinaryKey = preferenceKey(key);
    QVariant value = defaults.objectForKey(ordinaryKey);
    return value.isValid() ? value : defaults.objectForKey(persistentKey(ordinaryKey));
}

void VXDevicePlugin::setPreference(const QVariant &value, const QString &key)
{
    assertMainThread("setPreference:forKey:"_L1);
    VXUserDefaults::standardUserDefaults().setObject(value, preferenceKey(key));
    Q_EMIT preferencesDidChange(key);
}

void VXDevicePlugin::setPersistentPreference(const QVariant &value, const QString &key)
{
    assertMainThread("setPersistentPreference:forKey:"_L1);
    VXUserDefaults::standardUserDefaults().setObject(value, persistentKey(preferenceKey(key)));
    Q_EMIT preferencesDidChange(key);
}

void VXDevicePlugin::resetPreferences()
{
    resetPreferencesForDeviceURL(_url);
}

// -- Action handlers

void VXDevicePlugin::registerActionHandler(const QString &theActionName, QObject *target, const QByteArray &selector,
                                           bool overrides)
{
    VXAssert(!theActionName.isNull(), u"Action name can not be nil"_s);
    VXAssert(!selector.isNull(), "Selector can not be nil: "_L1 + theActionName);
    const auto handler = VXDeviceActionHandler::withSelector(target, selector);
    VXAssert(!handler.isNull(),
             u"Target does not respond to %1: %2"_s.arg(QString::fromUtf8(selector), describe(target)));
    registerActionHandler(theActionName, handler, overrides);
}

void VXDevicePlugin::registerActionHandler(const QString &theActionName, const VXDeviceActionHandler &handler,
                                           bool overrides)
{
    VXAssert(!theActionName.isNull(), u"Action name can not be nil"_s);
    VXAssert(!handler.isNull(), u"Target can not be nil"_s);
    const VXMutexLocker lock(_lock);
    Handlers &handlers = _actionHandlers[theActionName];
    removeHandler(handlers, handler.target());
    handlers.insert(overrides ? handlers.begin() : handlers.end(), handler);
}

VXDeviceActionHandler VXDevicePlugin::actionHandlerForAction(const QString &theActionName) const
{
    const VXMutexLocker lock(_lock);
    const auto handlers = _actionHandlers.constFind(theActionName);
    if (handlers == _actionHandlers.cend())
        return {};
    const auto active =
        std::find_if(handlers->cbegin(), handlers->cend(), [](const auto &handler) { return !handler.isNull(); });
    return active == handlers->cend() ? VXDeviceActionHandler() : *active;
}

QStringList VXDevicePlugin::actionNames() const
{
    QStringList names;
    {
        const VXMutexLocker lock(_lock);
        names = _actionHandlers.keys();
    }
    names.removeIf([this](const QString &name) { return actionHandlerForAction(name).isNull(); });
    names.sort();
    return names;
}

// Also removes handlers whose target is gone.
void VXDevicePlugin::removeHandler(Handlers &handlers, const QObject *target)
{
    std::erase_if(handlers, [target](const auto &handler) { return handler.isNull() || handler.target() == target; });
}

void VXDevicePlugin::unregisterActionHandler(const QString &theActionName, QObject *target)
{
    VXAssert(!theActionName.isNull(), u"Action name can not be nil"_s);
    VXAssert(target != nullptr, u"Target can not be nil"_s);
    const VXMutexLocker lock(_lock);
    if (const auto handlers = _actionHandlers.find(theActionName); handlers != _actionHandlers.end())
        removeHandler(*handlers, target);
}

void VXDevicePlugin::unregisterActionHandlersForTarget(QObject *target)
{
    QStringList names;
    {
        const VXMutexLocker lock(_lock);
        names = _actionHandlers.keys();
    }
    for (const QString &name : names)
        unregisterActionHandler(name, target);
}

void VXDevicePlugin::unregisterActionHandlers()
{
    const VXMutexLocker lock(_lock);
    _actionHandlers.clear();
}
