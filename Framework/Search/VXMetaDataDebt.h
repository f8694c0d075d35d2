#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>

/**
 * What of a store was saved and is not mirrored yet, as all processes know it: a file for each process that owes something.
 * So that one which ends at once, or is killed, leaves word for the next one. Any thread.
 */
class VX_EXPORT VXMetaDataDebt
{
public:
    /** Of the sync of that identifier. */
    explicit VXMetaDataDebt(const QString &identifier);

    /** This process owes something from now on. Where nothing can be written nobody is told; passes tell that. */
    void mark() const;
    /** What this process owed is done. */
    void settleOwn() const;
    /** Before a look at all objects: what any process owes is seen by that. */
    void settleAll() const;
    bool isAny() const;
    /** Of any sync, by any process, or by this one. */
    static bool isAnyOfAll();
    static bool isOwnOfAll();

private:
    const QString _prefix; // of the files' names
};
