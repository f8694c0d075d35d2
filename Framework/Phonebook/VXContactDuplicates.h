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

/** Contacts of one person, and what they would become. */
struct VXDuplicateContacts
{
    QList<VXManagedObjectID> persons = {}; // the one that stays in front: that of whom most is known
    QList<VXContactRecord> contacts = {};  // of these, in the same order
    VXContactRecord merged = {};
    QStringList shared = {}; // the numbers and addresses by which they were found
};

/**
 * Finds the same person kept more than once in the store "phonebook": contacts with one name that share a number or an address.
 * Any thread.
 */
class VX_EXPORT VXContactDuplicates
{
public:
    explicit VXContactDuplicates(const VXPersistentStoreCoordinator::Ptr &coordinator) : _coordinator(coordinator) {}

    /** None, with an error, when the store cannot be read. */
    std::optional<QList<VXDuplicateContacts>> find(VXError *error = nullptr) const;
    /** Of those some, at least two; the others stay contacts of their own. */
    VXDuplicateContacts some(const VXDuplicateContacts &duplicates, const QList<VXManagedObjectID> &persons) const;
    /** Makes each of them one contact, all in one save that can be undone (VXContactHistory). */
    bool merge(const QList<VXDuplicateContacts> &duplicates, VXError *error = nullptr) const;

private:
    VXPersistentStoreCoordinator::Ptr _coordinator;
};
