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
