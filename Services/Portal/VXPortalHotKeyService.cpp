#include "VXPortalHotKeyService.h"

#include "VXMethodLog.h"

#include <QtDBus/QDBusConnectionInterface>
#include <QtDBus/QDBusMetaType>
#include <QtDBus/QDBusPendingCallWatcher>
#include <QtDBus/QDBusPendingReply>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

const QString portalService = u"org.freedesktop.portal.Desktop"_s;
const QString portalPath = u"/org/freedesktop/portal/desktop"_s;
const QString shortcutsInterface = u"org.freedesktop.portal.GlobalShortcuts"_s;
const QString requestInterface = u"org.freedesktop.portal.Request"_s;
const QString sessionInterface = u"org.freedesktop.portal.Session"_s;
const QString propertiesInterface = u"org.freedesktop.DBus.Properties"_s;
constexpr int findTimeout = 2000; // milliseconds; the portal may have to be started

// The same in every session, so that the desktop finds what the user chose for it, and another for another combination, so that
// the user is asked about that.
QString shortcutIdentifier(const VXHotKeyRequest &request)
{
    return request.identifier + u' ' + VXPortalTrigger(request.keyCode, request.modifiers);
}

} // namespace

VXPortalHotKeyService::VXPortalHotKeyService()
    : _bus(QDBusConnection::sessionBus()), _watcher(portalService, _bus, QDBusServiceWatcher::WatchForOwnerChange)
{
    qDBusRegisterMetaType<VXPortalShortcut>();
    qDBusRegisterMetaType<QList<VXPortalShortcut>>();
    _renewal.setSingleShot(true);
    _bus.connect({}, u"/org/freedesktop/DBus/Local"_s, u"org.freedesktop.DBus.Local"_s, u"Disconnected"_s, this,
                 SLOT(busWasLost()));
    connect(&_renewal, &QTimer::timeout, this, &VXPortalHotKeyService::renewSession);
    connect(&_watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString &, const QString &, const QString &owner) { ownerChanged(owner); });
    findPortal();
}

VXPortalHotKeyService::~VXPortalHotKeyService()
{
    closeSession();
}

QString VXPortalHotKeyService::name() const
{
    return u"portal"_s;
}

void VXPortalHotKeyService::findPortal()
{
    if (!_bus.isConnected()) {
        _problem = u"there is no D-Bus session bus"_s;
        return;
    }
    QDBusMessage question = QDBusMessage::createMethodCall(portalService, portalPath, propertiesInterface, u"Get"_s);
    question << shortcutsInterface << u"version"_s;
    const QDBusMessage answer = _bus.call(question, QDBus::Block, findTimeout);
    if (answer.type() == QDBusMessage::ErrorMessage)
        _problem = u"this desktop has no portal for global shortcuts (%1)"_s.arg(answer.errorMessage());
}

void VXPortalHotKeyService::setProblem(const QString &problem)
{
    if (problem == _problem && problem.isNull() == _problem.isNull())
        return;
    _problem = problem;
    Q_EMIT problemChanged();
}

quint32 VXPortalHotKeyService::installListener()
{
    _listens = _bus.isConnected() && _bus.connect(portalService, portalPath, shortcutsInterface, u"Activated"_s, this,
                                                  SLOT(activated(QDBusMessage)));
    return _listens && _problem.isNull() ? VXHotKeyDone : VXHotKeyNotConnected;
}

quint32 VXPortalHotKeyService::registerHotKey(const VXHotKeyRequest &request, VXHotKeyRef *ref)
{
    *ref = 0;
    if (!_problem.isNull())
        return VXHotKeyNotConnected;
    if (VXPortalTrigger(request.keyCode, request.modifiers).isNull())
        return VXHotKeyNoSuchKey;
    for (const VXHotKeyRequest &other : std::as_const(_registrations)) {
        if (other.keyCode == request.keyCode && other.modifiers == request.modifiers)
            return VXHotKeyTaken;
    }
    *ref = ++_lastRef;
    _registrations.insert(*ref, request);
    _renewal.start();
    return VXHotKeyDone;
}

quint32 VXPortalHotKeyService::unregisterHotKey(VXHotKeyRef ref)
{
    if (!_registrations.remove(ref))
        return VXHotKeyUnknownRef;
    _renewal.start();
    return VXHotKeyDone;
}

void VXPortalHotKeyService::ownerChanged(const QString &owner)
{
    // What was asked of the former owner is not answered any more.
    _answers.clear();
    _session = QString();
    if (owner.isEmpty()) {
        setProblem(u"the desktop portal ended"_s);
        return;
    }
    setProblem({});
    if (!_registrations.isEmpty())
        _renewal.start();
}

// The process's connection is not made again.
void VXPortalHotKeyService::busWasLost()
{
    _answers.clear();
    _session = QString();
    setProblem(u"the D-Bus session bus ended"_s);
}

QString VXPortalHotKeyService::newToken()
{
    return u"vornix%1"_s.arg(++_lastToken);
}

void VXPortalHotKeyService::call(const QString &method, const QVariantList &arguments, QVariantMap options,
                                 Answer answer)
{
    const QString token = newToken();
    options.insert(u"handle_token"_s, token);
    // The path is known beforehand, so that no answer comes before somebody listens.
    const QString path =
        u"/org/freedesktop/portal/desktop/request/%1/%2"_s.arg(_bus.baseService().sliced(1).replace(u'.', u'_'), token);
    _answers.insert(path, std::move(answer));
    _bus.connect(portalService, path, requestInterface, u"Response"_s, this, SLOT(requestAnswered(QDBusMessage)));
    QDBusMessage message = QDBusMessage::createMethodCall(portalService, portalPath, shortcutsInterface, method);
    message.setArguments(QVariantList(arguments) << options);
    auto *const watcher = new QDBusPendingCallWatcher(_bus.asyncCall(message), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, path, method] {
        watcher->deleteLater();
        if (!watcher->isError())
            return;
        VXLogMethod(VXLogWarning, "call",
                    u"the desktop portal refused %1: %2"_s.arg(method, watcher->error().message()));
        constexpr uint otherEnd = 2; // as a request object says it
        if (const Answer refused = _answers.take(path))
            refused(otherEnd, {});
    });
}

// How it ended, and what it brought.
void VXPortalHotKeyService::requestAnswered(const QDBusMessage &message)
{
    _bus.disconnect(portalService, message.path(), requestInterface, u"Response"_s, this,
                    SLOT(requestAnswered(QDBusMessage)));
    if (const Answer answer = _answers.take(message.path()))
        answer(message.arguments().value(0).toUInt(), qdbus_cast<QVariantMap>(message.arguments().value(1)));
}

void VXPortalHotKeyService::closeSession()
{
    if (_session.isNull())
        return;
    _bus.disconnect(portalService, _session, sessionInterface, u"Closed"_s, this, SLOT(sessionClosed(QDBusMessage)));
    _bus.send(QDBusMessage::createMethodCall(portalService, _session, sessionInterface, u"Close"_s));
    _session = QString();
}

void VXPortalHotKeyService::renewSession()
{
    _answers.clear(); // of a session that is not wanted any more
    closeSession();
    if (_registrations.isEmpty() || !_problem.isNull())
        return;
    call(u"CreateSession"_s, {}, {{u"session_handle_token"_s, newToken()}},
         [this](uint response, const QVariantMap &results) {
             _session = results.value(u"session_handle"_s).toString(); // a text, by the portal's description
             if (response != 0 || _session.isEmpty()) {
                 _session = QString();
                 shortcutsBound(response == 0 ? 2 : response, {}, _registrations.keys());
                 return;
             }
             _bus.connect(portalService, _session, sessionInterface, u"Closed"_s, this,
                          SLOT(sessionClosed(QDBusMessage)));
             bindShortcuts();
         });
}

void VXPortalHotKeyService::bindShortcuts()
{
    QList<VXPortalShortcut> shortcuts;
    _shortcuts.clear();
    for (auto entry = _registrations.cbegin(); entry != _registrations.cend(); ++entry) {
        const QString identifier = shortcutIdentifier(*entry);
        _shortcuts.insert(identifier, entry.key());
        shortcuts.append({identifier,
                          {{u"description"_s, entry->title.isEmpty() ? entry->identifier : entry->title},
                           {u"preferred_trigger"_s, VXPortalTrigger(entry->keyCode, entry->modifiers)}}});
    }
    const QList<VXHotKeyRef> asked = _registrations.keys();
    call(u"BindShortcuts"_s,
         {QVariant::fromValue(QDBusObjectPath(_session)), QVariant::fromValue(shortcuts), QString()}, {},
         [this, asked](uint response, const QVariantMap &results) { shortcutsBound(response, results, asked); });
}

void VXPortalHotKeyService::shortcutsBound(uint response, const QVariantMap &results, const QList<VXHotKeyRef> &asked)
{
    QSet<VXHotKeyRef> bound;
    if (response == 0) {
        const auto shortcuts = qdbus_cast<QList<VXPortalShortcut>>(results.value(u"shortcuts"_s));
        for (const VXPortalShortcut &shortcut : shortcuts)
            bound.insert(_shortcuts.value(shortcut.identifier));
    }
    const QString reason = response == 1 ? u"the user refused it"_s : u"the desktop did not grant it"_s;
    for (const VXHotKeyRef ref : asked) {
        if (!bound.contains(ref) && _registrations.remove(ref))
            Q_EMIT registrationRefused(ref, reason);
    }
}

void VXPortalHotKeyService::sessionClosed(const QDBusMessage &message)
{
    if (message.path() != _session)
        return;
    _session = QString();
    const QList<VXHotKeyRef> lost = _registrations.keys();
    _registrations.clear();
    for (const VXHotKeyRef ref : lost)
        Q_EMIT registrationRefused(ref, u"the desktop withdrew it"_s);
}

// The session, the shortcut's identifier, a time stamp and options.
void VXPortalHotKeyService::activated(const QDBusMessage &message)
{
    const QVariantList arguments = message.arguments();
    if (arguments.value(0).value<QDBusObjectPath>().path() != _session)
        return;
    const auto found = _registrations.constFind(_shortcuts.value(arguments.value(1).toString()));
    if (found != _registrations.cend())
        Q_EMIT hotKeyPressed(found->hotKeyID);
}
