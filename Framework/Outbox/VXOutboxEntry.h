#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QVariant>

/** How far something that is to be sent has come. The numbers are stored. */
enum class VXOutboxState : int {
    Queued = 0,      // waits for its turn, or for the next try
    Sending = 1,     // by a running program, unless that has ended meanwhile
    Sent = 2,        // and accepted
    Failed = 3,      // refused for good; tried again only when somebody says so
    PerhapsSent = 4, // nobody knows whether it arrived; tried again only when somebody says so
};

/** "queued", "sending", "sent", "failed", "perhaps sent". */
VX_EXPORT QString VXOutboxStateName(VXOutboxState state);

/** Something that is to be sent, as the outbox keeps it. A copy: it does not change with the outbox. */
struct VXOutboxEntry
{
    qint64 number = 0;        // within the outbox; never given again
    QString kind = {};        // who sends it: "post" for forms that are posted
    QString destination = {}; // entries for one destination are sent in the order they were added
    QString title = {};       // for people
    QVariantMap payload = {}; // what the kind needs: a property list
    VXOutboxState state = VXOutboxState::Queued;
    QString problem = {}; // why it is not sent; null for no reason
    int attempts = 0;     // so far
    QDateTime createdDate = {};
    QDateTime nextDate = {};     // of a queued entry: not tried before
    QDateTime finishedDate = {}; // when it was sent, failed or perhaps sent; invalid before
};
