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

    /** The card of a contact; for a number or address, of its person; on the object's thread. Null for an object
     *  without name, number and address, which is no contact. A stored contact without UID gets its URI as UID. */
    static QByteArray card(const QVariant &object, Version version = Version::V4);
    /** The same for a record. */
    static QByteArray card(const VXContactRecord &contact, Version version = Version::V4);

private:
    VXCardWriter(const VXContactRecord &contact, Version version);

    /** The unknown parameters that the property had when it was read; each is used only once, even if another property
     *  has the same value. */
    QString furtherParameters(const QString &name, const QString &value = {});
    QString typeParameters(unsigned mask, const QString &label) const;
    /** The name of the property; with a label that no type expresses, in a group of its own with the label, which is
     *  added. */
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
