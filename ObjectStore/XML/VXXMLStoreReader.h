#pragma once

#include "VXRowTables.h"

#include <QtCore/QIODevice>
#include <QtCore/QXmlStreamReader>

/** Reads the data file of an XML store: first the metadata, then the objects. One object reads one file. */
class VX_STORE_EXPORT VXXMLStoreReader
{
public:
    VXXMLStoreReader(QIODevice &device, const QString &path);

    /** @return empty on failure; like all errors of this class, the error has the path and the line. */
    std::optional<QVariantMap> readMetadata(VXError *error);
    /** Reads the rest of the file. `identity` is that of the store, for the IDs. @return empty on failure. */
    std::optional<VXRowTables> readObjects(const VXManagedObjectModel &model, const VXStoreIdentity &identity,
                                           VXError *error);

private:
    bool nextElement();
    void readRoot();
    void readMetadataEntry(QVariantMap &metadata);
    void readHighestNumber(const VXManagedObjectModel &model);
    void readObject(const VXManagedObjectModel &model, const VXStoreIdentity &identity);
    void readAttribute(const VXEntityDescription &entity, VXStoreRow &row);
    void readRelationship(const VXManagedObjectID &objectID, VXStoreRow &row);
    QList<VXManagedObjectID> readTargets(const VXManagedObjectID &source, const VXEntityDescription &destination);
    void readToEnd();
    const VXEntityDescription *readEntity(const VXManagedObjectModel &model);
    qint64 readNumber(const QString &name, qint64 smallest);
    void fail(const QString &reason);
    VXError error() const;

    struct Link
    {
        VXManagedObjectID source;
        const VXRelationshipDescription *relationship;
        VXManagedObjectID target;
    };

    const QString _path;
    QXmlStreamReader _xml;
    bool _isAtElement = false; // one that was not read yet
    VXRowTables _tables;
    QList<Link> _links;
};
