#pragma once

#include "VXContactRecord.h"
#include "VXContentLines.h"

#include <QtCore/QByteArray>
#include <QtCore/QVariant>

/** Contacts as vCards 4.0 (RFC 6350). */
class VXCardWriter
{
public:
    /** Of a number or address its person's. Null for an object with no name, number or address: no contact. */
    static QByteArray card(const QVariant &object);

private:
    explicit VXCardWriter(const VXContactRecord &contact) : _contact(contact) {}

    void addName();
    void addAddresses(const QString &property, const QList<VXContactRecord::Address> &addresses);
    void addPostalAddresses();
    void addLinks();
    void addGroups();
    void addImage();
    void addIdentity(const QVariant &object);

    const VXContactRecord _contact;
    VXContentLines _lines;
};
