#include "VXDataPlugin.h"
#include "VXErrorDomain.h"
#include "VXPrincipalClass.h"

#include <stdexcept>

using namespace Qt::StringLiterals;

/**
 * A data plugin that looks at a store it has opened as "FixtureValidation" of its Info.plist tells: "seeds" (adds an object
 * of the model's first entity), "refuses" or "throws".
 */
class StorePlugin : public VXDataPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE StorePlugin() = default;

    bool validateManagedObjectContext(VXManagedObjectContext &context, VXError *error) override
    {
        const QString how = bundle()->infoDictionary().value(u"FixtureValidation"_s).toString();
        if (how == "throws"_L1)
            throw std::runtime_error("thrown as told");
        if (how == "seeds"_L1)
            context.insertNewObject(*context.persistentStoreCoordinator()->model().entities().constFirst());
        if (how == "refuses"_L1)
            VXSetError(error, VXMakeError(u"refused as told"_s));
        return how != "refuses"_L1;
    }
};

VX_PRINCIPAL_CLASS(StorePlugin)

#include "StorePlugin.moc"
