#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QStringView>

/**
 * True for "local@domain": a local part of 1 to 64 UTF-16 units and a domain of 1 to 255 (RFC 5321), with
 * letters and digits of any script. Four numbers below 256 are a domain, too. Of other domains with exactly
 * four labels, those up to and including the first that is no such number may hold anything; empty labels are
 * let through. Any thread.
 */
[[nodiscard]] VX_EXPORT bool VXIsValidEmailAddress(QStringView text);
