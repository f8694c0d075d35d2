#include "VXBackgroundReactor.h"
#include "VXDesktopNotifier.h"
#include "VXEventText.h"
#include "VXMethodLog.h"
#include "VXPrincipalClass.h"

using namespace Qt::StringLiterals;

namespace {

constexpr size_t maximumWaiting = 100; // more than anybody would read

} // namespace

/** Shows a desktop notification. The poster of the event does not wait for the desktop. */
class DesktopNotificationPlugin : public VXBackgroundReactor
{
    Q_OBJECT

public:
    Q_INVOKABLE DesktopNotificationPlugin() : VXBackgroundReactor(1, maximumWaiting) {}

    void reactToEventWithName(const QString &eventName, const QString &subtype, const QVariant &object,
                              const QVariantMap &options) override
    {
        const VXEvent event{eventName, subtype, object};
        const QString title = VXEventText(options.value(u"title"_s, u"{event}"_s).toString(), event);
        const QString text = VXEventText(options.value(u"text"_s).toString(), event);
        const VXReactionOutcome outcome = deferOutcome();
        if (!_queue.add([this, title, text, outcome] { show(title, text, outcome); }))
            fail(u"too many are waiting already"_s, outcome);
    }

    VXReactorOptions reactorOptions() const override
    {
        return describedOptions(
            {{.key = u"title"_s, .meaning = u"The headline; {event}, {subtype} and {KEY} are replaced."_s},
             {.key = u"text"_s, .meaning = u"What stands below it, in the same way."_s}});
    }

private:
    void show(const QString &title, const QString &text, const VXReactionOutcome &outcome) const
    {
        QString reason;
        if (VXDesktopNotifier::notify(title, text, &reason))
            outcome.conclude();
        else
            fail(reason, outcome);
    }

    void fail(const QString &reason, const VXReactionOutcome &outcome) const
    {
        const QString text = u"No notification was shown: "_s + reason;
        VXLogMethod(VXLogWarning, "reactToEventWithName:subtype:object:options:", text);
        outcome.conclude(text);
    }
};

VX_PRINCIPAL_CLASS(DesktopNotificationPlugin)

#include "DesktopNotificationPlugin.moc"
