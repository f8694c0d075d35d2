#pragma once

#include "VXError.h"
#include "VXFoundObject.h"
#include "VXSearchIndex.h"
#include "VXSearchTerms.h"

#include <QtCore/QList>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <optional>

class VXSQLiteConnection;
class VXSQLiteStatement;

/**
 * One search of the index: tries one kind of match after the other until it has found as many objects as are wanted,
 * each only once.
 */
class VXSearchQuery
{
public:
    VXSearchQuery(VXSQLiteConnection &connection, const VXSearchIndex::Scope &scope, qsizetype limit);

    /** To be called once. None on failure. */
    std::optional<QList<VXFoundObject>> run(const VXSearchTerms &terms, VXError *error);

    /** The columns that foundIn() reads, followed by a blank. */
    static const QString columns;
    static VXFoundObject foundIn(const VXSQLiteStatement &row);
    /** Those in the column "parties". */
    static QList<VXFoundParty> partiesIn(const QString &json);

private:
    bool isMoreWanted() const { return _found.size() < _limit; }
    /** How many rows to ask for: those already found may be among them. */
    qint64 most() const { return _limit + _found.size(); }
    QString expressionOf(const QStringList &words, VXSearchTerms::Match match, const QString &kind = {}) const
    {
        return VXSearchTerms::expression(words, match, _spelling, kind);
    }
    /** Finds all that has the words and ends of numbers, or whose contact has. */
    bool collectAll(const VXSearchTerms &terms, VXError *error);
    /** Adds the objects of the statement's rows. */
    bool collect(VXSQLiteStatement &statement, VXError *error);
    bool collectNumbers(const QString &digits, VXError *error);
    bool collectWords(const QStringList &words, VXSearchTerms::Match match, VXError *error);
    bool collectReading(const VXSearchTerms::Reading &reading, VXError *error);
    bool collectEntries(const QList<qint64> &entries, VXError *error);

    // -- Records found by their contacts
    struct FoundContact
    {
        qint64 id;
        quint32 words; // the words it was found by, one bit for each
    };
    /** Finds records by words and ends of numbers of which a contact may have some. */
    bool collectOfContacts(const VXSearchTerms::Reading &reading, VXError *error);
    /** Finds records of these contacts that have the words and ends that the contacts lack. */
    bool collectRecords(const QList<qint64> &contacts, const QStringList &words,
                        const QList<VXSearchTerms::NumberEnd> &ends, VXError *error);
    bool contactsWith(const QStringList &words, QList<qint64> *contacts, VXError *error);
    std::optional<QList<FoundContact>> contactsWithAny(const QStringList &words, VXError *error);
    std::optional<quint32> wordsOfRecords(const QStringList &words, VXError *error);
    std::optional<QStringList> addressesOf(const QList<qint64> &entries, VXError *error);
    bool recordsOfAddresses(const QStringList &keys, QList<qint64> *records, VXError *error);
    bool recordsOfAddressesWith(const QStringList &words, const QStringList &keys, QList<qint64> *records,
                                VXError *error);
    void keepLatest(QList<qint64> *records) const;
    bool addNumbersIn(VXSQLiteStatement &statement, QList<qint64> *numbers, VXError *error);

    VXSQLiteConnection &_connection;
    const QString _kind;    // null for all
    const QString _isShown; // a condition in SQL that hides what is not to be found, followed by a blank
    const qsizetype _limit;
    VXSearchTerms::Spelling _spelling = VXSearchTerms::Spelling::AsTyped; // in which it is looked for
    QList<VXFoundObject> _found;
    QSet<QString> _known; // the URIs in _found; several syncs may mirror one object
};
