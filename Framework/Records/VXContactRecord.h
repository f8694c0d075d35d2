#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QDate>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

/**
 * A contact in the form shared by phones, stores and exporters. docs/FORMATS.md has the keys. A value type; values of
 * none are null, invalid or empty.
 */
struct VX_EXPORT VXContactRecord
{
    /** A phone number, an e-mail address or the URL of a page. */
    struct Address
    {
        QString value;
        unsigned type = 0;  // VXPhonebookType
        QString label = {}; // what no type expresses: for numbers "video", "messaging", "other"
    };
    /** Either in parts, or the whole as text. */
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
    /** Reads a contact from a map, a managed object or a QObject; for a number or address, its person; on its thread.
     *  Texts have no control characters. */
    explicit VXContactRecord(const QVariant &object);

    QString name = {}; // the whole name, if its parts are unknown
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
    QByteArray image = {}; // the contents of a picture file
    QList<Address> numbers = {};
    QList<Address> emails = {};
    QList<Address> urls = {};
    QList<PostalAddress> addresses = {};
    QStringList groups = {};     // their names
    QString uid = {};            // of the vCard that the contact came from
    QStringList properties = {}; // content lines of vCards that have no place above

    /** The name to show: a name, or else a company, number or address. Null for an empty contact. */
    QString displayName() const;
    /** The same, but with the last name first if the user default "phonebook.names.last_first" says so. */
    QString shownName() const;

    /** Those of the properties that spell the whole name (FN) differently from its parts. */
    QStringList fullNameLines() const;
    void removeFullNameLines();
    /** The UIDs of contacts that were merged into this one, which still identify it; kept in the properties. */
    QStringList formerUIDs() const;
    void addFormerUID(const QString &former);

    /** Removes control characters, which property lists cannot hold, from all texts; line feeds and tabs are kept. */
    void removeControlCharacters();

    /** The contact for lists and as the object of an event; without values of none. */
    QVariantMap map() const;
};
