#pragma once

#include "VXBezelWindow.h"
#include "VXCallRecord.h"
#include "VXDesktopNotices.h"
#include "VXDevicePlugin.h"
#include "VXMessageRecord.h"

#include <QtCore/QObject>
#include <QtCore/QSet>

class VXMainWindow;

/**
 * Reports a call that rings, a missed call and an incoming message: above all windows if the desktop lets a program
 * place its own, otherwise, and if the notice should stay, with the desktop's notifications. If one of the user's
 * automations already shows a notification of it, it is left to that. Main thread.
 */
class VXNewsNotices : public QObject
{
    Q_OBJECT

public:
    /** Notifications are sent over that bus. */
    explicit VXNewsNotices(VXMainWindow &window, const QDBusConnection &bus = QDBusConnection::sessionBus());
    ~VXNewsNotices() override;

    const VXBezelWindow &bezel() const { return _bezel; }

private:
    struct News
    {
        QString event;
        QString step; // for a call
        QVariantMap object;
    };

    void tell(const News &news);
    void tellOfCall(const VXCallRecord &call, const QString &step, const News &news);
    void showRinging(const VXCallRecord &call, const QString &key);
    void showMissed(const VXCallRecord &call, const QString &key);
    void tellOfMessage(const VXMessageRecord &message, const News &news);
    QList<VXBezelNotice::Button> buttonsFor(const VXCallRecord &call, const QString &key);
    void perform(const QString &action, const QString &deviceURL);

    VXMainWindow &_window;
    VXBezelWindow _bezel;
    VXDesktopNotices _notices;
    QString _onBezel;       // the ringing call that is shown there
    QSet<QString> _ringing; // reported and not answered yet; phones report a call with each ring
};
