#pragma once

#include "VXEntityDescription.h"
#include "VXStoreRow.h"

#include <QtCore/QList>

#include <memory>

/** The indexes of the properties with a column in the row that differ between two rows of an entity. */
QList<int> VXChangedProperties(const VXEntityDescription &entity, const VXStoreRow &before, const VXStoreRow &after);
/** Whether exactly these differ. */
bool VXAreChangedProperties(const QList<int> &properties, const VXEntityDescription &entity, const VXStoreRow &before,
                            const VXStoreRow &after);

/** Whether the row has values of transient properties, which no store keeps. */
bool VXHasTransientValues(const VXEntityDescription &entity, const VXStoreRow &row);
void VXCopyTransientValues(const VXEntityDescription &entity, const VXStoreRow &from, VXStoreRow &to);
void VXRemoveTransientValues(const VXEntityDescription &entity, VXStoreRow &row);

/**
 * Merges the row of an object that was changed here, from `base` to `own`, and by somebody else to `stored`: takes the
 * changes of both; if both changed a property, the own or, with `storeTrumps`, the stored value. The version is the
 * stored row's plus one.
 */
std::shared_ptr<VXStoreRow> VXMergedRow(const VXEntityDescription &entity, const VXStoreRow &base,
                                        const VXStoreRow &own, const VXStoreRow &stored, bool storeTrumps);
