#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * The programs that have the device file open, or have locked it by a file in /run/lock, as "NAME (process NUMBER)",
 * sorted; without this process and those it started. Files that other users have open are not visible to this user, and
 * are missing. Any thread.
 */
[[nodiscard]] VX_EXPORT QStringList VXProgramsHoldingPort(const QString &path);

/**
 * Why the device file cannot be used now, in the user's language: it does not exist, the user has no permission, or
 * another program holds it. The recovery suggestion says what to do. Null when it can be used as far as known. Any
 * thread.
 */
[[nodiscard]] VX_EXPORT VXError VXProblemOfPort(const QString &path);

/** The error that says that these programs hold the port. */
[[nodiscard]] VX_EXPORT VXError VXPortIsHeldError(const QString &path, const QStringList &holders);
