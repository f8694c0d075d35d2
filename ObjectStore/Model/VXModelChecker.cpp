#include "VXModelDefinition.h"
#include "VXNone.h"
#include "VXPredicateWords.h"
#include "VXPropertyList.h"

#include <QtCore/QHash>
#include <QtCore/QSet>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype longestLineage = 100; // entities: each has all properties that it inherits
constexpr int mostColumns = 1990;         // SQLite allows 2,000 per table, some of which the store uses itself

bool isIdentifier(const QString &name)
{
    const auto isLetter = [](QChar c) { return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || c == u'_'; };
    return !name.isEmpty() && isLetter(name.front()) &&
           std::all_of(name.cbegin(), name.cend(), [&](QChar c) { return isLetter(c) || (c >= u'0' && c <= u'9'); });
}

// Words with a meaning of their own in predicates and objects.
bool isReserved(const QString &name)
{
    return VXIsPredicateWord(name) || name.compare("objectID"_L1, Qt::CaseInsensitive) == 0 ||
           name.compare("entity"_L1, Qt::CaseInsensitive) == 0;
}

class Checker
{
public:
    explicit Checker(const VXModelDefinition &definition) : _definition(definition) {}

    QList<VXModelProblem> run()
    {
        for (const VXEntityDefinition &entity : _definition.entities) {
            checkName(entity.name, entity.line, u"entity"_s);
            checkCase(entity);
            if (_entities.contains(entity.name))
                report(entity.line, u"entity \"%1\" is defined twice"_s.arg(entity.name));
            else
                _entities.insert(entity.name, &entity);
        }
        for (const VXEntityDefinition &entity : _definition.entities)
            checkInheritance(entity);
        for (const VXEntityDefinition &entity : _definition.entities)
            checkProperties(entity);
        checkColumns();
        std::stable_sort(_problems.begin(), _problems.end(),
                         [](const VXModelProblem &a, const VXModelProblem &b) { return a.line < b.line; });
        return _problems;
    }

private:
    void report(int line, const QString &text) { _problems.append({line, text}); }

    void checkName(const QString &name, int line, const QString &kind)
    {
        if (!isIdentifier(name))
            report(line, u"\"%1\" is no name for an %2: ASCII letters, digits and _ make one"_s.arg(name, kind));
        else if (isReserved(name))
            report(line, u"\"%1\" is a reserved word"_s.arg(name));
    }

    // SQL does not tell case apart, in names of tables as of columns.
    void checkCase(const VXEntityDefinition &entity)
    {
        const QString earlier = _namesByCase.value(entity.name.toLower(), entity.name);
        if (earlier != entity.name)
            report(entity.line, u"entity \"%1\" differs from \"%2\" in case only"_s.arg(entity.name, earlier));
        _namesByCase.insert(entity.name.toLower(), entity.name);
    }

    void checkInheritance(const VXEntityDefinition &entity)
    {
        if (!entity.superentity.isNull() && !_entities.contains(entity.superentity))
            report(entity.line,
                   u"entity \"%1\" inherits from unknown entity \"%2\""_s.arg(entity.name, entity.superentity));
        QSet<QString> seen;
        for (const VXEntityDefinition *at = &entity; at != nullptr; at = _entities.value(at->superentity)) {
            if (seen.size() >= longestLineage) {
                report(
                    entity.line,
                    u"entity \"%1\" inherits through more than %2 others"_s.arg(entity.name).arg(longestLineage - 1));
                _cyclic.insert(entity.name);
                return;
            }
            if (seen.contains(at->name)) {
                if (at->name == entity.name) // entities that only lead into the cycle are not reported
                    report(entity.line, u"entity \"%1\" inherits from itself"_s.arg(entity.name));
                _cyclic.insert(entity.name);
                return;
            }
            seen.insert(at->name);
        }
    }

    // The entity and those it inherits from, itself first.
    QList<const VXEntityDefinition *> lineage(const VXEntityDefinition &entity) const
    {
        QList<const VXEntityDefinition *> result;
        if (_cyclic.contains(entity.name))
            return {&entity};
        for (const VXEntityDefinition *at = &entity; at != nullptr; at = _entities.value(at->superentity))
            result.append(at);
        return result;
    }

    void checkProperties(const VXEntityDefinition &entity)
    {
        QHash<QString, QString> owners; // of property names in lower case, as SQL ignores case
        const QList<const VXEntityDefinition *> ancestors = lineage(entity).sliced(1);
        for (const VXEntityDefinition *const ancestor : ancestors) {
            for (const VXAttributeDefinition &attribute : ancestor->attributes)
                owners.insert(attribute.name.toLower(), ancestor->name);
            for (const VXRelationshipDefinition &relationship : ancestor->relationships)
                owners.insert(relationship.name.toLower(), ancestor->name);
        }
        const auto claim = [&](const QString &name, int line) {
            checkName(name, line, u"attribute or relationship"_s);
            const QString owner = owners.value(name.toLower());
            if (!owner.isNull())
                report(line, u"\"%1\" is defined twice, the first time in entity \"%2\""_s.arg(name, owner));
            owners.insert(name.toLower(), entity.name);
        };
        for (const VXAttributeDefinition &attribute : entity.attributes) {
            claim(attribute.name, attribute.line);
            checkAttribute(attribute);
        }
        for (const VXRelationshipDefinition &relationship : entity.relationships) {
            claim(relationship.name, relationship.line);
            checkRelationship(entity, relationship);
        }
        checkFetchTemplates(entity);
        checkIndexes(entity);
    }

    // The properties of a root entity and everything that inherits from it are in one table of an SQLite store.
    void checkColumns()
    {
        QHash<const VXEntityDefinition *, int> columns; // by root
        for (const VXEntityDefinition &entity : _definition.entities) {
            const VXEntityDefinition *const root = lineage(entity).constLast();
            columns[root] += columnsOf(entity);
        }
        for (const VXEntityDefinition &entity : _definition.entities) {
            if (const int count = columns.value(&entity); count > mostColumns)
                report(entity.line,
                       u"entity \"%1\" and those that inherit from it take %2 columns of a table, which may "
                       "have %3: one each attribute, two each relationship to one object"_s.arg(entity.name)
                           .arg(count)
                           .arg(mostColumns));
        }
    }

    static int columnsOf(const VXEntityDefinition &entity)
    {
        const auto attributes = std::count_if(entity.attributes.cbegin(), entity.attributes.cend(),
                                              [](const VXAttributeDefinition &each) { return !each.isTransient; });
        const auto relationships =
            std::count_if(entity.relationships.cbegin(), entity.relationships.cend(),
                          [](const VXRelationshipDefinition &each) { return !each.isTransient && !each.isToMany; });
        return int(attributes + 2 * relationships);
    }

    void checkAttribute(const VXAttributeDefinition &attribute)
    {
        if (!VXAttributeValue(attribute.type, attribute.defaultValue))
            report(attribute.line,
                   u"the default value of \"%1\" is no %2"_s.arg(attribute.name, VXAttributeTypeName(attribute.type)));
        else
            checkKept(attribute.defaultValue, attribute.line);
        if (attribute.isIndexed && attribute.isTransient)
            report(attribute.line, u"\"%1\" is transient and cannot be indexed"_s.arg(attribute.name));
    }

    // Compiled models are property lists.
    void checkKept(const QVariant &value, int line)
    {
        VXError error;
        if (!VXIsNone(value) && VXPropertyList::toData(value, VXPropertyList::Format::Binary, &error).isNull())
            report(line, u"no compiled model can hold this: %1"_s.arg(error.localizedDescription()));
    }

    void checkRelationship(const VXEntityDefinition &entity, const VXRelationshipDefinition &relationship)
    {
        const VXEntityDefinition *const destination = _entities.value(relationship.destination);
        if (destination == nullptr) {
            report(relationship.line,
                   u"\"%1\" leads to unknown entity \"%2\""_s.arg(relationship.name, relationship.destination));
            return;
        }
        if (relationship.inverse.isNull()) {
            if (!relationship.isTransient)
                report(relationship.line, u"\"%1\" has no inverse"_s.arg(relationship.name));
            return;
        }
        const VXRelationshipDefinition *const inverse = ownRelationship(*destination, relationship.inverse);
        if (inverse == nullptr)
            report(relationship.line, u"entity \"%1\" has no relationship \"%2\", the inverse of \"%3\""_s.arg(
                                          destination->name, relationship.inverse, relationship.name));
        else if (inverse->destination != entity.name || inverse->inverse != relationship.name)
            report(relationship.line, u"\"%1.%2\" and \"%3.%4\" are not each other's inverse"_s.arg(
                                          entity.name, relationship.name, destination->name, inverse->name));
        else if (inverse->isTransient != relationship.isTransient)
            report(relationship.line, u"of \"%1\" and its inverse only one is transient"_s.arg(relationship.name));
    }

    static const VXRelationshipDefinition *ownRelationship(const VXEntityDefinition &entity, const QString &name)
    {
        const auto found = std::find_if(entity.relationships.cbegin(), entity.relationships.cend(),
                                        [&](const VXRelationshipDefinition &each) { return each.name == name; });
        return found == entity.relationships.cend() ? nullptr : &*found;
    }

    void checkFetchTemplates(const VXEntityDefinition &entity)
    {
        QSet<QString> names;
        for (const VXFetchTemplateDefinition &fetchTemplate : entity.fetchTemplates) {
            checkName(fetchTemplate.name, fetchTemplate.line, u"attribute, relationship or fetch template"_s);
            if (names.contains(fetchTemplate.name))
                report(fetchTemplate.line, u"fetch template \"%1\" is defined twice"_s.arg(fetchTemplate.name));
            names.insert(fetchTemplate.name);
            checkKept(fetchTemplate.predicate, fetchTemplate.line);
        }
    }

    void checkIndexes(const VXEntityDefinition &entity)
    {
        QSet<QString> stored;
        for (const VXAttributeDefinition &attribute : entity.attributes) {
            if (!attribute.isTransient)
                stored.insert(attribute.name);
        }
        for (const VXRelationshipDefinition &relationship : entity.relationships) {
            if (!relationship.isTransient && !relationship.isToMany)
                stored.insert(relationship.name);
        }
        for (const VXIndexDefinition &index : entity.indexes) {
            if (index.properties.size() < 2)
                report(index.line, u"an index is over several properties; of one say \"indexed\""_s);
            QStringList names = index.properties;
            names.removeDuplicates();
            for (const QString &name : std::as_const(names)) {
                if (!stored.contains(name))
                    report(index.line, u"\"%1\" is no stored attribute or to-one relationship of \"%2\" itself"_s.arg(
                                           name, entity.name));
                else if (index.properties.count(name) > 1)
                    report(index.line, u"the index has \"%1\" twice"_s.arg(name));
            }
        }
    }

    const VXModelDefinition &_definition;
    QHash<QString, const VXEntityDefinition *> _entities;
    QHash<QString, QString> _namesByCase; // of entities, by the name in lower case
    QSet<QString> _cyclic;                // entities whose inheritance does not end, or not in time
    QList<VXModelProblem> _problems;
};

} // namespace

QList<VXModelProblem> VXCheckModel(const VXModelDefinition &definition)
{
    return Checker(definition).run();
}
