#include "VXObexSession.h"

#include "VXBluetoothNames.h"
#include "VXBusText.h"

#include <QtCore/QHash>
#include <QtCore/QSet>
#include <QtDBus/QDBusArgument>
#include <QtDBus/QDBusObjectPath>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto sessionLimit = 70s; // the service gives up by itself after 60
constexpr int mostTries = 4;       // of ten seconds each

// What the service says of a phone, and what its user may do about it.
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

void trySession(VXBusErrand &errand, const VXObexPeer &peer, const QString &target, int triesLeft,
                const std::function<void(const QString &)> &then)
{
    errand.begin(peer.text(u"Connecting; the phone may ask for permission"_s), sessionLimit);
    const auto taken =
        errand.guarded<QDBusMessage>([&errand, peer, target, triesLeft, then](const QDBusMessage &answer) {
            if (answer.type() != QDBusMessage::ErrorMessage)
                return then(answer.arguments().value(0).value<QDBusObjectPath>().path());
            if (triesLeft > 0 && answer.errorMessage().contains("Timed out"_L1))
                return trySession(errand, peer, target, triesLeft - 1, then);
            errand.fail(errorOfSession(answer, peer, target));
        });
    const std::weak_ptr<VXBusErrand> whose = errand.weak_from_this();
    const VXBusService::Ptr service = errand.service().shared_from_this();
    // The answer is heard even when nobody waits any more: the session would stay.
    const auto heard = [whose, service, taken](const QDBusMessage &answer) {
        const VXBusErrand::Ptr waiting = whose.lock();
        if (waiting && !waiting->isConcluded())
            return taken(answer);
        if (answer.type() != QDBusMessage::ErrorMessage)
            service->send(VXObexFarewell(answer.arguments().value(0).value<QDBusObjectPath>().path()));
    };
    service->call({.path = VXBluetoothNames::obexPath,
                   .interface = VXBluetoothNames::client,
                   .method = u"CreateSession"_s,
                   .arguments = {peer.address(), QVariantMap{{u"Target"_s, target}}},
                   .signature = u"o"_s},
                  2 * sessionLimit, service.get(), heard);
}

/** What is known of the transfers of the service while one is waited for: it may end before its name is told. */
struct Transfers
{
    QString awaited; // null until it is told
    QHash<QString, QString> status;
    QSet<QString> gone;
    std::function<void()> then;
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

void VXRunObexTransfer(VXBusErrand &errand, const VXObexPeer &peer, const VXBusCall &call,
                       const std::function<void()> &then)
{
    const auto transfers = std::make_shared<Transfers>();
    transfers->then = then;
    const auto look = [&errand, peer, transfers] {
        const QString status = transfers->status.value(transfers->awaited);
        if (transfers->awaited.isNull() || !transfers->then)
            return;
        if (status == "complete"_L1)
            std::exchange(transfers->then, {})();
        else if (status == "error"_L1 || transfers->gone.contains(transfers->awaited))
            errand.fail(VXBusError(peer.text(u"The phone ended the transfer before it was complete."_s)));
    };
    errand.listen({}, VXBluetoothNames::properties, u"PropertiesChanged"_s,
                  [&errand, transfers, look](const QDBusMessage &signal) {
                      if (signal.arguments().value(0) != VXBluetoothNames::transfer)
                          return;
                      const auto changed = qdbus_cast<QVariantMap>(signal.arguments().value(1));
                      if (const QString status = changed.value(u"Status"_s).toString(); !status.isEmpty())
                          transfers->status.insert(signal.path(), status);
                      if (signal.path() == transfers->awaited)
                          errand.prolong();
                      look();
                  });
    errand.listen(u"/"_s, VXBluetoothNames::objects, u"InterfacesRemoved"_s,
                  [transfers, look](const QDBusMessage &signal) {
                      transfers->gone.insert(signal.arguments().value(0).value<QDBusObjectPath>().path());
                      look();
                  });
    errand.call(call, [transfers, look](const QVariantList &answer) {
        transfers->awaited = answer.value(0).value<QDBusObjectPath>().path();
        const auto properties = qdbus_cast<QVariantMap>(answer.value(1));
        if (!transfers->status.contains(transfers->awaited))
            transfers->status.insert(transfers->awaited, properties.value(u"Status"_s).toString());
        look();
    });
}
