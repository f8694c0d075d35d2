#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QStringView>

/**
 * Whether the text is "local@domain": a local part of 1 to 64 UTF-16 units and a domain of 1 to 255 (RFC 5321), with
 * letters and digits of any script. Four numbers below 256 are a domain, too. In other domains with exactly four
 * labels, the labels up to and including the first that is no such number may contain anything; empty labels are
 * accepted. Any thread.
 */
[[nodiscard]] VX_EXPORT bool VXIsValidEmailAddress(QStringView text);
