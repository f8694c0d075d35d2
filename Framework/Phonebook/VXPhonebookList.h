#pragma once

#include "VXFrameworkExport.h"
#include "VXPhonebookItems.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

// Lists of phonebook strings and groups as text: "Jane <555-0100>, Friends { joe@example.com }". Any thread.

/**
 * The items of a list; a comma in a braced group or in a name does not part them. With `expandGroups` a group
 * gives its members, otherwise its whole text. What follows an unterminated group's "{" is lost (logged), as
 * is that group.
 */
[[nodiscard]] VX_EXPORT QStringList VXUnpackPhonebookStrings(const QString &text, bool expandGroups);

/** The same as views, for those who only look at the items: they live as long as the text. */
[[nodiscard]] VX_EXPORT VXPhonebookItems VXUnpackPhonebookItems(QStringView text, bool expandGroups);

/** The items joined by ", "; the empty text for none. */
[[nodiscard]] VX_EXPORT QString VXPackPhonebookStrings(const QStringList &items);

/**
 * True if both lists, groups expanded, name the same addresses the same number of times, in any order.
 * Addresses with digits are compared by the search string of their value, others by their whole text.
 */
[[nodiscard]] VX_EXPORT bool VXPhonebookStringsMatch(const QString &a, const QString &b);
