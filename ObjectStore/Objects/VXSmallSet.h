#pragma once

#include <QtCore/QList>
#include <QtCore/QSet>

#include <utility>

/**
 * A set that takes little memory as long as it has few members, as most have: a QSet of one takes hundreds of bytes. Members that
 * are known to be new cost no look-up, however many, until one is looked for.
 */
template <class T>
class VXSmallSet
{
public:
    VXSmallSet() = default;
    bool isEmpty() const { return size() == 0; }
    qsizetype size() const { return _list.size() + _hash.size(); } // one of them is empty
    bool contains(const T &member) const { return isListed() ? _list.contains(member) : _hash.contains(member); }
    QList<T> values() const { return _hash.isEmpty() ? _list : _hash.values(); }

    /** False when it was there. */
    bool insert(const T &member)
    {
        if (isListed()) {
            if (_list.contains(member))
                return false;
            if (_list.size() < mostSearched) {
                _list.append(member);
                return true;
            }
            makeHash();
        }
        const qsizetype before = _hash.size(); // one look-up tells both
        _hash.insert(member);
        return _hash.size() > before;
    }
    /** One that is not there. */
    void insertNew(const T &member)
    {
        if (_hash.isEmpty())
            _list.append(member);
        else
            _hash.insert(member);
    }
    /** False when it was not there. */
    bool remove(const T &member) { return isListed() ? _list.removeOne(member) : _hash.remove(member); }
    template <class Predicate>
    void removeIf(const Predicate &predicate)
    {
        _list.removeIf(predicate);
        if (!_hash.isEmpty()) // an empty QSet, too, would take memory for that
            _hash.removeIf(predicate);
    }
    void clear() { *this = {}; }

private:
    static constexpr qsizetype mostSearched = 8;

    // Where members are looked for: the list while it is short. One that grew unsearched is hashed then.
    bool isListed() const
    {
        if (Q_UNLIKELY(_list.size() > mostSearched))
            makeHash();
        return _hash.isEmpty();
    }
    void makeHash() const
    {
        const QList<T> list = std::exchange(_list, {});
        _hash = QSet<T>(list.cbegin(), list.cend());
    }

    mutable QList<T> _list;
    mutable QSet<T> _hash; // all of them, once there were more
};
