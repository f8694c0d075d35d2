#pragma once

#include <QtCore/QList>
#include <QtCore/QSet>

#include <utility>

/** A set that takes little memory as long as it has few members, as most have: a QSet of one takes hundreds of bytes. */
template <class T>
class VXSmallSet
{
public:
    VXSmallSet() = default;
    bool isEmpty() const { return size() == 0; }
    qsizetype size() const { return _few.size() + _many.size(); } // one of them is empty
    bool contains(const T &member) const { return _many.isEmpty() ? _few.contains(member) : _many.contains(member); }
    QList<T> values() const { return _many.isEmpty() ? _few : _many.values(); }

    /** False when it was there. */
    bool insert(const T &member)
    {
        if (_many.isEmpty()) {
            if (_few.contains(member))
                return false;
            if (_few.size() < mostFew) {
                _few.append(member);
                return true;
            }
            const QList<T> few = std::exchange(_few, {});
            _many = QSet<T>(few.cbegin(), few.cend());
        }
        const qsizetype before = _many.size(); // one look-up tells both
        _many.insert(member);
        return _many.size() > before;
    }
    /** False when it was not there. */
    bool remove(const T &member) { return _many.isEmpty() ? _few.removeOne(member) : _many.remove(member); }
    template <class Predicate>
    void removeIf(const Predicate &predicate)
    {
        _few.removeIf(predicate);
        if (!_many.isEmpty()) // an empty QSet, too, would take memory for that
            _many.removeIf(predicate);
    }
    void clear() { *this = {}; }

private:
    static constexpr qsizetype mostFew = 8;

    QList<T> _few;
    QSet<T> _many; // all, once there were more
};
