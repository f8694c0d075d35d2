#pragma once

#include "VXError.h"
#include "VXEventRecord.h"
#include "VXFrameworkExport.h"

#include <QtCore/QList>
#include <QtCore/QString>

#include <optional>

/**
 * The last events posted, kept across restarts, by all processes of the user: at least 500 kB each of events in which all went
 * well and of those in which something failed, so that failures outlast what happens often. Each event costs one
 * append to a file. Any thread, and any number of processes at once.
 */
class VX_EXPORT VXEventHistory
{
public:
    /** The user's own. Made on first use and never freed. */
    static VXEventHistory &sharedEventHistory();
    /** Whether the user default "events.history" is on: the framework turns it off, and the application on. */
    static bool isOn();

    /** A history in a folder, which is made when something is first kept. */
    explicit VXEventHistory(const QString &folder);

    /** Gives a record without an identifier one, and keeps it; one with it takes the place of what was kept before. What is too long is cut down: first the object goes, then triggers. */
    bool append(VXEventRecord &record, VXError *error = nullptr);

    /** The last ones, oldest first: of each file no more than its last megabyte is read. Lines that are damaged are left out. */
    QList<VXEventRecord> records() const;
    /** By its identifier, or the end of it, when no other has that. */
    std::optional<VXEventRecord> recordWithIdentifier(const QString &identifier) const;

private:
    void startAnew(const QString &path) const;

    const QString _folder;
};
