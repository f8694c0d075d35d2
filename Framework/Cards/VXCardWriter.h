#pragma once

#include "VXContactRecord.h"
#include "VXContentLines.h"
#include "VXFrameworkExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QMultiHash>
#include <QtCore/QVariant>

/** Writes contacts as vCards: 3.0 (RFC 2426) or 4.0 (RFC 6350). */
class VX_EXPORT VXCardWriter
{
public:
    enum class Version { V3, V4 };

    /** Of a number or address its person's; on the object's thread. Null for an object with no name, number or address: no
     * contact. A stored one without a UID gets its URI as UID. */
    static QByteArray card(const QVariant &object, Version version = Version::V4);
    /** The same of a record. */
    static QByteArray card(const VXContactRecord &contact, Version version = Version::V4);

private:
    VXCardWriter(const VXContactRecord &contact, Version version);

    /** Those that the property had when it was read, and nobody here knows; not again for another of the same value. */
    QString furtherParameters(const QString &name, const QString &value = {});
    QString typeParameters(unsigned mask, const QString &label) const;
    /** The name of a property, in a group of its own with its label, which is added, where no type says that. */
    QString labelled(const QString &property, const QString &label);
    void addName();
    void addAddresses(const QString &property, const QList<VXContactRecord::Address> &addresses);
    void addPostalAddresses();
    void addGroups();
    void addImage();
    void addLinks();
    void addBirthday();
    void addProperties(const QStringList &lines);

    const VXContactRecord &_contact;
    const Version _version;
    VXContentLines _lines;
    QMultiHash<QString, QString> _parameters; // by the mark of the property
    int _labelCount = 0;
};
