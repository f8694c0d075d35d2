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
 * The phones that the plugins find: on cables, paired by Bluetooth, with the desktop's services. Plugins that are off are turned
 * on to look, and off again at the end where no phone of theirs is known.
 */
class VXFoundPhones : public QWidget
{
    Q_OBJECT

public:
    /** `plugin`: the only one whose phones are shown; null for all, without those that are known already. */
    VXFoundPhones(const QString &plugin, QWidget *parent);
    ~VXFoundPhones() override;

    std::optional<VXFoundDevice> chosen() const;
    /** Chooses, now or when it is found, the one that is reached so. */
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
    QList<VXFoundDevice> _found; // as the list shows them
    QString _port;
    QListWidget *_list;
    VXTextLabel *_about;
};
