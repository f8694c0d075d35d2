#pragma once

#include "VXEventRecord.h"
#include "VXListQuery.h"

// What came of events, in the user's words.

/** As a row of a list; its contents carry the record's identifier. */
[[nodiscard]] VXListRow VXRowOfEvent(const VXEventRecord &record);
/** Why each trigger did or did not run, a line for each thing. */
[[nodiscard]] QStringList VXWhyOfEvent(const VXEventRecord &record);
/** "Incoming call, ended". */
[[nodiscard]] QString VXTitleOfEvent(const VXEventRecord &record);
