#include "VXOpenEvent.h"

#include <utility>

void VXOpenEvent::await(const std::vector<VXOpenReaction> &reactions, Handler whenConcluded)
{
    {
        const VXMutexLocker locker(_lock);
        _running = reactions.size();
        _whenConcluded = std::move(whenConcluded);
    }
    for (const VXOpenReaction &reaction : reactions) {
        const VXOpenReaction place{reaction.trigger, reaction.reaction,
                                   nullptr}; // the outcome holds what listens to it
        reaction.outcome->setListener(
            [self = shared_from_this(), place](const auto &conclusion) { self->take(place, conclusion); });
    }
}

void VXOpenEvent::take(const VXOpenReaction &place, const VXReactionOutcome::State::Conclusion &conclusion)
{
    VXEventRecord record;
    Handler handler;
    {
        const VXMutexLocker locker(_lock);
        VXReactionRecord &reaction = _record.triggers[place.trigger].reactions[place.reaction];
        reaction.milliseconds = conclusion.milliseconds;
        if (!conclusion.problem.isNull())
            reaction.problems.append(conclusion.problem);
        reaction.outcome =
            reaction.problems.isEmpty() ? VXReactionRecord::Outcome::Done : VXReactionRecord::Outcome::Failed;
        if (--_running > 0)
            return;
        record = _record;
        handler = std::exchange(_whenConcluded, nullptr);
    }
    handler(record);
}
