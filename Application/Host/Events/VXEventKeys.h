#pragma once

#include "VXReactorOption.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

/** The keys that the objects of an event have by the documents; empty for events of which nothing is known. */
[[nodiscard]] QStringList VXKeysOfEvent(const QString &event);

/** For people: what is wrong with the options of a reactor for that event, as a column or, in a text, a "{KEY}" that its objects
 *  do not have. Null for nothing. */
[[nodiscard]] QString VXDoubtOfOptions(const QVariantMap &options, const VXReactorOptions &described,
                                       const QString &event);

/** For people: the value that the object has and objects of the event do not, or one that is no text where they have one. Null
 *  when there is none. */
[[nodiscard]] QString VXDoubtOfObject(const QVariantMap &object, const QString &event);

/** For people: a value that the filter asks for and objects of the event do not have, as after a slip of the pen. Null when there is none. */
[[nodiscard]] QString VXDoubtOfFilter(const QString &filter, const QString &event);
