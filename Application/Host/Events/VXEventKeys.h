#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

/** The keys that the objects of an event have by the documents; empty for events of which nothing is known. */
[[nodiscard]] QStringList VXKeysOfEvent(const QString &event);

/** For people: a value that the filter asks for and objects of the event do not have, as after a slip of the pen. Null when there is none. */
[[nodiscard]] QString VXDoubtOfFilter(const QString &filter, const QString &event);
