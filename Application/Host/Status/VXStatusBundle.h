#pragma once

#include <QtCore/QString>

class VXPluginManager;
class VXStatusReport;

/**
 * Packs what a helper needs to know into a zip archive: the state of everything, versions, the log and the history of
 * events, all without the user's own data (VXReportMask). An existing archive is replaced once the new one is complete.
 * `path` gets the extension "zip" if it has another one. Runs the event loop. @return what went wrong; null if nothing
 * did.
 */
[[nodiscard]] QString VXWriteStatusBundle(const VXPluginManager &manager, const VXStatusReport &report, QString &path);
