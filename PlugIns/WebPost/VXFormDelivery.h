#pragma once

#include "VXOutboxRunner.h"
#include "VXWebConnection.h"

#include <QtCore/QTimer>

#include <memory>

/**
 * Posts a form that waited in the outbox, and reports the outcome. Every answer that means "success" counts as sent. If
 * there was no answer, it depends on whether the server may have received the whole form.
 */
class VXFormDelivery : public QObject, public std::enable_shared_from_this<VXFormDelivery>
{
    Q_OBJECT

public:
    /** The kind of these entries: "post". */
    static const QString kind;
    /** What an entry contains of a form. */
    static QVariantMap payload(const QUrl &url, const QList<VXFormField> &fields, double timeout);

    /** Starts it; it keeps itself alive until it has called the completion. */
    static VXOutboxRunner::Cancel deliver(const VXOutboxEntry &entry, const VXOutboxRunner::Completion &completion);

    Q_INVOKABLE void requestDidComplete(VXWebRequest *request);

private:
    void start(const QUrl &url, const QList<VXFormField> &fields, double timeout);
    void look();
    void giveUp(const QString &reason);
    VXOutboxDelivery outcome() const;
    static VXOutboxDelivery outcomeOfRedirect(const VXFormRedirect &redirect, int status);

    VXWebConnection::Ptr _connection;
    VXOutboxRunner::Completion _completion;
    QTimer _watch; // checks once per time-out
    bool _isAnswered = false;
    int _looksSinceSent = 0;
    QString _reason; // why it was given up; null if it was not
};
