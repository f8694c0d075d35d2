#include "VXStoreImporting.h"

#include "VXDataPlugin.h"
#include "VXDesktopText.h"

#include <QtCore/QFileInfo>

QString VXImportStoreFile(VXDataPlugin &plugin, const QString &path)
{
    const QString before = plugin.oldStore();
    const QString name = QFileInfo(path).fileName();
    if (!plugin.importStoreAtPath(path))
        return {};
    if (plugin.hasSavedNothing())
        return VXText("Nothing of “%1” was merged, as the plugin wants it.").arg(name);
    if (plugin.oldStore() != before && !plugin.oldStore().isNull())
        return VXText("“%1” was merged. What was there before lies in %2.").arg(name, plugin.oldStore());
    return {};
}
