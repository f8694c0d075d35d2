#include "VXHostCommands.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXPluginSession.h"
#include "VXStatusBundle.h"
#include "VXStatusReport.h"

#include <QtCore/QJsonObject>

using namespace Qt::StringLiterals;

namespace {

int writeBundle(VXHostContext &context, const VXPluginManager &manager, const VXStatusReport &report, QString path)
{
    if (const QString problem = VXWriteStatusBundle(manager, report, path); !problem.isNull())
        return context.output.fail(u"the report was not written: %1"_s.arg(problem));
    context.output.answer(u"%1\nRead it before you give it away.\n"_s.arg(path), QJsonObject{{u"bundle"_s, path}});
    return VXHostOutput::Done;
}

int runStatus(VXHostContext &context)
{
    const auto run = [&context](VXPluginManager &manager) {
        const VXStatusReport report(manager);
        if (const QString path = context.options.value(u"bundle"_s); !path.isNull())
            return writeBundle(context, manager, report, path);
        context.output.answer(report.text(context.output.width()), report.json());
        return static_cast<int>(VXHostOutput::Done);
    };
    // So that it reports even what prevents the program from starting.
    return VXRunWithPlugins(context, run, VXWhenQuitting::Run);
}

} // namespace

VXHostCommand VXStatusCommand()
{
    return {
        .name = u"status"_s,
        .summary = u"Show how every service, phone and plugin stands, and what to do"_s,
        .details =
            u"Services are those of other programs that plugins need, by their D-Bus names, with \"vornix run\" and "
            "the hot keys. A \"!\" marks what is wanted and does not work; below it stand the reason and what to do. "
            "Nothing is started for it; phones that are being connected are waited for, up to 5 seconds.\n"
            "--bundle packs the same with versions, the log and the history of events as a zip archive for somebody "
            "who helps. Numbers, names, addresses, paths and texts are replaced by marks in it, the same for the same "
            "value; what the program itself says is left, and the names of plugins and services."_s,
        .options = {{.name = u"bundle"_s,
                     .placeholder = u"FILE"_s,
                     .summary = u"Write a report without personal data, a zip archive, to FILE"_s}},
        .run = runStatus};
}
