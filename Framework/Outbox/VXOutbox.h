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

/**
 * Posted after entries were added or changed in this process, on the thread that did it; object: their kind. User info:
 * VXOutboxNumbersKey with a list of the entries' numbers, VXOutboxChangeKey with a VXOutboxChange as its number.
 */
VX_EXPORT extern const VXNotificationName VXOutboxDidChangeNotification;
VX_EXPORT extern const QString VXOutboxNumbersKey; // "numbers"
VX_EXPORT extern const QString VXOutboxChangeKey;  // "change"

enum class VXOutboxChange : int {
    Due = 0,     // added, or to be tried now
    Updated = 1, // by a runner
    Dropped = 2,
};

/**
 * What the user wants sent and is not sent yet, and the results of what was, in the store "outbox" of the plugin that
 * ships with the program. An entry is on disk when `add` returns. A program that sends entries of a kind runs a
 * VXOutboxRunner. Any thread; on other threads the first call waits for the main thread.
 */
class VX_EXPORT VXOutbox
{
public:
    /** Why something could not be done to entries, by their numbers. */
    using Refusals = QMap<qint64, VXError>;

    /** None, logged, when the store is not available. */
    static std::optional<VXOutbox> sharedOutbox();
    explicit VXOutbox(const VXPersistentStoreCoordinator::Ptr &coordinator) : _coordinator(coordinator) {}

    /** Adds an entry that is due at once. @return its number; none on failure. */
    std::optional<qint64> add(const QString &kind, const QString &destination, const QString &title,
                              const QVariantMap &payload, VXError *error = nullptr) const;

    /** All entries, or those of a kind, in the order in which they were added; none when they cannot be read. */
    std::optional<QList<VXOutboxEntry>> entries(const QString &kind = {}, VXError *error = nullptr) const;
    /** The entries of a kind that are queued or being sent, in the order in which they were added, without their
     *  payloads. Entries that are done, or of other kinds, are not even read. None when the store cannot be read. */
    std::optional<QList<VXOutboxEntry>> openEntries(const QString &kind, VXError *error = nullptr) const;
    /** The kinds of entries that are being sent, or were being sent by a program that has ended. None when they cannot
     *  be read. */
    std::optional<QStringList> kindsBeingSent(VXError *error = nullptr) const;
    /** None, without an error, when there is no such entry; none with an error when it cannot be read. */
    std::optional<VXOutboxEntry> entry(qint64 number, VXError *error = nullptr) const;

    /** Makes an entry due now, along with all that wait before it for the same destination, which are tried first.
     *  False for an entry that is sent or being sent, or does not exist. */
    bool retry(qint64 number, VXError *error = nullptr) const;
    /** The same for many at once. @return the entries for which it failed, with the reasons; none, with nothing
     *  changed, when the store cannot be written. */
    std::optional<Refusals> retryAll(const QList<qint64> &numbers, VXError *error = nullptr) const;
    /** Makes everything that waits for a destination due now. */
    bool retryDestination(const QString &kind, const QString &destination, VXError *error = nullptr) const;
    /** Deletes an entry. False for one that is being sent, or does not exist. */
    bool drop(qint64 number, VXError *error = nullptr) const;
    /** The same for many at once; returns the same as `retryAll`. */
    std::optional<Refusals> dropAll(const QList<qint64> &numbers, VXError *error = nullptr) const;

    /** For runners, which hold the lock of the kind: writes state, problem, attempts and dates. */
    bool update(const VXOutboxEntry &entry, VXError *error = nullptr) const;
    /** Deletes the entries that were sent before that time. */
    bool forgetSentBefore(const QDateTime &time, VXError *error = nullptr) const;
    /** The paths of the files that change with the outbox. */
    QStringList files() const;

private:
    class Batch;
    std::optional<Refusals> change(const QList<qint64> &numbers, VXOutboxChange change, VXError *error) const;

    VXPersistentStoreCoordinator::Ptr _coordinator;
};
