#include "VXBluetoothPhone.h"

#include "VXBluetoothNames.h"
#include "VXBusText.h"
#include "VXDeviceFinding.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr std::chrono::seconds firstDelay{5}; // doubled after each failure
constexpr std::chrono::seconds longestDelay{300};
constexpr auto connectionLimit = 150s; // a phone that asks its user is tried several times

} // namespace

VXBluetoothPhone::VXBluetoothPhone() : _delay(firstDelay)
{
    _again.setSingleShot(true);
    connect(&_again, &QTimer::timeout, this, &VXBluetoothPhone::begin);
}

VXBluetoothPhone::~VXBluetoothPhone()
{
    ++_attempt; // the outcome of what is in progress is dropped
    _connecting.reset();
    stopQueues();
}

// -- Finding

void VXBluetoothPhone::findDevices(const std::shared_ptr<VXDeviceFinding> &finding)
{
    _watch = std::make_unique<VXBluetoothWatch>([this](const QString &key) { return text(key); });
    connect(_watch.get(), &VXBluetoothWatch::didChange, this, [this, finding] {
        tellFound(*finding);
        finding->conclude();
    });
}

void VXBluetoothPhone::tellFound(VXDeviceFinding &finding) const
{
    if (!_watch->problem().isNull())
        return finding.setProblem(_watch->problem());
    for (const VXBluetoothEntry &phone : _watch->phones()) {
        QString identifier = phone.address.toLower();
        identifier.remove(u':');
        VXFoundDevice device{.name = phone.name.isEmpty() ? phone.address : phone.name,
                             .identifier = identifier,
                             .preferences = {{u"address"_s, phone.address}},
                             .place = "Bluetooth, "_L1 + phone.address,
                             .problem = _watch->problemOf(phone.address)};
        if (!phone.name.isEmpty())
            device.preferences.insert(u"name"_s, phone.name);
        finding.add(device);
    }
}

// -- The device

bool VXBluetoothPhone::initWithURL(const QUrl &theURL)
{
    if (!VXBusDevice::initWithURL(theURL))
        return false;
    const VXObexPeer peer{.address = [this] { return preference(u"address"_s); },
                          .text = [this](const QString &key) { return text(key); }};
    _obex = VXBusService::named(VXBluetoothNames::obex, u"session"_s);
    _contactsQueue = &addQueue(_obex); // reading contacts must not delay a message
    _messagesQueue = &addQueue(_obex);
    _phonebook = std::make_unique<VXPhonebookAccess>(
        peer, [this](const QString &number) { show(u"phoneNumber"_s, number, u"Own number"_s, 50); });
    _messages = std::make_unique<VXMessageAccess>(*this, *_messagesQueue, peer);
    connect(_messages.get(), &VXMessageAccess::didLose, this, &VXBluetoothPhone::lose);
    connect(_obex.get(), &VXBusService::didAppear, this, [this] {
        if (_isTrying)
            tryPhone();
    });
    connect(_obex.get(), &VXBusService::didVanish, this, &VXBluetoothPhone::lose);
    connect(_obex.get(), &VXBusService::didFailToStart, this, [this](const QString &problem) {
        if (_isTrying)
            didFail(VXBusError(problem, _obex->remedyOfStart(text(u"Install the package bluez-obexd."_s))));
    });
    connect(this, &VXDevicePlugin::preferencesDidChange, this, [this](const QString &key) {
        if (key != "name"_L1)
            startAnew();
    });
    startAnew();
    return true;
}

void VXBluetoothPhone::pluginWillUnload()
{
    ++_attempt;
    _again.stop();
    _watch.reset();
    if (_connecting)
        _connecting->stop();
    if (_messages)
        _messages->close();
    if (_telephony)
        _telephony->stop();
    VXBusDevice::pluginWillUnload();
}

// With other preferences it may be a different phone.
void VXBluetoothPhone::startAnew()
{
    ++_attempt;
    _isTrying = false;
    _connecting = std::make_unique<VXBusQueue>(_obex);
    _connecting->open();
    _messages->close();
    setState(State::Away);
    makeTelephony();
    _watch = std::make_unique<VXBluetoothWatch>([this](const QString &key) { return text(key); });
    connect(_watch.get(), &VXBluetoothWatch::didChange, this, &VXBluetoothPhone::bluetoothDidChange);
    offerActions();
    setState(State::Connecting, {}, connectionLimit);
}

void VXBluetoothPhone::makeTelephony()
{
    if (_telephony)
        _telephony->stop();
    _telephony = std::make_unique<VXTelephony>(
        *this, VXTelephony::Settings{.service = preference(u"telephony_service"_s, u"org.ofono"_s),
                                     .bus = preference(u"telephony_bus"_s, u"system"_s),
                                     .path = preference(u"telephony_path"_s),
                                     .address = preference(u"address"_s)});
    connect(_telephony.get(), &VXTelephony::didChange, this, [this] {
        show(u"calls"_s, _telephony->isReady() ? QVariant(text(u"connected"_s)) : QVariant(), u"Calls"_s, 30);
    });
}

// -- Actions

// As long as the phone is unknown, it is assumed to have everything.
bool VXBluetoothPhone::hasProfile(const QString &profile) const
{
    const VXBluetoothEntry *const phone = _watch ? _watch->phone(preference(u"address"_s)) : nullptr;
    return phone == nullptr || phone->offers(profile);
}

void VXBluetoothPhone::offerActions()
{
    using namespace VXBluetoothNames;
    const auto offerContacts = [this](const QString &action, void (VXPhonebookAccess::*work)(VXBusErrand &)) {
        setOffered(action, hasProfile(contactsProfile), *_contactsQueue,
                   [this, work](VXBusErrand &errand) { (_phonebook.get()->*work)(errand); });
    };
    const auto offerMessages = [this](const QString &action, void (VXMessageAccess::*work)(VXBusErrand &)) {
        setOffered(action, hasProfile(messagesProfile), *_messagesQueue,
                   [this, work](VXBusErrand &errand) { (_messages.get()->*work)(errand); });
    };
    const auto offerCalls = [this](const QString &action, void (VXTelephony::*work)(VXBusErrand &)) {
        setOffered(action, hasProfile(callsProfile),
                   [this, work](const VXDeviceAction::Ptr &asked) { _telephony->enqueue(asked, work); });
    };
    offerContacts(u"read_contacts"_s, &VXPhonebookAccess::readContacts);
    offerContacts(u"read_calls"_s, &VXPhonebookAccess::readCalls);
    offerMessages(u"read_messages"_s, &VXMessageAccess::read);
    offerMessages(u"send_message"_s, &VXMessageAccess::send);
    offerMessages(u"write_message"_s, &VXMessageAccess::write);
    offerMessages(u"delete_message"_s, &VXMessageAccess::remove);
    offerCalls(u"dial"_s, &VXTelephony::dial);
    offerCalls(u"answer"_s, &VXTelephony::answer);
    offerCalls(u"hang_up"_s, &VXTelephony::hangUp);
}

// -- Connecting

void VXBluetoothPhone::bluetoothDidChange()
{
    const QString address = preference(u"address"_s);
    const VXError problem =
        address.isEmpty() ? VXBusError(text(u"It is not said which phone this is."_s),
                                       text(u"Set the preference address; \"vornix devices find\" shows phones."_s))
                          : _watch->problemOf(address);
    if (!problem.isNull()) { // until that changes
        _again.stop();
        _messages->close();
        return setState(State::Away, problem);
    }
    const VXBluetoothEntry &phone = *_watch->phone(address);
    if (devicePropertyForKey(u"ownName"_s) != phone.name)
        setDeviceProperty(phone.name, u"ownName"_s);
    offerActions();
    const bool hasCome = phone.isConnected && !_wasLinked;
    const bool hasGone = !phone.isConnected && _wasLinked;
    _wasLinked = phone.isConnected;
    if (hasGone && isConnected() && !_messages->isOpen()) // otherwise its end would be reported
        return lose();
    if (hasCome || !_again.isActive()) // otherwise it will be tried in a while
        begin();
}

void VXBluetoothPhone::reach()
{
    begin();
}

void VXBluetoothPhone::begin()
{
    if (_isShutdown || _isTrying || isConnected() || !_watch->isKnown())
        return;
    if (!_watch->problemOf(preference(u"address"_s)).isNull())
        return; // that will be reported
    _again.stop();
    ++_attempt;
    _isTrying = true;
    setState(State::Connecting, {}, connectionLimit);
    if (_obex->isThere())
        tryPhone();
    else
        _obex->activate();
}

VXBusErrand::Conclusion VXBluetoothPhone::ofThisAttempt(const std::function<void(const VXError &error)> &then)
{
    return [this, attempt = _attempt, then](const QVariantMap &, const VXError &error) {
        if (attempt == _attempt)
            then(error);
    };
}

void VXBluetoothPhone::tryPhone()
{
    if (!hasProfile(VXBluetoothNames::messagesProfile))
        return tryContacts({});
    _connecting->enqueue([this](VXBusErrand &errand) { _messages->open(errand); },
                         ofThisAttempt([this](const VXError &error) {
                             if (error.isNull())
                                 didReach({});
                             else
                                 tryContacts(error);
                         }));
}

// A phone that does not give access to its messages may still allow its contacts to be read.
void VXBluetoothPhone::tryContacts(const VXError &messagesProblem)
{
    if (!hasProfile(VXBluetoothNames::contactsProfile))
        return messagesProblem.isNull() ? didReach({}) : didFail(messagesProblem);
    _connecting->enqueue([this](VXBusErrand &errand) { _phonebook->tryPhone(errand); },
                         ofThisAttempt([this, messagesProblem](const VXError &error) {
                             if (error.isNull())
                                 didReach(messagesProblem);
                             else
                                 didFail(messagesProblem.isNull() ? error : messagesProblem);
                         }));
}

void VXBluetoothPhone::didReach(const VXError &messagesProblem)
{
    _isTrying = false;
    _delay = firstDelay;
    QString told = messagesProblem.isNull() ? QString() : messagesProblem.localizedDescription();
    if (const QString remedy = messagesProblem.localizedRecoverySuggestion(); !remedy.isEmpty())
        told += u' ' + remedy;
    show(u"messages"_s, told.isNull() ? QVariant() : QVariant(told), u"Messages"_s, 20);
    setState(State::Connected);
}

void VXBluetoothPhone::didFail(const VXError &why)
{
    _isTrying = false;
    setState(State::Away, why);
    _again.start(_delay);
    _delay = std::min(2 * _delay, longestDelay);
}

// The connection was lost, by the phone or by the service.
void VXBluetoothPhone::lose()
{
    if (!isConnected())
        return;
    _messages->close();
    setState(State::Away, VXBusError(text(u"The connection to the phone was lost."_s),
                                     text(u"It is made anew as soon as the phone is near."_s)));
    _again.start(_delay);
}
