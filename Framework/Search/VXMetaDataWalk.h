#pragma once

#include "VXManagedObjectContext.h"
#include "VXSQLiteStore.h"

#include <functional>
#include <optional>

/** Goes through all objects of an entity with little of them in memory at a time. On the context's thread. */
class VXMetaDataWalk
{
public:
    /** `relationships`: whose objects are read along. */
    VXMetaDataWalk(VXManagedObjectContext &context, const VXEntityDescription &entity,
                   const QStringList &relationships);

    /** None, with an error, when the store cannot be read. */
    std::optional<qsizetype> count(VXError *error) const;
    using Visit = std::function<bool(const VXManagedObjectPtr &object)>;
    /** Visits each object, which becomes a fault again, until the visitor says false. False, with an error, when the store
     *  cannot be read. */
    bool forEach(const Visit &visit, VXError *error) const { return forEachUnless(QString(), {}, visit, error); }

    /** The objects of a page, with their dates. */
    using Page = QList<VXAttributeNumber>;
    using PassesOver = std::function<bool(const Page &page)>;
    /** The same, but where the store can give the stored dates of objects alone, `passesOver` is asked first, and those of a page
     *  that it says yes to are not read. */
    bool forEachUnless(const QString &dateKey, const PassesOver &passesOver, const Visit &visit, VXError *error) const;

private:
    /** Null for a coordinator of others, or of several. */
    std::shared_ptr<VXSQLiteStore> pagedStore() const;
    /** nullptr when the entity has no such attribute, or does not store it. */
    const VXAttributeDescription *storedDate(const QString &key) const;

    VXManagedObjectContext &_context;
    const VXEntityDescription &_entity;
    QStringList _relationships;
};
