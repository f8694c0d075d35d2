#pragma once

#include "VXFilterField.h"

/** What a filter may ask about the object of an event, the most usual first. Never empty. */
[[nodiscard]] QList<VXFilterField> VXFieldsOfEvent(const QString &event);
