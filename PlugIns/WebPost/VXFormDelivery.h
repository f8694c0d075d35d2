#pragma once

#include "VXOutboxRunner.h"
#include "VXWebConnection.h"

/**
 * Posts a form that waited in the outbox, and tells what came of it. Every answer that says "success" counts as sent. Where
 * no answer came, it depends on whether the server may have the whole form.
 */
class VXFormDelivery : public QObject
{
    Q_OBJECT

public:
    /** The kind of such entries: "post". */
    static const QString kind;
    /** What an entry holds of a form. */
    static QVariantMap payload(const QUrl &url, const QList<VXFormField> &fields, double timeout);

    /** Starts it; it holds itself until it has called the completion. */
    static void deliver(const VXOutboxEntry &entry, const VXOutboxRunner::Completion &completion);

    Q_INVOKABLE void requestDidComplete(VXWebRequest *request);

private:
    VXOutboxDelivery outcome() const;

    VXWebConnection::Ptr _connection;
    VXOutboxRunner::Completion _completion;
};
