// Actions on the phone: pairing, reading its contacts, dialling.

#include "VXAndroidPhone.h"

#include "VXBusText.h"
#include "VXConnectContacts.h"
#include "VXConnectNames.h"
#include "VXPhoneText.h"

#include <QtCore/QDeadlineTimer>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto pairLimit = 45s;      // the daemon gives the person 30
constexpr auto discoveryLimit = 20s; // until the phone shows up
constexpr auto contactsLimit = 60s;  // until the next one arrives
constexpr auto contactsPause = 20ms; // between looks at what has arrived

} // namespace

// -- Pairing

// A phone that is not visible is searched for.
void VXAndroidPhone::pair(VXBusErrand &errand)
{
    const QVariantList owner{u"vornix"_s};
    const VXBusCall release{.path = VXConnectNames::root,
                            .interface = VXConnectNames::daemon,
                            .method = u"releaseDiscoveryMode"_s,
                            .arguments = owner};
    errand.setFarewell([service = _service, release] { service->send(release); });
    errand.begin(text(u"Looking for the phone"_s), discoveryLimit);
    const auto look = [this, &errand] {
        errand.call({.path = VXConnectNames::root,
                     .interface = VXConnectNames::daemon,
                     .method = u"deviceNames"_s,
                     .arguments = {true, false},
                     .signature = u"a{ss}"_s},
                    [this, &errand](const QVariantList &answer) {
                        VXError error;
                        const auto phones = qdbus_cast<QMap<QString, QString>>(answer.value(0));
                        const QString phone = choose(phones, &error);
                        if (!phone.isNull()) {
                            setPhone(phone);
                            requestPair(errand);
                        } else if (phones.size() > 1 && preference(u"device"_s).isEmpty()) {
                            errand.fail(error);
                        }
                    });
    };
    errand.listen(VXConnectNames::root, VXConnectNames::daemon, {}, [look](const QDBusMessage &) { look(); });
    for (const QString &method : {u"acquireDiscoveryMode"_s, u"forceOnNetworkChange"_s})
        errand.call({.path = VXConnectNames::root,
                     .interface = VXConnectNames::daemon,
                     .method = method,
                     .arguments = method == "acquireDiscoveryMode"_L1 ? owner : QVariantList()},
                    [](const QVariantList &) {});
    look();
}

void VXAndroidPhone::requestPair(VXBusErrand &errand)
{
    errand.begin(text(u"Waiting for the person at the phone to agree"_s), pairLimit);
    const QString path = VXConnectNames::path(_phone);
    const auto done = [this, &errand] {
        errand.service().send({.path = VXConnectNames::root,
                               .interface = VXConnectNames::daemon,
                               .method = u"releaseDiscoveryMode"_s,
                               .arguments = {u"vornix"_s}});
        errand.succeed();
        find();
    };
    errand.listen(path, VXConnectNames::device, u"trustedChanged"_s, [done](const QDBusMessage &signal) {
        if (signal.arguments().value(0).toBool())
            done();
    });
    errand.listen(path, VXConnectNames::device, u"pairingError"_s, [this, &errand](const QDBusMessage &signal) {
        errand.fail(VXBusError(text(u"The phone was not paired: %1"_s).arg(signal.arguments().value(0).toString())));
    });
    errand.call({.path = path, .interface = VXConnectNames::device, .method = u"isTrusted"_s, .signature = u"b"_s},
                [&errand, path, done](const QVariantList &answer) {
                    if (answer.value(0).toBool())
                        return done(); // it is already
                    errand.call({.path = path, .interface = VXConnectNames::device, .method = u"requestPair"_s},
                                [](const QVariantList &) {});
                });
}

void VXAndroidPhone::unpair(VXBusErrand &errand)
{
    if (_phone.isNull())
        return errand.fail(VXBusError(text(u"KDE Connect does not know the phone."_s)));
    errand.begin(text(u"Ending the pairing"_s), answerLimit);
    errand.call({.path = VXConnectNames::path(_phone), .interface = VXConnectNames::device, .method = u"unpair"_s},
                [this, &errand](const QVariantList &) {
                    errand.succeed();
                    find();
                });
}

// -- Contacts

/** Contacts, portion by portion. */
struct VXAndroidPhone::ContactReading
{
    const std::shared_ptr<VXConnectContacts> contacts;
    bool areAllThere = false;     // says the daemon
    QDeadlineTimer deadline = {}; // for the next card
    QVariantList items = {};      // that were not handed over
    QStringList problems = {};
};

void VXAndroidPhone::readContacts(VXBusErrand &errand)
{
    const auto contacts = std::make_shared<VXConnectContacts>(_phone);
    const auto reading = std::make_shared<ContactReading>(ContactReading{.contacts = contacts});
    errand.begin(text(u"Reading contacts"_s), contactsLimit);
    errand.compute([contacts] { return contacts->putAside(); },
                   [this, &errand, reading](const QString &problem) {
                       if (problem.isNull())
                           fetchContacts(errand, reading);
                       else
                           errand.fail(VXBusError(problem));
                   });
    errand.setFarewell([contacts] { QThreadPool::globalInstance()->start([contacts] { contacts->bringBack(); }); });
}

// Begins a step, in which the daemon may say that it is done; then `didArrive` is called.
void VXAndroidPhone::beginContacts(VXBusErrand &errand, const std::shared_ptr<ContactReading> &reading,
                                   std::chrono::milliseconds limit, const std::function<void()> &didArrive)
{
    errand.begin(text(u"Reading contacts"_s), limit);
    errand.listen(VXConnectNames::path(_phone, u"contacts"_s), VXConnectNames::contacts, u"localCacheSynchronized"_s,
                  [reading, didArrive](const QDBusMessage &) {
                      reading->areAllThere = true;
                      if (didArrive)
                          didArrive();
                  });
}

void VXAndroidPhone::fetchContacts(VXBusErrand &errand, const std::shared_ptr<ContactReading> &reading)
{
    const auto read = [this, &errand, reading] { readPortion(errand, reading); };
    reading->deadline.setRemainingTime(contactsLimit);
    beginContacts(errand, reading, contactsLimit);
    errand.call({.path = VXConnectNames::path(_phone, u"contacts"_s),
                 .interface = VXConnectNames::contacts,
                 .method = u"synchronizeRemoteWithLocal"_s},
                [reading, read](const QVariantList &) {
                    reading->areAllThere = false; // what it told before its answer is of another request
                    read();
                });
}

// What has arrived is read while the daemon writes the rest.
void VXAndroidPhone::readPortion(VXBusErrand &errand, const std::shared_ptr<ContactReading> &reading)
{
    beginContacts(errand, reading, contactsLimit);
    const auto take = [this, &errand, reading](const VXConnectContacts::Cards &cards) {
        didReadPortion(errand, reading, cards);
    };
    errand.compute(
        [contacts = reading->contacts, areAllThere = reading->areAllThere] { return contacts->next(areAllThere); },
        take);
}

// Whoever takes portions has taken all but the last of them.
void VXAndroidPhone::didReadPortion(VXBusErrand &errand, const std::shared_ptr<ContactReading> &reading,
                                    const VXConnectContacts::Cards &cards)
{
    const auto next = [this, &errand, reading] { readPortion(errand, reading); };
    reading->problems += cards.problems;
    reading->items += cards.items;
    if (cards.isLast)
        return finishContacts(errand, *reading);
    if (!cards.isAny && !reading->areAllThere) {
        const auto left = std::chrono::milliseconds(reading->deadline.remainingTime());
        beginContacts(errand, reading, left, next);
        if (left > contactsPause) // else the step fails
            errand.wait(contactsPause, next);
        return;
    }
    reading->deadline.setRemainingTime(contactsLimit);
    beginContacts(errand, reading, VXBusErrand::takingLimit);
    errand.handOver(reading->items, next);
}

void VXAndroidPhone::finishContacts(VXBusErrand &errand, const ContactReading &reading)
{
    const std::shared_ptr<VXConnectContacts> contacts = reading.contacts;
    errand.succeed({{u"items"_s, reading.items},
                    {u"problems"_s, reading.problems},
                    {u"isComplete"_s, reading.problems.isEmpty()}});
    QThreadPool::globalInstance()->start([contacts] { contacts->forget(); });
}

// -- Dialling

// The phone shows the number; the person presses the key.
void VXAndroidPhone::dial(VXBusErrand &errand)
{
    VXError error;
    const QString number = VXNumberToDial(errand.object(), &error);
    if (number.isNull())
        return errand.fail(error);
    errand.begin(text(u"Dialling"_s), answerLimit);
    errand.call({.path = VXConnectNames::path(_phone, u"share"_s),
                 .interface = VXConnectNames::share,
                 .method = u"shareUrl"_s,
                 .arguments = {"tel:"_L1 + QString(number).replace(u'#', u"%23"_s)}},
                [&errand](const QVariantList &) { errand.succeed(); });
}
