#pragma once

#include "VXEventRecord.h"
#include "VXHostCommand.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

// The outcome of an event, for people.

/** "incoming_call::ended"; without a subtype only the name. */
[[nodiscard]] QString VXEventTitle(const VXEventRecord &record);

/** A summary such as "1 of 3 triggers ran, 1 of 2 reactors failed". */
[[nodiscard]] QString VXEventOutcome(const VXEventRecord &record);

/** Line by line: the triggers, why each did or did not run, and what its reactors did. */
[[nodiscard]] QStringList VXEventReasons(const VXEventRecord &record);

/**
 * Answers with the outcome of an event that was just posted. @return the exit status: failed if something in it failed.
 */
int VXReportEvent(VXHostContext &context, const VXEventRecord &record, bool withReasons);
