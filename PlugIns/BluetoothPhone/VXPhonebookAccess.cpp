#include "VXPhonebookAccess.h"

#include "VXBluetoothNames.h"
#include "VXBusText.h"
#include "VXTransferFolder.h"

#include <QtCore/QFile>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto stepLimit = 70s; // without a sign of life: the service gives up on a stuck phone after 10 or 60

} // namespace

/** One reading: the phone's lists that are still to be fetched, and the contents of the others. */
struct VXPhonebookAccess::Reading
{
    QString what; // for people
    VXPhonebookCards (VXPhonebookFile::*read)();
    QStringList lists;
    QStringList otherLists; // used instead of the first if the phone does not have that one
    QString session = {};
    VXTransferFolder folder = {};
    std::unique_ptr<VXPhonebookFile> file = {}; // the list that is read
    VXPhonebookCards cards = {};                // that were not handed over, and what else was found
};

VXPhonebookAccess::VXPhonebookAccess(VXObexPeer peer, std::function<void(const QString &)> tellNumber)
    : _peer(std::move(peer)), _tellNumber(std::move(tellNumber))
{
}

void VXPhonebookAccess::tryPhone(VXBusErrand &errand)
{
    VXOpenObexSession(errand, _peer, u"pbap"_s, [&errand](const QString &session) {
        errand.service().send(VXObexFarewell(session));
        errand.succeed();
    });
}

void VXPhonebookAccess::readContacts(VXBusErrand &errand)
{
    const std::shared_ptr<Reading> reading(new Reading{.what = _peer.text(u"Reading contacts"_s),
                                                       .read = &VXPhonebookFile::contacts,
                                                       .lists = {u"pb"_s},
                                                       .otherLists = {}});
    VXOpenObexSession(errand, _peer, u"pbap"_s, [this, &errand, reading](const QString &session) {
        reading->session = session;
        readNext(errand, reading);
    });
}

void VXPhonebookAccess::readCalls(VXBusErrand &errand)
{
    const std::shared_ptr<Reading> reading(new Reading{.what = _peer.text(u"Reading calls"_s),
                                                       .read = &VXPhonebookFile::calls,
                                                       .lists = {u"cch"_s},
                                                       .otherLists = {u"mch"_s, u"ich"_s, u"och"_s}});
    VXOpenObexSession(errand, _peer, u"pbap"_s, [this, &errand, reading](const QString &session) {
        reading->session = session;
        readNext(errand, reading);
    });
}

void VXPhonebookAccess::readNext(VXBusErrand &errand, const std::shared_ptr<Reading> &reading)
{
    errand.setFarewell([service = errand.service().shared_from_this(), session = reading->session] {
        service->send(VXObexFarewell(session));
    });
    if (reading->lists.isEmpty())
        return finish(errand, reading);
    errand.begin(reading->what, stepLimit);
    errand.ask({.path = reading->session,
                .interface = VXBluetoothNames::phonebook,
                .method = u"Select"_s,
                .arguments = {u"int"_s, reading->lists.first()}},
               [this, &errand, reading](const QDBusMessage &answer) {
                   if (answer.type() != QDBusMessage::ErrorMessage)
                       return pull(errand, reading);
                   if (reading->otherLists.isEmpty())
                       return errand.fail(VXBusErrand::errorOf(answer));
                   reading->lists = std::exchange(reading->otherLists, {});
                   readNext(errand, reading);
               });
}

void VXPhonebookAccess::pull(VXBusErrand &errand, const std::shared_ptr<Reading> &reading)
{
    if (reading->folder.path().isNull())
        return errand.fail(VXBusError(_peer.text(u"There is no place for what the phone hands over."_s)));
    const QString list = reading->lists.takeFirst();
    const QString path = reading->folder.filePath(list);
    VXRunObexTransfer(errand, _peer,
                      {.path = reading->session,
                       .interface = VXBluetoothNames::phonebook,
                       .method = u"PullAll"_s,
                       .arguments = {path, QVariantMap{{u"Format"_s, u"vcard30"_s}}},
                       .signature = u"oa{sv}"_s},
                      [this, &errand, reading, path](const VXError &problem) {
                          if (!problem.isNull())
                              return errand.fail(problem);
                          reading->file = std::make_unique<VXPhonebookFile>(path);
                          QFile::remove(path); // it is open
                          readPortion(errand, reading);
                      });
}

void VXPhonebookAccess::readPortion(VXBusErrand &errand, const std::shared_ptr<Reading> &reading)
{
    errand.begin(reading->what, stepLimit);
    const auto take = [this, &errand, reading](const VXPhonebookCards &cards) {
        reading->cards.items += cards.items;
        reading->cards.problems += cards.problems;
        if (!cards.ownNumber.isNull())
            reading->cards.ownNumber = cards.ownNumber;
        if (cards.isLast)
            return readNext(errand, reading);
        errand.begin(reading->what, VXBusErrand::takingLimit);
        errand.handOver(reading->cards.items, [this, &errand, reading] { readPortion(errand, reading); });
    };
    errand.compute([reading] { return (reading->file.get()->*reading->read)(); }, take);
}

void VXPhonebookAccess::finish(VXBusErrand &errand, const std::shared_ptr<Reading> &reading)
{
    const VXPhonebookCards &cards = reading->cards;
    if (!cards.ownNumber.isEmpty())
        _tellNumber(cards.ownNumber);
    errand.service().send(VXObexFarewell(reading->session));
    errand.succeed(
        {{u"items"_s, cards.items}, {u"problems"_s, cards.problems}, {u"isComplete"_s, cards.problems.isEmpty()}});
}
