#pragma once

#include "VXContactRecord.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

/**
 * What a search finds a contact by and shows of it, by the attribute keys of docs/FORMATS.md: all that is written of it, the names
 * as they sound, and names that are written without a blank, family name first, by the given name, too. `title`: what people call
 * it.
 */
[[nodiscard]] QVariantMap VXContactMetaData(const VXContactRecord &contact, const QString &title);
