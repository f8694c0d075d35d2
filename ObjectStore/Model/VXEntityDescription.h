#pragma once

#include "VXPropertyDescription.h"

#include <QtCore/QHash>
#include <QtCore/QList>

#include <memory>
#include <vector>

class VXManagedObjectModel;

/** A kind of object: its own and inherited properties. Belongs to its model, and is immutable. */
class VX_STORE_EXPORT VXEntityDescription
{
public:
    VXEntityDescription(const VXEntityDefinition &definition, const VXManagedObjectModel &model, int number,
                        const VXEntityDescription *superentity);
    ~VXEntityDescription();
    VXEntityDescription(const VXEntityDescription &) = delete;
    VXEntityDescription &operator=(const VXEntityDescription &) = delete;

    const QString &name() const { return _name; }
    const VXManagedObjectModel &model() const { return _model; }
    /** The name under which the class of its objects is registered; null for the common class. */
    const QString &managedObjectClassName() const { return _className; }
    bool isAbstract() const { return _isAbstract; }
    /** Its index in the model's list of entities. */
    int number() const { return _number; }

    /** nullptr for a root entity. */
    const VXEntityDescription *superentity() const { return _superentity; }
    const VXEntityDescription &rootEntity() const { return *_root; }
    const QList<const VXEntityDescription *> &subentities() const { return _subentities; }
    /** The entity and everything below it. */
    QList<const VXEntityDescription *> family() const;
    /** Whether this is the entity, or inherits from it. */
    bool isKindOfEntity(const VXEntityDescription &entity) const { return this == &entity || inheritsFrom(entity); }

    /** All properties, inherited ones first; the property at position i has index i. */
    const QList<const VXPropertyDescription *> &properties() const { return _properties; }
    const QList<const VXAttributeDescription *> &attributes() const { return _attributes; }
    const QList<const VXRelationshipDescription *> &relationships() const { return _relationships; }
    bool hasTransientProperties() const { return _hasTransientProperties; }
    /** Those that are stored and may not be without a value; no to-many relationships. */
    const QList<const VXPropertyDescription *> &mandatoryProperties() const { return _mandatoryProperties; }
    /** nullptr when the entity has none of that name. */
    const VXPropertyDescription *propertyForName(const QString &name) const;
    const VXAttributeDescription *attributeForName(const QString &name) const;
    const VXRelationshipDescription *relationshipForName(const QString &name) const;

    /** The text of the predicate; null when neither the entity nor one that it inherits from has a fetch template of
     *  that name. */
    QString fetchTemplate(const QString &name) const;
    /** The entity's own templates, by name. */
    const QHash<QString, QString> &fetchTemplates() const { return _fetchTemplates; }
    /** Indexes over several of the entity's own properties; those of single properties are not listed. */
    const QList<QList<const VXPropertyDescription *>> &indexes() const { return _indexes; }

private:
    friend class VXModelLinker;

    void add(const VXPropertyDescription &property);
    bool inheritsFrom(const VXEntityDescription &entity) const;

    const QString _name;
    const VXManagedObjectModel &_model;
    const QString _className;
    const bool _isAbstract;
    const int _number;
    const VXEntityDescription *const _superentity;
    const VXEntityDescription *const _root;
    QList<const VXEntityDescription *> _subentities;
    std::vector<std::unique_ptr<VXAttributeDescription>> _ownAttributes;
    std::vector<std::unique_ptr<VXRelationshipDescription>> _ownRelationships;
    QList<const VXPropertyDescription *> _properties;
    QList<const VXAttributeDescription *> _attributes;
    QList<const VXRelationshipDescription *> _relationships;
    QHash<QString, const VXPropertyDescription *> _byName;
    QList<const VXPropertyDescription *> _mandatoryProperties;
    bool _hasTransientProperties = false;
    QHash<QString, QString> _fetchTemplates;
    QList<QList<const VXPropertyDescription *>> _indexes;
};
