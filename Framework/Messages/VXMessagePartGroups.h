#pragma once

#include <QtCore/QDateTime>
#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QSet>
#include <QtCore/QString>

#include <algorithm>
#include <limits>
#include <numeric>

/** What a part of a long message says of the whole. */
struct VXMessagePartPlace
{
    QString series;      // what the parts of one message have in common: sender, way, reference and number of parts
    int number = 1;      // of the part, from 1
    int count = 1;       // of the parts
    QDateTime date = {}; // the part's own; invalid where it has none
};

/**
 * Tells which parts are of one message. Senders use their references again: in the order of their dates a part that is there
 * already begins the next message, as one does that was sent more than an hour after the first. Header only, for it is also used
 * where nothing else of the framework is.
 */
class VXMessagePartGroups
{
public:
    static constexpr qint64 longestSpan = 60 * 60; // seconds

    /** Each group as places in the list, by the numbers of the parts; the groups in the order of their dates. */
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

    // Those without a date are behind all others; of equal ones, as they stand.
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
