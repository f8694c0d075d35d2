#pragma once

#include "VXGammuJob.h"
#include "VXGammuSession.h"

#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <functional>

/**
 * What a request has read so far: items are sent at once, what could not be read at the end. It also reports the
 * progress. However the reading ends, the caller gets what there is, and learns whether it is complete.
 */
class VXGammuReading
{
public:
    /** Must not outlive the job. */
    explicit VXGammuReading(VXGammuJob &job) : _job(job) {}

    void expectMore(int count);
    void addItem(const QVariantMap &item);
    /** Notes that something could not be read: `what` names it, the error tells why. */
    void addProblem(const QString &what, GSM_Error code);

    bool isCancelled() const { return _job.isCancelled(); }

    /** Calls `take` with each entry of a memory, in order. An entry that cannot be read is a problem; ERR_CANCELED, and
     *  an error that ends the connection, end the reading. A memory that the phone does not have counts as empty. */
    GSM_Error readMemory(VXGammuSession &session, GSM_MemoryType memory,
                         const std::function<void(const GSM_MemoryEntry &)> &take);

    /** Ends the reading. @return what went wrong: `description` contains the placeholder "%1". */
    VXGammuFailure finish(const QString &description, GSM_Error code);

    /** The result's map: whether everything was read, and the problems. */
    static QVariantMap result(bool isComplete, const QStringList &problems);

private:
    GSM_Error nextEntry(VXGammuSession &session, GSM_MemoryEntry &entry, bool isFirst);
    GSM_Error nextByLocation(VXGammuSession &session, GSM_MemoryEntry &entry);

    VXGammuJob &_job;
    QStringList _problems;
    int _lastLocation = 0; // in the memory, if the phone has to be asked location by location
    int _missing = 0;      // entries of the memory that the phone counts but that were not found yet
};
