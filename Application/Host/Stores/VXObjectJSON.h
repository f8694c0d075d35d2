#pragma once

#include "VXManagedObject.h"

#include <QtCore/QJsonObject>
#include <QtCore/QString>

class VXManagedObjectContext;

/**
 * An object as JSON: "uri", "entity", attributes by name, to-one relationships as URIs, to-many ones as their count or
 * as lists of URIs.
 */
[[nodiscard]] QJsonObject VXJSONFromObject(const VXManagedObject &object, bool withRelatedURIs);

/**
 * Sets the attributes and relationships that a JSON object names; dates may be text in ISO 8601, data is text in
 * Base64, related objects are URIs or names. @return what is wrong, null if nothing is; on an error some may already be
 * set.
 */
[[nodiscard]] QString VXSetObjectFromJSON(VXManagedObjectContext &context, VXManagedObject &object,
                                          const QJsonObject &values);
