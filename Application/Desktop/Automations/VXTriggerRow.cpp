#include "VXTriggerRow.h"

#include "VXDesktopText.h"
#include "VXEventManager.h"
#include "VXReactionEditor.h"
#include "VXRowDelegate.h"

using namespace Qt::StringLiterals;

namespace {

VXListRow listRow(const VXRowContents &contents)
{
    return {.text = QStringList{contents.title, contents.detail, contents.when}.join(", "_L1),
            .value = QVariant::fromValue(contents)};
}

} // namespace

VXListRow VXRowOfTrigger(const VXTrigger &trigger)
{
    const QString event = VXEventManager::sharedEventManager().localizedNameForEventName(trigger.eventName());
    QStringList reactors;
    QString problem;
    for (const VXReaction &reaction : trigger.reactions()) {
        for (const auto &[identifier, name] : VXUsableReactors()) {
            if (identifier == reaction.bundleIdentifier())
                reactors.append(name);
        }
        if (problem.isNull())
            problem = reaction.problem();
    }
    VXRowContents contents;
    contents.title = trigger.title();
    contents.detail = QStringList{event.isEmpty() ? trigger.eventName() : event, reactors.join(", "_L1)}.join(u" → "_s);
    contents.icon = u"bolt"_s;
    contents.isQuiet = !trigger.isEnabled();
    contents.iconTone = !problem.isNull()     ? VXRowContents::Tone::Warning
                        : trigger.isEnabled() ? VXRowContents::Tone::Accent
                                              : VXRowContents::Tone::Plain;
    contents.when = trigger.isEnabled() ? QString() : VXText("Off");
    contents.data = trigger.shortID();
    return listRow(contents);
}

VXListRow VXRowOfUnsavedTrigger(const QString &shortID, const VXTriggerDraft &draft)
{
    VXRowContents contents;
    contents.title = draft.name.isEmpty() ? VXText("Automation") : draft.name;
    contents.detail = draft.reactions.isEmpty() ? VXText("Not saved yet: say what shall happen.")
                                                : VXText("What you are editing is not saved yet.");
    contents.icon = u"bolt"_s;
    contents.iconTone = VXRowContents::Tone::Warning;
    contents.isQuiet = true;
    contents.data = shortID;
    return listRow(contents);
}
