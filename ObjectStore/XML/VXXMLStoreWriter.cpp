#include "VXXMLStoreWriter.h"

#include "VXNone.h"
#include "VXXMLValue.h"

#include <algorithm>
#include <tuple>

using namespace Qt::StringLiterals;

namespace {

// A link belongs to both objects; it is written only at the one that comes first.
bool isWrittenAt(const VXManagedObjectID &source, const VXRelationshipDescription &relationship,
                 const VXManagedObjectID &target)
{
    const VXRelationshipDescription &inverse = *relationship.inverse();
    if (&inverse == &relationship)
        return source.number() <= target.number();
    return std::tie(relationship.entity().name(), relationship.name()) <
           std::tie(inverse.entity().name(), inverse.name());
}

QList<VXManagedObjectID> targetsWrittenAt(const VXManagedObjectID &source,
                                          const VXRelationshipDescription &relationship, const VXRowTables &tables)
{
    QList<VXManagedObjectID> targets;
    for (const VXManagedObjectID &target : tables.targets(source, relationship)) {
        if (isWrittenAt(source, relationship, target))
            targets.append(target);
    }
    std::sort(targets.begin(), targets.end(),
              [](const VXManagedObjectID &a, const VXManagedObjectID &b) { return a.number() < b.number(); });
    return targets;
}

} // namespace

VXXMLStoreWriter::VXXMLStoreWriter(QIODevice &device) : _xml(&device)
{
    _xml.setAutoFormatting(true);
    _xml.setAutoFormattingIndent(1);
}

bool VXXMLStoreWriter::write(const QVariantMap &metadata, const VXRowTables &tables, const VXManagedObjectModel &model,
                             QString *reason)
{
    _xml.writeStartDocument();
    _xml.writeStartElement(u"vxstore"_s);
    _xml.writeAttribute(u"version"_s, u"1"_s);
    writeMetadata(metadata);
    for (const VXEntityDescription *const root : model.entities()) {
        if (root->superentity() != nullptr)
            continue;
        _xml.writeEmptyElement(u"numbers"_s);
        _xml.writeAttribute(u"entity"_s, root->name());
        _xml.writeAttribute(u"highest"_s, QString::number(tables.highestNumber(*root)));
        const VXRowTables::Table table = tables.table(*root);
        QList<qint64> numbers = table.keys();
        std::sort(numbers.begin(), numbers.end());
        for (const qint64 number : numbers)
            writeObject(*table.constFind(number), tables);
    }
    _xml.writeEndDocument();
    *reason = _reason;
    return _reason.isNull() && !_xml.hasError();
}

void VXXMLStoreWriter::writeMetadata(const QVariantMap &metadata)
{
    for (auto entry = metadata.cbegin(); entry != metadata.cend(); ++entry) {
        const auto type =
            entry->typeId() == QMetaType::QString ? VXAttributeType::String : VXAttributeType::PropertyList;
        _xml.writeStartElement(u"metadata"_s);
        _xml.writeAttribute(u"key"_s, VXXMLText(VXAttributeType::String, entry.key()));
        if (type != VXAttributeType::String)
            _xml.writeAttribute(u"type"_s, VXAttributeTypeName(type));
        writeValue(type, *entry, entry.key());
        _xml.writeEndElement();
    }
}

void VXXMLStoreWriter::writeValue(VXAttributeType type, const QVariant &value, const QString &name)
{
    const QString text = VXXMLText(type, value);
    if (text.isNull() && _reason.isNull())
        _reason = u"The value of \"%1\" cannot be written."_s.arg(name);
    _xml.writeCharacters(text);
}

void VXXMLStoreWriter::writeObject(const VXFetchedRow &object, const VXRowTables &tables)
{
    const VXEntityDescription &entity = object.objectID.entity();
    _xml.writeStartElement(u"object"_s);
    _xml.writeAttribute(u"entity"_s, entity.name());
    _xml.writeAttribute(u"id"_s, QString::number(object.objectID.number()));
    _xml.writeAttribute(u"version"_s, QString::number(object.row->version()));
    for (const VXAttributeDescription *const attribute : entity.attributes()) {
        const QVariant value = object.row->value(attribute->index());
        if (attribute->isTransient() || VXIsNone(value))
            continue;
        _xml.writeStartElement(u"attribute"_s);
        _xml.writeAttribute(u"name"_s, attribute->name());
        writeValue(attribute->type(), value, attribute->name());
        _xml.writeEndElement();
    }
    for (const VXRelationshipDescription *const relationship : entity.relationships()) {
        if (relationship->isTransient())
            continue;
        if (relationship->isManyToMany())
            writeTargets(*relationship, targetsWrittenAt(object.objectID, *relationship, tables));
        else if (const VXManagedObjectID *const target = object.row->target(relationship->index()))
            writeTargets(*relationship, {*target});
    }
    _xml.writeEndElement();
}

void VXXMLStoreWriter::writeTargets(const VXRelationshipDescription &relationship,
                                    const QList<VXManagedObjectID> &targets)
{
    if (targets.isEmpty())
        return;
    QStringList to;
    for (const VXManagedObjectID &target : targets)
        to.append(u"%1/%2"_s.arg(target.entity().name()).arg(target.number()));
    _xml.writeEmptyElement(u"relationship"_s);
    _xml.writeAttribute(u"name"_s, relationship.name());
    _xml.writeAttribute(u"to"_s, to.join(u' '));
}
