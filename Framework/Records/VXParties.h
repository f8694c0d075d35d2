#pragma once

#include "VXFrameworkExport.h"
#include "VXRecordDirection.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

class VXRecordReader;

/** What calls and messages have in common: who communicated with whom, by which phone. A value type. */
struct VX_EXPORT VXParties
{
    VXRecordDirection direction = VXRecordDirection::Outgoing;
    QString from = {};      // a phonebook string such as "Jane <+1 555 0100/m>", or a list of them; null when unknown
    QString to = {};        // likewise
    QString deviceURL = {}; // of the phone

    bool isIncoming() const { return direction == VXRecordDirection::Incoming; }
    /** A phonebook string or list; null when unknown. */
    const QString &otherParty() const { return isIncoming() ? from : to; }
    void setOtherParty(const QString &phonebookStrings) { (isIncoming() ? from : to) = phonebookStrings; }
    /** The same for a single address; name and number may be null. */
    void setOtherParty(const QString &name, const QString &number);

protected:
    VXParties() = default;
    /** Without a direction, a record is incoming unless it has a recipient. */
    explicit VXParties(const VXRecordReader &reader);
    void insertInto(QVariantMap &map) const;
};
