#include "VXManagedObjectID.h"
#include "VXRowSaver.h"
#include "VXTesting.h"

#include <QtCore/QSet>

#include <thread>

using namespace Qt::StringLiterals;

namespace {

const QString identifier = u"0F5A9C2E-1B3D-4E6F-8A7B-9C0D1E2F3A4B"_s;

} // namespace

TEST(VXManagedObjectIDTest, AnObjectIsTheSameByEveryEntityOfItsFamily)
{
    const auto model = VXModelOf("entity A {} entity B: A {} entity C {}");
    const VXEntityDescription &a = *model->entityForName(u"A"_s);
    const VXEntityDescription &b = *model->entityForName(u"B"_s);
    const VXEntityDescription &c = *model->entityForName(u"C"_s);
    const VXStoreIdentity &store = VXStoreIdentity::withIdentifier(identifier);
    EXPECT_EQ(&store, &VXStoreIdentity::withIdentifier(identifier.toLower()));
    const VXManagedObjectID objectID(a, store, 7);
    EXPECT_EQ(objectID, VXManagedObjectID(b, store, 7));
    EXPECT_EQ(qHash(objectID, 3), qHash(VXManagedObjectID(b, store, 7), 3));
    EXPECT_NE(objectID, VXManagedObjectID(c, store, 7));
    EXPECT_NE(objectID, VXManagedObjectID(a, store, 8));
    EXPECT_NE(objectID, VXManagedObjectID(a, VXStoreIdentity::withIdentifier(u"other"_s), 7));
    EXPECT_NE(objectID, VXManagedObjectID());
    EXPECT_EQ(VXManagedObjectID(), VXManagedObjectID());
}

TEST(VXManagedObjectIDTest, URIsTellStoreEntityAndNumber)
{
    const auto model = VXModelOf("entity A {}");
    const VXEntityDescription &a = *model->entityForName(u"A"_s);
    const VXManagedObjectID objectID(a, VXStoreIdentity::withIdentifier(identifier), 12);
    EXPECT_EQ(objectID.uriRepresentation().toString(), u"x-coredata://%1/A/p12"_s.arg(identifier.toLower()));
    const VXManagedObjectID temporary = VXManagedObjectID::temporary(a);
    EXPECT_TRUE(temporary.isTemporary());
    EXPECT_EQ(temporary.uriRepresentation().toString(), u"x-coredata:///A/t%1"_s.arg(temporary.number()));
    EXPECT_FALSE(objectID.isTemporary());
    EXPECT_FALSE(VXManagedObjectID().isTemporary());
    EXPECT_TRUE(VXManagedObjectID().uriRepresentation().isEmpty());
}

TEST(VXManagedObjectIDTest, TemporaryOnesAreUniqueOverThreads)
{
    const auto model = VXModelOf("entity A {}");
    QList<VXManagedObjectID> made[2];
    const auto make = [&](QList<VXManagedObjectID> *list) {
        for (int count = 0; count < 1000; ++count)
            list->append(VXManagedObjectID::temporary(*model->entities().front()));
    };
    std::thread thread(make, &made[0]);
    make(&made[1]);
    thread.join();
    made[0] += made[1];
    EXPECT_EQ(QSet<VXManagedObjectID>(made[0].cbegin(), made[0].cend()).size(), 2000);
}
