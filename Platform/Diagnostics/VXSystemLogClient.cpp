#include "VXSystemLogClient.h"

#include <syslog.h>

VXSystemLogClient::VXSystemLogClient() = default;

VXSystemLogClient::~VXSystemLogClient() = default;

void VXSystemLogClient::log(unsigned priority, const QString &text)
{
    if (priority <= LOG_DEBUG && (_filterMask & LOG_MASK(priority)) != 0)
        send(static_cast<int>(priority), text.toUtf8());
}

void VXSystemLogClient::send(int priority, const QByteArray &utf8)
{
    ::syslog(LOG_USER | priority, "%s", utf8.constData());
}
