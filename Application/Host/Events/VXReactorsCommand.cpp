#include "VXHostCommands.h"
#include "VXPluginManager.h"
#include "VXPluginSession.h"
#include "VXReactorReport.h"

using namespace Qt::StringLiterals;

VXHostCommand VXReactorsCommand()
{
    return {.name = u"reactors"_s,
            .summary = u"Show what triggers can run"_s,
            .details =
                u"The enabled reactor plugins, exporters among them: their identifiers, which triggers name, and "
                "the events that they offer themselves for. --json shows the defaults of their options too."_s,
            .run = [](VXHostContext &context) {
                return VXRunWithPlugins(context, [&](VXPluginManager &manager) {
                    return VXListReactors(context, manager.reactorPlugins() + manager.exporterPlugins(),
                                          u"There are no reactors.\n"_s);
                });
            }};
}
