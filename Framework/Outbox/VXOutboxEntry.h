#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QVariant>

/** The state of something that is to be sent. The numbers are stored. */
enum class VXOutboxState : int {
    Queued = 0,      // waits for its turn, or for the next try
    Sending = 1,     // by a running program, or by one that has ended meanwhile
    Sent = 2,        // and was accepted
    Failed = 3,      // refused for good; tried again only on request
    PerhapsSent = 4, // it is unknown whether it arrived; tried again only on request
};

/** "queued", "sending", "sent", "failed", "perhaps sent". */
VX_EXPORT QString VXOutboxStateName(VXOutboxState state);

/** An entry of the outbox. A copy: it does not change with the outbox. */
struct VXOutboxEntry
{
    qint64 number = 0;        // unique within the outbox, never reused
    QString kind = {};        // determines who sends it: "post" for forms that are posted
    QString destination = {}; // entries for one destination are sent in the order in which they were added
    QString title = {};       // to be shown
    QVariantMap payload = {}; // what the sender of the kind needs: a property list
    VXOutboxState state = VXOutboxState::Queued;
    QString problem = {}; // why it is not sent; null for no reason
    int attempts = 0;     // so far
    QDateTime createdDate = {};
    QDateTime nextDate = {};     // of a queued entry: it is not tried before
    QDateTime finishedDate = {}; // when it reached one of the last three states; invalid before
};
