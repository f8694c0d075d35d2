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

/** Something to be done on a phone. */
struct VXPhoneChange
{
    QString name;       // of the person
    QVariantMap object; // of the action
    // what is written, as it is here; none: the contact is to be deleted
    std::optional<VXContactRecord> here = std::nullopt;
    VXManagedObjectPtr place;       // until it is saved
    VXManagedObjectID placeID = {}; // from then on
};

/**
 * Synchronises the store "phonebook" with the contacts that a phone has, in one save that can be undone
 * (VXContactHistory), and tells what is to be changed on the phone. What both had when they last agreed is kept in the
 * store (VXContactPlace), so that it is known which of them has changed. For one reading; on any one thread.
 */
class VXContactReconciler
{
public:
    /** `phone`: what identifies the phone, such as its IMEI. What is known of other phones at that URL is left alone,
     *  and is there when they come back. Null: the phone does not tell. */
    VXContactReconciler(const VXPersistentStoreCoordinator::Ptr &coordinator, const QString &deviceURL,
                        const QString &deviceName, const QString &phone = {});
    ~VXContactReconciler();

    /** Without this, a phone that lost more than half of a memory's contacts, or is about to lose them, leads to a
     *  question. */
    void setAcceptsDeletions(bool flag) { _acceptsDeletions = flag; }
    /** The phone was reset, or is another one: what it lacks was not deleted there. It is synchronised like a phone
     *  never seen before, and then gets back what it had. */
    void setIsNewPhone(bool flag) { _isNewPhone = flag; }
    /** Contacts that were never on the phone are to be put there too. */
    void setAddsAll(bool flag) { _addsAll = flag; }

    /** `isAll`: what is missing is no longer on the phone. False, with an error, if the store cannot be read or saved.
     *  */
    bool run(const QList<VXPhoneContact> &contacts, bool isAll, VXError *error);

    struct Outcome
    {
        bool isOtherPhone = false; // other phones were known at that URL, but not this one
        QString question = {};     // to be asked before anything is changed: nothing was changed yet; null for none
        QList<VXPhoneChange> changes = {};
        QStringList added = {}; // names of those added, changed and removed here
        QStringList changed = {};
        QStringList removed = {};
        QStringList conflicts = {}; // what was changed on both sides, and what became of it: a sentence each
    };
    /** After a successful run. For any thread. */
    const Outcome &outcome() const { return _outcome; }

private:
    /** A contact and its place now; the contact may have been known before. */
    struct Link
    {
        const VXPhoneContact *contact;
        VXContactPlace place = {};
        bool wasKnown = false; // the place was known before its person was deleted here, or became another's
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
    std::optional<VXFetchResult> _persons;        // known to have been on the phone
    std::optional<VXContactChangeSet> _changeSet; // once there is something to change
    QSet<VXManagedObjectPtr> _noted;              // persons
    QList<Link> _links;
    Outcome _outcome;
};
