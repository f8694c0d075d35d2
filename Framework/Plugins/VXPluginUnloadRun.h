#pragma once

#include "VXPluginProxy.h"

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QSet>
#include <QtCore/QString>

/** The purpose of unloading. */
enum class VXUnloadPurpose {
    Disable, // plugins that depend on it go too, if the user consents
    Quit,    // everything goes; only the plugins are asked
    Failure, // a plugin failed to load: plugins that were loaded because of it go
};

/**
 * One run of unloading: which plugins go, in which order, and whether they agree. Runs are independent, so that one may
 * begin while another waits for an answer. Main thread only.
 */
class VXPluginUnloadRun
{
public:
    enum class State { Collecting, Asking, Waiting, Agreed, Refused, Unloading };

    /** `subject`: the plugin that is to be disabled. */
    explicit VXPluginUnloadRun(VXUnloadPurpose purpose, VXPluginProxy *subject = nullptr)
        : _purpose(purpose), _subject(subject)
    {
    }

    VXUnloadPurpose purpose() const { return _purpose; }
    /** nullptr when the run is for no particular plugin. */
    VXPluginProxy *subject() const { return _subject; }
    State state() const { return _state; }
    /** The plugins that go, in the order of unloading. */
    const QList<VXPluginProxy *> &plugins() const { return _pluginsToUnload; }
    bool concerns(const QString &identifier) const;
    /** Identifiers of the plugins that asked for time. */
    QStringList awaited() const { return _awaited; }
    /** Who refused, in the user's language; null if nobody did. */
    QString refusal() const { return _refusal; }

    /** Adds a plugin after all plugins that must go before it; for one that is not loaded, its loaded children. False
     *  when the user refused. */
    bool collect(VXPluginProxy &proxy);
    /** Collects the subject again, with plugins that were loaded since; the user is not asked twice about the same
     *  plugin. */
    bool collectSubject();

    /**
     * Asks each plugin once. A plugin's Cancel counts as consent, since the user has decided already. @return a
     * VXUnloadReply; Cancel when a plugin refused by a reply of its own while it was asked.
     */
    int ask();
    /** Notes a plugin's reply while plugins are being asked: it replaces the plugin's answer. */
    void noteReply(const QString &identifier, bool flag) { _repliesWhileAsked.insert(identifier, flag); }
    /** To be called when a plugin refuses after it had asked for time. */
    void refuse(const QString &identifier);

    /** Unloads those that are still loaded, in order. */
    void unload();

private:
    bool collectDependants(VXPluginProxy &proxy);
    bool userLetsDisable(VXPluginProxy &dependantRoot, VXPluginProxy &root);

    const VXUnloadPurpose _purpose;
    VXPluginProxy *const _subject;
    State _state = State::Collecting;
    QList<VXPluginProxy *> _pluginsToUnload;
    QSet<VXPluginProxy *> _beingCollected; // plugins whose dependants are being collected
    QSet<VXPluginProxy *> _agreedRoots;    // roots that the user agreed to unload
    QHash<QString, bool> _repliesWhileAsked;
    QStringList _awaited;
    QString _refusal;
};
