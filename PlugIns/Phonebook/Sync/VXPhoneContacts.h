#pragma once

#include "VXContactMatch.h"
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
 * Contacts of a phone, as many as it gives at a time, with all that can be made of them without the store: so while some are brought
 * into step, the next are made ready on another thread. What is no contact is left out.
 */
struct VXPhonePortion
{
    /** Of a result of "read_contacts", or a part of one. Of a phone that is known its contacts have traits, else keys. */
    VXPhonePortion(const QVariantMap &result, bool isKnown);

    QString phone; // which it says it is; null if it does not tell
    QList<VXPhoneContact> contacts = {};
    QList<VXContactTraits> traits = {};
    QList<VXContactKeys> keys = {};
    QByteArray bytes = {};     // their items
    QList<qint64> places = {}; // where each begins in them
    bool isWritten = true;     // the bytes
};

/**
 * The contacts that a phone has, as they are read. However many and large they are, they lie in a file without a name, and only where
 * each is, and its traits, is in memory. One thread at a time.
 */
class VXPhoneContacts
{
public:
    /** False, with an error, when they cannot be kept. */
    [[nodiscard]] bool add(const VXPhonePortion &portion, VXError *error);

    qsizetype size() const { return _places.size(); }
    /** None, with an error, when it cannot be read. */
    std::optional<VXPhoneContact> at(qsizetype index, VXError *error);
    /** What that contact is found by here. */
    VXContactKeys keysOf(qsizetype index, const VXPhoneContact &contact) const;
    /** Of a phone that is known. */
    const VXContactTraits &traits(qsizetype index) const { return _traits[index]; }

private:
    QTemporaryFile _file;
    QList<VXPhoneContact> _newest; // of the last portion, which are likely to be asked for
    QList<VXContactKeys> _newestKeys;
    QList<qint64> _places; // in it
    QList<VXContactTraits> _traits;
};
