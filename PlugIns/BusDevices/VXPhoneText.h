#pragma once

#include "VXDialableNumber.h"
#include "VXError.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

/** Adds the direction and the other party to a record. An empty number is omitted. */
void VXInsertParty(QVariantMap &record, bool isIncoming, const QString &number);

/** What the object of "dial" names: a number, or a dictionary with a `number`. Null, with an error, when nothing can dial it. */
QString VXNumberToDial(const QVariant &object, VXError *error);

/** What "send_message" is asked to send. */
struct VXTextToSend
{
    /** Reads the action's object: `number`, or `to` as in records, and `text`. */
    static VXTextToSend ofObject(const QVariant &object);

    QString number; // null: see error
    QString text;
    VXError error; // what is wrong; none if it can be sent

    /** True for a text that certainly fits into one message of the network. */
    bool isShort() const { return text.size() <= 70; }
};
