#include "VXStatusReport.h"

#include "VXDesktopServices.h"
#include "VXDevicePlugin.h"
#include "VXDeviceReport.h"
#include "VXDeviceURL.h"
#include "VXHotKeyManager.h"
#include "VXHotKeyService.h"
#include "VXPluginKind.h"
#include "VXPluginManager.h"
#include "VXPluginReport.h"
#include "VXServiceStanding.h"
#include "VXShownText.h"
#include "VXTriggerReport.h"
#include "VXVisibleText.h"
#include "VXWrappedText.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QJsonArray>

#include <algorithm>
#include <iterator>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::seconds connectionLimit{5}; // for all phones together
const QString startable = u"starts when needed"_s;

// -- Services

struct Service
{
    VXServiceName name;
    QString title;
    QString package; // that contains it; null if unknown
    QStringList users = {};
    bool isOptional = false; // for all of them
};

Service serviceFrom(const QVariantMap &info)
{
    const QString name = info.value(u"name"_s).toString();
    const QString title = info.value(u"title"_s).toString();
    return {.name = {.name = name, .isOnSystemBus = info.value(u"bus"_s) == u"system"_s},
            .title = title.isEmpty() ? name : title,
            .package = info.value(u"package"_s).toString(),
            .isOptional = info.value(u"optional"_s).toBool()};
}

// False if it does nothing unless a trigger runs it.
bool reactsAlone(const VXPluginProxy &plugin)
{
    const QString kind = plugin.pluginClassType();
    return kind == VXPluginKind::Reactor || kind == VXPluginKind::Exporter;
}

// The services that plugins name, each once.
QList<Service> servicesOf(const VXPluginManager &manager)
{
    QList<Service> services;
    const QMap<QString, QStringList> triggers = VXTriggersByPlugin();
    for (const VXPluginProxy *const plugin : VXSortedPlugins(manager)) {
        const VXBundle::Ptr bundle = plugin->bundle();
        const QVariantList named = bundle ? bundle->infoDictionary().value(u"VXServices"_s).toList() : QVariantList();
        for (const QVariant &each : named) {
            const Service service = serviceFrom(each.toMap());
            auto known = std::ranges::find_if(
                services, [&](const Service &other) { return other.name.name == service.name.name; });
            if (known == services.end())
                known = services.insert(services.end(), service);
            known->isOptional = known->isOptional && service.isOptional;
            if (plugin->isEnabled() && (!reactsAlone(*plugin) || triggers.contains(plugin->identifier())))
                known->users.append(plugin->identifier());
        }
    }
    return services;
}

QString remedyWithoutBus(bool isSystemBus)
{
    return isSystemBus ? u"Start the message bus of the system (the package \"dbus\")."_s
                       : u"Start the program in a session of the desktop."_s;
}

VXStatusItem itemOfService(const Service &service, const VXServiceStanding &standing)
{
    using State = VXServiceStanding::State;
    VXStatusItem item{.identifier = service.name.name, .name = service.title, .users = service.users};
    switch (standing.state) {
    case State::Running:
        item.state = u"running"_s;
        break;
    case State::Startable:
        item.state = startable;
        break;
    case State::Missing:
        item.state = u"not there"_s;
        item.reason = u"No program offers it, and the bus knows none to start."_s;
        item.remedy = service.package.isEmpty()
                          ? u"Start the program that offers it."_s
                          : u"Install the package \"%1\", or start it if it is there."_s.arg(service.package);
        break;
    case State::NoBus:
        item.state = u"unreachable"_s;
        item.reason = standing.problem;
        item.remedy = remedyWithoutBus(service.name.isOnSystemBus);
        break;
    }
    item.isNeeded = !service.users.isEmpty();
    item.isAtFault = item.isNeeded && !service.isOptional && !item.reason.isNull();
    if (!item.isNeeded)
        item.remedy = QString();
    return item;
}

// Whether "vornix run" is running: only then are there reactions.
VXStatusItem itemOfProgram(const VXServiceStanding &standing)
{
    VXStatusItem item{.identifier = u"com.halvern.VNX2"_s, .name = u"Vornix (vornix run)"_s};
    if (standing.state == VXServiceStanding::State::Running) {
        item.state = u"running"_s;
        return item;
    }
    if (standing.state == VXServiceStanding::State::NoBus) {
        item.state = u"unreachable"_s;
        item.reason = standing.problem;
        item.remedy = remedyWithoutBus(false);
    } else {
        item.state = u"not running"_s;
        item.reason = u"Nothing listens to the phones, and no trigger runs by itself."_s;
        item.remedy = u"\"vornix run\" starts it, \"systemctl --user enable --now vornix\" in every session."_s;
    }
    return item;
}

VXStatusItem itemOfHotKeys()
{
    VXStatusItem item{.identifier = u"hot-keys"_s, .name = u"Hot keys"_s, .state = u"ready"_s};
    const std::unique_ptr<VXHotKeyService> service = VXMakeHotKeyService();
    const QMap<QString, std::shared_ptr<VXHotKey>> bound = VXHotKeyManager::sharedHotKeyManager().hotKeys();
    if (const QString problem = service->problem(); !problem.isNull()) {
        item.state = u"unreachable"_s;
        item.reason = problem;
        item.isAtFault = std::ranges::any_of(bound, [](const auto &hotKey) { return hotKey->isRegistered(); });
        if (item.isAtFault)
            item.remedy = remedyWithoutBus(false);
    }
    return item;
}

QList<VXStatusItem> statusOfServices(const VXPluginManager &manager)
{
    const QList<Service> services = servicesOf(manager);
    QList<VXServiceName> names{{.name = u"com.halvern.VNX2"_s}};
    std::ranges::transform(services, std::back_inserter(names), &Service::name);
    const QList<VXServiceStanding> standings = VXStandingOfServices(names);
    QList<VXStatusItem> items{itemOfProgram(standings.first()), itemOfHotKeys()};
    for (qsizetype at = 0; at < services.size(); ++at)
        items.append(itemOfService(services[at], standings[at + 1]));
    return items;
}

// -- Phones

QString textOfProperty(const VXDevicePlugin &device, const QString &key)
{
    const QVariant value = device.devicePropertyForKey(key);
    const QString text = value.metaType() == QMetaType::fromType<VXLocalizedProperty>()
                             ? value.value<VXLocalizedProperty>().value().toString()
                             : value.toString();
    return text.isEmpty() ? QString() : text;
}

// Why there is no device, and what to do about it.
void tellOfPlugin(VXStatusItem &item, const VXPluginManager &manager, const QString &identifier)
{
    const VXPluginProxy *const plugin = manager.pluginWithIdentifier(identifier);
    if (plugin == nullptr || !plugin->isInstalled()) {
        item.reason = u"There is no plugin %1."_s.arg(identifier);
        item.remedy =
            u"Install it, or take the phone off the list: \"vornix devices remove %1\"."_s.arg(item.identifier);
    } else if (!plugin->isEnabled()) {
        item.reason = u"The plugin %1 is disabled."_s.arg(identifier);
        item.remedy = u"\"vornix plugins enable %1\" has it serve the phone."_s.arg(identifier);
    } else if (!plugin->isLoaded()) {
        item.reason = VXPluginReport(manager, *plugin).reason();
        item.remedy = u"\"vornix plugins info %1\" tells more of the plugin."_s.arg(identifier);
    } else {
        item.reason = u"The plugin %1 made no device of it."_s.arg(identifier);
        item.remedy = u"\"vornix log --level error\" may tell why."_s;
    }
}

// It waits for a service that is started on demand.
bool isAsleep(const VXStatusItem &phone, const QList<VXStatusItem> &services)
{
    return std::ranges::any_of(services, [&](const VXStatusItem &service) {
        return service.state == startable && phone.reason.contains(service.identifier);
    });
}

void tellOfDevice(VXStatusItem &item, const VXDevicePlugin &device, const QList<VXStatusItem> &services)
{
    const QString shortName = VXDeviceURLComponent(device.url(), 1);
    item.reason = textOfProperty(device, u"problem"_s);
    item.remedy = textOfProperty(device, u"remedy"_s);
    if (item.reason.isNull()) {
        const QString missing = textOfProperty(device, u"notAllowed"_s);
        if (missing.isNull())
            return;
        item.reason = u"Not allowed on the phone: %1."_s.arg(missing);
        item.remedy = u"Allow it in the settings of the phone for this computer, if it is wanted."_s;
    } else if (isAsleep(item, services)) {
        item.remedy = u"It starts when something is asked of the phone, as by \"vornix sync %1\"."_s.arg(shortName);
    } else {
        item.isAtFault = true;
        if (item.remedy.isNull())
            item.remedy = u"\"vornix devices info %1\" tells more of it."_s.arg(shortName);
    }
}

VXStatusItem itemOfPhone(const VXPluginManager &manager, const QUrl &url, const QList<VXStatusItem> &services)
{
    const QJsonObject report = VXDeviceReport(manager, url).json();
    VXStatusItem item{.identifier = VXAbsoluteString(url),
                      .name = report[u"name"_s].toString(),
                      .state = report[u"state"_s].toString()};
    if (const VXDevicePlugin::Ptr device = VXDevicePlugin::deviceAtURL(url)) {
        tellOfDevice(item, *device, services);
    } else {
        tellOfPlugin(item, manager, VXDeviceURLComponent(url, 0));
        item.isAtFault = true;
    }
    return item;
}

QList<VXStatusItem> statusOfPhones(const VXPluginManager &manager, const QList<VXStatusItem> &services)
{
    const QList<QUrl> urls = VXDevicePlugin::deviceURLs().value_or(QList<QUrl>());
    QList<VXDevicePlugin::Ptr> devices; // all connect at the same time
    std::ranges::transform(urls, std::back_inserter(devices), VXDevicePlugin::deviceAtURL);
    const QDeadlineTimer limit(connectionLimit);
    for (const VXDevicePlugin::Ptr &device : std::as_const(devices)) {
        if (device && !limit.hasExpired())
            VXAwaitConnection(*device, std::chrono::milliseconds(limit.remainingTime()));
    }
    QList<VXStatusItem> items;
    for (const QUrl &url : urls)
        items.append(itemOfPhone(manager, url, services));
    return items;
}

// -- Plugins

QString remedyOfPlugin(const QString &state, const VXPluginProxy &plugin)
{
    const QString identifier = plugin.identifier();
    if (state == "left out"_L1)
        return u"\"vornix plugins retry %1\" loads it once more."_s.arg(identifier);
    if (state == "failed"_L1) {
        const QString more = u"\"vornix plugins info %1\" and \"vornix log\" tell more; "_s.arg(identifier);
        return more + (plugin.isBuiltInPlugin() ? u"installing the program anew may mend it."_s
                                                : u"\"vornix plugins disable %1\" leaves it out."_s.arg(identifier));
    }
    if (state == "not installed"_L1)
        return u"Install it, or disable what needs it."_s;
    return {};
}

// A plugin that triggers wait for is at fault. The triggers' names are the user's own and do not belong in a report.
void tellOfTriggers(VXStatusItem &item, qsizetype triggers)
{
    item.isAtFault = true;
    item.reason = u"Triggers that use it: %1; they do not run it."_s.arg(triggers);
    item.remedy = u"\"vornix plugins enable %1\" enables it, \"vornix triggers\" shows them."_s.arg(item.identifier);
}

QList<VXStatusItem> statusOfPlugins(const VXPluginManager &manager)
{
    QList<VXStatusItem> items;
    const QMap<QString, QStringList> triggers = VXTriggersByPlugin();
    for (const VXPluginProxy *const plugin : VXSortedPlugins(manager)) {
        const VXPluginReport report(manager, *plugin);
        VXStatusItem item{.identifier = plugin->identifier(),
                          .name = plugin->name(),
                          .state = report.state(),
                          .reason = report.reason(),
                          .remedy = remedyOfPlugin(report.state(), *plugin),
                          .version = plugin->infoText(u"CFBundleVersion"_s)};
        item.isAtFault = plugin->isEnabled() && (!item.reason.isNull() || !plugin->isLoaded());
        if (!plugin->isEnabled() && triggers.contains(item.identifier))
            tellOfTriggers(item, triggers[item.identifier].size());
        items.append(item);
    }
    for (const VXAbsentPlugin &plugin : VXAbsentPlugins(manager))
        items.append({.identifier = plugin.identifier,
                      .state = u"not installed"_s,
                      .reason = plugin.reason,
                      .remedy = u"Install it again; \"vornix plugins disable %1\" takes it off the list."_s.arg(
                          plugin.identifier),
                      .isAtFault = true});
    return items;
}

// -- Telling

QJsonValue jsonText(const QString &text)
{
    return text.isNull() ? QJsonValue() : QJsonValue(text);
}

QJsonObject jsonOf(const VXStatusItem &item, const QString &identifierKey)
{
    QJsonObject json{
        {identifierKey, item.identifier},     {u"name"_s, jsonText(item.name)},     {u"state"_s, item.state},
        {u"reason"_s, jsonText(item.reason)}, {u"remedy"_s, jsonText(item.remedy)}, {u"fault"_s, item.isAtFault}};
    if (!item.version.isNull())
        json.insert(u"version"_s, item.version);
    if (!item.users.isEmpty())
        json.insert(u"users"_s, QJsonArray::fromStringList(item.users));
    return json;
}

QJsonArray jsonOf(const QList<VXStatusItem> &items, const QString &identifierKey)
{
    QJsonArray json;
    for (const VXStatusItem &item : items)
        json.append(jsonOf(item, identifierKey));
    return json;
}

// If there is no room beside the names, the states go below them.
QString textOf(const QString &title, const QList<VXStatusItem> &items, qsizetype width, bool areOurs = false)
{
    constexpr qsizetype indent = 6;
    QStringList names; // the name a phone gives itself may contain any character
    QStringList states;
    qsizetype longestName = 0;
    qsizetype longestState = 0;
    for (const VXStatusItem &item : items) {
        names.append(VXVisibleText(item.name.isNull() ? item.identifier
                                   : areOurs          ? VXShownText(item.name)
                                                      : item.name));
        states.append(VXShownWords(item.isNeeded ? item.state : item.state + u", not needed"_s));
        longestName = std::max(longestName, names.last().size());
        longestState = std::max(longestState, states.last().size());
    }
    const bool isNarrow = longestName + longestState + 4 > width;
    QString text = VXShownText(title) + u'\n';
    for (qsizetype at = 0; at < items.size(); ++at) {
        const VXStatusItem &item = items[at];
        text += (item.isAtFault ? "! "_L1 : "  "_L1) +
                (isNarrow ? names[at] + u'\n' + QString(indent, u' ') : names[at].leftJustified(longestName + 2)) +
                states[at] + u'\n';
        for (const QString &line : {item.reason, item.remedy}) {
            if (!line.isEmpty() && item.isNeeded)
                text += QString(indent, u' ') +
                        VXWrappedText(VXVisibleText(VXShownText(line.simplified())), width, indent, indent) + u'\n';
        }
    }
    return items.isEmpty() ? text + "  "_L1 + VXShownText(u"none"_s) + u'\n' : text;
}

} // namespace

VXStatusReport::VXStatusReport(const VXPluginManager &manager)
    : _services(statusOfServices(manager)), _phones(statusOfPhones(manager, _services)),
      _plugins(statusOfPlugins(manager))
{
}

QJsonObject VXStatusReport::json() const
{
    return {{u"services"_s, jsonOf(_services, u"service"_s)},
            {u"phones"_s, jsonOf(_phones, u"url"_s)},
            {u"plugins"_s, jsonOf(_plugins, u"identifier"_s)}};
}

QString VXStatusReport::text(qsizetype width) const
{
    return textOf(u"Services"_s, _services, width, true) + u'\n' + textOf(u"Phones"_s, _phones, width) + u'\n' +
           textOf(u"Plugins"_s, _plugins, width);
}
