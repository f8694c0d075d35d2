#pragma once

#include "VXManagedObjectContext.h"
#include "VXSQLiteStore.h"

#include <functional>
#include <optional>

/** Goes through all objects of an entity while keeping few of them in memory. On the context's thread. */
class VXMetaDataWalk
{
public:
    /** `relationships`: their objects are prefetched. */
    VXMetaDataWalk(VXManagedObjectContext &context, const VXEntityDescription &entity,
                   const QStringList &relationships);

    /** None, with an error, when the store cannot be read. */
    std::optional<qsizetype> count(VXError *error) const;
    using Visit = std::function<bool(const VXManagedObjectPtr &object)>;
    /** Visits each object, which becomes a fault again afterwards, until the visitor returns false. False, with an
     *  error, when the store cannot be read. */
    bool forEach(const Visit &visit, VXError *error) const { return forEachUnless(QString(), {}, visit, error); }

    /** The objects of a page, with their dates. */
    using Page = QList<VXAttributeNumber>;
    using PassesOver = std::function<bool(const Page &page)>;
    /** The same; but where the store can read the objects' dates alone, `passesOver` is asked first for each page, and
     *  the objects of a page for which it returns true are not read. */
    bool forEachUnless(const QString &dateKey, const PassesOver &passesOver, const Visit &visit, VXError *error) const;

private:
    /** The coordinator's SQLite store; null if it has another kind of store, or several. */
    std::shared_ptr<VXSQLiteStore> pagedStore() const;
    /** nullptr when the entity has no such attribute, or does not store it. */
    const VXAttributeDescription *storedDate(const QString &key) const;

    VXManagedObjectContext &_context;
    const VXEntityDescription &_entity;
    QStringList _relationships;
};
