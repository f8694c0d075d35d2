#include "VXFaultTest.h"

#include "VXModelPrinter.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <array>
#include <random>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// Bytes changed, a piece cut out, doubled or filled with one byte, or the end missing.
QByteArray damaged(const QByteArray &good, unsigned seed)
{
    std::mt19937 random(seed);
    QByteArray bytes = good;
    const auto place = [&] { return qsizetype(random() % size_t(bytes.size())); };
    const unsigned kind = random() % 8;
    if (kind < 4) {
        for (unsigned count = 1 + random() % 4; count > 0; --count)
            bytes[place()] = char(random());
    } else if (kind == 4) {
        bytes.truncate(place());
    } else {
        const qsizetype at = place();
        const QByteArray piece = bytes.mid(at, qsizetype(1 + random() % 4096));
        if (kind == 5)
            bytes.remove(at, piece.size());
        else
            bytes.replace(at, kind == 6 ? piece.size() : 0,
                          kind == 6 ? QByteArray(piece.size(), char(random())) : piece);
    }
    return bytes;
}

} // namespace

/** Files with damage anywhere: an error or a result, never a crash, and a file that is refused stays as it is. */
class VXDamagedFileTest : public VXFaultTest
{
protected:
    static constexpr int perProcess = 50;

    /** Tries that many forms of damage, a few in each process; each try gets the path of the damaged file. */
    void damage(const QByteArray &good, const std::function<void(const QString &file)> &attempt)
    {
        const int begin = configured("VORNIX_FAULT_FIRST_MUTATION", 1);
        const int end = begin + configured("VORNIX_FAULT_MUTATIONS", 300);
        for (int first = begin; first < end; first += perProcess) {
            std::array<int, 2> pipe = {};
            ASSERT_EQ(::pipe(pipe.data()), 0);
            const pid_t process = start([&] {
                const VXDiagnosticRecorder quiet; // many objects cannot be read
                for (int seed = first; seed < std::min(first + perProcess, end) && !HasFailure(); ++seed) {
                    ASSERT_EQ(::write(pipe[1], &seed, sizeof(seed)), ssize_t(sizeof(seed)));
                    ::alarm(60); // ends a process that hangs
                    tryDamage(damaged(good, unsigned(seed)), attempt);
                }
            });
            ::close(pipe[1]);
            int seed = 0;
            while (::read(pipe[0], &seed, sizeof(seed)) > 0)
                continue;
            ::close(pipe[0]);
            ASSERT_EQ(outcomeOf(process), 0) << "with damage number " << seed;
        }
    }

    void damageStore(VXStoreType type)
    {
        {
            const Opened opened = open(type, path(u"good"_s));
            addItems(opened, 40);
        }
        damage(readFile(path(u"good"_s)), [&](const QString &file) {
            const QByteArray before = readFile(file);
            read(type, file);
            EXPECT_EQ(readFile(file), before) << "reading alone changes nothing";
            if (open(type, file).store)
                write(type, file);
            else
                EXPECT_EQ(readFile(file), before) << "what is refused is left alone";
        });
    }

private:
    void tryDamage(const QByteArray &bytes, const std::function<void(const QString &file)> &attempt)
    {
        const QString folder = fastFolder();
        QFile file(folder + "/file"_L1);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
        file.close();
        attempt(file.fileName());
    }

    void read(VXStoreType type, const QString &file) const
    {
        const Opened opened = open(type, file, {.isReadOnly = true});
        EXPECT_NE(bool(opened.store), bool(opened.error));
        EXPECT_EQ(opened.error.filePath(), opened.store ? QString() : file);
        if (!opened.store) {
            EXPECT_EQ(QFileInfo(file).dir().entryList(QDir::Files).size(), 1);
            return;
        }
        for (const VXEntityDescription *const entity : model->entities()) {
            VXError error;
            const auto found = opened.context->executeFetchRequest(VXFetchRequest(*entity), &error);
            EXPECT_NE(found.has_value(), bool(error));
            EXPECT_EQ(error.filePath(), found ? QString() : file);
            for (qsizetype place = 0; found && place < found->size(); ++place) {
                for (const VXPropertyDescription *const property : entity->properties())
                    found->at(place)->valueForKey(property->name());
            }
        }
        opened.store->check();
    }

    void write(VXStoreType type, const QString &file) const
    {
        const Opened opened = open(type, file);
        const Object item = opened.context->insertNewObject(u"Item"_s);
        item->setValueForKey(1, u"number"_s);
        VXError error;
        const auto found = opened.context->executeFetchRequest(VXFetchRequest(opened.entity(u"Item"_s)), &error);
        if (found && found->size() > 1) {
            item->setValueForKey(QVariant::fromValue(found->at(0)), u"parent"_s);
            opened.context->deleteObject(found->at(1));
        }
        error = {};
        const bool isSaved = opened.context->save(&error);
        EXPECT_NE(isSaved, bool(error));
    }
};

TEST_F(VXDamagedFileTest, SQLiteStores)
{
    damageStore(VXStoreType::SQLite);
}

TEST_F(VXDamagedFileTest, XMLStores)
{
    damageStore(VXStoreType::XML);
}

TEST_F(VXDamagedFileTest, CompiledModels)
{
    ASSERT_TRUE(model->writeToFile(path(u"good.mom"_s)));
    damage(readFile(path(u"good.mom"_s)), [](const QString &file) {
        VXError error;
        const auto read = VXManagedObjectModel::modelWithContentsOfFile(file, &error);
        EXPECT_NE(bool(read), bool(error));
        EXPECT_EQ(error.filePath(), read ? QString() : file);
        if (!read)
            return;
        EXPECT_EQ(VXCheckModel(read->definition()).size(), 0);
        EXPECT_FALSE(VXModelSource(read->definition()).isEmpty());
        const auto coordinator = VXPersistentStoreCoordinator::coordinatorWithModel(read);
        EXPECT_TRUE(coordinator->addPersistentStore(VXStoreType::InMemory, {}));
    });
}
