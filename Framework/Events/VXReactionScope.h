#pragma once

#include "VXError.h"

#include <QtCore/QStringList>

/**
 * While an event runs a reactor: what the reactor reports without throwing. One for each run, on the thread that runs it;
 * a reactor that posts an event has runs inside its own.
 */
class VXReactionScope
{
public:
    VXReactionScope();
    ~VXReactionScope();
    VXReactionScope(const VXReactionScope &) = delete;
    VXReactionScope &operator=(const VXReactionScope &) = delete;

    /** Of the innermost run on this thread; outside of runs it does nothing. */
    static void noteError(const VXError &error);

    QStringList problems() const { return _problems; }

private:
    VXReactionScope *const _outer;
    QStringList _problems;
};
