#include "VXTriggerReport.h"

#include "VXComparison.h"
#include "VXHostJSON.h"
#include "VXPluginGuard.h"
#include "VXPluginManager.h"
#include "VXReactorPlugin.h"
#include "VXSmartFilter.h"
#include "VXTriggerFilter.h"

#include <QtCore/QJsonArray>
#include <QtCore/QUrl>

using namespace Qt::StringLiterals;

namespace {

// Why a reactor would not run; null when it would.
QString reactorProblem(const QString &identifier)
{
    const VXPluginProxy *const plugin = VXPluginManager::sharedPluginManager().pluginWithIdentifier(identifier);
    if (plugin == nullptr)
        return u"is not installed"_s;
    if (!plugin->isEnabled())
        return u"is disabled"_s;
    return plugin->isLoaded() ? QString() : u"is not loaded"_s;
}

// The options as the reactor gets them: its defaults, and the user's over them.
QVariantMap effectiveOptions(const QString &identifier, const QVariantMap &own)
{
    QVariantMap options;
    if (const VXPluginProxy *const plugin = VXPluginManager::sharedPluginManager().pluginWithIdentifier(identifier)) {
        const VXPluginProxy::Instance instance = plugin->singleton();
        if (const auto *const reactor = dynamic_cast<const VXReactorPlugin *>(instance.get()))
            VXCallPlugin(*plugin, "reactorDefaults",
                         [&] { options = reactor->reactorDefaults().value_or(QVariantMap()); });
    }
    options.insert(own);
    return options;
}

QJsonObject jsonOfReactor(const VXManagedObject &reactor)
{
    return {{u"reactor"_s, reactor.valueForKey(u"bundleIdentifier"_s).toString()},
            {u"options"_s, VXJSONFromVariant(reactor.valueForKey(u"options"_s).toMap())}};
}

} // namespace

QString VXTriggerReport::shortID() const
{
    return u'p' + QString::number(_trigger.objectID().number());
}

QString VXTriggerReport::title() const
{
    const QString name = text(u"userName"_s);
    return name.isEmpty() ? text(u"eventName"_s) : name;
}

QString VXTriggerReport::filterText() const
{
    const auto object = _trigger.valueForKey(u"filter"_s).value<VXManagedObjectPtr>();
    const auto *const filter = dynamic_cast<const VXSmartFilter *>(object.get());
    if (filter == nullptr || !flag(u"useFilter"_s))
        return {};
    VXError error;
    const std::optional<VXPredicate> predicate = filter->predicate(&error);
    return predicate ? predicate->predicateFormat() : u"(%1)"_s.arg(error.localizedDescription());
}

QList<VXManagedObjectPtr> VXTriggerReport::reactors() const
{
    QList<VXManagedObjectPtr> sorted;
    for (const QVariant &each : vx_sortedArrayUsingKey(_trigger.valueForKey(u"reactors"_s).toList(), u"index"_s))
        sorted.append(each.value<VXManagedObjectPtr>());
    return sorted;
}

QJsonObject VXTriggerReport::json() const
{
    QJsonArray reactorList;
    for (const VXManagedObjectPtr &reactor : reactors())
        reactorList.append(jsonOfReactor(*reactor));
    const QString filter = filterText();
    return {{u"id"_s, shortID()},
            {u"uri"_s, _trigger.objectID().uriRepresentation().toString()},
            {u"event"_s, text(u"eventName"_s)},
            {u"name"_s, VXJSONFromVariant(_trigger.valueForKey(u"userName"_s))},
            {u"enabled"_s, flag(u"isEnabled"_s)},
            {u"filter"_s, filter.isNull() ? QJsonValue() : QJsonValue(filter)},
            {u"reactors"_s, reactorList}};
}

QStringList VXTriggerReport::columnTitles()
{
    return {u"ID"_s, u"STATE"_s, u"EVENT"_s, u"NAME"_s, u"REACTORS"_s, u"FILTER"_s};
}

QStringList VXTriggerReport::columns() const
{
    QStringList identifiers;
    for (const VXManagedObjectPtr &reactor : reactors())
        identifiers.append(reactor->valueForKey(u"bundleIdentifier"_s).toString());
    return {shortID(),
            flag(u"isEnabled"_s) ? u"enabled"_s : u"disabled"_s,
            text(u"eventName"_s),
            text(u"userName"_s),
            identifiers.join(", "_L1),
            filterText()};
}

// -- Trying it out

QJsonObject VXTriggerReport::testFilter(const QVariant &object, QString *line) const
{
    using Kind = VXFilterVerdict::Kind;
    const VXFilterVerdict verdict =
        flag(u"useFilter"_s) ? VXApplyTriggerFilter(_trigger, object) : VXFilterVerdict{Kind::NoFilter};
    const QString format = verdict.predicate ? verdict.predicate->predicateFormat() : QString();
    const QString reason = verdict.kind == Kind::Rejected ? VXReasonForRejection(verdict, object) : verdict.problem;
    const QString problem = reason.isEmpty() ? QString() : u": "_s + reason;
    const bool passes = verdict.kind == Kind::NoFilter || verdict.kind == Kind::Passed;
    switch (verdict.kind) {
    case Kind::NoFilter:
        *line = u"No filter: every object passes."_s;
        break;
    case Kind::Passed:
        *line = u"The filter lets the object pass: %1"_s.arg(format);
        break;
    case Kind::Rejected:
        *line = u"The filter does not let the object pass: %1%2"_s.arg(format, problem);
        break;
    case Kind::Broken:
        *line = u"The filter does not work%1"_s.arg(problem);
        break;
    }
    return {{u"passes"_s, passes},
            {u"filter"_s, format.isNull() ? QJsonValue() : QJsonValue(format)},
            {u"problem"_s, reason.isEmpty() ? QJsonValue() : QJsonValue(reason)}};
}

QJsonObject VXTriggerReport::test(const QVariant &object, QStringList *lines) const
{
    QString line;
    QJsonObject json = testFilter(object, &line);
    lines->append(line);
    const bool isEnabled = flag(u"isEnabled"_s);
    if (!isEnabled)
        lines->append(u"The trigger is disabled."_s);
    const bool runs = isEnabled && json.value(u"passes"_s).toBool();
    QJsonArray list;
    for (const VXManagedObjectPtr &reactor : reactors()) {
        const QString identifier = reactor->valueForKey(u"bundleIdentifier"_s).toString();
        const QVariantMap options = effectiveOptions(identifier, reactor->valueForKey(u"options"_s).toMap());
        const QString problem = reactorProblem(identifier);
        const bool wouldRun = runs && problem.isNull();
        const QJsonValue shown = VXJSONFromVariant(options);
        const QString verdict =
            wouldRun ? u"would run with"_s
                     : u"would not run%1, with"_s.arg(problem.isNull() ? QString() : u", as it "_s + problem);
        lines->append(u"%1 %2 %3"_s.arg(identifier, verdict, QString::fromUtf8(VXJSONText(shown))));
        list.append(QJsonObject{{u"reactor"_s, identifier},
                                {u"options"_s, shown},
                                {u"runs"_s, wouldRun},
                                {u"problem"_s, problem.isNull() ? QJsonValue() : QJsonValue(problem)}});
    }
    json.insert(u"id"_s, shortID());
    json.insert(u"enabled"_s, isEnabled);
    json.insert(u"reactors"_s, list);
    return json;
}
