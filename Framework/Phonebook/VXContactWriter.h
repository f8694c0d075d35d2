#pragma once

#include "VXContactRecord.h"
#include "VXFrameworkExport.h"
#include "VXManagedObject.h"

#include <QtCore/QDateTime>
#include <QtCore/QHash>
#include <QtCore/QString>

class VXManagedObjectContext;

/**
 * Whose single values win when two contacts are merged. Equals: like Known, but a number or address with two kinds gets
 * both.
 */
enum class VXContactPrecedence { News, Known, Equals };

/**
 * The contact as it can be stored: a name of unknown parts becomes the first name, empty values become none, and
 * control characters are removed.
 */
[[nodiscard]] VX_EXPORT VXContactRecord VXStorableContact(const VXContactRecord &contact);
/**
 * Merges two contacts, in storable form. Lists are united; numbers are compared in the form used for look-ups, unless
 * their countries differ, and addresses ignoring case. Of single values, that of the contact with precedence is taken,
 * if it has one. The name is a single value: of two compatible ones, the one that says more is taken. With precedence
 * Known, the other values are added to the note. A known UID is kept; then the other becomes a former UID.
 */
[[nodiscard]] VX_EXPORT VXContactRecord VXUnitedContact(const VXContactRecord &known, const VXContactRecord &news,
                                                        VXContactPrecedence precedence);
/** The single values that have changed, such as "company Mill -> Acme". */
[[nodiscard]] VX_EXPORT QStringList VXReplacedValues(const VXContactRecord &before, const VXContactRecord &after);
/** A UID that no other contact has. */
[[nodiscard]] VX_EXPORT QString VXNewContactUID();
/** Whether the contacts have the same values, in any order. */
[[nodiscard]] VX_EXPORT bool VXIsSameContact(const VXContactRecord &a, const VXContactRecord &b);

/**
 * Writes contacts into the store "phonebook" through a context, which the caller saves. Unchanged values of a person
 * are not written again. On the context's thread.
 */
class VX_EXPORT VXContactWriter
{
public:
    explicit VXContactWriter(VXManagedObjectContext &context) : _context(context) {}

    /** Sets the change set: its date for all persons written, its number for new ones. */
    void setChangeSet(qint64 number, const QDateTime &date);

    /** Adds a person. A contact without UID gets one. */
    VXManagedObjectPtr insert(const VXContactRecord &contact);
    /** Replaces the person's values by those of the contact; the UID is kept if the contact has none. */
    void replace(const VXManagedObjectPtr &person, const VXContactRecord &contact);
    /** Adds the person to another group. */
    void addToGroup(const VXManagedObjectPtr &person, const QString &name);

private:
    static QStringList propertiesFor(const VXManagedObject &person, const VXContactRecord &contact);
    /** `isNew`: nothing of the person was written before. */
    void fill(const VXManagedObjectPtr &person, const VXContactRecord &storable, bool isNew);
    void write(VXManagedObject &person, const VXContactRecord &contact, bool isNew);
    void setDate(VXManagedObject &person) const;
    void writeAddresses(const VXManagedObjectPtr &person, const QString &relationship, const QString &valueKey,
                        const QList<VXContactRecord::Address> &addresses);
    void writePostalAddresses(const VXManagedObjectPtr &person, const VXContactRecord &contact);
    void writeGroups(const VXManagedObjectPtr &person, const QStringList &names);
    VXManagedObjectPtr groupNamed(const QString &name);

    VXManagedObjectContext &_context;
    QHash<QString, VXManagedObjectPtr> _groups; // by name
    qint64 _number = 0;
    QDateTime _date;
};
