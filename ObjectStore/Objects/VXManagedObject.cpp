#include "VXManagedObject.h"

#include "VXDiagnostics.h"
#include "VXException.h"
#include "VXManagedObjectContext.h"
#include "VXObjectMemory.h"
#include "VXRelatedSet.h"
#include "VXRowMerge.h"

using namespace Qt::StringLiterals;

namespace {

// Lets key paths of predicates and sort descriptors follow objects.
[[maybe_unused]] const bool isConverterRegistered =
    QMetaType::registerConverter<VXManagedObjectPtr, VXKeyValueCoding *>(
        [](const VXManagedObjectPtr &object) { return static_cast<VXKeyValueCoding *>(object.get()); });

bool isNumber(const QVariant &value)
{
    const int type = value.typeId();
    return type == QMetaType::Int || type == QMetaType::LongLong || type == QMetaType::ULongLong ||
           type == QMetaType::Double;
}

// Names a number that is out of range; for other values says only what they are.
QString valueProblem(const VXPropertyDescription &property, const QVariant &value)
{
    const VXAttributeDescription *const attribute = property.asAttribute();
    const bool holdsNumbers = attribute != nullptr && attribute->type() != VXAttributeType::String &&
                              attribute->type() != VXAttributeType::Binary;
    if (holdsNumbers && isNumber(value))
        return u"\"%1\" of entity \"%2\" cannot hold the number %3"_s.arg(property.name(), property.entity().name(),
                                                                          value.toString());
    return u"\"%1\" of entity \"%2\" cannot hold a value of type %3"_s.arg(
        property.name(), property.entity().name(), QString::fromLatin1(value.metaType().name()));
}

VXManagedObjectPtr objectIn(const VXPropertyDescription &property, const QVariant &value)
{
    const bool isObject = value.metaType() == QMetaType::fromType<VXManagedObjectPtr>();
    VXAssert(isObject || !value.isValid(), valueProblem(property, value));
    return isObject ? value.value<VXManagedObjectPtr>() : VXManagedObjectPtr();
}

QList<VXManagedObjectPtr> objectsIn(const VXPropertyDescription &property, const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<QList<VXManagedObjectPtr>>())
        return value.value<QList<VXManagedObjectPtr>>();
    VXAssert(value.metaType() == QMetaType::fromType<QVariantList>() || !value.isValid(),
             valueProblem(property, value));
    QList<VXManagedObjectPtr> objects;
    for (const QVariant &element : value.toList())
        objects.append(objectIn(property, element));
    return objects;
}

// None when an attribute of the type cannot hold integers, or not this one.
VXStoreRow::Kind kindOfNumber(VXAttributeType type, qint64 number)
{
    using Kind = VXStoreRow::Kind;
    switch (type) {
    case VXAttributeType::Integer16:
        return number == qint16(number) ? Kind::Integer : Kind::None;
    case VXAttributeType::Integer32:
        return number == qint32(number) ? Kind::Integer : Kind::None;
    case VXAttributeType::Integer64:
        return Kind::LongInteger;
    case VXAttributeType::Boolean:
        return number == 0 || number == 1 ? Kind::Boolean : Kind::None;
    case VXAttributeType::Date:
        return Kind::Date;
    case VXAttributeType::Double:
    case VXAttributeType::String:
    case VXAttributeType::Binary:
    case VXAttributeType::PropertyList:
        break;
    }
    return Kind::None;
}

// Whether rows store the values after their cells.
bool isPacked(const VXPropertyDescription &property)
{
    const VXAttributeDescription *const attribute = property.asAttribute();
    return attribute == nullptr || attribute->type() == VXAttributeType::String ||
           attribute->type() == VXAttributeType::Binary;
}

} // namespace

void *VXManagedObject::operator new(size_t size)
{
    return VXObjectMemory::allocate(VXObjectMemory::Kind::Object, size);
}

void VXManagedObject::operator delete(void *memory)
{
    VXObjectMemory::release(memory);
}

VXManagedObject::VXManagedObject() = default;

VXManagedObject::~VXManagedObject() = default;

QVariantList VXManagedObject::variants(const QList<VXManagedObjectPtr> &objects)
{
    QVariantList list;
    list.reserve(objects.size());
    for (const VXManagedObjectPtr &object : objects)
        list.append(QVariant::fromValue(object));
    return list;
}

void VXManagedObject::release()
{
    if (--_holders > 0)
        return;
    if (_context != nullptr)
        _context->unregister(*this);
    delete this;
}

const VXPropertyDescription &VXManagedObject::property(int index) const
{
    const QList<const VXPropertyDescription *> &properties = entity().properties();
    VXAssert(index >= 0 && index < properties.size(),
             u"entity \"%1\" has no property %2"_s.arg(entity().name()).arg(index));
    return *properties[index];
}

const VXPropertyDescription &VXManagedObject::property(const QString &key) const
{
    const VXPropertyDescription *const found = entity().propertyForName(key);
    VXAssert(found != nullptr, u"entity \"%1\" has no property \"%2\""_s.arg(entity().name(), key));
    return *found;
}

const VXStoreRow *VXManagedObject::values() const
{
    if (Q_UNLIKELY(_isFault) && (_context == nullptr || !_context->fulfillFault(self())))
        return nullptr;
    return _values ? _values.get() : _row.get();
}

void VXManagedObject::setStoredRow(VXStoreRow::Ptr row)
{
    _row = std::move(row);
    _isFault = false;
}

bool VXManagedObject::canBeChanged(const VXPropertyDescription &property)
{
    VXAssert(_context != nullptr, u"an object cannot be changed when its context is gone or has forgotten it"_s);
    VXError problem;
    if (!_isFault || _context->readFault(*this, &problem))
        return true;
    if (problem)
        _context->noteLostChange(*this, problem);
    else
        VXReportDiagnostic(4, u"\"%1\" of %2 cannot be set: the object is gone from the store"_s.arg(
                                  property.name(), _objectID.uriRepresentation().toString()));
    return false;
}

template <class Set>
void VXManagedObject::changeValues(const VXPropertyDescription &property, const Set &set)
{
    if (!canBeChanged(property))
        return;
    const VXStoreRow *const before = values();
    if (!_values)
        _values = isPacked(property) ? before->copy(before->version() + 1)
                                     : VXStoreRow::copyToChange(_row, before->version() + 1);
    else if (_values.use_count() > 1) // a failed save may have left it shared with a store
        _values = before->copy(before->version());
    set(*_values);
    if (property.asAttribute() == nullptr || !property.isTransient())
        _context->noteChange(*this);
}

void VXManagedObject::setTarget(const VXRelationshipDescription &relationship, const VXManagedObjectID &target)
{
    changeValues(relationship, [&](VXStoreRow &row) { row.setTarget(relationship.index(), target); });
}

const VXStoreRow *VXManagedObject::readValuesWith(int index) const
{
    const VXStoreRow *const row = values();
    VXAssert(row == nullptr || (index >= 0 && index < row->propertyCount()),
             u"entity \"%1\" has no property %2"_s.arg(entity().name()).arg(index));
    return row;
}

void VXManagedObject::setAttribute(int index, const QVariant &value)
{
    const VXAttributeDescription *const attribute = property(index).asAttribute();
    VXAssert(attribute != nullptr,
             u"\"%1\" of entity \"%2\" is no attribute"_s.arg(property(index).name(), entity().name()));
    const auto set = [&](const QVariant &fitting) {
        const VXStoreRow *const row = values();
        if (row == nullptr || !row->isSame(index, fitting))
            changeValues(*attribute, [&](VXStoreRow &changed) { changed.setValue(index, fitting); });
    };
    if (VXIsPlainAttributeValue(attribute->type(), value))
        return set(value);
    const std::optional<QVariant> fitting = VXAttributeValue(attribute->type(), value);
    VXAssert(fitting, valueProblem(*attribute, value));
    set(*fitting);
}

// Calls `set` with the row, unless it already has the value.
template <class IsSame, class Set>
void VXManagedObject::setPlain(int index, VXAttributeType type, const IsSame &isSame, const Set &set)
{
    const VXAttributeDescription *const attribute = property(index).asAttribute();
    VXAssert(attribute != nullptr && attribute->type() == type,
             u"\"%1\" of entity \"%2\" is no attribute of type %3"_s.arg(property(index).name(), entity().name(),
                                                                         VXAttributeTypeName(type)));
    if (const VXStoreRow *const row = values(); row != nullptr && row->hasValue(index) && isSame(*row))
        return;
    changeValues(*attribute, set);
}

void VXManagedObject::setText(int index, QStringView text)
{
    if (text.isNull())
        return setAttribute(index, {});
    setPlain(
        index, VXAttributeType::String, [&](const VXStoreRow &row) { return row.text(index) == text; },
        [&](VXStoreRow &row) { row.setText(index, text); });
}

void VXManagedObject::setData(int index, QByteArrayView data)
{
    if (data.isNull())
        return setAttribute(index, {});
    setPlain(
        index, VXAttributeType::Binary, [&](const VXStoreRow &row) { return row.data(index) == data; },
        [&](VXStoreRow &row) { row.setData(index, data); });
}

void VXManagedObject::setNumber(int index, qint64 number)
{
    const VXAttributeDescription *const attribute = property(index).asAttribute();
    const VXStoreRow::Kind kind =
        attribute == nullptr ? VXStoreRow::Kind::None : kindOfNumber(attribute->type(), number);
    VXAssert(kind != VXStoreRow::Kind::None,
             u"\"%1\" of entity \"%2\" cannot hold the number %3"_s.arg(property(index).name(), entity().name())
                 .arg(number));
    setPlain(
        index, attribute->type(), [&](const VXStoreRow &row) { return row.number(index) == number; },
        [&](VXStoreRow &row) { row.setNumber(index, kind, number); });
}

void VXManagedObject::setReal(int index, double real)
{
    setPlain(
        index, VXAttributeType::Double, [&](const VXStoreRow &row) { return row.real(index) == real; },
        [&](VXStoreRow &row) { row.setReal(index, real); });
}

void VXManagedObject::copyAttribute(int index, const VXManagedObject &other, int otherIndex)
{
    const VXAttributeDescription *const attribute = property(index).asAttribute();
    const VXAttributeDescription *const its = other.property(otherIndex).asAttribute();
    VXAssert(attribute != nullptr && its != nullptr && attribute->type() == its->type(),
             u"\"%1\" of entity \"%2\" is no attribute like \"%3\""_s.arg(property(index).name(), entity().name(),
                                                                          other.property(otherIndex).name()));
    VXError problem;
    if (_context != nullptr && other._isFault && other._context != nullptr &&
        !other._context->readFault(other.self(), &problem) && problem) // this context is the one that lacks the change
        return _context->noteLostChange(other, problem);
    const VXStoreRow *const from = other.values();
    if (from == nullptr) // it is gone
        return setAttribute(index, {});
    const VXStoreRow *const row = values();
    if (row != nullptr && row->isSame(index, *from, otherIndex))
        return;
    changeValues(*attribute, [&](VXStoreRow &changed) { changed.copyValue(index, *from, otherIndex); });
}

QVariant VXManagedObject::valueForKey(const QString &key) const
{
    const VXPropertyDescription *const found = entity().propertyForName(key);
    if (found == nullptr)
        return {};
    const VXRelationshipDescription *const relationship = found->asRelationship();
    if (relationship == nullptr)
        return attribute(found->index());
    if (!relationship->isToMany()) {
        const VXManagedObjectPtr object = related(found->index());
        return object ? QVariant::fromValue(object) : QVariant();
    }
    return variants(relatedObjects(found->index()));
}

void VXManagedObject::setValueForKey(const QVariant &value, const QString &key)
{
    const VXPropertyDescription &named = property(key);
    const VXRelationshipDescription *const relationship = named.asRelationship();
    if (relationship == nullptr)
        setAttribute(named.index(), value);
    else if (relationship->isToMany())
        setRelatedObjects(named.index(), objectsIn(named, value));
    else
        setRelated(named.index(), objectIn(named, value));
}

// The value as valueForKey returns it.
QVariant VXManagedObject::objectValue(const VXStoreRow &row, const VXPropertyDescription &property) const
{
    const VXRelationshipDescription *const relationship = property.asRelationship();
    if (relationship == nullptr)
        return row.value(property.index());
    const VXManagedObjectPtr object = target(row, *relationship);
    return object ? QVariant::fromValue(object) : QVariant();
}

QVariantMap VXManagedObject::committedValues(const QStringList &keys) const
{
    QVariantMap committed;
    if (_context == nullptr || _state == State::Inserted || values() == nullptr)
        return committed;
    for (const VXPropertyDescription *const each : entity().properties()) {
        if (each->isTransient() || !(keys.isEmpty() || keys.contains(each->name())))
            continue;
        const VXRelationshipDescription *const relationship = each->asRelationship();
        if (relationship == nullptr || !relationship->isToMany())
            committed.insert(each->name(), objectValue(*_row, *each));
        else if (const VXRelatedSet *const set = findRelatedSet(*relationship); set != nullptr && set->isRead())
            committed.insert(each->name(), variants(_context->objectsWithIDs(set->stored())));
    }
    return committed;
}

QVariantMap VXManagedObject::changedValues() const
{
    QVariantMap changed;
    if (_values) {
        const VXStoreRow empty(int(entity().properties().size()), 0);
        for (const int index : VXChangedProperties(entity(), _row ? *_row : empty, *_values))
            changed.insert(property(index).name(), objectValue(*_values, property(index)));
    }
    for (const VXRelationshipDescription *const relationship : entity().relationships()) {
        const VXRelatedSet *const set = relationship->isToMany() ? findRelatedSet(*relationship) : nullptr;
        if (set != nullptr && set->hasChanges())
            changed.insert(relationship->name(), valueForKey(relationship->name()));
    }
    return changed;
}
