#pragma once

#include "VXFrameworkExport.h"
#include "VXManagedObject.h"

#include <QtCore/QString>

/**
 * What every entry of the store "phonebook" can be asked: a "VXPerson", "VXPhoneNumber", "VXEmailAddress" or "VXGroup". On the
 * thread of its context.
 */
class VX_EXPORT VXPhonebookEntry
{
public:
    /**
     * First and last name, in the order that the user default "phonebook.names.last_first" says, or the one of them that is
     * there; else the nickname, else the company, else null.
     */
    static QString _personDisplayString(const VXManagedObject &person);
    /** What people call it; a number or address without a person by itself. Another entity fails an assertion. */
    static QString displayString(const VXManagedObject &entry);
    /** "Jane Doe <+1 555 0100/m>" of a number or address. Another entity fails an assertion. */
    static QString phonebookString(const VXManagedObject &entry);
    /** By which one of several is chosen: how much is known of the group, or of the person. */
    static float informativeValue(const VXManagedObject &entry);

    /** A new object with the attributes, not the relationships; null for one that is deleted. */
    static VXManagedObjectPtr copyManagedObjectIntoContext(const VXManagedObject &object,
                                                           VXManagedObjectContext &context);
    /** With a copy of its person. */
    static VXManagedObjectPtr copyPhoneNumberIntoContext(const VXManagedObject &number,
                                                         VXManagedObjectContext &context);
};
