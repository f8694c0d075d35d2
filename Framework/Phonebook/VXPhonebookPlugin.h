#pragma once

#include "VXManagedObject.h"
#include "VXPlugin.h"

#include <QtCore/QVariant>

/**
 * The base of plugins that look up contacts. Look-ups return nothing unless overridden. An entry (VXManagedObjectPtr to
 * a "VXPhoneNumber" or another entity of the store "phonebook") is passed as a QVariant, invalid for none; type masks
 * are those of VXPhonebookType.h. Look-ups are called on any thread, by several at once, and should use the context of
 * that thread's VXPhonebookManager; everything else is called on the main thread only.
 */
class VX_EXPORT VXPhonebookPlugin : public VXPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE VXPhonebookPlugin();
    ~VXPhonebookPlugin() override;

    /**
     * Makes an object of the entity in the context of this thread's phonebook manager, for data from elsewhere. It is
     * never saved, and gone with the first look-up after a save. Null when the store "phonebook" is not available. Any
     * thread.
     */
    VXManagedObjectPtr insertNewPhonebookEntry(const QString &entityName);

    /** Completions of what was typed, at most `limit`, among the properties in the mask (VXPhonebookProperty); in any
     *  order. */
    Q_INVOKABLE virtual QVariantList completionsForSubstring(const QString &substring, unsigned propertyMask,
                                                             unsigned limit);

    Q_INVOKABLE virtual QVariant phonebookEntryForName(const QString &name);
    /** `nameHint` prefers one of several people who share the address; null for none. */
    Q_INVOKABLE virtual QVariant phonebookEntryForEmailAddress(const QString &address, unsigned entryType,
                                                               const QString &nameHint);
    Q_INVOKABLE virtual QVariant phonebookEntryForPhoneNumber(const QString &number, unsigned entryType,
                                                              const QString &nameHint);
};
