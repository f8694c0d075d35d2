#pragma once

#include <QtCore/QStringView>

#include <optional>

/** A group string taken apart without copying: the views are parts of the text. */
struct VXPhonebookGroupParts
{
    QStringView name = {}; // null for a text without braces
    QStringView body = {}; // the members and what separates them

    /** None for an empty text and, logged, for one with "{" that no "}" follows. */
    static std::optional<VXPhonebookGroupParts> split(QStringView text);
};
