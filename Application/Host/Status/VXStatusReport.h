#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

class VXPluginManager;

/** How one thing stands: a service, a phone or a plugin. What is none is null. */
struct VXStatusItem
{
    QString identifier = {}; // a service's name, a device's URL, a plugin's identifier
    QString name = {};       // for people
    QString state = {};
    QString reason = {};    // what is wrong, or why it is so
    QString remedy = {};    // what to do about it
    QString version = {};   // of plugins
    QStringList users = {}; // of services: the enabled plugins that need it
    bool isNeeded = true;   // of services: by something that is enabled
    bool isAtFault = false; // something that the user wants does not work
};

/** How everything stands that the program depends on, found out once. */
class VXStatusReport
{
public:
    /** Phones that are being connected are waited for, some seconds. Runs the event loop. Main thread only. */
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
