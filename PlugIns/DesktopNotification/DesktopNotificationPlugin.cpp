#include "VXBackgroundReactor.h"
#include "VXDesktopNotifier.h"
#include "VXEventText.h"
#include "VXMethodLog.h"
#include "VXPrincipalClass.h"

using namespace Qt::StringLiterals;

namespace {

constexpr size_t maximumWaiting = 100; // more than anybody would read

} // namespace

/** Shows a desktop notification. Who posts the event does not wait for the desktop. */
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
        if (!_queue.add([this, title, text] { show(title, text); }))
            logFailure(u"too many are waiting already"_s);
    }

private:
    void show(const QString &title, const QString &text) const
    {
        QString reason;
        if (!VXDesktopNotifier::notify(title, text, &reason))
            logFailure(reason);
    }

    void logFailure(const QString &reason) const
    {
        VXLogMethod(VXLogWarning,
                    "reactToEventWithName:subtype:object:options:", u"No notification was shown: "_s + reason);
    }
};

VX_PRINCIPAL_CLASS(DesktopNotificationPlugin)

#include "DesktopNotificationPlugin.moc"
