#include <Vornix/VXDataPlugin.h>
#include <Vornix/VXPrincipalClass.h>

using namespace Qt::StringLiterals;

/** Keeps notes, in the store "notes", and upgrades the store of version 1. */
class NotesPlugin : public VXDataPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE NotesPlugin() = default;

    // An entity is split: notes to somebody are letters now.
    VXManagedObjectPtr insertNewObjectForOldObject(const VXManagedObjectPtr &oldObject, int version,
                                                   VXManagedObjectContext &newContext, VXError *error) override
    {
        if (version < 2 && isNote(oldObject->entity()) && oldObject->valueForKey(u"to"_s).isValid())
            return newContext.insertNewObject(u"Letter"_s);
        return VXDataPlugin::insertNewObjectForOldObject(oldObject, version, newContext, error);
    }

    // An attribute has another type.
    QVariant migrateObjectValue(const QVariant &value, const QString &attribute, const VXManagedObjectPtr &oldObject,
                                int version, const VXManagedObjectPtr &newObject, VXError *error) override
    {
        if (version < 2 && attribute == "priority"_L1)
            return value.toString() == "high"_L1 ? 1 : 0;
        return VXDataPlugin::migrateObjectValue(value, attribute, oldObject, version, newObject, error);
    }

    // An attribute has another name.
    bool migrateObjectAttribute(const QString &attribute, const VXManagedObjectPtr &oldObject, int version,
                                const VXManagedObjectPtr &newObject, VXError *error) override
    {
        if (version >= 2 || attribute != "text"_L1)
            return VXDataPlugin::migrateObjectAttribute(attribute, oldObject, version, newObject, error);
        newObject->setValueForKey(oldObject->valueForKey(attribute), u"body"_s);
        return true;
    }

    // An attribute is new, and made of others.
    bool migrateObjectAttributes(const VXManagedObjectPtr &oldObject, int version, const VXManagedObjectPtr &newObject,
                                 VXError *error) override
    {
        if (!VXDataPlugin::migrateObjectAttributes(oldObject, version, newObject, error))
            return false;
        if (version < 2 && isNote(oldObject->entity()))
            newObject->setValueForKey(newObject->valueForKey(u"body"_s).toString().split(u' ').size(), u"words"_s);
        return true;
    }

    // An entity is dropped: none of its objects has a new one,
    std::optional<VXMigratedObjects> migrateEntityAttributes(const VXEntityDescription &entity,
                                                             VXManagedObjectContext &oldContext, int version,
                                                             VXManagedObjectContext &newContext,
                                                             VXError *error) override
    {
        if (entity.name() == "Sticker"_L1)
            return VXMigratedObjects();
        return VXDataPlugin::migrateEntityAttributes(entity, oldContext, version, newContext, error);
    }

    // and, as it has relationships, these are dropped as well.
    bool migrateEntityRelationships(const VXEntityDescription &entity, VXManagedObjectContext &oldContext, int version,
                                    VXManagedObjectContext &newContext, const VXMigratedObjects &newObjects,
                                    VXError *error) override
    {
        return entity.name() == "Sticker"_L1 ||
               VXDataPlugin::migrateEntityRelationships(entity, oldContext, version, newContext, newObjects, error);
    }

    // A relationship has another name.
    VXManagedObjectPtr migrateObjectRelationship(const QString &relationship, const VXManagedObjectPtr &oldObject,
                                                 int version, const VXMigratedObjects &newObjects,
                                                 VXError *error) override
    {
        if (version >= 2 || relationship != "labels"_L1)
            return VXDataPlugin::migrateObjectRelationship(relationship, oldObject, version, newObjects, error);
        VXManagedObjectPtr newObject = newObjects.value(oldObject->objectID());
        if (!newObject) // it was left out: the copy fails
            return nullptr;
        QList<VXManagedObjectPtr> tags;
        const int labels = oldObject->entity().propertyForName(relationship)->index();
        for (const VXManagedObjectID &label : oldObject->relatedIDs(labels))
            tags.append(newObjects.value(label));
        newObject->setRelatedObjects(newObject->entity().propertyForName(u"tags"_s)->index(), tags);
        return newObject;
    }

    // Something is there that the old store did not have.
    bool migrateManagedObjectContext(VXManagedObjectContext &oldContext, int version,
                                     VXManagedObjectContext &newContext, VXError *error) override
    {
        if (!VXDataPlugin::migrateManagedObjectContext(oldContext, version, newContext, error))
            return false;
        if (version < 2)
            newContext.insertNewObject(u"Tag"_s)->setValueForKey(u"new in version 2"_s, u"name"_s);
        return true;
    }

    // What is of this version needs no hook: a validated export is a copy of the rows.
    bool copiesRows(int version) const override { return version >= 2; }

    // What can be imported: notes of either version.
    QString importDescriptionFromStore(VXCoreDataStore &store) override
    {
        const qsizetype count = countInStore(store, u"Note"_s);
        return count == 0 ? QString() : u"%1 notes"_s.arg(count);
    }

private:
    static bool isNote(const VXEntityDescription &entity) { return entity.name() == "Note"_L1; }
};

VX_PRINCIPAL_CLASS(NotesPlugin)

#include "NotesPlugin.moc"
