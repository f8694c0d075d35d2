#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QUrl>

#include <chrono>

class VXDevicePlugin;
class VXError;
class VXPluginManager;

/** What there is to tell of one known device, for people and as JSON; making it makes the device, if it can be made. */
class VXDeviceReport
{
public:
    VXDeviceReport(const VXPluginManager &manager, const QUrl &url);

    /** "connected", "connecting", "not connected", "live" where the device cannot tell; else why there is none. */
    QString state() const { return _state; }

    QJsonObject json() const;
    /** A line for a table with the titles of `columnTitles`. */
    QStringList columns() const;
    static QStringList columnTitles();

    /** Everything, with properties and preferences. */
    QJsonObject completeJSON() const;
    QList<QStringList> rows() const;

private:
    QUrl _url;
    QString _name;
    QString _state;
    bool _isDefault;
};

/** Runs the event loop until a device that is being connected is, or has failed to be; no longer than the limit. */
void VXAwaitConnection(VXDevicePlugin &device, std::chrono::milliseconds limit);

/** The device's preferences by their keys; the persistent ones, or the others. */
[[nodiscard]] QVariantMap VXDevicePreferences(const QUrl &url, bool persistent);
