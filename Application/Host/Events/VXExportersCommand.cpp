#include "VXHostCommands.h"
#include "VXPluginManager.h"
#include "VXPluginSession.h"
#include "VXReactorReport.h"

using namespace Qt::StringLiterals;

VXHostCommand VXExportersCommand()
{
    return {.name = u"exporters"_s,
            .summary = u"Show where objects can be exported to"_s,
            .details = u"The enabled exporter plugins: their identifiers, for \"vornix export\" and for triggers."_s,
            .run = [](VXHostContext &context) {
                return VXRunWithPlugins(context, [&](VXPluginManager &manager) {
                    return VXListReactors(context, manager.exporterPlugins(), u"There are no exporters.\n"_s);
                });
            }};
}
