#pragma once

#include "VXFrameworkExport.h"
#include "VXManagedObject.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <optional>

/** Grows when classes of this program learn to tell more of their objects: then all files are written anew but those that tell that
 *  they are of this one. A new version of the index takes a new one as well. */
constexpr qint64 VXMetaDataGeneration = 4; // 1 was not told
VX_EXPORT extern const QString VXMetaDataGenerationKey;

/** "VXHidden" in the file of an object that not every search is to find. The greater, the fewer find it. */
enum class VXMetaDataHiding : int {
    InTrash = 1, // only who asks for it
    Removed = 2, // nobody
};

/** Implemented by classes of store objects that can be found by searching. */
class VX_EXPORT VXMetaDataSource
{
public:
    virtual ~VXMetaDataSource();

    /**
     * What a search finds the object by and shows of it, by the attribute keys of docs/FORMATS.md; values that are none
     * are left out. With the generation, if it is of this program. Empty optional: the object is not to be found. Called on the thread of the object's context.
     */
    virtual std::optional<QVariantMap> metaDataPlist() const = 0;
};

/** Implemented by classes of store objects that others tell of when they are searched, as a group by its members. */
class VX_EXPORT VXMetaDataPart
{
public:
    virtual ~VXMetaDataPart();

    /**
     * Asked before it is saved: the objects of the same store that tell of it what is not so after that, and are not changed
     * themselves. On the thread of its context.
     */
    virtual QList<VXManagedObjectID> objectsToldAnew() const = 0;
};

/** What the object's class says; none for a class that is no VXMetaDataSource. */
[[nodiscard]] VX_EXPORT std::optional<QVariantMap> metaDataPlist(const VXManagedObject &object);

/** The name of the object's file in a metadata folder: "p42_MD2.contact" for object p42 of the entity "Contact". */
[[nodiscard]] VX_EXPORT QString metaDataFilename(const VXManagedObjectID &objectID);
/** The same from the last part of the object's URI, and its entity. */
[[nodiscard]] VX_EXPORT QString VXMetaDataFilename(const QString &name, const QString &entityName);
/** The number of the object that a file of that name is of; none for what is no such name. */
[[nodiscard]] VX_EXPORT std::optional<qint64> VXNumberInMetaDataFilename(QStringView name);
