#include "VXStoreLock.h"
#include "VXCoreDataStore.h"
#include "VXFolderInMaking.h"
#include "VXOtherProcess.h"
#include "VXStoreFolderTest.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <dlfcn.h>
#include <fcntl.h>
#include <functional>
#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using Purpose = VXStoreLock::Purpose;

namespace {

std::function<void(const char *path)> whenFolderIsMade; // the next one

} // namespace

// In the place of the C library's.
extern "C" __attribute__((visibility("default"))) char *mkdtemp(char *pattern) noexcept
{
    static auto *const original = reinterpret_cast<char *(*)(char *)>(::dlsym(RTLD_NEXT, "mkdtemp"));
    char *const path = original(pattern);
    if (const auto call = path != nullptr ? std::exchange(whenFolderIsMade, nullptr) : nullptr)
        call(path);
    return path;
}

class VXStoreLockTest : public VXStoreFolderTest
{
protected:
    static bool canTake(const QString &store, Purpose purpose, bool *isBusy = nullptr, VXError *error = nullptr)
    {
        return VXStoreLock::take(store, purpose, std::chrono::milliseconds(0), error, isBusy) != nullptr;
    }
};

TEST_F(VXStoreLockTest, WhoUsesAStoreByALinkKeepsIt)
{
    const QString store = path(u"Test.vxdatastore"_s);
    const QString link = path(u"Link.vxdatastore"_s);
    ASSERT_TRUE(QDir().mkpath(store) && QFile::link(store, link));
    auto user = VXStoreLock::take(link, Purpose::Use, {});
    EXPECT_FALSE(canTake(store, Purpose::Replace));
    EXPECT_FALSE(canTake(link, Purpose::Replace));
    user = VXStoreLock::take(store, Purpose::Use, {});
    EXPECT_FALSE(canTake(store, Purpose::Replace));
    EXPECT_TRUE(canTake(link, Purpose::Replace)); // that alone is moved
}

TEST_F(VXStoreLockTest, UsersShareThePlaceAndWhoReplacesItHasItAlone)
{
    const QString store = path(u"Test.vxdatastore"_s);
    const struct
    {
        Purpose held;
        Purpose asked;
        bool isFree;
    } rows[] = {{Purpose::Use, Purpose::Use, true},         {Purpose::Use, Purpose::Read, true},
                {Purpose::Use, Purpose::Replace, false},    {Purpose::Read, Purpose::Replace, false},
                {Purpose::Replace, Purpose::Use, false},    {Purpose::Replace, Purpose::Read, false},
                {Purpose::Replace, Purpose::Replace, false}};
    ASSERT_TRUE(canTake(store, Purpose::Use)); // from now on there is a file to be locked
    for (const auto &row : rows) {
        VXOtherProcess other([&] { return VXStoreLock::take(store, row.held, std::chrono::milliseconds(0)); });
        ASSERT_TRUE(other.isReady());
        bool isBusy = false;
        VXError error;
        EXPECT_EQ(canTake(store, row.asked, &isBusy, &error), row.isFree) << int(row.held) << int(row.asked);
        EXPECT_EQ(isBusy, !row.isFree);
        EXPECT_EQ(bool(error), !row.isFree);
        other.kill();
        EXPECT_TRUE(canTake(store, row.asked)) << "a lock outlived its process";
    }
}

TEST_F(VXStoreLockTest, SwapOfTheFolderFoolsNobody)
{
    const QString folder = makeFolder(u"Test.mom"_s);
    makeDataFile(folder, u"Test.sqlite"_s);
    VXOtherProcess user(
        [&] { return VXCoreDataStore::storeClass().storeWithPath(folder)->persistentStoreCoordinator(); });
    ASSERT_TRUE(user.isReady());
    ASSERT_TRUE(QDir().rename(folder, path(u"aside"_s))); // by whoever does not ask
    makeFolder(u"Test.mom"_s);
    EXPECT_FALSE(canTake(folder, Purpose::Replace));
    user.kill();
    EXPECT_TRUE(canTake(folder, Purpose::Replace));
}

TEST_F(VXStoreLockTest, StoreIsInUseAsLongAsItsCoordinatorLives)
{
    const QString folder = makeFolder(u"Test.mom"_s);
    makeDataFile(folder, u"Test.xml"_s);
    auto coordinator = VXCoreDataStore::storeClass().storeWithPath(folder)->persistentStoreCoordinator();
    ASSERT_TRUE(coordinator);
    EXPECT_FALSE(canTake(folder, Purpose::Replace));
    auto context = std::make_unique<VXManagedObjectContext>(coordinator);
    coordinator = nullptr;
    EXPECT_FALSE(canTake(folder, Purpose::Replace));
    context = nullptr;
    EXPECT_TRUE(canTake(folder, Purpose::Replace));
}

TEST_F(VXStoreLockTest, ReadersLeaveNothingBesideAStore)
{
    const QString store = path(u"Test.vxdatastore"_s);
    EXPECT_TRUE(canTake(store, Purpose::Read));
    EXPECT_FALSE(QFile::exists(VXStoreLock::lockFileForStorePath(store)));
    EXPECT_TRUE(canTake(u"/dev/null/Test.vxdatastore"_s, Purpose::Use)); // no place for a file
    EXPECT_FALSE(canTake(u"/dev/null/Test.vxdatastore"_s, Purpose::Replace));
}

TEST_F(VXStoreLockTest, FoldersComeToTheirPlaceWholeAndWhatTheKilledLeftGoes)
{
    const QString place = path(u"folders/made"_s);
    VXOtherProcess maker([&] {
        auto folder = std::make_shared<VXFolderInMaking>(place);
        return QDir().mkpath(folder->path()) ? folder : nullptr;
    });
    ASSERT_TRUE(maker.isReady());
    const auto made = [&] {
        return QDir(path(u"folders"_s)).entryList({u".vornix-new.*"_s}, QDir::Dirs | QDir::Hidden);
    };
    VXFolderInMaking::removeLeftovers(path(u"folders"_s));
    EXPECT_EQ(made().size(), 1) << "it was still being made";
    maker.kill();
    {
        VXFolderInMaking folder(place);
        ASSERT_FALSE(folder.problem());
        ASSERT_TRUE(QDir().mkpath(folder.path() + "/inside"_L1));
        EXPECT_EQ(made().size(), 1);
        EXPECT_FALSE(QFile::exists(place));
        bool isTaken = true;
        EXPECT_TRUE(folder.moveIntoPlace(&isTaken, nullptr));
    }
    EXPECT_TRUE(QFile::exists(place + "/inside"_L1));
    EXPECT_EQ(QFile::permissions(place) & (QFile::ReadGroup | QFile::ReadOther | QFile::ExeGroup | QFile::ExeOther),
              QFile::Permissions());
    EXPECT_EQ(made().size(), 0);
    VXFolderInMaking again(place);
    ASSERT_TRUE(QDir().mkpath(again.path()));
    bool isTaken = false;
    VXError error;
    EXPECT_FALSE(again.moveIntoPlace(&isTaken, &error));
    EXPECT_TRUE(isTaken && error);
    EXPECT_TRUE(QFile::exists(place + "/inside"_L1));
}

// A process that tidies up may take a folder for one left behind before its maker has locked it.
TEST_F(VXStoreLockTest, WhatIsBeingTidiedUpIsNotFilled)
{
    const QString folder = path(u"folders"_s);
    int lock = -1;
    whenFolderIsMade = [&](const char *made) {
        lock = ::open(made, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        EXPECT_EQ(::flock(lock, LOCK_EX), 0);
    };
    const VXFolderInMaking making(folder + "/made"_L1);
    ASSERT_GE(lock, 0);
    EXPECT_EQ(::close(lock), 0);
    VXFolderInMaking::removeLeftovers(folder);
    EXPECT_TRUE(QDir().mkdir(making.path()));
}

// What cannot be locked for reasons that others do not have is not used: they could replace it meanwhile.
TEST_F(VXStoreLockTest, WithoutFileDescriptorsNothingIsUsed)
{
    const QString store = path(u"Test.vxdatastore"_s);
    ASSERT_TRUE(canTake(store, Purpose::Use));
    rlimit limit = {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    rlimit none = limit;
    none.rlim_cur = 0;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    const bool isTaken[] = {canTake(store, Purpose::Use), canTake(store, Purpose::Read),
                            canTake(store, Purpose::Replace)};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_THAT(isTaken, testing::Each(false));
    EXPECT_TRUE(canTake(store, Purpose::Use));
}
