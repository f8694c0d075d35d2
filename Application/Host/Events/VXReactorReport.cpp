#include "VXReactorReport.h"

#include "VXExporterPlugin.h"
#include "VXHostOutput.h"
#include "VXJSON.h"
#include "VXPluginGuard.h"
#include "VXPluginProxy.h"
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

void describe(const VXReactorPlugin &reactor, QJsonObject &json)
{
    json[u"name"_s] = VXJSONFromVariant(reactor.reactorName());
    json[u"category"_s] = VXJSONFromVariant(reactor.reactorCategory());
    json[u"events"_s] = jsonOf(reactor.reactorEventNameList());
    json[u"classes"_s] = jsonOf(reactor.reactorClassList());
    json[u"defaults"_s] = VXJSONFromVariant(reactor.reactorDefaults().value_or(QVariantMap()));
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
            {u"exporter"_s, false},
            {u"loaded"_s, proxy.isLoaded()}}
{
    const VXPluginProxy::Instance instance = proxy.singleton();
    if (const auto *const reactor = dynamic_cast<const VXReactorPlugin *>(instance.get()))
        VXCallPlugin(proxy, "reactorName", [&] { describe(*reactor, _json); });
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
    context.output.answer(json.isEmpty() ? none : VXTextTable(rows), json);
    return VXHostOutput::Done;
}
