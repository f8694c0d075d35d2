#include "CallsPluginTestsPaths.h"
#include "VXCallImport.h"
#include "VXDataManager.h"
#include "VXDeviceAction.h"
#include "VXDevicePlugin.h"
#include "VXDeviceURL.h"
#include "VXEventManager.h"
#include "VXManagedObjectContext.h"
#include "VXPluginManagerTesting.h"
#include "VXSmartFilter.h"
#include "VXStoreWorkLock.h"

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QProcess>
#include <QtCore/QThread>

#include <sys/stat.h>
#include <thread>

using namespace Qt::StringLiterals;
using testing::ElementsAre, testing::ElementsAreArray;

/** The plugins as they ship, with their stores in a fresh home folder. */
class CallsPluginTest : public VXPluginManagerHomeTest
{
protected:
    CallsPluginTest()
    {
        QDir().mkpath(shared());
        for (const QString &bundle : {QStringLiteral(VORNIX_CALLS_PLUGIN), QStringLiteral(VORNIX_TRIGGERS_PLUGIN)})
            EXPECT_EQ(QProcess::execute(u"cp"_s, {u"-r"_s, bundle, shared()}), 0);
        startWith({});
        store = VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(u"calls"_s);
    }

    /** An event some seconds after the first. */
    static void post(const QString &name, const QString &subtype, double seconds, QVariantMap object)
    {
        static const QDateTime start = QDateTime::fromString(u"2026-03-01T10:00:00Z"_s, Qt::ISODate);
        object.insert(u"event_date"_s, start.addMSecs(qint64(seconds * 1000)));
        VXEventManager::sharedEventManager().postEventWithName(name, subtype, object);
    }

    /** Every call, in the order they began: "DIRECTION STATE DURATION OTHER PARTY". */
    QStringList calls() const
    {
        VXManagedObjectContext context(store);
        VXFetchRequest request(*store->model().entityForName(u"VXCall"_s));
        request.sortDescriptors = {{.key = u"date"_s}};
        QStringList lines;
        const auto found = context.executeFetchRequest(request);
        for (const VXManagedObjectPtr &call : *found)
            lines.append(u"%1 %2 %3 %4"_s.arg(call->valueForKey(u"direction"_s).toInt())
                             .arg(call->valueForKey(u"state"_s).toString())
                             .arg(call->valueForKey(u"duration"_s).toDouble())
                             .arg(call->valueForKey(u"otherParty_search"_s).toString()));
        return lines;
    }

    VXPersistentStoreCoordinator::Ptr store;
};

TEST_F(CallsPluginTest, TablesAreImportedLineByLine)
{
    const struct
    {
        QByteArray table;
        QStringList added; // as "calls"
        QStringList problems;
    } cases[] = {
        {"date,from,duration,isMissed\n2026-01-31T12:00:00Z,\"Doe, \"\"Jane\"\" <+1 555 0100>\",61,\n",
         {u"1 ended 61 Doe, \"Jane\" 5550100"_s},
         {}},
        {"\xef\xbb\xbf"
         "from;date\r\n5550101;2026-01-31T12:01:00Z\r\n\r\n",
         {u"1 ended 0 5550101"_s},
         {}},
        {"Date,From,Duration\n2026-01-31T12:01:30Z,5550107,0:01:30\n2026-01-31T12:01:40Z,5550108,-5\n"
         "2026-01-31T12:01:50Z,,7\n",
         {u"1 ended 90 5550107"_s, u"1 ended 0 5550108"_s},
         {u"line 3: the duration \"-5\" is no number of seconds"_s, u"line 4: neither from nor to anybody"_s}},
        {"date\tto\tdirection\n2026-01-31T12:02:00Z\t5550102\t0", {u"0 ended 0 5550102"_s}, {}},
        {"date,note,from\n2026-01-31T12:03:00Z,\"two\nlines\",'+1 555 0103\nyesterday,,5550104\n",
         {u"1 ended 0 5550103"_s},
         {u"line 4: no date of the form 2026-01-31T12:00:00"_s}},
        {"date,from,duration\n2026-01-31T12:04:00Z,5550104,long\n2026-01-31T12:05:00Z,\"5550105,1\n"
         "2026-01-31T12:06:00Z,5550106\n",
         {u"1 ended 0 5550104"_s, u"1 ended 0 5550106"_s},
         {u"line 2: the duration \"long\" is no number of seconds"_s, u"line 3: a quotation mark has no end"_s}},
    };
    QStringList expected;
    for (int round = 0; round < 2; ++round) { // the second adds nothing
        for (const auto &each : cases) {
            const QString table = writeFile(u"calls.csv"_s, each.table);
            VXCallImport import(store);
            ASSERT_TRUE(import.run(table));
            EXPECT_EQ(import.problems(), each.problems) << each.table.toStdString();
            EXPECT_EQ(import.addedCount(), round == 0 ? each.added.size() : 0) << each.table.toStdString();
            expected += round == 0 ? each.added : QStringList();
            EXPECT_THAT(calls(), ElementsAreArray(expected));
        }
    }
    VXError error;
    EXPECT_FALSE(VXCallImport(store).run(writeFile(u"calls.csv"_s, "When,From\n"), &error));
    EXPECT_THAT(error.localizedDescription().toStdString(), testing::HasSubstr("does not name the columns"));
    ASSERT_EQ(mkfifo(path(u"pipe"_s).toUtf8().constData(), 0600), 0);
    EXPECT_FALSE(VXCallImport(store).run(path(u"pipe"_s), &error)); // and does not wait for somebody to write
}

struct News
{
    QString subtype;
    double seconds;
    QVariantMap object = {};
};

TEST_F(CallsPluginTest, WritesOneObjectForEachCall)
{
    const QVariantMap jane{{u"from"_s, u"Jane <+1 555 0100>"_s}, {u"device_url"_s, u"phone:1"_s}};
    const auto numbered = [&](const QString &identifier) {
        QVariantMap object = jane;
        object.insert(u"call_id"_s, identifier);
        return object;
    };
    QVariantMap measured = jane;
    measured.insert(u"duration"_s, 12);
    QVariantMap otherPhone = jane;
    otherPhone.insert(u"device_url"_s, u"phone:2"_s);
    const struct
    {
        QList<News> news;
        QStringList expected;
    } cases[] = {
        {{{u"ringing"_s, 0, jane}, {u"ringing"_s, 4, jane}, {u"connected"_s, 10, jane}, {u"ended"_s, 71.5, jane}},
         {u"1 ended 61.5 Jane 5550100"_s}},
        {{{u"ringing"_s, 0, jane}, {u"ended"_s, 20, jane}}, {u"1 ended 0 Jane 5550100"_s}}, // nobody took it
        {{{u"ringing"_s, 0, jane}, {u"connected"_s, 3, jane}, {u"ended"_s, 20, measured}},
         {u"1 ended 12 Jane 5550100"_s}},
        {{{u"ended"_s, 0, measured}}, {u"1 ended 12 Jane 5550100"_s}}, // all that is told of it
        {{{u"ringing"_s, 0, jane}, {u"ended"_s, 1, jane}, {u"ringing"_s, 9, jane}, {u"connected"_s, 10, jane}},
         {u"1 ended 0 Jane 5550100"_s, u"1 connected 0 Jane 5550100"_s}},
        {{{u"ringing"_s, 0, numbered(u"a"_s)}, {u"ringing"_s, 1, numbered(u"b"_s)}, {u"ended"_s, 5, numbered(u"a"_s)}},
         {u"1 ended 0 Jane 5550100"_s, u"1 ringing 0 Jane 5550100"_s}},
        {{{u"ringing"_s, 0, numbered(u"a"_s)},
          {u"ended"_s, 5, numbered(u"a"_s)},
          {u"connected"_s, 6, numbered(u"a"_s)}},
         {u"1 ended 0 Jane 5550100"_s}},                                                  // news that come late
        {{{u"ringing"_s, 0, jane}, {u"ringing"_s, 3600, jane}, {u"ended"_s, 3601, jane}}, // the end of one was missed
         {u"1 ringing 0 Jane 5550100"_s, u"1 ended 0 Jane 5550100"_s}},
        {{{u"connected"_s, 0, jane}, {u"ended"_s, 90000, jane}}, // not a call of more than a day
         {u"1 connected 0 Jane 5550100"_s, u"1 ended 0 Jane 5550100"_s}},
        {{{u"ringing"_s, 0, jane}, {u"connected"_s, 2, otherPhone}},
         {u"1 ringing 0 Jane 5550100"_s, u"1 connected 0 Jane 5550100"_s}},
        {{{u"connected"_s, 9, jane}, {u"ended"_s, 3, jane}}, {u"1 ended 0 Jane 5550100"_s}}, // the clock was set back
        {{{u"held"_s, 0, jane}, {QString(), 0, jane}}, {}},
    };
    for (const auto &each : cases) {
        VXManagedObjectContext context(store);
        const auto old = context.executeFetchRequest(VXFetchRequest(*store->model().entityForName(u"VXCall"_s)));
        for (const VXManagedObjectPtr &call : *old)
            context.deleteObject(call);
        ASSERT_TRUE(context.save());
        for (const News &news : each.news)
            post(u"incoming_call"_s, news.subtype, news.seconds, news.object);
        EXPECT_THAT(calls(), ElementsAreArray(each.expected));
    }
}

TEST_F(CallsPluginTest, SearchTextsNameTheOtherParty)
{
    const std::pair<QString, QString> cases[] = {
        {u"0044 20 7946 0123"_s, u"2079460123"_s},
        {u"Doe, Jane <+49 30 901820>, Bob <Bob@Example.org>"_s, u"Doe, Jane 30901820, Bob bob@example.org"_s},
        {u"Friends { Jo <555 0101>, 555 0102 }"_s, u"Jo 5550101, 5550102"_s},
        {u"unknown"_s, u"unknown"_s},
        {{}, {}}};
    double seconds = 0;
    QStringList expected;
    for (const auto &[to, search] : cases) {
        post(u"outgoing_call"_s, u"ended"_s, seconds++, {{u"to"_s, to}, {u"from"_s, u"me <555 0199>"_s}});
        expected.append(u"0 ended 0 "_s + search);
    }
    EXPECT_THAT(calls(), ElementsAreArray(expected));
}

TEST_F(CallsPluginTest, CallsOfTheStoreItselfAreNotWrittenAgain)
{
    post(u"incoming_call"_s, u"ringing"_s, 0, {{u"from"_s, u"555 0100"_s}});
    VXManagedObjectContext context(store);
    const auto found = context.executeFetchRequest(VXFetchRequest(*store->model().entityForName(u"VXCall"_s)));
    ASSERT_EQ(found->size(), 1);
    VXEventManager::sharedEventManager().postEventWithName(u"incoming_call"_s, u"ended"_s,
                                                           QVariant::fromValue(found->first()));
    EXPECT_THAT(calls(), ElementsAre(u"1 ringing 0 5550100"_s));
}

TEST_F(CallsPluginTest, EventsOfOneCallFromManyThreadsMakeOneObject)
{
    std::atomic<int> running = 4;
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&running] {
            for (const QString &subtype : {u"ringing"_s, u"connected"_s, u"ended"_s})
                post(u"incoming_call"_s, subtype, 0, {{u"from"_s, u"555 0100"_s}, {u"call_id"_s, 7}});
            --running;
        });
    }
    EXPECT_TRUE(VXRunUntil([&] { return running == 0; }));
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_THAT(calls(), ElementsAre(u"1 ended 0 5550100"_s));
    EXPECT_EQ(log.count(u"<ERROR>"_s), 0) << log.lines().join(u'\n').toStdString();
}

// Another program may sync the same list, or be about to note one of its calls.
TEST_F(CallsPluginTest, ASyncNotesNoCallThatAnotherNotesJustThen)
{
    const QVariantMap known{{u"from"_s, u"555 0100"_s}, {u"date"_s, QDateTime::currentDateTimeUtc()}};
    const QVariantMap fresh{{u"from"_s, u"555 0101"_s}, {u"date"_s, QDateTime::currentDateTimeUtc()}};
    const QUrl url = VXMakeDeviceURL({}, u"plugin"_s, u"phone"_s);
    auto *const phone = new VXDevicePlugin;
    const VXDevicePlugin::Ptr held = VXDevicePlugin::hold(phone);
    const auto read = [&](VXDeviceAction *action) {
        action->setResult(QVariantMap{{u"items"_s, QVariantList{known, fresh}}});
        action->conclude();
    };
    phone->initWithURL(url);
    phone->registerActionHandler(u"read_calls"_s, VXDeviceActionHandler(phone, read), false);
    VXDevicePlugin::addDevice(held);
    std::optional<VXStoreWorkLock> other(std::in_place, *store, VXStoreWorkLock::savingName);
    const auto sync = VXDeviceAction::actionWithName(u"sync_calls"_s);
    sync->executeWithDevice(held, [](VXDeviceAction *) {});
    for (int round = 0; round < 20; ++round) {
        QThread::msleep(5);
        QCoreApplication::processEvents(); // waiting here, it would wait for itself
    }
    EXPECT_TRUE(sync->isExecuting());
    VXManagedObjectContext context(store);
    VXCallStore::insert(VXCallRecord(known), context);
    ASSERT_TRUE(context.save());
    other.reset();
    EXPECT_TRUE(VXRunUntil([&] { return !sync->isExecuting(); }));
    EXPECT_EQ(sync->result().toMap().value(u"added"_s), 1);
    EXPECT_EQ(calls().size(), 2);
    VXDevicePlugin::removeDeviceAtURL(url);
}

TEST_F(CallsPluginTest, DeletedTriggersTakeTheirPartsAlong)
{
    const auto triggers = VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(u"triggers"_s);
    VXManagedObjectContext context(triggers);
    const VXManagedObjectPtr trigger = context.insertNewObject(u"VXTrigger"_s);
    trigger->setValueForKey(u"ping"_s, u"eventName"_s);
    const VXManagedObjectPtr filter = context.insertNewObject(u"VXTriggerFilter"_s);
    dynamic_cast<VXSmartFilter &>(*filter).setPredicate(*VXPredicate::predicateWithFormat(u"a == 1 OR NOT b == 2"_s));
    trigger->setValueForKey(QVariant::fromValue(filter), u"filter"_s);
    const VXManagedObjectPtr record = context.insertNewObject(u"VXReactorRecord"_s);
    record->setValueForKey(u"org.example.x"_s, u"bundleIdentifier"_s);
    record->setValueForKey(QVariant::fromValue(trigger), u"trigger"_s);
    VXError error;
    ASSERT_TRUE(context.save(&error)) << error.description().toStdString();
    context.deleteObject(trigger);
    ASSERT_TRUE(context.save(&error)) << error.description().toStdString();
    for (const VXEntityDescription *const entity : triggers->model().entities())
        EXPECT_EQ(context.countForFetchRequest(VXFetchRequest(*entity)), 0) << entity->name().toStdString();
}
