#include "VXSQLPredicate.h"

#include "VXContainer.h"
#include "VXNone.h"
#include "VXSQLiteSchema.h"

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype maximumStepCount = 8; // each step nests another query

} // namespace

VXSQLPredicate::Operand VXSQLPredicate::operand(const VXExpression &expression)
{
    Operand made;
    switch (expression.kind()) {
    case VXExpression::Kind::Self:
    case VXExpression::Kind::KeyPath:
        made.shape = Operand::Shape::Path;
        made.path = path(expression.keys());
        return made;
    case VXExpression::Kind::Aggregate:
        made.shape = Operand::Shape::List;
        made.elements = expression.elements();
        return made;
    case VXExpression::Kind::Variable:
    case VXExpression::Kind::Constant:
        break;
    }
    const QVariant &value = expression.value();
    if (VXIsList(value)) {
        made.shape = Operand::Shape::List;
        for (const QVariant &element : value.toList())
            made.elements.append(VXExpression::constant(element));
    } else {
        made.scalar = constant(value);
    }
    return made;
}

VXSQLPredicate::Scalar VXSQLPredicate::scalar(const Operand &operand)
{
    if (operand.shape == Operand::Shape::Constant)
        return operand.scalar;
    if (operand.shape == Operand::Shape::List || operand.path.collectionCount > 0)
        throw Unsupported{};
    Scalar made = end(operand.path, u"t0"_s);
    made.sql = value(operand.path, 0, u"t0"_s);
    return made;
}

QVariant VXSQLPredicate::boundValue(const QVariant &constant)
{
    return constant.metaType() == QMetaType::fromType<VXManagedObjectID>()
               ? qlonglong(constant.value<VXManagedObjectID>().number())
               : constant;
}

VXSQLPredicate::Scalar VXSQLPredicate::constant(const QVariant &value) const
{
    Scalar made{.family = Family::Other, .isConstant = true, .constant = value};
    if (VXIsNone(value)) {
        made.family = Family::None;
        return made;
    }
    if (value.metaType() == QMetaType::fromType<VXManagedObjectID>()) {
        const auto objectID = value.value<VXManagedObjectID>();
        made.family = objectID.isNull() ? Family::None : Family::Object;
        if (!objectID.isNull() && objectID.store() == &_store)
            made.root = &objectID.entity().rootEntity();
        made.constant = boundValue(value);
        return made;
    }
    switch (value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Float:
    case QMetaType::Double:
        made.family = Family::Number;
        break;
    case QMetaType::QString:
        made.family = Family::Text;
        break;
    case QMetaType::QDateTime:
        made.family = Family::Date;
        break;
    case QMetaType::QByteArray:
        made.family = Family::Data;
        break;
    default:
        break;
    }
    return made;
}

QString VXSQLPredicate::sql(const Scalar &scalar)
{
    return scalar.isConstant ? parameter(scalar.constant) : scalar.sql;
}

VXSQLPredicate::Path VXSQLPredicate::path(const QStringList &keys) const
{
    Path made{.entity = &_entity};
    for (qsizetype index = 0; index < keys.size(); ++index) {
        const bool isLast = index + 1 == keys.size();
        if (keys[index] == "@count"_L1 && isLast && !made.steps.isEmpty() && made.steps.constLast()->isToMany()) {
            made.counted = made.steps.takeLast();
            --made.collectionCount;
            break;
        }
        const VXPropertyDescription *const property = made.entity->propertyForName(keys[index]);
        if (property == nullptr || property->isTransient())
            throw Unsupported{};
        const VXRelationshipDescription *const relationship = property->asRelationship();
        if (isLast && (relationship == nullptr || !relationship->isToMany())) {
            made.end = property;
        } else if (relationship != nullptr) {
            made.steps.append(relationship);
            made.collectionCount += relationship->isToMany() ? 1 : 0;
            made.entity = &relationship->destination();
        } else {
            throw Unsupported{};
        }
    }
    if (made.steps.size() > maximumStepCount || (made.counted != nullptr && made.collectionCount > 0))
        throw Unsupported{};
    return made;
}

QString VXSQLPredicate::some(const Path &path, const Condition &condition, qsizetype step, const QString &table)
{
    if (step == path.steps.size())
        return condition(end(path, table));
    const VXRelationshipDescription &relationship = *path.steps[step];
    const QString next = newTable();
    const QString nextName = VXSQLiteSchema::table(relationship.destination());
    const QString rest = some(path, condition, step + 1, next);
    if (!relationship.isToMany())
        return u"%1.%2 IN (SELECT %3.Z_PK FROM %4 %3 WHERE %5)"_s.arg(table, VXSQLiteSchema::column(relationship), next,
                                                                      nextName, rest);
    if (!relationship.isManyToMany())
        return u"%1.Z_PK IN (SELECT %3.%2 FROM %4 %3 WHERE %5)"_s.arg(
            table, VXSQLiteSchema::column(*relationship.inverse()), next, nextName, rest);
    const VXSQLiteLink link = VXSQLiteSchema::link(relationship);
    const QString pairs = newTable();
    return u"%1.Z_PK IN (SELECT %2.%3 FROM %4 %2 JOIN %5 %6 ON %6.Z_PK = %2.%7 WHERE %8)"_s.arg(
        table, pairs, link.source, link.table, nextName, next, link.target, rest);
}

QString VXSQLPredicate::value(const Path &path, qsizetype step, const QString &table)
{
    if (step == path.steps.size())
        return end(path, table).sql;
    const VXRelationshipDescription &relationship = *path.steps[step];
    const QString next = newTable();
    return u"(SELECT %1 FROM %2 %3 WHERE %3.Z_PK = %4.%5)"_s.arg(value(path, step + 1, next),
                                                                 VXSQLiteSchema::table(relationship.destination()),
                                                                 next, table, VXSQLiteSchema::column(relationship));
}

VXSQLPredicate::Scalar VXSQLPredicate::end(const Path &path, const QString &table)
{
    if (path.counted != nullptr) {
        const VXRelationshipDescription &counted = *path.counted;
        if (counted.isManyToMany()) {
            const VXSQLiteLink link = VXSQLiteSchema::link(counted);
            return {.sql = u"(SELECT COUNT(*) FROM %1 WHERE %2 = %3.Z_PK)"_s.arg(link.table, link.source, table),
                    .family = Family::Number};
        }
        const QString name = newTable();
        return {
            .sql = u"(SELECT COUNT(*) FROM %1 %2 WHERE %2.%3 = %4.Z_PK)"_s.arg(
                VXSQLiteSchema::table(counted.destination()), name, VXSQLiteSchema::column(*counted.inverse()), table),
            .family = Family::Number};
    }
    if (path.end == nullptr)
        return {.sql = table + ".Z_PK"_L1, .family = Family::Object, .root = &path.entity->rootEntity()};
    Scalar made{.sql = table + u'.' + VXSQLiteSchema::column(*path.end)};
    if (const VXRelationshipDescription *const relationship = path.end->asRelationship()) {
        made.family = Family::Object;
        made.root = &relationship->destination().rootEntity();
        return made;
    }
    const VXAttributeType type = path.end->asAttribute()->type();
    made.family = familyOf(type);
    made.isReal = type == VXAttributeType::Double;
    return made;
}

VXSQLPredicate::Family VXSQLPredicate::familyOf(VXAttributeType type)
{
    switch (type) {
    case VXAttributeType::Integer16:
    case VXAttributeType::Integer32:
    case VXAttributeType::Integer64:
    case VXAttributeType::Double:
    case VXAttributeType::Boolean:
        return Family::Number;
    case VXAttributeType::String:
        return Family::Text;
    case VXAttributeType::Date:
        return Family::Date;
    case VXAttributeType::Binary:
        return Family::Data;
    case VXAttributeType::PropertyList:
        break;
    }
    return Family::Other;
}

QString VXSQLPredicate::newTable()
{
    return u't' + QString::number(++_tableCount);
}
