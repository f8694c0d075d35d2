#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>

/**
 * What says with whom a conversation is: the addresses alone, sorted, in the form for look-ups, so that numbers are the
 * same however they are written and whatever name stands before them; what has no address goes by its text. Null for none. Any
 * thread.
 */
[[nodiscard]] VX_EXPORT QString VXConversationKey(const QString &phonebookStrings);
