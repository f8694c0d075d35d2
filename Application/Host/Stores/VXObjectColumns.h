#pragma once

#include "VXManagedObject.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

// What a table can show of objects in addition to their names: attributes and to-one relationships.

using VXObjectColumns = QList<const VXPropertyDescription *>;

[[nodiscard]] QStringList VXNamesOfProperties(const VXEntityDescription &entity);
[[nodiscard]] VXObjectColumns VXColumnsOfEntity(const VXEntityDescription &entity);
/** Without those that only serve searches ("name_search"). */
[[nodiscard]] VXObjectColumns VXColumnsForPeople(const VXEntityDescription &entity);
/** The cell for an object of the entity or of a subentity; "-" if it has no value. */
[[nodiscard]] QString VXCellOfObject(const VXManagedObject &object, const VXPropertyDescription &column);
