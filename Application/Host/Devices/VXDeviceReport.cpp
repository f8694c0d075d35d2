#include "VXDeviceReport.h"

#include "VXDevicePlugin.h"
#include "VXDeviceTransformer.h"
#include "VXDeviceURL.h"
#include "VXError.h"
#include "VXHostJSON.h"
#include "VXInvocation.h"
#include "VXPluginGuard.h"
#include "VXPluginManager.h"
#include "VXPluginReport.h"
#include "VXUserDefaults.h"

#include <QtCore/QEventLoop>
#include <QtCore/QJsonArray>
#include <QtCore/QTimer>

#include <algorithm>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

// What the device answers to a question that it need not support; empty if it does not.
std::optional<bool> answerOf(VXDevicePlugin &device, const char *question)
{
    std::optional<QVariant> answer;
    VXCallPlugin(device, question, [&] { answer = VXInvocation::withMethod(&device, question).invoke(); });
    return answer ? std::optional(answer->toBool()) : std::nullopt;
}

bool isConnecting(VXDevicePlugin &device)
{
    return answerOf(device, "isConnecting").value_or(false);
}

QString stateOfDevice(VXDevicePlugin &device)
{
    if (isConnecting(device))
        return u"connecting"_s;
    const std::optional<bool> isConnected = answerOf(device, "isConnected");
    if (!isConnected)
        return u"live"_s;
    return *isConnected ? u"connected"_s : u"not connected"_s;
}

QString stateWithoutDevice(const VXPluginManager &manager, const QUrl &url)
{
    const VXPluginProxy *const plugin = manager.pluginWithIdentifier(VXDeviceURLComponent(url, 0));
    if (plugin == nullptr)
        return u"plugin missing"_s;
    return plugin->isLoaded() ? u"refused by its plugin"_s : "plugin "_L1 + VXPluginReport(manager, *plugin).state();
}

QList<VXLocalizedProperty> sortedProperties(const VXDevicePlugin &device)
{
    QList<VXLocalizedProperty> properties = device.localizedProperties();
    std::ranges::stable_sort(properties, {}, &VXLocalizedProperty::priority);
    return properties;
}

enum class Properties { All, ButLocalized };

QJsonObject jsonOfProperties(const VXDevicePlugin &device, Properties which)
{
    QJsonObject json;
    for (const QString &key : device.devicePropertyKeys()) {
        const QVariant value = device.devicePropertyForKey(key);
        if (value.metaType() != QMetaType::fromType<VXLocalizedProperty>())
            json.insert(key, VXJSONFromVariant(value));
        else if (which == Properties::All)
            json.insert(key, VXJSONFromVariant(value.value<VXLocalizedProperty>().value()));
    }
    return json;
}

QJsonArray jsonOfLocalizedProperties(const VXDevicePlugin &device)
{
    QJsonArray json;
    for (const VXLocalizedProperty &property : sortedProperties(device))
        json.append(QJsonObject{{u"title"_s, property.title()},
                                {u"value"_s, VXJSONFromVariant(property.value())},
                                {u"shown"_s, VXJSONFromVariant(property.transformedValue())}});
    return json;
}

QString textOf(const QJsonValue &json)
{
    return json.isString() ? json.toString() : QString::fromUtf8(VXJSONText(json));
}

void appendRows(QList<QStringList> &rows, const QString &title, const QJsonObject &values)
{
    for (auto value = values.begin(); value != values.end(); ++value)
        rows.append({title, u"%1 = %2"_s.arg(value.key(), textOf(*value))});
}

} // namespace

void VXAwaitConnection(VXDevicePlugin &device, std::chrono::milliseconds limit)
{
    QEventLoop wait;
    QObject::connect(&device, &VXDevicePlugin::didChangeValueForKey, &wait, [&] {
        if (!isConnecting(device))
            wait.quit();
    });
    QTimer::singleShot(limit, &wait, &QEventLoop::quit);
    if (isConnecting(device))
        wait.exec();
}

QVariantMap VXDevicePreferences(const QUrl &url, bool persistent)
{
    const VXUserDefaults &defaults = VXUserDefaults::standardUserDefaults();
    const QString prefix = (persistent ? "persistent."_L1 : ""_L1) + VXMakeDevicePreferenceKey(url, u""_s);
    QVariantMap values;
    for (const QString &key : defaults.keysWithPrefix(prefix))
        values.insert(key.sliced(prefix.size()), defaults.objectForKey(key));
    return values;
}

VXDeviceReport::VXDeviceReport(const VXPluginManager &manager, const QUrl &url)
    : _url(url), _name(VXDeviceNameAtURL().transformedValue(url).toString())
{
    const VXDevicePlugin::Ptr device = VXDevicePlugin::deviceAtURL(url);
    _state = device ? stateOfDevice(*device) : stateWithoutDevice(manager, url);
    const QList<QUrl> urls = VXDevicePlugin::deviceURLs().value_or(QList<QUrl>());
    _isDefault = !urls.isEmpty() && urls.last() == url;
}

QJsonObject VXDeviceReport::json() const
{
    return {{u"url"_s, VXAbsoluteString(_url)},
            {u"name"_s, _name},
            {u"plugin"_s, VXJSONFromVariant(VXDeviceURLComponent(_url, 0))},
            {u"device"_s, VXJSONFromVariant(VXDeviceURLComponent(_url, 1))},
            {u"state"_s, _state},
            {u"live"_s, VXDevicePlugin::deviceAtURL(_url) != nullptr},
            {u"default"_s, _isDefault}};
}

QStringList VXDeviceReport::columns() const
{
    return {_name, _state, _isDefault ? u"yes"_s : u"-"_s, VXAbsoluteString(_url)};
}

QStringList VXDeviceReport::columnTitles()
{
    return {u"NAME"_s, u"STATE"_s, u"DEFAULT"_s, u"URL"_s};
}

QJsonObject VXDeviceReport::completeJSON() const
{
    QJsonObject json = this->json();
    const VXDevicePlugin::Ptr device = VXDevicePlugin::deviceAtURL(_url);
    json.insert(u"phoneNumber"_s, VXJSONFromVariant(device ? device->phoneNumber() : QString()));
    json.insert(u"properties"_s, device ? jsonOfProperties(*device, Properties::All) : QJsonObject());
    json.insert(u"localizedProperties"_s, device ? jsonOfLocalizedProperties(*device) : QJsonArray());
    json.insert(u"preferences"_s, VXJSONFromVariant(VXDevicePreferences(_url, false)));
    json.insert(u"persistentPreferences"_s, VXJSONFromVariant(VXDevicePreferences(_url, true)));
    return json;
}

QList<QStringList> VXDeviceReport::rows() const
{
    const QJsonObject json = completeJSON();
    QList<QStringList> rows{{u"Name"_s, _name},
                            {u"URL"_s, VXAbsoluteString(_url)},
                            {u"Plugin"_s, json[u"plugin"_s].toString()},
                            {u"State"_s, _state},
                            {u"Default"_s, _isDefault ? u"yes"_s : u"no"_s}};
    if (const QJsonValue number = json[u"phoneNumber"_s]; !number.isNull())
        rows.append({u"Number"_s, number.toString()});
    for (const auto property : json[u"localizedProperties"_s].toArray())
        rows.append({property[u"title"_s].toString(), textOf(property[u"shown"_s])});
    const VXDevicePlugin::Ptr device = VXDevicePlugin::deviceAtURL(_url);
    appendRows(rows, u"Property"_s, device ? jsonOfProperties(*device, Properties::ButLocalized) : QJsonObject());
    appendRows(rows, u"Preference"_s, json[u"preferences"_s].toObject());
    appendRows(rows, u"Persistent"_s, json[u"persistentPreferences"_s].toObject());
    return rows;
}
