#pragma once

#include "VXMessageStore.h"

#include <functional>
#include <optional>

/**
 * Finds the message of the store that corresponds to one on a phone, or in a file from a phone. On the context's
 * thread.
 */
class VX_EXPORT VXMessageMatch
{
public:
    enum class Rule {
        SameDate, // within seconds, as phones store no fractions of them; two messages without date match
        SentHere, // outgoing, and sent by a phone from here: its copy has a date of its own, minutes off, or none
    };
    using Check = std::function<bool(const VXManagedObjectPtr &message)>;

    VXMessageMatch(const VXMessageStore &store, VXManagedObjectContext &context) : _store(store), _context(context) {}

    /** The message with that party, direction and text that matches by the rule, passes `mayBe`, and has the nearest
     *  date; null for none. No value, with an error, when the store cannot be read. Unsaved messages are not found. Use
     *  SentHere only for records that match no message by SameDate: otherwise one takes the place of another. */
    [[nodiscard]] std::optional<VXManagedObjectPtr> find(const VXMessageRecord &record, Rule rule, const Check &mayBe,
                                                         VXError *error) const;

    /** Whether party, direction and text are the same. */
    [[nodiscard]] static bool isAlike(const VXMessageRecord &record, const VXMessageRecord &other);
    /** Whether dates match by Rule::SameDate; an unknown date matches any. */
    [[nodiscard]] static bool isNear(const QDateTime &date, const QDateTime &other);
    /** The difference between the dates of similar messages in milliseconds, 0 when unknown; none when they do not
     *  match by the rule. */
    [[nodiscard]] static std::optional<qint64> distance(const VXMessageRecord &record, const VXManagedObject &message,
                                                        Rule rule);
    /** The largest difference between dates, in milliseconds. */
    [[nodiscard]] static qint64 spanOf(Rule rule);

private:
    [[nodiscard]] VXPredicate conditionFor(const VXMessageRecord &record, Rule rule) const;

    const VXMessageStore &_store;
    VXManagedObjectContext &_context;
};
