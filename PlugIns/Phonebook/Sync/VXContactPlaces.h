#pragma once

#include "VXContactRecord.h"
#include "VXManagedObject.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <functional>
#include <optional>

class VXManagedObjectContext;

/** A contact as it is stored on a phone. */
struct VXPhoneContact
{
    /** Made from an item of "read_contacts". */
    static VXPhoneContact fromItem(const QVariantMap &item);

    QVariantMap item;        // as it was read
    QString location;        // "MEMORY/LOCATION"
    VXContactRecord contact; // VXContactForPhone
};

/** An object of the entity "VXContactPlace", with typed values. On its context's thread; never null. */
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
        VXContactPlace place;
        const VXPhoneContact *met = nullptr; // on the phone now
    };

    /** The contacts must outlive this object. */
    VXContactPlaces(const QList<VXContactPlace> &places, const QList<VXPhoneContact> &contacts);

    const QList<Known> &known() const { return _known; }
    const QList<const VXPhoneContact *> &news() const { return _news; }

private:
    /** What a contact is compared by. */
    struct Traits
    {
        QString location;
        QByteArray content;
        QString name;
        QSet<QString> addresses;
    };
    using Test = std::function<bool(const Traits &known, const Traits &contact)>;

    static Traits traitsOf(const QString &location, const VXContactRecord &contact);
    /** Matches each remaining contact with the first place that has the same key and passes the test. */
    void match(const std::function<QByteArray(const Traits &)> &key, const Test &test);

    QList<Known> _known;
    QList<Traits> _knownTraits; // of these
    QList<const VXPhoneContact *> _news;
};
