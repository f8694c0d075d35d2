#pragma once

#include "VXFrameworkExport.h"
#include "VXManagedObject.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <optional>

/** Grows when classes of this program learn to tell more of their objects: then all files are written anew but those that tell that
 *  they are of this one, or would be the same. The index takes a new version then, and this a new generation when the index changes. */
constexpr qint64 VXMetaDataGeneration = 7; // 1 was not told
VX_EXPORT extern const QString VXMetaDataGenerationKey;

/**
 * The value of "VXHidden" in the file of an object that not every search finds. The greater, the fewer searches find
 * it.
 */
enum class VXMetaDataHiding : int {
    InTrash = 1, // found only by searches that include the trash
    Removed = 2, // never found
};

/** Implemented by classes of store objects that can be found by searching. */
class VX_EXPORT VXMetaDataSource
{
public:
    virtual ~VXMetaDataSource();

    /**
     * What a search finds the object by and shows of it, by the attribute keys of docs/FORMATS.md; values that are none
     * are left out. Includes the generation, if the class is of this program. Empty optional: the object is not to be
     * found. Called on the thread of the object's context.
     */
    virtual std::optional<QVariantMap> metaDataPlist() const = 0;
};

/**
 * Implemented by classes of store objects whose values are part of other objects' metadata, as a group's are of its
 * members'.
 */
class VX_EXPORT VXMetaDataPart
{
public:
    virtual ~VXMetaDataPart();

    /**
     * Called before the object is saved. Returns the objects of the same store whose metadata becomes outdated by that
     * although they are not changed themselves. Called on the thread of the object's context.
     */
    virtual QList<VXManagedObjectID> objectsToldAnew() const = 0;
};

/** The metadata that the object's class provides; none for a class that is no VXMetaDataSource. */
[[nodiscard]] VX_EXPORT std::optional<QVariantMap> metaDataPlist(const VXManagedObject &object);

/** The name of the object's file in a metadata folder: "p42_MD2.contact" for object p42 of the entity "Contact". */
[[nodiscard]] VX_EXPORT QString metaDataFilename(const VXManagedObjectID &objectID);
/** The same from the last part of the object's URI and the name of its entity. */
[[nodiscard]] VX_EXPORT QString VXMetaDataFilename(const QString &name, const QString &entityName);
/** The number of the object whose file has that name; none for any other name. */
[[nodiscard]] VX_EXPORT std::optional<qint64> VXNumberInMetaDataFilename(QStringView name);
