#pragma once

#include "VXServicesExport.h"

#include <QtCore/QList>
#include <QtCore/QString>

/** A service that other programs offer over D-Bus. */
struct VXServiceName
{
    QString name;               // on the bus: "org.bluez"
    bool isOnSystemBus = false; // else on that of the session
};

/** How such a service stands now. */
struct VXServiceStanding
{
    enum class State {
        Running,
        Startable, // the bus starts it when it is asked for
        Missing,   // nobody offers it, and the bus knows no program that would
        NoBus,     // `problem` says why the bus cannot be asked
    };

    State state = State::Missing;
    QString problem = {};
};

/** How the services stand, in their order. Starts none of them; waits for each bus three seconds at most. Any thread. */
[[nodiscard]] VX_SERVICES_EXPORT QList<VXServiceStanding> VXStandingOfServices(const QList<VXServiceName> &services);
