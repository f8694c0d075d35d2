#pragma once

#include "VXGammuGate.h"

#include <QtCore/QVariant>

#include <gammu.h>

/** The entry as a contact, with the keys that the plugin's README lists. */
QVariantMap VXContactFromGammu(const GSM_MemoryEntry &entry);

/**
 * Adds the contact's values to the entry, whose memory and location stay. Values that the entry has already, and that a
 * key stands for, must have been taken out (VXRemoveContactValues). Numbers lose spaces, dots and brackets, but for those
 * that `there`, the contact as it is on the phone, has just so. A failure, when a value cannot be
 * held by a phone, and empty texts are left out; the entry is of no use then.
 */
[[nodiscard]] VXGammuFailure VXContactToGammu(const QVariantMap &contact, const QVariantMap &there,
                                              const VXGammuGate &gate, GSM_MemoryEntry &entry);

/** Leaves the values that no key stands for, as ring tone and picture. */
void VXRemoveContactValues(GSM_MemoryEntry &entry);
