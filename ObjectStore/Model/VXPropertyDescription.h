#pragma once

#include "VXModelDefinition.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

class VXEntityDescription;
class VXRelationshipDescription;
class VXAttributeDescription;

/** An attribute or relationship of an entity. Belongs to its model, and is immutable. */
class VX_STORE_EXPORT VXPropertyDescription
{
public:
    virtual ~VXPropertyDescription() = default;
    VXPropertyDescription(const VXPropertyDescription &) = delete;
    VXPropertyDescription &operator=(const VXPropertyDescription &) = delete;

    const QString &name() const { return _name; }
    /** The entity that declares it; entities that inherit it share the description. */
    const VXEntityDescription &entity() const { return _entity; }
    /** The position of the value in objects; the same for all entities that have the property. */
    int index() const { return _index; }
    bool isOptional() const { return _isOptional; }
    bool isTransient() const { return _isTransient; }

    /** nullptr when it is of the other kind. */
    virtual const VXAttributeDescription *asAttribute() const { return nullptr; }
    virtual const VXRelationshipDescription *asRelationship() const { return nullptr; }

protected:
    VXPropertyDescription(const QString &name, const VXEntityDescription &entity, int index, bool isOptional,
                          bool isTransient)
        : _name(name), _entity(entity), _index(index), _isOptional(isOptional), _isTransient(isTransient)
    {
    }

private:
    const QString _name;
    const VXEntityDescription &_entity;
    const int _index;
    const bool _isOptional;
    const bool _isTransient;
};

class VX_STORE_EXPORT VXAttributeDescription final : public VXPropertyDescription
{
public:
    VXAttributeDescription(const VXAttributeDefinition &definition, const VXEntityDescription &entity, int index);

    const VXAttributeDescription *asAttribute() const override { return this; }
    VXAttributeType type() const { return _type; }
    bool isIndexed() const { return _isIndexed; }
    /** The value in new objects; invalid for none. */
    const QVariant &defaultValue() const { return _defaultValue; }

private:
    const VXAttributeType _type;
    const bool _isIndexed;
    const QVariant _defaultValue;
};

class VX_STORE_EXPORT VXRelationshipDescription final : public VXPropertyDescription
{
public:
    VXRelationshipDescription(const VXRelationshipDefinition &definition, const VXEntityDescription &entity, int index);

    const VXRelationshipDescription *asRelationship() const override { return this; }
    const VXEntityDescription &destination() const { return *_destination; }
    /** nullptr if there is none, which only transient relationships may have. */
    const VXRelationshipDescription *inverse() const { return _inverse; }
    bool isToMany() const { return _isToMany; }
    VXDeleteRule deleteRule() const { return _deleteRule; }
    /** Whether it is to-many at both ends. */
    bool isManyToMany() const { return _isToMany && _inverse != nullptr && _inverse->_isToMany; }

private:
    friend class VXModelLinker;

    const VXEntityDescription *_destination = nullptr; // set once while the model is made, as is the inverse
    const VXRelationshipDescription *_inverse = nullptr;
    const bool _isToMany;
    const VXDeleteRule _deleteRule;
};
