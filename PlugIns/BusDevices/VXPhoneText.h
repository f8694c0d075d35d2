#pragma once

#include "VXDialableNumber.h"
#include "VXError.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

/** Notes in a record which way it went and with whom. An empty number is left out. */
void VXInsertParty(QVariantMap &record, bool isIncoming, const QString &number);

/** What the object of "dial" names: a number, or a dictionary with a `number`. Null, with an error, when nothing can dial it. */
QString VXNumberToDial(const QVariant &object, VXError *error);

/** What "send_message" is to send. */
struct VXTextToSend
{
    /** Of the action's object: `number`, or `to` as records have it, and `text`. */
    static VXTextToSend ofObject(const QVariant &object);

    QString number; // null: see error
    QString text;
    VXError error; // what is wrong with it; none when it can be sent

    /** True for a text that surely takes one message of the network. */
    bool isShort() const { return text.size() <= 70; }
};
