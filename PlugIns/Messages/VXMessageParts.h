#pragma once

#include "VXManagedObjectContext.h"

#include <QtCore/QVariant>

#include <optional>

/** A part of a long message, as a phone told of it. */
struct VXMessagePartNews
{
    QString series;     // the same for all parts of one message, and for no other of the time
    int number = 1;     // of the part, from 1
    int count = 1;      // of the parts
    QVariantMap record; // as of a message, with the part's text
};

/**
 * Keeps the part, in the context and unsaved, until all of its message are there (VXMessagePartGroups). @return then the whole
 * message's record, the parts being deleted. A part that came before is passed over. Nothing, with an error, when the store cannot be
 * read.
 */
[[nodiscard]] std::optional<QVariantMap> VXTakeMessagePart(const VXMessagePartNews &news,
                                                           VXManagedObjectContext &context, VXError *error);
