#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * The programs that have the device file open, or have locked it by a file in /run/lock, as "NAME (process NUMBER)", sorted;
 * this process and those it started are left out. Only what this user may see: other users' open files are not. Any thread.
 */
[[nodiscard]] VX_EXPORT QStringList VXProgramsHoldingPort(const QString &path);

/** Why the device file cannot be used now, for people: it is not there, this user may not, another program holds it. The
 *  recovery suggestion says what to do. Null when nothing speaks against it. Any thread. */
[[nodiscard]] VX_EXPORT VXError VXProblemOfPort(const QString &path);

/** That one of these programs, or several, hold the port. */
[[nodiscard]] VX_EXPORT VXError VXPortIsHeldError(const QString &path, const QStringList &holders);
