#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>

#include <functional>
#include <memory>

/**
 * The outcome of a reaction whose work goes on after the reactor has returned. The reactor obtains it while the event
 * is posted (VXReactorPlugin::deferOutcome), and concludes it wherever the work ends; then the event's record in the
 * history is updated. Copies share one outcome. If the last copy goes without a conclusion, that counts as a failure.
 * Any thread.
 */
class VX_EXPORT VXReactionOutcome
{
public:
    class State;

    /** An outcome of no reaction: concluding it has no effect. */
    VXReactionOutcome() = default;
    explicit VXReactionOutcome(std::shared_ptr<State> state) : _state(std::move(state)) {}

    /** Concludes the outcome; only the first call counts. A null problem means success. */
    void conclude(const QString &problem = {}) const;

    /** Sets what is called, on any thread, when the poster of the event does not want to wait for the end; called at
     *  once if that is so already. */
    void setCancelHandler(std::function<void()> handler) const;

    /** Cancels all outcomes of this process that are not concluded. */
    static void cancelAll();

private:
    std::shared_ptr<State> _state;
};
