#pragma once

#include <QtCore/QStringView>

#include <optional>

/** A group string parsed without copying: the views refer to the text. */
struct VXPhonebookGroupParts
{
    QStringView name = {}; // null for a text without braces
    QStringView body = {}; // the members and their separators

    /** None for an empty text and, logged, for one with a "{" without a "}" after it. */
    static std::optional<VXPhonebookGroupParts> split(QStringView text);
};
