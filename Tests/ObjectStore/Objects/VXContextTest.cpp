#include "VXContextTest.h"

#include "VXRowSaver.h"

#include <array>

using namespace Qt::StringLiterals;

namespace {

const QByteArray peopleSource = R"(
entity Named { attribute name: string; }
entity Person: Named (TestPerson) {
    attribute age: integer32 = 18 indexed;
    attribute height: double optional;
    attribute born: date optional;
    attribute photo: binary optional;
    attribute extra: property-list optional;
    attribute mood: string optional transient;
    relationship calls: Call[] optional inverse caller delete cascade;
    relationship phones: Phone[] optional inverse owner;
    relationship friends: Person[] optional inverse friends;
    relationship groups: Group[] optional inverse members;
    relationship passport: Passport optional inverse holder;
    fetch older = "age > $AGE";
}
entity Employee: Person { attribute salary: double optional; }
entity Phone: Named { relationship owner: Person optional inverse phones; }
entity Call: Named { relationship caller: Person inverse calls;
                     relationship notes: Note[] optional inverse call delete cascade; }
entity Note: Named { relationship call: Call optional inverse notes; }
entity Group: Named { relationship members: Person[] optional inverse groups delete deny; }
entity Passport: Named { relationship holder: Person optional inverse passport; }
)";

} // namespace

VXContextTest::VXContextTest()
    : coordinator(VXPersistentStoreCoordinator::coordinatorWithModel(VXModelOf(peopleSource))),
      store(coordinator->addPersistentStore(GetParam(), path(u"store"_s), {}, &error)), context(coordinator),
      other(coordinator)
{
    EXPECT_TRUE(store) << error.description().toStdString();
}

VXManagedObjectPtr VXContextTest::add(VXManagedObjectContext &context, const QString &entity, const QVariantMap &values)
{
    Object object = context.insertNewObject(entity);
    for (auto value = values.cbegin(); value != values.cend(); ++value)
        object->setValueForKey(*value, value.key());
    return object;
}

VXManagedObjectPtr VXContextTest::person(const QString &name, const QVariantMap &values)
{
    Object object = add(u"Person"_s, values);
    object->setValueForKey(name, u"name"_s);
    return object;
}

void VXContextTest::save(VXManagedObjectContext &saved)
{
    error = {};
    ASSERT_TRUE(saved.save(&error)) << error.description().toStdString();
}

VXFetchRequest VXContextTest::request(const QString &entityName, const QString &format, const QVariantList &arguments,
                                      const QStringList &sortKeys) const
{
    VXFetchRequest made(entity(entityName));
    VXError problem;
    const auto predicate = VXPredicate::predicateWithFormat(format, arguments, &problem);
    EXPECT_TRUE(predicate) << problem.description().toStdString();
    made.predicate = predicate.value_or(VXPredicate());
    for (const QString &key : sortKeys)
        made.sortDescriptors.append({key});
    return made;
}

QList<VXManagedObjectPtr> VXContextTest::fetch(VXManagedObjectContext &from, const VXFetchRequest &request)
{
    VXError problem;
    const auto found = from.executeFetchRequest(request, &problem);
    EXPECT_TRUE(found) << problem.description().toStdString();
    QList<Object> objects;
    if (found) {
        for (const Object &object : *found)
            objects.append(object);
    }
    return objects;
}

QString VXContextTest::names(const QList<Object> &objects)
{
    QStringList all;
    for (const Object &object : objects)
        all.append(object->valueForKey(u"name"_s).toString());
    return all.join(u' ');
}

QString VXContextTest::sortedNames(const QVariant &objects)
{
    QStringList all;
    for (const QVariant &object : objects.toList())
        all.append(object.value<Object>()->valueForKey(u"name"_s).toString());
    all.sort();
    return all.join(u' ');
}

std::string VXStoreTypeName(const testing::TestParamInfo<VXStoreType> &each)
{
    return std::array{"SQLite", "XML", "InMemory"}.at(size_t(each.param));
}
