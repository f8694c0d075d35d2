#include "VXGammuPhone.h"

#include "VXDeviceURL.h"
#include "VXEventManager.h"
#include "VXGammuContacts.h"
#include "VXGammuMessages.h"
#include "VXGammuText.h"
#include "VXMainThread.h"
#include "VXMethodLog.h"
#include "VXPluginGuard.h"

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::milliseconds watchInterval{250};
constexpr std::chrono::seconds upkeepInterval{30};

// The property that tells why the phone can not be reached.
const QString &problemKey()
{
    static const QString key = u"problem"_s;
    return key;
}

} // namespace

VXGammuPhone::VXGammuPhone()
{
    connect(&_watch, &QTimer::timeout, this, &VXGammuPhone::watch);
    connect(&_upkeep, &QTimer::timeout, this, &VXGammuPhone::keepUp);
}

VXGammuPhone::~VXGammuPhone()
{
    if (_worker)
        _worker->stop();
}

bool VXGammuPhone::initWithURL(const QUrl &theURL)
{
    if (!VXDevicePlugin::initWithURL(theURL))
        return false;
    VXGammuWorker::Listener listener = makeListener();
    _worker = std::make_unique<VXGammuWorker>([this] { return VXGammuConfiguration::fromPreferences(*this); },
                                              std::move(listener));
    registerActionHandlers();
    keepUp();
    _upkeep.start(upkeepInterval);
    return true;
}

void VXGammuPhone::pluginWillUnload()
{
    _isShutdown = true;
    setConnecting(false);
    _watch.stop();
    _upkeep.stop();
    unregisterActionHandlers();
    if (_worker)
        _worker->stop();
}

QString VXGammuPhone::name() const
{
    const QString name = preferenceForKey(u"name"_s).toString();
    return name.isEmpty() ? VXDeviceURLComponent(url(), 1) : name;
}

QString VXGammuPhone::phoneNumber() const
{
    const QString number = devicePropertyForKey(u"phoneNumber"_s).value<VXLocalizedProperty>().value().toString();
    return number.isEmpty() ? QString() : number;
}

bool VXGammuPhone::isConnected() const
{
    return _worker && _worker->isConnected();
}

// -- Actions

void VXGammuPhone::registerActionHandlers()
{
    registerWork(u"read_contacts"_s, &VXGammuContacts::read);
    registerWork(u"write_contact"_s, &VXGammuContacts::write);
    registerWork(u"delete_contact"_s, &VXGammuContacts::remove);
    registerWork(u"read_messages"_s, &VXGammuMessages::read);
    registerWork(u"send_message"_s, &VXGammuMessages::send);
    registerWork(u"delete_message"_s, &VXGammuMessages::remove);
    registerWork(u"read_calls"_s, &VXGammuCalls::read);
    registerWork(u"dial"_s, &VXGammuCalls::dial);
    registerWork(u"answer"_s, &VXGammuCalls::answer);
    registerWork(u"hang_up"_s, &VXGammuCalls::hangUp);
}

void VXGammuPhone::registerWork(const QString &actionName, VXError (*work)(VXGammuSession &, VXDeviceAction &))
{
    const auto handle = [this, work](VXDeviceAction *action) {
        enqueue(action, [action, work](VXGammuSession &session) { return work(session, *action); });
    };
    registerActionHandler(actionName, VXDeviceActionHandler(this, handle), false);
}

void VXGammuPhone::registerWork(const QString &actionName,
                                VXError (VXGammuCalls::*work)(VXGammuSession &, VXDeviceAction &))
{
    const auto handle = [this, work](VXDeviceAction *action) {
        enqueue(action, [this, action, work](VXGammuSession &session) { return (*_calls.*work)(session, *action); });
    };
    registerActionHandler(actionName, VXDeviceActionHandler(this, handle), false);
}

void VXGammuPhone::enqueue(VXDeviceAction *action, VXGammuWorker::Work work)
{
    _worker->enqueue(action != nullptr ? action->shared_from_this() : nullptr, std::move(work));
    VXMainThread::perform([self = QPointer(this)] {
        if (self && !self->_watch.isActive() && !self->_isShutdown)
            self->_watch.start(watchInterval);
    });
}

void VXGammuPhone::watch()
{
    _worker->watch();
    if (!_worker->isBusy())
        _watch.stop();
}

// A phone that did not answer is left alone until something is asked of it: each try takes long.
void VXGammuPhone::keepUp()
{
    if (_worker->isBusy() || (!isConnected() && !_mayConnect))
        return;
    setConnecting(!isConnected());
    enqueue(nullptr, [self = QPointer(this)](VXGammuSession &session) {
        VXMainThread::perform([self, state = VXReadGammuState(session)] {
            if (!self)
                return;
            self->setProperties(state);
            self->setConnecting(false);
        });
        return VXError();
    });
}

void VXGammuPhone::setConnecting(bool flag)
{
    if (_isConnecting == flag)
        return;
    Q_EMIT willChangeValueForKey(u"isConnecting"_s);
    _isConnecting = flag;
    Q_EMIT didChangeValueForKey(u"isConnecting"_s);
}

// -- What the worker tells

VXGammuWorker::Listener VXGammuPhone::makeListener()
{
    const QPointer<VXGammuPhone> self(this);
    const auto announceCall = [self](const QString &event, const QString &step, const QVariantMap &call) {
        VXMainThread::perform([=] {
            if (self)
                self->announce(event, step, call);
        });
    };
    _calls = std::make_unique<VXGammuCalls>(announceCall);
    VXGammuWorker::Listener listener;
    listener.didOpen = [self](VXGammuSession &session) {
        VXMainThread::perform([self, identity = VXReadGammuIdentity(session)] {
            if (self)
                self->setProperties(identity);
        });
    };
    listener.didClose = [this, self] {
        _calls->tracker().didLosePhone();
        VXMainThread::perform([self] {
            if (self)
                self->didClose();
        });
    };
    listener.didFailToOpen = [self](const VXError &error) {
        VXMainThread::perform([self, error] {
            if (self)
                self->didFailToOpen(error);
        });
    };
    listener.didReport = [this, self](VXGammuSession &session, const std::vector<VXGammuReport> &reports) {
        for (const VXGammuReport &report : reports) {
            if (const auto *call = std::get_if<GSM_Call>(&report)) {
                _calls->tracker().didReport(*call);
                continue;
            }
            const QVariantMap message = VXGammuMessages::reported(session, std::get<GSM_SMSMessage>(report));
            VXMainThread::perform([self, message] {
                if (self)
                    self->announce(u"new_message"_s, {}, message);
            });
        }
    };
    return listener;
}

void VXGammuPhone::setProperties(const VXGammuProperties &properties)
{
    _mayConnect = true;
    if (!std::exchange(_lastFailure, {}).isNull())
        setDeviceProperty({}, problemKey());
    for (const auto &[key, value] : properties)
        setDeviceProperty(value, key);
}

void VXGammuPhone::didClose()
{
    _mayConnect = true;
    VXLogMethod(VXLogNotice, "didClose", u"the phone is gone: "_s + description());
}

void VXGammuPhone::didFailToOpen(const VXError &error)
{
    const bool isOfPhone = error.domain() == VXGammuErrorDomain;
    // Somebody did not want to wait, or the program ends: that tells nothing of the phone.
    const bool wasAborted = isOfPhone && error.code() == ERR_ABORTED;
    _mayConnect = isOfPhone && error.code() != ERR_TIMEOUT && !wasAborted;
    const QString text = error.localizedDescription();
    if (!wasAborted && std::exchange(_lastFailure, text) != text) { // told once, and not at each try
        VXLogMethod(VXLogWarning, "didFailToOpen:", description() + ": "_L1 + text);
        setDeviceProperty(VXLocalizedProperty(text, VXGammuLocalizedString(u"Problem"_s)), problemKey());
    }
    setConnecting(false);
}

// As other sources of calls tell of them: who called whom, and with which phone.
void VXGammuPhone::announce(const QString &name, const QString &subtype, const QVariantMap &object)
{
    QVariantMap told = object;
    told.insert(u"device_url"_s, VXAbsoluteString(url()));
    if (name == "incoming_call"_L1)
        told.insert(u"from"_s, object.value(u"number"_s));
    else if (name == "outgoing_call"_L1)
        told.insert(u"to"_s, object.value(u"number"_s));
    VXCallPlugin(*this, "announce",
                 [&] { VXEventManager::sharedEventManager().postEventWithName(name, subtype, told); });
}
