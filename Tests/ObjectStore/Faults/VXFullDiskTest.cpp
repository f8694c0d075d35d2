#include "VXFaultTest.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QScopeGuard>

#include <cerrno>
#include <cstring>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

using Code = VXObjectStoreErrorCode;

/** A save that fails for want of room or of permission. */
class VXFullDiskTest : public VXFaultTest
{
protected:
    /** One object more with as much data; what was there is there again afterwards. */
    void checkFailingSave(VXStoreType type, const std::function<void()> &breakDisk,
                          const std::function<void()> &mendDisk, const QList<Code> &codes) const
    {
        const QString file = folder + "/store"_L1;
        const Opened opened = open(type, file);
        ASSERT_TRUE(opened.store) << opened.error.description().toStdString();
        addItems(opened, 10);
        const Object changed = opened.fetch(u"Item"_s).last();
        changed->setValueForKey(u"changed"_s, u"text"_s);
        changed->setValueForKey(QByteArray(400'000, 'x'), u"data"_s);
        const Object added = opened.context->insertNewObject(u"Item"_s);
        added->setValueForKey(99, u"number"_s);

        breakDisk();
        VXError error;
        EXPECT_FALSE(opened.context->save(&error));
        EXPECT_TRUE(codes.contains(Code(error.code()))) << error.description().toStdString();
        EXPECT_EQ(error.filePath(), file);
        EXPECT_FALSE(opened.store->copyTo(folder + "/copy"_L1, &error));
        EXPECT_TRUE(codes.contains(Code(error.code()))) << error.description().toStdString();
        EXPECT_TRUE(added->isInserted() && changed->isUpdated());
        EXPECT_EQ(changed->valueForKey(u"text"_s), u"changed"_s);
        mendDisk();

        const auto textsOf = [&](const Opened &other) {
            QStringList texts;
            for (const Object &each : other.fetch(u"Item"_s))
                texts.append(each->valueForKey(u"text"_s).toString());
            return texts;
        };
        const Opened other = open(type, file);
        ASSERT_TRUE(other.store) << other.error.description().toStdString();
        EXPECT_EQ(textsOf(other).size(), 10);
        EXPECT_FALSE(textsOf(other).contains(u"changed"_s)) << "all or nothing";
        EXPECT_EQ(other.store->check(), QStringList());
        EXPECT_TRUE(opened.context->save(&error)) << error.description().toStdString();
        other.context->reset();
        EXPECT_EQ(textsOf(other).size(), 11);
        EXPECT_TRUE(textsOf(other).contains(u"changed"_s));
        EXPECT_EQ(other.store->check(), QStringList());
    }

    const QString folder = writeFile(u"folder/other"_s, "").chopped(6);
};

class VXSmallDiskTest : public VXFullDiskTest, public testing::WithParamInterface<VXStoreType>
{
};
INSTANTIATE_TEST_SUITE_P(Stores, VXSmallDiskTest, testing::Values(VXStoreType::SQLite, VXStoreType::XML),
                         [](const auto &each) { return each.param == VXStoreType::XML ? "XML" : "SQLite"; });

TEST_P(VXSmallDiskTest, NothingIsLostWithoutRoom)
{
    // What is mounted in a name space of its own goes with the process.
    if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("tmpfs", folder.toUtf8().constData(), "tmpfs", 0, "size=1m") != 0)
        GTEST_SKIP() << "a disk of limited size cannot be mounted: " << std::strerror(errno);
    const auto unmount = qScopeGuard([this] { ::umount2(folder.toUtf8().constData(), MNT_DETACH); });
    QFile filler(folder + "/filler"_L1);
    ASSERT_TRUE(filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    const auto fill = [&] {
        while (filler.write(QByteArray(4096, 'x')) > 0)
            continue;
    };
    checkFailingSave(GetParam(), fill, [&] { filler.remove(); }, {Code::FileOutOfSpace});
}

// Of an XML store: an SQLite store keeps its files open and needs no permission any more. Root, whom permissions do not stop,
// becomes somebody else meanwhile.
TEST_F(VXFullDiskTest, NothingIsLostWithoutPermission)
{
    const bool isRoot = ::geteuid() == 0;
    ASSERT_EQ(::chmod(path().toUtf8().constData(), 0755), 0);
    const auto setWritable = [&](bool isWritable) {
        EXPECT_TRUE(!isRoot || !isWritable || ::seteuid(0) == 0);
        EXPECT_EQ(::chmod(folder.toUtf8().constData(), isWritable ? 0755 : 0555), 0);
        EXPECT_TRUE(!isRoot || isWritable || ::seteuid(65534) == 0);
    };
    checkFailingSave(
        VXStoreType::XML, [&] { setWritable(false); }, [&] { setWritable(true); }, {Code::FileWrite, Code::FileRead});
}
