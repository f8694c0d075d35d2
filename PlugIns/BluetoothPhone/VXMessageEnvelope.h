#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

/** A message in its envelope, as phones hand it over by Bluetooth ("bMessage", version 1.0). A value; reentrant. */
struct VXMessageEnvelope
{
    /** What can be read of it; never fails: what is cut off is not complete, what is no text has `data`. */
    static VXMessageEnvelope fromData(const QByteArray &bytes);
    /** To be sent to a number. */
    static QByteArray toBeSent(const QString &number, const QString &text);

    bool isRead = false;
    QString type = {};   // "SMS_GSM", "SMS_CDMA", "MMS", "EMAIL", ...
    QString folder = {}; // as "telecom/msg/inbox"
    QString sender = {}; // number, or address; null: unknown
    QString senderName = {};
    QString recipient = {}; // the first
    QString recipientName = {};
    QString text = {};       // lines end with a line feed
    QByteArray data = {};    // in place of a text that is in no known coding
    bool isComplete = false; // its end is there
};
