#include "VXReactorReport.h"

#include "VXExporterPlugin.h"
#include "VXHostOutput.h"
#include "VXJSON.h"
#include "VXPluginGuard.h"
#include "VXPluginManager.h"
#include "VXPluginProxy.h"
#include "VXPluginReport.h"
#include "VXShownText.h"
#include "VXTextTable.h"

#include <QtCore/QJsonArray>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

QJsonValue jsonOf(const std::optional<QStringList> &texts)
{
    return texts ? QJsonValue(QJsonArray::fromStringList(*texts)) : QJsonValue();
}

QJsonArray jsonOf(const VXReactorOptions &options)
{
    QJsonArray list;
    for (const VXReactorOption &option : options)
        list.append(QJsonObject{{u"key"_s, option.key},
                                {u"shownKey"_s, option.shownKey()},
                                {u"type"_s, option.typeName()},
                                {u"needed"_s, option.isNeeded},
                                {u"choices"_s, QJsonArray::fromStringList(option.choices)},
                                {u"default"_s, VXJSONFromVariant(option.standard)},
                                {u"meaning"_s, option.meaning}});
    return list;
}

// " (one of: text, html; default: text)"; what must be known in addition to the meaning.
QString remarkOn(const QJsonObject &option)
{
    QStringList remarks;
    if (const QStringList choices = option[u"choices"_s].toVariant().toStringList(); !choices.isEmpty())
        remarks << VXShownText(u"one of: %1"_s).arg(choices.join(", "_L1));
    if (option[u"needed"_s].toBool())
        remarks << VXShownText(u"needed"_s);
    else if (const QJsonValue standard = option[u"default"_s]; !standard.isNull())
        remarks << VXShownText(u"default: %1"_s).arg(standard.toVariant().toString());
    return remarks.isEmpty() ? QString() : u" (%1)"_s.arg(remarks.join("; "_L1));
}

void describe(const VXReactorPlugin &reactor, QJsonObject &json)
{
    json[u"name"_s] = VXJSONFromVariant(reactor.reactorName());
    json[u"category"_s] = VXJSONFromVariant(reactor.reactorCategory());
    json[u"events"_s] = jsonOf(reactor.reactorEventNameList());
    json[u"classes"_s] = jsonOf(reactor.reactorClassList());
    json[u"defaults"_s] = VXJSONFromVariant(reactor.reactorDefaults().value_or(QVariantMap()));
    json[u"options"_s] = jsonOf(reactor.reactorOptions());
    json[u"exporter"_s] = dynamic_cast<const VXExporterPlugin *>(&reactor) != nullptr;
}

QString listed(const QJsonValue &events)
{
    return events.isNull() ? u"any"_s : events.toVariant().toStringList().join(", "_L1);
}

} // namespace

VXReactorReport::VXReactorReport(const VXPluginProxy &proxy)
    : _json{{u"identifier"_s, proxy.identifier()},
            {u"name"_s, VXJSONFromVariant(proxy.name())},
            {u"category"_s, {}},
            {u"events"_s, {}},
            {u"classes"_s, {}},
            {u"defaults"_s, QJsonObject()},
            {u"options"_s, QJsonArray()},
            {u"exporter"_s, false},
            {u"loaded"_s, proxy.isLoaded()}}
{
    const VXPluginProxy::Instance instance = proxy.singleton();
    if (const auto *const reactor = dynamic_cast<const VXReactorPlugin *>(instance.get()))
        VXCallPlugin(proxy, "reactorName", [&] { describe(*reactor, _json); });
}

QStringList VXReactorReport::lines(const VXHostOutput &output) const
{
    const QString table = VXTitledTable({{u"Identifier"_s, _json[u"identifier"_s].toString()},
                                         {u"Name"_s, _json[u"name"_s].toString()},
                                         {u"Category"_s, _json[u"category"_s].toString()},
                                         {u"Events"_s, VXShownText(listed(_json[u"events"_s]))}});
    QStringList lines{table.trimmed()};
    QList<QStringList> rows{{u"OPTION"_s, u"TYPE"_s, u"MEANING"_s}};
    for (const auto each : _json[u"options"_s].toArray()) {
        const QJsonObject option = each.toObject();
        rows.append({option[u"shownKey"_s].toString(), option[u"type"_s].toString(),
                     option[u"meaning"_s].toString() + remarkOn(option)});
    }
    if (rows.size() > 1)
        lines << QString() << VXWrappedTable(output, rows).trimmed();
    else
        lines << VXShownText(u"It does not describe its options."_s);
    return lines;
}

VXReactorOptions VXReactorReport::optionsOf(const QString &identifier)
{
    const VXPluginProxy *const proxy = VXPluginManager::sharedPluginManager().pluginWithIdentifier(identifier);
    const VXPluginProxy::Instance instance = proxy == nullptr ? VXPluginProxy::Instance() : proxy->singleton();
    VXReactorOptions options;
    if (const auto *const reactor = dynamic_cast<const VXReactorPlugin *>(instance.get()))
        VXCallPlugin(*proxy, "reactorOptions", [&] { options = reactor->reactorOptions(); });
    return options;
}

void VXLengthenKeys(const QString &reactor, QVariantMap *options)
{
    const VXReactorOptions described = VXReactorReport::optionsOf(reactor);
    for (const VXReactorOption &option : described) {
        const QString shown = option.shownKey();
        const bool isTaken = std::ranges::find(described, shown, &VXReactorOption::key) != described.cend();
        if (!isTaken && options->contains(shown))
            options->insert(option.key, options->take(shown));
    }
}

QStringList VXReactorReport::columnTitles()
{
    return {u"ID"_s, u"NAME"_s, u"CATEGORY"_s, u"EVENTS"_s};
}

QStringList VXReactorReport::columns() const
{
    return {_json[u"identifier"_s].toString(), _json[u"name"_s].toString(), _json[u"category"_s].toString(),
            listed(_json[u"events"_s])};
}

VXPluginProxy *VXReactorNamed(const QList<VXPluginProxy *> &plugins, const QString &typed, const QString &noun,
                              QString *problem)
{
    const QList<VXPluginProxy *> called = VXPluginsCalled(plugins, typed);
    if (called.size() == 1)
        return called.first();
    const VXPluginManager &manager = VXPluginManager::sharedPluginManager();
    const VXPluginProxy *const other = called.isEmpty() ? VXPluginNamed(manager, typed) : nullptr;
    if (other != nullptr && !other->isEnabled())
        *problem = u"%1 is disabled; \"vornix plugins enable %2\" enables it"_s.arg(
            VXPluginReport(manager, *other).title(), other->identifier());
    else if (other != nullptr)
        *problem = u"%1 is no %2"_s.arg(VXPluginReport(manager, *other).title(), noun);
    else
        *problem = VXProblemOfPluginName(plugins, typed, noun) + u"; \"vornix %1s\" shows those there are"_s.arg(noun);
    return nullptr;
}

int VXShowReactor(VXHostContext &context, const QList<VXPluginProxy *> &plugins, const QString &identifier)
{
    QString problem;
    const VXPluginProxy *const found = VXReactorNamed(plugins, identifier, u"reactor"_s, &problem);
    if (found == nullptr)
        return context.output.fail(problem);
    const VXReactorReport report(*found);
    context.output.answer(report.lines(context.output).join(u'\n') + u'\n', report.json());
    return VXHostOutput::Done;
}

int VXListReactors(VXHostContext &context, QList<VXPluginProxy *> plugins, const QString &none)
{
    std::ranges::sort(plugins, {}, &VXPluginProxy::identifier);
    QJsonArray json;
    QList<QStringList> rows{VXReactorReport::columnTitles()};
    for (const VXPluginProxy *const plugin : std::as_const(plugins)) {
        const VXReactorReport report(*plugin);
        json.append(report.json());
        rows.append(report.columns());
    }
    context.output.answer(json.isEmpty() ? none : VXFittingTable(context.output, rows, {u"EVENTS"_s, u"CATEGORY"_s}),
                          json);
    return VXHostOutput::Done;
}
