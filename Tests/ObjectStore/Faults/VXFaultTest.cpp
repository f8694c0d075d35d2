#include "VXFaultTest.h"

#include "VXRowSaver.h"

#include <QtCore/QDateTime>

#include <cstdio>
#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QByteArray itemSource = R"(
entity Item {
    attribute number: integer64 indexed;
    attribute small: integer16 optional;
    attribute whole: integer32 = 0;
    attribute real: double optional;
    attribute truth: boolean optional;
    attribute text: string optional indexed;
    attribute date: date optional;
    attribute data: binary optional;
    attribute list: property-list optional;
    relationship parent: Item optional inverse children;
    relationship children: Item[] optional inverse parent delete cascade;
    relationship peers: Item[] optional inverse peers;
    relationship groups: Group[] optional inverse items;
    fetch children = "parent.number == $NUMBER";
}
entity Part: Item { attribute weight: double = 0.5; }
entity Group { relationship items: Item[] optional inverse groups; }
entity Counter { attribute number: integer32; attribute value: integer64 = 0; }
)";

} // namespace

VXFaultTest::VXFaultTest() : model(VXModelOf(itemSource)) {}

QList<VXManagedObjectPtr> VXFaultTest::Opened::fetch(const QString &entityName, const QString &format,
                                                     const QVariantList &arguments) const
{
    VXFetchRequest request(entity(entityName));
    request.predicate = VXPredicate::predicateWithFormat(format, arguments).value();
    request.sortDescriptors = {{u"number"_s}};
    VXError problem;
    const auto found = context->executeFetchRequest(request, &problem);
    EXPECT_TRUE(found) << problem.description().toStdString();
    QList<Object> objects;
    if (found) {
        for (const Object &each : *found)
            objects.append(each);
    }
    return objects;
}

VXFaultTest::Opened VXFaultTest::open(VXStoreType type, const QString &file, const VXStoreOptions &options) const
{
    Opened opened{Coordinator::coordinatorWithModel(model), nullptr, nullptr, {}};
    opened.store = opened.coordinator->addPersistentStore(type, file, options, &opened.error);
    opened.context = std::make_unique<VXManagedObjectContext>(opened.coordinator);
    return opened;
}

void VXFaultTest::addItems(const Opened &opened, int count)
{
    Object before;
    const Object group = opened.context->insertNewObject(u"Group"_s);
    for (int number = 0; number < count; ++number) {
        const Object item = opened.context->insertNewObject(number % 3 == 0 ? u"Part"_s : u"Item"_s);
        const QVariantMap values{{u"number"_s, number},
                                 {u"small"_s, number},
                                 {u"real"_s, number / 7.0},
                                 {u"truth"_s, true},
                                 {u"text"_s, u"item <%1> & \u00c4"_s.arg(number)},
                                 {u"date"_s, QDateTime::fromMSecsSinceEpoch(number * 100'000'000LL, Qt::UTC)},
                                 {u"data"_s, QByteArray(number * 20, '\xfe')},
                                 {u"list"_s, QVariantMap{{u"k"_s, QVariantList{number, u"x"_s, 0.5}}}}};
        for (auto value = values.cbegin(); value != values.cend(); ++value)
            item->setValueForKey(*value, value.key());
        if (before) {
            item->setValueForKey(QVariant::fromValue(before), u"parent"_s);
            item->setValueForKey(QVariantList{QVariant::fromValue(before)}, u"peers"_s);
        }
        item->setValueForKey(QVariantList{QVariant::fromValue(group)}, u"groups"_s);
        before = item;
    }
    VXError error;
    ASSERT_TRUE(opened.context->save(&error)) << error.description().toStdString();
}

pid_t VXFaultTest::start(const std::function<void()> &run)
{
    std::fflush(nullptr); // else what is in the buffers would be written twice
    const pid_t child = ::fork();
    if (child != 0)
        return child;
    run();
    std::fflush(nullptr);
    ::_exit(HasFailure() ? 1 : 0);
}

int VXFaultTest::outcomeOf(pid_t process)
{
    int status = 0;
    EXPECT_EQ(::waitpid(process, &status, 0), process);
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

int VXFaultTest::configured(const char *variable, int usual)
{
    const int value = qEnvironmentVariableIntValue(variable);
    return value > 0 ? value : usual;
}

QString VXFaultTest::fastFolder()
{
    _fastFolder = std::make_unique<QTemporaryDir>(u"/dev/shm/vornix-XXXXXX"_s);
    return _fastFolder->isValid() ? _fastFolder->path() : path();
}
