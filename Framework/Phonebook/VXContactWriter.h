#pragma once

#include "VXContactRecord.h"
#include "VXFrameworkExport.h"
#include "VXManagedObject.h"

#include <QtCore/QDateTime>
#include <QtCore/QHash>
#include <QtCore/QString>

class VXManagedObjectContext;

/** Whose single values count where two contacts become one. Equals: as Known, and a number or address that they have of two kinds is
 *  of both then. */
enum class VXContactPrecedence { News, Known, Equals };

/** A contact as it can be stored: a name whose parts are not known is the first name, what is empty is none, and control characters
 * are left out. */
[[nodiscard]] VX_EXPORT VXContactRecord VXStorableContact(const VXContactRecord &contact);
/**
 * Both in one, storable: lists are united, numbers compared as they are looked up, unless their countries differ, and addresses without
 * case; of single values those of the one with precedence count, if it has any. The name is one value: of two that do not contradict
 * each other the one that says more counts. Where Known counts, the other values stand in the note. A UID that is known stays; the
 * other is a former one then.
 */
[[nodiscard]] VX_EXPORT VXContactRecord VXUnitedContact(const VXContactRecord &known, const VXContactRecord &news,
                                                        VXContactPrecedence precedence);
/** The single values that are others than before, as "company Mill -> Acme". */
[[nodiscard]] VX_EXPORT QStringList VXReplacedValues(const VXContactRecord &before, const VXContactRecord &after);
/** A UID that no other contact has. */
[[nodiscard]] VX_EXPORT QString VXNewContactUID();
/** Whether they have the same values, in whatever order. */
[[nodiscard]] VX_EXPORT bool VXIsSameContact(const VXContactRecord &a, const VXContactRecord &b);

/**
 * Writes contacts into the store "phonebook" by a context, which the caller saves. What of a person stays as it is is not written
 * again. On the context's thread.
 */
class VX_EXPORT VXContactWriter
{
public:
    explicit VXContactWriter(VXManagedObjectContext &context) : _context(context) {}

    /** Of a change set: persons get this date, and new ones the number. */
    void setChangeSet(qint64 number, const QDateTime &date);

    /** A new person. One without a UID gets one. */
    VXManagedObjectPtr insert(const VXContactRecord &contact);
    /** Gives the person just these values; the UID stays when there is no other. */
    void replace(const VXManagedObjectPtr &person, const VXContactRecord &contact);
    /** Beside those that it is in. */
    void addToGroup(const VXManagedObjectPtr &person, const QString &name);

private:
    static QStringList propertiesFor(const VXManagedObject &person, const VXContactRecord &contact);
    /** `isNew`: nothing was written of the person. */
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
