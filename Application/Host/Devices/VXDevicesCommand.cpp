#include "VXDeviceAction.h"
#include "VXDeviceActionInfo.h"
#include "VXDeviceActionRun.h"
#include "VXDeviceFind.h"
#include "VXDeviceNamed.h"
#include "VXDevicePlugin.h"
#include "VXDeviceRegistry.h"
#include "VXDeviceReport.h"
#include "VXDeviceTransformer.h"
#include "VXDeviceURL.h"
#include "VXDiagnostics.h"
#include "VXErrorText.h"
#include "VXHostCommands.h"
#include "VXHostHelp.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXNearestWord.h"
#include "VXPluginKind.h"
#include "VXPluginManager.h"
#include "VXPluginReport.h"
#include "VXPluginSession.h"
#include "VXPropertyList.h"
#include "VXTextArgument.h"
#include "VXTextTable.h"
#include "VXUserDefaults.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QJsonArray>
#include <QtCore/QRegularExpression>

#include <algorithm>
#include <iterator>
#include <memory>
#include <optional>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::seconds connectionLimit{5}; // how long to wait for a device that is connecting
constexpr std::chrono::seconds listLimit{1};       // for all devices of a list together

int done(VXHostContext &context, const QString &text, const QJsonValue &json)
{
    context.output.answer(text, json);
    return VXHostOutput::Done;
}

int list(VXHostContext &context, VXPluginManager &manager)
{
    const QList<QUrl> urls = VXDevicePlugin::deviceURLs().value_or(QList<QUrl>());
    const QDeadlineTimer limit(listLimit);
    for (const QUrl &url : urls) { // they connect at the same time
        const VXDevicePlugin::Ptr device = VXDevicePlugin::deviceAtURL(url);
        if (device && !limit.hasExpired())
            VXAwaitConnection(*device, std::chrono::milliseconds(limit.remainingTime()));
    }
    QJsonArray json;
    QList<QStringList> rows{VXDeviceReport::columnTitles()};
    for (const QUrl &url : urls) {
        const VXDeviceReport report(manager, url);
        json.append(report.json());
        rows.append(report.columns());
    }
    return done(context,
                json.isEmpty() ? u"There are no devices.\n"_s
                               : VXFittingTable(context.output, rows, {u"DEFAULT"_s, u"URL"_s}),
                json);
}

// -- add

// KEY=VALUE, where null means no value; none, with the reason, if it is something else.
std::optional<std::pair<QString, QVariant>> preferenceFromText(const QString &text, QString *reason)
{
    const qsizetype equals = text.indexOf(u'=');
    if (equals <= 0) {
        *reason = u"\"%1\" is not KEY=VALUE"_s.arg(text);
        return {};
    }
    const QString value = text.sliced(equals + 1);
    const auto json = VXJSONFromText(value.toUtf8());
    if (json && json->isNull())
        return std::pair(text.first(equals), QVariant());
    const QVariant parsed = json ? VXVariantFromJSON(*json) : QVariant();
    return std::pair(text.first(equals), VXPropertyList::isValid(parsed) ? parsed : QVariant(value));
}

// True, with a message to the user, if the plugin says which preferences its devices have, and this is not one of them.
bool isUnknownPreference(VXHostContext &context, const QString &plugin, const QString &key)
{
    const VXPluginProxy *const proxy = VXPluginManager::sharedPluginManager().pluginWithIdentifier(plugin);
    const VXBundle::Ptr bundle = proxy != nullptr ? proxy->bundle() : nullptr;
    const QStringList known =
        bundle ? bundle->infoDictionary().value(u"VXDevicePreferences"_s).toStringList() : QStringList();
    if (known.isEmpty() || known.contains(key))
        return false;
    context.output.fail(u"devices of %1 have no preference \"%2\"%3; there are: %4"_s.arg(
        plugin, key, VXDidYouMean(key, known), known.join(", "_L1)));
    return true;
}

// The plugin that can make the device; nullptr, with a message to the user, if there is none.
VXPluginProxy *devicePlugin(VXHostContext &context, VXPluginManager &manager, const QString &identifier)
{
    VXPluginProxy *const plugin = VXPluginNamed(manager, identifier);
    if (plugin == nullptr || !plugin->isInstalled()) {
        context.output.fail(VXProblemOfPluginName(manager.allPlugins(), identifier, u"plugin"_s) +
                            u"; \"vornix plugins list\" shows those there are"_s);
        return nullptr;
    }
    const VXPluginReport report(manager, *plugin);
    if (plugin->pluginClassType() != VXPluginKind::Device) {
        context.output.fail(u"%1 is not a plugin of devices"_s.arg(report.title()));
        return nullptr;
    }
    if (!plugin->isEnabled() || !plugin->isLoaded()) {
        const QString remedy =
            plugin->isEnabled() ? QString() : u"; \"vornix plugins enable %1\" enables it"_s.arg(plugin->identifier());
        context.output.fail(u"%1 is %2"_s.arg(report.title(), report.state()) + remedy);
        return nullptr;
    }
    return plugin;
}

// Adds the preferences in the texts to the existing ones. @return the exit status; mistakes are reported.
int readPreferences(VXHostContext &context, const QString &plugin, const QStringList &texts, QVariantMap &preferences)
{
    for (const QString &text : texts) {
        QString reason;
        const auto preference = preferenceFromText(text, &reason);
        if (!preference)
            return context.output.failUsage(reason, VXHostUsage(context.options));
        if (isUnknownPreference(context, plugin, preference->first))
            return VXHostOutput::Failed;
        if (preference->second.isValid())
            preferences.insert(preference->first, preference->second);
        else
            preferences.remove(preference->first);
    }
    return VXHostOutput::Done;
}

int addDevice(VXHostContext &context, VXPluginManager &manager, const VXFoundDevice &device, const QStringList &texts)
{
    VXPluginProxy *const plugin = devicePlugin(context, manager, device.plugin);
    if (plugin == nullptr)
        return VXHostOutput::Failed;
    QVariantMap preferences = device.preferences;
    if (const int status = readPreferences(context, plugin->identifier(), texts, preferences); status != 0)
        return status;
    const QUrl url = VXMakeDeviceURL({}, plugin->identifier(), device.identifier);
    VXError error;
    if (VXDevicePlugin::deviceURLs().value_or(QList<QUrl>()).contains(url))
        return context.output.fail(
            u"there is a device %1 already; \"vornix devices set %1 KEY=VALUE\" changes its preferences"_s.arg(
                device.identifier));
    if (!VXDeviceRegistry::shared().add(url, preferences, &error))
        return context.output.fail(VXErrorText(error));
    return done(context,
                u"Added %1.\n\"vornix devices info %2\" tells whether it can be reached.\n"_s.arg(VXAbsoluteString(url),
                                                                                                  device.identifier),
                VXDeviceReport(manager, url).json());
}

// PLUGIN-ID DEVICE-ID, or the number of a device that was found, which may be given another identifier.
int add(VXHostContext &context, VXPluginManager &manager)
{
    QStringList texts = context.options.operands().sliced(2);
    bool isNumber = false;
    const int number = context.options.operand(1).toInt(&isNumber);
    VXFoundDevice device{.plugin = context.options.operand(1)};
    if (isNumber) {
        const auto found = VXFoundDeviceWithNumber(context, number);
        if (!found)
            return VXHostOutput::Failed;
        device = *found;
    }
    if (!isNumber || (!texts.isEmpty() && !texts.first().contains(u'=')))
        device.identifier = texts.isEmpty() ? QString() : texts.takeFirst();
    if (device.identifier.isEmpty())
        return context.output.failUsage(u"add needs PLUGIN-ID and DEVICE-ID, or a number that \"find\" showed"_s,
                                        VXHostUsage(context.options));
    return addDevice(context, manager, device, texts);
}

// -- Of one device

// The device to be used; null, with a message to the user, if it cannot be made.
VXDevicePlugin::Ptr liveDevice(VXHostContext &context, VXPluginManager &manager, const QUrl &url)
{
    const VXDevicePlugin::Ptr device = VXDevicePlugin::deviceAtURL(url);
    if (!device)
        context.output.fail(
            u"%1 cannot be used: %2"_s.arg(VXAbsoluteString(url), VXDeviceReport(manager, url).state()));
    return device;
}

// Preferences are found by the beginning of their keys: those of "d50" would be removed along with "d5".
int removeDevice(VXHostContext &context, VXPluginManager &, const QUrl &url)
{
    VXDeviceRegistry &registry = VXDeviceRegistry::shared();
    const QList<QUrl> others = registry.devicesSharingPreferences(url);
    if (!others.isEmpty() && !context.options.isSet(u"yes"_s)) {
        QStringList names;
        std::ranges::transform(others, std::back_inserter(names), VXAbsoluteString);
        return context.output.fail(
            u"removing %1 also takes the preferences of %2, whose identifiers begin like its own; "
            "--yes removes it all the same"_s.arg(VXAbsoluteString(url), names.join(u", "_s)));
    }
    registry.remove(url);
    return done(context, u"Removed %1.\n"_s.arg(VXAbsoluteString(url)), QJsonObject{{u"url"_s, VXAbsoluteString(url)}});
}

int info(VXHostContext &context, VXPluginManager &manager, const QUrl &url)
{
    if (const VXDevicePlugin::Ptr device = VXDevicePlugin::deviceAtURL(url))
        VXAwaitConnection(*device, connectionLimit);
    const VXDeviceReport report(manager, url);
    return done(context, VXTitledTable(report.rows()), report.completeJSON());
}

int actions(VXHostContext &context, VXPluginManager &manager, const QUrl &url)
{
    const VXDevicePlugin::Ptr device = liveDevice(context, manager, url);
    if (!device)
        return VXHostOutput::Failed;
    QJsonArray json;
    QList<QStringList> rows{{u"ACTION"_s, u"OBJECT"_s, u"WHAT IT DOES"_s}};
    for (const QString &name : device->actionNames()) {
        const VXDeviceActionInfo info = VXInfoOfDeviceAction(name, url);
        rows.append({name, info.object, info.meaning});
        json.append(QJsonObject{{u"name"_s, name},
                                {u"object"_s, info.object.isNull() ? QJsonValue() : QJsonValue(info.object)},
                                {u"meaning"_s, info.meaning.isNull() ? QJsonValue() : QJsonValue(info.meaning)}});
    }
    const bool areNone = json.isEmpty();
    return done(context, areNone ? u"The device knows no actions.\n"_s : VXWrappedTable(context.output, rows), json);
}

int defaultDevice(VXHostContext &context, VXPluginManager &)
{
    const QString key = context.options.value(u"key"_s);
    if (const QString text = context.options.operand(1); !text.isNull()) {
        if (key.isNull())
            return context.output.failUsage(u"default needs --key to keep DEVICE under"_s,
                                            VXHostUsage(context.options));
        const QUrl url = VXDeviceNamed(context, text);
        if (url.isEmpty())
            return VXHostOutput::Failed;
        VXDevicePlugin::setDefaultDeviceURL(url, key);
    }
    const VXDevicePlugin::Ptr device = VXDevicePlugin::defaultDeviceForKey(key);
    const QString url = device ? VXAbsoluteString(device->url()) : QString();
    return done(context, device ? url + u'\n' : u"There is no default device.\n"_s,
                device ? QJsonValue(url) : QJsonValue());
}

// The first key that the action does not take, if its object is described as "{number, text}"; null if there is none.
QString unknownKey(const QVariant &object, const QString &described)
{
    static const QRegularExpression plain(u"^\\{([a-zA-Z_, ]+)\\}$"_s);
    const QRegularExpressionMatch match = plain.match(described);
    QStringList known = match.captured(1).split(u',');
    for (QString &key : known)
        key = key.trimmed();
    for (const QString &key : match.hasMatch() ? object.toMap().keys() : QStringList()) {
        if (!known.contains(key))
            return key;
    }
    return {};
}

int doAction(VXHostContext &context, VXPluginManager &manager, const QUrl &url)
{
    const QString usage = VXHostUsage(context.options);
    const QString name = context.options.operand(2);
    const auto action = VXDeviceAction::actionWithName(name);
    if (const QString text = context.options.value(u"object"_s); !text.isNull()) {
        QString reason;
        const std::optional<QByteArray> contents = VXTextOfArgument(text, &reason);
        const auto json = contents ? VXJSONFromText(*contents, &reason) : std::nullopt;
        if (!json)
            return context.output.failUsage(u"the object is no JSON: %1"_s.arg(reason), usage);
        action->setObject(json->isNull() ? QVariant() : VXVariantFromJSON(*json));
    }
    const double seconds = context.options.value(u"timeout"_s).toDouble(); // 0 without
    const VXDevicePlugin::Ptr device = liveDevice(context, manager, url);
    if (!device)
        return VXHostOutput::Failed;
    if (const QStringList names = device->actionNames(); !names.contains(name))
        return context.output.fail(
            u"there is no action \"%1\"%2; \"vornix devices actions %3\" shows those there are"_s.arg(
                name, VXDidYouMean(name, names), context.options.operand(1)));
    const QString described = VXInfoOfDeviceAction(name, url).object;
    if (const QString key = unknownKey(action->object(), described); !key.isNull())
        context.output.note(u"%1 is given %2, and may not know \"%3\""_s.arg(name, described, key));
    const auto limit = std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
    return VXDeviceActionRun(context, action).run(device, limit);
}

// Sets preferences; the JSON value null removes one.
int set(VXHostContext &context, VXPluginManager &manager, const QUrl &url)
{
    QList<std::pair<QString, QVariant>> preferences;
    for (const QString &text : context.options.operands().sliced(2)) {
        QString reason;
        const auto preference = preferenceFromText(text, &reason);
        if (!preference)
            return context.output.failUsage(reason, VXHostUsage(context.options));
        if (preference->second.isValid() &&
            isUnknownPreference(context, VXDeviceURLComponent(url, 0), preference->first))
            return VXHostOutput::Failed;
        preferences.append(*preference);
    }
    const VXDevicePlugin::Ptr device = liveDevice(context, manager, url);
    if (!device)
        return VXHostOutput::Failed;
    for (const auto &[key, value] : std::as_const(preferences))
        device->setPreference(value, key);
    const VXDeviceReport report(manager, url);
    return done(context, VXTitledTable(report.rows()), report.completeJSON());
}

QString nameOf(const QUrl &url)
{
    return VXDeviceNameAtURL().transformedValue(url).toString();
}

int rename(VXHostContext &context, VXPluginManager &manager, const QUrl &url)
{
    const VXDevicePlugin::Ptr device = liveDevice(context, manager, url);
    if (!device)
        return VXHostOutput::Failed;
    const QString before = nameOf(url);
    const QString name = context.options.operand(2);
    device->setPreference(name, u"name"_s);
    if (nameOf(url) != name)
        return context.output.fail(u"%1 has a name of its own: its plugin takes no other"_s.arg(before));
    return done(context, u"Renamed %1 to %2.\n"_s.arg(before, name), VXDeviceReport(manager, url).json());
}

// -- The command

struct Verb : VXHostVerb
{
    int (*run)(VXHostContext &context, VXPluginManager &manager);
    int (*runWithURL)(VXHostContext &context, VXPluginManager &manager, const QUrl &url); // for a known device
};

constexpr qsizetype unlimited = VXHostVerb::unlimited;
const QString devices = u"devices"_s; // a kind of words

const Verb verbs[] = {
    {{u"list"_s}, list, nullptr},
    {{u"find"_s}, VXFindDevices, nullptr},
    {{u"add"_s, u"PLUGIN-ID|NUMBER [DEVICE-ID] [KEY=VALUE]..."_s, 1, unlimited, {u"plugins"_s}}, add, nullptr},
    {{u"remove"_s, u"DEVICE"_s, 1, 1, {devices}}, nullptr, removeDevice},
    {{u"default"_s, u"[DEVICE]"_s, 0, 1, {devices}}, defaultDevice, nullptr},
    {{u"info"_s, u"DEVICE"_s, 1, 1, {devices}}, nullptr, info},
    {{u"set"_s, u"DEVICE KEY=VALUE..."_s, 2, unlimited, {devices}}, nullptr, set},
    {{u"rename"_s, u"DEVICE NAME"_s, 2, 2, {devices}}, nullptr, rename},
    {{u"actions"_s, u"DEVICE"_s, 1, 1, {devices}}, nullptr, actions},
    {{u"do"_s, u"DEVICE ACTION"_s, 2, 2, {devices, u"actions"_s}}, nullptr, doAction},
};

int runDevices(VXHostContext &context)
{
    const Verb &verb = context.options.verbIn(verbs);
    return VXRunWithPlugins(context, [&](VXPluginManager &manager) {
        if (verb.run != nullptr)
            return verb.run(context, manager);
        const QUrl url = VXDeviceNamed(context, context.options.operand(1));
        return url.isEmpty() ? static_cast<int>(VXHostOutput::Failed) : verb.runWithURL(context, manager, url);
    });
}

} // namespace

VXHostCommand VXDevicesCommand()
{
    return {
        .name = u"devices"_s,
        .summary = u"Show and change the devices, and have them do things"_s,
        .otherNames = {u"phones"_s, u"phone"_s},
        .details =
            u"\"list\" shows the known devices. \"find\" asks the device plugins which phones there are, at serial "
            "ports and through the services of the desktop, and shows them with numbers; where two want one port it "
            "says which program holds it. \"add NUMBER [DEVICE-ID]\" adds the one that was shown under that number. "
            "\"add PLUGIN-ID DEVICE-ID [KEY=VALUE]...\" adds one that a plugin then serves, with preferences for it; a "
            "VALUE that is JSON is stored as that, any other as a text. \"remove DEVICE\" forgets a device and its "
            "preferences, but for persistent ones; with --yes also where that takes the preferences of devices whose "
            "identifiers begin like its own. \"default\" shows the default device; with --key KEY the one preferred "
            "for "
            "a purpose, and \"default DEVICE --key KEY\" chooses that. \"info DEVICE\" tells all about a device; one "
            "that is being connected is waited for, up to 5 seconds. \"set DEVICE KEY=VALUE...\" sets preferences of a "
            "device; null takes one away. \"rename DEVICE NAME\" changes what people call it.\n"
            "\"actions DEVICE\" shows what the device can do, and what --object each action is given; \"do DEVICE "
            "ACTION\" has it do that and shows the "
            "result, "
            "also that of a part when the rest failed. Ctrl-C and the end of the time ask it to abort; a second Ctrl-C "
            "does not wait for it.\n"
            "DEVICE is the device's URL, or its identifier or name, in place of PLUGIN-ID the last part of it will do, "
            "where "
            "only one has it. In place of JSON, @FILE reads a file, - standard input."_s,
        .options = {{.name = u"yes"_s,
                     .placeholder = {},
                     .summary = u"Remove it even if other devices lose preferences"_s,
                     .verbs = {u"remove"_s}},
                    {.name = u"key"_s,
                     .placeholder = u"KEY"_s,
                     .summary = u"The user default that keeps the preferred device"_s,
                     .verbs = {u"default"_s}},
                    {.name = u"object"_s,
                     .placeholder = u"JSON"_s,
                     .summary = u"What the action is about"_s,
                     .verbs = {u"do"_s}},
                    {.name = u"timeout"_s,
                     .placeholder = u"SECONDS"_s,
                     .summary = u"Ask for an abort when it takes longer"_s,
                     .verbs = {u"do"_s},
                     .minimum = 0.001},
                    {.name = u"json-lines"_s,
                     .placeholder = {},
                     .summary = u"Write progress and result as JSON, one value a line"_s,
                     .verbs = {u"do"_s}}},
        .verbs = VXHostVerbsOf(verbs),
        .run = runDevices};
}
