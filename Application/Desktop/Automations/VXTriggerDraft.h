#pragma once

#include "VXTriggerStore.h"

#include <optional>

/** A trigger while it is being edited. A value type. */
struct VXTriggerDraft
{
    QString name = {};
    QString event = {};
    QString filter = {}; // in the form in which predicates are written; null for none
    bool isEnabled = true;
    QList<VXTriggerChange::Reaction> reactions = {};

    static VXTriggerDraft of(const VXTrigger &trigger);
    /** None if it is not stored. Main thread. */
    static std::optional<VXTriggerDraft> stored(const QString &shortID);
    bool operator==(const VXTriggerDraft &other) const;
    /** For a new trigger. */
    VXTriggerChange change() const;
    /** Only what differs from `before`. */
    VXTriggerChange changeSince(const VXTriggerDraft &before) const;
    /** `now` with what differs here from `before`. */
    VXTriggerDraft appliedTo(const VXTriggerDraft &now, const VXTriggerDraft &before) const;
};

/** Null for an ID of one that is not stored. */
[[nodiscard]] VXTrigger VXTriggerWithID(const VXTriggerStore &store, const QString &shortID);

/** Changes to a trigger that cannot be stored yet, as the preferences keep them. Main thread. */
struct VXUnsavedTrigger
{
    VXTriggerDraft before = {};
    VXTriggerDraft after = {};

    /** The short IDs of the triggers with unsaved changes; one that was never stored has one of its own. */
    static QStringList identifiers();
    static bool isNew(const QString &shortID);
    /** For one more that is not stored yet. */
    static QString unusedID();

    /** None if there is nothing unsaved. */
    static std::optional<VXUnsavedTrigger> read(const QString &shortID);
    static void drop(const QString &shortID);
    void keep(const QString &shortID) const;
};
