#include "VXCoreDataStore.h"
#include "VXHostCommands.h"
#include "VXHostHelp.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXManagedObjectContext.h"
#include "VXNearestWord.h"
#include "VXPluginSession.h"
#include "VXStoreAccess.h"
#include "VXStoreByName.h"
#include "VXStoreImport.h"
#include "VXStoreListing.h"
#include "VXStoreObjects.h"
#include "VXStoreQuery.h"
#include "VXStoreTransfer.h"
#include "VXTextArgument.h"
#include "VXTextTable.h"

#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QLocale>

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace {

/** What the verbs work on: the stores of the path, opened, and a context over them. */
struct Session
{
    VXHostContext &host;
    VXPersistentStoreCoordinator::Ptr coordinator;
    VXManagedObjectContext context{coordinator};

    QString operand(qsizetype index) const { return host.options.operand(index + 2); }
    int fail(const QString &text) const { return host.output.fail(text); }
    int fail(const VXError &error) const { return host.output.fail(VXErrorText(error)); }
};

// The store's own entries are told by themselves, or are of no interest to people.
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

int info(Session &session)
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
        texts.append(VXTextTable(rows + rowsOfMetadata(store->metadata())));
    }
    session.host.output.answer(texts.join(u'\n'), json);
    return VXHostOutput::Done;
}

QString kindOf(const VXPropertyDescription &property)
{
    const VXRelationshipDescription *const relationship = property.asRelationship();
    if (relationship == nullptr)
        return VXAttributeTypeName(property.asAttribute()->type());
    return relationship->destination().name() + (relationship->isToMany() ? "[]"_L1 : ""_L1);
}

// What the entity does not inherit; the table shows where the rest comes from.
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

int entities(Session &session)
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
    session.host.output.answer(VXTextTable(rows), json);
    return VXHostOutput::Done;
}

// -- Lists

QStringList namesOfEntities(const VXManagedObjectModel &model)
{
    QStringList names;
    for (const VXEntityDescription *const entity : model.entities())
        names.append(entity->name());
    return names;
}

const VXEntityDescription *entityOf(Session &session, int *status)
{
    const QString name = session.operand(0);
    const VXEntityDescription *const entity = session.coordinator->model().entityForName(name);
    if (entity == nullptr)
        *status =
            session.fail(u"the store has no entity \"%1\"%2; \"vornix store entities\" shows those there are"_s.arg(
                name, VXDidYouMean(name, namesOfEntities(session.coordinator->model()))));
    return entity;
}

// JSON tells of these in full: read for a batch at once they cost one query each, not one for each object.
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

// Those of --columns; null, told, when one is none.
std::optional<VXStoreColumns> chosenColumns(Session &session, const VXEntityDescription &entity)
{
    const QString text = session.host.options.value(u"columns"_s);
    if (text.isNull())
        return VXColumnsForPeople(entity);
    const VXStoreColumns known = VXColumnsOfEntity(entity);
    QStringList names;
    for (const VXPropertyDescription *const column : known)
        names.append(column->name());
    VXStoreColumns columns;
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

int list(Session &session)
{
    int status = VXHostOutput::Done;
    const VXEntityDescription *const entity = entityOf(session, &status);
    if (entity == nullptr)
        return status;
    const VXHostOptions &options = session.host.options;
    VXFetchRequest request(*entity);
    request.batchSize = 500; // stores may be larger than memory
    if (const QString problem = VXReadStoreQuery(options, request); !problem.isNull())
        return session.fail(problem);
    VXError error;
    if (options.isSet(u"count"_s)) {
        const std::optional<qsizetype> count = session.context.countForFetchRequest(request, &error);
        if (!count)
            return session.fail(error);
        session.host.output.answer(QString::number(*count) + u'\n', *count);
        return VXHostOutput::Done;
    }
    const std::optional<VXStoreColumns> columns = chosenColumns(session, *entity);
    if (!columns)
        return VXHostOutput::Failed;
    if (session.host.output.isJSON())
        request.prefetchedRelationships = toManyRelationships(*entity);
    const std::optional<VXFetchResult> result = session.context.executeFetchRequest(request, &error);
    if (!result)
        return session.fail(error);
    const VXStoreListing listing{.context = session.context,
                                 .result = *result,
                                 .columns = *columns,
                                 .leavesOut = !options.isSet(u"columns"_s),
                                 .batchSize = request.batchSize,
                                 .withRelatedURIs = options.isSet(u"related"_s)};
    const QString problem = listing.write(session.host.output);
    return problem.isNull() ? int(VXHostOutput::Done) : session.fail(problem);
}

// -- Changes

VXManagedObjectPtr objectOf(Session &session, int *status)
{
    QString problem;
    VXManagedObjectPtr object = VXObjectNamed(session.context, session.operand(0), &problem);
    if (!object)
        *status = session.fail(problem);
    return object;
}

std::optional<QJsonObject> valuesOf(Session &session, int *status)
{
    QString reason;
    const std::optional<QByteArray> text = VXTextOfArgument(session.operand(1), &reason);
    const std::optional<QJsonValue> value = text ? VXJSONFromText(*text, &reason) : std::nullopt;
    if (value && value->isObject())
        return value->toObject();
    *status = session.fail(u"the values are no JSON object%1"_s.arg(reason.isNull() ? QString() : u": "_s + reason));
    return std::nullopt;
}

int setAndSave(Session &session, const VXManagedObjectPtr &object, const QJsonObject &values)
{
    if (const QString problem = VXSetObjectFromJSON(session.context, *object, values); !problem.isNull())
        return session.fail(problem);
    VXError error;
    if (!session.context.save(&error))
        return session.fail(error);
    const QString uri = object->objectID().uriRepresentation().toString();
    session.host.output.answer(uri + u'\n', VXJSONFromObject(*object, true));
    return VXHostOutput::Done;
}

int failAbstract(Session &session, const VXEntityDescription &entity)
{
    return session.fail(u"entity %1 is abstract: it has no objects of its own"_s.arg(entity.name()));
}

int insert(Session &session)
{
    int status = VXHostOutput::Done;
    const VXEntityDescription *const entity = entityOf(session, &status);
    const std::optional<QJsonObject> values = entity == nullptr ? std::nullopt : valuesOf(session, &status);
    if (!values)
        return status;
    if (entity->isAbstract())
        return failAbstract(session, *entity);
    return setAndSave(session, session.context.insertNewObject(*entity), *values);
}

int update(Session &session)
{
    int status = VXHostOutput::Done;
    const VXManagedObjectPtr object = objectOf(session, &status);
    const std::optional<QJsonObject> values = object ? valuesOf(session, &status) : std::nullopt;
    return values ? setAndSave(session, object, *values) : status;
}

// The one that is named, or those of an entity that the predicate describes.
std::optional<QList<VXManagedObjectPtr>> objectsToRemove(Session &session, int *status)
{
    if (!session.host.options.isSet(u"where"_s)) {
        const VXManagedObjectPtr object = objectOf(session, status);
        return object ? std::optional(QList{object}) : std::nullopt;
    }
    const VXEntityDescription *const entity = entityOf(session, status);
    if (entity == nullptr)
        return std::nullopt;
    VXFetchRequest request(*entity);
    VXError error;
    QString problem = VXReadStoreQuery(session.host.options, request);
    const auto found = problem.isNull() ? session.context.executeFetchRequest(request, &error) : std::nullopt;
    if (!found) {
        *status = session.fail(problem.isNull() ? VXErrorText(error) : problem);
        return std::nullopt;
    }
    return QList<VXManagedObjectPtr>(found->begin(), found->end());
}

int remove(Session &session)
{
    int status = VXHostOutput::Done;
    const std::optional<QList<VXManagedObjectPtr>> objects = objectsToRemove(session, &status);
    if (!objects)
        return status;
    for (const VXManagedObjectPtr &object : *objects)
        session.context.deleteObject(object);
    const qsizetype count = session.context.deletedObjects().size(); // it and what the delete rules say
    VXError error;
    if (!session.context.save(&error)) { // the text of a failed save is about what was to be kept
        const QString reason = error.localizedRecoverySuggestion();
        return session.fail("nothing was deleted: "_L1 + (reason.isNull() ? VXErrorText(error) : reason));
    }
    session.host.output.answer(count == 1 ? u"Deleted it.\n"_s : u"Deleted %1 objects.\n"_s.arg(count), count);
    return VXHostOutput::Done;
}

// Adds what a file holds, all of it or nothing.
int import(Session &session)
{
    int status = VXHostOutput::Done;
    const VXEntityDescription *const entity = entityOf(session, &status);
    if (entity == nullptr)
        return status;
    if (entity->isAbstract())
        return failAbstract(session, *entity);
    qsizetype count = 0;
    if (const QString problem = VXImportObjects(session.context, *entity, session.operand(1), &count);
        !problem.isNull())
        return session.fail(problem + u"; nothing was imported"_s);
    VXError error;
    if (!session.context.save(&error))
        return session.fail(error);
    session.host.output.answer(u"Imported %1.\n"_s.arg(count), count);
    return VXHostOutput::Done;
}

// Tells what was removed; what cannot be mended is found again by the check that follows.
int mend(Session &session)
{
    QStringList mended;
    for (const auto &store : session.coordinator->persistentStores()) {
        VXError error;
        const std::optional<QStringList> found = store->mend(&error);
        if (!found)
            return session.fail(error);
        for (const QString &each : *found)
            mended.append(u"%1: removed: %2"_s.arg(store->path(), each));
    }
    session.host.output.answer(mended.isEmpty() ? u"There was nothing to mend.\n"_s : mended.join(u'\n') + u'\n',
                               QJsonArray::fromStringList(mended));
    return VXHostOutput::Done;
}

int check(Session &session)
{
    if (session.host.options.isSet(u"mend"_s))
        return mend(session);
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

// -- The command

struct Verb
{
    QString name;
    QStringList operands;         // behind the path
    int (*run)(Session &session); // null: makes the store
    VXStoreUse use = VXStoreUse::Read;
};

const Verb verbs[] = {
    {u"info"_s, {}, info},
    {u"entities"_s, {}, entities},
    {u"list"_s, {u"ENTITY"_s}, list},
    {u"insert"_s, {u"ENTITY"_s, u"JSON"_s}, insert, VXStoreUse::Change},
    {u"update"_s, {u"URI"_s, u"JSON"_s}, update, VXStoreUse::Change},
    {u"delete"_s, {u"URI"_s}, remove, VXStoreUse::Change},
    {u"import"_s, {u"ENTITY"_s, u"FILE"_s}, import, VXStoreUse::Change},
    {u"new"_s, {}, nullptr, VXStoreUse::Change},
    {u"check"_s, {}, check},
};

QStringList verbNames()
{
    QStringList names;
    std::ranges::transform(verbs, std::back_inserter(names), &Verb::name);
    names += VXStoreTransferVerbs();
    names.removeDuplicates(); // "import" takes files, and store folders
    return names;
}

// Whether a data plugin's store is meant, not a file: a name without folder and extension. A folder of that name that holds no
// store hides none.
bool isStoreName(const QString &path)
{
    const bool isWord = !path.contains(u'/') && !path.contains(u'.');
    return isWord && (!QFileInfo::exists(path) ||
                      (QFileInfo(path).isDir() && VXCoreDataStore::storeClass().dataFilesForStorePath(path).isEmpty()));
}

// What is wrong with the command line; null when nothing is.
QString misuse(const Verb &verb, const VXHostOptions &options)
{
    const bool namesEntity = verb.run == remove && !options.isSet(u"where"_s) && !options.operand(2).isEmpty() &&
                             !options.operand(2).contains(u'/');
    if (namesEntity)
        return u"an entity goes with --where: delete PATH %1 --where PREDICATE; \"--where TRUEPREDICATE\" deletes all"_s
            .arg(options.operand(2));
    if (options.operands().size() - 2 != verb.operands.size())
        return (QStringList{verb.name, u"needs PATH"_s} + verb.operands).join(u' ');
    for (const QString &option : {u"dry-run"_s, u"merge"_s, u"replace"_s, u"backup"_s, u"yes"_s}) {
        if (options.isSet(option)) // of the verbs that work on a plugin's store as a whole
            return u"--%1 goes with import NAME FOLDER, not with a file"_s.arg(option);
    }
    if (verb.run == nullptr && !options.isSet(u"model"_s))
        return u"new needs --model"_s;
    return verb.run != nullptr && options.isSet(u"model"_s) && isStoreName(options.operand(1))
               ? u"--model goes with a PATH: the store %1 has the model of its plugin"_s.arg(options.operand(1))
               : QString();
}

int makeStore(VXHostContext &context)
{
    const QString path = context.options.operand(1);
    const QString type = context.options.isSet(u"type"_s) ? context.options.value(u"type"_s) : u"sqlite"_s;
    QString problem;
    if (!VXMakeStoreFolder(path, context.options.value(u"model"_s), type, &problem))
        return context.output.fail(problem);
    context.output.answer(u"Made %1.\n"_s.arg(path), path);
    return VXHostOutput::Done;
}

int runStore(VXHostContext &context)
{
    const bool isPlace = context.options.operand(1).contains(u'/') || context.options.operand(1).contains(u'.');
    if (VXStoreTransferVerbs().contains(context.options.operand(0)) && isPlace &&
        context.options.operands().size() != 4)
        return context.output.failUsage(
            context.options.operand(0) == "import"_L1
                ? u"import needs PATH, ENTITY and FILE; without ENTITY it takes the NAME of a plugin's store"_s
                : u"%1 takes the NAME of a plugin's store, and no PATH"_s.arg(context.options.operand(0)),
            VXHostUsage(context.options));
    const bool importsFile = context.options.operand(0) == "import"_L1 && context.options.operands().size() == 4;
    if (VXStoreTransferVerbs().contains(context.options.operand(0)) && !importsFile)
        return VXRunStoreTransfer(context);
    const Verb &verb = *std::ranges::find(verbs, context.options.operand(0), &Verb::name);
    if (const QString problem = misuse(verb, context.options); !problem.isNull())
        return context.output.failUsage(problem, VXHostUsage(context.options));
    if (verb.run == nullptr)
        return makeStore(context);
    const QString path = context.options.operand(1);
    const auto runVerb = [&](const VXPersistentStoreCoordinator::Ptr &coordinator, const QString &problem) {
        if (!coordinator)
            return context.output.fail(problem);
        Session session{context, coordinator};
        return verb.run(session);
    };
    QString problem;
    if (isStoreName(path))
        return VXRunWithPlugins(context,
                                [&](VXPluginManager &) { return runVerb(VXStoreForName(path, &problem), problem); });
    const VXStoreUse use = context.options.isSet(u"mend"_s) ? VXStoreUse::Change : verb.use;
    return runVerb(VXOpenStores(path, context.options.value(u"model"_s), use, &problem), problem);
}

} // namespace

VXHostCommand VXStoreCommand()
{
    return {
        .name = u"store"_s,
        .summary = u"Look into stores, and change and check them"_s,
        .synopsis = u"info|entities|list|insert|update|delete|new|check PATH|NAME [ENTITY|URI] [JSON], "
                    "import PATH|NAME ENTITY FILE, or "
                    "upgrade|import|export|rollback NAME [FOLDER]"_s,
        .details =
            u"PATH is a store folder (.vxdatastore), or a data file (.sqlite, .xml) with its model beside it or in "
            "--model. NAME is the store of a data plugin, as in: vornix store list calls VXCall. \"info\" shows what "
            "the store tells of itself, \"entities\" which kinds of objects it holds. "
            "\"check\" looks for damage, dangling references and inverses that do not fit; with --mend it removes "
            "those references. \"new\" makes a store folder.\n\n"
            "\"list PATH ENTITY\" shows objects; with --json in full. \"insert PATH ENTITY JSON\" and \"update PATH "
            "URI JSON\" set the attributes and relationships that the JSON object names: dates are texts in ISO "
            "8601, data is text in Base64, other objects are their URIs. In place of a URI the name that \"list\" "
            "shows will do, as in: vornix store update PATH Person/p1 '{\"name\": \"Jane\"}'. In place of JSON, @FILE "
            "reads a file, - standard input. \"delete PATH URI\" deletes an object, \"delete PATH ENTITY --where "
            "PREDICATE\" all that it describes. \"import PATH ENTITY FILE\" adds what a file holds, all of it or "
            "nothing: a JSON object in each line (.jsonl), or a table whose first line names the attributes (.csv).\n\n"
            "\"upgrade NAME\" brings a store of an older version of its plugin up to date, as the plugin does when it "
            "is loaded. \"import NAME FOLDER\" adds the objects of a store folder to the plugin's store, or has it "
            "replace that. \"export NAME FOLDER\" writes a copy. All work on what is there at one moment; upgrade and "
            "import say with --dry-run what they would do: how many objects of each entity there are, get a new one, "
            "or "
            "are left out; which attributes hooks change, and of how many; which attributes and relationships are "
            "dropped; and how many references lead to what is not copied. \"rollback NAME [FOLDER]\" takes back the "
            "store that was there "
            "before the last upgrade or replacement, or the one in FOLDER; with --dry-run it lists those."_s,
        .options =
            {{u"where"_s, u"PREDICATE"_s, u"Only objects that it describes"_s, {}, {u"list"_s, u"delete"_s}},
             {u"sort"_s, u"KEY[:desc]"_s, u"Sort by these keys, separated by commas"_s, {}, {u"list"_s}},
             {u"columns"_s, u"NAME,..."_s, u"What the table shows, in that order"_s, {}, {u"list"_s}},
             {u"limit"_s, u"N"_s, u"List at most N objects"_s, {}, {u"list"_s}},
             {u"offset"_s, u"N"_s, u"Leave out the first N"_s, {}, {u"list"_s}},
             {u"count"_s, {}, u"Only count them"_s, {}, {u"list"_s}},
             {u"related"_s, {}, u"With --json: the URIs of to-many relationships, not their number"_s, {}, {u"list"_s}},
             {u"mend"_s, {}, u"Remove references to objects that are gone, or do not lead back"_s, {}, {u"check"_s}},
             {u"model"_s, u"FILE"_s, u"The model: .vxmodel or .mom"_s},
             {u"type"_s,
              u"TYPE"_s,
              u"Type of a new data file: sqlite unless told otherwise"_s,
              {u"sqlite"_s, u"xml"_s},
              {u"new"_s}},
             {u"dry-run"_s, {}, u"Only say what would be done"_s, {}, {u"upgrade"_s, u"import"_s, u"rollback"_s}},
             {u"merge"_s, {}, u"Add the objects to those that are there"_s, {}, {u"import"_s}},
             {u"replace"_s, {}, u"Use the folder in place of the store, from the next start on"_s, {}, {u"import"_s}},
             {u"validate"_s, {}, u"Copy object by object, as an upgrade does"_s, {}, {u"export"_s}},
             {u"backup"_s,
              u"FOLDER"_s,
              u"Where the old store goes, or a copy of it before an import"_s,
              {},
              {u"upgrade"_s, u"import"_s}},
             {u"yes"_s,
              {},
              u"Ask nothing: merge, replace, let the old store go to the trash"_s,
              {},
              {u"upgrade"_s, u"import"_s, u"export"_s, u"rollback"_s}}},
        .minimumOperands = 2,
        .maximumOperands = 4,
        .firstOperands = verbNames(),
        .verbSynopses = {{u"info"_s, u"PATH|NAME"_s},
                         {u"entities"_s, u"PATH|NAME"_s},
                         {u"list"_s, u"PATH|NAME ENTITY"_s},
                         {u"insert"_s, u"PATH|NAME ENTITY JSON"_s},
                         {u"update"_s, u"PATH|NAME URI JSON"_s},
                         {u"delete"_s, u"PATH|NAME URI|ENTITY"_s},
                         {u"new"_s, u"PATH"_s},
                         {u"check"_s, u"PATH|NAME"_s},
                         {u"import"_s, u"PATH|NAME ENTITY FILE, or import NAME FOLDER"_s},
                         {u"upgrade"_s, u"NAME"_s},
                         {u"export"_s, u"NAME FOLDER"_s},
                         {u"rollback"_s, u"NAME [FOLDER]"_s}},
        .operandKinds = {{u"list"_s, {u"stores"_s, u"entities"_s}},
                         {u"insert"_s, {u"stores"_s, u"entities"_s}},
                         {u"import"_s, {u"stores"_s, u"entities"_s}},
                         {u"info"_s, {u"stores"_s}},
                         {u"entities"_s, {u"stores"_s}},
                         {u"update"_s, {u"stores"_s}},
                         {u"delete"_s, {u"stores"_s}},
                         {u"check"_s, {u"stores"_s}},
                         {u"new"_s, {u"files"_s}}},
        .run = runStore};
}
