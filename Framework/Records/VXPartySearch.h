#pragma once

#include "VXFrameworkExport.h"
#include "VXPredicate.h"

#include <QtCore/QStringList>

/**
 * For lists of calls and messages that people search by typing, and that show parties as they are called now: the addresses of
 * contacts that the text may become (completions of the calling thread's VXPhonebookManager), as `otherParty_search` ends with
 * them, and as `conversation` is. Each once, a hundred at most.
 */
[[nodiscard]] VX_EXPORT QStringList VXPartiesMeantBy(const QString &text);

/** The words of what was typed, each of which is to be found somewhere. A phone number is one, however it is written. */
[[nodiscard]] VX_EXPORT QStringList VXTypedWords(const QString &text);
/** Whether the other party was recorded with each word of the text, in any order, or with the number that it is. */
[[nodiscard]] VX_EXPORT VXPredicate VXWasRecordedWith(const QString &text);
/** The same, or the other party is one of these addresses, alone or behind a recorded name. For records of one party (calls). */
[[nodiscard]] VX_EXPORT VXPredicate VXHasOtherParty(const QString &text, const QStringList &parties);
