#include "VXMobileModem.h"

#include "VXBusText.h"
#include "VXBusValue.h"

#include <QtDBus/QDBusMetaType>

#include <array>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto answerLimit = 15s;
constexpr auto enableLimit = 90s; // a modem that has just been plugged in takes some time

struct Shown
{
    QStringView key;
    QStringView modemKey;
    const char16_t *title;
};
// In display order.
constexpr std::array shown{
    Shown{u"manufacturer", u"Manufacturer", u"Manufacturer"},
    Shown{u"model", u"Model", u"Model"},
    Shown{u"firmware", u"Revision", u"Firmware"},
    Shown{u"imei", u"EquipmentIdentifier", u"IMEI"},
    Shown{u"phoneNumber", u"OwnNumbers", u"Own number"},
    Shown{u"signal", u"SignalQuality", u"Signal (%)"},
    Shown{u"ports", u"Ports", u"Ports"},
};

struct Signal
{
    quint32 percent = 0;
    bool isRecent = false;
};

const QDBusArgument &operator>>(const QDBusArgument &argument, Signal &signal)
{
    argument.beginStructure();
    argument >> signal.percent >> signal.isRecent;
    argument.endStructure();
    return argument;
}

struct Port
{
    QString name;
    quint32 type = 0;
};

const QDBusArgument &operator>>(const QDBusArgument &argument, Port &port)
{
    argument.beginStructure();
    argument >> port.name >> port.type;
    argument.endStructure();
    return argument;
}

QList<Port> portsFrom(const QVariant &value)
{
    return VXBusValue<QList<Port>>(value, "a(su)"_L1);
}

// Turns a wrapped D-Bus value into one for people; invalid if there is none.
QVariant valueForPeople(QStringView key, const QVariant &value)
{
    if (key == u"SignalQuality") {
        const Signal signal = VXBusValue<Signal>(value, "(ub)"_L1);
        return signal.percent > 0 || signal.isRecent ? QVariant(signal.percent) : QVariant();
    }
    if (key == u"Ports") {
        QStringList names;
        for (const Port &port : portsFrom(value))
            names.append(port.name);
        return names.isEmpty() ? QVariant() : QVariant(names.join(", "_L1));
    }
    const QString text = key == u"OwnNumbers" ? VXBusTexts(value).value(0) : value.toString();
    return text.isEmpty() ? QVariant() : QVariant(text);
}

VXBusCall managedObjects()
{
    return {.path = VXModemNames::root,
            .interface = VXBusNames::objectManager,
            .method = u"GetManagedObjects"_s,
            .signature = u"a{oa{sa{sv}}}"_s};
}

} // namespace

VXMobileModem::~VXMobileModem()
{
    _isShutdown = true;
    if (_finder)
        _finder->stop();
    stopQueues();
}

// -- Finding

void VXMobileModem::findDevices(const std::shared_ptr<VXDeviceFinding> &finding)
{
    const auto look = [this, finding](VXBusErrand &errand) {
        errand.begin(text(u"Looking for the modem"_s), answerLimit);
        errand.call(managedObjects(), [this, finding, &errand](const QVariantList &answer) {
            const auto objects = qdbus_cast<VXModemNames::Objects>(answer.value(0));
            for (auto object = objects.cbegin(); object != objects.cend(); ++object) {
                if (object->contains(VXModemNames::modem))
                    finding->add(found(object.key().path(), object->value(VXModemNames::modem)));
            }
            errand.succeed();
        });
    };
    search(finding, VXBusService::named(VXModemNames::service, u"system"_s),
           text(u"Is the package modemmanager installed?"_s), look);
}

VXFoundDevice VXMobileModem::found(const QString &path, const QVariantMap &modem) const
{
    const auto value = [&modem](const QString &key) { return modem.value(key).toString(); };
    const QString maker = value(u"Manufacturer"_s);
    const QString model = value(u"Model"_s);
    QString identifier = value(u"EquipmentIdentifier"_s);
    if (identifier.isEmpty())
        identifier = value(u"DeviceIdentifier"_s);
    if (identifier.isEmpty())
        identifier = path.section(u'/', -1);
    VXFoundDevice device{.name = (model.startsWith(maker) ? model : maker + u' ' + model).trimmed(),
                         .identifier = identifier,
                         .preferences = {{u"modem"_s, identifier}},
                         .place = "ModemManager"_L1,
                         .holder = u"ModemManager"_s,
                         .problem =
                             faultOf(modem.value(u"State"_s).toInt(), modem.value(u"StateFailedReason"_s).toInt())};
    if (device.name.isEmpty())
        device.name = identifier;
    else
        device.preferences.insert(u"name"_s, device.name);
    if (const QString port = value(u"PrimaryPort"_s); !port.isEmpty())
        device.place += ", /dev/"_L1 + port;
    for (const Port &port : portsFrom(modem.value(u"Ports"_s))) {
        if (port.type != VXModemNames::NetPort)
            device.ports.append("/dev/"_L1 + port.name);
    }
    return device;
}

// -- The device

bool VXMobileModem::initWithURL(const QUrl &theURL)
{
    if (!VXBusDevice::initWithURL(theURL))
        return false;
    _service = VXBusService::named(VXModemNames::service, preference(u"bus"_s, u"system"_s));
    _finder = std::make_unique<VXBusQueue>(_service);
    _finder->open();
    _messageQueue = &addQueue(_service);
    _callQueue = &addQueue(_service); // a message that takes a minute must not delay a call
    _messages = std::make_unique<VXModemMessages>(*this, *_messageQueue);
    _calls = std::make_unique<VXModemCalls>(*this, *_callQueue);
    offerActions(true, true);
    listen();
    if (_service->isThere())
        find();
    else
        setState(State::Connecting, withoutService());
    return true;
}

void VXMobileModem::pluginWillUnload()
{
    if (_calls)
        _calls->setModem({});
    if (_finder)
        _finder->stop();
    VXBusDevice::pluginWillUnload();
}

void VXMobileModem::listen()
{
    connect(_service.get(), &VXBusService::didAppear, this, &VXMobileModem::find);
    connect(_service.get(), &VXBusService::didVanish, this, [this] { lose(withoutService()); });
    connect(_service.get(), &VXBusService::didProveAbsent, this, [this] {
        if (isAwaited())
            reach();
        else
            lose(withoutService());
    });
    connect(_service.get(), &VXBusService::didFailToStart, this, [this](const QString &problem) {
        lose(VXBusError(problem, _service->remedyOfStart(text(u"Is the package modemmanager installed?"_s))));
    });
    const auto look = [this](const QDBusMessage &signal) {
        const QString path = signal.arguments().value(0).value<QDBusObjectPath>().path();
        if (!isConnected() || path == _modem) // another modem is irrelevant
            find();
    };
    _service->listen({}, VXBusNames::objectManager, {}, this, look);
    _service->listen({}, VXBusNames::properties, u"PropertiesChanged"_s, this,
                     [this](const QDBusMessage &signal) { modemDidChange(signal); });
    connect(this, &VXDevicePlugin::preferencesDidChange, this, [this](const QString &key) {
        if (key == "modem"_L1 && _service->isThere())
            find();
    });
}

// As long as the modem is unknown, it is assumed to have everything.
void VXMobileModem::offerActions(bool hasMessages, bool hasCalls)
{
    using Action = std::pair<QString, VXBusQueue::Work>;
    const std::array messageActions{
        Action{u"read_messages"_s, [this](VXBusErrand &errand) { _messages->read(errand); }},
        Action{u"send_message"_s, [this](VXBusErrand &errand) { _messages->send(errand); }},
        Action{u"delete_message"_s, [this](VXBusErrand &errand) { _messages->remove(errand); }}};
    const std::array callActions{Action{u"dial"_s, [this](VXBusErrand &errand) { _calls->dial(errand); }},
                                 Action{u"answer"_s, [this](VXBusErrand &errand) { _calls->answer(errand); }},
                                 Action{u"hang_up"_s, [this](VXBusErrand &errand) { _calls->hangUp(errand); }}};
    for (const Action &action : messageActions)
        setOffered(action.first, hasMessages, *_messageQueue, action.second);
    for (const Action &action : callActions)
        setOffered(action.first, hasCalls, *_callQueue, action.second);
}

// -- Which modem

VXError VXMobileModem::withoutService() const
{
    const QString problem = _service->problem();
    return VXBusError(problem.isNull() ? text(u"ModemManager tells of no modem."_s) : problem,
                      text(u"Is the package modemmanager installed?"_s));
}

void VXMobileModem::reach()
{
    setState(State::Connecting, withoutService());
    if (_service->isThere())
        find();
    else
        _service->activate();
}

void VXMobileModem::find()
{
    if (!isConnected())
        setState(State::Connecting, withoutService(), enableLimit);
    const auto look = [this](VXBusErrand &errand) {
        errand.begin(text(u"Looking for the modem"_s), answerLimit);
        errand.call(managedObjects(), [this, &errand](const QVariantList &answer) {
            choose(qdbus_cast<VXModemNames::Objects>(answer.value(0)));
            errand.succeed();
        });
    };
    _finder->enqueue(look, [this](const QVariantMap &, const VXError &error) {
        if (!error.isNull())
            lose(error);
    });
}

// The preference "modem" may contain anything by which ModemManager identifies a modem.
bool VXMobileModem::isWanted(const QString &path, const QVariantMap &modem) const
{
    const QString wanted = preference(u"modem"_s);
    if (wanted.isEmpty())
        return true;
    QStringList names{path, path.section(u'/', -1)};
    for (const QString &key : {u"EquipmentIdentifier"_s, u"DeviceIdentifier"_s, u"Device"_s, u"PrimaryPort"_s})
        names.append(modem.value(key).toString());
    names += valueForPeople(u"Ports", modem.value(u"Ports"_s)).toString().split(", "_L1);
    return names.contains(wanted);
}

void VXMobileModem::choose(const VXModemNames::Objects &objects)
{
    for (auto object = objects.cbegin(); object != objects.cend(); ++object) {
        const QString path = object.key().path();
        if (object->contains(VXModemNames::modem) && isWanted(path, object->value(VXModemNames::modem)))
            return adopt(path, *object);
    }
    const bool areOthers = !objects.isEmpty();
    lose(VXBusError(text(u"ModemManager tells of no modem."_s),
                    areOthers ? text(u"It tells of others: the preference \"modem\" names this one."_s)
                              : text(u"Is it plugged in, and does no other program, as a phone of the plugin Phone "
                                     "(Gammu), hold its port?"_s)));
}

void VXMobileModem::adopt(const QString &path, const VXModemNames::Interfaces &interfaces)
{
    if (path != _modem) {
        _modem = path;
        _properties.clear();
        _messages->setModem(path);
        _calls->setModem(path);
    }
    const QVariantMap modem = interfaces.value(VXModemNames::modem);
    const int modemState = modem.value(u"State"_s).toInt();
    // A locked or broken modem does not show everything.
    if (modemState >= VXModemNames::Disabled)
        offerActions(interfaces.contains(VXModemNames::messaging), interfaces.contains(VXModemNames::voice));
    showAll(modem);
    judge(modemState, modem.value(u"StateFailedReason"_s).toInt(), true);
}

void VXMobileModem::lose(const VXError &why)
{
    _modem = QString();
    _properties.clear();
    _messages->setModem({});
    _calls->setModem({});
    setState(State::Away, why);
}

// -- How it is

// A problem that only the user can solve; null if there is none.
VXError VXMobileModem::faultOf(int modemState, int failedReason) const
{
    using namespace VXModemNames;
    if (modemState == Locked)
        return VXBusError(text(u"The card of the modem is locked."_s),
                          text(u"Unlock it with its PIN, as by \"mmcli -i any --pin=PIN\"."_s));
    if (modemState == Failed)
        return failedReason == CardMissing ? VXBusError(text(u"There is no card in the modem."_s))
                                           : VXBusError(text(u"The modem does not work."_s),
                                                        text(u"Its card may be damaged; plug the modem in again."_s));
    return {};
}

// If somebody switches it off in the meantime, it stays off until it is used.
void VXMobileModem::judge(int modemState, int failedReason, bool mayEnable)
{
    using namespace VXModemNames;
    if (modemState >= Enabled) {
        if (!isConnected() && actionNames().contains(u"dial"_s))
            _calls->readAll();
        return setState(State::Connected);
    }
    if (const VXError fault = faultOf(modemState, failedReason); !fault.isNull())
        return setState(State::Away, fault);
    switch (modemState) {
    case Disabled:
        if (mayEnable)
            return enable();
        [[fallthrough]];
    case Disabling:
        return setState(State::Away, VXBusError(text(u"The modem is switched off."_s)));
    default: // it reports when it is ready
        return setState(State::Connecting, VXBusError(text(u"The modem is not ready."_s)), enableLimit);
    }
}

void VXMobileModem::enable()
{
    setState(State::Connecting, VXBusError(text(u"The modem is not ready."_s)), enableLimit);
    const auto ask = [this, path = _modem](VXBusErrand &errand) {
        errand.begin(text(u"Switching the modem on"_s), enableLimit);
        errand.call({.path = path, .interface = VXModemNames::modem, .method = u"Enable"_s, .arguments = {true}},
                    [&errand](const QVariantList &) { errand.succeed(); });
    };
    _finder->enqueue(ask, [this](const QVariantMap &, const VXError &error) {
        if (!error.isNull() && !isConnected())
            setState(State::Away,
                     VXBusError(text(u"The modem could not be switched on: %1"_s).arg(error.localizedDescription()),
                                text(u"ModemManager lets only the user who sits at the computer use modems."_s)));
    });
}

void VXMobileModem::modemDidChange(const QDBusMessage &signal)
{
    const QVariantList arguments = signal.arguments();
    if (signal.path() != _modem || arguments.value(0).toString() != VXModemNames::modem)
        return;
    const QVariantMap changed = VXBusMap(arguments.value(1));
    showAll(changed);
    if (changed.contains(u"State"_s))
        judge(changed.value(u"State"_s).toInt(), _properties.value(u"StateFailedReason"_s).toInt(), false);
}

void VXMobileModem::showAll(const QVariantMap &modem)
{
    for (auto value = modem.cbegin(); value != modem.cend(); ++value)
        _properties.insert(value.key(), *value);
    for (size_t at = 0; at < shown.size(); ++at) {
        const Shown &property = shown.at(at);
        if (modem.contains(property.modemKey.toString()))
            show(property.key.toString(), valueForPeople(property.modemKey, modem.value(property.modemKey.toString())),
                 QString::fromUtf16(property.title), 10 * int(at + 1));
    }
    const QString model = _properties.value(u"Model"_s).toString();
    setDeviceProperty(model.isEmpty() ? QVariant() : QVariant(model), u"ownName"_s);
}
