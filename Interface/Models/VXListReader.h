#pragma once

#include "VXError.h"
#include "VXListQuery.h"
#include "VXManagedObjectContext.h"

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QObject>

#include <memory>
#include <optional>

/**
 * Reads the rows of a query page by page, on the thread it lives on. The page behind one that was read begins where that
 * ended, by the value that rows are ordered by (a date or number of which no row has none). Of rows in another order the first
 * page is found at once, and the first thousands when another page is asked for. Any other page is found by its offset.
 */
class VXListReader : public QObject
{
    Q_OBJECT

public:
    static constexpr qsizetype pageSize = 64; // more than a screen shows

    explicit VXListReader(VXListQuery query) : _query(std::move(query)) {}

    /** Forgets what was read; to be called first. False, with an error, on failure. */
    bool begin(VXError *error);
    /** Counts the rows. None, with an error, on failure. */
    std::optional<qsizetype> count(VXError *error);
    /** The rows of a page; fewer than `pageSize` only at the end. */
    std::optional<QList<VXListRow>> page(qsizetype index, VXError *error);
    /** The IDs of the first so many rows (0: of all) in order. None, with an error, on failure. Needs no begin(). */
    std::optional<QList<VXManagedObjectID>> objectIDs(qsizetype limit, VXError *error) const;

private:
    /** Where a page begins: so many rows after the first one with the value. */
    struct Start
    {
        QVariant value;
        qsizetype skipped = 0;
    };

    bool hasSeekableOrder() const;
    bool canSeek(VXManagedObjectContext &context);
    bool findFirst(qsizetype limit, VXError *error);
    VXFetchRequest requestForPage(qsizetype index) const;
    std::optional<QList<VXManagedObjectPtr>> objectsOfPage(qsizetype index, VXManagedObjectContext &context,
                                                           VXError *error);
    void noteStartBehind(qsizetype index, const QVariantList &values);

    const VXListQuery _query;
    QHash<qsizetype, Start> _starts; // of pages that follow one that was read
    std::optional<bool> _canSeek;
    // The IDs of the first rows, so many at most, and in which context.
    std::unique_ptr<VXManagedObjectContext> _context;
    std::optional<VXFetchResult> _first;
    qsizetype _firstLimit = 0;
};
