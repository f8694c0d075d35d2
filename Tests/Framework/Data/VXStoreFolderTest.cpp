#include "VXStoreFolderTest.h"

#include "VXModelParser.h"

#include <QtCore/QDir>
#include <QtCore/QRegularExpression>

using namespace Qt::StringLiterals;

VXManagedObjectModel::Ptr VXStoreFolderTest::modelOf(const QByteArray &source)
{
    QList<VXModelProblem> problems;
    const auto model = VXManagedObjectModel::modelWithDefinition(VXParseModel(source, &problems));
    EXPECT_TRUE(problems.isEmpty() && model);
    return model;
}

VXManagedObjectModel::Ptr VXStoreFolderTest::peopleModel()
{
    return modelOf(R"(entity Person {
        attribute name: string;
        attribute age: integer32 optional;
        attribute tags: property-list optional;
        relationship boss: Person optional inverse staff;
        relationship staff: Person[] optional inverse boss;
    })");
}

QString VXStoreFolderTest::makeFolder(const QString &modelName) const
{
    const QString folder = path(u"Test.vxdatastore"_s);
    EXPECT_TRUE(QDir().mkpath(folder) && peopleModel()->writeToFile(folder + u'/' + modelName));
    return folder;
}

void VXStoreFolderTest::makeDataFile(const QString &folder, const QString &name, const QVariantMap &metadata)
{
    const auto coordinator = VXPersistentStoreCoordinator::coordinatorWithModel(peopleModel());
    const VXStoreType type = name.endsWith(u".xml"_s) ? VXStoreType::XML : VXStoreType::SQLite;
    const auto store = coordinator->addPersistentStore(type, folder + u'/' + name);
    ASSERT_TRUE(store);
    store->setMetadata(metadata);
    VXManagedObjectContext context(coordinator);
    addPerson(context, name);
    EXPECT_TRUE(context.save());
}

VXManagedObjectPtr VXStoreFolderTest::addPerson(VXManagedObjectContext &context, const QString &name)
{
    VXManagedObjectPtr person = context.insertNewObject(u"Person"_s);
    person->setValueForKey(name, u"name"_s);
    return person;
}

qsizetype VXStoreFolderTest::personCount(const VXPersistentStoreCoordinator::Ptr &coordinator)
{
    VXManagedObjectContext context(coordinator);
    return context.countForFetchRequest(VXFetchRequest(*coordinator->model().entityForName(u"Person"_s))).value_or(-1);
}

QStringList VXStoreFolderTest::takeLog()
{
    static const QRegularExpression prefix(u"^.*\\] (?=<)|0x[0-9a-f]{8} "_s);
    QStringList lines = _log->lines();
    lines.replaceInStrings(prefix, QString());
    _log.reset(); // one at a time
    _log = std::make_unique<VXLogRecorder>();
    return lines;
}
