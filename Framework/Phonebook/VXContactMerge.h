#pragma once

#include "VXContactRecord.h"
#include "VXFrameworkExport.h"

#include <QtCore/QList>
#include <QtCore/QString>

/** A contact that was changed at two places. */
struct VXMergedContact
{
    /** A value that was changed at both, to different ones: a single one, or how an element of a list is described. */
    struct Conflict
    {
        QString key;   // of records; "name" for the whole name
        QString other; // the value that was not taken, as text: of a list the element, as "<555 0100/m>"
    };

    VXContactRecord contact = {};
    QList<Conflict> conflicts = {};
};

/** What of a contact phones have places for, storable: without picture, groups, UID and unknown properties. */
[[nodiscard]] VX_EXPORT VXContactRecord VXContactForPhone(const VXContactRecord &contact);

/**
 * Takes over into `onto` what changed from `before` to `after`. What was changed there too, since `ontoBefore`, stays: lists get the
 * elements of both, of notes all lines, a text that has the other in it counts for both, and of other single values, and of types
 * and labels of one element, that are different now the one of `after` is a conflict. With `ontoBefore` equal to `onto` all that changed is taken over.
 */
[[nodiscard]] VX_EXPORT VXMergedContact VXMergeContacts(const VXContactRecord &before, const VXContactRecord &after,
                                                        const VXContactRecord &ontoBefore, const VXContactRecord &onto);
