#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

// Groups as text: "Friends { Jane <555-0100>, joe@example.com }". Any thread.

/**
 * Parses a group: its name, null without braces, and its members, each a phonebook string. The outputs are initially
 * null and empty, and may be nullptr; a comma in a member's name does not split it. @return true for a text with braces
 * or with at least two members; false, without outputs, when braces are mismatched (logged).
 */
[[nodiscard]] VX_EXPORT bool VXPhonebookGroupSplit(const QString &text, QString *groupName = nullptr,
                                                   QStringList *members = nullptr);

/** "name { member, member }" */
[[nodiscard]] VX_EXPORT QString VXPhonebookGroupJoin(const QString &groupName, const QStringList &members);
