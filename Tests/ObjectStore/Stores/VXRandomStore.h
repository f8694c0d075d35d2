#pragma once

#include "VXPersistentStoreCoordinator.h"
#include "VXPredicate.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

/** Values that are likely to be equal, to contain each other, and to upset whatever takes them apart. */
struct VXRandomValues
{
    static const QVariantList texts;
    static const QVariantList numbers;
    static const QVariantList dates;
    static const QVariantList data;
};

/** Parties, calls and groups by chance: of one seed the same ones, with the same numbers, in stores of all types. */
struct VXRandomStore
{
    static constexpr int partyCount = 25;
    static constexpr int callCount = 60;
    static constexpr int groupCount = 5;

    VXRandomStore(VXStoreType type, const QString &path);

    void fill(quint32 seed) const;
    VXManagedObjectID objectID(const QString &entity, qint64 number) const;
    /** By chance too: of one seed the same one for all stores, but for the object IDs in it. */
    VXPredicate predicate(quint32 seed, const QString &entity) const;

    const VXPersistentStoreCoordinator::Ptr coordinator;
    const VXPersistentStoreCoordinator::StorePtr store;
};
