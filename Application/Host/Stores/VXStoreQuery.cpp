#include "VXStoreQuery.h"

#include "VXHostOptions.h"
#include "VXStoreAccess.h"

using namespace Qt::StringLiterals;

namespace {

/** Where a key path leads from the objects of an entity. */
struct PathEnd
{
    QString problem;
    const VXPropertyDescription *property = nullptr; // nullptr: to a number of objects
    bool isToMany = false;
};

PathEnd followPath(const VXEntityDescription &start, const QStringList &keys)
{
    const VXEntityDescription *entity = &start;
    PathEnd end;
    for (qsizetype index = 0; index < keys.size(); ++index) {
        const QString &key = keys[index];
        const bool isLast = index + 1 == keys.size();
        if (key == "@count"_L1 && isLast && end.isToMany)
            return {};
        end.property = entity->propertyForName(key);
        if (end.property == nullptr)
            return {.problem = u"entity %1 has no \"%2\""_s.arg(entity->name(), key)};
        if (const VXRelationshipDescription *const relationship = end.property->asRelationship()) {
            end.isToMany = end.isToMany || relationship->isToMany();
            entity = &relationship->destination();
        } else if (!isLast && end.property->asAttribute()->type() != VXAttributeType::PropertyList) {
            return {.problem = u"\"%1\" of %2 is an attribute: \"%3\" leads nowhere"_s.arg(key, entity->name(),
                                                                                           keys[index + 1])};
        } else {
            break; // what a property list holds is not known beforehand
        }
    }
    return end;
}

QString problemOf(const VXExpression &expression, const VXEntityDescription &entity)
{
    if (expression.kind() == VXExpression::Kind::KeyPath)
        return followPath(entity, expression.keys()).problem;
    for (const VXExpression &element : expression.elements()) {
        if (const QString problem = problemOf(element, entity); !problem.isNull())
            return problem;
    }
    return {};
}

QString problemOf(const VXPredicate &predicate, const VXEntityDescription &entity)
{
    if (predicate.kind() == VXPredicate::Kind::Comparison) {
        const QString problem = problemOf(predicate.left(), entity);
        return problem.isNull() ? problemOf(predicate.right(), entity) : problem;
    }
    for (const VXPredicate &part : predicate.subpredicates()) {
        if (const QString problem = problemOf(part, entity); !problem.isNull())
            return problem;
    }
    return {};
}

QString readPredicate(const QString &text, VXFetchRequest &request)
{
    VXError error;
    const auto predicate = VXPredicate::predicateWithFormat(text, {}, &error);
    if (!predicate)
        return VXErrorText(error);
    if (const QStringList variables = predicate->variables(); !variables.isEmpty())
        return u"$%1 has no value"_s.arg(variables.first());
    request.predicate = *predicate;
    return problemOf(*predicate, request.entity());
}

QString readSort(const QString &text, VXFetchRequest &request)
{
    for (const QString &each : text.split(u',')) {
        const QString key = each.section(u':', 0, 0);
        const QString direction = each.section(u':', 1);
        if (each.contains(u':') && direction != "asc"_L1 && direction != "desc"_L1)
            return u"\"%1\" is neither asc nor desc"_s.arg(direction);
        const PathEnd end = followPath(request.entity(), key.split(u'.'));
        if (!end.problem.isNull())
            return end.problem;
        if (end.isToMany || (end.property != nullptr && end.property->asAttribute() == nullptr))
            return u"\"%1\" leads to objects, which have no order"_s.arg(key);
        request.sortDescriptors.append({.key = key, .isAscending = direction != "desc"_L1});
    }
    return {};
}

QString readNumber(const QString &text, qsizetype least, qsizetype *number)
{
    bool isNumber = false;
    *number = text.toLongLong(&isNumber);
    return isNumber && *number >= least ? QString() : u"\"%1\" is no number from %2 on"_s.arg(text).arg(least);
}

} // namespace

QString VXReadStoreQuery(const VXHostOptions &options, VXFetchRequest &request)
{
    const auto read = [&](const QString &name, const auto &reader) {
        const QString problem = options.isSet(name) ? reader(options.value(name)) : QString();
        return problem.isNull() ? QString() : u"--%1: %2"_s.arg(name, problem);
    };
    QString problem = read(u"where"_s, [&](const QString &text) { return readPredicate(text, request); });
    if (problem.isNull())
        problem = read(u"sort"_s, [&](const QString &text) { return readSort(text, request); });
    if (problem.isNull())
        problem = read(u"limit"_s, [&](const QString &text) { return readNumber(text, 1, &request.limit); });
    if (problem.isNull())
        problem = read(u"offset"_s, [&](const QString &text) { return readNumber(text, 0, &request.offset); });
    return problem;
}
