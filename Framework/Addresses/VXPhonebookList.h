#pragma once

#include "VXFrameworkExport.h"
#include "VXPhonebookItems.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

// Lists of phonebook strings and groups as text: "Jane <555-0100>, Friends { joe@example.com }". Any thread.

/**
 * The items of a list; a comma in a braced group or in a name does not split them. With `expandGroups` a group is
 * replaced by its members, otherwise its whole text is an item. What follows the "{" of an unterminated group is lost
 * (logged), and so is that group.
 */
[[nodiscard]] VX_EXPORT QStringList VXUnpackPhonebookStrings(const QString &text, bool expandGroups);

/** The same as views, for callers that only read the items; valid as long as the text. */
[[nodiscard]] VX_EXPORT VXPhonebookItems VXUnpackPhonebookItems(QStringView text, bool expandGroups);

/** The items joined by ", "; empty without items. */
[[nodiscard]] VX_EXPORT QString VXPackPhonebookStrings(const QStringList &items);

/**
 * Whether both lists, with groups expanded, contain the same addresses the same number of times, in any order.
 * Addresses with digits are compared by the search string of their value, others by their whole text.
 */
[[nodiscard]] VX_EXPORT bool VXPhonebookStringsMatch(const QString &a, const QString &b);
