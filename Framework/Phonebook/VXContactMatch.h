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

/** A text to compare names by: the words of the contact's name in any order, ignoring case and diacritics. */
[[nodiscard]] VX_EXPORT QString VXContactNameKey(const VXContactRecord &contact);

/**
 * The keys for finding the contact: its numbers and addresses in the form in which they are compared, or its sort name
 * if it has none.
 */
[[nodiscard]] VX_EXPORT QStringList VXContactAddressKeys(const VXContactRecord &contact);

/** What a contact is found by, made once for all that is looked for and added. A value type. */
struct VX_EXPORT VXContactKeys
{
    explicit VXContactKeys(const VXContactRecord &contact);
    /** Else a name alone. */
    bool hasAddresses() const;

    QString uid;
    QStringList formerUIDs;
    QString name;          // VXContactNameKey
    QStringList addresses; // VXContactAddressKeys
};

/** A known contact: stored, or about to be. */
struct VXKnownContact
{
    VXManagedObjectPtr person; // null if not stored
    VXContactRecord contact;
};

/**
 * Finds the contact of the store "phonebook" that a record refers to: the one with its UID; or else one that had it
 * before a merge; or else one with the same name and one of its numbers or addresses (or without any, if the record has
 * none). Reads what a whole portion of records may refer to with a few queries. On the context's thread.
 */
class VX_EXPORT VXContactMatch
{
public:
    explicit VXContactMatch(VXManagedObjectContext &context) : _context(context) {}

    /** To be called before find() for these contacts. False, with an error, when the store cannot be read. */
    bool prepare(const QList<VXContactKeys> &contacts, VXError *error);
    /** Returns nullptr for none; valid until something is added. Among contacts that match only by name and address,
     *  `likeness`, if given, decides: the first one with the highest value is taken, but none with 0. */
    const VXKnownContact *find(const VXContactKeys &contact,
                               const std::function<int(const VXKnownContact &known)> &likeness = {}) const;
    /** Adds a contact that was not known when prepare() was called, or has changed since. */
    void add(const VXKnownContact &known) { add(known, VXContactKeys(known.contact)); }
    /** The same, with the keys of the contact. */
    void add(const VXKnownContact &known, const VXContactKeys &keys);

private:
    VXFetchRequest requestFor(const QVariantList &persons) const;
    bool keepAlike(const QList<VXContactKeys> &contacts, QVariantList *persons, VXError *error);
    bool readPersons(const QStringList &keys, QVariantList *persons, VXError *error);

    VXManagedObjectContext &_context;
    QList<VXKnownContact> _known;
    QList<VXContactKeys> _keys; // of each in _known
    // indexes into _known: by UID, by former UID, or by name and number, address or nothing
    QHash<QString, QList<qsizetype>> _places;
    QHash<VXManagedObjectID, qsizetype> _placesOfPersons;
};
