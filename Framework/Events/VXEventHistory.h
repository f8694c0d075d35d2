#pragma once

#include "VXError.h"
#include "VXEventRecord.h"
#include "VXFrameworkExport.h"

#include <QtCore/QList>
#include <QtCore/QString>

#include <optional>

/**
 * The latest events that were posted by any process of the user, kept across restarts: at least 500 kB each of events
 * in which everything succeeded and of those in which something failed, so that frequent events do not displace
 * failures. Each event costs one append to a file. Any thread, and any number of processes at once.
 */
class VX_EXPORT VXEventHistory
{
public:
    /** The user's own history. Made on first use and never freed. */
    static VXEventHistory &sharedEventHistory();
    /** The user default "events.history"; off in the framework's defaults, on in the application's. */
    static bool isOn();

    /** A history in a folder, which is created when something is first recorded. */
    explicit VXEventHistory(const QString &folder);

    /** Records an event. A record without an identifier gets one; a record with one replaces the earlier record of that
     *  identifier. A record that is too long is cut down: first its object, then triggers. */
    bool append(VXEventRecord &record, VXError *error = nullptr);

    /** The latest records, oldest first. Of each file at most the last megabyte is read; damaged lines are skipped. */
    QList<VXEventRecord> records() const;
    /** Finds a record by its identifier, or by the end of one if that is unique. */
    std::optional<VXEventRecord> recordWithIdentifier(const QString &identifier) const;

private:
    void startAnew(const QString &path) const;

    const QString _folder;
};
