#pragma once

#include "VXContentLines.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVariant>

/**
 * Contacts as vCards 4.0 (RFC 6350). A contact is whatever has some of a person's values: "firstName", "lastName", "name",
 * "nickname", "company", "image", "numbers", "emails", "groups", "note", "birthday", "url".
 */
class VXCardWriter
{
public:
    /** Of a number or address its person's. Null for an object with no name, number or address: no contact. */
    static QByteArray card(const QVariant &object);

private:
    explicit VXCardWriter(const QVariant &contact) : _contact(contact) {}

    QString text(const QString &key) const;
    /** The value of a key that may hold one, or a list of them. */
    QVariantList list(const QString &key) const;
    QString formattedName() const;
    void addName();
    void addAddresses(const QString &listKey, const QString &valueKey, const QString &property);
    void addGroups();
    void addImage();
    void addIdentity();

    const QVariant _contact;
    VXContentLines _lines;
};
