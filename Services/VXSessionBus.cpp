#include "VXSessionBus.h"

#include "VXBusAnswers.h"

using namespace Qt::StringLiterals;

QString VXProblemOfSessionBus()
{
    return VXBusAnswers(qgetenv("DBUS_SESSION_BUS_ADDRESS")) ? QString() : u"the D-Bus session bus does not answer"_s;
}
