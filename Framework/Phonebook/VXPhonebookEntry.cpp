#include "VXPhonebookEntry.h"

#include "VXException.h"
#include "VXManagedObjectContext.h"
#include "VXNone.h"
#include "VXPhonebookString.h"
#include "VXUserDefaults.h"

using namespace Qt::StringLiterals;

namespace {

QString text(const VXManagedObject &object, const QString &key)
{
    return object.valueForKey(key).toString();
}

bool has(const VXManagedObject &object, const QString &key)
{
    const QVariant value = object.valueForKey(key);
    if (value.typeId() == QMetaType::QByteArray)
        return !value.toByteArray().isEmpty();
    return !VXIsNone(value) && !value.toString().isEmpty();
}

qsizetype countOf(const VXManagedObject &object, const QString &relationship)
{
    const VXPropertyDescription *const property = object.entity().propertyForName(relationship);
    return property == nullptr || property->asRelationship() == nullptr ? 0 : object.relatedCount(property->index());
}

VXManagedObjectPtr personOf(const VXManagedObject &entry)
{
    const VXPropertyDescription *const person = entry.entity().propertyForName(u"person"_s);
    return person == nullptr || person->asRelationship() == nullptr ? VXManagedObjectPtr()
                                                                    : entry.related(person->index());
}

bool isEntity(const VXManagedObject &object, QLatin1StringView name)
{
    return object.entity().name() == name;
}

[[noreturn]] void failUnknown(const VXManagedObject &object)
{
    VXFailAssertion(
        u"Unknown entity %1: %2"_s.arg(object.entity().name(), object.objectID().uriRepresentation().toString()));
}

} // namespace

QString VXPhonebookEntry::_personDisplayString(const VXManagedObject &person)
{
    const QString first = text(person, u"firstName"_s);
    const QString last = text(person, u"lastName"_s);
    if (!first.isEmpty() && !last.isEmpty()) {
        const bool lastComesFirst =
            VXUserDefaults::standardUserDefaults().integerForKey(u"phonebook.names.last_first"_s) != 0;
        return lastComesFirst ? last + u' ' + first : first + u' ' + last;
    }
    for (const QString &each : {first, last, text(person, u"nickname"_s), text(person, u"company"_s)}) {
        if (!each.isEmpty())
            return each;
    }
    return {};
}

QString VXPhonebookEntry::displayString(const VXManagedObject &entry)
{
    if (isEntity(entry, "VXGroup"_L1))
        return text(entry, u"name"_s);
    if (isEntity(entry, "VXPerson"_L1))
        return _personDisplayString(entry);
    const bool isEmail = isEntity(entry, "VXEmailAddress"_L1);
    if (!isEmail && !isEntity(entry, "VXPhoneNumber"_L1))
        failUnknown(entry);
    const VXManagedObjectPtr person = personOf(entry);
    const QString name = person ? _personDisplayString(*person) : QString();
    return name.isNull() ? text(entry, isEmail ? u"address"_s : u"number"_s) : name;
}

QString VXPhonebookEntry::phonebookString(const VXManagedObject &entry)
{
    const bool isEmail = isEntity(entry, "VXEmailAddress"_L1);
    if (!isEmail && !isEntity(entry, "VXPhoneNumber"_L1))
        failUnknown(entry);
    const VXManagedObjectPtr person = personOf(entry);
    return VXPhonebookStringJoin(person ? _personDisplayString(*person) : QString(),
                                 text(entry, isEmail ? u"address"_s : u"number"_s),
                                 entry.valueForKey(u"type"_s).toUInt());
}

float VXPhonebookEntry::informativeValue(const VXManagedObject &entry)
{
    if (isEntity(entry, "VXGroup"_L1))
        return float(countOf(entry, u"members"_s) + 100);
    if (isEntity(entry, "VXPhoneNumber"_L1) || isEntity(entry, "VXEmailAddress"_L1)) {
        const VXManagedObjectPtr person = personOf(entry);
        return person ? informativeValue(*person) : 0;
    }
    if (!isEntity(entry, "VXPerson"_L1))
        return 0;
    const std::pair<QString, int> values[] = {
        {u"image"_s, 100}, {u"company"_s, 20}, {u"nickname"_s, 15}, {u"firstName"_s, 10}, {u"lastName"_s, 10}};
    qsizetype sum = countOf(entry, u"numbers"_s) + countOf(entry, u"emails"_s) + countOf(entry, u"groups"_s);
    for (const auto &[key, value] : values)
        sum += has(entry, key) ? value : 0;
    return float(sum);
}

VXManagedObjectPtr VXPhonebookEntry::copyManagedObjectIntoContext(const VXManagedObject &object,
                                                                  VXManagedObjectContext &context)
{
    const VXEntityDescription *const entity =
        context.persistentStoreCoordinator()->model().entityForName(object.entity().name());
    if (object.isDeleted() || entity == nullptr)
        return {};
    const VXManagedObjectPtr copy = context.insertNewObject(*entity);
    for (const VXPropertyDescription *const property : entity->properties()) {
        if (property->asAttribute() != nullptr)
            copy->setAttribute(property->index(), object.valueForKey(property->name()));
    }
    return copy;
}

VXManagedObjectPtr VXPhonebookEntry::copyPhoneNumberIntoContext(const VXManagedObject &number,
                                                                VXManagedObjectContext &context)
{
    const VXManagedObjectPtr copy = copyManagedObjectIntoContext(number, context);
    const VXManagedObjectPtr person = copy ? personOf(number) : VXManagedObjectPtr();
    if (person) {
        if (const VXManagedObjectPtr copied = copyManagedObjectIntoContext(*person, context))
            copy->setValueForKey(QVariant::fromValue(copied), u"person"_s);
    }
    return copy;
}
