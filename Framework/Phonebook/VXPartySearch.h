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

/** The words of what was typed, each of which is to be found somewhere. A phone number is one, however it is written. */
[[nodiscard]] VX_EXPORT QStringList VXTypedWords(const QString &text);
/** Whether the other party was recorded with each word of the text, in any order, or with the number that it is. */
[[nodiscard]] VX_EXPORT VXPredicate VXWasRecordedWith(const QString &text);
/**
 * The same, or the other party is one of these addresses, with or without a recorded name. For records with a single
 * party (calls).
 */
[[nodiscard]] VX_EXPORT VXPredicate VXHasOtherParty(const QString &text, const QStringList &parties);
