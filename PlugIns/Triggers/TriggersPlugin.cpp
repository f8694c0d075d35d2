#include "VXDataManager.h"
#include "VXDataPlugin.h"
#include "VXPrincipalClass.h"

/** Keeps the user's triggers, in the store "triggers". */
class TriggersPlugin : public VXDataPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE TriggersPlugin() = default;

    QStringList dataModelPaths() const override
    {
        return VXDataPlugin::dataModelPaths() << VXDataManager::smartFilterDataModelPath();
    }
};

VX_PRINCIPAL_CLASS(TriggersPlugin)

#include "TriggersPlugin.moc"
