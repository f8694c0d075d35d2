#include "VXDesktopTesting.h"

#include "DesktopTestsPaths.h"
#include "VXApplication.h"
#include "VXBundle.h"
#include "VXContactWriter.h"
#include "VXDataManager.h"
#include "VXFramework.h"
#include "VXManagedObjectContext.h"
#include "VXMessageStore.h"
#include "VXPluginManager.h"
#include "VXSearchIndex.h"

using namespace Qt::StringLiterals;

VXDesktopTest::VXDesktopTest()
{
    VXBundle::setMainBundle(VXBundle::bundleWithPath(QStringLiteral(VORNIX_APPLICATION)));
    VXRegisterDefaultsOfBundle(*VXBundle::mainBundle());
    VXApplication::sharedApplication().setDidFinishLaunching(false);
    VXPluginManager::sharedPluginManager().startup();
    VXApplication::sharedApplication().setDidFinishLaunching(true);
}

VXDesktopTest::~VXDesktopTest()
{
    VXPluginManager::sharedPluginManager().shutdown();
}

QString VXDesktopTest::insertAll(const QString &store, const QString &entity, const QList<QVariantMap> &objects)
{
    const auto coordinator = VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(store);
    VXManagedObjectContext context(coordinator);
    VXManagedObjectPtr object;
    for (const QVariantMap &values : objects) {
        object = context.insertNewObject(entity);
        if (entity == VXMessageStore::entityName)
            object->setValueForKey(QVariant::fromValue(VXMessageStore(coordinator).folders(context)->constFirst()),
                                   u"folder"_s);
        for (const auto &[key, value] : values.asKeyValueRange())
            object->setValueForKey(value, key);
    }
    VXError error;
    EXPECT_TRUE(context.save(&error)) << error.description().toStdString();
    const QUrl uri = object->objectID().uriRepresentation();
    return VXFoundObject{.place = uri.host() + uri.path()}.url().toString();
}

void VXDesktopTest::add(const VXContactRecord &contact)
{
    VXManagedObjectContext context(VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(u"phonebook"_s));
    VXContactWriter(context).insert(contact);
    EXPECT_TRUE(context.save());
}

QStringList VXDesktopTest::namesOfContacts()
{
    const auto coordinator = VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(u"phonebook"_s);
    VXManagedObjectContext context(coordinator);
    const auto found = context.executeFetchRequest(VXFetchRequest(*coordinator->model().entityForName(u"VXPerson"_s)));
    QStringList names;
    for (const VXManagedObjectPtr &each : *found)
        names.append(VXContactRecord(QVariant::fromValue(each)).displayName());
    names.sort();
    return names;
}
