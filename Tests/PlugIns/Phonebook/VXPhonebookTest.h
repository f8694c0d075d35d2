#pragma once

#include "PhonebookTestsPaths.h"
#include "VXDataManager.h"
#include "VXManagedObjectContext.h"
#include "VXPhonebookManager.h"
#include "VXPhonebookType.h"
#include "VXPluginManagerTesting.h"

#include <QtCore/QDir>
#include <QtCore/QProcess>

/** The phonebook's plugins as they ship, with their store in a fresh home folder. */
class VXPhonebookTest : public VXPluginManagerHomeTest
{
protected:
    explicit VXPhonebookTest(const QStringList &furtherBundles = {})
    {
        QDir().mkpath(shared());
        for (const QString &bundle : QStringList{QStringLiteral(VORNIX_PHONEBOOK_PLUGIN)} + furtherBundles)
            EXPECT_EQ(QProcess::execute(QStringLiteral("cp"), {QStringLiteral("-r"), bundle, shared()}), 0);
    }

    void start(const QStringList &enabledPlugins = {})
    {
        startWith(enabledPlugins);
        store = VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(QStringLiteral("phonebook"));
    }

    static void set(const VXManagedObjectPtr &object, const QVariantMap &values)
    {
        for (auto value = values.cbegin(); value != values.cend(); ++value)
            object->setValueForKey(value.value(), value.key());
    }

    /** Saved. "numbers" and "emails" are texts, with the letters of the type behind the last "/". */
    VXManagedObjectPtr addPerson(VXManagedObjectContext &context, QVariantMap values)
    {
        const VXManagedObjectPtr person = context.insertNewObject(QStringLiteral("VXPerson"));
        const std::pair<QString, QString> lists[] = {{QStringLiteral("numbers"), QStringLiteral("VXPhoneNumber")},
                                                     {QStringLiteral("emails"), QStringLiteral("VXEmailAddress")}};
        for (const auto &[key, entity] : lists) {
            for (const QString &text : values.take(key).toStringList()) {
                const VXManagedObjectPtr owned = context.insertNewObject(entity);
                owned->setValueForKey(text.section(u'/', 0, 0),
                                      entity.contains(u"Phone") ? QStringLiteral("number") : QStringLiteral("address"));
                owned->setValueForKey(VXPhonebookTypeMaskFromString(text.section(u'/', 1)), QStringLiteral("type"));
                owned->setValueForKey(QVariant::fromValue(person), QStringLiteral("person"));
            }
        }
        set(person, values);
        VXError error;
        EXPECT_TRUE(context.save(&error)) << error.description().toStdString();
        return person;
    }

    static VXPhonebookManager &phonebook() { return VXPhonebookManager::sharedPhonebookManager(); }

    VXPersistentStoreCoordinator::Ptr store;
};
