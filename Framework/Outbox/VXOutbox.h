#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"
#include "VXNotificationCenter.h"
#include "VXOutboxEntry.h"
#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QList>

#include <optional>

/** Posted after an entry was added or has changed in this process, on the thread that did it; object: its number. */
VX_EXPORT extern const VXNotificationName VXOutboxDidChangeNotification;

/**
 * What the user asked to be sent and is not sent yet, and what came of it, in the store "outbox" of the plugin that ships.
 * An entry is on the disk when `add` returns. Who sends entries of a kind runs a VXOutboxRunner. Any thread; on another one
 * than the main thread the first call waits for that.
 */
class VX_EXPORT VXOutbox
{
public:
    /** None, logged, when the store is not there. */
    static std::optional<VXOutbox> sharedOutbox();
    explicit VXOutbox(const VXPersistentStoreCoordinator::Ptr &coordinator) : _coordinator(coordinator) {}

    /** Adds an entry to be sent at once. @return its number; none on failure. */
    std::optional<qint64> add(const QString &kind, const QString &destination, const QString &title,
                              const QVariantMap &payload, VXError *error = nullptr) const;

    /** All of them, or those of a kind, in the order they were added; none when they cannot be read. */
    std::optional<QList<VXOutboxEntry>> entries(const QString &kind = {}, VXError *error = nullptr) const;
    /** Those of a kind that are queued or being sent, in the order they were added, without their payloads. What is done
     *  is not read. None when they cannot be read. */
    std::optional<QList<VXOutboxEntry>> openEntries(const QString &kind, VXError *error = nullptr) const;
    /** None, and no error, when it is not there; none and an error when it cannot be read. */
    std::optional<VXOutboxEntry> entry(qint64 number, VXError *error = nullptr) const;

    /** Has an entry tried again now, behind those that wait before it for the same destination, which are tried too. False for
     *  one that is sent or being sent, and one that is not there. */
    bool retry(qint64 number, VXError *error = nullptr) const;
    /** Has what waits for a destination tried now. */
    bool retryDestination(const QString &kind, const QString &destination, VXError *error = nullptr) const;
    /** Forgets an entry. False for one that is being sent, and one that is not there. */
    bool drop(qint64 number, VXError *error = nullptr) const;

    /** For runners, which hold the lock of the kind: writes state, problem, attempts and dates. */
    bool update(const VXOutboxEntry &entry, VXError *error = nullptr) const;
    /** Forgets what was sent before that time. */
    bool forgetSentBefore(const QDateTime &time, VXError *error = nullptr) const;

private:
    VXPersistentStoreCoordinator::Ptr _coordinator;
};
