#pragma once

#include "VXFrameworkExport.h"
#include "VXRecordDirection.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

class VXRecordReader;

/** What calls and messages have in common: who had them with whom, on which phone. A value type. */
struct VX_EXPORT VXParties
{
    VXRecordDirection direction = VXRecordDirection::Outgoing;
    QString from = {};      // phonebook strings, as "Jane <+1 555 0100/m>", lists of them too; null for unknown ones
    QString to = {};        //
    QString deviceURL = {}; // of the phone

    bool isIncoming() const { return direction == VXRecordDirection::Incoming; }
    /** Phonebook strings; null when unknown. */
    const QString &otherParty() const { return isIncoming() ? from : to; }
    void setOtherParty(const QString &phonebookStrings) { (isIncoming() ? from : to) = phonebookStrings; }
    /** The same of one address; name and number may be null. */
    void setOtherParty(const QString &name, const QString &number);

protected:
    VXParties() = default;
    /** Without a direction, one came in that is not known to be to somebody. */
    explicit VXParties(const VXRecordReader &reader);
    void insertInto(QVariantMap &map) const;
};
