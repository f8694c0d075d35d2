#pragma once

#include "VXRowTables.h"

#include <QtCore/QIODevice>
#include <QtCore/QXmlStreamWriter>

/** Writes the data file of an XML store; equal contents give equal files. One object writes one file. */
class VX_STORE_EXPORT VXXMLStoreWriter
{
public:
    explicit VXXMLStoreWriter(QIODevice &device);

    /** False when the device failed or a value cannot be written; then `reason` says which value, and is null for the
     *  device. */
    bool write(const QVariantMap &metadata, const VXRowTables &tables, const VXManagedObjectModel &model,
               QString *reason);

private:
    void writeMetadata(const QVariantMap &metadata);
    void writeObject(const VXFetchedRow &object, const VXRowTables &tables);
    void writeTargets(const VXRelationshipDescription &relationship, const QList<VXManagedObjectID> &targets);
    void writeValue(VXAttributeType type, const QVariant &value, const QString &name);

    QXmlStreamWriter _xml;
    QString _reason;
};
