#pragma once

#include "VXManagedObject.h"
#include "VXPlugin.h"

#include <QtCore/QVariant>

/**
 * The base of plugins that look contacts up. A look-up answers nothing unless it is overridden. An entry (VXManagedObjectPtr, a
 * "VXPhoneNumber" or another entity of the store "phonebook") stands in a QVariant, invalid for none; type masks are those of
 * VXPhonebookType.h. Look-ups are called on whatever thread asks, by several at once, and best use the context of that thread's
 * VXPhonebookManager; everything else on the main thread only.
 */
class VX_EXPORT VXPhonebookPlugin : public VXPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE VXPhonebookPlugin();
    ~VXPhonebookPlugin() override;

    /**
     * A new object of the entity in the context of this thread's phonebook manager, for what is known elsewhere; never saved, and
     * gone with the next look-up after a save. Null when the store "phonebook" is not there. Any thread.
     */
    VXManagedObjectPtr insertNewPhonebookEntry(const QString &entityName);

    /** Texts that what was typed may become, at most `limit`, of the properties in the mask (VXPhonebookProperty); in any
     * order. */
    Q_INVOKABLE virtual QVariantList completionsForSubstring(const QString &substring, unsigned propertyMask,
                                                             unsigned limit);

    Q_INVOKABLE virtual QVariant phonebookEntryForName(const QString &name);
    /** `nameHint` prefers one of several people that share the address; null for none. */
    Q_INVOKABLE virtual QVariant phonebookEntryForEmailAddress(const QString &address, unsigned entryType,
                                                               const QString &nameHint);
    Q_INVOKABLE virtual QVariant phonebookEntryForPhoneNumber(const QString &number, unsigned entryType,
                                                              const QString &nameHint);
};
