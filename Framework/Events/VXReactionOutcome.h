#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>

#include <functional>
#include <memory>

/**
 * What comes of a reaction that goes on after its reactor has returned: the reactor takes it while the event is posted
 * (VXReactorPlugin::deferOutcome), and concludes it from wherever the work ends; the event's record in the history learns it
 * then. Copies stand for the same. Letting go of the last one without a conclusion counts as a failure. Any thread.
 */
class VX_EXPORT VXReactionOutcome
{
public:
    class State;

    /** Of nobody: nothing is told. */
    VXReactionOutcome() = default;
    explicit VXReactionOutcome(std::shared_ptr<State> state) : _state(std::move(state)) {}

    /** Once; again does nothing. A null problem: it went well. */
    void conclude(const QString &problem = {}) const;

    /** Called, on any thread, when who posted the event does not want to wait for the end: at once, if that was so before. */
    void setCancelHandler(std::function<void()> handler) const;

    /** Cancels whatever is not concluded, in this process. */
    static void cancelAll();

private:
    std::shared_ptr<State> _state;
};
