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

/**
 * Information about one known device, for people and as JSON. Constructing the report makes the device, if possible.
 */
class VXDeviceReport
{
public:
    VXDeviceReport(const VXPluginManager &manager, const QUrl &url);

    /** "connected", "connecting", "not connected", or "live" if the device cannot tell; otherwise why there is no
     *  device. */
    QString state() const { return _state; }

    QJsonObject json() const;
    /** A row for a table with the titles of `columnTitles`. */
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

/** Runs the event loop until a device that is connecting has connected or failed, but no longer than the limit. */
void VXAwaitConnection(VXDevicePlugin &device, std::chrono::milliseconds limit);

/** The device's preferences by key; the persistent ones, or the others. */
[[nodiscard]] QVariantMap VXDevicePreferences(const QUrl &url, bool persistent);
