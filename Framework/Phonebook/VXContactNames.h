#pragma once

#include "VXContactRecord.h"

#include <QtCore/QStringList>

/**
 * The names of a contact as whoever looks for it may type them, the same for the index of all that is searched and for the words of
 * contacts: the parts of the name, and how they sound (of its vCard); Korean, Chinese and Japanese ones also with the family name
 * first and no blank between, and of a Korean name in one word the given name. Any thread.
 */
[[nodiscard]] VX_EXPORT QStringList VXNamesOfContact(const VXContactRecord &contact);

/** What the contact does besides its job title: the roles of its vCard. Any thread. */
[[nodiscard]] VX_EXPORT QStringList VXRolesOfContact(const VXContactRecord &contact);
