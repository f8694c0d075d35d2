#include "VXManagedObjectModel.h"

#include "VXPropertyList.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QFile>

#include <algorithm>

using namespace Qt::StringLiterals;

/** Makes the descriptions of a valid definition and links them. */
class VXModelLinker
{
public:
    using Entities = std::vector<std::unique_ptr<VXEntityDescription>>;

    VXModelLinker(const VXModelDefinition &definition, const VXManagedObjectModel &model)
        : _definition(definition), _model(model), _made(size_t(definition.entities.size()))
    {
        for (qsizetype number = 0; number < definition.entities.size(); ++number)
            _numbers.insert(definition.entities[number].name, int(number));
    }

    Entities link()
    {
        for (int number = 0; number < int(_made.size()); ++number)
            make(number);
        for (const std::unique_ptr<VXEntityDescription> &entity : _made) {
            for (const std::unique_ptr<VXRelationshipDescription> &relationship : entity->_ownRelationships)
                tie(*entity, *relationship);
        }
        return std::move(_made);
    }

private:
    // The entity that this one inherits from is made first.
    VXEntityDescription &make(int number)
    {
        std::unique_ptr<VXEntityDescription> &entity = _made[size_t(number)];
        if (entity)
            return *entity;
        const VXEntityDefinition &definition = _definition.entities[number];
        VXEntityDescription *const superentity =
            definition.superentity.isNull() ? nullptr : &make(_numbers.value(definition.superentity));
        entity = std::make_unique<VXEntityDescription>(definition, _model, number, superentity);
        if (superentity != nullptr)
            superentity->_subentities.append(entity.get());
        return *entity;
    }

    void tie(const VXEntityDescription &entity, VXRelationshipDescription &relationship)
    {
        const VXEntityDefinition &definition = _definition.entities[entity.number()];
        const auto found =
            std::find_if(definition.relationships.cbegin(), definition.relationships.cend(),
                         [&](const VXRelationshipDefinition &each) { return each.name == relationship.name(); });
        const VXEntityDescription &destination = *_made[size_t(_numbers.value(found->destination))];
        relationship._destination = &destination;
        relationship._inverse = found->inverse.isNull() ? nullptr : destination.relationshipForName(found->inverse);
    }

    const VXModelDefinition &_definition;
    const VXManagedObjectModel &_model;
    QHash<QString, int> _numbers; // of the entities, by name
    Entities _made;
};

namespace {

VXError modelError(const QString &reason, const QString &path = {})
{
    return VXError::platformError(VXPlatformErrorCode::FileCorrupt, u"The object model cannot be used."_s, reason,
                                  path);
}

// Digest of what determines how objects are stored, independent of the order of definition.
QByteArray versionHash(const VXEntityDescription &entity)
{
    QStringList lines;
    for (const VXAttributeDescription *const attribute : entity.attributes()) {
        if (!attribute->isTransient())
            lines.append(u"attribute %1 %2 %3"_s.arg(attribute->name(), VXAttributeTypeName(attribute->type()))
                             .arg(attribute->isOptional()));
    }
    for (const VXRelationshipDescription *const relationship : entity.relationships()) {
        if (!relationship->isTransient())
            lines.append(
                u"relationship %1 %2 %3 %4 %5"_s
                    .arg(relationship->name(), relationship->destination().name(), relationship->inverse()->name())
                    .arg(relationship->isToMany())
                    .arg(relationship->isOptional()));
    }
    lines.sort();
    const QString superentity = entity.superentity() == nullptr ? QString() : entity.superentity()->name();
    lines.prepend(u"entity %1 %2 %3"_s.arg(entity.name(), superentity).arg(entity.isAbstract()));
    return QCryptographicHash::hash(lines.join(u'\n').toUtf8(), QCryptographicHash::Sha256);
}

} // namespace

VXManagedObjectModel::VXManagedObjectModel(const VXModelDefinition &definition)
    : _definition(definition), _owned(VXModelLinker(_definition, *this).link())
{
    for (const std::unique_ptr<VXEntityDescription> &entity : _owned) {
        _entities.append(entity.get());
        _byName.insert(entity->name(), entity.get());
        _hashes.insert(entity->name(), versionHash(*entity));
    }
}

VXManagedObjectModel::~VXManagedObjectModel() = default;

VXManagedObjectModel::Ptr VXManagedObjectModel::modelWithDefinition(const VXModelDefinition &definition, VXError *error)
{
    const QList<VXModelProblem> problems = VXCheckModel(definition);
    if (problems.isEmpty())
        return Ptr(new VXManagedObjectModel(definition));
    VXSetError(error, modelError(problems.front().text + u'.'));
    return nullptr;
}

VXManagedObjectModel::Ptr VXManagedObjectModel::modelWithContentsOfFile(const QString &path, VXError *error)
{
    VXError problem;
    const QVariant list = VXPropertyList::fromFile(path, &problem);
    if (!list.isValid()) {
        VXSetError(error, problem);
        return nullptr;
    }
    const VXModelDefinition definition = VXModelDefinition::fromPropertyList(list, &problem);
    const Ptr model = problem ? nullptr : modelWithDefinition(definition, &problem);
    if (!model)
        VXSetError(error, modelError(problem.localizedRecoverySuggestion(), path));
    return model;
}

VXManagedObjectModel::Ptr VXManagedObjectModel::modelByMergingModels(const QList<Ptr> &models, VXError *error)
{
    if (models.size() == 1 && models.constFirst())
        return models.constFirst();
    VXModelDefinition merged;
    QHash<QString, QVariantMap> seen; // the definition of each entity
    for (const Ptr &model : models) {
        if (!model) {
            if (error != nullptr && !*error)
                *error = modelError(u"One of the models to merge is missing."_s);
            return nullptr;
        }
        for (const VXEntityDefinition &entity : model->definition().entities) {
            const QVariantMap form = VXModelDefinition{{entity}}.toPropertyList();
            const auto earlier = seen.constFind(entity.name);
            if (earlier == seen.cend()) {
                seen.insert(entity.name, form);
                merged.entities.append(entity);
            } else if (*earlier != form) {
                VXSetError(error, modelError(u"Entity \"%1\" differs between models."_s.arg(entity.name)));
                return nullptr;
            }
        }
    }
    return modelWithDefinition(merged, error);
}

bool VXManagedObjectModel::writeToFile(const QString &path, VXError *error) const
{
    return VXPropertyList::toFile(_definition.toPropertyList(), path, VXPropertyList::Format::Binary, error,
                                  VXFileAccess::Shared);
}
