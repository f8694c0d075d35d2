#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QDate>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

/**
 * A contact, as phones, stores and exporters tell of it. docs/FORMATS.md has the keys. A value type; what is none is null,
 * invalid or empty.
 */
struct VX_EXPORT VXContactRecord
{
    /** A phone number, an e-mail address or the URL of a page. */
    struct Address
    {
        QString value;
        unsigned type = 0;  // VXPhonebookType
        QString label = {}; // what no type says: of numbers "video", "messaging", "other"
    };
    /** Either parts, or the whole as text. */
    struct PostalAddress
    {
        QString street = {};
        QString city = {};
        QString state = {};
        QString zip = {};
        QString country = {};
        QString text = {};
        unsigned type = 0;
    };

    VXContactRecord() = default;
    /** What a map, a managed object or a QObject says of a contact, of a number or address its person; on its thread. Its texts have
     *  no control characters. */
    explicit VXContactRecord(const QVariant &object);

    QString name = {}; // the whole, where its parts are not known
    QString namePrefix = {};
    QString firstName = {};
    QString middleName = {};
    QString lastName = {};
    QString nameSuffix = {};
    QString nickname = {};
    QString company = {};
    QString jobTitle = {};
    QString note = {};
    QDate birthday = {};
    QByteArray image = {}; // the bytes of a picture file
    QList<Address> numbers = {};
    QList<Address> emails = {};
    QList<Address> urls = {};
    QList<PostalAddress> addresses = {};
    QStringList groups = {};     // their names
    QString uid = {};            // of the vCard that it came from
    QStringList properties = {}; // of vCards, that have no place above: content lines

    /** What people call the contact: a name, else a company, number or address. Null for no contact at all. */
    QString displayName() const;
    /** The same as it is shown: the last name comes first where the user default "phonebook.names.last_first" says so. */
    QString shownName() const;

    /** Of the properties those that write the whole name (FN) otherwise than the parts would. */
    QStringList fullNameLines() const;
    void removeFullNameLines();
    /** The UIDs of those that were merged into it, by which they are still known; they stand among the properties. */
    QStringList formerUIDs() const;
    void addFormerUID(const QString &former);

    /** Of the texts those that no one means and no property list can hold; line feeds and tabs stay. */
    void removeControlCharacters();

    /** In lists, and as the object of an event; without what is none. */
    QVariantMap map() const;
};
