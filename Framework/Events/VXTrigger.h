#pragma once

#include "VXReaction.h"
#include "VXTriggerFilter.h"

#include <QtCore/QList>

/** What the user wants to happen on an event: a record "VXTrigger" of the store of triggers. On its context's thread. */
class VX_EXPORT VXTrigger
{
public:
    static const QString storeName;  // "triggers"
    static const QString entityName; // "VXTrigger"
    /** The names of the keys that fetches go by. */
    static const QString eventNameKey;
    static const QString indexKey;

    VXTrigger() = default;
    explicit VXTrigger(const VXManagedObjectPtr &record) : _record(record) {}

    /** True for none. */
    bool isNull() const { return !_record; }
    const VXManagedObjectPtr &record() const { return _record; }

    QString eventName() const;
    /** As its URI has it: "p3". */
    QString shortID() const;
    /** Triggers of one event run in ascending order. */
    int index() const;
    bool isEnabled() const;
    bool usesFilter() const;
    /** What the user calls it; null or empty for nothing. */
    QString userName() const;
    /** That, else the event's name. */
    QString title() const;
    /** In order. */
    QList<VXReaction> reactions() const;
    /** What objects must satisfy. Empty without a filter that is used, and, with the reason, for one that does not work. */
    std::optional<VXPredicate> filter(VXError *error = nullptr) const;
    /** The same as text; null without one, the reason in brackets for one that does not work. */
    QString filterText() const;

    void setEventName(const QString &name);
    void setIndex(int index);
    void setEnabled(bool flag);
    void setUserName(const QString &name);

    /** What its filter, if it uses one, says about an object. */
    VXFilterVerdict test(const QVariant &object) const;

private:
    /** A key that another store's model lacks counts as true. */
    bool flag(const QString &key) const;

    VXManagedObjectPtr _record;
};
