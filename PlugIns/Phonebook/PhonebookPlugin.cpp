#include "Sync/VXContactSync.h"
#include "VXContactHistory.h"
#include "VXContactWordsUpdate.h"
#include "VXPhonebookEntities.h"
#include "VXPrincipalClass.h"
#include "VXStorePlugin.h"
#include "VXStoreWorkLock.h"

using namespace Qt::StringLiterals;

namespace {

// Entities that matter only in their own store. In a merged store, the steps to undo were taken elsewhere, and the
// agreements with phones were reached elsewhere.
bool isOnlyOfItsStore(const QString &entityName)
{
    return entityName == "VXContactChangeSet"_L1 || entityName == "VXContactChange"_L1 ||
           entityName == "VXContactPlace"_L1;
}

bool isMerge()
{
    const VXStoreMigration *const run = VXStoreMigration::current();
    return run != nullptr && run->isMerge();
}

// Groups that a merge brings are united with existing ones of the same name. Groups that belong to another plugin stay
// separate.
bool uniteGroups(VXManagedObjectContext &context, VXError *error)
{
    const VXEntityDescription &entity =
        *context.persistentStoreCoordinator()->model().entityForName(VXContactGroup::entityName);
    const std::optional<VXFetchResult> groups = context.executeFetchRequest(VXFetchRequest(entity), error);
    if (!groups)
        return false;
    const int members = entity.propertyForName(u"members"_s)->index();
    QHash<QString, VXManagedObjectPtr> known;
    for (const bool isNew : {false, true}) {
        for (const VXManagedObjectPtr &group : *groups) {
            if (group->isInserted() != isNew || group->valueForKey(u"url_string"_s).isValid())
                continue;
            VXManagedObjectPtr &kept = known[group->valueForKey(u"name"_s).toString()];
            if (!kept)
                kept = group;
            if (!isNew || kept == group)
                continue;
            for (const VXManagedObjectPtr &member : group->relatedObjects(members))
                kept->addRelated(members, member);
            context.deleteObject(group);
        }
    }
    return true;
}

} // namespace

/** Keeps the contacts, in the store "phonebook". */
class PhonebookPlugin : public VXStorePlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE PhonebookPlugin() : VXStorePlugin(VXPerson::entityName, u"One contact"_s, u"%1 contacts"_s)
    {
        registerClass<VXPerson>(VXPerson::entityName);
        registerClass<VXPhoneNumberEntry>(VXPhoneNumberEntry::entityName);
        registerClass<VXEmailAddressEntry>(VXEmailAddressEntry::entityName);
        registerClass<VXContactGroup>(VXContactGroup::entityName);
    }

    void pluginDidLoad() override
    {
        const VXPersistentStoreCoordinator::Ptr coordinator = persistentStoreCoordinator();
        if (!coordinator)
            return;
        VXDeviceWork::offer(this, u"sync_contacts"_s, u"read_contacts"_s,
                            [coordinator, lockPath = dataStorePath() + u'/' +
                                                     VXStoreWorkLock::syncName](const VXDeviceAction::Ptr &action) {
                                return std::make_shared<VXContactSync>(action, coordinator, lockPath);
                            });
        VXUpdateContactWords(coordinator); // before the search observes what is saved: nothing that it tells changes
        launchSearch(u"changedDate"_s,
                     {.settings = {u"phonebook.names.last_first"_s},
                      .relationships = {u"numbers"_s, u"emails"_s, u"urls"_s, u"addresses"_s, u"groups"_s}});
    }

    // A merge is one step to undo: everything it brings belongs to one change set.
    bool migrateManagedObjectContext(VXManagedObjectContext &oldContext, int version,
                                     VXManagedObjectContext &newContext, VXError *error) override
    {
        _merge = std::nullopt;
        if (isMerge()) {
            _merge = VXContactHistory::insert(newContext, u"import"_s, u"another store"_s, error);
            if (!_merge)
                return false;
        }
        return VXStorePlugin::migrateManagedObjectContext(oldContext, version, newContext, error);
    }
    bool validateManagedObjectContext(VXManagedObjectContext &context, VXError *error) override
    {
        const bool isMerged = isMerge() && VXStoreMigration::current()->phase() == VXStoreMigration::Phase::Checking;
        return !isMerged || uniteGroups(context, error);
    }
    std::optional<VXMigratedObjects> migrateEntityAttributes(const VXEntityDescription &entity,
                                                             VXManagedObjectContext &oldContext, int version,
                                                             VXManagedObjectContext &newContext,
                                                             VXError *error) override
    {
        if (isMerge() && isOnlyOfItsStore(entity.name()))
            return VXMigratedObjects();
        return VXStorePlugin::migrateEntityAttributes(entity, oldContext, version, newContext, error);
    }
    bool migrateObjectAttributes(const VXManagedObjectPtr &oldObject, int version, const VXManagedObjectPtr &newObject,
                                 VXError *error) override
    {
        if (!VXStorePlugin::migrateObjectAttributes(oldObject, version, newObject, error))
            return false;
        if (_merge && isMerge() && newObject->entity().name() == VXPerson::entityName) {
            newObject->setValueForKey(_merge->number, u"importNumber"_s);
            newObject->setValueForKey(_merge->date, u"changedDate"_s);
        }
        return true;
    }
    VXManagedObjectPtr migrateObjectRelationship(const QString &relationship, const VXManagedObjectPtr &oldObject,
                                                 int version, const VXMigratedObjects &newObjects,
                                                 VXError *error) override
    {
        const VXRelationshipDescription *const old = oldObject->entity().relationshipForName(relationship);
        if (isMerge() && old != nullptr && isOnlyOfItsStore(old->destination().name()))
            return newObjects.value(oldObject->objectID());
        return VXStorePlugin::migrateObjectRelationship(relationship, oldObject, version, newObjects, error);
    }
    bool migrateEntityRelationships(const VXEntityDescription &entity, VXManagedObjectContext &oldContext, int version,
                                    VXManagedObjectContext &newContext, const VXMigratedObjects &newObjects,
                                    VXError *error) override
    {
        return (isMerge() && isOnlyOfItsStore(entity.name())) ||
               VXStorePlugin::migrateEntityRelationships(entity, oldContext, version, newContext, newObjects, error);
    }

    // Values that a merge itself gives to contacts.
    bool comparesProperty(const VXPropertyDescription &old, int version) const override
    {
        const bool isOfMerge = old.name() == "importNumber"_L1 || old.name() == "changedDate"_L1;
        return !(isMerge() && isOfMerge) && VXStorePlugin::comparesProperty(old, version);
    }

private:
    std::optional<VXContactChangeSet> _merge; // used by the copying thread while it merges
};

VX_PRINCIPAL_CLASS(PhonebookPlugin)

#include "PhonebookPlugin.moc"
