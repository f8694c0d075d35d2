#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * Identifies the other side of a conversation: its addresses, sorted, in the form used for look-ups, so that spelling
 * and names do not matter; an item without an address counts with its text. Null for none. Any thread.
 */
[[nodiscard]] VX_EXPORT QString VXConversationKey(const QString &phonebookStrings);

/** The conversations that somebody with that one number or address may have: of a number with an extension also that of the
 *  number alone. Any thread. */
[[nodiscard]] VX_EXPORT QStringList VXConversationKeysOf(const QString &phonebookString);
