#pragma once

#include "VXManagedObjectContext.h"
#include "VXTrigger.h"

#include <QtCore/QList>

#include <optional>

/** What a trigger is to be, or what of it is to change: only what is set. A value type. */
struct VX_EXPORT VXTriggerChange
{
    struct Reaction
    {
        QString identifier = {}; // of the reactor plugin
        QVariantMap options = {};
    };

    std::optional<QString> event = {};
    std::optional<QString> name = {};
    std::optional<QString> filter = {}; // the text of a predicate; a null or empty one takes the filter away
    std::optional<bool> isEnabled = {};
    std::optional<QList<Reaction>> reactions = {}; // all of them, in order
};

/**
 * The user's triggers, to be shown and changed. Changes count with `save`; they are refused, with nothing changed, when an event
 * could not run them: no event, no reactor, a plugin that does not react, options that it would refuse, a filter that is no
 * predicate. Main thread, as what it asks plugins.
 */
class VX_EXPORT VXTriggerStore
{
public:
    /** Of the store "triggers". Null, with the reason, when no plugin has it or it cannot be used. */
    static std::unique_ptr<VXTriggerStore> open(VXError *error = nullptr);
    explicit VXTriggerStore(const VXPersistentStoreCoordinator::Ptr &coordinator);

    /** By event, in the order in which they run; those of one event, unless that is null. Empty on failure. */
    std::optional<QList<VXTrigger>> triggers(const QString &event = {}, VXError *error = nullptr) const;
    /** "p3", "3", the whole URI, or the name that the user gave to one alone. Null when there is none. */
    VXTrigger triggerWithID(const QString &text) const;

    /** Runs after those of the same event. Null with the reason when it is refused. */
    VXTrigger add(const VXTriggerChange &change, VXError *error = nullptr);
    bool change(VXTrigger &trigger, const VXTriggerChange &change, VXError *error = nullptr);
    /** The copy runs after all of the event. */
    VXTrigger copy(const VXTrigger &trigger, VXError *error = nullptr);
    void remove(const VXTrigger &trigger);
    /** Its place among those of its event, from 1; a greater one than there are is the last. */
    bool move(VXTrigger &trigger, qsizetype place, VXError *error = nullptr);

    bool save(VXError *error = nullptr) { return _context.save(error); }

private:
    bool isAcceptable(const VXTriggerChange &change, VXError *error) const;
    void apply(VXTrigger &trigger, const VXTriggerChange &change);
    void setFilter(const VXTrigger &trigger, const QString &text);
    void setReactions(const VXTrigger &trigger, const QList<VXTriggerChange::Reaction> &reactions);
    std::optional<int> nextIndex(const QString &event, VXError *error) const;

    mutable VXManagedObjectContext _context;
};
