#include "VXDataPlugin.h"
#include "VXManagedObjectClass.h"
#include "VXPhonebookEntities.h"
#include "VXPrincipalClass.h"

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

    void pluginWillUnload() override
    {
        for (const QString &name :
             {VXPerson::entityName, VXPhoneNumberEntry::entityName, VXEmailAddressEntry::entityName})
            VXManagedObjectClass::removeClass(name);
    }
};

VX_PRINCIPAL_CLASS(PhonebookPlugin)

#include "PhonebookPlugin.moc"
