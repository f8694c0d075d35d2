#pragma once

#include <QtCore/QDateTime>
#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QSet>
#include <QtCore/QString>

#include <algorithm>
#include <limits>
#include <numeric>

/** What a part of a long message says about the whole. */
struct VXMessagePartPlace
{
    QString series; // what the parts of one message have in common: sender, direction, reference and number of parts
    int number = 1; // of the part, from 1
    int count = 1;  // the number of parts
    QDateTime date = {}; // of the part; invalid if it has none
};

/**
 * Determines which parts belong to one message. Senders reuse their references: in the order of dates, a part that is
 * already there begins the next message, and so does one that was sent more than an hour after the first. Header only,
 * because it is also used where nothing else of the framework is.
 */
class VXMessagePartGroups
{
public:
    static constexpr qint64 longestSpan = 60 * 60; // seconds

    /** The groups in the order of their dates; each as indexes into the list, ordered by part number. */
    static QList<QList<qsizetype>> of(const QList<VXMessagePartPlace> &parts)
    {
        VXMessagePartGroups made(parts);
        for (const qsizetype at : made.byDate())
            made.add(at);
        QList<QList<qsizetype>> groups;
        for (Group &group : made._groups) {
            std::ranges::sort(group.parts, {}, [&](qsizetype at) { return parts[at].number; });
            groups.append(group.parts);
        }
        return groups;
    }

private:
    struct Group
    {
        QList<qsizetype> parts = {};
        QSet<int> numbers = {};
        QDateTime first = {}; // the earliest date

        bool lacks(const VXMessagePartPlace &part) const
        {
            return parts.size() < part.count && !numbers.contains(part.number) &&
                   (!first.isValid() || !part.date.isValid() || first.secsTo(part.date) <= longestSpan);
        }
    };

    explicit VXMessagePartGroups(const QList<VXMessagePartPlace> &parts) : _parts(parts) {}

    // Parts without a date come last; equal dates keep their order.
    QList<qsizetype> byDate() const
    {
        QList<qsizetype> order(_parts.size());
        std::iota(order.begin(), order.end(), 0);
        std::ranges::stable_sort(order, {}, [&](qsizetype at) {
            const QDateTime &date = _parts[at].date;
            return date.isValid() ? date.toMSecsSinceEpoch() : std::numeric_limits<qint64>::max();
        });
        return order;
    }

    void add(qsizetype at)
    {
        const VXMessagePartPlace &part = _parts[at];
        const auto last = _last.constFind(part.series);
        const bool isNext = last == _last.constEnd() || !_groups[*last].lacks(part);
        const qsizetype place = isNext ? _groups.size() : *last;
        if (isNext) {
            _groups.append({.first = part.date});
            _last.insert(part.series, place);
        }
        _groups[place].parts.append(at);
        _groups[place].numbers.insert(part.number);
    }

    const QList<VXMessagePartPlace> &_parts;
    QList<Group> _groups;
    QHash<QString, qsizetype> _last; // by series
};
