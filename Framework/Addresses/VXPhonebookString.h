#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>

// Phonebook strings: one contact address as text, "Jane Doe <+1 555 0100/Hm>" - a name, the value (a phone
// number or an e-mail address) and the letters of the type mask (VXPhonebookType.h). Any thread.

/**
 * Parses a phonebook string. Each output is initially null or 0 and may be nullptr. @return whether the value is a
 * valid phone number or e-mail address. If it is not, the outputs hold what was found; if the text is malformed
 * (logged), the name is the whole text.
 */
[[nodiscard]] VX_EXPORT bool VXPhonebookStringSplit(const QString &text, QString *name = nullptr,
                                                    QString *value = nullptr, unsigned *typeMask = nullptr);

/** The phonebook string with the number that is dialled, where its number has an extension or the like as people write it
 *  (VXWrittenNumber), which the format does not have. Any other text is returned as it is. */
[[nodiscard]] VX_EXPORT QString VXPhonebookStringWithoutExtension(const QString &text);
/** The same, with the extension behind a pause ("p77"), which the format has: for look-ups, which tell contacts apart by it. */
[[nodiscard]] VX_EXPORT QString VXPhonebookStringWithPause(const QString &text);

/** The number to dial of a phonebook string, without pauses and whatever else people write beside it (VXWrittenNumber). Null if there is
 *  none, as with an e-mail address. */
[[nodiscard]] VX_EXPORT QString VXDialledNumber(const QString &phonebookString);
/** As VXPhonebookStringSplit, where the value may also be a number as people write it (VXIsNumberAsWritten), with all that is
 *  beside it. */
[[nodiscard]] VX_EXPORT bool VXPhonebookStringSplitAsWritten(const QString &text, QString *name, QString *value,
                                                             unsigned *typeMask = nullptr);

/**
 * Makes a phonebook string, with reserved characters escaped. Name and value may be null; without a value the name is
 * returned as it is. A mask that has no letters is written as "/(null)".
 */
[[nodiscard]] VX_EXPORT QString VXPhonebookStringJoin(const QString &name, const QString &value, unsigned typeMask);
