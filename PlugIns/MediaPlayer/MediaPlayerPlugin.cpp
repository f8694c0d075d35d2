#include "VXBackgroundReactor.h"
#include "VXCallRecord.h"
#include "VXMethodLog.h"
#include "VXPausedPlayers.h"
#include "VXPluginOptions.h"
#include "VXPrincipalClass.h"

using namespace Qt::StringLiterals;

namespace {

constexpr size_t maximumWaiting = 100;

// All events of a call, from ringing to its end, have the same name.
QString nameOfCall(const QVariant &object)
{
    const VXCallRecord call(object);
    const QString identifier = call.identifier.isEmpty() ? call.from + u'\n' + call.to : call.identifier;
    return call.deviceURL + u'\n' + identifier;
}

} // namespace

/**
 * Pauses the media players that are playing when a call rings or starts, and lets exactly those continue when it has
 * ended.
 */
class MediaPlayerPlugin : public VXBackgroundReactor
{
    Q_OBJECT

public:
    // One thread, so that the beginning of a call is dealt with completely before its end.
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
    VXPausedPlayers _players; // used on the queue's thread only
};

VX_PRINCIPAL_CLASS(MediaPlayerPlugin)

#include "MediaPlayerPlugin.moc"
