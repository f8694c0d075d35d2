#pragma once

#include "VXServicesExport.h"

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QTimer>

#include <memory>

/**
 * The application as other programs script it, on the session bus under its own name: phonebook, devices, events, history
 * (docs/ARCHITECTURE.md). Only programs of the user's own may call; they can do what the command line can. While another process
 * has the name it waits for that to end, and when the bus ended it looks for it again, every few seconds. Main thread only.
 */
class VX_SERVICES_EXPORT VXScriptingService : public QObject
{
    Q_OBJECT

public:
    VXScriptingService();
    ~VXScriptingService() override;

    /** Why scripts cannot reach this program, for people; null when they can. */
    QString problem() const { return _problem; }

    /** The application's name on the bus, and the path of its object. */
    static QString busName();
    static QString objectPath();

private Q_SLOTS:
    void connectToBus();
    void busWasLost();

private:
    class Server;

    void nameWasAcquired(const QString &name);
    void tellThatItServes() const;

    std::unique_ptr<Server> _server; // null before there was a bus
    QString _problem;
    QTimer _retry;
};
