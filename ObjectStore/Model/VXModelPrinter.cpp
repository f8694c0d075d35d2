#include "VXModelPrinter.h"

#include "VXNone.h"

#include <QtCore/QDateTime>
#include <QtCore/QJsonDocument>
#include <QtCore/QLocale>

using namespace Qt::StringLiterals;

namespace {

QString quoted(QString text)
{
    text.replace(u'\\', u"\\\\"_s).replace(u'"', u"\\\""_s).replace(u'\n', u"\\n"_s).replace(u'\t', u"\\t"_s);
    return u'"' + text + u'"';
}

QString literal(VXAttributeType type, const QVariant &value)
{
    switch (type) {
    case VXAttributeType::String:
        return quoted(value.toString());
    case VXAttributeType::Date:
        return quoted(value.toDateTime().toUTC().toString(Qt::ISODateWithMs));
    case VXAttributeType::Binary:
        return quoted(QString::fromLatin1(value.toByteArray().toBase64()));
    case VXAttributeType::PropertyList:
        return quoted(QString::fromUtf8(QJsonDocument::fromVariant(value).toJson(QJsonDocument::Compact)));
    case VXAttributeType::Double:
        return QString::number(value.toDouble(), 'g', QLocale::FloatingPointShortest);
    default:
        return value.toString();
    }
}

QString attributeSource(const VXAttributeDefinition &attribute)
{
    QString line = u"    attribute %1: %2"_s.arg(attribute.name, VXAttributeTypeName(attribute.type));
    if (attribute.isOptional)
        line += " optional"_L1;
    if (attribute.isTransient)
        line += " transient"_L1;
    if (attribute.isIndexed)
        line += " indexed"_L1;
    if (!VXIsNone(attribute.defaultValue))
        line += " = "_L1 + literal(attribute.type, attribute.defaultValue);
    return line + ";\n"_L1;
}

QString relationshipSource(const VXRelationshipDefinition &relationship)
{
    QString line = u"    relationship %1: %2"_s.arg(relationship.name, relationship.destination);
    if (relationship.isToMany)
        line += "[]"_L1;
    else if (relationship.isOptional)
        line += " optional"_L1;
    if (relationship.isTransient)
        line += " transient"_L1;
    if (!relationship.inverse.isNull())
        line += " inverse "_L1 + relationship.inverse;
    if (relationship.deleteRule != VXDeleteRule::Nullify)
        line += " delete "_L1 + VXDeleteRuleName(relationship.deleteRule);
    return line + ";\n"_L1;
}

QString graphNode(const VXEntityDefinition &entity)
{
    QString attributes;
    for (const VXAttributeDefinition &attribute : entity.attributes)
        attributes += attribute.name + ": "_L1 + VXAttributeTypeName(attribute.type) + "\\l"_L1;
    return u"    %1 [label=\"{%2|%3}\"];\n"_s.arg(
        entity.name, entity.isAbstract ? u"\\<abstract\\>\\n"_s + entity.name : entity.name, attributes);
}

// A pair of inverse relationships is a single edge, drawn for the one that comes first.
QString graphEdge(const VXEntityDefinition &entity, const VXRelationshipDefinition &relationship)
{
    const QString from = entity.name + u'.' + relationship.name;
    const QString to = relationship.destination + u'.' + relationship.inverse;
    if (!relationship.inverse.isNull() && to < from)
        return {};
    return u"    %1 -> %2 [label=\"%3\", taillabel=\"%4\", dir=both, arrowhead=%5, arrowtail=%6];\n"_s.arg(
        entity.name, relationship.destination, relationship.name, relationship.inverse,
        relationship.isToMany ? u"crow"_s : u"tee"_s, relationship.inverse.isNull() ? u"none"_s : u"odot"_s);
}

} // namespace

QString VXModelSource(const VXModelDefinition &definition)
{
    QStringList entities;
    for (const VXEntityDefinition &entity : definition.entities) {
        QString text = entity.isAbstract ? u"abstract entity "_s : u"entity "_s;
        text += entity.name;
        if (!entity.superentity.isNull())
            text += ": "_L1 + entity.superentity;
        if (!entity.className.isNull())
            text += " ("_L1 + entity.className + u')';
        text += " {\n"_L1;
        for (const VXAttributeDefinition &attribute : entity.attributes)
            text += attributeSource(attribute);
        for (const VXRelationshipDefinition &relationship : entity.relationships)
            text += relationshipSource(relationship);
        for (const VXFetchTemplateDefinition &fetchTemplate : entity.fetchTemplates)
            text += u"    fetch %1 = %2;\n"_s.arg(fetchTemplate.name, quoted(fetchTemplate.predicate));
        for (const VXIndexDefinition &index : entity.indexes)
            text += u"    index %1;\n"_s.arg(index.properties.join(", "_L1));
        entities.append(text + "}\n"_L1);
    }
    return entities.join(u'\n');
}

QString VXModelGraph(const VXModelDefinition &definition)
{
    QString graph = u"digraph model {\n    node [shape=record];\n"_s;
    for (const VXEntityDefinition &entity : definition.entities)
        graph += graphNode(entity);
    for (const VXEntityDefinition &entity : definition.entities) {
        if (!entity.superentity.isNull())
            graph += u"    %1 -> %2 [arrowhead=empty];\n"_s.arg(entity.name, entity.superentity);
        for (const VXRelationshipDefinition &relationship : entity.relationships)
            graph += graphEdge(entity, relationship);
    }
    return graph + "}\n"_L1;
}
