#include "VXContactLookup.h"
#include "VXContactRecord.h"
#include "VXCoreDataStore.h"
#include "VXManagedObjectModel.h"
#include "VXModelParser.h"
#include "VXPhonebookTest.h"

#include <QtCore/QRegularExpression>

using namespace Qt::StringLiterals;

/** The store of an older version. */
class VXPhonebookUpgradeTest : public VXPhonebookTest
{
protected:
    /** The first has no places of contacts on phones, the second does not tell phones apart, the third's groups have no class. */
    static VXManagedObjectModel::Ptr oldModel(int version)
    {
        QString source = QString::fromUtf8(readFile(QStringLiteral(VORNIX_PHONEBOOK_MODEL)));
        source.remove(u" (VXGroup)"_s);
        if (version < 3)
            source.remove(QRegularExpression(u"    attribute (phone|refused):[^\n]*\n"_s));
        if (version == 1) {
            source.remove(QRegularExpression(u"    relationship places:[^\n]*\n"_s));
            source.remove(QRegularExpression(u"entity VXContactPlace \\{[^}]*\\}"_s));
        }
        EXPECT_EQ(source.contains("VXContactPlace"_L1), version > 1);
        EXPECT_EQ(source.contains("refused"_L1), version > 2);
        QList<VXModelProblem> problems;
        return VXManagedObjectModel::modelWithDefinition(VXParseModel(source.toUtf8(), &problems), nullptr);
    }
};

class VXPhonebookVersionsTest : public VXPhonebookUpgradeTest, public testing::WithParamInterface<int>
{
};

INSTANTIATE_TEST_SUITE_P(All, VXPhonebookVersionsTest, testing::Values(1, 2, 3));

TEST_P(VXPhonebookVersionsTest, ContactsAreTakenOver)
{
    const QString folder = VXDataManager::sharedDataFolderPath() + "/phonebook.vxdatastore"_L1;
    ASSERT_TRUE(QDir().mkpath(folder));
    ASSERT_TRUE(oldModel(GetParam())->writeToFile(folder + "/phonebook.mom"_L1));
    {
        VXCoreDataStore made(folder, u"phonebook.sqlite"_s);
        made.usePlainObjects();
        const auto old = made.persistentStoreCoordinator();
        ASSERT_TRUE(old);
        old->persistentStores().constFirst()->setMetadata(
            {{VXStoreVersionKey, QString::number(GetParam())},
             {VXStoreOwnerIdentifierKey, u"com.halvern.VNX2.plugin.phonebook"_s}});
        VXManagedObjectContext context(old);
        const VXManagedObjectPtr jane =
            addPerson(context, {{u"firstName"_s, u"Jane"_s}, {u"numbers"_s, QStringList{u"+12125550100 x5/m"_s}}});
        if (GetParam() > 1) {
            const VXManagedObjectPtr place = context.insertNewObject(u"VXContactPlace"_s);
            set(place, {{u"device_url"_s, u"vxdevice://localhost/phones/mine"_s},
                        {u"here"_s, QVariantMap{{u"name"_s, u"Jane"_s}}},
                        {u"there"_s, QVariantMap()},
                        {u"person"_s, QVariant::fromValue(jane)}});
            ASSERT_TRUE(context.save());
        }
    }
    user->answerAlert(VXAlertButton::Default, false); // no backup
    start();
    ASSERT_TRUE(store) << log.lines().join(u'\n').toStdString();
    EXPECT_EQ(store->persistentStores().constFirst()->metadata().value(VXStoreVersionKey), u"4"_s);
    EXPECT_EQ(store->model().entityForName(u"VXGroup"_s)->managedObjectClassName(), u"VXGroup"_s);
    VXManagedObjectContext context(store);
    const auto persons = context.executeFetchRequest(VXFetchRequest(*store->model().entityForName(u"VXPerson"_s)));
    ASSERT_TRUE(persons && persons->size() == 1);
    const VXContactRecord jane(QVariant::fromValue(persons->first()));
    EXPECT_EQ(jane.displayName(), u"Jane"_s);
    EXPECT_EQ(jane.numbers.value(0).value, u"+12125550100 x5"_s);
    EXPECT_FALSE(VXContactLookup(context).forPhoneNumber(u"2125550100"_s, 0, {}).isEmpty()); // made anew
    const auto places =
        persons->first()->relatedObjects(persons->first()->entity().propertyForName(u"places"_s)->index());
    ASSERT_EQ(places.size(), GetParam() > 1 ? 1 : 0);
    for (const VXManagedObjectPtr &place : places)
        EXPECT_EQ(place->valueForKey(u"here"_s).toMap().value(u"name"_s), u"Jane"_s);
}
