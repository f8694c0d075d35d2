#pragma once

#include "VXManagedObjectContext.h"

#include <QtCore/QVariant>

#include <optional>

/** A part of a long message, as reported by a phone. */
struct VXMessagePartNews
{
    QString series;     // the same for all parts of one message, and different from all others of that time
    int number = 1;     // of the part, from 1
    int count = 1;      // of the parts
    QVariantMap record; // as for a message, with the part's text
};

/**
 * Keeps the part, in the context and unsaved, until all parts of its message are there (VXMessagePartGroups). @return
 * then the record of the complete message; the parts are deleted. A part that is already there is ignored. Nothing,
 * with an error, if the store cannot be read.
 */
[[nodiscard]] std::optional<QVariantMap> VXTakeMessagePart(const VXMessagePartNews &news,
                                                           VXManagedObjectContext &context, VXError *error);
