#pragma once

#include "VXEntityRowPlan.h"
#include "VXSQLiteStore.h"
#include "VXStoreRowCopy.h"

#include <optional>
#include <vector>

/** What is found out once, for copying and comparing. */
class VXStoreRowCopy::Plan
{
public:
    Plan(VXSQLiteStore &source, VXSQLiteStore &destination, const Filter &leavesOut)
        : _source(source), _destination(destination), _leavesOut(leavesOut)
    {
    }

    // -- VXStoreRowCopy+Survey.cpp
    QString obstacle(VXSQLiteConnection &connection, const Progress &progress, QList<Entity> *entities);
    // -- VXStoreRowCopy.cpp
    qint64 rowCount() const;
    bool copy(VXSQLiteConnection &connection, const Progress &progress, VXError *error);
    bool compare(VXSQLiteConnection &connection, const Progress &progress, QString *difference, VXError *error);

private:
    /** Rows of a table of the old file, in the order of a column of numbers. */
    struct Range
    {
        QString table;
        QString column;
        qint64 count = 0;
        qint64 first = 0;
        qint64 last = -1;
    };

    struct EntityPlan
    {
        VXEntityRowPlan rows;
        Range from = {};
    };

    /** A table of pairs, in both files. */
    struct LinkPlan
    {
        Range from; // by Z_SOURCE
        QString to;
        QString source; // the column of the new table that has what Z_SOURCE has in the old one
        QString target;
        const VXRelationshipDescription *relationship;
    };

    QString surveyEntity(VXSQLiteConnection &connection, const VXEntityDescription &from, const Progress &progress,
                         QList<Entity> *entities);
    static QString obstacleInLists(VXSQLiteConnection &connection, const EntityPlan &plan, const Progress &progress);
    bool findLinks(VXSQLiteConnection &connection, VXError *error);
    QString obstacleInDestination(VXSQLiteConnection &connection) const;
    QString obstacleInRows(VXSQLiteConnection &connection, const QList<Entity> &entities) const;
    static bool findBrokenReference(VXSQLiteStore &store, bool looksAtRows, const Progress &progress,
                                    QString *description, VXError *error);
    std::optional<bool> isCopiedWhole(VXSQLiteConnection &connection, const VXEntityDescription &root,
                                      VXError *error) const;
    bool copyWhole(VXSQLiteConnection &connection, const VXEntityDescription &root, const Progress &progress,
                   VXError *error) const;
    bool copyNumbers(VXSQLiteConnection &connection, VXError *error) const;
    bool compareLinks(VXSQLiteConnection &connection, const LinkPlan &link, const Progress &progress,
                      QString *difference, VXError *error) const;
    template <class Each>
    static bool forEachPiece(VXSQLiteConnection &connection, const Range &range, const QVariantList &constants,
                             const QString &sql, const Each &each, VXError *error);

    VXSQLiteStore &_source;
    VXSQLiteStore &_destination;
    const Filter &_leavesOut;
    std::vector<EntityPlan> _entities; // those that have objects
    QList<LinkPlan> _links;
};
