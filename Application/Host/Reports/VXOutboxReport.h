#pragma once

#include "VXHostCommand.h"
#include "VXHostOutput.h"
#include "VXOutbox.h"

/** Answers with entries of the outbox, as a table or as JSON. @return the status. */
int VXAnswerOutboxEntries(VXHostContext &context, const QList<VXOutboxEntry> &entries, int status = VXHostOutput::Done);

/** Waits until each of the entries was tried once more than it had been, and answers with what came of it. @return Failed
 *  unless all are sent. */
int VXAnswerTries(VXHostContext &context, const VXOutbox &outbox, const QList<VXOutboxEntry> &asked);
