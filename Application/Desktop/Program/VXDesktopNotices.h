#pragma once

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtDBus/QDBusConnection>
#include <QtGui/QImage>

#include <functional>

/** The contents of a desktop notification, and the actions it offers. */
struct VXDesktopNotice
{
    struct Action
    {
        QString title;
        std::function<void()> perform;
    };

    QString title;
    QString text = {}; // plain text without markup
    QImage picture = {};
    QString category = {};     // from the Desktop Notifications Specification: "im.received"
    bool isUrgent = false;     // stays until it is dealt with
    Action open = {};          // on a click
    QList<Action> offers = {}; // omitted if the desktop does not show buttons
};

/**
 * Shows notifications through the desktop's service (org.freedesktop.Notifications 1.2), without waiting for anything.
 * Main thread only.
 */
class VXDesktopNotices : public QObject
{
    Q_OBJECT

public:
    explicit VXDesktopNotices(const QDBusConnection &bus);
    ~VXDesktopNotices() override;

    /** Shows a notification, replacing the one with that key if it is still there. Does nothing if the session has no
     *  such service. */
    void show(const QString &key, const VXDesktopNotice &notice);
    /** Removes it; one that is already gone is ignored. */
    void close(const QString &key);

private Q_SLOTS:
    void actionInvoked(uint id, const QString &action);
    void wasClosed(uint id, uint reason);

private:
    struct Shown
    {
        VXDesktopNotice notice;
        uint id = 0; // given by the service; 0 until it has answered
        int turn = 0;
        bool isWanted = true;
    };

    void send(const QString &key, const QStringList &capabilities);
    void didShow(const QString &key, int turn, uint id);

    QDBusConnection _bus;
    QHash<QString, Shown> _shown;
    int _turn = 0;
};
