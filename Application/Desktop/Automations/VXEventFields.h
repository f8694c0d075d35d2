#pragma once

#include "VXFilterField.h"

/** What a filter can check in the object of an event, the most common first. Never empty. */
[[nodiscard]] QList<VXFilterField> VXFieldsOfEvent(const QString &event);
