#pragma once

#include "VXPluginProxy.h"

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QSet>
#include <QtCore/QString>

/** What a run of unloading is for. */
enum class VXUnloadPurpose {
    Disable, // what depends on it goes with the user's consent
    Quit,    // everything goes; nobody is asked but the plugins
    Failure, // a plugin failed to load: so do those that were loaded because of it
};

/**
 * One run of unloading: which plugins go, in which order, and whether they agree. Runs know nothing of each other, so that
 * one may begin while another waits for an answer. Main thread only.
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
    /** nullptr when the run is for none in particular. */
    VXPluginProxy *subject() const { return _subject; }
    State state() const { return _state; }
    /** Those that go, first to go first. */
    const QList<VXPluginProxy *> &plugins() const { return _pluginsToUnload; }
    bool concerns(const QString &identifier) const;
    /** The plugins that want time, by identifier. */
    QStringList awaited() const { return _awaited; }
    /** Who refused, for people; null while nobody did. */
    QString refusal() const { return _refusal; }

    /** Adds a plugin after all that must go before it; of one that is not loaded, children that are. False when the user
     *  refused. */
    bool collect(VXPluginProxy &proxy);
    /** Collects the subject anew, with what was loaded since: the user is not asked again about the same plugin. */
    bool collectSubject();

    /**
     * Asks each plugin, once. A plugin's Cancel counts as consent: what the user has decided is done.
     * @return a VXUnloadReply; Cancel when a plugin said no by a reply of its own while it was asked.
     */
    int ask();
    /** A plugin's reply while the plugins are asked: it takes the place of its answer. */
    void noteReply(const QString &identifier, bool flag) { _repliesWhileAsked.insert(identifier, flag); }
    /** A plugin said no after it had asked for time. */
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
    QSet<VXPluginProxy *> _beingCollected; // whose dependants are being collected
    QSet<VXPluginProxy *> _agreedRoots;    // that the user lets go
    QHash<QString, bool> _repliesWhileAsked;
    QStringList _awaited;
    QString _refusal;
};
