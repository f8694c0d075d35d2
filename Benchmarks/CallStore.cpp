#include "CallStore.h"

#include "BenchmarkModels.h"

#include <vector>

using namespace Qt::StringLiterals;

namespace {

const QByteArray relationships = R"(
    relationship caller: Person optional inverse calls;
    relationship folder: Folder optional inverse calls;
}
entity Person {
    attribute name: string optional;
    relationship calls: Call[] optional inverse caller;
}
entity Folder {
    attribute name: string optional;
    relationship calls: Call[] optional inverse folder;
}
)";

void addOthers(VXManagedObjectContext &context, const QString &entity, qint64 count)
{
    for (qint64 number = 0; number < count; ++number)
        context.insertNewObject(entity)->setValueForKey(u"%1 %2é"_s.arg(entity).arg(number), u"name"_s);
    VXError error;
    required(context.save(&error), error);
}

} // namespace

CallStore::CallStore(qint64 count)
{
    VXError error;
    model = modelFromSource("entity Call {" + callAttributes + relationships);
    coordinator = VXPersistentStoreCoordinator::coordinatorWithModel(model);
    store = required(coordinator->addPersistentStore(VXStoreType::SQLite, path(), {}, &error), error);
    call = model->entityForName(u"Call"_s);
    VXManagedObjectContext context(coordinator);
    addOthers(context, u"Person"_s, BenchmarkCall::personCount);
    addOthers(context, u"Folder"_s, BenchmarkCall::folderCount);
    if (count > 0)
        RawCallStore(path()).insert(count);
}

const CallStore &CallStore::full()
{
    static const CallStore store(usualCount);
    return store;
}

QList<VXManagedObjectPtr> CallStore::others(VXManagedObjectContext &context, const QString &entity) const
{
    VXFetchRequest request(*model->entityForName(entity));
    const auto found = context.executeFetchRequest(request);
    QList<VXManagedObjectPtr> objects;
    for (const VXManagedObjectPtr &object : *found)
        objects.append(object);
    return objects;
}

void CallStore::insert(VXManagedObjectContext &context, qint64 count, const QList<VXManagedObjectPtr> &people,
                       const QList<VXManagedObjectPtr> &folders) const
{
    const int title = indexOf("title");
    const int number = indexOf("number");
    const int duration = indexOf("duration");
    const int position = indexOf("position");
    const int cost = indexOf("cost");
    const int isRead = indexOf("isRead");
    const int date = indexOf("date");
    const int note = indexOf("note");
    const int caller = indexOf("caller");
    const int folder = indexOf("folder");
    for (qint64 place = 0; place < count; ++place) {
        const BenchmarkCall values(place);
        const VXManagedObjectPtr object = context.insertNewObject(*call);
        object->setText(title, values.title);
        object->setText(number, values.number);
        object->setNumber(duration, values.duration);
        object->setNumber(position, values.position);
        object->setReal(cost, values.cost);
        object->setNumber(isRead, values.isRead ? 1 : 0);
        object->setNumber(date, values.date.toMSecsSinceEpoch());
        object->setText(note, values.note);
        object->setRelated(caller, people[values.caller - 1]);
        object->setRelated(folder, folders[values.folder - 1]);
    }
    VXError error;
    required(context.save(&error), error);
}

int CallStore::indexOf(const char *name) const
{
    return call->propertyForName(QString::fromLatin1(name))->index();
}

VXFetchRequest CallStore::request(const QString &format, const QVariantList &arguments) const
{
    VXFetchRequest made(*call);
    made.predicate = VXPredicate::predicateWithFormat(format, arguments).value();
    return made;
}

qint64 CallStore::read(const VXFetchResult &result) const
{
    const int title = indexOf("title");
    const int number = indexOf("number");
    const int duration = indexOf("duration");
    const int position = indexOf("position");
    const int cost = indexOf("cost");
    const int isRead = indexOf("isRead");
    const int date = indexOf("date");
    const int note = indexOf("note");
    qint64 sum = 0;
    for (const VXManagedObjectPtr &object : result)
        sum += object->text(title).size() + object->text(number).size() + *object->number(duration) +
               *object->number(position) + qint64(*object->real(cost)) + *object->number(isRead) +
               *object->number(date) + object->text(note).size();
    return sum;
}

qint64 CallStore::readValues(const VXFetchResult &result) const
{
    std::vector<int> indexes;
    for (const VXAttributeDescription *const attribute : call->attributes())
        indexes.push_back(attribute->index());
    qint64 sum = 0;
    for (const VXManagedObjectPtr &object : result) {
        for (const int index : indexes)
            sum += object->attribute(index).typeId();
    }
    return sum;
}

qint64 CallStore::readThree(const VXFetchResult &result) const
{
    const int title = indexOf("title");
    const int duration = indexOf("duration");
    const int date = indexOf("date");
    qint64 sum = 0;
    for (const VXManagedObjectPtr &object : result)
        sum += object->text(title).size() + *object->number(duration) + *object->number(date);
    return sum;
}
