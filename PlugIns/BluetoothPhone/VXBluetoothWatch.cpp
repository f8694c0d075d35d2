#include "VXBluetoothWatch.h"

#include "VXBluetoothNames.h"
#include "VXBusErrand.h"
#include "VXBusNames.h"
#include "VXBusText.h"
#include "VXBusValue.h"

#include <QtCore/QRegularExpression>
#include <QtDBus/QDBusArgument>
#include <QtDBus/QDBusObjectPath>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto answerLimit = 8s;

using Interfaces = QMap<QString, QVariantMap>;

// Evaluates GetManagedObjects: what each object has, by path.
QMap<QString, Interfaces> objectsOf(const QVariant &answer)
{
    QMap<QString, Interfaces> objects;
    const auto argument = answer.value<QDBusArgument>();
    argument.beginMap();
    while (!argument.atEnd()) {
        QDBusObjectPath path;
        Interfaces interfaces;
        argument.beginMapEntry();
        argument >> path >> interfaces;
        argument.endMapEntry();
        objects.insert(path.path(), interfaces);
    }
    argument.endMap();
    return objects;
}

} // namespace

bool VXBluetoothEntry::offers(const QString &profile) const
{
    return std::ranges::any_of(profiles, [&](const QString &each) { return each.startsWith(profile); });
}

bool VXBluetoothEntry::isPhone() const
{
    using namespace VXBluetoothNames;
    static const QRegularExpression form(u"\\A([0-9A-Fa-f]{2}:){5}[0-9A-Fa-f]{2}\\z"_s);
    if (!form.match(address).hasMatch())
        return false;
    return offers(contactsProfile) || offers(messagesProfile) || offers(callsProfile);
}

VXBluetoothWatch::VXBluetoothWatch(const Text &text)
    : _text(text), _service(VXBusService::named(VXBluetoothNames::bluez, u"system"_s))
{
    _soon.setSingleShot(true);
    connect(&_soon, &QTimer::timeout, this, &VXBluetoothWatch::read);
    const auto readSoon = [this](const QDBusMessage &) { _soon.start(0); };
    _service->listen(u"/"_s, VXBusNames::objectManager, {}, this, readSoon);
    _service->listen({}, VXBusNames::properties, u"PropertiesChanged"_s, this, [this](const QDBusMessage &signal) {
        const QString interface = signal.arguments().value(0).toString();
        if (interface == VXBluetoothNames::device || interface == VXBluetoothNames::adapter)
            _soon.start(0);
    });
    connect(_service.get(), &VXBusService::didAppear, this, &VXBluetoothWatch::read);
    connect(_service.get(), &VXBusService::didVanish, this, &VXBluetoothWatch::beAbsent);
    connect(_service.get(), &VXBusService::didProveAbsent, this, &VXBluetoothWatch::beAbsent);
    if (_service->isThere())
        _soon.start(0);
    else if (_service->isKnown())
        QTimer::singleShot(0, this, &VXBluetoothWatch::beAbsent);
}

void VXBluetoothWatch::beAbsent()
{
    _phones.clear();
    _isKnown = true;
    _problem = VXBusError(_text(u"Bluetooth is not there: %1"_s).arg(_service->problem()),
                          _text(u"Connect a Bluetooth adapter, and see that the service \"bluetooth\" runs (package "
                                "bluez)."_s));
    Q_EMIT didChange();
}

void VXBluetoothWatch::read()
{
    _service->call({.path = u"/"_s,
                    .interface = VXBusNames::objectManager,
                    .method = u"GetManagedObjects"_s,
                    .signature = u"a{oa{sa{sv}}}"_s},
                   answerLimit, this, [this](const QDBusMessage &answer) { take(answer); });
}

void VXBluetoothWatch::take(const QDBusMessage &answer)
{
    _phones.clear();
    _isKnown = true;
    if (answer.errorName().endsWith(".NoReply"_L1))
        _problem = VXBusError(VXBusText(u"%1: the answer did not come in time."_s).arg(u"Bluetooth"_s));
    else
        _problem = answer.type() == QDBusMessage::ErrorMessage ? VXBusErrand::errorOf(answer) : VXError();
    if (_problem.isNull()) {
        const QMap<QString, Interfaces> objects = objectsOf(answer.arguments().value(0));
        for (auto object = objects.cbegin(); object != objects.cend(); ++object) {
            const QVariantMap values = object->value(VXBluetoothNames::device);
            const QString adapter = values.value(u"Adapter"_s).value<QDBusObjectPath>().path();
            const VXBluetoothEntry entry{
                .path = object.key(),
                .address = values.value(u"Address"_s).toString(),
                .name = values.value(u"Alias"_s).toString(),
                .profiles = VXBusTexts(values.value(u"UUIDs"_s)),
                .isPaired = values.value(u"Paired"_s).toBool(),
                .isConnected = values.value(u"Connected"_s).toBool(),
                .isPowered =
                    objects.value(adapter).value(VXBluetoothNames::adapter).value(u"Powered"_s, true).toBool()};
            if (entry.isPhone())
                _phones.append(entry);
        }
        const auto isAdapter = [](const Interfaces &each) { return each.contains(VXBluetoothNames::adapter); };
        if (_phones.isEmpty() && std::ranges::none_of(objects, isAdapter))
            _problem = VXBusError(_text(u"This computer has no Bluetooth adapter."_s),
                                  _text(u"Connect one, or switch on the one it has, as by a key of the keyboard."_s));
    }
    Q_EMIT didChange();
}

const VXBluetoothEntry *VXBluetoothWatch::phone(const QString &address) const
{
    const auto found = std::ranges::find_if(_phones, [&](const VXBluetoothEntry &entry) {
        return entry.address.compare(address, Qt::CaseInsensitive) == 0;
    });
    return found == _phones.cend() ? nullptr : &*found;
}

VXError VXBluetoothWatch::problemOf(const QString &address) const
{
    if (!_problem.isNull())
        return _problem;
    const VXBluetoothEntry *const found = phone(address);
    if (found == nullptr || !found->isPaired)
        return VXBusError(_text(u"The phone %1 is not paired with this computer."_s).arg(address),
                          _text(u"Pair it in the Bluetooth settings of the desktop, and confirm on the phone."_s));
    if (!found->isPowered)
        return VXBusError(_text(u"Bluetooth is switched off on this computer."_s),
                          _text(u"Switch it on in the settings of the desktop."_s));
    return {};
}
