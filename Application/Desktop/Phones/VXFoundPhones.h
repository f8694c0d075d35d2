#pragma once

#include "VXDeviceFinding.h"

#include <QtCore/QStringList>
#include <QtWidgets/QWidget>

#include <memory>
#include <optional>

class QListWidget;
class VXDeviceSearch;
class VXTextLabel;

/**
 * The phones that the plugins find: on cables, paired by Bluetooth, through the desktop's services. Disabled plugins
 * are enabled for the search, and disabled again at the end if none of their phones is known.
 */
class VXFoundPhones : public QWidget
{
    Q_OBJECT

public:
    /** `plugin`: the only one whose phones are shown; null for all plugins, but then without the known phones. */
    VXFoundPhones(const QString &plugin, QWidget *parent);
    ~VXFoundPhones() override;

    std::optional<VXFoundDevice> chosen() const;
    /** Selects the phone with that port, now or when it is found. */
    void choosePort(const QString &port);

Q_SIGNALS:
    void choiceDidChange();

private:
    void look();
    void show();
    void tell();
    void turnOnPlugins();

    const QString _plugin;
    QStringList _turnedOn;
    std::unique_ptr<VXDeviceSearch> _search;
    QList<VXFoundDevice> _found; // in the order of the list
    QString _port;
    QListWidget *_list;
    VXTextLabel *_about;
};
