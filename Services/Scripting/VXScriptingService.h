#pragma once

#include "VXServicesExport.h"

#include <QtCore/QString>

#include <memory>

/**
 * The application as other programs script it, on the session bus under its own name: phonebook, devices, events, history
 * (docs/ARCHITECTURE.md). Only programs of the user's own may call; they can do what the command line can. Main thread only.
 */
class VX_SERVICES_EXPORT VXScriptingService
{
public:
    /** Null, with the reason for people, when there is no bus, or another process serves there already. */
    static std::unique_ptr<VXScriptingService> start(QString *problem);
    ~VXScriptingService();
    VXScriptingService(const VXScriptingService &) = delete;
    VXScriptingService &operator=(const VXScriptingService &) = delete;

    /** The application's name on the bus, and the path of its object. */
    static QString busName();
    static QString objectPath();

private:
    class Server;
    explicit VXScriptingService(std::unique_ptr<Server> server);

    std::unique_ptr<Server> _server;
};
