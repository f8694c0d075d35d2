#pragma once

#include <QtCore/QString>

/** True for the words with a meaning of their own in predicates, in any case of letters; "#" before one makes it a key. */
bool VXIsPredicateWord(const QString &word);
