#pragma once

#include "VXError.h"
#include "VXReactionOutcomeState.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>

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
    static void noteRemark(const QString &remark);

    /** Of that run; of nobody outside of runs. */
    static VXReactionOutcome deferOutcome();

    QStringList problems() const { return _problems; }
    QString remark() const { return _remark; }
    /** Null when it was not deferred. */
    std::shared_ptr<VXReactionOutcome::State> takeOutcome() { return std::move(_outcome); }

private:
    VXReactionScope *const _outer;
    QStringList _problems;
    QString _remark;
    std::shared_ptr<VXReactionOutcome::State> _outcome;
};
