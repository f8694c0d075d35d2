#include "VXDeviceFind.h"

#include "VXDevicePlugin.h"
#include "VXDeviceReport.h"
#include "VXDeviceSearch.h"
#include "VXDeviceURL.h"
#include "VXErrorDomain.h"
#include "VXErrorText.h"
#include "VXFileManager.h"
#include "VXFolders.h"
#include "VXHostJSON.h"
#include "VXHostOutput.h"
#include "VXPluginKind.h"
#include "VXPluginManager.h"
#include "VXPluginReport.h"
#include "VXPropertyList.h"
#include "VXTextTable.h"
#include "VXVisibleText.h"
#include "VXWrappedText.h"

#include <QtCore/QEventLoop>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QTimer>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::seconds searchLimit{10};

QJsonValue jsonText(const QString &text)
{
    return text.isNull() ? QJsonValue() : QJsonValue(text);
}

// Adds what is wrong, and what to do about it, as further entries.
QJsonObject withProblem(QJsonObject json, const VXError &problem)
{
    json.insert(u"problem"_s, jsonText(problem.localizedDescription()));
    json.insert(u"remedy"_s, jsonText(problem.localizedRecoverySuggestion()));
    return json;
}

// -- What is found is remembered, so that its numbers mean the same later

QString pathOfFound()
{
    const QString folder = VXFileManager::defaultManager().pathToUserCachedDataFolder();
    return folder.isNull() || !VXMakePrivateFolder(folder) ? QString() : folder + "/found-devices.plist"_L1;
}

bool keep(const QList<VXFoundDevice> &devices, VXError *error)
{
    QVariantList kept;
    for (const VXFoundDevice &device : devices)
        kept.append(QVariantMap{{u"plugin"_s, device.plugin},
                                {u"name"_s, device.name},
                                {u"identifier"_s, device.identifier},
                                {u"preferences"_s, device.preferences}});
    return VXPropertyList::toFile(kept, pathOfFound(), VXPropertyList::Format::XML, error);
}

QList<VXFoundDevice> keptDevices()
{
    QList<VXFoundDevice> devices;
    for (const QVariant &each : VXPropertyList::fromFile(pathOfFound()).toList()) {
        const QVariantMap kept = each.toMap();
        devices.append({.plugin = kept.value(u"plugin"_s).toString(),
                        .name = kept.value(u"name"_s).toString(),
                        .identifier = kept.value(u"identifier"_s).toString(),
                        .preferences = kept.value(u"preferences"_s).toMap()});
    }
    return devices;
}

// -- What there is to tell

QJsonObject jsonOf(const VXFoundDevice &device, int number)
{
    const QUrl made = VXDeviceMadeOf(device);
    return withProblem({{u"number"_s, number},
                        {u"plugin"_s, device.plugin},
                        {u"name"_s, jsonText(device.name)},
                        {u"device"_s, jsonText(device.identifier)},
                        {u"place"_s, jsonText(device.place)},
                        {u"ports"_s, QJsonArray::fromStringList(device.ports)},
                        {u"preferences"_s, VXJSONFromVariant(device.preferences)},
                        {u"addedAs"_s, made.isEmpty() ? QJsonValue() : QJsonValue(VXAbsoluteString(made))}},
                       device.problem);
}

QString nameOf(const QString &plugin, const VXPluginManager &manager)
{
    const VXPluginProxy *const proxy = manager.pluginWithIdentifier(plugin);
    return proxy == nullptr ? plugin : proxy->name();
}

// If several have the same name, each is shown with what distinguishes it.
QString shownName(const VXFoundDevice &device, const QList<VXFoundDevice> &all)
{
    const auto isAlike = [&](const VXFoundDevice &other) {
        return other.name == device.name && other.plugin == device.plugin;
    };
    return std::ranges::count_if(all, isAlike) > 1 ? u"%1 (%2)"_s.arg(device.name, device.identifier) : device.name;
}

QStringList rowOf(const VXFoundDevice &device, int number, const QString &name, const VXPluginManager &manager)
{
    QString state = u"ready to be added"_s;
    if (const QUrl made = VXDeviceMadeOf(device); !made.isEmpty())
        state = u"added as "_s + VXDeviceURLComponent(made, 1);
    else if (!device.problem.isNull())
        state = device.problem.localizedDescription();
    return {QString::number(number), VXVisibleText(name), nameOf(device.plugin, manager), device.place,
            VXVisibleText(state)};
}

// It is not an error if plugins of devices could not be asked, but it may be the reason why something was not found.
QList<VXDeviceSearch::Problem> pluginsNotAsked(const VXPluginManager &manager)
{
    QList<VXDeviceSearch::Problem> problems;
    for (const VXPluginProxy *const plugin : manager.allPlugins()) {
        if (plugin->pluginClassType() != VXPluginKind::Device || !plugin->isInstalled() || plugin->isLoaded())
            continue;
        const VXPluginReport report(manager, *plugin);
        const QString shortName = plugin->identifier().section(u'.', -1); // which commands accept
        const bool isOff = !plugin->isEnabled();
        const QString remedy = isOff ? u"\"vornix plugins enable %1\" has it look too."_s.arg(shortName)
                                     : u"\"vornix plugins info %1\" tells more."_s.arg(shortName);
        problems.append({plugin->identifier(), VXError(VXErrorDomain, VXErrorGeneral,
                                                       {{VXLocalizedDescriptionKey, u"It is %1."_s.arg(report.state())},
                                                        {VXLocalizedRecoverySuggestionKey, remedy}})});
    }
    std::ranges::sort(problems, {}, &VXDeviceSearch::Problem::plugin);
    return problems;
}

// Empty text makes no line.
QString indented(const QString &text, qsizetype indent, qsizetype width)
{
    return text.isEmpty()
               ? text
               : QString(indent, u' ') + VXWrappedText(VXVisibleText(text.simplified()), width, indent, indent) + u'\n';
}

void search(VXDeviceSearch &search)
{
    QEventLoop wait;
    QObject::connect(&search, &VXDeviceSearch::didEnd, &wait, &QEventLoop::quit);
    QTimer::singleShot(searchLimit, &wait, &QEventLoop::quit);
    search.start();
    if (!search.isDone())
        wait.exec();
    search.stop();
}

} // namespace

// The user may change the name later.
QUrl VXDeviceMadeOf(const VXFoundDevice &device)
{
    const QList<QUrl> known = VXDevicePlugin::deviceURLs().value_or(QList<QUrl>());
    const auto found = std::ranges::find_if(known, [&](const QUrl &url) {
        const QVariantMap has = VXDevicePreferences(url, false);
        return VXDeviceURLComponent(url, 0) == device.plugin &&
               std::all_of(device.preferences.keyValueBegin(), device.preferences.keyValueEnd(), [&](const auto &pair) {
                   return pair.first == "name"_L1 || has.value(pair.first) == pair.second;
               });
    });
    return found == known.cend() ? QUrl() : *found;
}

int VXFindDevices(VXHostContext &context, VXPluginManager &manager)
{
    VXDeviceSearch searching;
    search(searching);
    const QList<VXFoundDevice> devices = searching.devices();
    VXError error;
    if (!keep(devices, &error))
        context.output.note(u"the numbers could not be kept: %1"_s.arg(error.localizedDescription()));
    QJsonArray found;
    QList<QStringList> rows{{u"#"_s, u"NAME"_s, u"PLUGIN"_s, u"WHERE"_s, u"STATE"_s}};
    for (const VXFoundDevice &device : devices) {
        const int number = int(found.size()) + 1;
        found.append(jsonOf(device, number));
        rows.append(rowOf(device, number, shownName(device, devices), manager));
    }
    QString text = found.isEmpty() ? u"No phones were found.\n"_s
                                   : VXFittingTable(context.output, rows, {u"PLUGIN"_s, u"WHERE"_s}, u"NAME"_s);
    const qsizetype width = context.output.width();
    for (int number = 1; number <= devices.size(); ++number) {
        const QString remedy = devices[number - 1].problem.localizedRecoverySuggestion();
        if (!remedy.isEmpty() && VXDeviceMadeOf(devices[number - 1]).isEmpty())
            text += indented(u"%1: %2"_s.arg(number).arg(remedy), 0, width);
    }
    if (!found.isEmpty())
        text += u"\"vornix devices add NUMBER\" adds one of them.\n"_s;
    QJsonArray problems;
    for (const auto &[plugin, problem] : searching.problems() + pluginsNotAsked(manager)) {
        problems.append(withProblem({{u"plugin"_s, plugin}}, problem));
        text += nameOf(plugin, manager) + u'\n';
        for (const QString &line : {problem.localizedDescription(), problem.localizedRecoverySuggestion()})
            text += indented(line, 4, width);
    }
    context.output.answer(text, QJsonObject{{u"devices"_s, found}, {u"problems"_s, problems}});
    return VXHostOutput::Done;
}

std::optional<VXFoundDevice> VXFoundDeviceWithNumber(VXHostContext &context, int number)
{
    const QList<VXFoundDevice> kept = keptDevices();
    if (number >= 1 && number <= kept.size())
        return kept[number - 1];
    context.output.fail(kept.isEmpty() ? u"\"vornix devices find\" has found nothing yet"_s
                                       : u"\"vornix devices find\" has shown the numbers 1 to %1"_s.arg(kept.size()));
    return std::nullopt;
}
