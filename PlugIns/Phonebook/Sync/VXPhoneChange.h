#pragma once

#include "VXContactPlaces.h"

#include <optional>

class VXManagedObjectContext;

/** Something that is to be done on a phone. What its action is told is made when its turn has come: a phone may need many. */
struct VXPhoneChange
{
    enum class Kind { Put, Change, Delete };

    Kind kind = Kind::Put;
    QString name = {};              // of the person
    qsizetype contact = -1;         // that is there; -1 for none
    VXManagedObjectID placeID = {}; // permanent once it is saved
    VXManagedObjectPtr place = {};  // until then

    QVariantMap object = {};                            // of the action, once it was made
    std::optional<VXContactRecord> here = std::nullopt; // what is written, as it is here; none: it is to be deleted

    QString actionName() const;
    /** The object of the action, and `here`, by what is here and there now. False when there is nothing left to be done, or it
     *  cannot be told: then with an error. */
    [[nodiscard]] bool make(VXManagedObjectContext &context, VXPhoneContacts &contacts, VXError *error);
};

/** The person's values, storable; as far as phones have places for them. */
VXContactRecord VXRecordOfPerson(const VXManagedObjectPtr &person);
VXContactRecord VXPhoneRecordOfPerson(const VXManagedObjectPtr &person);
/** What the phone is to have there: what it has, with what changed here since both agreed. */
VXContactRecord VXContactWantedThere(const VXContactPlace &place, const VXContactRecord &here,
                                     const VXContactRecord &there);
