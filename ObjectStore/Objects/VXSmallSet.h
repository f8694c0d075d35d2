#pragma once

#include <QtCore/QList>
#include <QtCore/QSet>

#include <utility>

/**
 * A set that takes little memory while it has few members, as most sets do: a QSet with one member takes hundreds of
 * bytes. Inserting members that are known to be new needs no look-up, however many there are, until one is searched
 * for.
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

    /** False when it was already there. */
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
        const qsizetype before = _hash.size(); // saves a separate look-up
        _hash.insert(member);
        return _hash.size() > before;
    }
    /** Inserts a member that is known to be new. */
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
        if (!_hash.isEmpty()) // an empty QSet would allocate memory here
            _hash.removeIf(predicate);
    }
    void clear() { *this = {}; }

private:
    static constexpr qsizetype mostSearched = 8;

    // Whether members are searched for in the list, which is the case while it is short. A list that has grown
    // meanwhile is hashed first.
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
    mutable QSet<T> _hash; // all members, once there are more
};
