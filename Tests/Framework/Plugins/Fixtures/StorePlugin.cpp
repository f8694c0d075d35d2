#include "VXDataManager.h"
#include "VXDataPlugin.h"
#include "VXErrorDomain.h"
#include "VXMainThread.h"
#include "VXPrincipalClass.h"

#include <csignal>
#include <stdexcept>

using namespace Qt::StringLiterals;

/**
 * A data plugin that looks at a store it has opened as "FixtureValidation" of its Info.plist tells: "seeds" (adds an object
 * of the model's first entity), "refuses", "throws", "looks itself up" or "dies"; with "dies early" the process is gone when the store's models
 * are asked for. It opens objects of the store whose identifier is "FixtureOpens". "FixtureMigration" tells how it copies: see
 * below; an import it describes by "FixtureDescription".
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
        const VXStoreMigration *const run = VXStoreMigration::current();
        const bool isCopied = run != nullptr && run->phase() == VXStoreMigration::Phase::Checking;
        if (how == "dies"_L1 || (migration() == "rows die"_L1 && isCopied))
            ::raise(SIGKILL);
        if (how == "throws"_L1)
            throw std::runtime_error("thrown as told");
        if (how == "looks itself up"_L1) // as what is queued meanwhile may
            setProperty("found",
                        bool(VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(dataStoreName())));
        if (how == "seeds"_L1)
            context.insertNewObject(*context.persistentStoreCoordinator()->model().entities().constFirst());
        if (migration() == "repairs"_L1)
            repair(context);
        if (how == "refuses"_L1)
            VXSetError(error, VXMakeError(u"refused as told"_s));
        return how != "refuses"_L1;
    }

    bool openManagedObjectWithURIRepresentation(const QUrl &uri) override
    {
        setProperty("asked", uri);
        return bundle()->infoDictionary().value(u"FixtureOpens"_s).toString() == uri.host();
    }

    QString importDescriptionFromStore(VXCoreDataStore &store) override
    {
        const QString description = bundle()->infoDictionary().value(u"FixtureDescription"_s).toString();
        return description.isNull() ? VXDataPlugin::importDescriptionFromStore(store) : description;
    }

    bool copiesRows(int version) const override { return migration().startsWith("rows"_L1) && version >= 1; }

    bool migratesAttribute(const VXAttributeDescription &old, int) const override
    {
        return migration() == "rows, without names"_L1 ? old.name() == "name"_L1
                                                       : migration().startsWith("rows, "_L1) && old.name() == "text"_L1;
    }

    VXManagedObjectPtr insertNewObjectForOldObject(const VXManagedObjectPtr &oldObject, int version,
                                                   VXManagedObjectContext &newContext, VXError *error) override
    {
        const QString how = migration();
        setProperty("version", version);
        if (how == "throws"_L1)
            throw std::runtime_error("thrown as told");
        if (how == "throws a number"_L1)
            throw 7;
        if (how == "ignores"_L1 && oldObject->entity().name() == "Tag"_L1)
            return nullptr;
        if (how == "dies"_L1 && ++_copied > 2)
            ::raise(SIGKILL);
        if (how == "returns the old"_L1)
            return oldObject;
        if (how == "unites"_L1 && oldObject->entity().name() == "Tag"_L1) {
            for (const VXManagedObjectPtr &each : newContext.insertedObjects()) {
                if (each->entity().name() == "Tag"_L1)
                    return each;
            }
        }
        while (how == "waits"_L1 && !VXStoreMigration::current()->isCancelled())
            static_cast<void>(VXMainThread::performAndWait([] {})); // as code may that needs plugins
        return VXDataPlugin::insertNewObjectForOldObject(oldObject, version, newContext, error);
    }

    QVariant migrateObjectValue(const QVariant &value, const QString &attribute, const VXManagedObjectPtr &oldObject,
                                int version, const VXManagedObjectPtr &newObject, VXError *error) override
    {
        if (migration() == "refuses"_L1 && attribute == "text"_L1)
            VXSetError(error, VXMakeError(u"refused as told"_s));
        if (migration() == "refuses"_L1 || (migration() == "empties"_L1 && attribute == "mood"_L1))
            return {};
        if (migration() == "rows, without names"_L1)
            return {};
        if (migration() == "rows, spoiled"_L1)
            newObject->setValueForKey(-1, u"pages"_s);
        if ((migration().endsWith("shouts"_L1) && attribute == "text"_L1) ||
            (migration() == "unites"_L1 && value == QVariant(u"red"_s)))
            return value.toString().toUpper();
        if (migration() == "mistypes"_L1 && attribute == "text"_L1)
            return QVariantList{1};
        return VXDataPlugin::migrateObjectValue(value, attribute, oldObject, version, newObject, error);
    }

    bool migrateObjectAttributes(const VXManagedObjectPtr &oldObject, int version, const VXManagedObjectPtr &newObject,
                                 VXError *error) override
    {
        const bool isDone = VXDataPlugin::migrateObjectAttributes(oldObject, version, newObject, error);
        if (spoils(oldObject->entity())) // by other means than the value's own hook
            newObject->setValueForKey(u"spoiled"_s, u"name"_s);
        VXManagedObjectContext &context = *newObject->managedObjectContext();
        if (migration() == "makes others"_L1)
            context.insertNewObject(u"Tag"_s)->setValueForKey(u"made"_s, u"name"_s);
        if (migration() == "deletes"_L1 && oldObject->entity().name() == "Author"_L1)
            context.deleteObject(newObject);
        if (migration() == "changes the old"_L1 && oldObject->entity().name() == "Author"_L1)
            oldObject->setValueForKey(u"changed"_s, u"name"_s);
        return isDone;
    }

    VXManagedObjectPtr migrateObjectRelationship(const QString &relationship, const VXManagedObjectPtr &oldObject,
                                                 int version, const VXMigratedObjects &newObjects,
                                                 VXError *error) override
    {
        if (migration() == "unties"_L1 && (relationship == "tags"_L1 || relationship == "notes"_L1))
            return newObjects.value(oldObject->objectID());
        return VXDataPlugin::migrateObjectRelationship(relationship, oldObject, version, newObjects, error);
    }

    bool comparesProperty(const VXPropertyDescription &old, int) const override
    {
        return migration() != "spoils openly"_L1 || old.name() != "name"_L1;
    }

    std::optional<VXMigratedObjects> migrateEntityAttributes(const VXEntityDescription &entity,
                                                             VXManagedObjectContext &oldContext, int version,
                                                             VXManagedObjectContext &newContext,
                                                             VXError *error) override
    {
        auto made = VXDataPlugin::migrateEntityAttributes(entity, oldContext, version, newContext, error);
        if (made && forgets(entity))
            made->removeIf([](const auto &each) { return each.value()->valueForKey(u"name"_s) == u"green"_s; });
        return made;
    }

    bool migrateEntityRelationships(const VXEntityDescription &entity, VXManagedObjectContext &oldContext, int version,
                                    VXManagedObjectContext &newContext, const VXMigratedObjects &newObjects,
                                    VXError *error) override
    {
        return forgets(entity) ||
               VXDataPlugin::migrateEntityRelationships(entity, oldContext, version, newContext, newObjects, error);
    }

    bool migrateManagedObjectContext(VXManagedObjectContext &oldContext, int version,
                                     VXManagedObjectContext &newContext, VXError *error) override
    {
        const QString how = migration();
        if (!VXDataPlugin::migrateManagedObjectContext(oldContext, version, newContext, error) ||
            (how.startsWith("saves"_L1) && !newContext.save(error))) // as may do who has no room for all of it
            return false;
        if (how == "saves and dies"_L1)
            ::raise(SIGKILL);
        if (how == "saves and fails"_L1)
            VXSetError(error, VXMakeError(u"failed as told"_s));
        return how != "saves and fails"_L1;
    }

private:
    // There is an author called Adam, and no tag is called "red".
    static void repair(VXManagedObjectContext &context)
    {
        const auto objects = [&](const QString &entity) {
            const VXManagedObjectModel &model = context.persistentStoreCoordinator()->model();
            return context.executeFetchRequest(VXFetchRequest(*model.entityForName(entity))).value();
        };
        for (const VXManagedObjectPtr &tag : objects(u"Tag"_s)) {
            if (tag->valueForKey(u"name"_s) == u"red"_s)
                tag->setValueForKey(u"crimson"_s, u"name"_s);
        }
        bool isThere = false;
        for (const VXManagedObjectPtr &author : objects(u"Author"_s))
            isThere = isThere || author->valueForKey(u"name"_s) == u"Adam"_s;
        if (!isThere)
            context.insertNewObject(u"Author"_s)->setValueForKey(u"Adam"_s, u"name"_s);
    }

    bool spoils(const VXEntityDescription &entity) const
    {
        return migration().startsWith("spoils"_L1) && entity.name() == "Tag"_L1;
    }
    bool forgets(const VXEntityDescription &entity) const
    {
        return migration() == "forgets"_L1 && entity.name() == "Tag"_L1;
    }
    QString migration() const { return bundle()->infoDictionary().value(u"FixtureMigration"_s).toString(); }

    int _copied = 0;

    QString validation() const { return bundle()->infoDictionary().value(u"FixtureValidation"_s).toString(); }
};

VX_PRINCIPAL_CLASS(StorePlugin)

#include "StorePlugin.moc"
