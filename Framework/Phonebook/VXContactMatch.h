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

class VXManagedObjectContext;

/** What people call the contact as a text to compare: its words in any order, case and diacritics overlooked. */
[[nodiscard]] VX_EXPORT QString VXContactNameKey(const VXContactRecord &contact);

/** A contact that is known: of the store, or one that is only going to be. */
struct VXKnownContact
{
    VXManagedObjectPtr person; // null for what is not stored
    VXContactRecord contact;
};

/**
 * Tells which contact of the store "phonebook" is meant by a record: the one with its UID, else the one with its name and one of its
 * numbers or addresses, or without any where it has none itself. Reads what a whole portion of records may be about with few
 * queries. On the context's thread.
 */
class VX_EXPORT VXContactMatch
{
public:
    explicit VXContactMatch(VXManagedObjectContext &context) : _context(context) {}

    /** Before `find` is asked about these. False, with an error, when the store cannot be read. */
    bool prepare(const QList<VXContactRecord> &contacts, VXError *error);
    /** nullptr for none. Holds until something is added. Of one that only has the name and an address `mayBe`, if there is
     * any, has the last word. */
    const VXKnownContact *find(const VXContactRecord &contact,
                               const std::function<bool(const VXContactRecord &known)> &mayBe = {}) const;
    /** Makes one known that was not when it was prepared, or has changed. */
    void add(const VXKnownContact &known);

private:
    /** Under which a contact is found: its UID, numbers, addresses, or its name where it has none of those. */
    static QStringList keysOf(const VXContactRecord &contact);
    bool readPersons(const QStringList &keys, QVariantList *persons, VXError *error);

    VXManagedObjectContext &_context;
    QList<VXKnownContact> _known;
    QHash<QString, QList<qsizetype>> _places; // by key
    QHash<VXManagedObjectID, qsizetype> _placesOfPersons;
};
