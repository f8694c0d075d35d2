#include "VXFailingCalls.h"
#include "VXFileManager.h"
#include "VXManagedObjectClass.h"
#include "VXMetaDataSource.h"
#include "VXMetaDataSync.h"
#include "VXPropertyList.h"
#include "VXSearchIndex.h"
#include "VXStoreFolderTest.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

using namespace Qt::StringLiterals;

namespace {

class FoundPerson : public VXManagedObject, public VXMetaDataSource
{
public:
    std::optional<QVariantMap> metaDataPlist() const override
    {
        return QVariantMap{{u"kMDItemTitle"_s, valueForKey(u"name"_s)}};
    }
};

/** Walks over the passes of a mirror: whatever fails, and wherever one ends, the next pass makes it right. */
class VXSearchWalks : public VXStoreFolderTest
{
protected:
    VXSearchWalks() { VXManagedObjectClass::registerClass<FoundPerson>(u"FoundPerson"_s); }
    ~VXSearchWalks() override { VXManagedObjectClass::removeClass(u"FoundPerson"_s); }

    /** One pass over a store of these people. */
    static bool pass(const QStringList &names)
    {
        const auto coordinator = VXPersistentStoreCoordinator::coordinatorWithModel(
            modelOf("entity Person (FoundPerson) { attribute name: string; attribute changed: date optional; }"));
        if (!coordinator->addPersistentStore(VXStoreType::InMemory, {}))
            return false;
        VXManagedObjectContext context(coordinator);
        for (const QString &name : names)
            addPerson(context, name)->setValueForKey(QDateTime::currentDateTimeUtc(), u"changed"_s);
        if (!context.save())
            return false;
        const auto sync = VXMetaDataSync::initWithIdentifier(u"people"_s, coordinator, u"Person"_s, u"changed"_s);
        sync->setNeedsUpdate(false);
        sync->synchronizeMetaDataFiles();
        const bool isDone = sync->counts().errors == 0 && !sync->needsUpdate();
        sync->terminate();
        return isDone;
    }
    static QVariant found()
    {
        const QString folder = VXFileManager::defaultManager().pathToUserMetadataFolder() + "/people"_L1;
        QStringList titles;
        for (const QString &name : QDir(folder).entryList(QDir::Files | QDir::Hidden))
            titles.append(VXPropertyList::fromFile(folder + u'/' + name).toMap().value(u"kMDItemTitle"_s).toString());
        const auto index = VXSearchIndex::open();
        for (const VXFoundObject &object :
             index ? index->find(u"j"_s, {}, 10, nullptr).value_or(QList<VXFoundObject>()) : QList<VXFoundObject>())
            titles.append(object.title);
        titles.sort();
        return titles;
    }
};

TEST_F(VXSearchWalks, Passes)
{
    const QStringList last{u"Jane"_s, u"Joe"_s, u"Jim"_s};
    const QVariant right = QStringList{u"Jane"_s, u"Jane"_s, u"Jim"_s, u"Jim"_s, u"Joe"_s, u"Joe"_s};
    VXFailureWalk walk;
    const QString marker = path(u"done"_s); // of an operation that said yes
    walk.prepare = [&] {
        QFile::remove(marker);
        QDir(VXFileManager::defaultManager().pathToUserMetadataFolder()).removeRecursively();
        ASSERT_TRUE(pass({u"John"_s, u"Jack"_s, u"Judy"_s, u"James"_s}));
    };
    walk.operation = [&] { return pass(last) && QFile::link(path(), marker); };
    walk.state = [&]() -> QVariant {
        pass(last);
        pass(last); // after one that found a file which could not be read
        const QVariant now = found();
        return now == right ? QVariant(QFileInfo(marker).isSymLink()) : now;
    };
    walk.mayRefuseWhatIsDone = true;
    walk.run();
}

} // namespace
