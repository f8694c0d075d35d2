#pragma once

#include "VXMessageMatch.h"

#include <QtCore/QMultiHash>
#include <QtCore/QSet>

/**
 * Messages of a store that may correspond to some of a phone's messages, read in one go by what they have in common:
 * party, and date or place. The rules are those of VXMessageMatch. On the context's thread, and no longer than the
 * context lives.
 */
class VXMessageCandidates
{
public:
    /** A known message, with what it is told apart by. */
    struct Known
    {
        VXManagedObjectPtr message;
        QDateTime date;
        QString url;
    };
    /** A message to look for, with what the search needs. */
    struct Subject
    {
        explicit Subject(const VXMessageRecord &message);

        VXMessageRecord record;
        QString conversation; // VXConversationKey
        QString key;          // the same for messages that are alike (VXMessageMatch::isAlike)
    };
    using Check = std::function<bool(const Known &known)>;
    using NumberCheck = std::function<bool(qint64 number)>;

    /** Reads what lies at the places of the messages. False, with an error, if the store cannot be read. */
    [[nodiscard]] bool readAtPlaces(const QList<Subject> &subjects, VXManagedObjectContext &context, VXError *error);
    /** Reads what else they may be, without those that the check tells to be another for certain, by their number: of these
     *  there may be many of one party and date. The fewer conversations there are, and the less time lies between the first
     *  and the last message, the less is looked at. False, with an error, if the store cannot be read. */
    [[nodiscard]] bool read(const QList<Subject> &subjects, const NumberCheck &isAnother,
                            VXManagedObjectContext &context, VXError *error);

    /** Adds a new message. */
    void add(const VXManagedObjectPtr &message, const Subject &subject);

    /** The message at exactly that place of the phone; null if there is none, and for a subject without a place. */
    VXManagedObjectPtr atPlaceOf(const Subject &subject, const Check &mayBe) const;
    /** The message with the nearest date that may correspond by that rule; null if there is none. */
    VXManagedObjectPtr nearest(const Subject &subject, VXMessageMatch::Rule rule, const Check &mayBe) const;

private:
    bool fetch(const VXPredicate &condition, VXManagedObjectContext &context, VXError *error);
    QString conversationOf(const QString &party);

    QMultiHash<QString, Known> _known; // by key
    QSet<VXManagedObjectID> _read;
    QHash<QString, QString> _conversations; // by party
};
