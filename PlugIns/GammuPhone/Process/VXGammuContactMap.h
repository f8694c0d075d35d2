#pragma once

#include "VXGammuGate.h"

#include <QtCore/QVariant>

#include <gammu.h>

/** The entry as a contact, with the keys that the plugin's README lists. */
QVariantMap VXContactFromGammu(const GSM_MemoryEntry &entry);

/**
 * Adds the contact's values to the entry, whose memory and location stay. Values that the entry already has, and for
 * which there is a key, must have been removed (VXRemoveContactValues). Numbers lose spaces, dots and brackets, except
 * those that are exactly the same in `there`, the contact as it is on the phone. Fails if a phone cannot hold a value;
 * the entry is then unusable. Empty texts are omitted.
 */
[[nodiscard]] VXGammuFailure VXContactToGammu(const QVariantMap &contact, const QVariantMap &there,
                                              const VXGammuGate &gate, GSM_MemoryEntry &entry);

/** Removes the values for which there is a key, and leaves others, such as ring tone and picture. */
void VXRemoveContactValues(GSM_MemoryEntry &entry);
