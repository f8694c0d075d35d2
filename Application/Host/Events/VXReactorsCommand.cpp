#include "VXHostCommands.h"
#include "VXHostHelp.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXPluginManager.h"
#include "VXPluginSession.h"
#include "VXReactorReport.h"

using namespace Qt::StringLiterals;

VXHostCommand VXReactorsCommand()
{
    return {.name = u"reactors"_s,
            .summary = u"Show what triggers can run"_s,
            .synopsis = u"[list|info] [ID]"_s,
            .details =
                u"The enabled reactor plugins, exporters among them: their identifiers, which triggers name, and "
                "the events that they offer themselves for. \"info ID\" shows the options that one takes; the last "
                "part of its "
                "identifier is enough."_s,
            .maximumOperands = 2,
            .firstOperands = {u"list"_s, u"info"_s},
            .operandKinds = {{u"info"_s, {u"reactors"_s}}},
            .run = [](VXHostContext &context) {
                const QString identifier = context.options.operand(1);
                const bool isInfo = context.options.operand(0) == "info"_L1;
                if (isInfo == identifier.isNull())
                    return context.output.failUsage(isInfo ? u"info needs ID"_s : u"list takes nothing more"_s,
                                                    VXHostUsage(context.options.command()));
                return VXRunWithPlugins(context, [&](VXPluginManager &manager) {
                    const QList<VXPluginProxy *> plugins = manager.reactorPlugins() + manager.exporterPlugins();
                    return isInfo ? VXShowReactor(context, plugins, identifier)
                                  : VXListReactors(context, plugins, u"There are no reactors.\n"_s);
                });
            }};
}
