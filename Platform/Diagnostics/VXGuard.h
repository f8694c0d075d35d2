#pragma once

#include "VXPlatformExport.h"

#include <QtCore/QString>

#include <typeinfo>
#include <utility>

/** A description of an exception: with its kind, for the log, and only the reason, for the user. */
struct VXThrown
{
    QString description;
    QString reason;
};

/** To be called in a catch clause. Any thread. */
[[nodiscard]] VX_PLATFORM_EXPORT VXThrown VXDescribeThrown() noexcept;

/** The name of a type in C++ notation, with namespaces. */
[[nodiscard]] VX_PLATFORM_EXPORT QString VXTypeName(const std::type_info &type);

/**
 * "who, of FILE": the shared object or program that contains the code of a type; for a lambda, where it was written.
 */
[[nodiscard]] VX_PLATFORM_EXPORT QString VXDescribeCode(const QString &who, const std::type_info &type) noexcept;

/** To be called in a catch clause: reports the exception, and who threw it, as a diagnostic of level 3. */
VX_PLATFORM_EXPORT void VXReportException(const QString &who) noexcept;

/**
 * Calls what may be foreign code, which may throw anything: an exception is reported and goes no further. `who()`
 * returns the text that identifies the code, and is called only when needed. False when it threw.
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
