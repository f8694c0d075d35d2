#pragma once

#include "MessageDataConstants.h"
#include "VXMessageCandidates.h"
#include "VXPerhapsSent.h"

#include <QtCore/QSet>

/**
 * Files what is on a phone, portion by portion as it is read, and each in slices that are matched, filed and saved under the store's
 * lock. What is known at its place on the phone, and what is like nothing that is here, is filed at once.
 * What may be one that lay elsewhere, or was sent from here, waits until all of the phone is known, and is kept until then; of all
 * others only numbers are. Any thread, one at a time; it never waits for the main thread.
 */
class VXMessageFiling
{
public:
    /** What is to be carried out on the phone. */
    struct Change
    {
        VXManagedObjectID message;
        VXPendingChange kind = VXPendingChange::None;
        QVariantMap object = {}; // of the action
        bool isNew = false;      // on the phone
    };
    struct Outcome
    {
        QList<Change> changes = {};
        int added = 0; // and saved, as all of these
        int changed = 0;
        int left = 0; // on the phone, as no text or not whole
    };
    struct Phone
    {
        QUrl url;
        QStringList actionNames;
        QList<VXManagedObjectID> written = {}; // there just now, and not met yet
    };

    /** Between slices `isOver` is asked, on the thread that files. */
    VXMessageFiling(const VXMessageStore &store, const Phone &phone, const std::function<bool()> &isOver);

    /** Looks what is known to be on the phone: before that is read, as what comes and is filed meanwhile is not gone from there when the
     *  reading lacks it. Else the first portion does it. False, with an error, when the store cannot be read or saved. */
    [[nodiscard]] bool begin(VXError *error);
    /** The items of a result of "read_messages", or of some of it. False, with an error, when the store cannot be read or saved. */
    [[nodiscard]] bool file(const QVariantMap &portion, VXError *error);
    /** When all was read. `isAll`: what did not come is not on the phone any more. */
    [[nodiscard]] bool finish(bool isAll, VXError *error);
    /** Of what was saved so far. */
    const Outcome &outcome() const { return _outcome; }

private:
    using Message = VXManagedObjectPtr;
    struct Item // of the phone
    {
        QVariantMap map;
        VXMessageCandidates::Subject message;
        std::optional<qint64> sent = {}; // the entry of the outbox whose copy it is
    };
    /** What a slice is worked on with. */
    struct Step
    {
        VXManagedObjectContext &context;
        const Message folder;
        VXMessageCandidates candidates = {};
        Outcome outcome = {};
    };
    using Work = std::function<bool(Step &step, VXError *error)>;
    /**
     * What an item is compared with, and what then waits for the next round:
     * AtOnce: what lies at its place; waits when any other may be meant, or a message that was perhaps sent.
     * SameDate: also what lay elsewhere, and what was written to the phone; waits when it is none of these and may be what was sent here.
     * SentHere: what was sent from here, with a date of its own; nothing waits.
     */
    enum class Round { AtOnce, SameDate, SentHere };

    bool perform(const Work &work, VXError *error);
    bool readWritten(Step &step, VXError *error);
    bool inSlices(const QList<Item> &items, Round round, VXError *error);
    bool fileSlice(const QList<Item> &slice, Round round, Step &step, VXError *error);
    QList<Item> take(const QVariantList &items);
    static void sortByDate(QList<Item> &items);

    Message find(const Item &item, Round round, const Step &step) const;
    Message findWritten(const Item &item, const Step &step) const;
    Message findSentHere(const Item &item, const Step &step) const;
    bool mayBeAnother(const Item &item, const Step &step) const;
    bool isHere(const VXMessageCandidates::Known &known, const Step &step) const;
    bool isElsewhere(const VXMessageCandidates::Known &known) const;
    bool isMet(const Message &message) const { return _met.contains(message->objectID().number()); }

    void findSent();
    /** What was perhaps sent is where the phone has its copy: told to the outbox, and the draft is the message that it is. */
    Message settleSent(const Item &item, const Message &found, const Step &step) const;
    void apply(const Item &item, const Message &message, Step &step);
    bool applyAbsences(VXError *error);
    void applyAbsence(const Message &message, Step &step) const;
    bool finishWritten(Step &step, VXError *error);
    bool forgetTrash(Step &step, VXError *error) const;
    void noteChange(const Message &message, const QVariantMap &item, Step &step) const;

    const VXMessageStore _store;
    const Phone _phone;
    const QString _deviceURL;
    const std::function<bool()> _isOver;
    bool _hasBegun = false;
    bool _marksAsRead = false; // what is read from the phone is a read message there from then on
    std::optional<VXPerhapsSent> _perhapsSent;
    QList<VXManagedObjectID> _onPhone;               // as far as was known
    QMultiHash<QString, VXManagedObjectID> _written; // to be, or just now: by what is alike
    QSet<size_t> _places;                            // placeOf() all that is on the phone now
    QSet<qint64> _met;                               // messages, by their numbers; new ones once they are saved
    QList<Item> _waiting;
    Outcome _outcome;
};
