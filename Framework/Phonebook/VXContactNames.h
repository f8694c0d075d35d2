#pragma once

#include "VXContactRecord.h"

#include <QtCore/QStringList>

/** What is written of a contact, as whoever looks for it may type it: the same for the index of all that is searched and for the words
 *  of contacts. Any thread. */
namespace VXContactNames {

/** The parts of the name, and how they sound (of its vCard); Korean, Chinese and Japanese ones also with the family name first and no
 *  blank between, and of a Korean name in one word the given name. */
[[nodiscard]] VX_EXPORT QStringList namesOf(const VXContactRecord &contact);
/** A text for each postal address. */
[[nodiscard]] VX_EXPORT QStringList placesOf(const VXContactRecord &contact);

} // namespace VXContactNames
