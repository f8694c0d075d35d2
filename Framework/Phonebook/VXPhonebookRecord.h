#pragma once

#include "VXFrameworkExport.h"
#include "VXManagedObject.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

/**
 * What stored calls and messages can be asked about their parties: objects with "to", "from" and "direction", and the texts made
 * of those for searching, "to_search", "from_search" and "otherParty_search". On the thread of their context.
 */
class VX_EXPORT VXPhonebookRecord
{
public:
    /** Do nothing when that is what the record has already; else the texts for searching follow. Null for none. */
    static void setTo(VXManagedObject &record, const QString &phonebookStrings);
    static void setFrom(VXManagedObject &record, const QString &phonebookStrings);
    static void setDirection(VXManagedObject &record, int direction);
    /** Makes the texts for searching anew, and writes those that differ. */
    static void updatePhonebookSearchStrings(VXManagedObject &record);

    /** The texts for searching; null for none. */
    static QString to_display(const VXManagedObject &record);
    static QString from_display(const VXManagedObject &record);
    static QString otherParty_display(const VXManagedObject &record);
    /** "from" of what came in, else "to". */
    static QString otherParty(const VXManagedObject &record);

    /** For the desktop's file search: kMDItemAuthors, kMDItemRecipients, kMDItemPhoneNumbers, kMDItemEmailAddresses, lists of
     * texts; without those that are empty. */
    static QVariantMap phonebookMetaData(const VXManagedObject &record);

    /** The same for a file of a VXMetaDataSync, with the kind ("call", "message"), who the other party was, name by
     *  name and address by address, and when. */
    static QVariantMap searchMetaData(const VXManagedObject &record, const QString &kind);

    /** For a list of phonebook strings: each name and, in the form for look-ups, each address. Null for none. */
    static QString searchForm(const QString &phonebookStrings);
};

/** A stored call or message: keeps its texts for searching in step when it is saved, and knows some more keys. */
class VX_EXPORT VXRecordObject : public VXManagedObject
{
public:
    /**
     * Also "to_display", "from_display", "otherParty_display", "otherParty", "phonebookMetaData", and "contact": who the other
     * party is by the phonebook, the "VXPerson" or a number without one; none when it is no contact; and "who": what people call
     * the other party.
     */
    QVariant valueForKey(const QString &key) const override;
    /** Whether it is one of these. */
    static bool isFurtherKey(const QString &key);

protected:
    void willSave() override;
};

/** Who that is by the phonebook of this thread, as "contact" of records: of a list the first who is known. */
VX_EXPORT QVariant VXContactForPhonebookStrings(const QString &phonebookStrings);
/** A map that is a call or message with "contact" and "who" as above, where it has none itself; any other object as it is. On the
 * object's thread. */
VX_EXPORT QVariant VXObjectWithContact(const QVariant &object);
/** What people call them: the list with a name for each number that is a contact's; null for none. Any thread. */
VX_EXPORT QString VXDisplayStringForContacts(const QString &phonebookStrings);
