#include "VXModelDefinition.h"

#include "VXNone.h"

#include <array>

using namespace Qt::StringLiterals;

namespace {

constexpr std::array<QLatin1StringView, 4> deleteRuleNames = {"nullify"_L1, "cascade"_L1, "deny"_L1, "no-action"_L1};
constexpr int formatVersion = 1;

// -- Writing: false, none and default values are left out.

struct Writer
{
    static void putFlag(QVariantMap &map, const QString &key, bool flag)
    {
        if (flag)
            map.insert(key, true);
    }

    static void put(QVariantMap &map, const QString &key, const QVariant &value)
    {
        if (!VXIsNone(value))
            map.insert(key, value);
    }

    template <class Definition>
    static QVariantList listOf(const QList<Definition> &definitions)
    {
        QVariantList list;
        for (const Definition &definition : definitions)
            list.append(toMap(definition));
        return list;
    }

    static QVariantMap toMap(const VXAttributeDefinition &attribute)
    {
        QVariantMap map{{u"name"_s, attribute.name}, {u"type"_s, VXAttributeTypeName(attribute.type)}};
        putFlag(map, u"optional"_s, attribute.isOptional);
        putFlag(map, u"transient"_s, attribute.isTransient);
        putFlag(map, u"indexed"_s, attribute.isIndexed);
        put(map, u"default"_s, attribute.defaultValue);
        return map;
    }

    static QVariantMap toMap(const VXRelationshipDefinition &relationship)
    {
        QVariantMap map{{u"name"_s, relationship.name},
                        {u"destination"_s, relationship.destination},
                        {u"deleteRule"_s, VXDeleteRuleName(relationship.deleteRule)}};
        put(map, u"inverse"_s, relationship.inverse);
        putFlag(map, u"toMany"_s, relationship.isToMany);
        putFlag(map, u"optional"_s, relationship.isOptional);
        putFlag(map, u"transient"_s, relationship.isTransient);
        return map;
    }

    static QVariantMap toMap(const VXFetchTemplateDefinition &fetchTemplate)
    {
        return {{u"name"_s, fetchTemplate.name}, {u"predicate"_s, fetchTemplate.predicate}};
    }

    static QVariantMap toMap(const VXIndexDefinition &index)
    {
        return {{u"properties"_s, QVariant(index.properties).toList()}};
    }

    static QVariantMap toMap(const VXEntityDefinition &entity)
    {
        QVariantMap map{{u"name"_s, entity.name},
                        {u"attributes"_s, listOf(entity.attributes)},
                        {u"relationships"_s, listOf(entity.relationships)},
                        {u"fetchTemplates"_s, listOf(entity.fetchTemplates)}};
        put(map, u"class"_s, entity.className);
        put(map, u"superentity"_s, entity.superentity);
        putFlag(map, u"abstract"_s, entity.isAbstract);
        if (!entity.indexes.isEmpty())
            map.insert(u"indexes"_s, listOf(entity.indexes));
        return map;
    }
};

// -- Reading: ends at the first error.

class Reader
{
public:
    QString problem() const { return _problem; }

    template <class Definition>
    QList<Definition> list(const QVariantMap &map, const QString &key)
    {
        const QVariant value = take(map, key, QMetaType::fromType<QVariantList>(), true);
        QList<Definition> definitions;
        for (const QVariant &element : value.toList()) {
            if (element.metaType() != QMetaType::fromType<QVariantMap>())
                fail(u"an entry of \"%1\" is no dictionary"_s.arg(key));
            if (!_problem.isNull())
                return {};
            Definition definition;
            read(element.toMap(), definition);
            definitions.append(definition);
        }
        return definitions;
    }

private:
    void fail(const QString &problem)
    {
        if (_problem.isNull())
            _problem = problem;
    }

    QVariant take(const QVariantMap &map, const QString &key, QMetaType type, bool isNeeded)
    {
        const QVariant value = map.value(key);
        if (value.isValid() ? value.metaType() != type : isNeeded)
            fail(u"\"%1\" of \"%2\" is missing or of a wrong type"_s.arg(key, map.value(u"name"_s).toString()));
        return value;
    }

    QString text(const QVariantMap &map, const QString &key, bool isNeeded = true)
    {
        return take(map, key, QMetaType::fromType<QString>(), isNeeded).toString();
    }

    bool flag(const QVariantMap &map, const QString &key)
    {
        return take(map, key, QMetaType::fromType<bool>(), false).toBool();
    }

    void read(const QVariantMap &map, VXAttributeDefinition &attribute)
    {
        attribute.name = text(map, u"name"_s);
        const QString typeName = text(map, u"type"_s);
        const std::optional<VXAttributeType> type = VXAttributeTypeFromName(typeName);
        if (!type)
            fail(u"\"%1\" is no type of attributes"_s.arg(typeName));
        attribute.type = type.value_or(VXAttributeType::String);
        attribute.isOptional = flag(map, u"optional"_s);
        attribute.isTransient = flag(map, u"transient"_s);
        attribute.isIndexed = flag(map, u"indexed"_s);
        attribute.defaultValue = map.value(u"default"_s);
    }

    void read(const QVariantMap &map, VXRelationshipDefinition &relationship)
    {
        relationship.name = text(map, u"name"_s);
        relationship.destination = text(map, u"destination"_s);
        relationship.inverse = text(map, u"inverse"_s, false);
        relationship.isToMany = flag(map, u"toMany"_s);
        relationship.isOptional = flag(map, u"optional"_s);
        relationship.isTransient = flag(map, u"transient"_s);
        const QString ruleName = text(map, u"deleteRule"_s);
        const std::optional<VXDeleteRule> rule = VXDeleteRuleFromName(ruleName);
        if (!rule)
            fail(u"\"%1\" is no delete rule"_s.arg(ruleName));
        relationship.deleteRule = rule.value_or(VXDeleteRule::Nullify);
    }

    void read(const QVariantMap &map, VXFetchTemplateDefinition &fetchTemplate)
    {
        fetchTemplate.name = text(map, u"name"_s);
        fetchTemplate.predicate = text(map, u"predicate"_s);
    }

    void read(const QVariantMap &map, VXIndexDefinition &index)
    {
        const QVariantList names = take(map, u"properties"_s, QMetaType::fromType<QVariantList>(), true).toList();
        for (const QVariant &name : names)
            index.properties.append(name.toString());
    }

    void read(const QVariantMap &map, VXEntityDefinition &entity)
    {
        entity.name = text(map, u"name"_s);
        entity.className = text(map, u"class"_s, false);
        entity.superentity = text(map, u"superentity"_s, false);
        entity.isAbstract = flag(map, u"abstract"_s);
        entity.attributes = list<VXAttributeDefinition>(map, u"attributes"_s);
        entity.relationships = list<VXRelationshipDefinition>(map, u"relationships"_s);
        entity.fetchTemplates = list<VXFetchTemplateDefinition>(map, u"fetchTemplates"_s);
        if (map.contains(u"indexes"_s)) // models of earlier programs have none
            entity.indexes = list<VXIndexDefinition>(map, u"indexes"_s);
    }

    QString _problem;
};

VXError invalidModel(const QString &reason)
{
    return VXError::platformError(VXPlatformErrorCode::FileCorrupt, u"The object model cannot be read."_s, reason);
}

} // namespace

QString VXDeleteRuleName(VXDeleteRule rule)
{
    return deleteRuleNames.at(size_t(rule));
}

std::optional<VXDeleteRule> VXDeleteRuleFromName(QStringView name)
{
    for (size_t index = 0; index < deleteRuleNames.size(); ++index) {
        if (name == deleteRuleNames.at(index))
            return VXDeleteRule(index);
    }
    return std::nullopt;
}

QVariantMap VXModelDefinition::toPropertyList() const
{
    return {{u"VXModelVersion"_s, formatVersion}, {u"entities"_s, Writer::listOf(entities)}};
}

VXModelDefinition VXModelDefinition::fromPropertyList(const QVariant &list, VXError *error)
{
    const QVariantMap map = list.toMap();
    const QVariant version = map.value(u"VXModelVersion"_s);
    if (version.metaType() != QMetaType::fromType<qlonglong>() && version.metaType() != QMetaType::fromType<int>()) {
        VXSetError(error, invalidModel(u"It is no object model."_s));
        return {};
    }
    if (version.toLongLong() != formatVersion) {
        VXSetError(error,
                   invalidModel(u"It is of version %1, and this program knows version %2."_s.arg(version.toLongLong())
                                    .arg(formatVersion)));
        return {};
    }
    Reader reader;
    VXModelDefinition definition{reader.list<VXEntityDefinition>(map, u"entities"_s)};
    if (reader.problem().isNull())
        return definition;
    VXSetError(error, invalidModel(reader.problem()));
    return {};
}
