#pragma once

#include <QtCore/QList>
#include <QtCore/QString>

/** What is wrong with a file of a metadata folder. */
struct VXMetaDataFinding
{
    enum class Kind {
        Stale,    // it tells of its object what is not so
        Missing,  // its object has none
        Orphaned, // it has no object, or one that is not to be found
        Damaged,  // it cannot be read
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
    bool isTakenIn = true;       // else a pass is due, and what it will put right is no fault
    bool isIndexWhole = true;    // it is sound, and says what the files of the folder say, and no more
    qint64 unrepaired = 0;       // of the findings, with repairing
    bool isIndexRepaired = true; // with repairing: false when it is not whole all the same

    bool isClean() const { return findings.isEmpty() && isIndexWhole; }
    bool isRepaired() const { return unrepaired == 0 && isIndexRepaired; }
};
