#pragma once

#include "VXHostCommand.h"
#include "VXMessageStore.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

// Whom the user means: people are named as in the phonebook, or by a number or address.

/** The phonebook string with the number to send to: the text itself, or that of the contact who is called so; null, told, when there is
 * none, or several. */
[[nodiscard]] QString VXReceiverNamed(VXHostContext &context, const QString &text);

/** The conversations (VXConversationKey) with whoever is meant: of an address its own; of a name those with all numbers and
 * addresses of the contact, by the newest message of anybody whose name has a word that begins so. Empty for none. */
[[nodiscard]] QStringList VXConversationsWith(const VXMessageStore &store, VXManagedObjectContext &messages,
                                              const QString &text);
