#include "VXTelephony.h"

#include "VXBusText.h"
#include "VXBusValue.h"
#include "VXPhoneText.h"

#include <QtDBus/QDBusArgument>
#include <QtDBus/QDBusObjectPath>

#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto answerLimit = 25s;
constexpr auto waitLimit = 10s; // until calls are available

const QString managerInterface = u"org.ofono.Manager"_s;
const QString modemInterface = u"org.ofono.Modem"_s;
const QString callsInterface = u"org.ofono.VoiceCallManager"_s;
const QString callInterface = u"org.ofono.VoiceCall"_s;

// Evaluates GetModems and GetCalls: objects with their properties.
QList<std::pair<QString, QVariantMap>> objectsFrom(const QVariant &answer)
{
    QList<std::pair<QString, QVariantMap>> objects;
    const auto argument = answer.value<QDBusArgument>();
    argument.beginArray();
    while (!argument.atEnd()) {
        QDBusObjectPath path;
        QVariantMap properties;
        argument.beginStructure();
        argument >> path >> properties;
        argument.endStructure();
        objects.append({path.path(), properties});
    }
    argument.endArray();
    return objects;
}

QVariant changedValue(const QDBusMessage &signal)
{
    return signal.arguments().value(1).value<QDBusVariant>().variant();
}

QString pathIn(const QDBusMessage &signal)
{
    return signal.arguments().value(0).value<QDBusObjectPath>().path();
}

} // namespace

VXTelephony::VXTelephony(VXBusDevice &device, const Settings &settings)
    : _device(device), _settings(settings), _service(VXBusService::named(settings.service, settings.bus)),
      _queue(_service), _calls([this](const QString &event, const QString &step, const QVariantMap &call) {
          _device.announce(event, step, call);
      })
{
    const auto onModem = [this](const QDBusMessage &signal) {
        if (signal.path() == _modem)
            didChangeModem(signal.arguments().value(0).toString(), changedValue(signal));
    };
    _service->listen({}, managerInterface, u"ModemAdded"_s, this, [this](const QDBusMessage &signal) {
        takeModem(pathIn(signal), VXBusMap(signal.arguments().value(1)));
    });
    _service->listen({}, managerInterface, u"ModemRemoved"_s, this, [this](const QDBusMessage &signal) {
        if (pathIn(signal) == _modem)
            forget();
    });
    _service->listen({}, modemInterface, u"PropertyChanged"_s, this, onModem);
    _service->listen({}, callsInterface, u"CallAdded"_s, this, [this](const QDBusMessage &signal) {
        if (signal.path() == _modem)
            takeCall(pathIn(signal), VXBusMap(signal.arguments().value(1)));
    });
    _service->listen({}, callsInterface, u"CallRemoved"_s, this,
                     [this](const QDBusMessage &signal) { _calls.end(pathIn(signal)); });
    _service->listen({}, callInterface, u"PropertyChanged"_s, this, [this](const QDBusMessage &signal) {
        didChangeCall(signal.path(), signal.arguments().value(0).toString(), changedValue(signal));
    });
    connect(_service.get(), &VXBusService::didAppear, this, &VXTelephony::look);
    connect(_service.get(), &VXBusService::didVanish, this, &VXTelephony::forget);
    _patience.setSingleShot(true);
    connect(&_patience, &QTimer::timeout, this, [this] { _queue.close(absence()); });
    connect(&_queue, &VXBusQueue::isWanted, this, [this] {
        if (!_patience.isActive())
            _patience.start(waitLimit);
        _service->activate();
    });
    connect(_service.get(), &VXBusService::didFailToStart, this, [this] {
        if (!_isReady)
            _queue.close(absence());
    });
    if (_service->isThere())
        look();
}

VXError VXTelephony::absence() const
{
    if (!_service->isThere())
        return VXBusError(
            _service->problem(),
            _device.text(u"Calls need a telephony service that speaks the hands-free profile, as oFono; the "
                         "preferences telephony_service, telephony_bus and telephony_path name it."_s));
    return VXBusError(_device.text(u"The phone is not connected for calls."_s),
                      _device.text(u"Connect it for calls in the Bluetooth settings of the desktop."_s));
}

void VXTelephony::stop()
{
    forget();
    _queue.stop();
}

// -- The modem

void VXTelephony::look()
{
    _service->call(
        {.path = u"/"_s, .interface = managerInterface, .method = u"GetModems"_s, .signature = u"a(oa{sv})"_s},
        answerLimit, this, [this](const QDBusMessage &answer) {
            if (answer.type() != QDBusMessage::ErrorMessage)
                takeModems(answer.arguments().value(0));
        });
}

void VXTelephony::takeModems(const QVariant &answer)
{
    for (const auto &[path, properties] : objectsFrom(answer))
        takeModem(path, properties);
}

// oFono names hands-free modems after their BlueZ object, and gives the address as their serial number.
bool VXTelephony::isOurs(const QString &path, const QVariantMap &properties) const
{
    if (!_settings.path.isEmpty())
        return path == _settings.path;
    QString part = _settings.address.toUpper();
    part.replace(u':', u'_');
    return path.contains("dev_"_L1 + part, Qt::CaseInsensitive) ||
           properties.value(u"Serial"_s).toString().compare(_settings.address, Qt::CaseInsensitive) == 0;
}

void VXTelephony::takeModem(const QString &path, const QVariantMap &properties)
{
    if (!isOurs(path, properties))
        return;
    _modem = path;
    if (!properties.value(u"Powered"_s).toBool()) // switching it on makes it connect
        _service->send({.path = _modem,
                        .interface = modemInterface,
                        .method = u"SetProperty"_s,
                        .arguments = {u"Powered"_s, QVariant::fromValue(QDBusVariant(true))}});
    setInterfaces(VXBusTexts(properties.value(u"Interfaces"_s)));
}

void VXTelephony::didChangeModem(const QString &property, const QVariant &value)
{
    if (property == "Interfaces"_L1)
        setInterfaces(VXBusTexts(value));
}

// When the link is lost, the interfaces go away, and nothing is reported about the calls.
void VXTelephony::setInterfaces(const QStringList &interfaces)
{
    if (!interfaces.contains(callsInterface))
        return setReady(false);
    _service->call({.path = _modem, .interface = callsInterface, .method = u"GetCalls"_s, .signature = u"a(oa{sv})"_s},
                   answerLimit, this, [this, modem = _modem](const QDBusMessage &answer) {
                       if (answer.type() == QDBusMessage::ErrorMessage || modem != _modem)
                           return;
                       takeCalls(answer.arguments().value(0));
                       setReady(true);
                   });
}

void VXTelephony::setReady(bool flag)
{
    if (!flag)
        _calls.endAll();
    if (std::exchange(_isReady, flag) == flag)
        return;
    if (flag) {
        _patience.stop();
        _queue.open();
    } else {
        _queue.close(absence());
    }
    Q_EMIT didChange();
}

void VXTelephony::forget()
{
    _modem = QString();
    setReady(false);
}

// -- Calls

void VXTelephony::takeCalls(const QVariant &answer)
{
    for (const auto &[path, properties] : objectsFrom(answer))
        takeCall(path, properties);
}

void VXTelephony::takeCall(const QString &path, const QVariantMap &properties)
{
    const QString state = properties.value(u"State"_s).toString();
    const bool isIncoming = state == "incoming"_L1 || state == "waiting"_L1;
    _calls.ring(path, isIncoming, properties.value(u"LineIdentification"_s).toString());
    didChangeCall(path, u"State"_s, state);
}

void VXTelephony::didChangeCall(const QString &path, const QString &property, const QVariant &value)
{
    if (property == "LineIdentification"_L1 && _calls.contains(path))
        return _calls.ring(path, false, value.toString()); // at this point only the number matters
    if (property != "State"_L1)
        return;
    const QString state = value.toString();
    if (state == "active"_L1 || state == "held"_L1)
        _calls.connect(path);
    else if (state == "disconnected"_L1)
        _calls.end(path);
}

// -- Actions

void VXTelephony::enqueue(const VXDeviceAction::Ptr &action, void (VXTelephony::*work)(VXBusErrand &))
{
    _queue.enqueue(action, [this, work](VXBusErrand &errand) { (this->*work)(errand); });
}

void VXTelephony::perform(VXBusErrand &errand, const QString &what, const VXBusCall &call)
{
    errand.begin(what, answerLimit);
    errand.call(call, [&errand](const QVariantList &) { errand.succeed(); });
}

void VXTelephony::dial(VXBusErrand &errand)
{
    VXError error;
    const QString number = VXNumberToDial(errand.object(), &error);
    if (!error.isNull())
        return errand.fail(error);
    perform(errand, _device.text(u"Dialling"_s),
            {.path = _modem, .interface = callsInterface, .method = u"Dial"_s, .arguments = {number, u"default"_s}});
}

void VXTelephony::answer(VXBusErrand &errand)
{
    const QStringList ringing = _calls.keys(true);
    if (ringing.isEmpty())
        return errand.fail(VXBusError(_device.text(u"There is no call to answer."_s)));
    perform(errand, _device.text(u"Answering"_s),
            {.path = ringing.first(), .interface = callInterface, .method = u"Answer"_s});
}

void VXTelephony::hangUp(VXBusErrand &errand)
{
    if (_calls.isEmpty())
        return errand.fail(VXBusError(_device.text(u"There is no call to end."_s)));
    perform(errand, _device.text(u"Hanging up"_s),
            {.path = _modem, .interface = callsInterface, .method = u"HangupAll"_s});
}
