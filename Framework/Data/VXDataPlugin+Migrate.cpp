#include "VXDataPlugin.h"

#include "VXDiagnostics.h"
#include "VXErrorDomain.h"
#include "VXException.h"
#include "VXFramework.h"
#include "VXMethodLog.h"
#include "VXMigrationWalk.h"
#include "VXSourceComparison.h"
#include "VXSQLiteStore.h"
#include "VXValueIdentity.h"

#include <QtCore/QDateTime>

#include <algorithm>
#include <cstring>
#include <exception>

using namespace Qt::StringLiterals;

namespace {

const VXAttributeDescription *asAttribute(const VXPropertyDescription *property)
{
    return property == nullptr ? nullptr : property->asAttribute();
}

template <class T>
bool areEqual(const QVariant &a, const QVariant &b)
{
    return *static_cast<const T *>(a.constData()) == *static_cast<const T *>(b.constData());
}

// Whether a hook returned what it was given, as most do with most values. False only means that a closer look is
// needed.
bool isHandedBack(const QVariant &value, const QVariant &given)
{
    if (value.metaType() != given.metaType())
        return false;
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        return true;
    case QMetaType::QString: {
        const auto &text = *static_cast<const QString *>(value.constData());
        const auto &before = *static_cast<const QString *>(given.constData());
        return text.constData() == before.constData() && text.size() == before.size();
    }
    case QMetaType::Int:
        return areEqual<int>(value, given);
    case QMetaType::LongLong:
        return areEqual<qlonglong>(value, given);
    case QMetaType::Bool:
        return areEqual<bool>(value, given);
    case QMetaType::QDateTime:
        return areEqual<QDateTime>(value, given);
    case QMetaType::Double: // so that NaN equals itself
        return std::memcmp(value.constData(), given.constData(), sizeof(double)) == 0;
    default:
        return false;
    }
}

// Notes what the plugin's check has changed, before any hook copies.
void noteRepaired(const VXManagedObjectContext &source)
{
    VXStoreMigration *const run = VXStoreMigration::current();
    if (run == nullptr || !source.hasChanges())
        return;
    for (const QList<VXManagedObjectPtr> &objects : {source.insertedObjects(), source.updatedObjects()}) {
        for (const VXManagedObjectPtr &each : objects)
            run->noteRepaired(each->objectID());
    }
}

} // namespace

VXManagedObjectPtr VXDataPlugin::insertNewObjectForOldObject(const VXManagedObjectPtr &oldObject, int,
                                                             VXManagedObjectContext &newContext, VXError *)
{
    const VXEntityDescription *const entity =
        newContext.persistentStoreCoordinator()->model().entityForName(oldObject->entity().name());
    return entity == nullptr || entity->isAbstract() ? nullptr : newContext.insertNewObject(*entity);
}

QVariant VXDataPlugin::migrateObjectValue(const QVariant &value, const QString &, const VXManagedObjectPtr &, int,
                                          const VXManagedObjectPtr &, VXError *)
{
    return value;
}

bool VXDataPlugin::migrateObjectAttribute(const QString &attribute, const VXManagedObjectPtr &oldObject, int version,
                                          const VXManagedObjectPtr &newObject, VXError *error)
{
    const VXPropertyPair pair = VXMigrationProperties(attribute, *oldObject, *newObject);
    const VXAttributeDescription *const made = asAttribute(pair.made);
    const VXAttributeDescription *const old = asAttribute(pair.old);
    if (made == nullptr || old == nullptr) {
        if (old != nullptr && oldObject->attribute(old->index()).isValid())
            VXNoteDroppedProperty(*oldObject, attribute);
        return true;
    }
    const QVariant before = oldObject->attribute(old->index());
    VXError problem;
    const QVariant value = migrateObjectValue(before, attribute, oldObject, version, newObject, &problem);
    if (!value.isValid() && problem) {
        VXSetError(error, problem);
        return false;
    }
    if (made->type() == old->type() && isHandedBack(value, before) && !oldObject->hasChanges()) {
        if (value.isValid())
            newObject->copyAttribute(made->index(), *oldObject, old->index());
        return true;
    }
    VXStoreMigration *const run = VXStoreMigration::current();
    const bool isChanged = value != before && !VXIsSameValue(value, before); // NaN equals itself
    if (run != nullptr && isChanged)
        ++run->entity(oldObject->entity().name()).changedValues[attribute];
    if (value.isValid())
        newObject->setAttribute(made->index(), value);
    if (run != nullptr && before.isValid() && (isChanged || made->type() != old->type())) {
        if (const QVariant after = newObject->attribute(made->index()); !VXIsSameValue(after, before))
            run->noteChange(*old, oldObject->objectID(), after);
    }
    return true;
}

bool VXDataPlugin::migrateObjectAttributes(const VXManagedObjectPtr &oldObject, int version,
                                           const VXManagedObjectPtr &newObject, VXError *error)
{
    return std::ranges::all_of(oldObject->entity().attributes(), [&](const VXAttributeDescription *attribute) {
        return attribute->isTransient() ||
               migrateObjectAttribute(attribute->name(), oldObject, version, newObject, error);
    });
}

std::optional<VXMigratedObjects> VXDataPlugin::migrateEntityAttributes(const VXEntityDescription &entity,
                                                                       VXManagedObjectContext &oldContext, int version,
                                                                       VXManagedObjectContext &newContext,
                                                                       VXError *error)
{
    VXMigrationWalk walk(entity, oldContext);
    if (!walk.find(error))
        return std::nullopt;
    VXStoreMigration *const run = VXStoreMigration::current();
    VXMigratedObjects newObjects;
    newObjects.reserve(walk.count());
    const auto migrate = [&](const VXManagedObjectPtr &oldObject) {
        VXError problem;
        const VXManagedObjectPtr made = insertNewObjectForOldObject(oldObject, version, newContext, &problem);
        if (!made && problem) {
            VXSetError(error, problem);
            return false;
        }
        if (!made) {
            VXLogMethod(VXLogWarning, "migrateEntityAttributes:fromManagedObjectContext:",
                        "ignoring: "_L1 + VXMigrationName(oldObject->objectID()));
            return true;
        }
        if (made->managedObjectContext() != &newContext) {
            VXSetError(error, VXMakeError(VXLocalizedString(u"The data could not be copied"_s), "%s",
                                          qUtf8Printable(
                                              VXLocalizedString(u"What stands for %1 is no object of the new store."_s)
                                                  .arg(VXMigrationName(oldObject->objectID())))));
            return false;
        }
        if (run != nullptr)
            run->noteMade(*made);
        newObjects.insert(oldObject->objectID(), made);
        return migrateObjectAttributes(oldObject, version, made, error);
    };
    const auto noBatch = [](const QList<VXManagedObjectPtr> &) { return true; };
    if (!walk.forEach(noBatch, migrate, error))
        return std::nullopt;
    return newObjects;
}

// -- The whole

bool VXDataPlugin::migrateManagedObjectContext(VXManagedObjectContext &oldContext, int version,
                                               VXManagedObjectContext &newContext, VXError *error)
{
    QList<const VXEntityDescription *> entities = oldContext.persistentStoreCoordinator()->model().entities();
    entities.removeIf([](const VXEntityDescription *entity) { return entity->isAbstract(); });
    VXStoreMigration *const run = VXStoreMigration::current();
    QSet<const VXEntityDescription *> found; // entities that have objects
    qint64 total = 0;
    for (const VXEntityDescription *const entity : std::as_const(entities)) {
        VXFetchRequest request(*entity);
        request.includesSubentities = false;
        const std::optional<qsizetype> count = oldContext.countForFetchRequest(request, error);
        if (!count)
            return false;
        total += *count;
        if (run != nullptr && *count > 0) {
            run->entity(entity->name()).found = *count;
            found.insert(entity);
        }
    }
    if (run != nullptr)
        run->begin(VXStoreMigration::Phase::Attributes, total);
    VXMigratedObjects newObjects;
    for (const VXEntityDescription *const entity : std::as_const(entities)) {
        std::optional<VXMigratedObjects> ofEntity =
            migrateEntityAttributes(*entity, oldContext, version, newContext, error);
        if (!ofEntity)
            return false;
        if (run != nullptr && found.contains(entity))
            run->noteCopied(entity->name(), ofEntity->size());
        if (newObjects.isEmpty())
            newObjects = *std::move(ofEntity);
        else
            newObjects.insert(*ofEntity);
    }
    if (run != nullptr) {
        run->setNewObjects(newObjects);
        run->begin(VXStoreMigration::Phase::Relationships, total);
    }
    return std::ranges::all_of(entities, [&](const VXEntityDescription *entity) {
        return migrateEntityRelationships(*entity, oldContext, version, newContext, newObjects, error);
    });
}

namespace {

// Finds values that reading would change: the source is the last place that has them unchanged.
VXError unfitValues(const VXPersistentStoreCoordinator &source)
{
    VXError error;
    QStringList found;
    for (const auto &store : source.persistentStores()) {
        // other stores report them as errors when read
        auto *const database = dynamic_cast<VXSQLiteStore *>(store.get());
        if (database != nullptr && !database->findUnfitValues(&found, &error))
            return error;
    }
    return found.isEmpty() ? VXError()
                           : VXMakeError(VXLocalizedString(u"The data file has values that do not fit"_s), "%s",
                                         qUtf8Printable(found.constFirst()));
}

} // namespace

bool VXDataPlugin::copyObjects(VXManagedObjectContext &oldContext, int version, VXManagedObjectContext &newContext,
                               VXError *error)
{
    if (const VXError problem = unfitValues(*oldContext.persistentStoreCoordinator())) {
        VXSetError(error, problem);
        return false;
    }
    oldContext.keepRows(VXMigrationWalk::largestKeptRow);
    if (!migrateManagedObjectContext(oldContext, version, newContext, error))
        return false;
    const auto isCompared = [&](const VXPropertyDescription &old) { return comparesProperty(old, version); };
    return VXIsLikeSource(oldContext, newContext, isCompared, error);
}

bool VXDataPlugin::comparesProperty(const VXPropertyDescription &, int) const
{
    return true;
}

namespace {

// The number that the version of a store begins with; none when it does not begin with a digit.
std::optional<int> leadingNumber(const QVariant &version)
{
    const QString text = version.toString();
    qsizetype length = 0;
    while (length < text.size() && text[length] >= u'0' && text[length] <= u'9')
        ++length;
    bool isNumber = false;
    const int number = text.first(length).toInt(&isNumber);
    return isNumber ? std::optional(number) : std::nullopt;
}

} // namespace

std::unique_ptr<VXManagedObjectContext> VXDataPlugin::migrateStore(VXCoreDataStore &source,
                                                                   VXCoreDataStore &destination, VXError *error)
{
    constexpr const char *operation = "migrateStore:toStore:error:";
    const auto fail = [&](const QString &name, const QString &reason) {
        VXLogMethod(VXLogWarning, operation, u"Exception while migrating store: %1: %2"_s.arg(name, reason));
        VXSetError(error, VXMakeError(name, "%s", qUtf8Printable(reason)));
        return nullptr;
    };
    try {
        const VXPersistentStoreCoordinator::Ptr from = source.persistentStoreCoordinator(error);
        const VXPersistentStoreCoordinator::Ptr to = from ? destination.persistentStoreCoordinator(error) : nullptr;
        if (!to)
            return nullptr;
        VXManagedObjectContext oldContext(from);
        auto newContext = std::make_unique<VXManagedObjectContext>(to);
        if (!validateManagedObjectContext(oldContext, error))
            return nullptr;
        noteRepaired(oldContext);
        const QVariant stored = source.metadata().value(VXStoreVersionKey);
        const std::optional<int> version = leadingNumber(stored);
        if (!version)
            VXLogMethod(VXLogWarning, operation,
                        u"unknown store version: 0x%1 %2"_s.arg(quintptr(stored.constData()), 0, 16)
                            .arg(VXDescription(stored.toString())));
        const std::optional<bool> areCopied = copyRows(oldContext, version.value_or(0), *newContext, error);
        if (!(areCopied ? *areCopied : copyObjects(oldContext, version.value_or(0), *newContext, error)))
            return nullptr;
        if (VXStoreMigration *const run = VXStoreMigration::current())
            run->begin(VXStoreMigration::Phase::Checking);
        return validateManagedObjectContext(*newContext, error) ? std::move(newContext) : nullptr;
    } catch (const VXException &exception) {
        return fail(exception.name(), exception.reason());
    } catch (const std::exception &exception) {
        return fail(VXClassName(typeid(exception)), QString::fromUtf8(exception.what()));
    }
}
