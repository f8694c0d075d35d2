#include "VXXMLStoreReader.h"

#include "VXXMLValue.h"

using namespace Qt::StringLiterals;

VXXMLStoreReader::VXXMLStoreReader(QIODevice &device, const QString &path) : _path(path), _xml(&device) {}

// Only the first error counts; nothing is read after it.
void VXXMLStoreReader::fail(const QString &reason)
{
    if (!_xml.hasError())
        _xml.raiseError(reason);
}

VXError VXXMLStoreReader::error() const
{
    return VXObjectStoreError(VXObjectStoreErrorCode::FileCorrupt, u"The store is damaged."_s,
                              u"Line %1: %2"_s.arg(_xml.lineNumber()).arg(_xml.errorString()), _path);
}

// The next element inside the present one; false at its end. Text between elements is an error, since the next save
// would lose it.
bool VXXMLStoreReader::nextElement()
{
    while (_xml.readNext() != QXmlStreamReader::Invalid) {
        if (_xml.isStartElement())
            return true;
        if (_xml.isEndElement() || _xml.isEndDocument())
            return false;
        if (_xml.isEntityReference() || (_xml.isCharacters() && !_xml.isWhitespace()))
            fail(u"There is text between the elements."_s);
    }
    return false;
}

std::optional<QVariantMap> VXXMLStoreReader::readMetadata(VXError *error)
{
    QVariantMap metadata;
    readRoot();
    while ((_isAtElement = nextElement()) && _xml.name() == "metadata"_L1)
        readMetadataEntry(metadata);
    if (!_xml.hasError())
        return metadata;
    VXSetError(error, this->error());
    return std::nullopt;
}

void VXXMLStoreReader::readRoot()
{
    if (!nextElement() || _xml.name() != "vxstore"_L1)
        fail(u"It is no store."_s);
    else if (const auto version = _xml.attributes().value("version"_L1); version != "1"_L1)
        fail(u"It is of version \"%1\", which is unknown."_s.arg(version));
}

void VXXMLStoreReader::readMetadataEntry(QVariantMap &metadata)
{
    const std::optional<QVariant> key =
        VXXMLValue(VXAttributeType::String, _xml.attributes().value("key"_L1).toString());
    const auto type = VXAttributeTypeFromName(_xml.attributes().value("type"_L1)).value_or(VXAttributeType::String);
    const std::optional<QVariant> value = VXXMLValue(type, _xml.readElementText());
    if (!key || !value || metadata.contains(key->toString()))
        fail(u"The metadata cannot be read."_s);
    else
        metadata.insert(key->toString(), *value);
}

std::optional<VXRowTables> VXXMLStoreReader::readObjects(const VXManagedObjectModel &model,
                                                         const VXStoreIdentity &identity, VXError *error)
{
    for (; _isAtElement && !_xml.hasError(); _isAtElement = nextElement()) {
        if (_xml.name() == "object"_L1)
            readObject(model, identity);
        else if (_xml.name() == "numbers"_L1)
            readHighestNumber(model);
        else
            fail(u"Element \"%1\" is unknown."_s.arg(_xml.name()));
    }
    readToEnd();
    for (const Link &link : std::as_const(_links))
        _tables.link(link.source, *link.relationship, link.target);
    if (!_xml.hasError())
        return _tables;
    VXSetError(error, this->error());
    return std::nullopt;
}

void VXXMLStoreReader::readToEnd()
{
    while (!_xml.atEnd())
        _xml.readNext();
}

const VXEntityDescription *VXXMLStoreReader::readEntity(const VXManagedObjectModel &model)
{
    const QString name = _xml.attributes().value("entity"_L1).toString();
    const VXEntityDescription *const entity = model.entityForName(name);
    if (entity == nullptr)
        fail(u"Entity \"%1\" is unknown."_s.arg(name));
    return entity;
}

qint64 VXXMLStoreReader::readNumber(const QString &name, qint64 smallest)
{
    bool isNumber = false;
    const qint64 number = _xml.attributes().value(name).toLongLong(&isNumber);
    if (!isNumber || number < smallest || number > VXLargestStoreNumber)
        fail(u"\"%1\" is missing or no number that can be."_s.arg(name));
    return number;
}

void VXXMLStoreReader::readHighestNumber(const VXManagedObjectModel &model)
{
    const VXEntityDescription *const entity = readEntity(model);
    const qint64 highest = readNumber(u"highest"_s, 0);
    if (nextElement())
        fail(u"\"numbers\" has no elements."_s);
    if (!_xml.hasError())
        _tables.raiseHighestNumber(entity->rootEntity(), highest);
}

void VXXMLStoreReader::readObject(const VXManagedObjectModel &model, const VXStoreIdentity &identity)
{
    const VXEntityDescription *const entity = readEntity(model);
    const qint64 number = readNumber(u"id"_s, 1);
    const qint64 version = readNumber(u"version"_s, 1);
    if (_xml.hasError())
        return;
    if (entity->isAbstract())
        return fail(u"Entity \"%1\" is abstract and can have no objects."_s.arg(entity->name()));
    const VXManagedObjectID objectID(*entity, identity, number);
    if (_tables.find(objectID) != nullptr)
        return fail(u"The object is there twice."_s);
    const auto row = VXStoreRow::make(int(entity->properties().size()), version);
    while (nextElement()) {
        if (_xml.name() == "attribute"_L1)
            readAttribute(*entity, *row);
        else if (_xml.name() == "relationship"_L1)
            readRelationship(objectID, *row);
        else
            fail(u"Element \"%1\" is unknown."_s.arg(_xml.name()));
    }
    if (!_xml.hasError())
        _tables.put({objectID, row});
}

void VXXMLStoreReader::readAttribute(const VXEntityDescription &entity, VXStoreRow &row)
{
    const QString name = _xml.attributes().value("name"_L1).toString();
    const VXAttributeDescription *const attribute = entity.attributeForName(name);
    if (attribute == nullptr || attribute->isTransient())
        return fail(u"Entity \"%1\" stores no attribute \"%2\"."_s.arg(entity.name(), name));
    if (row.hasValue(attribute->index()))
        return fail(u"Attribute \"%1\" is there twice."_s.arg(name));
    const QString text = _xml.readElementText();
    if (_xml.hasError())
        return;
    const std::optional<QVariant> value = VXXMLValue(attribute->type(), text);
    if (!value)
        return fail(u"The value of attribute \"%1\" is no %2."_s.arg(name, VXAttributeTypeName(attribute->type())));
    row.setValue(attribute->index(), *value);
}

void VXXMLStoreReader::readRelationship(const VXManagedObjectID &objectID, VXStoreRow &row)
{
    const QString name = _xml.attributes().value("name"_L1).toString();
    const VXRelationshipDescription *const relationship = objectID.entity().relationshipForName(name);
    if (relationship == nullptr || relationship->isTransient() ||
        (relationship->isToMany() && !relationship->isManyToMany()))
        return fail(u"Entity \"%1\" stores no relationship \"%2\"."_s.arg(objectID.entity().name(), name));
    const QList<VXManagedObjectID> targets = readTargets(objectID, relationship->destination());
    if (nextElement())
        fail(u"\"relationship\" has no elements."_s);
    if (_xml.hasError())
        return;
    if (relationship->isToMany()) {
        for (const VXManagedObjectID &target : targets)
            _links.append({objectID, relationship, target});
        return;
    }
    if (targets.size() != 1 || row.hasValue(relationship->index()))
        return fail(u"Relationship \"%1\" leads to one object."_s.arg(name));
    row.setTarget(relationship->index(), targets.front());
}

// "ENTITY/NUMBER", separated by spaces.
QList<VXManagedObjectID> VXXMLStoreReader::readTargets(const VXManagedObjectID &source,
                                                       const VXEntityDescription &destination)
{
    QList<VXManagedObjectID> targets;
    const QString to = _xml.attributes().value("to"_L1).toString();
    for (const QStringView target : QStringView(to).split(u' ', Qt::SkipEmptyParts)) {
        const qsizetype slash = target.indexOf(u'/');
        bool isNumber = false;
        const qint64 number = target.sliced(slash + 1).toLongLong(&isNumber);
        const VXEntityDescription *const entity =
            destination.model().entityForName(target.first(std::max(slash, qsizetype(0))).toString());
        if (!isNumber || number < 1 || entity == nullptr || entity->isAbstract() ||
            !entity->isKindOfEntity(destination)) {
            fail(u"\"%1\" is no object of entity \"%2\"."_s.arg(target, destination.name()));
            return {};
        }
        targets.append({*entity, *source.store(), number});
    }
    return targets;
}
