#include "VXFailingCalls.h"
#include "VXUpgradeTesting.h"

#include <QtCore/QFileInfo>

#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

/** Walks over upgrading, importing, replacing, taking back and exporting the store of a data plugin. */
class VXStoreTransferWalks : public VXUpgradeHomeTest
{
protected:
    void startAnew() const
    {
        QDir(path(u".local"_s)).removeRecursively();
        QDir(path(u"out"_s)).removeRecursively();
        QDir(path()).mkpath(u"out"_s);
    }
    // A store that needs no upgrade.
    void writePresentStore(int count, const QString &migration = {}) const
    {
        writeOldStore(live, count, u"1.2"_s, u"org.example.notes"_s, newSource());
        writeNotesPlugin(migration, {{u"FixtureDescription"_s, u"Notes"_s}});
    }
    void start() const
    {
        user->answerAlert(VXAlertButton::Default, false); // to an upgrade, if there is one
        manager().startup();
    }
    bool isOpen() const { return notesPlugin().persistentStoreCoordinator() != nullptr; }

    // The next start, in a process of its own, settles what was cut short. What the store then has.
    QString contentsAfterStart() const
    {
        const QString answer = path(u"answer"_s);
        QFile::remove(answer);
        const pid_t child = ::fork();
        if (child == 0) {
            start();
            const auto store = notesPlugin().persistentStoreCoordinator();
            QFile written(answer);
            const bool isWritten = written.open(QIODevice::WriteOnly) &&
                                   written.write((store ? contentsOfStore(store) : u"?"_s).toUtf8()) >= 0;
            written.close();
            ::_exit(isWritten ? 0 : 1);
        }
        EXPECT_EQ(::waitpid(child, nullptr, 0), child);
        return QString::fromUtf8(readFile(answer));
    }
    static QString versionOf(const QString &folder)
    {
        return VXPersistentStoreCoordinator::metadataForPersistentStore(VXStoreType::SQLite,
                                                                        folder + "/notes.sqlite"_L1)
            .value(VXStoreVersionKey)
            .toString();
    }
    /** From a present store with so many notes; what another start finds is its state. */
    VXFailureWalk walkFrom(int count, const QString &migration = {}) const
    {
        VXFailureWalk walk;
        walk.prepare = [this, count, migration] {
            startAnew();
            writePresentStore(count, migration);
        };
        walk.state = [this] { return contentsAfterStart(); };
        walk.usualRounds = 8; // each starts all plugins
        return walk;
    }
    QVariant contentsOfExport() const { return QStringList{contentsOfStore(out), contentsOfStore(live)}; }

    const QString live = data(u"notes.vxdatastore"_s);
    const QString file = path(u"others.vxdatastore"_s);
    const QString out = path(u"out/notes.vxdatastore"_s);
};

/** Those of which a copy is made, which may be one of rows. */
class VXStoreCopyWalks : public VXStoreTransferWalks, public testing::WithParamInterface<bool>
{
protected:
    QString migration() const { return GetParam() ? u"rows"_s : QString(); }
    // No hook was called where the rows were to be copied.
    bool isCopiedAsTold() const { return notesPlugin().property("version").isValid() != GetParam(); }
};

TEST_P(VXStoreCopyWalks, Upgrade)
{
    VXFailureWalk upgrade = walkFrom(0);
    upgrade.prepare = [&] {
        startAnew();
        writeOldStore(live, 20);
        writeNotesPlugin(migration());
    };
    upgrade.operation = [&] {
        start();
        return isOpen() && isCopiedAsTold();
    };
    upgrade.state = [&] {
        const QString found = QFileInfo::exists(live) ? live : live + ".upgrading"_L1;
        const QString version = versionOf(found);
        return QStringList{version, contentsAfterStart()}; // the same contents whatever version lay there
    };
    upgrade.mayRefuseWhatIsDone = true; // the new store is there, and cannot be opened on a full disk
    upgrade.run();
}

TEST_P(VXStoreCopyWalks, ValidatedExport)
{
    VXFailureWalk exports = walkFrom(20, migration());
    exports.operation = [&] {
        manager().startup();
        return isOpen() && !notesPlugin().exportStoreTo(out, true) && isCopiedAsTold();
    };
    exports.state = [&] { return contentsOfExport(); };
    exports.mayRefuseWhatIsDone = true;
    exports.run();
}

INSTANTIATE_TEST_SUITE_P(, VXStoreCopyWalks, testing::Values(false, true),
                         [](const auto &each) { return each.param ? "OfRows" : "OfObjects"; });

TEST_F(VXStoreTransferWalks, Merge)
{
    writeOldStore(file, 5);
    VXFailureWalk merge = walkFrom(3);
    merge.operation = [&] {
        manager().startup();
        user->answerAlert(VXAlertButton::Default);
        return isOpen() && notesPlugin().importStoreAtPath(file);
    };
    merge.isUnknown = [&] { return true; }; // a commit that the disk failed may come to light
    merge.run();
}

TEST_F(VXStoreTransferWalks, Replace)
{
    writeOldStore(file, 5, u"1.2"_s, u"org.example.notes"_s, newSource());
    VXFailureWalk replace = walkFrom(3);
    replace.operation = [&] {
        VXApplication::sharedApplication().setDidFinishLaunching(false);
        manager().startup();
        user->answerAlert(VXAlertButton::Other);
        return isOpen() && notesPlugin().importStoreAtPath(file);
    };
    replace.mayRefuseWhatIsDone = true; // it is there, and its folder could not be brought to the disk
    replace.run();
}

TEST_F(VXStoreTransferWalks, TakeBack)
{
    writeOldStore(file, 5, u"1.2"_s, u"org.example.notes"_s, newSource());
    VXFailureWalk takeBack = walkFrom(3);
    takeBack.operation = [&] {
        VXDataPlugin::holdBackStore(u"notes"_s);
        manager().startup();
        bool isWaiting = false;
        const bool isDone = !notesPlugin().takeBack(file, &isWaiting) && !isWaiting;
        EXPECT_TRUE(isDone || !QFileInfo::exists(live) || !QFileInfo::exists(notesPlugin().waitingPath()));
        return isDone;
    };
    takeBack.mayRefuseWhatIsDone = true; // what waits is put in place by the next start
    takeBack.run();
}

TEST_F(VXStoreTransferWalks, Export)
{
    VXFailureWalk exports = walkFrom(20);
    exports.operation = [&] {
        manager().startup();
        return isOpen() && !notesPlugin().exportStoreTo(out, false);
    };
    exports.state = [&] { return contentsOfExport(); };
    exports.mayRefuseWhatIsDone = true;
    exports.run();
}

} // namespace
