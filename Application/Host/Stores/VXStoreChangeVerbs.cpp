#include "VXErrorText.h"
#include "VXStoreVerbs.h"

#include "VXFetchOptions.h"
#include "VXHostHelp.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXObjectJSON.h"
#include "VXObjectNames.h"
#include "VXStoreImport.h"
#include "VXTextArgument.h"

using namespace Qt::StringLiterals;

namespace {

VXManagedObjectPtr objectOf(VXStoreSession &session)
{
    QString problem;
    VXManagedObjectPtr object = VXObjectNamed(session.context, session.operand(0), &problem);
    if (!object)
        session.fail(problem);
    return object;
}

// The typed values; none, with the usage, if they are not a JSON object.
std::optional<QJsonObject> valuesOf(const VXStoreSession &session)
{
    QString reason;
    const std::optional<QByteArray> text = VXTextOfArgument(session.operand(1), &reason);
    const std::optional<QJsonValue> value = text ? VXJSONFromText(*text, &reason) : std::nullopt;
    if (value && value->isObject())
        return value->toObject();
    session.host.output.failUsage(u"the values are no JSON object"_s + (reason.isNull() ? QString() : u": "_s + reason),
                                  VXHostUsage(session.host.options));
    return std::nullopt;
}

int setAndSave(VXStoreSession &session, const VXManagedObjectPtr &object, const QJsonObject &values)
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

int failAbstract(VXStoreSession &session, const VXEntityDescription &entity)
{
    return session.fail(u"entity %1 is abstract: it has no objects of its own"_s.arg(entity.name()));
}

// The object that is named, or those of an entity that match the predicate.
std::optional<QList<VXManagedObjectPtr>> objectsToDelete(VXStoreSession &session)
{
    if (!session.host.options.isSet(u"where"_s)) {
        const VXManagedObjectPtr object = objectOf(session);
        return object ? std::optional(QList{object}) : std::nullopt;
    }
    const VXEntityDescription *const entity = session.entity();
    if (entity == nullptr)
        return std::nullopt;
    VXFetchRequest request(*entity);
    VXError error;
    QString problem = VXReadFetchOptions(session.host.options, request);
    const auto found = problem.isNull() ? session.context.executeFetchRequest(request, &error) : std::nullopt;
    if (!found) {
        session.fail(problem.isNull() ? VXErrorText(error) : problem);
        return std::nullopt;
    }
    return QList<VXManagedObjectPtr>(found->begin(), found->end());
}

} // namespace

int VXInsertStoreObject(VXStoreSession &session)
{
    const std::optional<QJsonObject> values = valuesOf(session);
    if (!values)
        return VXHostOutput::WrongUsage;
    const VXEntityDescription *const entity = session.entity();
    if (entity == nullptr)
        return VXHostOutput::Failed;
    if (entity->isAbstract())
        return failAbstract(session, *entity);
    return setAndSave(session, session.context.insertNewObject(*entity), *values);
}

int VXUpdateStoreObject(VXStoreSession &session)
{
    const std::optional<QJsonObject> values = valuesOf(session);
    if (!values)
        return VXHostOutput::WrongUsage;
    const VXManagedObjectPtr object = objectOf(session);
    return object ? setAndSave(session, object, *values) : int(VXHostOutput::Failed);
}

int VXDeleteStoreObjects(VXStoreSession &session)
{
    const std::optional<QList<VXManagedObjectPtr>> objects = objectsToDelete(session);
    if (!objects)
        return VXHostOutput::Failed;
    for (const VXManagedObjectPtr &object : *objects)
        session.context.deleteObject(object);
    const qsizetype count = session.context.deletedObjects().size(); // itself and those that the delete rules add
    VXError error;
    // The error text of a failed save is about something that should have been stored.
    if (!session.context.save(&error)) {
        const QString reason = error.localizedRecoverySuggestion();
        return session.fail("nothing was deleted: "_L1 + (reason.isNull() ? VXErrorText(error) : reason));
    }
    session.host.output.answer(count == 1 ? u"Deleted it.\n"_s : u"Deleted %1 objects.\n"_s.arg(count), count);
    return VXHostOutput::Done;
}

// Adds the contents of a file, all or nothing.
int VXImportStoreObjects(VXStoreSession &session)
{
    const VXEntityDescription *const entity = session.entity();
    if (entity == nullptr)
        return VXHostOutput::Failed;
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
