#pragma once

#include "VXManagedObject.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

// What a table can show of objects besides their names: attributes and to-one relationships.

using VXObjectColumns = QList<const VXPropertyDescription *>;

[[nodiscard]] QStringList VXNamesOfProperties(const VXEntityDescription &entity);
[[nodiscard]] VXObjectColumns VXColumnsOfEntity(const VXEntityDescription &entity);
/** Without those that only searches are for ("name_search"). */
[[nodiscard]] VXObjectColumns VXColumnsForPeople(const VXEntityDescription &entity);
/** The cell of an object of the entity or of a subentity; "-" for none. */
[[nodiscard]] QString VXCellOfObject(const VXManagedObject &object, const VXPropertyDescription &column);
