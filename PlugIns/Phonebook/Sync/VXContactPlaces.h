#pragma once

#include "VXManagedObject.h"
#include "VXPhoneContacts.h"

#include <QtCore/QList>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <functional>
#include <optional>

class VXManagedObjectContext;

/** An object of the entity "VXContactPlace", with typed values. On its context's thread; none is null. */
class VXContactPlace
{
public:
    static const QString entityName; // "VXContactPlace"

    VXContactPlace() = default;
    explicit VXContactPlace(const VXManagedObjectPtr &object) : _object(object) {}
    static VXContactPlace make(const QString &deviceURL, const QString &phone, const VXManagedObjectPtr &person,
                               VXManagedObjectContext &context);

    const VXManagedObjectPtr &object() const { return _object; }
    VXManagedObjectPtr person() const;
    void setPerson(const VXManagedObjectPtr &person);
    /** Null: it is to be put on the phone. */
    QString location() const;
    /** What both sides had when they last agreed. */
    VXContactRecord here() const { return record(QStringLiteral("here")); }
    VXContactRecord there() const { return record(QStringLiteral("there")); }
    /** Which of the phones with that URL it is: null if the phone did not say. */
    QString phone() const;
    void setPhone(const QString &phone);
    /** Notes that the phone refuses what is to be written there (none: nothing), and that the user was told. @return
     *  whether that is news. */
    bool noteRefusal(const std::optional<VXContactRecord> &wanted);
    bool isRefused() const;
    void forgetRefusal();
    /** Writes the values that differ. */
    void note(const QString &location, const VXContactRecord &here, const VXContactRecord &there);

private:
    VXContactRecord record(const QString &key) const;
    void setRecord(const QString &key, const VXContactRecord &record);

    VXManagedObjectPtr _object;
};

/**
 * Matches a phone's contacts with those that are known from it. A contact at its old location is recognised by a name,
 * number or address it still has. One at another location is recognised by everything it has, or by its name and one of
 * the others, because phones renumber their contacts.
 */
class VXContactPlaces
{
public:
    struct Known
    {
        VXManagedObjectID place;
        VXManagedObjectID person; // null: deleted here
        QString memory;           // of the phone; null: it is to be put there
        QString phone;            // which it is; null where that did not tell
        qsizetype met = -1;       // the contact that lies there now; -1 for none

        bool isPending() const { return memory.isNull(); }
    };

    void add(const VXContactPlace &place);
    /** Forgets what is of other phones. Nothing is forgotten of, or for, one that does not tell which it is. */
    void keepOnly(const QString &phone);
    void clear();
    /** Which phones they are of, as far as those told. */
    QStringList phones() const;

    /** The contacts, from the first on that counts, have traits if any place is known. */
    void match(const VXPhoneContacts &contacts, qsizetype first = 0);
    const QList<Known> &known() const { return _known; }
    /** Contacts that are not known. */
    const QList<qsizetype> &news() const { return _news; }

private:
    using Test = std::function<bool(const VXContactTraits &known, const VXContactTraits &contact)>;

    /** Matches, of those that are left, each contact with the first place with the same key that passes. */
    void match(const VXPhoneContacts &contacts, const std::function<size_t(const VXContactTraits &)> &key,
               const Test &test);
    const QString &only(const QString &text);

    QList<Known> _known;
    QList<VXContactTraits> _traits; // of these
    QList<qsizetype> _news;
    QSet<QString> _texts; // each once, as few as there are
};
