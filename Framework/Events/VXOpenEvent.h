#pragma once

#include "VXEventRecord.h"
#include "VXMutex.h"
#include "VXReactionOutcomeState.h"

#include <functional>
#include <memory>
#include <vector>

/** A reaction whose work goes on after the event, identified by its place in the record. */
struct VXOpenReaction
{
    qsizetype trigger;
    qsizetype reaction;
    std::shared_ptr<VXReactionOutcome::State> outcome;
};

/** An event whose reactors have returned while the work of some goes on: collects the outcomes. Any thread. */
class VXOpenEvent : public std::enable_shared_from_this<VXOpenEvent>
{
public:
    using Handler = std::function<void(VXEventRecord &record)>;

    explicit VXOpenEvent(const VXEventRecord &record) : _record(record) {}

    /** Calls the handler with the complete record once all outcomes are concluded, on the thread of the last one. To be
     *  called once. */
    void await(const std::vector<VXOpenReaction> &reactions, Handler whenConcluded);

private:
    void take(const VXOpenReaction &place, const VXReactionOutcome::State::Conclusion &conclusion);

    VXMutex _lock;
    VXEventRecord _record VX_GUARDED_BY(_lock);
    size_t _running VX_GUARDED_BY(_lock) = 0;
    Handler _whenConcluded VX_GUARDED_BY(_lock);
};
