#include "VXContactWordsUpdate.h"

#include "VXAtomicFile.h"
#include "VXContactWords.h"
#include "VXFileManager.h"
#include "VXFileStamp.h"
#include "VXFolders.h"
#include "VXLog.h"
#include "VXManagedObjectContext.h"
#include "VXPhonebookEntities.h"

#include <QtCore/QFile>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype pageSize = 500;
const QString generationKey = u"VXContactWordsGeneration"_s;

VXPredicate isOfThisGeneration(const QString &keyPath, VXPredicate::Modifier modifier)
{
    return VXPredicate::comparison(VXExpression::keyPath(keyPath), VXPredicate::Operator::Equal,
                                   VXExpression::constant(VXContactWords::keyOfGeneration()), {}, modifier);
}

/** How the data file was when all contacts in it were found to be of this generation. Lost with the other caches, it is made anew. */
class Finding
{
public:
    explicit Finding(const QString &dataPath) : _now(stampOf(dataPath)) {}

    bool isKnown() const
    {
        QFile file(path());
        return !_now.isEmpty() && file.open(QFile::ReadOnly) && file.read(_now.size() + 1) == _now;
    }

    void keep() const
    {
        if (_now.isEmpty() || !VXMakePrivateFolder(VXFileManager::defaultManager().pathToUserCachedDataFolder()))
            return;
        QString reason;
        if (!VXAtomicFile::replace(path(), _now, &reason)) // they are counted again
            VXLog::log(VXLogInfo, "What is known of the words of contacts was not kept: "_L1 + reason);
    }

private:
    static QString path() { return VXFileManager::defaultManager().pathToUserCachedDataFolder() + "/contact-words"_L1; }

    // Empty while there is a log: who saves into that leaves the file as it is.
    static QByteArray stampOf(const QString &dataPath)
    {
        const VXFileStamp file = VXFileStamp::ofPath(dataPath);
        if (!file.exists() || VXFileStamp::ofPath(dataPath + "-wal"_L1).size > 0)
            return {};
        return u"%1 %2 %3 %4 %5 %6\n"_s.arg(VXContactWords::generation)
            .arg(file.device)
            .arg(file.inode)
            .arg(file.size)
            .arg(file.seconds)
            .arg(file.nanoseconds)
            .toLatin1();
    }

    const QByteArray _now;
};

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
    const Finding finding(stores.first()->path()); // before they are counted, as others may save meanwhile
    if (isNoted && finding.isKnown())
        return;
    if (isNoted && areAllOfThisGeneration(coordinator))
        return finding.keep();
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
