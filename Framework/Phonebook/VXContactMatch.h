#pragma once

#include "VXContactRecord.h"
#include "VXError.h"
#include "VXFrameworkExport.h"
#include "VXManagedObject.h"

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <functional>

class VXFetchRequest;
class VXManagedObjectContext;

/** What people call the contact as a text to compare: its words in any order, case and diacritics overlooked. */
[[nodiscard]] VX_EXPORT QString VXContactNameKey(const VXContactRecord &contact);

/** By which the contact is looked for: its numbers and addresses as they are compared, or what it is sorted by where it has none. */
[[nodiscard]] VX_EXPORT QStringList VXContactAddressKeys(const VXContactRecord &contact);

/** A contact that is known: of the store, or one that is only going to be. */
struct VXKnownContact
{
    VXManagedObjectPtr person; // null for what is not stored
    VXContactRecord contact;
};

/**
 * Tells which contact of the store "phonebook" is meant by a record: the one with its UID, else one that had it before it was merged,
 * else the one with its name and one of its numbers or addresses, or without any where it has none itself. Reads what a whole portion of records may be about with few
 * queries. On the context's thread.
 */
class VX_EXPORT VXContactMatch
{
public:
    explicit VXContactMatch(VXManagedObjectContext &context) : _context(context) {}

    /** Before `find` is asked about these. False, with an error, when the store cannot be read. */
    bool prepare(const QList<VXContactRecord> &contacts, VXError *error);
    /** nullptr for none. Holds until something is added. Of those that only have the name and an address `likeness`, if it is
     *  given, has the last word: the first of the most alike is taken, and none that is 0. */
    const VXKnownContact *find(const VXContactRecord &contact,
                               const std::function<int(const VXKnownContact &known)> &likeness = {}) const;
    /** Makes one known that was not when it was prepared, or has changed. */
    void add(const VXKnownContact &known);

private:
    VXFetchRequest requestFor(const QVariantList &persons) const;
    bool keepAlike(const QList<VXContactRecord> &contacts, QVariantList *persons, VXError *error);
    bool readPersons(const QStringList &keys, QVariantList *persons, VXError *error);

    VXManagedObjectContext &_context;
    QList<VXKnownContact> _known;
    QStringList _names;                       // of these: VXContactNameKey
    QHash<QString, QList<qsizetype>> _places; // by UID, by former UID, or by name and number, address or nothing
    QHash<VXManagedObjectID, qsizetype> _placesOfPersons;
};
