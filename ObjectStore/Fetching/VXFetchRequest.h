#pragma once

#include "VXEntityDescription.h"
#include "VXObjectStoreExport.h"
#include "VXPredicate.h"
#include "VXSortDescriptor.h"

#include <QtCore/QList>
#include <QtCore/QStringList>

class VXManagedObjectModel;
struct VXModelProblem;

/** Which objects to fetch, and how. A value type; reentrant. */
class VX_STORE_EXPORT VXFetchRequest
{
public:
    explicit VXFetchRequest(const VXEntityDescription &entity) : _entity(&entity) {}
    /** The entity's template of that name with its variables replaced. @return empty when there is none, it cannot be
     * read or a variable is left. */
    [[nodiscard]] static std::optional<VXFetchRequest> fromTemplate(const VXEntityDescription &entity,
                                                                    const QString &name,
                                                                    const QVariantMap &variables = {},
                                                                    VXError *error = nullptr);

    const VXEntityDescription &entity() const { return *_entity; }
    /** Whether only some of what matches is wanted. */
    bool isCut() const { return limit > 0 || offset > 0; }

    VXPredicate predicate;
    QList<VXSortDescriptor> sortDescriptors = {};
    qsizetype limit = 0; // 0: all
    qsizetype offset = 0;
    /** Only objects with a greater number: for who goes through all of one store, a page (`limit`) after the other, without
     * sort descriptors, which is in the order of their numbers. */
    qint64 afterNumber = 0;
    /** Objects read from the store at once while the result is walked; 0: all at the start. */
    qsizetype batchSize = 0;
    bool includesSubentities = true;
    /** Unsaved changes of the context take part. */
    bool includesPendingChanges = true;
    /** False: objects come as faults, and their values are read when they are asked for. */
    bool includesPropertyValues = true;
    /** Objects already in the context take the values of the store, unless they have unsaved changes. */
    bool refreshesObjects = false;
    /** Relationships whose objects are read along, with one more query each, not one for each object. */
    QStringList prefetchedRelationships = {};

private:
    const VXEntityDescription *_entity;
};

/**
 * Finds the fetch templates of a model that are no predicates, name unknown keys or can never match, which is told else by who
 * uses them, or by nobody. In the order of definition. Reentrant.
 */
[[nodiscard]] VX_STORE_EXPORT QList<VXModelProblem> VXCheckFetchTemplates(const VXManagedObjectModel &model);
