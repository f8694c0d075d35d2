#pragma once

#include "VXContactRecord.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

/**
 * What a search finds a contact by and shows of it, by the attribute keys of docs/FORMATS.md: everything written in it,
 * the names as they sound, and, for names written without a blank and family name first, also the given name. `title`:
 * what people call the contact.
 */
[[nodiscard]] QVariantMap VXContactMetaData(const VXContactRecord &contact, const QString &title);
