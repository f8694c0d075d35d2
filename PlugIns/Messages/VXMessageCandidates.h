#pragma once

#include "VXMessageMatch.h"

#include <QtCore/QMultiHash>
#include <QtCore/QSet>

/**
 * What of a store may be meant by some of a phone's messages, read at once by what they have in common: party, and date or place. The
 * rules are those of VXMessageMatch. On the context's thread, and no longer than the context.
 */
class VXMessageCandidates
{
public:
    /** One that is known, with what it is told apart by. */
    struct Known
    {
        VXManagedObjectPtr message;
        QDateTime date;
        QString url;
    };
    /** What is looked for, with what that takes. */
    struct Subject
    {
        explicit Subject(const VXMessageRecord &message);

        VXMessageRecord record;
        QString conversation; // VXConversationKey
        QString key;          // of what is alike (VXMessageMatch::isAlike)
    };
    using Check = std::function<bool(const Known &known)>;

    /** The fewer conversations and the shorter the time between the first and the last of them, the less is read. False, with an
     *  error, when the store cannot be read. */
    [[nodiscard]] bool read(const QList<Subject> &subjects, VXManagedObjectContext &context, VXError *error);

    /** One that is new. */
    void add(const VXManagedObjectPtr &message, const Subject &subject);

    /** The one that lies at just that place of the phone; null for none, and for what has no place. */
    VXManagedObjectPtr atPlaceOf(const Subject &subject, const Check &mayBe) const;
    /** The one with the nearest date that may be meant by that rule; null for none. */
    VXManagedObjectPtr nearest(const Subject &subject, VXMessageMatch::Rule rule, const Check &mayBe) const;

private:
    bool readAtPlaces(const QList<Subject> &subjects, VXManagedObjectContext &context, VXError *error);
    bool fetch(const QString &condition, const QVariantList &arguments, VXManagedObjectContext &context,
               VXError *error);
    QString conversationOf(const QString &party);

    QMultiHash<QString, Known> _known; // by key
    QSet<VXManagedObjectID> _read;
    QHash<QString, QString> _conversations; // by party
};
