#pragma once

#include "VXManagedObjectID.h"

#include <QtCore/QByteArray>
#include <QtCore/QByteArrayView>

#include <optional>
#include <vector>

/**
 * Builds and parses the file names of an entity's objects, in the file system's encoding; for loops over many objects.
 * One thread.
 */
class VXMetaDataNames
{
public:
    /** For the entity and its subentities. */
    explicit VXMetaDataNames(const VXEntityDescription &entity);

    /** The name of the file of a stored object of the entity; valid until the next call. */
    const char *nameOf(const VXManagedObjectID &objectID);
    /** The number of the object whose file has that name; none for a name that no such file has. */
    std::optional<qint64> numberIn(QByteArrayView name) const;

private:
    struct Ending
    {
        const VXEntityDescription *entity;
        QByteArray text; // what follows the number
    };
    std::vector<Ending> _endings;
    QByteArray _name;
};
