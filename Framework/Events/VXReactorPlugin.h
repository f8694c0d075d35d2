#pragma once

#include "VXError.h"
#include "VXPlugin.h"
#include "VXReactionOutcome.h"
#include "VXReactorOption.h"

#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <optional>

/**
 * The base of plugins that do something in answer to an event. The event manager runs the plugin for every trigger that
 * names it. What it tells about itself stands in its bundle's Info.plist; a key that is missing there is none. Reactions run
 * on the thread that posts the event, usually the main thread.
 */
class VX_EXPORT VXReactorPlugin : public VXPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE VXReactorPlugin();
    ~VXReactorPlugin() override;

    /** "VXReactorName": the name shown to people, in the user's language. */
    virtual QString reactorName() const;
    /** "VXReactorCategory": the group it is listed under, in the user's language. */
    virtual QString reactorCategory() const;
    /** "VXReactorEventNameList": the events it offers itself for. */
    virtual std::optional<QStringList> reactorEventNameList() const;
    /** "VXReactorClassList": the kinds of event object it can handle. */
    virtual std::optional<QStringList> reactorClassList() const;
    /** "VXReactorDefaults": options that hold where the user sets none. */
    virtual std::optional<QVariantMap> reactorDefaults() const;
    /** "VXReactorOptionsNibFile": the view of the options in the trigger editor, the same for every event. */
    virtual QString reactorOptionsNibNameForEventName(const QString &eventName) const;

    /**
     * Reacts. `subtype` is null and `object` invalid for none; values of the object are read by VXValueForKeyPath. `options`
     * are the defaults under what the user set. A reactor that fails throws a VXException with the reason, which the user
     * is shown, or calls `presentError`; either way the event's other reactors run. The base fails an assertion.
     */
    virtual void reactToEventWithName(const QString &eventName, const QString &subtype, const QVariant &object,
                                      const QVariantMap &options);

    /** Its options, in the order in which to show them, so that editors can offer and check them; empty, as here, when it does
     * not describe them. Any thread. */
    virtual VXReactorOptions reactorOptions() const;
    /** What is wrong with options whose types are right, the defaults among them, for people; null, as here, for nothing. */
    virtual QString problemOfOptions(const QVariantMap &options) const;

protected:
    /** The options with their meanings taken from the bundle's table "Localizable", and their values from the defaults. */
    VXReactorOptions describedOptions(VXReactorOptions options) const;

    /**
     * For a reactor whose work goes on after it has returned: the history tells what comes of the reaction when that is
     * concluded. Called while it reacts, on the same thread.
     */
    static VXReactionOutcome deferOutcome();

    /** What the event's history tells beside that it is done: "It waits in the outbox." Called while it reacts, on the same
     * thread; the last one counts. */
    static void remark(const QString &text);

    /** Shows the user why the reaction failed. While an event runs the reactor, its history tells of it too. */
    void presentError(const VXError &error) const;

    /** An entry of the bundle's Info.plist, in the user's language; invalid for none. */
    QVariant infoValue(const QString &key) const;
    /** As text; null for none. */
    QString localizedInfoText(const QString &key) const;
};
