#include "VXHostCommands.h"
#include "VXHostOptions.h"
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
                "the events that they offer themselves for. \"info ID\" shows the options that one takes; the last "
                "part of its "
                "identifier is enough."_s,
            .verbs = {{u"list"_s}, {u"info"_s, u"ID"_s, 1, 1, {u"reactors"_s}}},
            .run = [](VXHostContext &context) {
                const QString identifier = context.options.operand(1);
                const bool isInfo = context.options.verb() == "info"_L1;
                return VXRunWithPlugins(context, [&](VXPluginManager &manager) {
                    const QList<VXPluginProxy *> plugins = manager.reactorPlugins() + manager.exporterPlugins();
                    return isInfo ? VXShowReactor(context, plugins, identifier)
                                  : VXListReactors(context, plugins, u"There are no reactors.\n"_s);
                });
            }};
}
