#pragma once

#include "VXHostCommand.h"
#include "VXHostOutput.h"
#include "VXOutbox.h"

/** Answers with entries of the outbox, as a table or as JSON. @return the status. */
int VXAnswerOutboxEntries(VXHostContext &context, const VXOutbox &outbox, const QList<VXOutboxEntry> &entries,
                          int status = VXHostOutput::Done);

/**
 * Waits until each of the entries was tried once more, or until one before it waits for its next try, and answers with
 * the outcome. @return Failed unless all are sent.
 */
int VXAnswerTries(VXHostContext &context, const VXOutbox &outbox, const QList<VXOutboxEntry> &asked);
