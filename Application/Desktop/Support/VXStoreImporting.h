#pragma once

#include <QtCore/QString>

class VXDataPlugin;

/**
 * Imports a store file: the plugin asks the user how, shows how far it is, and tells what went wrong. @return what came of it, to be
 * told; null when nothing did, or when it waits for the next start. Main thread.
 */
[[nodiscard]] QString VXImportStoreFile(VXDataPlugin &plugin, const QString &path);
