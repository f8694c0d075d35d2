#pragma once

#include "VXHostCommand.h"
#include "VXMessageStore.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

// Whom the user means: people are named as in the phonebook, or by a number or address.

/** The phonebook string with the number to send to: the text itself, or that of the contact who is called so; null, told, when there is
 * none, or several. */
[[nodiscard]] QString VXReceiverNamed(VXHostContext &context, const QString &text);

/** The conversations (VXConversationKey) with whoever is meant: of an address its own; of a name, or the beginning of one or of a number,
 * those with all numbers and addresses of the contact, or of the sender, who is the only one with messages to whom it fits. Empty,
 * told, for none and for several. */
[[nodiscard]] QStringList VXConversationsWith(VXHostContext &context, const VXMessageStore &store,
                                              VXManagedObjectContext &messages, const QString &text);
