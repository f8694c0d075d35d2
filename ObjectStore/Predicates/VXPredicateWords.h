#pragma once

#include <QtCore/QString>

/** Whether the word is reserved in predicates, ignoring case; "#" before a reserved word makes it a key. */
bool VXIsPredicateWord(const QString &word);
