#pragma once

#include "VXManagedObjectID.h"

#include <QtCore/QHash>

#include <array>

class VXManagedObject;

/**
 * The objects of a context, by ID. It does not own them. Objects are mostly asked for in the order of their numbers, so those
 * whose numbers follow each other stand together: one look-up serves all of them.
 */
class VXObjectRegistry
{
public:
    qsizetype size() const { return _count; }
    /** nullptr when there is none. */
    VXManagedObject *find(const VXManagedObjectID &objectID) const;
    /** In place of the one that has the ID. */
    void insert(const VXManagedObjectID &objectID, VXManagedObject *object);
    void remove(const VXManagedObjectID &objectID);
    void clear();

    /** Calls with each; nothing may be inserted or removed meanwhile. */
    template <class Function>
    void forEach(const Function &function) const
    {
        for (const Shelf &shelf : _shelves) {
            for (VXManagedObject *const object : shelf) {
                if (object != nullptr)
                    function(object);
            }
        }
    }

private:
    static constexpr quint64 shelfSize = 8;
    using Shelf = std::array<VXManagedObject *, shelfSize>;

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
    Shelf *shelf(const Key &key) const;

    QHash<Key, Shelf> _shelves; // none is empty
    qsizetype _count = 0;
    mutable Key _lastKey; // the shelf used last
    mutable Shelf *_lastShelf = nullptr;
};
