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
    /** The entity's fetch template of that name with its variables replaced. @return empty when there is none, it
     *  cannot be parsed, or a variable has no value. */
    [[nodiscard]] static std::optional<VXFetchRequest> fromTemplate(const VXEntityDescription &entity,
                                                                    const QString &name,
                                                                    const QVariantMap &variables = {},
                                                                    VXError *error = nullptr);

    const VXEntityDescription &entity() const { return *_entity; }
    /** Whether only some of the matching objects are wanted. */
    bool isCut() const { return limit > 0 || offset > 0; }

    VXPredicate predicate;
    QList<VXSortDescriptor> sortDescriptors = {}; // a key that VXSortProblem tells of makes the fetch fail
    qsizetype limit = 0;                          // 0: all
    qsizetype offset = 0;
    /** Only objects with a greater number: for going through a whole store page by page (`limit`). Without sort
     *  descriptors the order is that of the numbers. */
    qint64 afterNumber = 0;
    /** How many objects are read at a time while the result is iterated; 0: all at the start. */
    qsizetype batchSize = 0;
    bool includesSubentities = true;
    /** Whether unsaved changes of the context are considered. */
    bool includesPendingChanges = true;
    /** False: objects are returned as faults, and their values are read when needed. */
    bool includesPropertyValues = true;
    /** Objects that are already in the context get the values of the store, unless they have unsaved changes. */
    bool refreshesObjects = false;
    /** Relationships whose objects are read as well, with one additional query for each relationship rather than for
     *  each object. */
    QStringList prefetchedRelationships = {};

private:
    const VXEntityDescription *_entity;
};

/**
 * Finds the fetch templates of a model that are no predicates, name unknown keys or can never match, which otherwise only
 * shows when they are used. In the order of definition. Reentrant.
 */
[[nodiscard]] VX_STORE_EXPORT QList<VXModelProblem> VXCheckFetchTemplates(const VXManagedObjectModel &model);
