#pragma once

#include "VXContactRecord.h"
#include "VXFrameworkExport.h"

#include <QtCore/QList>
#include <QtCore/QString>

/** The merge of a contact that was changed at two places. */
struct VXMergedContact
{
    /** A value that was changed at both places, to different values: a single value, or the description of a list
     *  element. */
    struct Conflict
    {
        QString key;   // a key of records; "name" for the whole name
        QString other; // the value that was not taken, as text; for a list the element, such as "<555 0100/m>"
    };

    VXContactRecord contact = {};
    QList<Conflict> conflicts = {};
};

/**
 * The part of a contact that phones can store, in storable form: without picture, groups, UID and unknown properties.
 */
[[nodiscard]] VX_EXPORT VXContactRecord VXContactForPhone(const VXContactRecord &contact);

/**
 * Applies to `onto` what changed from `before` to `after`. What was changed in `onto` since `ontoBefore` is kept: lists
 * get the elements of both, notes all lines; of two texts the one that contains the other is taken; other single
 * values, and types and labels of one element, that now differ are conflicts about the value of `after`. With
 * `ontoBefore` equal to `onto`, all changes are applied.
 */
[[nodiscard]] VX_EXPORT VXMergedContact VXMergeContacts(const VXContactRecord &before, const VXContactRecord &after,
                                                        const VXContactRecord &ontoBefore, const VXContactRecord &onto);
