#pragma once

#include "VXEventRecord.h"
#include "VXListQuery.h"
#include "VXTrigger.h"

// The outcome of events, in words for the user.

/** The event as a row of a list; its contents carry the record's identifier. */
[[nodiscard]] VXListRow VXRowOfEvent(const VXEventRecord &record);
/** Why each trigger did or did not run, one line per reason. */
[[nodiscard]] QStringList VXWhyOfEvent(const VXEventRecord &record);
/** "Incoming call, ended". */
[[nodiscard]] QString VXTitleOfEvent(const VXEventRecord &record);
/** What the trigger would have done with the last events of its kind, the newest first, a line for each. */
[[nodiscard]] QStringList VXLinesOfTrials(const VXTrigger &trigger);
