#include "VXFetchRequest.h"

#include "VXEntityPredicate.h"
#include "VXManagedObjectModel.h"

using namespace Qt::StringLiterals;

std::optional<VXFetchRequest> VXFetchRequest::fromTemplate(const VXEntityDescription &entity, const QString &name,
                                                           const QVariantMap &variables, VXError *error)
{
    const auto fail = [&](const QString &reason) {
        VXSetError(error, VXError::platformError(VXPlatformErrorCode::InvalidValue,
                                                 u"The fetch template \"%1\" cannot be used."_s.arg(name), reason));
        return std::nullopt;
    };
    const QString format = entity.fetchTemplate(name);
    if (format.isNull())
        return fail(u"Entity \"%1\" has none of that name."_s.arg(entity.name()));
    VXError mistake;
    const std::optional<VXPredicate> predicate = VXPredicate::predicateWithFormat(format, {}, &mistake);
    if (!predicate)
        return fail(mistake.localizedRecoverySuggestion());
    VXFetchRequest request(entity);
    request.predicate = predicate->substituted(variables);
    if (const QStringList missing = request.predicate.variables(); !missing.isEmpty())
        return fail(u"There is no value for $%1."_s.arg(missing.join(", $"_L1)));
    return request;
}

QList<VXModelProblem> VXCheckFetchTemplates(const VXManagedObjectModel &model)
{
    QList<VXModelProblem> problems;
    for (const VXEntityDefinition &entity : model.definition().entities) {
        for (const VXFetchTemplateDefinition &fetchTemplate : entity.fetchTemplates) {
            VXError mistake;
            QString problem;
            const auto predicate = VXPredicate::predicateWithFormat(fetchTemplate.predicate, {}, &mistake);
            if (!predicate)
                problem = mistake.localizedRecoverySuggestion();
            else if (VXPredicateForEntity(*predicate, *model.entityForName(entity.name), &problem))
                continue;
            problems.append({fetchTemplate.line, u"fetch template \"%1\": %2"_s.arg(fetchTemplate.name, problem)});
        }
    }
    return problems;
}
