#pragma once

#include "VXHostCommand.h"
#include "VXManagedObjectContext.h"
#include "VXPersistentStoreCoordinator.h"

#include <memory>

/** The store of contacts; null when it is not there, which the output was told. */
[[nodiscard]] VXPersistentStoreCoordinator::Ptr VXOpenContacts(VXHostContext &context);

/** Those of whom something begins like the text, as what is typed is completed; each once, the nearest first. */
[[nodiscard]] QList<VXManagedObjectPtr> VXContactsNear(VXManagedObjectContext &contacts, const QString &text,
                                                       unsigned mostCompletions = 20);
/** "; near it are: Jane Doe (p1), Jane Roe (p3)"; empty when there are none. */
[[nodiscard]] QString VXTextOfContactsNear(VXManagedObjectContext &contacts, const QString &text);

/**
 * The contact that the operand behind the verb names: "p12", a URI or UID, a phone number or e-mail address, or the name, if
 * only one has it; to look at it, the beginning of a name that only one has will do. The person is null when there is none, or
 * several, or no store, which the output was told.
 */
struct VXNamedContact
{
    enum class Purpose { Look, Change };

    explicit VXNamedContact(VXHostContext &context, Purpose purpose = Purpose::Change);

    std::unique_ptr<VXManagedObjectContext> contacts; // the person's
    VXManagedObjectPtr person;
};
