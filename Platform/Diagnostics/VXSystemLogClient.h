#pragma once

#include "VXPlatformExport.h"

#include <QtCore/QString>

/**
 * A connection to the system log service, syslog(3). Only messages whose priority is in the filter mask are sent. One
 * thread at a time. Subclasses may replace the service.
 */
class VX_PLATFORM_EXPORT VXSystemLogClient
{
public:
    VXSystemLogClient();
    virtual ~VXSystemLogClient();
    VXSystemLogClient(const VXSystemLogClient &) = delete;
    VXSystemLogClient &operator=(const VXSystemLogClient &) = delete;

    /** Bit N lets priority N pass; initially all pass. */
    void setFilterMask(unsigned mask) { _filterMask = mask; }

    /** Sends the text unchanged. Priorities are those of RFC 5424, 0 to 7. */
    void log(unsigned priority, const QString &text);

protected:
    virtual void send(int priority, const QByteArray &utf8);

private:
    unsigned _filterMask = 0xff;
};
