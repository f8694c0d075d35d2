#pragma once

#include "VXHostCommand.h"
#include "VXManagedObjectContext.h"
#include "VXPersistentStoreCoordinator.h"

#include <memory>

/** The store of contacts; null if it is missing, which the output has reported. */
[[nodiscard]] VXPersistentStoreCoordinator::Ptr VXOpenContacts(VXHostContext &context);

/** Contacts that have something that begins like the text, as in completion; each once, the nearest first. */
[[nodiscard]] QList<VXManagedObjectPtr> VXContactsNear(VXManagedObjectContext &contacts, const QString &text,
                                                       unsigned mostCompletions = 20);
/** "; near it are: Jane Doe (p1), Jane Roe (p3)"; empty if there are none. */
[[nodiscard]] QString VXTextOfContactsNear(VXManagedObjectContext &contacts, const QString &text);

/**
 * The contact that the operand after the verb names: "p12", a URI or UID, a phone number or e-mail address, or the
 * name, if only one has it; for looking at it, the beginning of a name is sufficient if only one has it. The person is
 * null if there is none, if there are several, or if there is no store, which the output has reported.
 */
struct VXNamedContact
{
    enum class Purpose { Look, Change };

    explicit VXNamedContact(VXHostContext &context, Purpose purpose = Purpose::Change);

    std::unique_ptr<VXManagedObjectContext> contacts; // the person's
    VXManagedObjectPtr person;
};
