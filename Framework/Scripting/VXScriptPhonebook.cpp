#include "VXScriptPhonebook.h"

#include "VXContactLookup.h"
#include "VXContactRecord.h"
#include "VXFetchRequest.h"
#include "VXManagedObjectContext.h"
#include "VXPhonebookEntry.h"
#include "VXPhonebookManager.h"
#include "VXPhonebookString.h"
#include "VXScriptApplication.h"

using namespace Qt::StringLiterals;

namespace {

VXManagedObjectPtr findEntry(const QString &phonebookString)
{
    VXPhonebookManager &manager = VXPhonebookManager::sharedPhonebookManager();
    if (VXManagedObjectPtr number = manager.entryForPhonebookString(phonebookString))
        return number;
    QString name;
    QString value;
    unsigned type = 0;
    VXManagedObjectContext *const context = manager.managedObjectContext();
    if (context == nullptr || !VXPhonebookStringSplit(phonebookString, &name, &value, &type))
        return nullptr;
    return VXContactLookup::best(VXContactLookup(*context).forEmailAddress(value, type, name));
}

// Appends the phonebook strings of the entity's objects; none when they cannot be fetched, which the store logs.
void appendStrings(VXManagedObjectContext &context, const QString &entityName, qsizetype limit, QStringList &strings)
{
    const VXEntityDescription *const entity = context.persistentStoreCoordinator()->model().entityForName(entityName);
    if (entity == nullptr || strings.size() >= limit)
        return;
    VXFetchRequest request(*entity);
    request.limit = limit - strings.size();
    const std::optional<VXFetchResult> found = context.executeFetchRequest(request);
    if (!found)
        return;
    for (const VXManagedObjectPtr &entry : *found)
        strings.append(VXPhonebookEntry::phonebookString(*entry));
}

} // namespace

QVariantMap VXScriptPhonebook::entry(const QString &phonebookString)
{
    return VXScriptPhonebookEntry(phonebookString, VXScriptApplication::shared(), u"phonebookEntries"_s, 0).values();
}

QVariantMap VXScriptPhonebook::lookUp(const QString &phonebookString)
{
    const VXManagedObjectPtr entry = findEntry(phonebookString);
    if (!entry)
        return {};
    QVariantMap contact = VXContactRecord(QVariant::fromValue(entry)).map();
    contact.insert(u"phonebookString"_s, VXPhonebookEntry::phonebookString(*entry));
    contact.insert(u"displayString"_s, VXPhonebookEntry::displayString(*entry));
    return contact;
}

QStringList VXScriptPhonebook::complete(const QString &typed, unsigned properties, unsigned limit)
{
    if (properties == 0 || limit == 0)
        return {};
    return VXPhonebookManager::sharedPhonebookManager().completionsForSubstring(typed, properties, limit);
}

QStringList VXScriptPhonebook::list(unsigned limit)
{
    QStringList strings;
    VXManagedObjectContext *const context = VXPhonebookManager::sharedPhonebookManager().managedObjectContext();
    if (context != nullptr) {
        appendStrings(*context, u"VXPhoneNumber"_s, limit, strings);
        appendStrings(*context, u"VXEmailAddress"_s, limit, strings);
    }
    strings.sort(Qt::CaseInsensitive);
    return strings;
}
