#include "VXContactWordsUpdate.h"

#include "VXContactWords.h"
#include "VXLog.h"
#include "VXManagedObjectContext.h"
#include "VXPhonebookEntities.h"

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype pageSize = 500;
const QString generationKey = u"VXContactWordsGeneration"_s;

// A page after the other, so that memory stays flat.
bool updateAll(const VXPersistentStoreCoordinator::Ptr &coordinator, VXError *error)
{
    VXFetchRequest request(*coordinator->model().entityForName(VXPerson::entityName));
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
    if (stores.size() != 1 || stores.first()->metadata().value(generationKey).toInt() >= VXContactWords::generation)
        return;
    VXError error;
    bool isDone = updateAll(coordinator, &error);
    if (isDone) {
        stores.first()->changeMetadata({{generationKey, VXContactWords::generation}});
        isDone = VXManagedObjectContext(coordinator).save(&error); // else with the next save
    }
    if (!isDone)
        VXLog::log(VXLogWarning,
                   "the words that contacts are found by could not be made anew: "_L1 + error.description());
}
