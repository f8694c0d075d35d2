#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"
#include "VXMessageStore.h"
#include "VXOutbox.h"

#include <QtCore/QUrl>

/**
 * A message that is to be sent: an entry of the outbox (kind "message", its destination the phone) and, until it is sent, a
 * message among the drafts.
 */
struct VX_EXPORT VXOutgoingMessage
{
    static const QString kind; // of its entries in the outbox: "message"
    /** Where the outbox sends what goes by that phone. */
    static QString destination(const QUrl &device);

    QString to = {}; // a phonebook string
    QString text = {};
    QUrl device = {};     // by which it is sent
    QUrl messageURI = {}; // of the draft

    VXOutgoingMessage() = default;
    explicit VXOutgoingMessage(const VXOutboxEntry &entry);

    /** The number alone; null when it has none. */
    QString number() const;
    /** To whom, and how it begins. */
    QString title() const;
    VXMessageRecord record() const;

    /** A draft that was made for a message, which is not written into it yet. */
    static bool isEmptyDraft(const VXManagedObjectPtr &message);
    void writeTo(const VXManagedObjectPtr &draft) const;

    /** The phone to send by: that of the user default "messages.device", else the one added last; empty for none. */
    [[nodiscard]] static QUrl preferredDevice();
    /** Files it among the drafts and puts it into the outbox; both are on the disk then. @return the entry's number; none, with
     *  an error, when it has no number or cannot be kept. Any thread. */
    [[nodiscard]] static std::optional<qint64> send(const QString &to, const QString &text, const QUrl &device,
                                                    const VXMessageStore &store, const VXOutbox &outbox,
                                                    VXError *error = nullptr);
};
