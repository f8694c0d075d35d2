#pragma once

#include "VXDevicePlugin.h"

#include <QtCore/QUrl>
#include <QtWidgets/QFrame>

class QLabel;
class QProgressBar;
class QPushButton;
class VXPhoneSync;
class VXTextLabel;

/** One known phone: its name and state, what it says about itself, and the sync with its progress. */
class VXPhoneCard : public QFrame
{
    Q_OBJECT

public:
    VXPhoneCard(const QUrl &url, QWidget *parent);
    ~VXPhoneCard() override;

    const QUrl &url() const { return _url; }
    bool isSyncing() const { return _sync != nullptr; }
    /** Begins to sync the phone, or stops that. */
    void sync();
    void update();

Q_SIGNALS:
    void wantsRemoval(const QUrl &url);
    void wantsSettings(const QUrl &url);
    void didSync(const QUrl &url, const QStringList &problems, bool wasStopped);

protected:
    void changeEvent(QEvent *event) override;

private:
    void updateIcon();
    void showState();
    void showProgress();
    void showNotices(QStringList notices);
    void showMenu();
    QString facts(const VXDevicePlugin &device) const;

    const QUrl _url;
    VXDevicePlugin::Ptr _device;
    VXPhoneSync *_sync = nullptr;
    QLabel *_icon;
    VXTextLabel *_name;
    VXTextLabel *_state;
    VXTextLabel *_facts;
    VXTextLabel *_notices; // from the last sync
    VXTextLabel *_working;
    QProgressBar *_bar;
    QPushButton *_button;
};
