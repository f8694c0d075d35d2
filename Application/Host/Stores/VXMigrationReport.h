#pragma once

#include "VXCoreDataStore.h"
#include "VXError.h"
#include "VXStoreMigration.h"

#include <QtCore/QJsonArray>
#include <QtCore/QList>
#include <QtCore/QString>

#include <optional>

// What happened to the objects of a store that was copied, as the verbs for whole stores report it.

/** One object for each entity: "entity", "found", "copied", "leftOut", "changed", "dropped" and "notFound". */
[[nodiscard]] QJsonArray VXJSONOfMigration(const QList<VXEntityMigration> &entities);
/** A table with a line for each entity; one sentence if there are none. */
[[nodiscard]] QString VXTextOfMigration(const QList<VXEntityMigration> &entities);
/**
 * The same for a store that is taken as it is: all objects of each entity count as found and copied. Empty, with an
 * error, on failure.
 */
[[nodiscard]] std::optional<QList<VXEntityMigration>> VXObjectsOfStore(VXCoreDataStore &store, VXError *error);
