#pragma once

#include "VXFrameworkExport.h"

#include <functional>
#include <optional>

/** For how long nobody has touched keyboard or mouse, as the session knows it. Any thread. */
class VX_EXPORT VXIdleTime
{
public:
    /** Seconds; none when it cannot be told. Called on any thread, and waited for. */
    using Source = std::function<std::optional<double>()>;
    /** Given by a program that is connected to the desktop; an empty one takes it back. */
    static void setSource(Source source);
    /** None without a source, too. */
    static std::optional<double> seconds();

    VXIdleTime() = delete;
};
