#pragma once

#include "VXListQuery.h"
#include "VXTriggerDraft.h"

/** The trigger as a row of a list; its contents carry the short ID. */
[[nodiscard]] VXListRow VXRowOfTrigger(const VXTrigger &trigger);
/** The same for one that is not stored yet. */
[[nodiscard]] VXListRow VXRowOfUnsavedTrigger(const QString &shortID, const VXTriggerDraft &draft);
