#pragma once

#include "VXContactWords.h"
#include "VXError.h"
#include "VXManagedObject.h"

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QSet>
#include <QtCore/QStringList>

class VXManagedObjectContext;

/**
 * Completes what is typed, from the index of words (VXContactWords): the rarest typed word leads there, in pages, and the contacts
 * found must have words that begin with the others too. Words that are whole come first, then by the alphabet; of equal ones those of
 * names before those of companies, addresses, numbers and all else, and groups last, but before members found by the group alone.
 * Used once.
 */
class VXContactCompletion
{
public:
    VXContactCompletion(VXManagedObjectContext &context, unsigned propertyMask, unsigned limit)
        : _context(context), _mask(propertyMask), _limit(limit)
    {
    }

    /** The best completions, at most `limit`. After an error, what was found before it. */
    QStringList complete(const QString &typed, VXError *error);

private:
    /** A contact, and the kinds of its words by which it was found. */
    struct Match
    {
        VXManagedObjectPtr person;
        QSet<VXContactWords::Kind> kinds;
        QByteArray word;      // the first of them
        bool isNamed = false; // found by what it is called, not by a number or address alone
    };
    struct Group
    {
        VXManagedObjectPtr group;
        QStringList words;
        QByteArray first = {}; // the first of the words that begin so
    };
    /** Numbers and addresses of many contacts, read in one go. */
    using Owned = QHash<VXManagedObjectID, QList<VXManagedObjectPtr>>;

    bool isFull() const { return _found.size() >= qsizetype(_limit); }
    void add(const QString &text);
    bool findGroups(const QStringList &typed, VXError *error);
    /** Groups with a word that begins so, in the order of these words. */
    QList<Group> groupsOf(const QString &beginning) const;
    bool addGroup(const VXManagedObject &group, VXError *error);
    bool walk(const QString &beginning, const QStringList &others, VXError *error);
    qsizetype rarestOf(const QStringList &words, VXError *error) const;
    /** The next page of matches, persons who have the other words too; sets `isLast` if there are no more after it.
     *  False on failure. */
    bool readPage(const QString &beginning, const QStringList &others, qsizetype offset, qsizetype size,
                  QList<Match> *matches, bool *isLast, VXError *error) const;
    /** Notes who is called by one of the other words. False on failure. */
    bool noteNamed(QList<Match> *matches, const QStringList &others, VXError *error) const;
    bool readOwned(const QString &entity, const QList<VXManagedObjectPtr> &persons, Owned *owned, VXError *error) const;
    void addMatch(const Match &match, const QString &beginning, const Owned &numbers, const Owned &emails);

    VXManagedObjectContext &_context;
    const unsigned _mask;
    const unsigned _limit;
    QList<Group> _groups; // groups that have everything that was typed
    QStringList _found;
    QSet<QString> _known;
};
