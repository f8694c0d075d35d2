#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

class VXPluginManager;

/** The state of a service, a phone or a plugin. Values that do not apply are null. */
struct VXStatusItem
{
    QString identifier = {}; // a service's name, a device's URL, a plugin's identifier
    QString name = {};       // for people
    QString state = {};
    QString reason = {};    // what is wrong, or why it is in this state
    QString remedy = {};    // what to do about it
    QString version = {};   // for plugins
    QStringList users = {}; // for services: the enabled plugins that need it
    bool isNeeded = true;   // for services: something that is enabled needs it
    bool isAtFault = false; // something that the user wants does not work
};

/** The state of everything that the program depends on, found out once. */
class VXStatusReport
{
public:
    /** Waits some seconds for phones that are connecting. Runs the event loop. Main thread only. */
    explicit VXStatusReport(const VXPluginManager &manager);

    const QList<VXStatusItem> &services() const { return _services; }
    const QList<VXStatusItem> &phones() const { return _phones; }
    const QList<VXStatusItem> &plugins() const { return _plugins; }

    QJsonObject json() const;
    /** For people, on lines of about that many characters. */
    QString text(qsizetype width) const;

private:
    const QList<VXStatusItem> _services;
    const QList<VXStatusItem> _phones;
    const QList<VXStatusItem> _plugins;
};
