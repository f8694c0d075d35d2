#include "VXModemCalls.h"

#include "VXBusText.h"
#include "VXBusValue.h"
#include "VXModemNames.h"
#include "VXPhoneText.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto answerLimit = 15s;
constexpr auto networkLimit = 60s;

using Paths = QList<QDBusObjectPath>;

VXBusCall propertiesOf(const QString &call)
{
    return {.path = call,
            .interface = VXBusNames::properties,
            .method = u"GetAll"_s,
            .arguments = {VXModemNames::call},
            .signature = u"a{sv}"_s};
}

} // namespace

VXModemCalls::VXModemCalls(VXBusDevice &device, VXBusQueue &queue)
    : _device(device), _queue(queue), _calls([&device](const QString &event, const QString &step,
                                                       const QVariantMap &call) { device.announce(event, step, call); })
{
    VXBusService &service = *queue.service();
    const auto listen = [&](const QString &interface, const QString &member, const auto &then) {
        service.listen({}, interface, member, this, then);
    };
    listen(VXModemNames::voice, u"CallAdded"_s, [this](const QDBusMessage &signal) {
        if (signal.path() == _modem)
            begin(signal.arguments().value(0).value<QDBusObjectPath>().path());
    });
    listen(VXModemNames::voice, u"CallDeleted"_s, [this](const QDBusMessage &signal) {
        if (signal.path() == _modem)
            _calls.end(signal.arguments().value(0).value<QDBusObjectPath>().path());
    });
    listen(VXModemNames::call, u"StateChanged"_s, [this](const QDBusMessage &signal) {
        if (_calls.contains(signal.path()))
            stateDidChange(signal.path(), signal.arguments().value(1).toInt());
    });
    listen(VXBusNames::properties, u"PropertiesChanged"_s, [this](const QDBusMessage &signal) {
        if (!_calls.contains(signal.path()))
            return;
        const QVariantMap changed = VXBusMap(signal.arguments().value(1));
        if (const QString number = changed.value(u"Number"_s).toString(); !number.isEmpty())
            _calls.ring(signal.path(), true, number); // the number came after the first ring
    });
}

void VXModemCalls::setModem(const QString &path)
{
    if (_modem == path)
        return;
    _modem = path;
    _own.clear();
    _calls.endAll();
}

VXBusCall VXModemCalls::method(const QString &path, const QString &name) const
{
    return {.path = path, .interface = VXModemNames::call, .method = name};
}

// -- What the modem tells

VXBusCall VXModemCalls::listing() const
{
    return {.path = _modem, .interface = VXModemNames::voice, .method = u"ListCalls"_s, .signature = u"ao"_s};
}

void VXModemCalls::readAll()
{
    _queue.service()->call(listing(), answerLimit, this, [this, modem = _modem](const QDBusMessage &answer) {
        if (answer.type() == QDBusMessage::ErrorMessage || modem != _modem)
            return;
        for (const QDBusObjectPath &path : qdbus_cast<Paths>(answer.arguments().value(0)))
            begin(path.path());
    });
}

void VXModemCalls::begin(const QString &path)
{
    _queue.service()->call(propertiesOf(path), answerLimit, this,
                           [this, path, modem = _modem](const QDBusMessage &answer) {
                               if (modem == _modem)
                                   take(path, answer);
                           });
}

void VXModemCalls::take(const QString &path, const QDBusMessage &properties)
{
    if (properties.type() == QDBusMessage::ErrorMessage)
        return;
    const auto call = qdbus_cast<QVariantMap>(properties.arguments().value(0));
    take(path, call.value(u"Direction"_s).toInt() == 1, call.value(u"Number"_s).toString(),
         call.value(u"State"_s).toInt());
}

// A call that was made but not dialled yet does not count.
void VXModemCalls::take(const QString &path, bool isIncoming, const QString &number, int state)
{
    if (state == VXModemNames::Terminated || (state == VXModemNames::CallUnknown && !_own.contains(path)))
        return;
    _calls.ring(path, isIncoming, number);
    stateDidChange(path, state);
}

void VXModemCalls::stateDidChange(const QString &path, int state)
{
    if (state == VXModemNames::Active)
        _calls.connect(path);
    else if (state == VXModemNames::Terminated)
        forget(path);
}

// ModemManager keeps ended calls until they are deleted.
void VXModemCalls::forget(const QString &path)
{
    _calls.end(path);
    if (_own.remove(path))
        _queue.service()->send({.path = _modem,
                                .interface = VXModemNames::voice,
                                .method = u"DeleteCall"_s,
                                .arguments = {QVariant::fromValue(QDBusObjectPath(path))}});
}

// -- Actions

void VXModemCalls::dial(VXBusErrand &errand)
{
    VXError error;
    const QString number = VXNumberToDial(errand.object(), &error);
    if (number.isNull())
        return errand.fail(error);
    errand.begin(_device.text(u"Dialling"_s), networkLimit);
    const VXBusCall create{.path = _modem,
                           .interface = VXModemNames::voice,
                           .method = u"CreateCall"_s,
                           .arguments = {QVariantMap{{u"number"_s, number}}},
                           .signature = u"o"_s};
    errand.call(create, [this, &errand, number](const QVariantList &answer) {
        const QString path = answer.value(0).value<QDBusObjectPath>().path();
        _own.insert(path);
        errand.setFarewell([this, path] { forget(path); });
        errand.call(method(path, u"Start"_s), [this, &errand, path, number](const QVariantList &) {
            take(path, false, number, VXModemNames::Dialing);
            errand.succeed();
        });
    });
}

// A listener that has just begun does not know yet which calls are in progress.
void VXModemCalls::withCalls(VXBusErrand &errand, const QString &what, const std::function<void()> &then)
{
    errand.begin(what, networkLimit);
    if (!_calls.isEmpty())
        return then();
    errand.call(listing(), [this, &errand, then](const QVariantList &answer) {
        takeNext(errand, qdbus_cast<Paths>(answer.value(0)), then);
    });
}

void VXModemCalls::takeNext(VXBusErrand &errand, QList<QDBusObjectPath> paths, const std::function<void()> &then)
{
    if (paths.isEmpty())
        return then();
    const QString path = paths.takeFirst().path();
    errand.ask(propertiesOf(path), [this, &errand, paths, path, then](const QDBusMessage &answer) {
        take(path, answer);
        takeNext(errand, paths, then);
    });
}

void VXModemCalls::answer(VXBusErrand &errand)
{
    withCalls(errand, _device.text(u"Taking the call"_s), [this, &errand] {
        const QStringList ringing = _calls.keys(true);
        if (ringing.isEmpty())
            return errand.fail(VXBusError(_device.text(u"No call is ringing."_s)));
        errand.call(method(ringing.first(), u"Accept"_s), [&errand](const QVariantList &) { errand.succeed(); });
    });
}

void VXModemCalls::hangUp(VXBusErrand &errand)
{
    withCalls(errand, _device.text(u"Ending the call"_s), [this, &errand] {
        if (_calls.isEmpty())
            return errand.fail(VXBusError(_device.text(u"There is no call."_s)));
        hangUpNext(errand, _calls.keys());
    });
}

void VXModemCalls::hangUpNext(VXBusErrand &errand, QStringList paths)
{
    if (paths.isEmpty())
        return errand.succeed();
    const QString path = paths.takeFirst();
    errand.ask(method(path, u"Hangup"_s), [this, &errand, paths, path](const QDBusMessage &answer) {
        // It may have ended by itself in the meantime.
        if (answer.type() == QDBusMessage::ErrorMessage && _calls.contains(path))
            return errand.fail(VXBusErrand::errorOf(answer));
        hangUpNext(errand, paths);
    });
}
