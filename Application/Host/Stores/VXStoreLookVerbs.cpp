#include "VXErrorText.h"
#include "VXStoreVerbs.h"

#include "VXCoreDataStore.h"
#include "VXFetchOptions.h"
#include "VXFileManager.h"
#include "VXFolderInMaking.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXNearestWord.h"
#include "VXObjectColumns.h"
#include "VXObjectTable.h"
#include "VXStorePast.h"
#include "VXTextTable.h"

#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QLocale>

using namespace Qt::StringLiterals;

namespace {

QStringList namesOfEntities(const VXManagedObjectModel &model)
{
    QStringList names;
    for (const VXEntityDescription *const entity : model.entities())
        names.append(entity->name());
    return names;
}

// The store's own entries are shown separately, or are of no interest to people.
QList<QStringList> rowsOfMetadata(const QVariantMap &metadata)
{
    QList<QStringList> rows;
    for (auto entry = metadata.cbegin(); entry != metadata.cend(); ++entry) {
        if (entry.key() == VXStoreOwnerIdentifierKey)
            rows.append({u"Owner"_s, entry->toString()});
        else if (entry.key() == VXStoreVersionKey)
            rows.append({u"Data version"_s, entry->toString()});
        else if (entry.key() != VXStoreUUIDKey && entry.key() != VXStoreTypeKey &&
                 entry.key() != VXStoreModelVersionHashesKey)
            rows.append({entry.key(), QString::fromUtf8(VXJSONText(VXJSONFromVariant(*entry)))});
    }
    return rows;
}

QString kindOf(const VXPropertyDescription &property)
{
    const VXRelationshipDescription *const relationship = property.asRelationship();
    if (relationship == nullptr)
        return VXAttributeTypeName(property.asAttribute()->type());
    return relationship->destination().name() + (relationship->isToMany() ? "[]"_L1 : ""_L1);
}

// Properties that the entity does not inherit; the table shows where the rest come from.
QString ownProperties(const VXEntityDescription &entity)
{
    QStringList texts;
    for (const VXPropertyDescription *const property : entity.properties()) {
        if (&property->entity() == &entity)
            texts.append(u"%1: %2"_s.arg(property->name(), kindOf(*property)));
    }
    return texts.join(", "_L1);
}

QJsonArray jsonOfProperties(const VXEntityDescription &entity)
{
    QJsonArray json;
    for (const VXPropertyDescription *const property : entity.properties())
        json.append(QJsonObject{{u"name"_s, property->name()},
                                {u"kind"_s, kindOf(*property)},
                                {u"isOptional"_s, property->isOptional()},
                                {u"isTransient"_s, property->isTransient()}});
    return json;
}

// JSON contains these in full: reading them for a whole batch costs one query for each, not one for each object.
QStringList toManyRelationships(const VXEntityDescription &entity)
{
    QStringList names;
    for (const VXPropertyDescription *const property : entity.properties()) {
        const VXRelationshipDescription *const relationship = property->asRelationship();
        if (relationship != nullptr && relationship->isToMany() && !relationship->isTransient())
            names.append(relationship->name());
    }
    return names;
}

// The columns of --columns; null, with a message to the user, if one does not exist.
std::optional<VXObjectColumns> chosenColumns(VXStoreSession &session, const VXEntityDescription &entity)
{
    const QString text = session.host.options.value(u"columns"_s);
    if (text.isNull())
        return VXColumnsForPeople(entity);
    const VXObjectColumns known = VXColumnsOfEntity(entity);
    QStringList names;
    for (const VXPropertyDescription *const column : known)
        names.append(column->name());
    VXObjectColumns columns;
    for (const QString &name : text.split(u',', Qt::SkipEmptyParts)) {
        const qsizetype index = names.indexOf(name.trimmed());
        if (index < 0) {
            session.fail(u"--columns: \"%1\" is none of %2%3"_s.arg(name.trimmed(), names.join(", "_L1),
                                                                    VXDidYouMean(name.trimmed(), names)));
            return std::nullopt;
        }
        columns.append(known[index]);
    }
    return columns;
}

// Repairs a store, of which a copy is kept: a folder is kept as an earlier store that can be restored, a single file
// goes to the trash. Adds to `told` what was done.
bool mend(VXPersistentStore &store, QStringList *told, VXError *error)
{
    const QFileInfo file(store.path());
    const QString folder = file.absolutePath();
    const VXCoreDataStore::Ptr whole = folder.endsWith(u'.' + VXStoreFileExtension)
                                           ? VXCoreDataStore::storeClass().makeStore(folder, file.fileName())
                                           : VXCoreDataStore::Ptr();
    const VXFolderInMaking before(whole ? folder : store.path());
    if (before.problem()) {
        VXSetError(error, before.problem());
        return false;
    }
    if (!(whole ? whole->copyTo(before.path(), error) : store.copyTo(before.path(), error)))
        return false;
    const std::optional<QStringList> mended = store.mend(error);
    if (!mended || mended->isEmpty())
        return mended.has_value();
    for (const QString &each : *mended)
        told->append(u"%1: mended: %2"_s.arg(store.path(), each));
    QString place;
    const VXError problem = whole ? VXStorePast::keep(folder, before.path(), u"mended"_s, &place)
                                  : VXFileManager::defaultManager().safelyTrashFileAtPath(before.path(), &place);
    told->append(problem ? u"%1: what it was before could not be kept: %2"_s.arg(store.path(), VXErrorText(problem))
                         : u"%1: what it was before lies in %2"_s.arg(store.path(), place));
    return true;
}

// What cannot be repaired is found again by the check that follows.
int mendStores(VXStoreSession &session)
{
    QStringList told;
    for (const auto &store : session.coordinator->persistentStores()) {
        VXError error;
        if (!store->check().isEmpty() && !mend(*store, &told, &error))
            return session.fail(error);
    }
    session.host.output.answer(told.isEmpty() ? u"There was nothing to mend.\n"_s : told.join(u'\n') + u'\n',
                               QJsonArray::fromStringList(told));
    return VXHostOutput::Done;
}

} // namespace

QString VXStoreSession::operand(qsizetype index) const
{
    return host.options.operand(index + 2);
}

int VXStoreSession::fail(const QString &text) const
{
    return host.output.fail(text);
}

int VXStoreSession::fail(const VXError &error) const
{
    return fail(VXErrorText(error));
}

const VXEntityDescription *VXStoreSession::entity() const
{
    const QString name = operand(0);
    const VXEntityDescription *const entity = coordinator->model().entityForName(name);
    if (entity == nullptr)
        fail(u"the store has no entity \"%1\"%2; \"vornix store entities\" shows those there are"_s.arg(
            name, VXDidYouMean(name, namesOfEntities(coordinator->model()))));
    return entity;
}

int VXShowStoreInfo(VXStoreSession &session)
{
    QJsonArray json;
    QStringList texts;
    for (const auto &store : session.coordinator->persistentStores()) {
        const QString type = VXPersistentStore::nameOfType(store->type());
        const QString identifier = store->identity().identifier();
        const qint64 size = QFileInfo(store->path()).size();
        json.append(QJsonObject{{u"path"_s, store->path()},
                                {u"type"_s, type},
                                {u"identifier"_s, identifier},
                                {u"size"_s, size},
                                {u"metadata"_s, VXJSONFromVariant(store->metadata())}});
        const QList<QStringList> rows{{u"Data file"_s, store->path()},
                                      {u"Size"_s, QLocale::c().formattedDataSize(size)},
                                      {u"Type"_s, type},
                                      {u"Identifier"_s, identifier}};
        texts.append(VXTitledTable(rows + rowsOfMetadata(store->metadata())));
    }
    session.host.output.answer(texts.join(u'\n'), json);
    return VXHostOutput::Done;
}

int VXShowStoreEntities(VXStoreSession &session)
{
    QJsonArray json;
    QList<QStringList> rows{{u"ENTITY"_s, u"OBJECTS"_s, u"INHERITS FROM"_s, u"PROPERTIES"_s}};
    for (const VXEntityDescription *const entity : session.coordinator->model().entities()) {
        VXError error;
        const std::optional<qsizetype> count = session.context.countForFetchRequest(VXFetchRequest(*entity), &error);
        if (!count)
            return session.fail(error);
        const QString superentity = entity->superentity() == nullptr ? QString() : entity->superentity()->name();
        rows.append({entity->name(), QString::number(*count), superentity, ownProperties(*entity)});
        json.append(QJsonObject{{u"name"_s, entity->name()},
                                {u"objects"_s, *count},
                                {u"superentity"_s, VXJSONFromVariant(superentity)},
                                {u"isAbstract"_s, entity->isAbstract()},
                                {u"properties"_s, jsonOfProperties(*entity)}});
    }
    session.host.output.answer(VXWrappedTable(session.host.output, rows), json);
    return VXHostOutput::Done;
}

int VXListStoreObjects(VXStoreSession &session)
{
    const VXEntityDescription *const entity = session.entity();
    if (entity == nullptr)
        return VXHostOutput::Failed;
    const VXHostOptions &options = session.host.options;
    VXFetchRequest request(*entity);
    request.batchSize = 500; // stores may be larger than memory
    if (const QString problem = VXReadFetchOptions(options, request); !problem.isNull())
        return session.fail(problem);
    VXError error;
    if (options.isSet(u"count"_s)) {
        const std::optional<qsizetype> count = session.context.countForFetchRequest(request, &error);
        if (!count)
            return session.fail(error);
        session.host.output.answer(QString::number(*count) + u'\n', *count);
        return VXHostOutput::Done;
    }
    const std::optional<VXObjectColumns> columns = chosenColumns(session, *entity);
    if (!columns)
        return VXHostOutput::Failed;
    if (session.host.output.isJSON())
        request.prefetchedRelationships = toManyRelationships(*entity);
    const std::optional<VXFetchResult> result = session.context.executeFetchRequest(request, &error);
    if (!result)
        return session.fail(error);
    const VXObjectTable listing{.context = session.context,
                                .result = *result,
                                .columns = *columns,
                                .leavesOut = !options.isSet(u"columns"_s),
                                .batchSize = request.batchSize,
                                .withRelatedURIs = options.isSet(u"related"_s)};
    const QString problem = listing.write(session.host.output);
    return problem.isNull() ? int(VXHostOutput::Done) : session.fail(problem);
}

int VXCheckStore(VXStoreSession &session)
{
    if (session.host.options.isSet(u"mend"_s))
        return mendStores(session);
    QStringList problems;
    for (const auto &store : session.coordinator->persistentStores()) {
        for (const QString &problem : store->check())
            problems.append(u"%1: %2"_s.arg(store->path(), problem));
    }
    if (problems.isEmpty()) {
        session.host.output.answer(u"The store is sound.\n"_s, QJsonArray());
        return VXHostOutput::Done;
    }
    session.host.output.answer(problems.join(u'\n') + u'\n', QJsonArray::fromStringList(problems));
    return VXHostOutput::Failed;
}
