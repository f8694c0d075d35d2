#pragma once

#include "VXManagedObject.h"

#include <QtCore/QJsonObject>
#include <QtCore/QString>

class VXManagedObjectContext;

/**
 * An object as JSON: "uri", "entity", attributes by name, to-one relationships as URI, to-many ones as their count, or as lists of
 * URIs.
 */
[[nodiscard]] QJsonObject VXJSONFromObject(const VXManagedObject &object, bool withRelatedURIs);

/**
 * Sets the attributes and relationships that a JSON object names; dates may be texts in ISO 8601, data texts in Base64, related
 * objects are URIs or names. @return what is wrong, null when nothing is; some may then be set.
 */
[[nodiscard]] QString VXSetObjectFromJSON(VXManagedObjectContext &context, VXManagedObject &object,
                                          const QJsonObject &values);
