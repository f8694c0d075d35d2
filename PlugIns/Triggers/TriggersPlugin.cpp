#include "VXDataManager.h"
#include "VXDataPlugin.h"
#include "VXPrincipalClass.h"

using namespace Qt::StringLiterals;

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

    // Since the first version nothing is derived from other values that was not before.
    bool copiesRows(int version) const override { return version >= 1; }
    QString importDescriptionFromStore(VXCoreDataStore &store) override
    {
        const qsizetype count = countInStore(store, u"VXTrigger"_s);
        if (count == 0)
            return {};
        return bundle()
            ->localizedStringForKey(count == 1 ? u"One trigger"_s : u"%1 triggers"_s)
            .replace("%1"_L1, QString::number(count));
    }
};

VX_PRINCIPAL_CLASS(TriggersPlugin)

#include "TriggersPlugin.moc"
