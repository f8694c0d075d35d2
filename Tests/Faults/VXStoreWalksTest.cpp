#include "VXFailingCalls.h"
#include "VXPersistentStoreCoordinator.h"
#include "VXRowSaver.h"
#include "VXTesting.h"

#include <QtCore/QDir>

#include <string_view>

using namespace Qt::StringLiterals;

namespace {

using Coordinator = VXPersistentStoreCoordinator;

/** Walks over what changes stores. */
class VXStoreWalks : public VXHomeTest, public testing::WithParamInterface<VXStoreType>
{
protected:
    Coordinator::StorePtr open(const QString &name, const VXStoreOptions &options = {}) const
    {
        return Coordinator::coordinatorWithModel(model)->addPersistentStore(GetParam(), path(u"in/"_s + name), options);
    }

    static bool addItems(VXPersistentStore &store, int count)
    {
        VXRowSaver saver(store);
        for (int each = 0; each < count; ++each) {
            const std::optional<qint64> number = store.reserveNumbers(*item(store), 1, &saver.error);
            if (!number)
                return false;
            const auto row = std::make_shared<VXStoreRow>(int(item(store)->properties().size()), 1);
            row->value(item(store)->propertyForName(u"text"_s)->index()) = QString(300, QChar('a' + each % 26));
            saver.request.changes.append({{*item(store), store.identity(), *number}, row, nullptr});
        }
        saver.request.metadata = store.unsavedMetadata();
        return saver.saveAndCommit();
    }

    /** What another process finds: the texts; "none" when there is no store, and what is wrong with one that is damaged. */
    QVariant state(const QString &name) const
    {
        if (!QFile::exists(path(u"in/"_s + name)))
            return u"none"_s;
        const auto store = open(name, {.isReadOnly = true});
        if (!store)
            return u"it cannot be opened"_s;
        QStringList texts = store->check();
        for (const QVariant &text : VXFetchValues(*store, VXFetchRequest(*item(*store)), u"text"_s))
            texts.append(text.toString());
        return texts;
    }

    /** From a store "a" with so many items, or from none, to what another process finds in that of the name. */
    VXFailureWalk walkFrom(int count, const QString &name = u"a"_s) const
    {
        VXFailureWalk walk;
        walk.prepare = [this, count] {
            QDir(path(u"in"_s)).removeRecursively();
            QDir(path()).mkpath(u"in"_s);
            EXPECT_TRUE(count == 0 || addItems(*open(u"a"_s), count));
        };
        walk.state = [this, name] { return state(name); };
        return walk;
    }

    static const VXEntityDescription *item(const VXPersistentStore &store)
    {
        return store.model().entityForName(u"Item"_s);
    }

    const VXManagedObjectModel::Ptr model = VXModelOf("entity Item { attribute text: string optional; }");
};

INSTANTIATE_TEST_SUITE_P(Types, VXStoreWalks, testing::Values(VXStoreType::SQLite, VXStoreType::XML),
                         [](const auto &each) { return each.param == VXStoreType::XML ? "XML" : "SQLite"; });

TEST_P(VXStoreWalks, MakeAStore)
{
    VXFailureWalk walk = walkFrom(0);
    walk.operation = [&] { return open(u"a"_s) != nullptr; };
    walk.mayRefuseWhatIsDone = true; // the store is there, and could not be opened
    walk.run();
}

TEST_P(VXStoreWalks, SaveToAStore)
{
    VXFailureWalk walk = walkFrom(20);
    walk.operation = [&] {
        const auto store = open(u"a"_s);
        return store && addItems(*store, 30);
    };
    walk.run();
}

// Whatever SQLite does without memory: all is saved, the metadata whole, or nothing.
TEST_P(VXStoreWalks, SaveWithoutMemory)
{
    if (GetParam() != VXStoreType::SQLite)
        GTEST_SKIP() << "no other library takes memory for it";
    VXFailureWalk walk = walkFrom(3);
    walk.operation = [&] {
        const auto store = open(u"a"_s);
        if (!store)
            return false;
        store->setMetadata({{u"text"_s, u"set"_s}, {u"list"_s, QVariantList{1, 0.5, true, QByteArray("data")}}});
        return addItems(*store, 3);
    };
    walk.state = [&] {
        const auto store = open(u"a"_s, {.isReadOnly = true});
        const QVariantMap metadata = store ? store->metadata() : QVariantMap();
        return QVariantList{state(u"a"_s), metadata.value(u"text"_s), metadata.value(u"list"_s)};
    };
    walk.kinds = VXCallMalloc;
    walk.caller = "libsqlite3";
    walk.run();
}

TEST_P(VXStoreWalks, CopyAStore)
{
    VXFailureWalk walk = walkFrom(20, u"b"_s);
    walk.operation = [&] {
        const auto store = open(u"a"_s, {.isReadOnly = true});
        return store && store->copyTo(path(u"in/b"_s), nullptr);
    };
    walk.run();
}

} // namespace
