#pragma once

#include "VXFrameworkExport.h"
#include "VXPredicate.h"

#include <QtCore/QStringList>

/**
 * For searching lists of calls and messages, which show parties by their present names: the addresses of contacts that
 * match what was typed (completions of the calling thread's VXPhonebookManager), in the form that `otherParty_search`
 * ends with, which is also that of `conversation`. Each once, at most a hundred.
 */
[[nodiscard]] VX_EXPORT QStringList VXPartiesMeantBy(const QString &text);

/** Whether the other party was recorded with the text, or with the phone number that it is, in any spelling. */
[[nodiscard]] VX_EXPORT VXPredicate VXWasRecordedWith(const QString &text);
/**
 * The same, or the other party is one of these addresses, with or without a recorded name. For records with a single
 * party (calls).
 */
[[nodiscard]] VX_EXPORT VXPredicate VXHasOtherParty(const QString &text, const QStringList &parties);
