#pragma once

#include "VXManagedObject.h"

#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QStringList>

class VXManagedObjectContext;

[[nodiscard]] QStringList VXNamesOfProperties(const VXEntityDescription &entity);

/**
 * An object as JSON: "uri", "entity", attributes by name, to-one relationships as URI, to-many ones as their count, or as lists of
 * URIs.
 */
[[nodiscard]] QJsonObject VXJSONFromObject(const VXManagedObject &object, bool withRelatedURIs);

/** What a table can show of objects besides their names: attributes and to-one relationships. */
using VXStoreColumns = QList<const VXPropertyDescription *>;
[[nodiscard]] VXStoreColumns VXColumnsOfEntity(const VXEntityDescription &entity);
/** Without those that only searches are for ("name_search"). */
[[nodiscard]] VXStoreColumns VXColumnsForPeople(const VXEntityDescription &entity);
/** The cell of an object of the entity or of a subentity; "-" for none. */
[[nodiscard]] QString VXCellOfObject(const VXManagedObject &object, const VXPropertyDescription &column);
/** As tables show it: "Person/p12". */
[[nodiscard]] QString VXShortNameOfObject(const VXManagedObject &object);

/** The object with a URI, or with the name that tables show, as "Person/p12". @return null with a problem on failure. */
[[nodiscard]] VXManagedObjectPtr VXObjectNamed(VXManagedObjectContext &context, const QString &name, QString *problem);

/**
 * Sets the attributes and relationships that a JSON object names; dates may be texts in ISO 8601, data texts in Base64, related
 * objects are URIs or names. @return what is wrong, null when nothing is; some may then be set.
 */
[[nodiscard]] QString VXSetObjectFromJSON(VXManagedObjectContext &context, VXManagedObject &object,
                                          const QJsonObject &values);
