#pragma once

#include "VXCoreDataStore.h"
#include "VXError.h"
#include "VXStoreMigration.h"

#include <QtCore/QJsonArray>
#include <QtCore/QList>
#include <QtCore/QString>

#include <optional>

// What became of the objects of a store that was copied, as the verbs of whole stores tell it.

/** For each entity an object: "entity", "found", "copied", "leftOut", "changed", "dropped" and "notFound". */
[[nodiscard]] QJsonArray VXJSONOfMigration(const QList<VXEntityMigration> &entities);
/** A table with a line for each entity; one sentence where there are none. */
[[nodiscard]] QString VXTextOfMigration(const QList<VXEntityMigration> &entities);
/** The same of a store that is taken as it is: what each entity has is found and copied. Empty, with an error, on failure. */
[[nodiscard]] std::optional<QList<VXEntityMigration>> VXObjectsOfStore(VXCoreDataStore &store, VXError *error);
