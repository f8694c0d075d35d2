#pragma once

#include "VXEntityDescription.h"
#include "VXStoreRow.h"

#include <QtCore/QList>

#include <memory>

/** Indexes of the properties with a place in the row that differ between two rows of an entity. */
QList<int> VXChangedProperties(const VXEntityDescription &entity, const VXStoreRow &before, const VXStoreRow &after);
/** Whether they are just those. */
bool VXAreChangedProperties(const QList<int> &properties, const VXEntityDescription &entity, const VXStoreRow &before,
                            const VXStoreRow &after);

/** True when the row has values of transient properties, which no store keeps. */
bool VXHasTransientValues(const VXEntityDescription &entity, const VXStoreRow &row);
void VXCopyTransientValues(const VXEntityDescription &entity, const VXStoreRow &from, VXStoreRow &to);
void VXRemoveTransientValues(const VXEntityDescription &entity, VXStoreRow &row);

/**
 * What an object is to be whose row was changed here, from `base` to `own`, and by somebody else to `stored`: the changes of
 * both; of a property that both changed the own, or the stored one. The version is the one after the stored row's.
 */
std::shared_ptr<VXStoreRow> VXMergedRow(const VXEntityDescription &entity, const VXStoreRow &base,
                                        const VXStoreRow &own, const VXStoreRow &stored, bool storeTrumps);
