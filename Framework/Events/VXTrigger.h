#pragma once

#include "VXReaction.h"
#include "VXTriggerFilter.h"

#include <QtCore/QList>

/**
 * What the user wants to be done on an event: a record "VXTrigger" of the store of triggers. On its context's thread.
 */
class VX_EXPORT VXTrigger
{
public:
    static const QString storeName;  // "triggers"
    static const QString entityName; // "VXTrigger"
    /** Keys used in fetches. */
    static const QString eventNameKey;
    static const QString indexKey;

    VXTrigger() = default;
    explicit VXTrigger(const VXManagedObjectPtr &record) : _record(record) {}

    /** Whether there is no record. */
    bool isNull() const { return !_record; }
    const VXManagedObjectPtr &record() const { return _record; }

    QString eventName() const;
    /** The short form of its URI: "p3". */
    QString shortID() const;
    /** Triggers of one event run in ascending order. */
    int index() const;
    bool isEnabled() const;
    bool usesFilter() const;
    /** The name the user gave it; null or empty for none. */
    QString userName() const;
    /** The user's name for it, or else the event's name. */
    QString title() const;
    /** In the order in which they run. */
    QList<VXReaction> reactions() const;
    /** The condition for objects. Empty if no filter is used, and, with the reason as error, if it does not work. */
    std::optional<VXPredicate> filter(VXError *error = nullptr) const;
    /** The filter as text; null without one. If it does not work, the reason in brackets. */
    QString filterText() const;

    void setEventName(const QString &name);
    void setIndex(int index);
    void setEnabled(bool flag);
    void setUserName(const QString &name);

    /** Applies the filter, if one is used, to an object. */
    VXFilterVerdict test(const QVariant &object) const;

private:
    /** Keys that are missing in another store's model count as true. */
    bool flag(const QString &key) const;

    VXManagedObjectPtr _record;
};
