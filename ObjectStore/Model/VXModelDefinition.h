#pragma once

#include "VXAttributeType.h"
#include "VXError.h"
#include "VXObjectStoreExport.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

/** What happens to the objects at the other end when an object is deleted. */
enum class VXDeleteRule : quint8 {
    Nullify,  // their reference to the object is removed
    Cascade,  // they are deleted as well
    Deny,     // while there are any, the object cannot be deleted
    NoAction, // they are left unchanged
};

/** The name in model files, such as "no-action". */
VX_STORE_EXPORT QString VXDeleteRuleName(VXDeleteRule rule);
VX_STORE_EXPORT std::optional<VXDeleteRule> VXDeleteRuleFromName(QStringView name);

// A model as written: names in place of links, not checked yet. `line` is the line of the definition in the source; 0
// if there is no source.

struct VXAttributeDefinition
{
    QString name;
    VXAttributeType type = VXAttributeType::String;
    bool isOptional = false;
    bool isTransient = false; // not stored
    bool isIndexed = false;
    QVariant defaultValue = {};
    int line = 0;
};

struct VXRelationshipDefinition
{
    QString name;
    QString destination; // entity
    QString inverse;     // relationship of that entity; null for none
    bool isToMany = false;
    bool isOptional = false;
    bool isTransient = false;
    VXDeleteRule deleteRule = VXDeleteRule::Nullify;
    int line = 0;
};

struct VXFetchTemplateDefinition
{
    QString name;
    QString predicate; // with $VARIABLES
    int line = 0;
};

/** An index over several properties: for fetches that compare the first ones and sort by the last. */
struct VXIndexDefinition
{
    QStringList properties; // attributes and to-one relationships of the entity itself, in order
    int line = 0;
};

struct VXEntityDefinition
{
    QString name;
    QString className; // of its objects; null for the common class
    QString superentity;
    bool isAbstract = false;
    QList<VXAttributeDefinition> attributes = {};
    QList<VXRelationshipDefinition> relationships = {};
    QList<VXFetchTemplateDefinition> fetchTemplates = {};
    QList<VXIndexDefinition> indexes = {};
    int line = 0;
};

struct VX_STORE_EXPORT VXModelDefinition
{
    QList<VXEntityDefinition> entities = {};

    /** The definition as a property list, which is the contents of a .mom file. */
    QVariantMap toPropertyList() const;
    /** @return no entities on failure; then `error` says what is wrong and where. */
    static VXModelDefinition fromPropertyList(const QVariant &list, VXError *error = nullptr);
};

/** An error in a model. */
struct VXModelProblem
{
    int line = 0; // 0 if it has no line
    QString text;

    friend bool operator==(const VXModelProblem &a, const VXModelProblem &b) = default;
};

/**
 * Finds what is wrong with a definition: names, duplicates, unknown entities and inverses, cycles of inheritance, default
 * values that do not fit. @return in the order of the lines; empty when a model can be made of it. Fetch templates are read when
 * they are used, and checked by VXCheckFetchTemplates.
 */
VX_STORE_EXPORT QList<VXModelProblem> VXCheckModel(const VXModelDefinition &definition);
