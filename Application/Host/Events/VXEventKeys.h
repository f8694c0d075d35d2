#pragma once

#include "VXReactorOption.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

/** The documented keys of an event's objects; empty for events of which nothing is known. */
[[nodiscard]] QStringList VXKeysOfEvent(const QString &event);

/**
 * For people: what looks wrong in the options of a reactor for that event, namely a column or, in a text, a "{KEY}"
 * that its objects do not have. Null if nothing does.
 */
[[nodiscard]] QString VXDoubtOfOptions(const QVariantMap &options, const VXReactorOptions &described,
                                       const QString &event);

/**
 * For people: a value of the object that objects of the event do not have, or one that is not text where theirs is.
 * Null if there is none.
 */
[[nodiscard]] QString VXDoubtOfObject(const QVariantMap &object, const QString &event);

/**
 * For people: a value that the filter checks but that objects of the event do not have, for example because of a typing
 * error. Null if there is none.
 */
[[nodiscard]] QString VXDoubtOfFilter(const QString &filter, const QString &event);
