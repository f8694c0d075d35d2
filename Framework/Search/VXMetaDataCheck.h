#pragma once

#include <QtCore/QList>
#include <QtCore/QString>

#include <algorithm>

/** A file of a metadata folder that differs from its object, and how. */
struct VXMetaDataFinding
{
    enum class Kind {
        Stale,    // its values are not those of the object
        Missing,  // the object has no file
        Orphaned, // it has no object, or one that searches must not find
        Damaged,  // it cannot be read
        Outdated, // an earlier generation of the program wrote it; a pass is due for it, so this is no fault
    };
    Kind kind;
    QString name;
};

/** The result of comparing every file with its object. */
struct VXMetaDataReport
{
    qint64 objectCount = 0;
    qint64 fileCount = 0;
    QList<VXMetaDataFinding> findings = {};
    bool isTakenIn = true;       // false: a pass was due, and what that pass will correct is no fault
    bool isIndexWhole = true;    // the index is sound and holds exactly what the folder's files say
    qint64 unrepaired = 0;       // with repairing: findings that could not be repaired
    bool isIndexRepaired = true; // with repairing: false if the index is still not whole

    bool isClean() const
    {
        return isIndexWhole && std::ranges::all_of(findings, [](const VXMetaDataFinding &finding) {
                   return finding.kind == VXMetaDataFinding::Kind::Outdated;
               });
    }
    bool isRepaired() const { return unrepaired == 0 && isIndexRepaired; }
};
