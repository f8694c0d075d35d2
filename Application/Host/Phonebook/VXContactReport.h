#pragma once

#include "VXContactRecord.h"
#include "VXManagedObject.h"

#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QStringList>

/** A stored contact, as the program shows it. */
struct VXShownContact
{
    explicit VXShownContact(const VXManagedObjectPtr &person);

    QString shortID; // "p12"
    QString uri;
    VXContactRecord contact;

    static QStringList titles();
    /** For a table. */
    QStringList columns() const;
    /** With or without the picture, which may be large. */
    QJsonObject json(bool withImage) const;
    /** For people, with everything there is. */
    QString text() const;
};

/** Numbers or addresses with the letters of their types, such as "+1 555 0100/m". */
[[nodiscard]] QStringList VXShownAddresses(const QList<VXContactRecord::Address> &addresses);
