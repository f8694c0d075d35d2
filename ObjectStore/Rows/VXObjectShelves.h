#pragma once

#include "VXManagedObjectID.h"

#include <QtCore/QHash>

#include <algorithm>
#include <array>
#include <utility>

/**
 * A map from object IDs to values. As objects are mostly accessed in the order of their numbers, values of successive
 * numbers are stored together: one look-up serves all of them. T{} means no value.
 */
template <class T>
class VXObjectShelves
{
public:
    VXObjectShelves() = default;
    VXObjectShelves(const VXObjectShelves &) = delete;
    VXObjectShelves &operator=(const VXObjectShelves &) = delete;

    qsizetype size() const { return _count; }
    /** T{} when there is none. */
    T find(const VXManagedObjectID &objectID) const
    {
        const Shelf *const found = objectID.isNull() ? nullptr : shelf(keyOf(objectID));
        return found == nullptr ? T{} : (*found)[placeOf(objectID)];
    }
    /** Replaces the value of the ID, if any. */
    void insert(const VXManagedObjectID &objectID, T value)
    {
        const Key key = keyOf(objectID);
        if (shelf(key) == nullptr)
            _lastShelf = &*_shelves.insert(key, Shelf{});
        if (std::exchange((*_lastShelf)[placeOf(objectID)], std::move(value)) == T{})
            ++_count;
    }
    void remove(const VXManagedObjectID &objectID)
    {
        const Key key = keyOf(objectID);
        Shelf *const found = shelf(key);
        if (found == nullptr || std::exchange((*found)[placeOf(objectID)], T{}) == T{})
            return;
        --_count;
        if (std::any_of(found->cbegin(), found->cend(), [](const T &each) { return each != T{}; }))
            return;
        _shelves.remove(key);
        _lastShelf = nullptr; // it was the last shelf; others may have moved
    }
    void clear()
    {
        _lastKey = {};
        _lastShelf = nullptr;
        _shelves.clear();
        _count = 0;
    }

    /** Calls the function with each value; nothing may be inserted or removed meanwhile. */
    template <class Function>
    void forEach(const Function &function) const
    {
        for (const Shelf &each : _shelves) {
            for (const T &value : each) {
                if (value != T{})
                    function(value);
            }
        }
    }

private:
    static constexpr quint64 shelfSize = 8;
    using Shelf = std::array<T, shelfSize>;

    struct Key
    {
        const VXEntityDescription *root = nullptr;
        const VXStoreIdentity *store = nullptr;
        quint64 number = 0; // of the shelf

        friend bool operator==(const Key &a, const Key &b) = default;
        friend size_t qHash(const Key &key, size_t seed = 0) noexcept
        {
            return qHashMulti(seed, key.number, quintptr(key.store), quintptr(key.root));
        }
    };

    static Key keyOf(const VXManagedObjectID &objectID)
    {
        return {&objectID.entity().rootEntity(), objectID.store(), quint64(objectID.number()) / shelfSize};
    }
    static size_t placeOf(const VXManagedObjectID &objectID) { return quint64(objectID.number()) % shelfSize; }
    // Caches misses as well, since an insertion mostly follows.
    Shelf *shelf(const Key &key) const
    {
        if (_lastKey == key)
            return _lastShelf;
        const auto found = _shelves.constFind(key);
        _lastKey = key;
        _lastShelf = found == _shelves.cend() ? nullptr : const_cast<Shelf *>(&*found);
        return _lastShelf;
    }

    QHash<Key, Shelf> _shelves; // without empty shelves
    qsizetype _count = 0;
    mutable Key _lastKey; // of the shelf used last
    mutable Shelf *_lastShelf = nullptr;
};
