#pragma once

#include "VXContactHistory.h"
#include "VXContactWriter.h"
#include "VXManagedObjectContext.h"
#include "VXPhoneChange.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QSet>
#include <QtCore/QStringList>

#include <functional>
#include <memory>
#include <optional>

class VXContactMatch;

/**
 * Brings the store "phonebook" into step with the contacts that a phone has, in slices, each of which is matched, and saved with what it
 * then is known by, under the store's lock, so that it can be broken off anywhere and be repeated, and undone (VXContactHistory); and
 * tells what is to be changed on the phone. What both had when they last agreed is kept in the store (VXContactPlace), so that it is
 * known which of them has changed. For one reading; any thread, one at a time.
 */
class VXContactReconciler
{
public:
    /** Between slices `isOver` is asked, on the thread that works: then it ends with VXErrorCancelled. */
    VXContactReconciler(const VXPersistentStoreCoordinator::Ptr &coordinator, const QString &deviceURL,
                        const QString &deviceName, const std::function<bool()> &isOver);
    ~VXContactReconciler();

    /** Without this, a phone that lost more than half of a memory's contacts, or is about to lose them, leads to a
     *  question. */
    void setAcceptsDeletions(bool flag) { _acceptsDeletions = flag; }
    /** The phone was reset, or is another one: what it lacks was not deleted there. It is synchronised like a phone
     *  never seen before, and then gets back what it had. */
    void setIsNewPhone(bool flag) { _isNewPhone = flag; }
    /** Contacts that were never on the phone are to be put there too. */
    void setAddsAll(bool flag) { _addsAll = flag; }

    /** Looks what is known of the phone; before anything is taken. False, with an error, when the store cannot be read. */
    [[nodiscard]] bool begin(VXError *error);
    /** Makes a portion of what "read_contacts" gives ready; any thread, once it has begun, also while another is taken. */
    VXPhonePortion ready(const QVariantMap &portion) const { return {portion, _isPhoneKnown}; }
    /** Portions in turn. Where nothing is known of the phone, its contacts come here at once. False, with an error, when they
     *  cannot be kept or saved. */
    [[nodiscard]] bool take(const VXPhonePortion &portion, VXError *error);
    /** When all was read. `isAll`: what is missing is not on the phone any more. `phone`: what the phone calls itself by, as its IMEI:
     *  what was known of others at that URL is left alone, and is there when they come again. Null: it does not tell. False,
     *  with an error, when the store cannot be read or saved; what was saved before stays. */
    [[nodiscard]] bool run(const QString &phone, bool isAll, VXError *error);
    /** Makes what was saved lasting in a power cut, as a run does at its end; until then one may undo the last second of it. */
    bool secure(VXError *error);

    struct Outcome
    {
        bool isOtherPhone = false;         // others were known at that URL, and not this one
        QString question = {};             // to be asked before anything is changed: nothing was; null for none
        QList<VXPhoneChange> changes = {}; // deletions first
        QStringList added = {};            // the names of those that were added, changed and removed here
        QStringList changed = {};
        QStringList removed = {};
        QStringList conflicts = {}; // what was changed on both sides, and what became of it: a sentence each
    };
    /** Of what was saved; after a run. For any thread. */
    const Outcome &outcome() const { return _outcome; }
    /** What was read, which the changes need. */
    const std::shared_ptr<VXPhoneContacts> &contacts() const { return _contacts; }

private:
    using Person = VXManagedObjectPtr;
    using Known = VXContactPlaces::Known;
    using Work = std::function<bool(VXError *error)>;
    using SliceWork = std::function<bool(qsizetype start, qsizetype end, VXError *error)>;
    using KnownWork = std::function<bool(const Known &known, const VXContactPlace &place, VXError *error)>;
    /** A contact that has no person yet. */
    struct Link
    {
        qsizetype contact;
        qsizetype known = -1; // its place, from before its person was deleted here, or became another's; -1 for none
    };
    /** A contact with its place, as far as it is kept from slice to slice. */
    struct Linked
    {
        VXManagedObjectID place = {};
        VXManagedObjectID person = {};
        qsizetype contact = -1;
        bool wasKnown = false; // the place
        bool isNow = true;     // else it had its person before
    };
    /** The same in a slice. */
    struct Card
    {
        VXContactPlace place;
        VXPhoneContact contact;
        qsizetype index = -1; // of the contact
        bool isLinked = false;
        bool wasKnown = true;
    };

    /** What a slice is worked on with. */
    struct Slice
    {
        explicit Slice(const VXPersistentStoreCoordinator::Ptr &coordinator);

        VXManagedObjectContext context;
        VXContactWriter writer;
        std::optional<VXFetchResult> places = {}; // that are worked on, with all that is asked of them
        std::optional<VXFetchResult> persons = {};
        QList<std::pair<VXContactPlace, Linked>> linked = {};
        QList<Person> late = {};
    };

    bool reconcile(const QString &phone, bool isAll, VXError *error);
    bool choosePlaces(VXError *error);
    QString questionAbout(bool isAll) const;

    bool perform(const Work &work, VXError *error);
    bool wasAllRead(VXError *error) const;
    void noteIDs(qsizetype firstChange);
    bool inSlices(qsizetype count, const SliceWork &work, VXError *error);
    /** Calls for each of these places that is still there. */
    bool forKnown(const QList<qsizetype> &known, const KnownWork &work, VXError *error);
    QList<qsizetype> knownThat(const std::function<bool(const Known &known)> &test) const;
    bool readPlaces(const QVariantList &places, const QVariantList &persons, VXError *error);

    bool forgetPlaces(VXError *error);
    bool putFormer(VXError *error);
    bool addAll(VXError *error);

    bool linkAll(VXError *error);
    bool linkInSlices(const QList<Link> &links, VXError *error);
    bool tellPhone(VXError *error);
    bool linkSlice(const QList<Link> &links, VXError *error);
    bool linkContact(const Link &link, const VXPhoneContact &there, const VXContactKeys &keys, VXContactMatch &match,
                     VXError *error);
    bool join(const Person &person, const VXContactRecord &contact, VXContactMatch &match, VXError *error);
    bool unite(const Person &person, const VXContactRecord &contact, VXContactMatch *match, VXError *error);
    bool keepAll(VXError *error);
    bool settleLate(VXError *error);
    bool settleCards(const QList<Linked> &linked, VXError *error);
    bool settle(const QList<Card> &cards, VXError *error);
    bool takeOver(const Card &card, VXError *error);
    bool takeOverLists(const Card &card, VXError *error);
    bool applyAbsences(bool isAll, VXError *error);
    bool applyAbsence(VXContactPlace place, VXError *error);

    void addChange(VXPhoneChange::Kind kind, const QString &name, const VXContactPlace &place, qsizetype contact = -1);
    void bringBack(const Card &card);
    void put(VXContactPlace place);

    bool replace(const Person &person, const VXContactRecord &contact, VXError *error);
    bool noteBefore(const Person &person, bool isRemoved, VXError *error);
    VXContactPlace makePlace(const Person &person);
    void removePlace(VXContactPlace &place);
    void setPhone(VXContactPlace &place) const;
    QList<VXContactPlace> placesHere(const Person &person) const;
    bool hasOtherPlace(const Person &person);
    bool beginChangeSet(VXError *error);

    const VXPersistentStoreCoordinator::Ptr _coordinator;
    const QString _deviceURL;
    const QString _deviceName;
    const std::function<bool()> _isOver;
    const std::shared_ptr<VXPhoneContacts> _contacts;
    bool _isPhoneKnown = false; // from the beginning
    QString _phone;
    qsizetype _linkedCount = 0; // contacts that came here before all was read
    bool _acceptsDeletions = false;
    bool _isNewPhone = false;
    bool _addsAll = false;
    VXContactPlaces _places;                      // of the phone, as far as was known
    std::unique_ptr<Slice> _slice;                // while one is worked on
    QDeadlineTimer _unsecured;                    // until what was saved is secured
    std::optional<VXContactChangeSet> _changeSet; // once there is something to change
    QSet<VXManagedObjectID> _noted;               // persons
    QSet<VXManagedObjectID> _former;              // places that a new phone is to have again
    QList<Linked> _linked;
    QSet<VXManagedObjectID> _late; // persons with several cards: all of them are looked at together
    Outcome _outcome;
};
