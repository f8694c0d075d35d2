#include "VXDataManager.h"
#include "VXDataPlugin.h"
#include "VXErrorDomain.h"
#include "VXPrincipalClass.h"

#include <csignal>
#include <stdexcept>

using namespace Qt::StringLiterals;

/**
 * A data plugin that looks at a store it has opened as "FixtureValidation" of its Info.plist tells: "seeds" (adds an object
 * of the model's first entity), "refuses", "throws", "looks itself up" or "dies"; with "dies early" the process is gone when the store's models
 * are asked for. It opens objects of the store whose identifier is "FixtureOpens".
 */
class StorePlugin : public VXDataPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE StorePlugin() = default;

    QStringList dataModelPaths() const override
    {
        if (validation() == "dies early"_L1)
            ::raise(SIGKILL);
        return VXDataPlugin::dataModelPaths();
    }

    bool validateManagedObjectContext(VXManagedObjectContext &context, VXError *error) override
    {
        const QString how = validation();
        if (how == "dies"_L1)
            ::raise(SIGKILL);
        if (how == "throws"_L1)
            throw std::runtime_error("thrown as told");
        if (how == "looks itself up"_L1) // as what is queued meanwhile may
            setProperty("found",
                        bool(VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(dataStoreName())));
        if (how == "seeds"_L1)
            context.insertNewObject(*context.persistentStoreCoordinator()->model().entities().constFirst());
        if (how == "refuses"_L1)
            VXSetError(error, VXMakeError(u"refused as told"_s));
        return how != "refuses"_L1;
    }

    bool openManagedObjectWithURIRepresentation(const QUrl &uri) override
    {
        setProperty("asked", uri);
        return bundle()->infoDictionary().value(u"FixtureOpens"_s).toString() == uri.host();
    }

private:
    QString validation() const { return bundle()->infoDictionary().value(u"FixtureValidation"_s).toString(); }
};

VX_PRINCIPAL_CLASS(StorePlugin)

#include "StorePlugin.moc"
