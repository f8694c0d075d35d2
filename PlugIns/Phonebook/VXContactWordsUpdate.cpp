#include "VXContactWordsUpdate.h"

#include "VXContactWords.h"
#include "VXLog.h"
#include "VXManagedObjectContext.h"
#include "VXPhonebookEntities.h"

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype pageSize = 500;
const QString generationKey = u"VXContactWordsGeneration"_s;

VXPredicate isOfThisGeneration(const QString &keyPath, VXPredicate::Modifier modifier)
{
    return VXPredicate::comparison(VXExpression::keyPath(keyPath), VXPredicate::Operator::Equal,
                                   VXExpression::constant(VXContactWords::keyOfGeneration()), {}, modifier);
}

// Counted by index. Also what an earlier program saved after this one had made all anew.
bool areAllOfThisGeneration(const VXPersistentStoreCoordinator::Ptr &coordinator)
{
    VXManagedObjectContext context(coordinator);
    const VXManagedObjectModel &model = coordinator->model();
    VXFetchRequest marks(*model.entityForName(u"VXSearchWord"_s));
    marks.predicate = isOfThisGeneration(u"key"_s, VXPredicate::Modifier::Direct);
    const VXFetchRequest persons(*model.entityForName(VXPerson::entityName));
    return context.countForFetchRequest(marks) == context.countForFetchRequest(persons);
}

// A page after the other, so that memory stays flat.
bool updateOthers(const VXPersistentStoreCoordinator::Ptr &coordinator, VXError *error)
{
    VXFetchRequest request(*coordinator->model().entityForName(VXPerson::entityName));
    request.predicate = isOfThisGeneration(u"words.key"_s, VXPredicate::Modifier::None);
    request.limit = pageSize;
    request.prefetchedRelationships = {u"words"_s, u"numbers"_s, u"emails"_s, u"groups"_s, u"addresses"_s};
    for (bool isAtEnd = false; !isAtEnd;) {
        VXManagedObjectContext context(coordinator);
        const std::optional<VXFetchResult> page = context.executeFetchRequest(request, error);
        if (!page)
            return false;
        isAtEnd = page->size() < pageSize;
        for (const VXManagedObjectPtr &object : *page) {
            if (auto *const person = dynamic_cast<VXPerson *>(object.get()))
                person->updateAllItIsFoundBy();
            request.afterNumber = object->objectID().number();
        }
        if (!context.save(error))
            return false;
    }
    return true;
}

} // namespace

void VXUpdateContactWords(const VXPersistentStoreCoordinator::Ptr &coordinator)
{
    const auto stores = coordinator->persistentStores();
    if (stores.size() != 1)
        return;
    const bool isNoted = stores.first()->metadata().value(generationKey).toInt() >= VXContactWords::generation;
    if (isNoted && areAllOfThisGeneration(coordinator))
        return;
    VXError error;
    bool isDone = updateOthers(coordinator, &error);
    if (isDone && !isNoted) { // otherwise an earlier program makes all anew, in its way
        stores.first()->changeMetadata({{generationKey, VXContactWords::generation}});
        isDone = VXManagedObjectContext(coordinator).save(&error); // else with the next save
    }
    if (!isDone)
        VXLog::log(VXLogWarning,
                   "the words that contacts are found by could not be made anew: "_L1 + error.description());
}
