#pragma once

#include "VXContactRecord.h"
#include "VXError.h"
#include "VXFrameworkExport.h"
#include "VXManagedObject.h"
#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <optional>

class VXManagedObjectContext;

/** Contacts that are probably one person, and the contact they would be merged into. */
struct VXDuplicateContacts
{
    QList<VXManagedObjectID> persons = {}; // the first one is kept: the one about whom most is known
    QList<VXContactRecord> contacts = {};  // their contacts, in the same order
    VXContactRecord merged = {};
    QStringList shared = {}; // the numbers and addresses that they have in common
};

/**
 * Finds persons who are in the store "phonebook" more than once: contacts with the same name that share a number or an
 * address. Any thread.
 */
class VX_EXPORT VXContactDuplicates
{
public:
    explicit VXContactDuplicates(const VXPersistentStoreCoordinator::Ptr &coordinator) : _coordinator(coordinator) {}

    /** None, with an error, when the store cannot be read. */
    std::optional<QList<VXDuplicateContacts>> find(VXError *error = nullptr) const;
    /** Reduces duplicates to some of the persons, at least two; the others are left alone. */
    VXDuplicateContacts some(const VXDuplicateContacts &duplicates, const QList<VXManagedObjectID> &persons) const;
    /** Merges each group of duplicates, as they are at that time, into one contact, all in one save that can be undone
     *  (VXContactHistory). */
    bool merge(const QList<VXDuplicateContacts> &duplicates, VXError *error = nullptr) const;

private:
    VXPersistentStoreCoordinator::Ptr _coordinator;
};
