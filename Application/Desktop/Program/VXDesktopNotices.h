#pragma once

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtDBus/QDBusConnection>
#include <QtGui/QImage>

#include <functional>

/** What a notification of the desktop says and offers. */
struct VXDesktopNotice
{
    struct Action
    {
        QString title;
        std::function<void()> perform;
    };

    QString title;
    QString text = {}; // as it is to be read, without markup
    QImage picture = {};
    QString category = {};     // of the Desktop Notifications Specification: "im.received"
    bool isUrgent = false;     // stays until it is dealt with
    Action open = {};          // a click on it
    QList<Action> offers = {}; // left out where the desktop shows no buttons
};

/** Shows notifications by the desktop's service (org.freedesktop.Notifications 1.2), and waits for nothing. Main thread only. */
class VXDesktopNotices : public QObject
{
    Q_OBJECT

public:
    explicit VXDesktopNotices(const QDBusConnection &bus);
    ~VXDesktopNotices() override;

    /** In place of the one with that key, if it is still there. Nothing happens where the session has no such service. */
    void show(const QString &key, const VXDesktopNotice &notice);
    /** Takes it away again; one that is gone already is ignored. */
    void close(const QString &key);

private Q_SLOTS:
    void actionInvoked(uint id, const QString &action);
    void wasClosed(uint id, uint reason);

private:
    struct Shown
    {
        VXDesktopNotice notice;
        uint id = 0; // the service's; 0 until it has answered
        int turn = 0;
        bool isWanted = true;
    };

    void send(const QString &key, const QStringList &capabilities);
    void didShow(const QString &key, int turn, uint id);

    QDBusConnection _bus;
    QHash<QString, Shown> _shown;
    int _turn = 0;
};
