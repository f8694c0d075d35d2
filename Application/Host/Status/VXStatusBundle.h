#pragma once

#include <QtCore/QString>

class VXPluginManager;
class VXStatusReport;

/**
 * Packs what somebody who helps needs to know as a zip archive: how everything stands, versions, the log and the history of
 * events, all without what is the user's own (VXReportMask). An archive that is there is replaced once the new one is whole.
 * `path` gets the extension "zip" if it has another. Runs the event loop. @return what went wrong; null when nothing did.
 */
[[nodiscard]] QString VXWriteStatusBundle(const VXPluginManager &manager, const VXStatusReport &report, QString &path);
