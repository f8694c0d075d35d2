#pragma once

#include "VXError.h"
#include "VXReactionOutcomeState.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>

/**
 * Collects, while an event runs a reactor, what the reactor reports without throwing. One object per run, on the thread
 * of the run; if a reactor posts an event, the runs nest.
 */
class VXReactionScope
{
public:
    VXReactionScope();
    ~VXReactionScope();
    VXReactionScope(const VXReactionScope &) = delete;
    VXReactionScope &operator=(const VXReactionScope &) = delete;

    /** Adds to the innermost run on this thread; does nothing outside of runs. */
    static void noteError(const VXError &error);
    static void noteRemark(const QString &remark);

    /** The outcome of that run; outside of runs, an outcome of no reaction. */
    static VXReactionOutcome deferOutcome();

    QStringList problems() const { return _problems; }
    QString remark() const { return _remark; }
    /** Null when the reactor did not defer its outcome. */
    std::shared_ptr<VXReactionOutcome::State> takeOutcome() { return std::move(_outcome); }

private:
    VXReactionScope *const _outer;
    QStringList _problems;
    QString _remark;
    std::shared_ptr<VXReactionOutcome::State> _outcome;
};
