#include "VXPhonebookPlugin.h"

#include "VXManagedObjectContext.h"
#include "VXPhonebookManager.h"
#include "VXPhonebookRegistry.h"

VXPhonebookPlugin::VXPhonebookPlugin()
{
    VXPhonebookRegistry::shared(); // makes the registry, so that it notices which plugins are loaded
}

VXPhonebookPlugin::~VXPhonebookPlugin() = default;

VXManagedObjectPtr VXPhonebookPlugin::insertNewPhonebookEntry(const QString &entityName)
{
    VXManagedObjectContext *const context = VXPhonebookManager::sharedPhonebookManager().managedObjectContext();
    return context == nullptr ? VXManagedObjectPtr() : context->insertNewObject(entityName);
}

QVariantList VXPhonebookPlugin::completionsForSubstring(const QString &, unsigned, unsigned)
{
    return {};
}

QVariant VXPhonebookPlugin::phonebookEntryForName(const QString &)
{
    return {};
}

QVariant VXPhonebookPlugin::phonebookEntryForEmailAddress(const QString &, unsigned, const QString &)
{
    return {};
}

QVariant VXPhonebookPlugin::phonebookEntryForPhoneNumber(const QString &, unsigned, const QString &)
{
    return {};
}
