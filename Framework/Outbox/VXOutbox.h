#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"
#include "VXNotificationCenter.h"
#include "VXOutboxEntry.h"
#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QStringList>

#include <optional>

/** Posted after entries were added or have changed in this process, on the thread that did it; object: their kind. In the
 *  user info VXOutboxNumbersKey has a list of their numbers, and VXOutboxChangeKey a VXOutboxChange, as its number. */
VX_EXPORT extern const VXNotificationName VXOutboxDidChangeNotification;
VX_EXPORT extern const QString VXOutboxNumbersKey; // "numbers"
VX_EXPORT extern const QString VXOutboxChangeKey;  // "change"

enum class VXOutboxChange : int {
    Due = 0,     // added, or to be tried now
    Updated = 1, // by a runner
    Dropped = 2,
};

/**
 * What the user asked to be sent and is not sent yet, and what came of it, in the store "outbox" of the plugin that ships.
 * An entry is on the disk when `add` returns. Who sends entries of a kind runs a VXOutboxRunner. Any thread; on another one
 * than the main thread the first call waits for that.
 */
class VX_EXPORT VXOutbox
{
public:
    /** Why something could not be done to entries, by their numbers. */
    using Refusals = QMap<qint64, VXError>;

    /** None, logged, when the store is not there. */
    static std::optional<VXOutbox> sharedOutbox();
    explicit VXOutbox(const VXPersistentStoreCoordinator::Ptr &coordinator) : _coordinator(coordinator) {}

    /** Adds an entry to be sent at once. @return its number; none on failure. */
    std::optional<qint64> add(const QString &kind, const QString &destination, const QString &title,
                              const QVariantMap &payload, VXError *error = nullptr) const;

    /** All of them, or those of a kind, in the order they were added; none when they cannot be read. */
    std::optional<QList<VXOutboxEntry>> entries(const QString &kind = {}, VXError *error = nullptr) const;
    /** Those of a kind that are queued or being sent, in the order they were added, without their payloads. What is done,
     *  and what is of another kind, is not read. None when they cannot be read. */
    std::optional<QList<VXOutboxEntry>> openEntries(const QString &kind, VXError *error = nullptr) const;
    /** The kinds of those that are being sent, or were by a program that has ended. None when they cannot be read. */
    std::optional<QStringList> kindsBeingSent(VXError *error = nullptr) const;
    /** None, and no error, when it is not there; none and an error when it cannot be read. */
    std::optional<VXOutboxEntry> entry(qint64 number, VXError *error = nullptr) const;

    /** Has an entry tried again now, behind those that wait before it for the same destination, which are tried too. False for
     *  one that is sent or being sent, and one that is not there. */
    bool retry(qint64 number, VXError *error = nullptr) const;
    /** The same for many at once. @return those that it could not be done to, with the reasons; none, and nothing is
     *  changed, when the store cannot be written. */
    std::optional<Refusals> retryAll(const QList<qint64> &numbers, VXError *error = nullptr) const;
    /** Has what waits for a destination tried now. */
    bool retryDestination(const QString &kind, const QString &destination, VXError *error = nullptr) const;
    /** Forgets an entry. False for one that is being sent, and one that is not there. */
    bool drop(qint64 number, VXError *error = nullptr) const;
    /** The same for many at once; answers as `retryAll`. */
    std::optional<Refusals> dropAll(const QList<qint64> &numbers, VXError *error = nullptr) const;

    /** For runners, which hold the lock of the kind: writes state, problem, attempts and dates. */
    bool update(const VXOutboxEntry &entry, VXError *error = nullptr) const;
    /** Forgets what was sent before that time. */
    bool forgetSentBefore(const QDateTime &time, VXError *error = nullptr) const;
    /** What of the disk changes with the outbox. */
    QStringList files() const;

private:
    class Batch;
    std::optional<Refusals> change(const QList<qint64> &numbers, VXOutboxChange change, VXError *error) const;

    VXPersistentStoreCoordinator::Ptr _coordinator;
};
