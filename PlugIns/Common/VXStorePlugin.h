#pragma once

#include "VXDataPlugin.h"
#include "VXManagedObjectClass.h"
#include "VXMetaDataSync.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * The base of the stores that ship with the program: each is recognised by the objects of one entity. Main thread only.
 */
class VXStorePlugin : public VXDataPlugin
{
public:
    // Since the first version nothing is derived from other values that was not before.
    bool copiesRows(int version) const override { return version >= 1; }
    QString importDescriptionFromStore(VXCoreDataStore &store) override;
    void pluginWillUnload() override;

protected:
    /** The entity, and the keys of the texts that count its objects: "One call", "%1 calls". */
    VXStorePlugin(const QString &entityName, const QString &one, const QString &many);

    /** Objects of that entity, which gives its own name as that of their class, are of that class until the plugin unloads. */
    template <typename Class>
    void registerClass(const QString &entityName)
    {
        VXManagedObjectClass::registerClass<Class>(entityName);
        _classes.append(entityName);
    }
    /**
     * Lets the objects of the entity be found until the plugin unloads, unless the user does not want search. A
     * registered class that no entity of the store's model names is logged.
     */
    void launchSearch(const QString &modificationDateKey, const VXMetaDataInputs &inputs = {});

private:
    void checkClasses(const VXManagedObjectModel &model) const;

    QString _entityName;
    QString _one;
    QString _many;
    QStringList _classes;        // whose entities have classes of their own
    VXMetaDataSync::Ptr _search; // null if the user does not want search
};
