#include "VXPersistentStoreCoordinator.h"
#include "VXRowSaver.h"
#include "VXTesting.h"

#include <QtCore/QFile>

using namespace Qt::StringLiterals;

namespace {

using Coordinator = VXPersistentStoreCoordinator;
using Code = VXObjectStoreErrorCode;

const QByteArray treeSource = R"(
abstract entity Root {}
entity Node: Root {
    attribute name: string optional;
    relationship parent: Node optional inverse children;
    relationship children: Node[] optional inverse parent;
    relationship peers: Node[] optional inverse peers;
}
)";

} // namespace

class VXPersistentStoreCoordinatorTest : public VXHomeTest
{
protected:
    Coordinator::StorePtr add(VXStoreType type, const QString &name = {})
    {
        error = {};
        return coordinator->addPersistentStore(type, name.isNull() ? name : path(name), {}, &error);
    }

    static QVariantList names(VXPersistentStore &store)
    {
        return VXFetchValues(store, VXFetchRequest(*store.model().entityForName(u"Node"_s)), u"name"_s);
    }

    const Coordinator::Ptr coordinator = Coordinator::coordinatorWithModel(VXModelOf(treeSource));
    VXError error;
};

TEST_F(VXPersistentStoreCoordinatorTest, StoresAreFoundWhileTheyAreAttached)
{
    EXPECT_FALSE(Coordinator::coordinatorWithModel(nullptr));
    const auto memory = add(VXStoreType::InMemory);
    const auto xml = add(VXStoreType::XML, u"a.xml"_s);
    ASSERT_TRUE(memory && xml) << error.description().toStdString();
    EXPECT_EQ(coordinator->persistentStores(), (QList<Coordinator::StorePtr>{memory, xml}));
    QFile::link(path(u"a.xml"_s), path(u"link.xml"_s));
    EXPECT_EQ(coordinator->persistentStoreForPath(path(u"link.xml"_s)), xml);
    EXPECT_EQ(coordinator->persistentStoreForPath(path(u"b.xml"_s)), nullptr);
    EXPECT_EQ(coordinator->persistentStoreForIdentity(memory->identity()), memory);

    QFile::copy(path(u"a.xml"_s), path(u"copy.xml"_s));
    for (const QString &twin : {u"link.xml"_s, u"copy.xml"_s}) {
        EXPECT_FALSE(add(VXStoreType::XML, twin));
        EXPECT_EQ(error.code(), int(Code::InvalidStore));
    }
    EXPECT_FALSE(add(VXStoreType::XML));
    EXPECT_EQ(error.code(), int(Code::IncompatibleStoreType));
    EXPECT_FALSE(add(VXStoreType::XML, u"no folder/a.xml"_s));
    EXPECT_EQ(error.filePath(), path(u"no folder/a.xml"_s));

    EXPECT_TRUE(coordinator->removePersistentStore(xml, &error));
    EXPECT_FALSE(coordinator->removePersistentStore(xml, &error));
    EXPECT_EQ(coordinator->persistentStoreForIdentity(xml->identity()), nullptr);
    EXPECT_TRUE(add(VXStoreType::XML, u"copy.xml"_s)) << error.description().toStdString();
}

TEST_F(VXPersistentStoreCoordinatorTest, URIsLeadBackToObjects)
{
    const auto store = add(VXStoreType::InMemory);
    const VXManagedObjectID objectID(*coordinator->model().entityForName(u"Node"_s), store->identity(), 3);
    const QString uri = objectID.uriRepresentation().toString();
    EXPECT_EQ(coordinator->objectIDForURIRepresentation(QUrl(uri)), objectID);
    EXPECT_EQ(coordinator->objectIDForURIRepresentation(QUrl(uri.toUpper().replace("/NODE/P"_L1, "/Node/p"_L1))),
              objectID);
    for (const QString &wrong :
         {u"x-coredata:///Node/t3"_s, u"x-coredata://0f5a9c2e-1b3d-4e6f-8a7b-9c0d1e2f3a4b/Node/p3"_s,
          QString(uri).replace("Node"_L1, "Leaf"_L1), QString(uri).replace("Node"_L1, "Root"_L1),
          QString(uri).replace("p3"_L1, "p0"_L1), QString(uri).replace("p3"_L1, "3"_L1), uri + u"/x"_s,
          QString(uri).replace("x-coredata"_L1, "http"_L1), QString()})
        EXPECT_TRUE(coordinator->objectIDForURIRepresentation(QUrl(wrong)).isNull()) << wrong.toStdString();
}

TEST_F(VXPersistentStoreCoordinatorTest, MetadataIsKeptButItsOwnPart)
{
    const auto store = add(VXStoreType::XML, u"a.xml"_s);
    const QVariantMap initial = store->metadata();
    EXPECT_EQ(initial.value(VXStoreTypeKey), u"XML"_s);
    EXPECT_EQ(initial.value(VXStoreModelVersionHashesKey).toMap().keys(), (QStringList{u"Node"_s, u"Root"_s}));
    EXPECT_FALSE(store->unsavedMetadata());
    store->setMetadata({{VXStoreUUIDKey, u"x"_s}, {u"owner"_s, u"me"_s}});
    QVariantMap expected = initial;
    expected.insert(u"owner"_s, u"me"_s);
    EXPECT_EQ(store->metadata(), expected);
    EXPECT_EQ(store->unsavedMetadata(), (QVariantMap{{u"owner"_s, u"me"_s}}));
    EXPECT_EQ(Coordinator::metadataForPersistentStore(VXStoreType::XML, path(u"a.xml"_s)), initial); // not saved yet
    for (const VXStoreType type : {VXStoreType::XML, VXStoreType::InMemory, VXStoreType::SQLite}) {
        error = {};
        EXPECT_TRUE(Coordinator::metadataForPersistentStore(type, path(u"none"_s), &error).isEmpty());
        EXPECT_TRUE(error);
    }
}

TEST_F(VXPersistentStoreCoordinatorTest, ASaveReachesAllStoresOrNone)
{
    const auto first = add(VXStoreType::InMemory);
    const auto second = add(VXStoreType::XML, u"a.xml"_s);
    VXRowSaver saver(*first);
    VXRowSaver secondSaver(*second);
    const VXManagedObjectID a = saver.add(u"Node"_s, {{u"name"_s, u"a"_s}});
    const VXManagedObjectID b = secondSaver.add(u"Node"_s, {{u"name"_s, u"b"_s}});
    QSet<const VXStoreIdentity *> saved;
    const auto save = [&](QList<VXRowConflict> *conflicts) {
        return coordinator->save({{&first->identity(), saver.request}, {&second->identity(), secondSaver.request}},
                                 conflicts, &saved, &error);
    };
    QList<VXRowConflict> conflicts;
    ASSERT_TRUE(save(&conflicts)) << error.description().toStdString();

    for (VXRowSaver *const each : {&saver, &secondSaver})
        each->request = {};
    saver.change(a, {{u"name"_s, u"a2"_s}});
    secondSaver.change(b, {{u"name"_s, u"b2"_s}});
    const VXSaveRequest stale[] = {saver.request, secondSaver.request};
    ASSERT_TRUE(secondSaver.saveAndCommit());
    secondSaver.request = stale[1];
    EXPECT_FALSE(save(&conflicts));
    EXPECT_EQ(error.code(), int(Code::MergeConflict));
    ASSERT_EQ(conflicts.size(), 1);
    EXPECT_EQ(conflicts.front().objectID, b);
    EXPECT_EQ(names(*first), QVariantList{u"a"_s});

    saver.change(a, {}); // based on what it holds, so that only the other one's failure is left
    ASSERT_TRUE(saver.saveAndCommit());
    saver.request = stale[0];
    conflicts.clear();
    EXPECT_FALSE(save(&conflicts));
    EXPECT_EQ(conflicts.size(), 2);

    saver.request = {};
    saver.change(a, {{u"name"_s, u"a3"_s}});
    saver.link(a, u"peers"_s, {b});
    EXPECT_FALSE(coordinator->save({{&first->identity(), saver.request}}, &conflicts, &saved, &error));
    EXPECT_EQ(error.code(), int(Code::ReferentialIntegrity));
    saver.request = {};
    saver.change(a, {{u"parent"_s, QVariant::fromValue(b)}});
    EXPECT_FALSE(coordinator->save({{&first->identity(), saver.request}}, &conflicts, &saved, &error));
    EXPECT_EQ(error.code(), int(Code::ReferentialIntegrity));
    EXPECT_TRUE(coordinator->removePersistentStore(first));
    EXPECT_FALSE(coordinator->save({{&first->identity(), {}}}, &conflicts, &saved, &error));
    EXPECT_EQ(error.code(), int(Code::InvalidStore));
}
