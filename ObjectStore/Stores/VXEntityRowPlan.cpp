#include "VXEntityRowPlan.h"

#include "VXSQLiteUnfit.h"
#include "VXSQLPredicate.h"

using namespace Qt::StringLiterals;

namespace {

QString ofOld(const QString &column)
{
    return "s."_L1 + column;
}

// The condition for an old row to have a value, or to refer to something.
QString hasAny(const VXPropertyDescription &property)
{
    if (VXSQLiteSchema::hasColumn(property))
        return ofOld(VXSQLiteSchema::column(property)) + " IS NOT NULL"_L1;
    const VXRelationshipDescription &relationship = *property.asRelationship();
    const VXSQLiteLink link = relationship.isManyToMany() ? VXSQLiteSchema::link(relationship) : VXSQLiteLink();
    return u"EXISTS (SELECT 1 FROM source.%1 t WHERE t.%2 = s.Z_PK)"_s.arg(
        relationship.isManyToMany() ? link.table : VXSQLiteSchema::table(relationship.destination()),
        relationship.isManyToMany() ? link.source : VXSQLiteSchema::column(*relationship.inverse()));
}

// Inheritance determines the table of objects, and what may refer to them.
bool inheritsAlike(const VXEntityDescription &old, const VXEntityDescription &made)
{
    const VXEntityDescription *from = old.superentity();
    const VXEntityDescription *to = made.superentity();
    for (; from != nullptr && to != nullptr; from = from->superentity(), to = to->superentity()) {
        if (from->name() != to->name())
            return false;
    }
    return from == to; // both have ended
}

bool leadsAlike(const VXRelationshipDescription &old, const VXRelationshipDescription &made)
{
    return old.isToMany() == made.isToMany() && old.destination().name() == made.destination().name() &&
           old.inverse() != nullptr && made.inverse() != nullptr && old.inverse()->name() == made.inverse()->name() &&
           old.inverse()->isToMany() == made.inverse()->isToMany() && !old.inverse()->isTransient() &&
           !made.inverse()->isTransient();
}

} // namespace

VXEntityRowPlan::VXEntityRowPlan(const VXEntityDescription &from, const VXSQLiteSchema &fromSchema,
                                 const VXEntityDescription &to, const VXSQLiteSchema &toSchema,
                                 const VXStoreRowCopy::Filter &leavesOut)
    : _from(from), _fromSchema(fromSchema), _to(to), _toSchema(toSchema)
{
    if (!inheritsAlike(from, to))
        _obstacle = u"\"%1\" inherits from others in the new model"_s.arg(from.name());
    for (const VXAttributeDescription *const attribute : from.attributes()) {
        if (!attribute->isTransient() && leavesOut(*attribute))
            addLeft(*attribute);
    }
    for (const VXAttributeDescription *const attribute : to.attributes())
        addAttribute(*attribute);
    for (const VXRelationshipDescription *const relationship : to.relationships())
        addRelationship(*relationship);
    for (const VXPropertyDescription *const old : from.properties()) {
        const VXPropertyDescription *const made = to.propertyForName(old->name());
        if (old->isTransient() || (made != nullptr && !made->isTransient()) || _left.contains(old->name()))
            continue;
        if (made != nullptr) { // a class may make something of it
            refuse(*old);
            continue;
        }
        _droppable.append(old->name());
        _isDropped.append(hasAny(*old));
    }
}

void VXEntityRowPlan::refuse(const VXPropertyDescription &property)
{
    if (_obstacle.isNull())
        _obstacle = u"\"%1\" of \"%2\" is another one in the new model"_s.arg(property.name(), _from.name());
}

void VXEntityRowPlan::addColumn(const QString &column, const QString &value)
{
    _columns.append(column);
    _values.append(value);
}

QString VXEntityRowPlan::constant(const QVariant &value)
{
    _constants.append(value);
    return u"?%1"_s.arg(_constants.size() + 2);
}

// The values must be readable nevertheless.
void VXEntityRowPlan::addLeft(const VXAttributeDescription &old)
{
    _left.append(old.name());
    addSource(old);
}

void VXEntityRowPlan::addSource(const VXAttributeDescription &old)
{
    const QString value = ofOld(VXSQLiteSchema::column(old));
    _unsound.append(u'(' + VXSQLiteUnfit(old.type(), value) + u')'); // NULL, which does not count, if there is no value
    if (old.type() == VXAttributeType::PropertyList)
        _propertyLists.append(value);
}

// As when an object is copied: where the old one has no value, the default is kept.
void VXEntityRowPlan::addAttribute(const VXAttributeDescription &made)
{
    if (made.isTransient())
        return;
    const VXPropertyDescription *const property =
        _left.contains(made.name()) ? nullptr : _from.propertyForName(made.name());
    const VXAttributeDescription *const old = property == nullptr ? nullptr : property->asAttribute();
    if (property != nullptr && (old == nullptr || old->isTransient() || old->type() != made.type())) {
        refuse(made);
        return;
    }
    if (made.type() == VXAttributeType::PropertyList && made.defaultValue().isValid()) { // not stored in that form
        refuse(made);
        return;
    }
    QString value = old == nullptr ? u"NULL"_s : ofOld(VXSQLiteSchema::column(*old));
    if (old != nullptr)
        addSource(*old);
    if (made.defaultValue().isValid() && old != nullptr)
        _lacking.append(value + " IS NULL"_L1);
    if (made.defaultValue().isValid())
        value = u"COALESCE(%1, %2)"_s.arg(value, constant(made.defaultValue()));
    else if (!made.isOptional() && old == nullptr && !_left.isEmpty())
        _unfilled.append(made.name());
    else if (!made.isOptional())
        _unsound.append(value + " IS NULL"_L1);
    addColumn(VXSQLiteSchema::column(made), value);
}

void VXEntityRowPlan::addRelationship(const VXRelationshipDescription &made)
{
    if (made.isTransient())
        return;
    const VXPropertyDescription *const property = _from.propertyForName(made.name());
    const VXRelationshipDescription *const old = property == nullptr ? nullptr : property->asRelationship();
    if (property != nullptr && (old == nullptr || old->isTransient() || !leadsAlike(*old, made))) {
        refuse(made);
        return;
    }
    if (made.isToMany()) { // stored at the other end, or in a table of its own
        if (!made.isOptional())
            refuse(made);
        return;
    }
    const QString value = old == nullptr ? u"NULL"_s : ofOld(VXSQLiteSchema::column(*old));
    if (!made.isOptional())
        _unsound.append(value + " IS NULL"_L1);
    addColumn(VXSQLiteSchema::column(made), value);
    if (const QString column = VXSQLiteSchema::entityColumn(made); !column.isNull())
        addColumn(column, old == nullptr ? u"NULL"_s : entityNumber(*old, made));
    else if (old != nullptr && !VXSQLiteSchema::entityColumn(*old).isNull())
        refuse(made);
}

// Each file numbers its entities separately.
QString VXEntityRowPlan::entityNumber(const VXRelationshipDescription &old, const VXRelationshipDescription &made)
{
    const QString column = VXSQLiteSchema::entityColumn(old);
    if (column.isNull())
        return u"NULL"_s;
    QString cases;
    bool areSame = true;
    for (const VXEntityDescription *const each : old.destination().family()) {
        const VXEntityDescription *const target = made.entity().model().entityForName(each->name());
        if (target == nullptr || !target->isKindOfEntity(made.destination()))
            continue;
        cases += u" WHEN %1 THEN %2"_s.arg(_fromSchema.entityNumber(*each)).arg(_toSchema.entityNumber(*target));
        areSame = areSame && _fromSchema.entityNumber(*each) == _toSchema.entityNumber(*target);
    }
    const QString value = u"CASE %1%2 END"_s.arg(ofOld(column), cases);
    _unsound.append(u"(%1 IS NOT NULL AND %2 IS NULL)"_s.arg(ofOld(column), value));
    return areSame ? ofOld(column) : value; // the number of no entity is invalid
}

void VXEntityRowPlan::leaveOutDefaults()
{
    if (_lacking.size() != _constants.size()) // some are of new attributes
        return;
    for (qsizetype i = 0; i < _columns.size(); ++i) {
        if (_lacking.contains(ofOld(_columns[i]) + " IS NULL"_L1))
            _values[i] = ofOld(_columns[i]);
    }
    _constants.clear();
}

bool VXEntityRowPlan::isIdentical() const
{
    bool areSame = _fromSchema.entityNumber(_from) == _toSchema.entityNumber(_to);
    for (qsizetype i = 0; i < _columns.size(); ++i)
        areSame = areSame && _values[i] == ofOld(_columns[i]);
    return areSame;
}

// -- Statements. The sign before Z_ENT keeps SQLite from using its index instead of the order of numbers.

QString VXEntityRowPlan::survey() const
{
    QString dropped;
    for (const QString &condition : _isDropped)
        dropped += u", MAX(%1)"_s.arg(condition);
    const auto any = [](const QStringList &conditions) {
        return conditions.isEmpty() ? u"0"_s : VXSQLJoined(conditions, " OR "_L1);
    };
    return u"SELECT COUNT(*), MIN(s.Z_PK), MAX(s.Z_PK), TOTAL(%1), TOTAL(%2)%3 FROM source.%4 s WHERE +s.Z_ENT = %5"_s
        .arg(any(_unsound), any(_lacking), dropped, VXSQLiteSchema::table(_from))
        .arg(_fromSchema.entityNumber(_from));
}

QString VXEntityRowPlan::insertion() const
{
    const auto list = [](const QStringList &names) {
        return names.isEmpty() ? QString() : ", "_L1 + names.join(", "_L1);
    };
    return u"INSERT INTO main.%1 (Z_PK, Z_ENT, Z_OPT%2) SELECT s.Z_PK, %3, 1%4 FROM source.%5 s "
           "WHERE s.Z_PK BETWEEN ?1 AND ?2 AND +s.Z_ENT = %6"_s.arg(VXSQLiteSchema::table(_to), list(_columns))
               .arg(_toSchema.entityNumber(_to))
               .arg(list(_values), VXSQLiteSchema::table(_from))
               .arg(_fromSchema.entityNumber(_from));
}

QString VXEntityRowPlan::comparison() const
{
    QStringList differs{u"d.Z_ENT IS NOT %1"_s.arg(_toSchema.entityNumber(_to))};
    for (qsizetype i = 0; i < _columns.size(); ++i)
        differs.append(u"d.%1 IS NOT %2"_s.arg(_columns[i], _values[i]));
    return u"SELECT s.Z_PK FROM source.%1 s LEFT JOIN main.%2 d ON d.Z_PK = s.Z_PK "
           "WHERE s.Z_PK BETWEEN ?1 AND ?2 AND +s.Z_ENT = %3 AND %4 LIMIT 1"_s
               .arg(VXSQLiteSchema::table(_from), VXSQLiteSchema::table(_to))
               .arg(_fromSchema.entityNumber(_from))
               .arg(VXSQLJoined(differs, " OR "_L1));
}
