#include "VXTriggerTrial.h"

VXTriggerTrial VXTriggerTrial::of(const VXTrigger &trigger, const QVariant &object)
{
    using Kind = VXFilterVerdict::Kind;
    const VXFilterVerdict verdict = trigger.test(object);
    VXTriggerTrial trial;
    trial.verdict = verdict.kind;
    if (verdict.predicate)
        trial.filter = verdict.predicate->predicateFormat();
    trial.passes = verdict.kind == Kind::NoFilter || verdict.kind == Kind::Passed;
    trial.problem = verdict.kind == Kind::Rejected ? VXReasonForRejection(verdict, object) : verdict.problem;
    trial.isEnabled = trigger.isEnabled();
    for (const VXReaction &reaction : trigger.reactions()) {
        const QString problem = reaction.problem();
        trial.reactions.append({.identifier = reaction.bundleIdentifier(),
                                .options = reaction.options(),
                                .runs = trial.isEnabled && trial.passes && problem.isNull(),
                                .problem = problem});
    }
    return trial;
}
