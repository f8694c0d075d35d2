#pragma once

#include "VXPlatformExport.h"

#include <QtCore/QString>

#include <typeinfo>
#include <utility>

/** What was thrown: with its kind, for the log, and the reason alone, for people. */
struct VXThrown
{
    QString description;
    QString reason;
};

/** Inside a catch clause only. Any thread. */
[[nodiscard]] VX_PLATFORM_EXPORT VXThrown VXDescribeThrown() noexcept;

/** The name of a type as programmers write it, namespaces included. */
[[nodiscard]] VX_PLATFORM_EXPORT QString VXTypeName(const std::type_info &type);

/** "who, of FILE", the shared object or program whose code a type belongs to: that of a lambda is where it was written. */
[[nodiscard]] VX_PLATFORM_EXPORT QString VXDescribeCode(const QString &who, const std::type_info &type) noexcept;

/** Inside a catch clause: reports as a diagnostic of level 3 what was thrown by whom. */
VX_PLATFORM_EXPORT void VXReportException(const QString &who) noexcept;

/**
 * Calls what may be foreign code, which may throw anything: that is reported and goes no further. `who()` makes the text
 * that names it, only when it is needed. False when it threw.
 */
template <class Who, class Call>
bool VXGuard(const Who &who, Call &&call)
{
    try {
        std::forward<Call>(call)();
        return true;
    } catch (...) {
        VXReportException(who());
        return false;
    }
}
