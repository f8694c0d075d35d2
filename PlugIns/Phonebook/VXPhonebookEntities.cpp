#include "VXPhonebookEntities.h"

#include "VXContactMetaData.h"
#include "VXContactRecord.h"
#include "VXContactWords.h"
#include "VXManagedObjectContext.h"
#include "VXPhonebookEntry.h"
#include "VXPhoneNumber.h"

#include <QtCore/QDateTime>
#include <QtCore/QSet>

#include <algorithm>

using namespace Qt::StringLiterals;

const QString VXPerson::entityName = u"VXPerson"_s;
const QString VXPhoneNumberEntry::entityName = u"VXPhoneNumber"_s;
const QString VXEmailAddressEntry::entityName = u"VXEmailAddress"_s;
const QString VXContactGroup::entityName = u"VXGroup"_s;

namespace {

const QString changedDateKey = u"changedDate"_s;

int indexOf(const VXManagedObject &object, const QString &key)
{
    return object.entity().propertyForName(key)->index();
}

QString textOf(const VXManagedObject &object, const QString &key)
{
    return object.attribute(indexOf(object, key)).toString();
}

} // namespace

QVariant VXPerson::valueForKey(const QString &key) const
{
    return key == "displayString"_L1 ? QVariant(VXPhonebookEntry::displayString(*this))
                                     : VXManagedObject::valueForKey(key);
}

std::optional<QVariantMap> VXPerson::metaDataPlist() const
{
    const VXContactRecord contact(QVariant::fromValue(VXManagedObjectPtr(const_cast<VXPerson *>(this))));
    QVariantMap metaData = VXContactMetaData(contact, valueForKey(u"displayString"_s).toString());
    // Look-ups prefer contacts with a higher value.
    metaData.insert(u"VXInformativeValue"_s, qint64(VXPhonebookEntry::informativeValue(*this)));
    return metaData;
}

void VXPerson::ownDidChange()
{
    if (!isDeleted() && !isInserted()) // otherwise it is asked itself
        updateDate();                  // which has it asked now: once, however many there are
}

void VXPerson::willSave()
{
    if (isDeleted())
        return;
    updateSortName();
    updateWords();
    const auto isOfContact = [](const QString &key) { return key != "places"_L1 && key != "words"_L1; };
    if (const QStringList changed = isInserted() ? QStringList() : changedValues().keys();
        changed.isEmpty() || std::ranges::any_of(changed, isOfContact))
        updateDate();
}

void VXPerson::updateSortName()
{
    const QString name = VXContactSortName(textOf(*this, u"firstName"_s), textOf(*this, u"lastName"_s),
                                           textOf(*this, u"nickname"_s), textOf(*this, u"company"_s));
    setAttribute(indexOf(*this, u"sort_name"_s), name.isEmpty() ? QVariant() : QVariant(name));
}

void VXPerson::updateWords()
{
    QSet<QByteArray> due = VXContactWords::keysOf(*this);
    const int words = indexOf(*this, u"words"_s);
    for (const VXManagedObjectPtr &word : relatedObjects(words)) {
        if (!due.remove(word->attribute(indexOf(*word, u"key"_s)).toByteArray()))
            managedObjectContext()->deleteObject(word);
    }
    if (due.isEmpty())
        return;
    const VXEntityDescription &entity = this->entity().relationshipForName(u"words"_s)->destination();
    const int key = entity.propertyForName(u"key"_s)->index();
    for (const QByteArray &each : std::as_const(due)) {
        const VXManagedObjectPtr word = managedObjectContext()->insertNewObject(entity);
        word->setData(key, each);
        addRelated(words, word);
    }
}

void VXPerson::updateAllItIsFoundBy()
{
    updateWords();
    for (const VXManagedObjectPtr &each : relatedObjects(indexOf(*this, u"numbers"_s))) {
        if (auto *const number = dynamic_cast<VXContactAddress *>(each.get()))
            number->updateSearch();
    }
}

void VXPerson::updateDate()
{
    if (isInserted() ? !valueForKey(changedDateKey).isValid() : !changedValues().contains(changedDateKey))
        setValueForKey(QDateTime::currentDateTimeUtc(), changedDateKey);
}

void VXContactAddress::updateSearch()
{
    const QString search = searchText();
    if (const int index = indexOf(*this, u"search"_s); attribute(index).toString() != search)
        setAttribute(index, search.isEmpty() ? QVariant() : QVariant(search));
}

void VXContactAddress::willSave()
{
    const QString personKey = u"person"_s;
    if (isDeleted()) {
        const auto before = committedValues({personKey}).value(personKey).value<VXManagedObjectPtr>();
        if (auto *const person = dynamic_cast<VXPerson *>(before.get()))
            person->ownDidChange();
        return;
    }
    updateSearch();
    if (!isInserted() &&
        changedValues().keys() == QStringList{u"search"_s}) // made anew by a later program, from what it was
        return;
    const VXManagedObjectPtr owner = related(indexOf(*this, personKey));
    if (auto *const person = dynamic_cast<VXPerson *>(owner.get()))
        person->ownDidChange();
}

bool VXContactGroup::isRenamed() const
{
    return !isInserted() && !isDeleted() && changedValues().contains(u"name"_s);
}

void VXContactGroup::willSave()
{
    if (!isRenamed())
        return;
    for (const VXManagedObjectPtr &member : relatedObjects(indexOf(*this, u"members"_s))) {
        if (auto *const person = dynamic_cast<VXPerson *>(member.get()); person != nullptr && !person->isDeleted())
            person->updateWords();
    }
}

// Who comes or goes is changed itself.
QList<VXManagedObjectID> VXContactGroup::objectsToldAnew() const
{
    QList<VXManagedObjectID> members;
    if (!isRenamed())
        return members;
    for (const VXManagedObjectPtr &member : relatedObjects(indexOf(*this, u"members"_s)))
        members.append(member->objectID());
    return members;
}

QString VXPhoneNumberEntry::searchText() const
{
    return VXPhoneNumberLookUpString(textOf(*this, u"number"_s));
}

QString VXEmailAddressEntry::searchText() const
{
    return textOf(*this, u"address"_s).toLower();
}
