#pragma once

#include "VXManagedObjectContext.h"
#include "VXTrigger.h"

#include <QtCore/QList>

#include <optional>

/** The properties of a new trigger, or changes to a trigger; only what is set applies. A value type. */
struct VX_EXPORT VXTriggerChange
{
    struct Reaction
    {
        QString identifier = {}; // of the reactor plugin
        QVariantMap options = {};
    };

    std::optional<QString> event = {};
    std::optional<QString> name = {};
    std::optional<QString> filter = {}; // the text of a predicate; null or empty removes the filter
    std::optional<bool> isEnabled = {};
    std::optional<QList<Reaction>> reactions = {}; // all reactions, in order
};

/**
 * The user's triggers, for listing and editing. Changes take effect with `save`. A change that events could not use is
 * refused as a whole: no event, no reactor, a plugin that is no reactor, options it would refuse, a filter that is no
 * predicate. Main thread, as plugins are asked.
 */
class VX_EXPORT VXTriggerStore
{
public:
    /** Opens the store "triggers". Null, with the reason, when no plugin has it, or it cannot be used. */
    static std::unique_ptr<VXTriggerStore> open(VXError *error = nullptr);
    explicit VXTriggerStore(const VXPersistentStoreCoordinator::Ptr &coordinator);

    /** Sorted by event, and in the order in which they run; of all events if `event` is null. Empty on failure. */
    std::optional<QList<VXTrigger>> triggers(const QString &event = {}, VXError *error = nullptr) const;
    /** Finds a trigger by "p3", "3", its whole URI, or a name that only one trigger has. Null when there is none; with an
     *  error when several have the name, or the triggers cannot be read. */
    VXTrigger triggerWithID(const QString &text, VXError *error = nullptr) const;

    /** Adds a trigger that runs after the others of its event. Null, with the reason, when it is refused. */
    VXTrigger add(const VXTriggerChange &change, VXError *error = nullptr);
    bool change(VXTrigger &trigger, const VXTriggerChange &change, VXError *error = nullptr);
    /** Adds a copy, which runs after the other triggers of the event. */
    VXTrigger copy(const VXTrigger &trigger, VXError *error = nullptr);
    void remove(const VXTrigger &trigger);
    /** Moves a trigger among those of its event, to a place counted from 1; a place beyond the last one means the last.
     *  */
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
