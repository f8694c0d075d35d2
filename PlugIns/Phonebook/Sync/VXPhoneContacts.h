#pragma once

#include "VXContactRecord.h"
#include "VXError.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QTemporaryFile>
#include <QtCore/QVariant>

#include <optional>

/** A contact as it lies on a phone. */
struct VXPhoneContact
{
    /** Of an item of "read_contacts". */
    static VXPhoneContact fromItem(const QVariantMap &item);
    /** It is none. */
    bool isEmpty() const;

    QVariantMap item;        // as it was read
    QString location;        // "MEMORY/LOCATION"
    VXContactRecord contact; // VXContactForPhone
};

/** What a contact on a phone is told apart by: hashes, of which all that a phone has take little room. 0 is none. */
struct VXContactTraits
{
    static VXContactTraits of(const QString &location, const VXContactRecord &contact);
    bool sharesAddress(const VXContactTraits &other) const;

    size_t location = 0;
    size_t content = 0;
    size_t name = 0;
    QList<size_t> addresses = {}; // and numbers
};

/**
 * The contacts that a phone has, as they are read. However many and large they are, they lie in a file without a name, and only where
 * each is, and its traits, is in memory. One thread at a time.
 */
class VXPhoneContacts
{
public:
    /** Whether traits are to be known: where nothing is known of the phone, they are for nothing. */
    void setHasTraits(bool flag) { _hasTraits = flag; }
    /** Items of "read_contacts"; with traits what is no contact is left out. False, with an error, when they cannot be kept. */
    [[nodiscard]] bool add(const QVariantList &items, VXError *error);

    qsizetype size() const { return _places.size(); }
    /** None, with an error, when it cannot be read. */
    std::optional<VXPhoneContact> at(qsizetype index, VXError *error);
    const VXContactTraits &traits(qsizetype index) const { return _traits[index]; }

private:
    QTemporaryFile _file;
    QVariantList _newest;  // items of the last portion, which are likely to be asked for
    QList<qint64> _places; // in it
    QList<VXContactTraits> _traits;
    bool _hasTraits = false;
};
