#include "VXGammuPhone.h"

#include "VXDeviceFinding.h"
#include "VXDevicePort.h"
#include "VXDeviceURL.h"
#include "VXErrorDomain.h"
#include "VXEventManager.h"
#include "VXGammuStrings.h"
#include "VXMainThread.h"
#include "VXMethodLog.h"
#include "VXPluginGuard.h"
#include "VXSerialPorts.h"

#include <QtCore/QFileInfo>
#include <QtCore/QPointer>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::seconds upkeepInterval{30};
constexpr std::chrono::seconds firstDelay{2}; // doubled after each failure
constexpr std::chrono::seconds longestDelay{300};

struct Property
{
    QStringView key;
    const char16_t *title;
};
// In display order.
constexpr std::array properties{
    Property{u"manufacturer", u"Manufacturer"}, Property{u"model", u"Model"},
    Property{u"firmware", u"Firmware"},         Property{u"imei", u"IMEI"},
    Property{u"phoneNumber", u"Own number"},    Property{u"battery", u"Battery (%)"},
    Property{u"signal", u"Signal (%)"},
};

// The properties that tell why the phone cannot be reached, and what to do about it.
const QString &problemKey()
{
    static const QString key = u"problem"_s;
    return key;
}

const QString &remedyKey()
{
    static const QString key = u"remedy"_s;
    return key;
}

// The phone was lost, or the main thread ended, before the request reached it.
void concludeWithoutPhone(VXDeviceAction &action)
{
    action.setError(VXError(VXErrorDomain, VXErrorCancelled));
    action.conclude();
}

} // namespace

VXGammuPhone::VXGammuPhone() : VXGammuPhone(QString()) {}

VXGammuPhone::VXGammuPhone(const QString &program) : _program(program), _delay(firstDelay)
{
    _upkeep.setSingleShot(true);
    connect(&_upkeep, &QTimer::timeout, this, &VXGammuPhone::keepUp);
}

VXGammuPhone::~VXGammuPhone() = default;

void VXGammuPhone::findDevices(const std::shared_ptr<VXDeviceFinding> &finding)
{
    for (const VXSerialPort &port : VXSerialPorts()) {
        VXFoundDevice device{.name = port.product.isEmpty() ? port.device : port.product,
                             .identifier = port.device,
                             .preferences = {{u"connection"_s, u"at"_s}, {u"port"_s, port.path}},
                             .ports = {port.path}};
        device.place = port.device.startsWith("rfcomm"_L1) ? u"Bluetooth"_s : u"USB"_s;
        device.place += ", "_L1 + port.path;
        if (!port.product.isEmpty())
            device.preferences.insert(u"name"_s, port.product);
        finding->add(device);
    }
    finding->conclude();
}

bool VXGammuPhone::initWithURL(const QUrl &theURL)
{
    if (!VXDevicePlugin::initWithURL(theURL))
        return false;
    _driver = std::make_unique<VXGammuDriver>(
        program(), [this] { return configuration(); }, [this](QVariantMap &record) { complete(record); });
    connect(_driver.get(), &VXGammuDriver::didTellProperties, this, &VXGammuPhone::setProperties);
    connect(_driver.get(), &VXGammuDriver::didClose, this, &VXGammuPhone::didClose);
    connect(_driver.get(), &VXGammuDriver::didFailToOpen, this, &VXGammuPhone::didFailToOpen);
    connect(_driver.get(), &VXGammuDriver::didReport, this, &VXGammuPhone::announce);
    connect(this, &VXDevicePlugin::preferencesDidChange, this, [this] {
        if (!isConnected()) // it may be reachable now
            keepUp();
    });
    registerActionHandlers();
    keepUp();
    return true;
}

void VXGammuPhone::pluginWillUnload()
{
    _isShutdown = true;
    setConnecting(false);
    _upkeep.stop();
    unregisterActionHandlers();
    if (_driver)
        _driver->stop();
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
    return _driver && _driver->isConnected();
}

// It is beside the plugin's code, in its bundle.
QString VXGammuPhone::program() const
{
    if (!_program.isNull())
        return _program;
    const VXBundle::Ptr own = bundle();
    return own ? QFileInfo(own->executablePath()).path() + "/gammu-phone"_L1 : QString();
}

QVariantMap VXGammuPhone::configuration() const
{
    QVariantMap values;
    for (const QString &key :
         {u"config_file"_s, u"config_section"_s, u"model"_s, u"connection"_s, u"port"_s, u"timeout"_s})
        values.insert(key, preferenceForKey(key));
    return values;
}

// -- Actions

void VXGammuPhone::registerActionHandlers()
{
    const auto enqueue = [this](VXDeviceAction *action) {
        const auto asked = std::static_pointer_cast<VXDeviceAction>(action->shared_from_this());
        const bool isAccepted = VXMainThread::perform([self = QPointer(this), asked] {
            if (self)
                self->_driver->enqueue(asked);
            else
                concludeWithoutPhone(*asked);
        });
        if (!isAccepted)
            concludeWithoutPhone(*asked);
    };
    for (const QString &name :
         {u"read_contacts"_s, u"write_contact"_s, u"delete_contact"_s, u"read_messages"_s, u"write_message"_s,
          u"send_message"_s, u"delete_message"_s, u"read_calls"_s, u"dial"_s, u"answer"_s, u"hang_up"_s})
        registerActionHandler(name, VXDeviceActionHandler(this, enqueue), false);
}

void VXGammuPhone::keepUp()
{
    if (_isShutdown)
        return;
    if (_driver->isBusy())
        return _upkeep.start(upkeepInterval);
    setConnecting(!isConnected());
    _driver->enqueue(nullptr);
}

// Each attempt may take as long as the phone may stay silent, and must not keep the computer busy.
void VXGammuPhone::connectAgainLater()
{
    if (!_isShutdown)
        _upkeep.start(_delay);
    _delay = std::min(2 * _delay, longestDelay);
}

void VXGammuPhone::setConnecting(bool flag)
{
    if (_isConnecting == flag)
        return;
    Q_EMIT willChangeValueForKey(u"isConnecting"_s);
    _isConnecting = flag;
    Q_EMIT didChangeValueForKey(u"isConnecting"_s);
    Q_EMIT connectionDidChange();
}

// -- What the driver tells

void VXGammuPhone::setProperties(const QVariantMap &values)
{
    _delay = firstDelay;
    if (!_isShutdown)
        _upkeep.start(upkeepInterval);
    if (!std::exchange(_lastFailure, {}).isNull()) {
        setDeviceProperty({}, problemKey());
        setDeviceProperty({}, remedyKey());
    }
    for (size_t at = 0; at < properties.size(); ++at) {
        const QString key = properties.at(at).key.toString();
        const QVariant value = values.value(key);
        const auto shown = [&] {
            const QString title = VXGammuLocalizedString(QString::fromUtf16(properties.at(at).title));
            return QVariant(VXLocalizedProperty(value, title, 10 * int(at + 1)));
        };
        if (values.contains(key))
            setDeviceProperty(value.isValid() ? shown() : QVariant(), key);
    }
    setConnecting(false);
    Q_EMIT connectionDidChange();
}

void VXGammuPhone::didClose(const VXError &reason)
{
    VXLogMethod(VXLogNotice,
                "didClose:", u"the phone is gone: "_s + description() + ": "_L1 + reason.localizedDescription());
    connectAgainLater();
    Q_EMIT connectionDidChange();
}

void VXGammuPhone::didFailToOpen(const VXError &error)
{
    const QString text = error.localizedDescription();
    if (std::exchange(_lastFailure, text) != text) { // reported once, not with each attempt
        VXLogMethod(VXLogWarning, "didFailToOpen:", description() + ": "_L1 + text);
        setDeviceProperty(VXLocalizedProperty(text, VXGammuLocalizedString(u"Problem"_s)), problemKey());
        setDeviceProperty(VXLocalizedProperty(remedy(), VXGammuLocalizedString(u"What to do"_s), 1), remedyKey());
    }
    connectAgainLater();
    setConnecting(false);
}

// The library's texts do not distinguish a port that this user may not open from one that another program holds.
QString VXGammuPhone::remedy() const
{
    const QString port = preferenceForKey(u"port"_s).toString();
    const VXError problem = port.startsWith(u'/') ? VXProblemOfPort(port) : VXError();
    if (problem.isNull())
        return VXGammuLocalizedString(u"Switch the phone on, and check its preferences connection, port and model."_s);
    return problem.localizedDescription() + u' ' + problem.localizedRecoverySuggestion();
}

// Adds what only the device knows about a call or message: whose it is and, for what is stored on the phone, its URL.
void VXGammuPhone::complete(QVariantMap &record) const
{
    if (!record.contains(u"direction"_s))
        return;
    record.insert(u"device_url"_s, VXAbsoluteString(url()));
    QStringList locations;
    for (const QVariant &location : record.value(u"locations"_s).toList())
        locations.append(location.toString());
    if (!locations.isEmpty())
        record.insert(u"url"_s, u"%1/messages/%2/%3"_s.arg(VXAbsoluteString(url()),
                                                           record.value(u"memory"_s).toString(), locations.join(u'+')));
}

void VXGammuPhone::announce(const QString &name, const QString &subtype, const QVariantMap &object)
{
    QVariantMap told = object;
    complete(told);
    told.insert(u"device_url"_s, VXAbsoluteString(url()));
    VXCallPlugin(*this, "announce",
                 [&] { VXEventManager::sharedEventManager().postEventWithName(name, subtype, told); });
}
