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
 * Tells of a call that rings, of one that was missed and of a message that came in: over all windows where the desktop lets a
 * program place its own, else, and for what is to stay, by the desktop's notifications. What an automation of the user's shows a
 * notification of is left to that. Main thread.
 */
class VXNewsNotices : public QObject
{
    Q_OBJECT

public:
    /** User default: whether it tells of anything; true unless the user said otherwise. */
    static const QString tellsKey;

    /** Notifications go over that bus. */
    explicit VXNewsNotices(VXMainWindow &window, const QDBusConnection &bus = QDBusConnection::sessionBus());
    ~VXNewsNotices() override;

    const VXBezelWindow &bezel() const { return _bezel; }

private:
    struct News
    {
        QString event;
        QString step; // of a call
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
    QString _onBezel;       // the call that rings there
    QSet<QString> _ringing; // told of, and not taken yet; phones tell it with each ring
};
