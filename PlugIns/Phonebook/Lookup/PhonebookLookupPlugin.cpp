#include "VXContactCompletion.h"
#include "VXContactLookup.h"
#include "VXManagedObjectContext.h"
#include "VXMethodLog.h"
#include "VXPhonebookManager.h"
#include "VXPhonebookPlugin.h"
#include "VXPrincipalClass.h"

using namespace Qt::StringLiterals;

/** Looks contacts up in the store "phonebook", and completes them. Uses the context of the asking thread. */
class PhonebookLookupPlugin : public VXPhonebookPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE PhonebookLookupPlugin() = default;

    QVariantList completionsForSubstring(const QString &substring, unsigned propertyMask, unsigned limit) override
    {
        VXManagedObjectContext *const context = VXPhonebookManager::sharedPhonebookManager().managedObjectContext();
        if (context == nullptr)
            return {};
        VXError error;
        const QStringList found = VXContactCompletion(*context, propertyMask, limit).complete(substring, &error);
        report("completionsForSubstring:propertyMask:limit:", error);
        return {found.cbegin(), found.cend()};
    }

    QVariant phonebookEntryForName(const QString &name) override
    {
        VXManagedObjectContext *const context = VXPhonebookManager::sharedPhonebookManager().managedObjectContext();
        if (context == nullptr)
            return {};
        VXError error;
        const VXManagedObjectPtr found = VXContactLookup(*context).forName(name, &error);
        report("phonebookEntryForName:", error);
        return variant(found);
    }

    QVariant phonebookEntryForEmailAddress(const QString &address, unsigned entryType, const QString &nameHint) override
    {
        VXManagedObjectContext *const context = VXPhonebookManager::sharedPhonebookManager().managedObjectContext();
        if (context == nullptr)
            return {};
        VXError error;
        const auto found = VXContactLookup(*context).forEmailAddress(address, entryType, nameHint, &error);
        report("phonebookEntryForEmailAddress:entryType:nameHint:", error);
        return variant(VXContactLookup::best(found));
    }

    QVariant phonebookEntryForPhoneNumber(const QString &number, unsigned entryType, const QString &nameHint) override
    {
        VXManagedObjectContext *const context = VXPhonebookManager::sharedPhonebookManager().managedObjectContext();
        if (context == nullptr)
            return {};
        VXError error;
        const auto found = VXContactLookup(*context).forPhoneNumber(number, entryType, nameHint, &error);
        report("phonebookEntryForPhoneNumber:entryType:nameHint:", error);
        return variant(VXContactLookup::best(found));
    }

private:
    static QVariant variant(const VXManagedObjectPtr &entry) { return entry ? QVariant::fromValue(entry) : QVariant(); }

    void report(const char *operation, const VXError &error) const
    {
        if (error)
            VXLogMethod(VXLogError, operation, error.description());
    }
};

VX_PRINCIPAL_CLASS(PhonebookLookupPlugin)

#include "PhonebookLookupPlugin.moc"
