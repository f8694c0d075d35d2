#pragma once

#include "VXMessageStore.h"

#include <functional>
#include <optional>

/**
 * Tells which message of the store is meant by one that a phone, or a file from one, has. On the context's thread.
 */
class VX_EXPORT VXMessageMatch
{
public:
    enum class Rule {
        SameDate, // within seconds, as phones keep no fractions of them; none is the same as none
        SentHere, // outgoing, and sent by a phone from here: it gave its copy a date of its own, minutes off, or none
    };
    using Check = std::function<bool(const VXManagedObjectPtr &message)>;

    VXMessageMatch(const VXMessageStore &store, VXManagedObjectContext &context) : _store(store), _context(context) {}

    /** The one of that party, way and text, and by the rule, that `mayBe` and has the nearest date; null for none. No value, with
     *  an error, when the store cannot be read. What is not saved is not found. Ask by SentHere only for what no other has by
     *  SameDate: else it takes the place of another. */
    [[nodiscard]] std::optional<VXManagedObjectPtr> find(const VXMessageRecord &record, Rule rule, const Check &mayBe,
                                                         VXError *error) const;

    /** The same party, way and text. */
    [[nodiscard]] static bool isAlike(const VXMessageRecord &record, const VXMessageRecord &other);
    /** By Rule::SameDate; one that is unknown may be any. */
    [[nodiscard]] static bool isNear(const QDateTime &date, const QDateTime &other);
    /** How far apart the dates of one that is alike are, in milliseconds, 0 where they are not known; none when by the rule it is another. */
    [[nodiscard]] static std::optional<qint64> distance(const VXMessageRecord &record, const VXManagedObject &message,
                                                        Rule rule);
    /** How far apart dates may be, in milliseconds. */
    [[nodiscard]] static qint64 spanOf(Rule rule);

private:
    [[nodiscard]] VXPredicate conditionFor(const VXMessageRecord &record, Rule rule) const;

    const VXMessageStore &_store;
    VXManagedObjectContext &_context;
};
