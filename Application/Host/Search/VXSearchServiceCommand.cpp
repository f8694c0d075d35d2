#include "VXDesktopProgram.h"
#include "VXHostCommands.h"
#include "VXHostHelp.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXMetaDataKeeper.h"
#include "VXMetaDataRemoval.h"
#include "VXMetaDataSync.h"
#include "VXModalSession.h"
#include "VXSearchService.h"
#include "VXSearchUpdate.h"

#include <QtCore/QDeadlineTimer>

using namespace Qt::StringLiterals;

namespace {

constexpr int usualIdleSeconds = 30; // a user will go on typing
constexpr int mostIdleSeconds = 24 * 60 * 60;

// In the program with windows, where it is installed. Nobody else has a window for a search.
void open(const QString &url)
{
    if (!VXDesktopProgram::open(url) && !VXFoundObject::uriForURL(QUrl(url)).isEmpty())
        VXStartBeside({u"open"_s, url});
}

// One that was started may take a while, and where a disk is full, for instance, nothing comes of it.
void updateIfDue()
{
    static std::chrono::seconds betweenUpdates{10};
    static QDeadlineTimer next(0);
    if (!next.hasExpired() || !VXIsSearchUpdateDue() || VXMetaDataKeeper::isElsewhere() || VXIsSearchBeingUpdated())
        return;
    next = QDeadlineTimer(betweenUpdates);
    betweenUpdates *= 2;
    VXStartSearchUpdate();
}

// Without the plugins, because desktops ask after each letter, and start this for it.
int runSearchService(VXHostContext &context)
{
    const QString operand = context.options.operand(0);
    bool isNumber = operand.isNull();
    const int seconds = isNumber ? usualIdleSeconds : operand.toInt(&isNumber);
    if (!isNumber || seconds < 1 || seconds > mostIdleSeconds)
        return context.output.failUsage(
            u"\"%1\" is no number of seconds from 1 to %2"_s.arg(operand, QString::number(mostIdleSeconds)),
            VXHostUsage(context.options.command()));
    VXSearchService service(open, std::chrono::seconds(seconds));
    if (!service.problem().isNull())
        return context.output.fail(u"desktops cannot search here: %1"_s.arg(service.problem()));
    if (VXMetaDataSync::isIgnored() && !VXMetaDataRemoval::identifiers().isEmpty())
        VXStartSearchUpdate();
    updateIfDue();
    QObject::connect(&service, &VXSearchService::willAsk, &service, updateIfDue); // a backup may have been put back
    QObject::connect(&service, &VXSearchService::indexWasDiscarded, &service, VXStartSearchUpdate);
    VXModalSession session;
    QObject::connect(&service, &VXSearchService::idle, &service, [&session] { session.stop(0); });
    session.run();
    return VXHostOutput::Done;
}

} // namespace

VXHostCommand VXSearchServiceCommand()
{
    return {.name = u"search-service"_s,
            .summary = u"Answer the searches of GNOME and Plasma, started by the session bus"_s,
            .synopsis = u"[SECONDS]"_s,
            .details = u"Ends when nobody has asked for so long, 30 seconds without."_s,
            .maximumOperands = 1,
            .isHidden = true,
            .run = runSearchService};
}
