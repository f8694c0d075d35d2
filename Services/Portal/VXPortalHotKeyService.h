#pragma once

#include "VXHotKeyService.h"
#include "VXPortalShortcut.h"

#include <QtCore/QHash>
#include <QtCore/QMap>
#include <QtCore/QTimer>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusMessage>
#include <QtDBus/QDBusObjectPath>
#include <QtDBus/QDBusServiceWatcher>

#include <functional>

/**
 * Hot keys by the desktop portal (org.freedesktop.portal.GlobalShortcuts): the desktop shows the user what is asked for, and the
 * user may choose another combination or refuse, which is told later by `registrationRefused`. A session can be given shortcuts
 * once, so every change of the registrations makes a new one; changes of one turn of the event loop go together. The desktop
 * knows a shortcut by the command and the combination asked for, and may remember what the user made of it. When the portal is
 * restarted everything is asked for again. Nothing waits for an answer but the constructor, for whether there is a portal.
 */
class VXPortalHotKeyService : public VXHotKeyService
{
    Q_OBJECT

public:
    VXPortalHotKeyService();
    ~VXPortalHotKeyService() override;

    QString name() const override;
    QString problem() const override { return _problem; }
    quint32 installListener() override;
    quint32 registerHotKey(const VXHotKeyRequest &request, VXHotKeyRef *ref) override;
    quint32 unregisterHotKey(VXHotKeyRef ref) override;

private Q_SLOTS:
    void activated(const QDBusMessage &message);
    void requestAnswered(const QDBusMessage &message);
    void sessionClosed(const QDBusMessage &message);
    void busWasLost();

private:
    using Answer = std::function<void(uint response, const QVariantMap &results)>;

    void findPortal();
    void ownerChanged(const QString &owner);
    void setProblem(const QString &problem);
    void renewSession();
    void closeSession();
    void bindShortcuts();
    void shortcutsBound(uint response, const QVariantMap &results, const QList<VXHotKeyRef> &asked);
    /** Calls a method that answers by a request object; the answer comes once, or never. */
    void call(const QString &method, const QVariantList &arguments, QVariantMap options, Answer answer);
    QString newToken();

    QDBusConnection _bus;
    QDBusServiceWatcher _watcher;
    QString _problem;
    bool _listens = false;
    QTimer _renewal; // of no length
    QMap<VXHotKeyRef, VXHotKeyRequest> _registrations;
    QHash<QString, VXHotKeyRef> _shortcuts; // those that the session was given, by the identifier
    QHash<QString, Answer> _answers;        // by the path of the request object
    QString _session;                       // its path; null without one
    VXHotKeyRef _lastRef = 0;
    quint64 _lastToken = 0;
};
