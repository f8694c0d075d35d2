#pragma once

#include "VXFrameworkExport.h"

#include <functional>
#include <optional>

/** How long the user has not touched keyboard or mouse, as reported by the session. Any thread. */
class VX_EXPORT VXIdleTime
{
public:
    /** Returns the seconds; none when unknown. Called on any thread; the caller waits for it. */
    using Source = std::function<std::optional<double>()>;
    /** Set by a program that is connected to the desktop; an empty source removes it. */
    static void setSource(Source source);
    /** The seconds; none when unknown or without a source. */
    static std::optional<double> seconds();

    VXIdleTime() = delete;
};
