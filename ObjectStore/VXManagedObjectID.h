#pragma once

#include "VXEntityDescription.h"
#include "VXObjectStoreExport.h"

#include <QtCore/QMetaType>
#include <QtCore/QString>
#include <QtCore/QUrl>

#include <functional>

/** The identity of an attached store: one object for each identifier in the process, never freed. */
class VX_STORE_EXPORT VXStoreIdentity
{
public:
    /** The one object for that identifier (a UUID without braces, in any case). Any thread. */
    static const VXStoreIdentity &withIdentifier(const QString &identifier);
    /** In lower case, as in URIs. */
    const QString &identifier() const { return _identifier; }

private:
    explicit VXStoreIdentity(const QString &identifier) : _identifier(identifier) {}
    const QString _identifier;
};

/**
 * Identifies an object of a store, whether or not it is in memory. A cheap value that, unlike objects, may be used on
 * any thread; valid as long as its model. A new object has a temporary ID until it is saved.
 */
class VX_STORE_EXPORT VXManagedObjectID
{
public:
    /** No object. */
    VXManagedObjectID() = default;
    /** `number` is unique among the objects of the entity's root entity in that store. */
    VXManagedObjectID(const VXEntityDescription &entity, const VXStoreIdentity &store, qint64 number)
        : _entity(&entity), _store(&store), _number(number)
    {
    }
    /** A new temporary ID, unique in the process. Any thread. */
    static VXManagedObjectID temporary(const VXEntityDescription &entity);

    bool isNull() const { return _entity == nullptr; }
    bool isTemporary() const { return _store == nullptr && _entity != nullptr; }
    /** For an ID that is not null. */
    const VXEntityDescription &entity() const { return *_entity; }
    const VXStoreIdentity *store() const { return _store; }
    qint64 number() const { return _number; }

    /** "x-coredata://STORE-UUID/ENTITY/pNUMBER"; for a temporary ID "x-coredata:///ENTITY/tNUMBER". */
    QUrl uriRepresentation() const;

    friend bool operator==(const VXManagedObjectID &a, const VXManagedObjectID &b)
    {
        return a._number == b._number && a._store == b._store && a.root() == b.root();
    }
    friend size_t qHash(const VXManagedObjectID &objectID, size_t seed = 0) noexcept
    {
        return qHashMulti(seed, objectID._number, quintptr(objectID._store));
    }

private:
    const VXEntityDescription *root() const { return _entity == nullptr ? nullptr : &_entity->rootEntity(); }

    const VXEntityDescription *_entity = nullptr; // the object's own entity, never an abstract one
    const VXStoreIdentity *_store = nullptr;      // nullptr: temporary
    qint64 _number = 0;
};

Q_DECLARE_METATYPE(VXManagedObjectID)
Q_DECLARE_TYPEINFO(VXManagedObjectID, Q_PRIMITIVE_TYPE);
