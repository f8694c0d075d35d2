#include "Sync/VXContactSync.h"
#include "VXDataPlugin.h"
#include "VXManagedObjectClass.h"
#include "VXMetaDataSync.h"
#include "VXPhonebookEntities.h"
#include "VXPrincipalClass.h"

using namespace Qt::StringLiterals;

/** Keeps the contacts, in the store "phonebook". */
class PhonebookPlugin : public VXDataPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE PhonebookPlugin()
    {
        VXManagedObjectClass::registerClass<VXPerson>(VXPerson::entityName);
        VXManagedObjectClass::registerClass<VXPhoneNumberEntry>(VXPhoneNumberEntry::entityName);
        VXManagedObjectClass::registerClass<VXEmailAddressEntry>(VXEmailAddressEntry::entityName);
    }

    // Since the first version nothing is derived from other values that was not before.
    bool copiesRows(int version) const override { return version >= 1; }
    QString importDescriptionFromStore(VXCoreDataStore &store) override
    {
        const qsizetype count = countInStore(store, VXPerson::entityName);
        if (count == 0)
            return {};
        return bundle()
            ->localizedStringForKey(count == 1 ? u"One contact"_s : u"%1 contacts"_s)
            .replace("%1"_L1, QString::number(count));
    }

    void pluginDidLoad() override
    {
        const VXPersistentStoreCoordinator::Ptr coordinator = persistentStoreCoordinator();
        if (!coordinator)
            return;
        VXDeviceWork::offer(
            this, u"sync_contacts"_s, u"read_contacts"_s,
            [coordinator, lockPath = dataStorePath() + "/sync.lock"_L1](const VXDeviceAction::Ptr &action) {
                return std::make_shared<VXContactSync>(action, coordinator, lockPath);
            });
        _search = VXMetaDataSync::launchMetaDataSyncWithIdentifier(identifier(), coordinator, VXPerson::entityName,
                                                                   u"changedDate"_s);
    }

    void pluginWillUnload() override
    {
        if (_search)
            _search->terminate();
        VXNotificationCenter::defaultCenter().removeObserver(this);
        for (const QString &name :
             {VXPerson::entityName, VXPhoneNumberEntry::entityName, VXEmailAddressEntry::entityName})
            VXManagedObjectClass::removeClass(name);
    }

private:
    VXMetaDataSync::Ptr _search; // null when the user wants none
};

VX_PRINCIPAL_CLASS(PhonebookPlugin)

#include "PhonebookPlugin.moc"
