// Keeps people and their calls in a store: object-store CALLS.sqlite

#include <Vornix/VXManagedObjectContext.h>
#include <Vornix/VXModelParser.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDateTime>
#include <QtCore/QTextStream>

#include <thread>

using namespace Qt::StringLiterals;

namespace {

const char *const modelSource = R"(
    entity Person {
        attribute name: string indexed;
        relationship calls: Call[] optional inverse caller delete cascade;
    }
    entity Call {
        attribute date: date indexed;
        attribute seconds: integer32 = 0;
        relationship caller: Person optional inverse calls;
    }
)";

VXPersistentStoreCoordinator::Ptr openStore(const QString &path, VXError *error)
{
    QList<VXModelProblem> mistakes;
    const VXModelDefinition definition = VXParseModel(modelSource, &mistakes);
    const auto model = VXManagedObjectModel::modelWithDefinition(definition, error);
    const auto coordinator = VXPersistentStoreCoordinator::coordinatorWithModel(model); // null without a model
    const bool isOpen = coordinator && coordinator->addPersistentStore(VXStoreType::SQLite, path, {}, error);
    return isOpen ? coordinator : nullptr;
}

// The one with that name; a new one when there is none yet.
VXManagedObjectPtr personNamed(VXManagedObjectContext &context, const QString &name)
{
    VXFetchRequest request(*context.persistentStoreCoordinator()->model().entityForName(u"Person"_s));
    request.predicate = VXPredicate::predicateWithFormat(u"name ==[c] %@"_s, {name}).value();
    request.limit = 1;
    const std::optional<VXFetchResult> found = context.executeFetchRequest(request);
    if (found && !found->isEmpty())
        return found->first();
    VXManagedObjectPtr person = context.insertNewObject(u"Person"_s);
    person->setValueForKey(name, u"name"_s);
    return person;
}

void addCall(VXManagedObjectContext &context, const QString &name, int seconds)
{
    const VXManagedObjectPtr call = context.insertNewObject(u"Call"_s);
    call->setValueForKey(QDateTime::currentDateTimeUtc(), u"date"_s);
    call->setValueForKey(seconds, u"seconds"_s);
    call->setValueForKey(QVariant::fromValue(personNamed(context, name)), u"caller"_s); // her "calls" follow
}

// Of all that is in the store, batch by batch: it may be more than memory has room for.
void printLongCalls(VXManagedObjectContext &context, QTextStream &out)
{
    VXFetchRequest request(*context.persistentStoreCoordinator()->model().entityForName(u"Call"_s));
    request.predicate = VXPredicate::predicateWithFormat(u"seconds >= 60 AND caller != NULL"_s).value();
    request.sortDescriptors = {{.key = u"caller.name"_s}, {.key = u"seconds"_s, .isAscending = false}};
    request.batchSize = 200;
    request.prefetchedRelationships = {u"caller"_s}; // else one query for each
    VXError error;
    const std::optional<VXFetchResult> calls = context.executeFetchRequest(request, &error);
    if (!calls) {
        out << error.description() << '\n';
        return;
    }
    for (const VXManagedObjectPtr &call : *calls)
        out << VXValueForKeyPath(QVariant::fromValue(call), u"caller.name"_s).toString() << ": "
            << call->valueForKey(u"seconds"_s).toInt() << " s\n";
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    QTextStream out(stdout);
    VXError error;
    const auto coordinator = openStore(application.arguments().value(1, u"calls.sqlite"_s), &error);
    if (!coordinator) {
        out << error.description() << '\n';
        return 1;
    }

    // New objects are in the store once they are saved, and then all of them.
    VXManagedObjectContext context(coordinator);
    addCall(context, u"Jane"_s, 75);
    addCall(context, u"jane"_s, 30); // the same person, not saved yet
    addCall(context, u"Zoë"_s, 600);
    const VXManagedObjectPtr jane = personNamed(context, u"Jane"_s);
    if (!context.save(&error)) {
        out << error.description() << '\n';
        return 1;
    }
    printLongCalls(context, out);

    // Another thread has a context of its own. IDs may cross threads, objects may not.
    std::thread([coordinator, janeID = jane->objectID()] {
        VXManagedObjectContext other(coordinator);
        if (const VXManagedObjectPtr person = other.existingObjectWithID(janeID))
            person->setValueForKey(u"Jane Doe"_s, u"name"_s);
        other.save();
    }).join();

    // It has changed what this context read before: a conflict, until somebody says whose change counts.
    jane->setValueForKey(u"Jane Smith"_s, u"name"_s);
    if (!context.save(&error))
        out << error.localizedDescription() << ' ' << error.localizedRecoverySuggestion() << '\n';
    context.setMergePolicy(VXMergePolicy::MergeByPropertyObjectTrumps);
    out << "saved: " << (context.save(&error) ? "yes" : "no") << '\n';

    // Her calls go with her: "delete cascade".
    context.deleteObject(jane);
    context.save();
    const VXFetchRequest calls(*coordinator->model().entityForName(u"Call"_s));
    out << "calls left: " << context.countForFetchRequest(calls).value_or(-1) << '\n';
    return 0;
}
