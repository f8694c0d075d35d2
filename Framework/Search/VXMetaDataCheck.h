#pragma once

#include <QtCore/QList>
#include <QtCore/QString>

#include <algorithm>

/** What is wrong with a file of a metadata folder. */
struct VXMetaDataFinding
{
    enum class Kind {
        Stale,    // it tells of its object what is not so
        Missing,  // its object has none
        Orphaned, // it has no object, or one that is not to be found
        Damaged,  // it cannot be read
        Outdated, // an earlier generation of the program wrote it: a pass is due for it, and nothing is wrong
    };
    Kind kind;
    QString name;
};

/** What came of comparing every file with its object. */
struct VXMetaDataReport
{
    qint64 objectCount = 0;
    qint64 fileCount = 0;
    QList<VXMetaDataFinding> findings = {};
    bool isTakenIn = true;       // else a pass was due, and what it puts right is no fault
    bool isIndexWhole = true;    // it is sound, and says what the files of the folder say, and no more
    qint64 unrepaired = 0;       // of the findings, with repairing
    bool isIndexRepaired = true; // with repairing: false when it is not whole all the same

    bool isClean() const
    {
        return isIndexWhole && std::ranges::all_of(findings, [](const VXMetaDataFinding &finding) {
                   return finding.kind == VXMetaDataFinding::Kind::Outdated;
               });
    }
    bool isRepaired() const { return unrepaired == 0 && isIndexRepaired; }
};
