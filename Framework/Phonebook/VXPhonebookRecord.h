#pragma once

#include "VXFrameworkExport.h"
#include "VXManagedObject.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

/**
 * Properties of stored calls and messages that concern their parties: objects with "to", "from" and "direction", and
 * the search texts derived from these, "to_search", "from_search" and "otherParty_search". On the thread of their
 * context.
 */
class VX_EXPORT VXPhonebookRecord
{
public:
    /** These set a value and update the search texts, unless the record already has that value. Null for none. */
    static void setTo(VXManagedObject &record, const QString &phonebookStrings);
    static void setFrom(VXManagedObject &record, const QString &phonebookStrings);
    static void setDirection(VXManagedObject &record, int direction);
    /** Computes the search texts again, and writes those that differ. */
    static void updatePhonebookSearchStrings(VXManagedObject &record);

    /** The search texts; null for none. */
    static QString to_display(const VXManagedObject &record);
    static QString from_display(const VXManagedObject &record);
    static QString otherParty_display(const VXManagedObject &record);
    /** "from" for incoming records, otherwise "to". */
    static QString otherParty(const VXManagedObject &record);

    /** For the desktop's file search: kMDItemAuthors, kMDItemRecipients, kMDItemPhoneNumbers, kMDItemEmailAddresses, as
     *  lists of texts; without empty ones. */
    static QVariantMap phonebookMetaData(const VXManagedObject &record);

    /** The same for a file of a VXMetaDataSync; adds the kind ("call", "message"), the other parties' names and, in the
     *  same order, addresses, and the date. */
    static QVariantMap searchMetaData(const VXManagedObject &record, const QString &kind);

    /** For a list of phonebook strings: each name and, in the form for look-ups, each address. Null for none. */
    static QString searchForm(const QString &phonebookStrings);
};

/** A stored call or message: updates its search texts when it is saved, and supports some additional keys. */
class VX_EXPORT VXRecordObject : public VXManagedObject
{
public:
    /**
     * Also supports "to_display", "from_display", "otherParty_display", "otherParty", "phonebookMetaData"; "contact":
     * the phonebook entry of the other party, a "VXPerson" or a number without one, none for no contact; and "who": the
     * name to show for the other party.
     */
    QVariant valueForKey(const QString &key) const override;
    /** Whether the key is one of these. */
    static bool isFurtherKey(const QString &key);

protected:
    void willSave() override;
};

/**
 * The phonebook entry for the string, looked up by this thread's phonebook manager, same as "contact" of records; for a
 * list, that of the first who is known.
 */
VX_EXPORT QVariant VXContactForPhonebookStrings(const QString &phonebookStrings);
/**
 * Adds "contact" and "who" as above to a map that is a call or message and lacks them; returns any other object
 * unchanged. On the object's thread.
 */
VX_EXPORT QVariant VXObjectWithContact(const QVariant &object);
/** The list with the contact's name for each number that a contact has, for display; null for none. Any thread. */
VX_EXPORT QString VXDisplayStringForContacts(const QString &phonebookStrings);
