#include "Sync/VXContactSync.h"
#include "VXPhonebookEntities.h"
#include "VXPrincipalClass.h"
#include "VXStorePlugin.h"

using namespace Qt::StringLiterals;

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
        launchSearch(u"changedDate"_s);
    }
};

VX_PRINCIPAL_CLASS(PhonebookPlugin)

#include "PhonebookPlugin.moc"
