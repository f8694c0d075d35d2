#pragma once

#include "VXPlatformExport.h"

#include <QtCore/QString>

/** Writes one line to the console (standard error): date, program name, process number, text. Any thread. */
VX_PLATFORM_EXPORT void VXConsoleLog(const QString &text);
/**
 * For programs whose console is read by people: lines then begin with the program's name only, and a repetition of the
 * last line is left out for a minute. A full disk is reported once, not for each line that the log loses.
 */
VX_PLATFORM_EXPORT void VXSetConsoleIsForPeople(bool flag);

/** Receives the platform layer's own problems. Level: 3 failure, 4 warning, 5 notice, 7 trace. Called on any thread. */
using VXDiagnosticHandler = void (*)(unsigned level, const QString &text);

/** Installs the handler (done by the logger); nullptr restores the console. Returns the former handler. */
VX_PLATFORM_EXPORT VXDiagnosticHandler VXSetDiagnosticHandler(VXDiagnosticHandler handler);

/** Reports a problem of the platform layer to the installed handler, or to the console when there is none. */
VX_PLATFORM_EXPORT void VXReportDiagnostic(unsigned level, const QString &text);

/** The text itself, or "(null)" for none, which is how absent values are written in messages. */
inline QString VXDescription(const QString &text)
{
    return text.isNull() ? QStringLiteral("(null)") : text;
}
