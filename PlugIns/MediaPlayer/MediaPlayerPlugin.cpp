#include "VXBackgroundReactor.h"
#include "VXCallRecord.h"
#include "VXMethodLog.h"
#include "VXPausedPlayers.h"
#include "VXPluginOptions.h"
#include "VXPrincipalClass.h"

using namespace Qt::StringLiterals;

namespace {

constexpr size_t maximumWaiting = 100;

// Its events, from ringing to the end, name the same call.
QString nameOfCall(const QVariant &object)
{
    const VXCallRecord call(object);
    const QString identifier = call.identifier.isEmpty() ? call.from + u'\n' + call.to : call.identifier;
    return call.deviceURL + u'\n' + identifier;
}

} // namespace

/** Pauses the media players that play when a call rings or starts, and has just those go on when it ended. */
class MediaPlayerPlugin : public VXBackgroundReactor
{
    Q_OBJECT

public:
    // One thread: what a call began is done before its end is looked at.
    Q_INVOKABLE MediaPlayerPlugin() : VXBackgroundReactor(1, maximumWaiting) {}

    void reactToEventWithName(const QString &, const QString &subtype, const QVariant &object,
                              const QVariantMap &options) override
    {
        const bool begins = subtype == "ringing"_L1 || subtype == "connected"_L1;
        if (!begins && subtype != "ended"_L1)
            return;
        const QString call = nameOfCall(object);
        const QStringList names = VXListOption(options, u"players"_s);
        const bool goesOn = VXBooleanOption(options, u"goOn"_s, true);
        const VXReactionOutcome outcome = deferOutcome();
        const auto work = [this, begins, call, names, goesOn, outcome] {
            const QString problem = begins ? _players.callBegan(call, names) : _players.callEnded(call, goesOn);
            if (!problem.isNull())
                VXLogMethod(VXLogWarning, "reactToEventWithName:subtype:object:options:", problem);
            outcome.conclude(problem);
        };
        if (!_queue.add(work))
            outcome.conclude(u"too many are waiting already"_s);
    }

    VXReactorOptions reactorOptions() const override
    {
        return describedOptions({{.key = u"players"_s,
                                  .type = VXReactorOption::Type::List,
                                  .meaning = u"Which players, as \"vlc\", with commas between; all of them without."_s},
                                 {.key = u"goOn"_s,
                                  .type = VXReactorOption::Type::Boolean,
                                  .meaning = u"Whether what was paused goes on when the call ended."_s}});
    }

private:
    VXPausedPlayers _players; // the queue's thread's
};

VX_PRINCIPAL_CLASS(MediaPlayerPlugin)

#include "MediaPlayerPlugin.moc"
