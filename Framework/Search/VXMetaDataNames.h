#pragma once

#include "VXManagedObjectID.h"

#include <QtCore/QByteArray>
#include <QtCore/QByteArrayView>

#include <optional>
#include <vector>

/** The names of the files of an entity's objects as the disk has them, for who makes and reads one for each object of many. For
 *  one thread. */
class VXMetaDataNames
{
public:
    /** Of its subentities' too. */
    explicit VXMetaDataNames(const VXEntityDescription &entity);

    /** Of the file of an object of the entity that is stored; holds until another one is asked for. */
    const char *nameOf(const VXManagedObjectID &objectID);
    /** The number of the object whose file has that name; none for what can be no such file's. */
    std::optional<qint64> numberIn(QByteArrayView name) const;

private:
    struct Ending
    {
        const VXEntityDescription *entity;
        QByteArray text; // behind the number
    };
    std::vector<Ending> _endings;
    QByteArray _name;
};
