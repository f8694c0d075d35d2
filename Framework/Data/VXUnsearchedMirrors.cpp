#include "VXUnsearchedMirrors.h"

#include "VXMetaDataRemoval.h"
#include "VXMetaDataSync.h"
#include "VXPluginManager.h"
#include "VXPluginProxy.h"

#include <algorithm>

QStringList VXUnsearchedMirrors()
{
    const VXPluginManager &manager = VXPluginManager::sharedPluginManager();
    if (manager.isSafeMode() || !std::ranges::all_of(manager.enabledPlugins(), &VXPluginProxy::isLoaded))
        return {};
    QStringList identifiers = VXMetaDataRemoval::identifiers();
    for (const VXMetaDataSync::Ptr &sync : VXMetaDataSync::launchedSyncs())
        identifiers.removeAll(sync->identifier());
    return identifiers;
}
