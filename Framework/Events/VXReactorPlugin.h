#pragma once

#include "VXError.h"
#include "VXPlugin.h"
#include "VXReactionOutcome.h"
#include "VXReactorOption.h"

#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <optional>

/**
 * The base of plugins that do something in response to an event. The event manager runs the plugin for every trigger
 * that names it. Its descriptions come from the bundle's Info.plist; for a key that is missing there they are none.
 * Reactions run on the thread that posts the event, usually the main thread.
 */
class VX_EXPORT VXReactorPlugin : public VXPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE VXReactorPlugin();
    ~VXReactorPlugin() override;

    /** "VXReactorName": the name to show, in the user's language. */
    virtual QString reactorName() const;
    /** "VXReactorCategory": the group in which it is listed, in the user's language. */
    virtual QString reactorCategory() const;
    /** "VXReactorEventNameList": the events that it is offered for. */
    virtual std::optional<QStringList> reactorEventNameList() const;
    /** "VXReactorClassList": the kinds of event object it can handle. */
    virtual std::optional<QStringList> reactorClassList() const;
    /** "VXReactorDefaults": the options that apply where the user sets none. */
    virtual std::optional<QVariantMap> reactorDefaults() const;
    /** "VXReactorOptionsNibFile": the view of the options in the trigger editor; here the same for every event. */
    virtual QString reactorOptionsNibNameForEventName(const QString &eventName) const;

    /**
     * Reacts to an event. `subtype` is null and `object` invalid for none; read values of the object by
     * VXValueForKeyPath. `options` is what the user set, completed by the defaults. A reactor that fails throws a
     * VXException with the reason, which is shown to the user, or calls `presentError`; either way the event's other
     * reactors run. The base fails an assertion.
     */
    virtual void reactToEventWithName(const QString &eventName, const QString &subtype, const QVariant &object,
                                      const QVariantMap &options);

    /** The options in the order in which to show them, so that editors can offer and check them; empty, as here, when
     *  the plugin does not describe its options. Any thread. */
    virtual VXReactorOptions reactorOptions() const;
    /** What is wrong with options whose types are correct, defaults included, in the user's language; null, as here,
     *  for nothing. */
    virtual QString problemOfOptions(const QVariantMap &options) const;

protected:
    /** Completes the options by their meanings from the bundle's table "Localizable", and by their values from the
     *  defaults. */
    VXReactorOptions describedOptions(VXReactorOptions options) const;

    /**
     * For a reactor whose work goes on after it has returned: the history records the outcome of the reaction when that
     * is concluded. To be called during the reaction, on the same thread.
     */
    static VXReactionOutcome deferOutcome();

    /** Sets what the event's history says about a success, for example "It waits in the outbox." To be called during
     *  the reaction, on the same thread; the last call counts. */
    static void remark(const QString &text);

    /** Shows the user why the reaction failed. During a reaction the error is also recorded in the history. */
    void presentError(const VXError &error) const;

    /** An entry of the bundle's Info.plist, in the user's language; invalid for none. */
    QVariant infoValue(const QString &key) const;
    /** The entry as text; null for none. */
    QString localizedInfoText(const QString &key) const;
};
