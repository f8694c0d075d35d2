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
    /** Without the places of contacts on phones. */
    static VXManagedObjectModel::Ptr firstModel()
    {
        QString source = QString::fromUtf8(readFile(QStringLiteral(VORNIX_PHONEBOOK_MODEL)));
        source.remove(QRegularExpression(u"    relationship places:[^\n]*\n"_s));
        source.remove(QRegularExpression(u"entity VXContactPlace \\{[^}]*\\}"_s));
        EXPECT_FALSE(source.contains("VXContactPlace"_L1));
        QList<VXModelProblem> problems;
        return VXManagedObjectModel::modelWithDefinition(VXParseModel(source.toUtf8(), &problems), nullptr);
    }
};

TEST_F(VXPhonebookUpgradeTest, ContactsOfTheFirstVersionAreTakenOver)
{
    const QString folder = VXDataManager::sharedDataFolderPath() + "/phonebook.vxdatastore"_L1;
    ASSERT_TRUE(QDir().mkpath(folder));
    ASSERT_TRUE(firstModel()->writeToFile(folder + "/phonebook.mom"_L1));
    {
        VXCoreDataStore made(folder, u"phonebook.sqlite"_s);
        made.usePlainObjects();
        const auto old = made.persistentStoreCoordinator();
        ASSERT_TRUE(old);
        old->persistentStores().constFirst()->setMetadata(
            {{VXStoreVersionKey, u"1"_s}, {VXStoreOwnerIdentifierKey, u"com.halvern.VNX2.plugin.phonebook"_s}});
        VXManagedObjectContext context(old);
        addPerson(context, {{u"firstName"_s, u"Jane"_s}, {u"numbers"_s, QStringList{u"+15550100/m"_s}}});
    }
    user->answerAlert(VXAlertButton::Default, false); // no backup
    start();
    ASSERT_TRUE(store) << log.lines().join(u'\n').toStdString();
    EXPECT_EQ(store->persistentStores().constFirst()->metadata().value(VXStoreVersionKey), u"2"_s);
    VXManagedObjectContext context(store);
    const auto persons = context.executeFetchRequest(VXFetchRequest(*store->model().entityForName(u"VXPerson"_s)));
    ASSERT_TRUE(persons && persons->size() == 1);
    const VXContactRecord jane(QVariant::fromValue(persons->first()));
    EXPECT_EQ(jane.displayName(), u"Jane"_s);
    EXPECT_EQ(jane.numbers.value(0).value, u"+15550100"_s);
    EXPECT_EQ(persons->first()->relatedCount(persons->first()->entity().propertyForName(u"places"_s)->index()), 0);
}
