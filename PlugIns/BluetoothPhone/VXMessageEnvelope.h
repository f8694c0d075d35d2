#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

/** A message in its envelope, as phones deliver it by Bluetooth ("bMessage", version 1.0). A value; reentrant. */
struct VXMessageEnvelope
{
    /** Reads as much as possible and never fails: a message that is cut off is not complete, and one that is not text
     *  has `data`. */
    static VXMessageEnvelope fromData(const QByteArray &bytes);
    /** The envelope of a message that is to be sent to a number. */
    static QByteArray toBeSent(const QString &number, const QString &text);

    bool isRead = false;
    QString type = {};   // "SMS_GSM", "SMS_CDMA", "MMS", "EMAIL", ...
    QString folder = {}; // as "telecom/msg/inbox"
    QString sender = {}; // number, or address; null: unknown
    QString senderName = {};
    QString recipient = {}; // the first
    QString recipientName = {};
    QString text = {};       // lines end with a line feed
    QByteArray data = {};    // instead of the text, if that is in no known encoding
    bool isComplete = false; // its end is there
};
