#include "VXDataManager.h"
#include "VXPrincipalClass.h"
#include "VXStorePlugin.h"

using namespace Qt::StringLiterals;

/** Keeps the user's triggers, in the store "triggers". */
class TriggersPlugin : public VXStorePlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE TriggersPlugin() : VXStorePlugin(u"VXTrigger"_s, u"One automation"_s, u"%1 automations"_s) {}

    QStringList dataModelPaths() const override
    {
        return VXDataPlugin::dataModelPaths() << VXDataManager::smartFilterDataModelPath();
    }
};

VX_PRINCIPAL_CLASS(TriggersPlugin)

#include "TriggersPlugin.moc"
