#include "VXFailingCalls.h"
#include "VXFaultTest.h"

#include <QtCore/QDir>

using namespace Qt::StringLiterals;

/** Saves of one store, with every writing call of them failing in turn. */
class VXFailingCallTest : public VXFaultTest, public testing::WithParamInterface<VXStoreType>
{
protected:
    /** What another process finds: the numbers of the objects, and what is wrong. */
    QVariant contents(const QString &file) const
    {
        const Opened opened = open(GetParam(), file);
        if (!opened.store)
            return opened.error.description();
        QVariantList numbers;
        for (const Object &item : opened.fetch(u"Item"_s))
            numbers.append(item->valueForKey(u"number"_s));
        return QVariantList{numbers, opened.store->check()};
    }
    void copyFiles(const QString &from, const QString &to) const
    {
        QDir(to).removeRecursively();
        QDir().mkpath(to);
        for (const QString &name : QDir(from).entryList(QDir::Files))
            ASSERT_TRUE(QFile::copy(from + u'/' + name, to + u'/' + name));
    }
};
INSTANTIATE_TEST_SUITE_P(Stores, VXFailingCallTest, testing::Values(VXStoreType::SQLite, VXStoreType::XML),
                         [](const auto &each) { return each.param == VXStoreType::XML ? "XML" : "SQLite"; });

TEST_P(VXFailingCallTest, ASaveHappensOrNot)
{
    const QString folder = fastFolder();
    QDir().mkpath(folder + u"/old"_s);
    addItems(open(GetParam(), folder + u"/old/store"_s), 5);
    const QString file = folder + u"/used/store"_s;
    VXError error;
    VXFailureWalk walk;
    walk.prepare = [&] { copyFiles(folder + u"/old"_s, folder + u"/used"_s); };
    walk.operation = [&] {
        const Opened opened = open(GetParam(), file);
        if (!opened.store)
            return false;
        for (int number = 100; number < 110; ++number)
            opened.context->insertNewObject(u"Item"_s)->setValueForKey(number, u"number"_s);
        return opened.context->save(&error);
    };
    walk.isUnknown = [&] { return error.code() == int(VXObjectStoreErrorCode::SaveUnknown); };
    walk.state = [&] { return contents(file); };
    walk.run();
}

class VXSecuredLaterTest : public VXFaultTest
{
};

TEST_F(VXSecuredLaterTest, OnlyASaveThatIsSecuredWaitsForTheDisk)
{
    const Opened opened = open(VXStoreType::SQLite, path(u"store"_s));
    VXCallCounts counts = {};
    const VXCallFailure none;
    const VXCallFailure counting{.kinds = VXCallSync};
    VXFailCalls(&counting, &counts);
    const auto syncsOf = [&](const std::function<bool()> &work) {
        const unsigned long before = counts.counted;
        EXPECT_TRUE(work());
        return counts.counted - before;
    };
    const auto save = [&] {
        opened.context->insertNewObject(u"Item"_s)->setValueForKey(1, u"number"_s);
        return opened.context->save();
    };
    EXPECT_GT(syncsOf(save), 0);
    for (const auto &secure : {std::function<bool()>(save), {[&] { return opened.coordinator->secureSaves(); }}}) {
        opened.context->setSecuresLater(true);
        for (int count = 0; count < 10; ++count)
            EXPECT_EQ(syncsOf(save), 0);
        opened.context->setSecuresLater(false);
        EXPECT_GT(syncsOf(secure), 0);
    }
    VXFailCalls(&none, &counts);
    EXPECT_TRUE(opened.coordinator->removePersistentStore(opened.store));
    EXPECT_FALSE(QFile::exists(path(u"store-wal"_s))) << "all was merged into the file";
    EXPECT_EQ(open(VXStoreType::SQLite, path(u"store"_s)).fetch(u"Item"_s).size(), 22);
}
