#include "VXEventManager.h"
#include "VXException.h"
#include "VXPrincipalClass.h"
#include "VXReactorPlugin.h"

#include <QtCore/QCoreApplication>

#include <stdexcept>

using namespace Qt::StringLiterals;

/**
 * A reactor that tells of each reaction by the notification "FixtureReaction", whose object is a map of "reactor", "event",
 * "subtype", "object" and "options", and then does what the options say:
 *     throws  "VXException", "std::exception" or "number"
 *     shows   the text of an error for the user
 *     posts   the name of an event that it posts
 *     defers  the problem, "" for none, with which it concludes when the event loop runs; never, with forgets
 */
class ReactingPlugin : public VXReactorPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE ReactingPlugin() = default;

    void reactToEventWithName(const QString &eventName, const QString &subtype, const QVariant &object,
                              const QVariantMap &options) override
    {
        const QVariantMap reaction{{u"reactor"_s, identifier()},
                                   {u"event"_s, eventName},
                                   {u"subtype"_s, subtype},
                                   {u"object"_s, object},
                                   {u"options"_s, options}};
        VXNotificationCenter::defaultCenter().postNotificationName(VXNotificationName(u"FixtureReaction"_s), reaction);
        if (const QString text = options.value(u"shows"_s).toString(); !text.isNull())
            presentError(VXError::platformError(VXPlatformErrorCode::FileWrite, text));
        if (const QString name = options.value(u"posts"_s).toString(); !name.isNull())
            VXEventManager::sharedEventManager().postEventWithName(name);
        if (options.contains(u"defers"_s))
            concludeLater(options[u"defers"_s].toString(), options[u"forgets"_s].toBool());
        throwAsTold(options.value(u"throws"_s).toString());
    }

private:
    static void concludeLater(const QString &problem, bool forgets)
    {
        const VXReactionOutcome outcome = deferOutcome();
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [outcome, problem, forgets] {
                if (!forgets)
                    outcome.conclude(problem.isEmpty() ? QString() : problem);
            },
            Qt::QueuedConnection);
    }

    static void throwAsTold(const QString &what)
    {
        if (what == "VXException"_L1)
            throw VXException(u"FixtureException"_s, u"thrown as told"_s);
        if (what == "std::exception"_L1)
            throw std::runtime_error("thrown as told");
        if (what == "number"_L1)
            throw 42;
    }
};

VX_PRINCIPAL_CLASS(ReactingPlugin)

#include "ReactingPlugin.moc"
