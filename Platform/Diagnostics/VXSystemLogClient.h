#pragma once

#include "VXPlatformExport.h"

#include <QtCore/QString>

/**
 * A connection to the system log service, syslog(3). Messages whose priority is not in the filter mask do not reach
 * it. One thread at a time. Subclasses may stand in for the service.
 */
class VX_PLATFORM_EXPORT VXSystemLogClient
{
public:
    VXSystemLogClient();
    virtual ~VXSystemLogClient();
    VXSystemLogClient(const VXSystemLogClient &) = delete;
    VXSystemLogClient &operator=(const VXSystemLogClient &) = delete;

    /** Bit N lets priority N pass; all pass at first. */
    void setFilterMask(unsigned mask) { _filterMask = mask; }
    unsigned filterMask() const { return _filterMask; }

    /** Sends the text as it is. Priorities are those of RFC 5424, 0 to 7. */
    void log(unsigned priority, const QString &text);

protected:
    virtual void send(int priority, const QByteArray &utf8);

private:
    unsigned _filterMask = 0xff;
};
