#pragma once

#include "VXContactHistory.h"
#include "VXContactMerge.h"
#include "VXContactPlaces.h"
#include "VXManagedObjectContext.h"

#include <QtCore/QList>
#include <QtCore/QSet>
#include <QtCore/QStringList>

#include <optional>

class VXContactMatch;
class VXContactWriter;

/** Something that is to be done on a phone. */
struct VXPhoneChange
{
    QString name;                                       // of the person
    QVariantMap object;                                 // of the action
    std::optional<VXContactRecord> here = std::nullopt; // what is written, as it is here; none: it is to be deleted
    VXManagedObjectPtr place;                           // until it is saved
    VXManagedObjectID placeID = {};                     // from then on
};

/**
 * Brings the store "phonebook" into step with the contacts that a phone has, in one save that can be undone (VXContactHistory), and
 * tells what is to be changed on the phone. What both had when they last agreed is kept in the store (VXContactPlace), so
 * that it is known which of them has changed. For one reading; any one thread.
 */
class VXContactReconciler
{
public:
    /** `phone`: what the phone calls itself by, as its IMEI: what was known of others at that URL is left alone, and is there when
     *  they come again. Null: it does not tell. */
    VXContactReconciler(const VXPersistentStoreCoordinator::Ptr &coordinator, const QString &deviceURL,
                        const QString &deviceName, const QString &phone = {});
    ~VXContactReconciler();

    /** Without, a phone that lost more than half of a memory's contacts, or is to lose them, is a question. */
    void setAcceptsDeletions(bool flag) { _acceptsDeletions = flag; }
    /** The phone was reset, or is another one: nothing that it lacks was deleted there. It is brought into step as one that was
     * never seen, and then gets again what it had. */
    void setIsNewPhone(bool flag) { _isNewPhone = flag; }
    /** Also those that were never on the phone are to be put there. */
    void setAddsAll(bool flag) { _addsAll = flag; }

    /** `isAll`: what is missing is not on the phone any more. False, with an error, when the store cannot be read or saved. */
    bool run(const QList<VXPhoneContact> &contacts, bool isAll, VXError *error);

    struct Outcome
    {
        bool isOtherPhone = false; // others were known at that URL, and not this one
        QString question = {};     // to be asked before anything is changed: nothing was; null for none
        QList<VXPhoneChange> changes = {};
        QStringList added = {}; // the names of those that were added, changed and removed here
        QStringList changed = {};
        QStringList removed = {};
        QStringList conflicts = {}; // what was changed at both, and what became of it: a sentence each
    };
    /** After a run that worked. For any thread. */
    const Outcome &outcome() const { return _outcome; }

private:
    /** A contact and the place that it has now; it may have been known before. */
    struct Link
    {
        const VXPhoneContact *contact;
        VXContactPlace place = {};
        bool wasKnown = false; // the place, from before its person was deleted here, or became another's
    };

    bool reconcile(const VXContactPlaces &places, bool isAll, VXError *error);
    std::optional<QList<VXContactPlace>> readPlaces(VXError *error);
    QString questionAbout(const VXContactPlaces &places, bool isAll) const;

    bool link(const QList<Link> &links, VXError *error);
    bool linkContact(Link link, VXContactMatch &match, VXError *error);
    bool unite(const VXManagedObjectPtr &person, const VXContactRecord &contact, VXContactMatch *match, VXError *error);
    bool uniteCards(const QList<VXContactPlaces::Known> &kept, VXError *error);
    bool takeOver(const VXContactPlaces::Known &known, VXError *error);
    void bringBack(const VXContactPlaces::Known &known);
    bool applyAbsence(VXContactPlace place, VXError *error);
    QList<VXManagedObjectPtr> forgetPlaces(const QList<VXContactPlace> &places);
    bool addAll(VXError *error);
    void remove(const VXContactPlace &place, const VXPhoneContact &contact);
    void put(VXContactPlace place);

    bool replace(const VXManagedObjectPtr &person, const VXContactRecord &contact, VXError *error);
    bool noteBefore(const VXManagedObjectPtr &person, bool isRemoved, VXError *error);
    VXContactPlace makePlace(const VXManagedObjectPtr &person);
    bool isMine(const VXContactPlace &place) const;
    bool hasPlace(const VXManagedObjectPtr &person) const;
    bool beginChangeSet(VXError *error);

    const VXPersistentStoreCoordinator::Ptr _coordinator;
    const QString _deviceURL;
    const QString _deviceName;
    const QString _phone;
    bool _acceptsDeletions = false;
    bool _isNewPhone = false;
    bool _addsAll = false;
    VXManagedObjectContext _context;
    std::unique_ptr<VXContactWriter> _writer;
    std::optional<VXFetchResult> _persons;        // who were known to be on the phone
    std::optional<VXContactChangeSet> _changeSet; // once there is something to change
    QSet<VXManagedObjectPtr> _noted;              // persons
    QList<Link> _links;
    Outcome _outcome;
};
