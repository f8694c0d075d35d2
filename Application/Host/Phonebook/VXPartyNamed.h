#pragma once

#include "VXHostCommand.h"
#include "VXMessageStore.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

// Finds out whom the user means: people are named as in the phonebook, or by a number or address.

/**
 * The phonebook string with the number to send to: the text itself, or that of the contact with that name; null, with a
 * message to the user, if there are none or several.
 */
[[nodiscard]] QString VXReceiverNamed(VXHostContext &context, const QString &text);

/**
 * The conversations (VXConversationKey) with the person who is meant. For an address, its own conversation. For a name,
 * or the beginning of a name or a number, those with all numbers and addresses of the only matching contact or sender
 * with whom there are messages. Empty, with a message to the user, if there are none or several.
 */
[[nodiscard]] QStringList VXConversationsWith(VXHostContext &context, const VXMessageStore &store,
                                              VXManagedObjectContext &messages, const QString &text);
