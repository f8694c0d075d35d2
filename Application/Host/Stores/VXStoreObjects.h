#pragma once

#include "VXManagedObject.h"

#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QStringList>

class VXManagedObjectContext;

/**
 * An object as JSON: "uri", "entity", attributes by name, to-one relationships as URI, to-many ones as their count, or as lists of
 * URIs.
 */
[[nodiscard]] QJsonObject VXJSONFromObject(const VXManagedObject &object, bool withRelatedURIs);

/** The columns of a table of objects: their names, attributes and to-one relationships. */
[[nodiscard]] QStringList VXColumnTitles(const VXEntityDescription &entity);
/** Those of an object of the entity or of a subentity. */
[[nodiscard]] QStringList VXColumnsFromObject(const VXManagedObject &object, const VXEntityDescription &entity);

/** The object with a URI, or with the name that tables show, as "Person/p12". @return null with a problem on failure. */
[[nodiscard]] VXManagedObjectPtr VXObjectNamed(VXManagedObjectContext &context, const QString &name, QString *problem);

/**
 * Sets the attributes and relationships that a JSON object names; dates may be texts in ISO 8601, data texts in Base64, related
 * objects are URIs or names. @return what is wrong, null when nothing is; some may then be set.
 */
[[nodiscard]] QString VXSetObjectFromJSON(VXManagedObjectContext &context, VXManagedObject &object,
                                          const QJsonObject &values);
