#pragma once

#include "../Data/VXStoreFolderTest.h"
#include "VXFileLock.h"
#include "VXFileManager.h"
#include "VXManagedObjectClass.h"
#include "VXMetaDataFolder.h"
#include "VXMetaDataSource.h"
#include "VXMetaDataSync.h"
#include "VXPropertyList.h"
#include "VXSearchIndex.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/** Tells its name; "silent" has no metadata, "throws" throws, "moody" now and then, "removes" takes away the folder, "unlocks" once its lock; "hurries" has
 *  a user wait. */
class SearchedPerson : public VXManagedObject, public VXMetaDataSource
{
public:
    std::optional<QVariantMap> metaDataPlist() const override
    {
        const QString name = valueForKey(u"name"_s).toString();
        if (name == "throws"_L1 || (name == "moody"_L1 && isMoody))
            throw std::runtime_error("no name");
        if (name == "removes"_L1)
            QDir(VXFileManager::defaultManager().pathToUserMetadataFolder() + "/people"_L1).removeRecursively();
        if (name == "unlocks"_L1 && std::exchange(isUnlocking, false))
            QFile::remove(VXFileManager::defaultManager().pathToUserMetadataFolder() + "/people.lock"_L1);
        if (name == "hurries"_L1)
            waiting.emplace(VXMetaDataFolder(u"people"_s).waitingPath(), 0ms, VXFileLock::Mode::Shared);
        if (name == "silent"_L1)
            return std::nullopt;
        return QVariantMap{{VXMetaDataGenerationKey, VXMetaDataGeneration},
                           {u"kMDItemTitle"_s, name},
                           {u"kMDItemPhoneNumbers"_s, name.startsWith(u'+') ? QVariant(name) : QVariant()},
                           {u"kMDItemComment"_s, QVariant()},
                           {u"kMDItemCreator"_s, u"itself"_s}};
    }
    static inline int read = 0;
    static inline bool isMoody = true;
    static inline bool isUnlocking = true;
    static inline std::optional<VXFileLock> waiting;

protected:
    void awakeFromFetch() override { ++read; }
};

/** People in memory, mirrored as "people". */
class VXMetaDataTest : public VXStoreFolderTest
{
protected:
    VXMetaDataTest()
    {
        VXManagedObjectClass::registerClass<SearchedPerson>(u"SearchedPerson"_s);
        EXPECT_TRUE(coordinator->addPersistentStore(VXStoreType::InMemory, {}));
        sync = VXMetaDataSync::initWithIdentifier(u"people"_s, coordinator, u"Person"_s, u"changed"_s);
    }
    ~VXMetaDataTest() override
    {
        if (sync)
            sync->terminate();
        VXManagedObjectClass::removeClass(u"SearchedPerson"_s);
    }

    VXManagedObjectPtr add(const QString &name, const QDateTime &changed = QDateTime::currentDateTimeUtc())
    {
        const VXManagedObjectPtr person = addPerson(context, name);
        person->setValueForKey(changed, u"changed"_s);
        EXPECT_TRUE(context.save());
        return person;
    }
    static QString folder() { return VXFileManager::defaultManager().pathToUserMetadataFolder() + "/people"_L1; }
    static QString fileOf(const VXManagedObjectPtr &object)
    {
        return folder() + u'/' + metaDataFilename(object->objectID());
    }
    static QString titleIn(const QString &path)
    {
        return VXPropertyList::fromFile(path).toMap().value(u"kMDItemTitle"_s).toString();
    }
    static QStringList files() { return QDir(folder()).entryList(QDir::Files | QDir::Hidden); }
    VXMetaDataCounts pass()
    {
        sync->setNeedsUpdate(false);
        sync->synchronizeMetaDataFiles();
        return sync->counts();
    }
    static QList<VXFoundObject> find(const QString &words)
    {
        const auto index = VXSearchIndex::open();
        return index->find(words, {}, 1000, nullptr).value_or(QList<VXFoundObject>());
    }
    static void setAge(const QString &path, int seconds)
    {
        const qint64 time = QDateTime::currentSecsSinceEpoch() - seconds;
        const timespec times[] = {{.tv_sec = time, .tv_nsec = 0}, {.tv_sec = time, .tv_nsec = 0}};
        EXPECT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0), 0);
    }

    static VXManagedObjectModel::Ptr model()
    {
        return modelOf(R"(entity Person (SearchedPerson) {
            attribute name: string;
            attribute changed: date optional;
        })");
    }

    const VXPersistentStoreCoordinator::Ptr coordinator = VXPersistentStoreCoordinator::coordinatorWithModel(model());
    VXManagedObjectContext context{coordinator};
    VXMetaDataSync::Ptr sync;
};
