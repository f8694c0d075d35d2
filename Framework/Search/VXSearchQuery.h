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

/** One search of the index: looks in one way after the other until it has found as many as are wanted, each once. */
class VXSearchQuery
{
public:
    VXSearchQuery(VXSQLiteConnection &connection, const VXSearchIndex::Scope &scope, qsizetype limit);

    /** Once. None on failure. */
    std::optional<QList<VXFoundObject>> run(const VXSearchTerms &terms, VXError *error);

    /** What foundIn() reads, with a blank behind it. */
    static const QString columns;
    static VXFoundObject foundIn(const VXSQLiteStatement &row);

private:
    bool isMoreWanted() const { return _found.size() < _limit; }
    /** How many to ask for: those that are known may be among them. */
    qint64 most() const { return _limit + _found.size(); }
    /** Takes in its rows. */
    bool collect(VXSQLiteStatement &statement, VXError *error);
    bool collectNumbers(const QString &digits, VXError *error);
    bool collectWords(const QStringList &words, VXSearchTerms::Match match, VXError *error);
    bool collectReading(const VXSearchTerms::Reading &reading, VXError *error);
    bool collectEntries(const QList<qint64> &entries, VXError *error);

    // -- By their contacts
    struct FoundContact
    {
        qint64 id;
        quint32 words; // by which it was found, a bit for each
    };
    /** By words, and the ends that the number has. */
    bool collectOfContacts(const VXSearchTerms::Reading &reading, VXError *error);
    /** Of contacts, by the words and ends that they have not themselves. */
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
    const QString _isShown; // what entries have to be, in SQL, with a blank behind it
    const qsizetype _limit;
    QList<VXFoundObject> _found;
    QSet<QString> _known; // those; several syncs may mirror one object
};
