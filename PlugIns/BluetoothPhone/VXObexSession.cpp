#include "VXObexSession.h"

#include "VXBluetoothNames.h"
#include "VXBusNames.h"
#include "VXBusText.h"
#include "VXBusValue.h"

#include <QtCore/QHash>
#include <QtCore/QSet>
#include <QtDBus/QDBusArgument>
#include <QtDBus/QDBusObjectPath>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto sessionLimit = 70s; // the service gives up by itself after 60
constexpr int mostTries = 4;       // of ten seconds each

// What the service says about a phone, and what its user can do about it.
VXError errorOfSession(const QDBusMessage &answer, const VXObexPeer &peer, const QString &target)
{
    const QString said = answer.errorMessage();
    const QString what = target == "map"_L1 ? u"messages"_s : u"contacts"_s;
    if (said.contains("0x43"_L1) || said.contains("0x41"_L1))
        return VXBusError(
            peer.text(u"The phone refuses access to its %1."_s).arg(peer.text(what)),
            peer.text(u"Allow it on the phone, in the Bluetooth settings of this computer: \"Contacts\" and "
                      "\"Messages\" (Android), \"Sync Contacts\" and \"Show Message Notifications\" (iPhone)."_s));
    if (said.contains("service record"_L1))
        return VXBusError(
            peer.text(u"The phone does not offer its %1 now."_s).arg(peer.text(what)),
            peer.text(u"Switch Bluetooth on at the phone, bring it near, and allow this computer access."_s));
    if (said.contains("Timed out"_L1) || answer.errorName().endsWith(".NoReply"_L1))
        return VXBusError(
            peer.text(u"The phone did not answer."_s),
            peer.text(u"The phone may ask whether this computer may have access: unlock it, and confirm."_s));
    return VXBusError(
        peer.text(u"The phone could not be reached: %1"_s).arg(said.isEmpty() ? answer.errorName() : said),
        peer.text(u"Switch Bluetooth on at the phone, and bring it near."_s));
}

QString pathIn(const QDBusMessage &message)
{
    return message.arguments().value(0).value<QDBusObjectPath>().path();
}

// Requests an object of the service. The answer is received even if nobody waits for it any more, since otherwise the
// object would stay.
void askFor(VXBusErrand &errand, const VXBusCall &call, const VXBusService::Answer &then,
            const std::function<VXBusCall(const QString &object)> &farewell)
{
    const auto taken = errand.guarded<QDBusMessage>(then);
    const std::weak_ptr<VXBusErrand> whose = errand.weak_from_this();
    const VXBusService::Ptr service = errand.service().shared_from_this();
    const auto heard = [whose, service, taken, farewell](const QDBusMessage &answer) {
        const VXBusErrand::Ptr waiting = whose.lock();
        if (waiting && !waiting->isConcluded())
            taken(answer);
        else if (answer.type() != QDBusMessage::ErrorMessage)
            service->send(farewell(pathIn(answer)));
    };
    service->call(call, 2 * sessionLimit, service.get(), heard);
}

VXBusCall cancellation(const QString &transfer)
{
    return {.path = transfer, .interface = VXBluetoothNames::transfer, .method = u"Cancel"_s};
}

void trySession(VXBusErrand &errand, const VXObexPeer &peer, const QString &target, int triesLeft,
                const std::function<void(const QString &)> &then)
{
    errand.begin(peer.text(u"Connecting; the phone may ask for permission"_s), sessionLimit);
    const VXBusCall create{.path = VXBluetoothNames::obexPath,
                           .interface = VXBluetoothNames::client,
                           .method = u"CreateSession"_s,
                           .arguments = {peer.address(), QVariantMap{{u"Target"_s, target}}},
                           .signature = u"o"_s};
    const auto taken = [&errand, peer, target, triesLeft, then](const QDBusMessage &answer) {
        if (answer.type() != QDBusMessage::ErrorMessage)
            return then(pathIn(answer));
        if (triesLeft > 0 && answer.errorMessage().contains("Timed out"_L1))
            return trySession(errand, peer, target, triesLeft - 1, then);
        errand.fail(errorOfSession(answer, peer, target));
    };
    askFor(errand, create, taken, VXObexFarewell);
}

/** What is known of the service's transfers while one is awaited: it may end before its name is known. */
struct Transfers
{
    QString awaited = {}; // null until it is known
    QHash<QString, QString> status = {};
    QSet<QString> gone = {};
    std::function<void(const VXError &problem)> then; // null once it was called

    void conclude(const VXError &problem)
    {
        if (const auto call = std::exchange(then, {}))
            call(problem);
    }
    void look(const VXObexPeer &peer)
    {
        const QString known = status.value(awaited);
        if (awaited.isNull())
            return;
        if (known == "complete"_L1)
            conclude({});
        else if (known == "error"_L1 || gone.contains(awaited))
            conclude(VXBusError(peer.text(u"The phone ended the transfer before it was complete."_s)));
    }
};

} // namespace

void VXOpenObexSession(VXBusErrand &errand, const VXObexPeer &peer, const QString &target,
                       const std::function<void(const QString &session)> &then)
{
    trySession(errand, peer, target, mostTries - 1, then);
}

VXBusCall VXObexFarewell(const QString &session)
{
    return {.path = VXBluetoothNames::obexPath,
            .interface = VXBluetoothNames::client,
            .method = u"RemoveSession"_s,
            .arguments = {QVariant::fromValue(QDBusObjectPath(session))}};
}

std::function<void()> VXRunObexTransfer(VXBusErrand &errand, const VXObexPeer &peer, const VXBusCall &call,
                                        const std::function<void(const VXError &problem)> &then)
{
    const std::shared_ptr<Transfers> transfers(new Transfers{.then = then});
    errand.listen({}, VXBusNames::properties, u"PropertiesChanged"_s,
                  [&errand, peer, transfers](const QDBusMessage &signal) {
                      if (signal.arguments().value(0) != VXBluetoothNames::transfer)
                          return;
                      const QVariantMap changed = VXBusMap(signal.arguments().value(1));
                      if (const QString status = changed.value(u"Status"_s).toString(); !status.isEmpty())
                          transfers->status.insert(signal.path(), status);
                      if (signal.path() == transfers->awaited)
                          errand.prolong();
                      transfers->look(peer);
                  });
    errand.listen(u"/"_s, VXBusNames::objectManager, u"InterfacesRemoved"_s,
                  [peer, transfers](const QDBusMessage &signal) {
                      transfers->gone.insert(pathIn(signal));
                      transfers->look(peer);
                  });
    const auto taken = [peer, transfers](const QDBusMessage &answer) {
        if (answer.type() == QDBusMessage::ErrorMessage)
            return transfers->conclude(VXBusErrand::errorOf(answer));
        transfers->awaited = pathIn(answer);
        const QVariantMap properties = VXBusMap(answer.arguments().value(1));
        if (!transfers->status.contains(transfers->awaited))
            transfers->status.insert(transfers->awaited, properties.value(u"Status"_s).toString());
        transfers->look(peer);
    };
    askFor(errand, call, taken, cancellation);
    return [service = errand.service().shared_from_this(), transfers] {
        if (!transfers->awaited.isNull())
            service->send(cancellation(transfers->awaited));
    };
}
