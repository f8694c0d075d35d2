#include "VXEntityDescription.h"

#include <cstring>

VXAttributeDescription::VXAttributeDescription(const VXAttributeDefinition &definition,
                                               const VXEntityDescription &entity, int index)
    : VXPropertyDescription(definition.name, entity, index, definition.isOptional, definition.isTransient),
      _type(definition.type), _isIndexed(definition.isIndexed),
      _defaultValue(VXAttributeValue(definition.type, definition.defaultValue).value_or(QVariant()))
{
}

VXRelationshipDescription::VXRelationshipDescription(const VXRelationshipDefinition &definition,
                                                     const VXEntityDescription &entity, int index)
    : VXPropertyDescription(definition.name, entity, index, definition.isOptional, definition.isTransient),
      _isToMany(definition.isToMany), _deleteRule(definition.deleteRule)
{
}

VXEntityDescription::VXEntityDescription(const VXEntityDefinition &definition, const VXManagedObjectModel &model,
                                         int number, const VXEntityDescription *superentity)
    : _name(definition.name), _model(model), _className(definition.className), _isAbstract(definition.isAbstract),
      _number(number), _superentity(superentity), _root(superentity == nullptr ? this : superentity->_root)
{
    if (superentity != nullptr) {
        _properties = superentity->_properties;
        _attributes = superentity->_attributes;
        _relationships = superentity->_relationships;
        _byName = superentity->_byName;
        _mandatoryProperties = superentity->_mandatoryProperties;
        _hasTransientProperties = superentity->_hasTransientProperties;
    }
    for (const VXAttributeDefinition &attribute : definition.attributes) {
        _ownAttributes.push_back(std::make_unique<VXAttributeDescription>(attribute, *this, int(_properties.size())));
        add(*_ownAttributes.back());
        _attributes.append(_ownAttributes.back().get());
    }
    for (const VXRelationshipDefinition &relationship : definition.relationships) {
        _ownRelationships.push_back(
            std::make_unique<VXRelationshipDescription>(relationship, *this, int(_properties.size())));
        add(*_ownRelationships.back());
        _relationships.append(_ownRelationships.back().get());
    }
    for (const VXFetchTemplateDefinition &fetchTemplate : definition.fetchTemplates)
        _fetchTemplates.insert(fetchTemplate.name, fetchTemplate.predicate);
    for (const VXIndexDefinition &index : definition.indexes) {
        QList<const VXPropertyDescription *> properties;
        for (const QString &name : index.properties)
            properties.append(_byName.value(name));
        _indexes.append(properties);
    }
}

VXEntityDescription::~VXEntityDescription() = default;

void VXEntityDescription::add(const VXPropertyDescription &property)
{
    _properties.append(&property);
    _byName.insert(property.name(), &property);
    _hasTransientProperties = _hasTransientProperties || property.isTransient();
    const VXRelationshipDescription *const relationship = property.asRelationship();
    if (!property.isOptional() && !property.isTransient() && (relationship == nullptr || !relationship->isToMany()))
        _mandatoryProperties.append(&property);
}

QList<const VXEntityDescription *> VXEntityDescription::family() const
{
    QList<const VXEntityDescription *> result{this};
    for (const VXEntityDescription *const subentity : _subentities)
        result += subentity->family();
    return result;
}

bool VXEntityDescription::inheritsFrom(const VXEntityDescription &entity) const
{
    const VXEntityDescription *at = _superentity;
    while (at != nullptr && at != &entity)
        at = at->_superentity;
    return at != nullptr;
}

namespace {

constexpr qsizetype mostCompared = 16;

bool isSameName(const QString &a, const QString &b)
{
    return a.size() == b.size() &&
           (a.constData() == b.constData() || std::memcmp(a.constData(), b.constData(), size_t(a.size()) * 2) == 0);
}

// For few properties comparing is faster than hashing the name: most names differ in length, and many share their data.
template <class Property>
const Property *propertyNamed(const QString &name, const QList<const Property *> &properties)
{
    for (const Property *const property : properties) {
        if (isSameName(property->name(), name))
            return property;
    }
    return nullptr;
}

} // namespace

const VXPropertyDescription *VXEntityDescription::propertyForName(const QString &name) const
{
    return _properties.size() <= mostCompared ? propertyNamed(name, _properties) : _byName.value(name);
}

const VXAttributeDescription *VXEntityDescription::attributeForName(const QString &name) const
{
    if (_attributes.size() <= mostCompared)
        return propertyNamed(name, _attributes);
    const VXPropertyDescription *const property = propertyForName(name);
    return property == nullptr ? nullptr : property->asAttribute();
}

const VXRelationshipDescription *VXEntityDescription::relationshipForName(const QString &name) const
{
    if (_relationships.size() <= mostCompared)
        return propertyNamed(name, _relationships);
    const VXPropertyDescription *const property = propertyForName(name);
    return property == nullptr ? nullptr : property->asRelationship();
}

QString VXEntityDescription::fetchTemplate(const QString &name) const
{
    const auto found = _fetchTemplates.constFind(name);
    if (found != _fetchTemplates.cend())
        return *found;
    return _superentity == nullptr ? QString() : _superentity->fetchTemplate(name);
}
