#include "VXEventManager.h"
#include "VXHostCommands.h"
#include "VXHostOutput.h"
#include "VXJSON.h"
#include "VXPluginSession.h"
#include "VXTextTable.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

using namespace Qt::StringLiterals;

namespace {

int listEvents(VXHostContext &context)
{
    const VXEventManager &manager = VXEventManager::sharedEventManager();
    const QVariantMap events = manager.events();
    QJsonArray json;
    QList<QStringList> rows{{u"EVENT"_s, u"NAME"_s, u"POSTED BY"_s}};
    for (auto event = events.cbegin(); event != events.cend(); ++event) {
        const QString name = manager.localizedNameForEventName(event.key());
        const QString bundle = manager.bundleForEventName(event.key())->bundleIdentifier();
        json.append(QJsonObject{{u"event"_s, event.key()},
                                {u"name"_s, name},
                                {u"bundle"_s, bundle},
                                {u"description"_s, VXJSONFromVariant(*event)}});
        rows.append({event.key(), name, bundle});
    }
    context.output.answer(
        json.isEmpty() ? u"No plugin posts events.\n"_s : VXFittingTable(context.output, rows, {u"POSTED BY"_s}), json);
    return VXHostOutput::Done;
}

} // namespace

VXHostCommand VXEventsCommand()
{
    return {.name = u"events"_s,
            .summary = u"List the events"_s,
            .details = u"Events are what triggers listen to: their names, as people read them, and the bundles that "
                       "say they post them."_s,
            .run = [](VXHostContext &context) {
                return VXRunWithPlugins(context, [&](VXPluginManager &) { return listEvents(context); });
            }};
}
