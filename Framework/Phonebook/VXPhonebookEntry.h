#pragma once

#include "VXFrameworkExport.h"
#include "VXManagedObject.h"

#include <QtCore/QString>

/**
 * Properties of entries of the store "phonebook": a "VXPerson", "VXPhoneNumber", "VXEmailAddress" or "VXGroup". On the
 * thread of their context.
 */
class VX_EXPORT VXPhonebookEntry
{
public:
    /**
     * First and last name in the order of the user default "phonebook.names.last_first", or the only one there is; or
     * else the nickname, or else the company, or else null.
     */
    static QString _personDisplayString(const VXManagedObject &person);
    /** The name to show; for a number or address without a person, the number or address. Another entity fails an
     *  assertion. */
    static QString displayString(const VXManagedObject &entry);
    /** "Jane Doe <+1 555 0100/m>" for a number or address. Another entity fails an assertion. */
    static QString phonebookString(const VXManagedObject &entry);
    /** How much is known of the group or person; decides which one of several is chosen. */
    static float informativeValue(const VXManagedObject &entry);

    /** A new object with the same attributes, but no relationships; null for a deleted object. */
    static VXManagedObjectPtr copyManagedObjectIntoContext(const VXManagedObject &object,
                                                           VXManagedObjectContext &context);
    /** Also copies its person. */
    static VXManagedObjectPtr copyPhoneNumberIntoContext(const VXManagedObject &number,
                                                         VXManagedObjectContext &context);
};
