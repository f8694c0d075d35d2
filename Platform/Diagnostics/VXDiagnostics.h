#pragma once

#include "VXPlatformExport.h"

#include <QtCore/QString>

/** Writes one line to the console (standard error): date, program name, process number, text. Any thread. */
VX_PLATFORM_EXPORT void VXConsoleLog(const QString &text);
/** From then on the same text again, with none between, is left out for a minute: for programs that people look at. A full disk is
 * told once, and not with each line that the log loses. */
VX_PLATFORM_EXPORT void VXSetConsoleOmitsRepetitions(bool flag);

/** Receives the platform layer's own problems. Level: 3 failure, 4 warning, 5 notice. Called on any thread. */
using VXDiagnosticHandler = void (*)(unsigned level, const QString &text);

/** Installs the handler (the logger does); nullptr brings back the console. Returns the one before. */
VX_PLATFORM_EXPORT VXDiagnosticHandler VXSetDiagnosticHandler(VXDiagnosticHandler handler);

/** Reports a problem of the platform layer to the installed handler, or to the console when there is none. */
VX_PLATFORM_EXPORT void VXReportDiagnostic(unsigned level, const QString &text);

/** The text itself, or "(null)" for none: how absent values read in messages. */
inline QString VXDescription(const QString &text)
{
    return text.isNull() ? QStringLiteral("(null)") : text;
}
