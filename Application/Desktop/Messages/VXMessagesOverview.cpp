#include "VXMessagesOverview.h"

#include "MessageDataConstants.h"

using namespace Qt::StringLiterals;

VXMessagesOverview VXReadMessagesOverview(const VXMessageStore &store)
{
    VXManagedObjectContext context(store.coordinator());
    VXMessagesOverview overview;
    VXManagedObjectPtr trash;
    for (const VXManagedObjectPtr &folder : store.folders(context).value_or(QList<VXManagedObjectPtr>())) {
        const QString title = VXMessageStore::folderTitle(folder);
        overview.folders.append({title, folder->objectID()});
        if (!trash && title == VXTrashFolder) // before the user's own
            trash = folder;
    }
    VXFetchRequest unread(*store.coordinator()->model().entityForName(VXMessageStore::entityName));
    unread.predicate = *VXPredicate::predicateWithFormat(u"state == 1 AND pending != 1 AND folder != %@"_s,
                                                         {QVariant::fromValue(trash)});
    overview.unread = static_cast<int>(context.countForFetchRequest(unread).value_or(0));
    return overview;
}
