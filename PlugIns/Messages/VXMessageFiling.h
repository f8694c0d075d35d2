#pragma once

#include "MessageDataConstants.h"
#include "VXMessageCandidates.h"
#include "VXPerhapsSent.h"

#include <QtCore/QSet>

/**
 * Files what is on a phone, portion by portion as it is read. Each portion is divided into slices, which are matched,
 * filed and saved under the store's lock. A message that is known at its place on the phone, and one that resembles
 * nothing here, is filed at once. One that may have been at another place before, or may have been sent from here, is
 * kept and waits until everything on the phone is known; of all others only numbers are kept. Any thread, one at a
 * time; it never waits for the main thread.
 */
class VXMessageFiling
{
public:
    /** Something to be carried out on the phone. */
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
        int added = 0; // number of those added and saved; so in all of these
        int changed = 0;
        int left = 0; // on the phone, because it is not text or not complete
    };
    struct Phone
    {
        QUrl url;
        QStringList actionNames;
        QList<VXManagedObjectID> written = {}; // written to the phone just now, and not found there yet
    };

    /** Between slices `isOver` is called, on the thread that files. */
    VXMessageFiling(const VXMessageStore &store, const Phone &phone, const std::function<bool()> &isOver);

    /** Looks up what is known to be on the phone. To be called before the phone is read: then a message that arrives
     *  and is filed meanwhile does not count as gone from the phone if the reading lacks it. Otherwise the first
     *  portion does it. False, with an error, if the store cannot be read or saved. */
    [[nodiscard]] bool begin(VXError *error);
    /** Files the items of a result of "read_messages", or of a part of it. False, with an error, if the store cannot be
     *  read or saved. */
    [[nodiscard]] bool file(const QVariantMap &portion, VXError *error);
    /** To be called when everything was read. `isAll`: what was not read is no longer on the phone. */
    [[nodiscard]] bool finish(bool isAll, VXError *error);
    /** The outcome of what was saved so far. */
    const Outcome &outcome() const { return _outcome; }

private:
    using Message = VXManagedObjectPtr;
    struct Item // of the phone
    {
        QVariantMap map;
        VXMessageCandidates::Subject message;
        std::optional<qint64> sent = {}; // the entry of the outbox of which it is a copy
    };
    /** What is needed to work on a slice. */
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
     * - AtOnce: what is at its place; waits if any other may be meant, or a message that was perhaps sent.
     * - SameDate: also what was at another place, and what was written to the phone; waits if it is none of these and
     *   may be what was sent here.
     * - SentHere: what was sent from here, with a date of its own; nothing waits.
     */
    enum class Round { AtOnce, SameDate, SentHere };

    bool perform(const Work &work, VXError *error);
    static std::optional<QList<Message>> fetchWritten(const Step &step, VXError *error);
    bool readWritten(Step &step, VXError *error);
    bool inSlices(const QList<Item> &items, Round round, VXError *error);
    bool fileSlice(const QList<Item> &slice, Round round, Step &step, VXError *error);
    QList<Item> take(const QVariantList &items);
    static void sortByDate(QList<Item> &items);

    Message find(const Item &item, Round round, const Step &step) const;
    static Message findAtPlace(const VXMessageCandidates::Subject &message, const Step &step);
    Message findWritten(const Item &item, const Step &step) const;
    Message findSentHere(const Item &item, const Step &step) const;
    bool mayBeAnother(const Item &item, const Step &step) const;
    bool isHere(const VXMessageCandidates::Known &known, const Step &step) const;
    bool isElsewhere(const VXMessageCandidates::Known &known) const;
    bool isMet(const Message &message) const { return _met.contains(message->objectID().number()); }

    void findSent();
    /** A message that was perhaps sent is in the place where the phone has its copy: tells the outbox, and the draft
     *  becomes the message. */
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
    bool _marksAsRead = false; // a message read from the phone is marked as read there from then on
    std::optional<VXPerhapsSent> _perhapsSent;
    QList<VXManagedObjectID> _onPhone;               // as far as was known before
    QMultiHash<QString, VXManagedObjectID> _written; // to be written, or written just now; by what makes messages alike
    QSet<size_t> _places;                            // placeOf() everything that is on the phone now
    QSet<qint64> _met; // numbers of the messages found; new ones are added once they are saved
    QList<Item> _waiting;
    Outcome _outcome;
};
