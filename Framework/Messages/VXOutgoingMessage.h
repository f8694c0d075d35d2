#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"
#include "VXMessageStore.h"
#include "VXOutbox.h"

#include <QtCore/QUrl>

/**
 * A message that is to be sent: an entry of the outbox (kind "message", whose destination is the phone) and, until it
 * is sent, a message among the drafts.
 */
struct VX_EXPORT VXOutgoingMessage
{
    static const QString kind; // of its entries in the outbox: "message"
    /** The outbox's destination for messages sent by that phone. */
    static QString destination(const QUrl &device);

    QString to = {}; // a phonebook string
    QString text = {};
    QUrl device = {};     // the phone that sends it
    QUrl messageURI = {}; // of the draft

    VXOutgoingMessage() = default;
    explicit VXOutgoingMessage(const VXOutboxEntry &entry);

    /** Only the number; null when there is none. */
    QString number() const;
    /** The recipient and the beginning of the text. */
    QString title() const;
    VXMessageRecord record() const;

    /** Whether it is a draft made for a message that is not written into it yet. */
    static bool isEmptyDraft(const VXManagedObjectPtr &message);
    void writeTo(const VXManagedObjectPtr &draft) const;

    /** The phone to use: that of the user default "messages.device", or else the one added last; empty for none. */
    [[nodiscard]] static QUrl preferredDevice();
    /** Adds the message to the drafts and to the outbox; then both are on disk. @return the entry's number; none, with
     *  an error, when the recipient has no phone number or the message cannot be stored. Any thread. */
    [[nodiscard]] static std::optional<qint64> send(const QString &to, const QString &text, const QUrl &device,
                                                    const VXMessageStore &store, const VXOutbox &outbox,
                                                    VXError *error = nullptr);
};
