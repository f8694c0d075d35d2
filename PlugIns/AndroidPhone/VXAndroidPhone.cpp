#include "VXAndroidPhone.h"

#include "VXBusText.h"
#include "VXConnectNames.h"

#include <QtCore/QRegularExpression>

#include <array>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto longestRinging = 120s; // nothing reports that a call was answered

const QString smsPlugin = u"kdeconnect_sms"_s;
const QString contactsPlugin = u"kdeconnect_contacts"_s;
const QString telephonyPlugin = u"kdeconnect_telephony"_s;
const QString sharePlugin = u"kdeconnect_share"_s;
const QStringList allPlugins{smsPlugin, contactsPlugin, sharePlugin}; // that actions need

VXBusCall propertiesOf(const QString &phone)
{
    return {.path = VXConnectNames::path(phone),
            .interface = VXBusNames::properties,
            .method = u"GetAll"_s,
            .arguments = {VXConnectNames::device},
            .signature = u"a{sv}"_s};
}

const VXBusCall knownDevices{.path = VXConnectNames::root,
                             .interface = VXConnectNames::daemon,
                             .method = u"deviceNames"_s,
                             .arguments = {false, false},
                             .signature = u"a{ss}"_s};

// KDE Connect also connects computers with each other.
bool isComputer(const QDBusMessage &properties)
{
    const QString type = qdbus_cast<QVariantMap>(properties.arguments().value(0)).value(u"type"_s).toString();
    return type == "desktop"_L1 || type == "laptop"_L1 || type == "tv"_L1;
}

} // namespace

VXAndroidPhone::VXAndroidPhone()
    : _calls(
          [this](const QString &event, const QString &step, const QVariantMap &call) { announce(event, step, call); })
{
}

VXAndroidPhone::~VXAndroidPhone()
{
    _isShutdown = true;
    if (_finder)
        _finder->stop();
    stopQueues();
}

// -- Finding

void VXAndroidPhone::findDevices(const std::shared_ptr<VXDeviceFinding> &finding)
{
    const auto look = [this, finding](VXBusErrand &errand) {
        errand.begin(text(u"Looking for the phone"_s), answerLimit);
        errand.call(knownDevices, [this, finding, &errand](const QVariantList &answer) {
            addNext(errand, finding, qdbus_cast<QMap<QString, QString>>(answer.value(0)));
        });
    };
    search(finding, VXBusService::named(VXConnectNames::service, u"session"_s),
           text(u"Is the package kdeconnect installed?"_s), look);
}

void VXAndroidPhone::addNext(VXBusErrand &errand, const VXDeviceFinding::Ptr &finding,
                             QMap<QString, QString> phones) const
{
    static const QRegularExpression partOfPath(u"\\A\\w+\\z"_s);
    phones.removeIf(
        [](const QMap<QString, QString>::iterator &each) { return !partOfPath.match(each.key()).hasMatch(); });
    if (phones.isEmpty())
        return errand.succeed();
    const QString phone = phones.firstKey();
    const QString name = phones.take(phone);
    errand.ask(propertiesOf(phone), [this, &errand, finding, phones, phone, name](const QDBusMessage &properties) {
        if (!isComputer(properties))
            finding->add({.name = name,
                          .identifier = phone,
                          .preferences = {{u"device"_s, phone}, {u"name"_s, name}},
                          .place = u"KDE Connect"_s,
                          .problem = problemOf(properties)});
        addNext(errand, finding, phones);
    });
}

// -- The device

bool VXAndroidPhone::initWithURL(const QUrl &theURL)
{
    if (!VXBusDevice::initWithURL(theURL))
        return false;
    _service = VXBusService::named(VXConnectNames::service, preference(u"bus"_s, u"session"_s));
    _finder = std::make_unique<VXBusQueue>(_service);
    _messageQueue = &addQueue(_service);
    _contactQueue = &addQueue(_service);
    _dialQueue = &addQueue(_service);
    _messages = std::make_unique<VXConnectMessages>(*this, *_messageQueue);
    offer(u"pair"_s, *_finder, [this](VXBusErrand &errand) { pair(errand); });
    offer(u"unpair"_s, *_finder, [this](VXBusErrand &errand) { unpair(errand); });
    offerActions(allPlugins); // as far as known so far
    listen();
    if (_service->isThere()) {
        _finder->open();
        find();
    } else {
        setState(State::Connecting, withoutService());
    }
    return true;
}

void VXAndroidPhone::pluginWillUnload()
{
    _calls.endAll();
    if (_finder)
        _finder->stop();
    VXBusDevice::pluginWillUnload();
}

void VXAndroidPhone::listen()
{
    connect(_service.get(), &VXBusService::didAppear, this, [this] {
        _finder->open();
        find();
    });
    const auto end = [this](const VXError &why) {
        lose(why);
        _finder->close(why);
    };
    connect(_service.get(), &VXBusService::didVanish, this, [this, end] { end(withoutService()); });
    connect(_service.get(), &VXBusService::didProveAbsent, this, [this, end] {
        if (isAwaited() || _finder->isBusy())
            reach();
        else
            end(withoutService());
    });
    connect(_service.get(), &VXBusService::didFailToStart, this, [this, end](const QString &problem) {
        end(VXBusError(problem, _service->remedyOfStart(text(u"Is the package kdeconnect installed?"_s))));
    });
    connect(_finder.get(), &VXBusQueue::isWanted, this, [this] {
        if (state() == State::Away)
            reach();
    });
    for (const QString &member : {u"deviceAdded"_s, u"deviceRemoved"_s, u"deviceVisibilityChanged"_s})
        _service->listen({}, VXConnectNames::daemon, member, this, [this](const QDBusMessage &signal) {
            if (!isConnected() || signal.arguments().value(0).toString() == _phone)
                find();
        });
    for (const QString &member : {u"reachableChanged"_s, u"trustedChanged"_s, u"pluginsChanged"_s, u"nameChanged"_s})
        _service->listen({}, VXConnectNames::device, member, this, [this](const QDBusMessage &signal) {
            if (!isConnected() || signal.path() == VXConnectNames::path(_phone))
                find();
        });
    _service->listen({}, VXConnectNames::telephony, u"callReceived"_s, this, [this](const QDBusMessage &signal) {
        if (isConnected() && signal.path() == VXConnectNames::path(_phone, u"telephony"_s))
            callWasReceived(signal.arguments().value(0).toString(), signal.arguments().value(1).toString());
    });
    _service->listen({}, VXConnectNames::battery, u"refreshed"_s, this, [this](const QDBusMessage &signal) {
        const int charge = signal.arguments().value(1).toInt();
        if (signal.path() == VXConnectNames::path(_phone, u"battery"_s))
            show(u"battery"_s, charge >= 0 ? QVariant(charge) : QVariant(), u"Battery (%)"_s, 10);
    });
    connect(this, &VXDevicePlugin::preferencesDidChange, this, [this](const QString &key) {
        if (key == "device"_L1 && _service->isThere())
            find();
    });
}

// What the phone allows shows in the plugins that its app offers to this computer.
void VXAndroidPhone::offerActions(const QStringList &plugins)
{
    struct Action
    {
        QString name;
        QString plugin;
        VXBusQueue *queue;
        VXBusQueue::Work work;
    };
    const std::array actions{
        Action{u"read_messages"_s, smsPlugin, _messageQueue, [this](VXBusErrand &errand) { _messages->read(errand); }},
        Action{u"send_message"_s, smsPlugin, _messageQueue, [this](VXBusErrand &errand) { _messages->send(errand); }},
        Action{u"read_contacts"_s, contactsPlugin, _contactQueue,
               [this](VXBusErrand &errand) { readContacts(errand); }},
        Action{u"dial"_s, sharePlugin, _dialQueue, [this](VXBusErrand &errand) { dial(errand); }}};
    for (const Action &action : actions)
        setOffered(action.name, plugins.contains(action.plugin), *action.queue, action.work);
    _plugins = plugins;
}

// -- Which phone

VXError VXAndroidPhone::withoutService() const
{
    const QString problem = _service->problem();
    return VXBusError(problem.isNull() ? text(u"KDE Connect does not answer."_s) : problem,
                      text(u"Is the package kdeconnect installed?"_s));
}

void VXAndroidPhone::reach()
{
    setState(State::Connecting, withoutService());
    if (_service->isThere())
        find();
    else
        _service->activate();
}

void VXAndroidPhone::lose(const VXError &why)
{
    _calls.endAll();
    setState(State::Away, why);
    // A phone that disconnects withdraws its plugins one after the other: new requests now wait instead of being
    // refused.
    if (!_isShutdown)
        offerActions(allPlugins);
}

void VXAndroidPhone::setPhone(const QString &deviceID)
{
    _phone = deviceID;
    _messages->setPhone(deviceID);
}

// Signals come in swarms: however many arrive while it looks, looking once more is enough.
void VXAndroidPhone::find()
{
    if (_finder->isBusy()) {
        _isToBeFoundAgain = true;
        return;
    }
    if (!isConnected())
        setState(State::Connecting, withoutService());
    _finder->enqueue([this](VXBusErrand &errand) { lookForPhone(errand); },
                     [this](const QVariantMap &, const VXError &error) {
                         if (!error.isNull())
                             lose(error);
                         if (std::exchange(_isToBeFoundAgain, false))
                             QMetaObject::invokeMethod(this, &VXAndroidPhone::find, Qt::QueuedConnection);
                     });
}

void VXAndroidPhone::lookForPhone(VXBusErrand &errand)
{
    errand.begin(text(u"Looking for the phone"_s), answerLimit);
    errand.call(knownDevices, [this, &errand](const QVariantList &answer) {
        VXError error;
        const QString phone = choose(qdbus_cast<QMap<QString, QString>>(answer.value(0)), &error);
        setPhone(phone);
        if (phone.isNull())
            return errand.fail(error);
        lookAtPhone(errand);
    });
}

// The preference "device" contains the daemon's identifier or the phone's name; without it, the only phone is chosen.
QString VXAndroidPhone::choose(const QMap<QString, QString> &phones, VXError *error) const
{
    const QString wanted = preference(u"device"_s);
    QStringList found;
    QStringList all;
    for (auto phone = phones.cbegin(); phone != phones.cend(); ++phone) {
        if (wanted.isEmpty() || wanted == phone.key() || wanted.compare(*phone, Qt::CaseInsensitive) == 0)
            found.append(phone.key());
        all.append(u"%1 (%2)"_s.arg(*phone, phone.key()));
    }
    if (found.size() == 1)
        return found.first();
    const QString known = all.isEmpty()
                              ? text(u"Is the app KDE Connect open on the phone, in the same network?"_s)
                              : text(u"It knows %1: the preference \"device\" names one."_s).arg(all.join(", "_L1));
    *error = VXBusError(found.isEmpty() ? text(u"KDE Connect does not know the phone."_s)
                                        : text(u"KDE Connect knows several phones."_s),
                        known);
    return {};
}

VXError VXAndroidPhone::problemOf(const QDBusMessage &properties) const
{
    const QVariantMap phone = qdbus_cast<QVariantMap>(properties.arguments().value(0));
    if (properties.type() == QDBusMessage::ErrorMessage || !phone.value(u"isReachable"_s).toBool())
        return VXBusError(text(u"The phone is not in reach."_s),
                          text(u"Is the app KDE Connect open on the phone, in the same network?"_s));
    // From version 23.08 on it has another name.
    if (!phone.value(u"isTrusted"_s, phone.value(u"isPaired"_s)).toBool())
        return VXBusError(
            text(u"The phone is not paired with this computer."_s),
            text(u"The action \"pair\" asks for it; the person at the phone must agree within half a minute."_s));
    return {};
}

// Before it is paired, a phone may be known without having an object.
void VXAndroidPhone::lookAtPhone(VXBusErrand &errand)
{
    errand.ask(propertiesOf(_phone), [this, &errand](const QDBusMessage &answer) {
        const QVariantMap phone = qdbus_cast<QVariantMap>(answer.arguments().value(0));
        const QString name = phone.value(u"name"_s).toString();
        if (!name.isEmpty())
            setDeviceProperty(name, u"ownName"_s);
        if (const VXError problem = problemOf(answer); !problem.isNull())
            return errand.fail(problem);
        lookAtPlugins(errand);
    });
}

void VXAndroidPhone::lookAtPlugins(VXBusErrand &errand)
{
    errand.call({.path = VXConnectNames::path(_phone),
                 .interface = VXConnectNames::device,
                 .method = u"loadedPlugins"_s,
                 .signature = u"as"_s},
                [this, &errand](const QVariantList &answer) {
                    offerActions(answer.value(0).toStringList());
                    QStringList missing;
                    if (!_plugins.contains(smsPlugin))
                        missing.append(text(u"SMS (permissions to read and send SMS)"_s));
                    if (!_plugins.contains(contactsPlugin))
                        missing.append(text(u"contacts (permission to read contacts)"_s));
                    if (!_plugins.contains(telephonyPlugin))
                        missing.append(text(u"calls (permissions for the phone's state and its list of calls)"_s));
                    show(u"notAllowed"_s, missing.isEmpty() ? QVariant() : QVariant(missing.join("; "_L1)),
                         u"To be allowed in the app KDE Connect"_s, 20);
                    const bool isNew = !isConnected();
                    setState(State::Connected);
                    errand.succeed();
                    if (isNew && _plugins.contains(smsPlugin))
                        _messages->survey();
                    if (isNew)
                        readBattery();
                });
}

void VXAndroidPhone::readBattery()
{
    const VXBusCall get{.path = VXConnectNames::path(_phone, u"battery"_s),
                        .interface = VXBusNames::properties,
                        .method = u"Get"_s,
                        .arguments = {VXConnectNames::battery, u"charge"_s},
                        .signature = u"v"_s};
    _service->call(get, answerLimit, this, [this](const QDBusMessage &answer) {
        const QVariant charge = answer.arguments().value(0).value<QDBusVariant>().variant();
        if (answer.type() != QDBusMessage::ErrorMessage && charge.toInt() >= 0)
            show(u"battery"_s, charge.toInt(), u"Battery (%)"_s, 10);
    });
}

// -- Calls

void VXAndroidPhone::callWasReceived(const QString &event, const QString &number)
{
    if (event != "callReceived"_L1 && event != "missedCall"_L1)
        return;
    _calls.ring(number, true, number);
    if (event == "missedCall"_L1)
        return _calls.end(number);
    const QString identifier = _calls.identifier(number);
    QTimer::singleShot(longestRinging, this, [this, number, identifier] {
        if (_calls.identifier(number) == identifier)
            _calls.end(number, VXPhoneCalls::End::Unknown);
    });
}
