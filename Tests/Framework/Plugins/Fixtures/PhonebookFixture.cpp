// Code of a phonebook plugin that knows one contact. Keys of its Info.plist: "VXFixtureName" is the first name that it gives every
// number, behind it how often it was asked; "VXFixtureCompany" the company; "VXFixtureCompletions" what it completes to;
// "VXFixtureThrows" has it throw instead; "VXFixtureForeign" has it answer from a context of its own.

#include "VXDataManager.h"
#include "VXException.h"
#include "VXManagedObjectContext.h"
#include "VXPhonebookPlugin.h"
#include "VXPrincipalClass.h"

#include <atomic>

using namespace Qt::StringLiterals;

class PhonebookFixture : public VXPhonebookPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE PhonebookFixture() = default;

    QVariantList completionsForSubstring(const QString &, unsigned, unsigned) override
    {
        return info(u"VXFixtureCompletions"_s).toList();
    }

    QVariant phonebookEntryForPhoneNumber(const QString &number, unsigned, const QString &) override
    {
        if (info(u"VXFixtureThrows"_s).toBool())
            throw VXException(u"Fixture"_s, u"no answer"_s);
        const QString name = infoText(u"VXFixtureName"_s);
        if (name.isNull())
            return {};
        const VXManagedObjectPtr entry = insert(u"VXPhoneNumber"_s);
        const VXManagedObjectPtr person = insert(u"VXPerson"_s);
        if (!entry || !person)
            return {};
        entry->setValueForKey(number, u"number"_s);
        entry->setValueForKey(QVariant::fromValue(person), u"person"_s);
        person->setValueForKey(name + u' ' + QString::number(++_askedCount), u"firstName"_s);
        person->setValueForKey(infoText(u"VXFixtureCompany"_s), u"company"_s);
        return QVariant::fromValue(entry);
    }

private:
    QVariant info(const QString &key) const { return bundle()->infoDictionary().value(key); }

    VXManagedObjectPtr insert(const QString &entity)
    {
        if (!info(u"VXFixtureForeign"_s).toBool())
            return insertNewPhonebookEntry(entity);
        static thread_local VXManagedObjectContext own(
            VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(u"phonebook"_s));
        return own.insertNewObject(entity);
    }

    std::atomic<int> _askedCount = 0;
};

VX_PRINCIPAL_CLASS(PhonebookFixture)

#include "PhonebookFixture.moc"
