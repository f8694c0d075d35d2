#include "VXEventManager.h"
#include "VXErrorDomain.h"
#include "VXEventHistory.h"
#include "VXEventTesting.h"
#include "VXFramework.h"
#include "VXMainThread.h"
#include "VXModelParser.h"
#include "VXReactionOutcomeState.h"
#include "VXTestSQL.h"

#include <QtCore/QDir>

#include <stdexcept>
#include <thread>

using namespace Qt::StringLiterals;
using testing::ElementsAre, testing::IsEmpty, testing::SizeIs;

class VXEventManagerTest : public VXEventTest
{
protected:
    static VXEventManager &events() { return VXEventManager::sharedEventManager(); }
    /** The notifications of events while it lives. */
    static auto observeEvents(QObject *context, QList<VXNotification> &into)
    {
        return VXNotificationCenter::defaultCenter().addObserver(
            context, VXEventManagerWillPostEventNotification,
            [&into](const VXNotification &notification) { into.append(notification); });
    }
    QStringList errorTexts() const
    {
        QStringList texts;
        for (const VXError &error : user->errors())
            texts.append(error.localizedDescription() + u'|' + error.localizedRecoverySuggestion());
        return texts;
    }
};

// -- Announcing

TEST_F(VXEventManagerTest, AnnouncesEventsAlsoWithoutAStoreOfTriggers)
{
    startWith({});
    const VXDiagnosticRecorder diagnostics;
    QObject context;
    QList<VXNotification> seen;
    observeEvents(&context, seen);
    VXNotificationCenter::defaultCenter().addObserver(&context, VXEventManagerWillPostEventNotification,
                                                      [](const VXNotification &) { throw std::runtime_error("no"); });
    events().postEventWithName(u"ping"_s, u"now"_s, 7);
    events().postEventWithName(u"ping"_s);
    ASSERT_THAT(seen, SizeIs(2));
    EXPECT_EQ(seen[0].object, QVariant(7));
    EXPECT_EQ(seen[0].userInfo, (QVariantMap{{u"event_name"_s, u"ping"_s}, {u"event_message"_s, u"now"_s}}));
    EXPECT_FALSE(seen[1].object.isValid());
    EXPECT_EQ(seen[1].userInfo, (QVariantMap{{u"event_name"_s, u"ping"_s}})); // and no subtype
    EXPECT_EQ(log.count(u"the store \"triggers\""_s), 1);
    EXPECT_THAT(diagnostics.texts(), SizeIs(2)) << "of what was thrown";
}

TEST_F(VXEventManagerTest, IgnoresEventsWhileTheApplicationTerminates)
{
    start();
    add({{.reactors = {numbered(1)}}});
    VXUserDefaults::standardUserDefaults().setObject(true, u"debug.EVNT"_s);
    QObject context;
    QList<VXNotification> seen;
    observeEvents(&context, seen);
    VXApplication::sharedApplication().setAsTerminating(true);
    EXPECT_TRUE(post().name.isNull());
    VXApplication::sharedApplication().setAsTerminating(false);
    EXPECT_THAT(seen, IsEmpty());
    EXPECT_THAT(reactions(), IsEmpty());
    EXPECT_EQ(log.count(u"ping ignored while quitting"_s), 1);
}

// -- Order, options, traces

TEST_F(VXEventManagerTest, RunsTriggersAndReactorsByIndexWithOptionsOverDefaults)
{
    start({}, {{u"VXReactorDefaults"_s, QVariantMap{{u"a"_s, 0}, {u"b"_s, 2}}}});
    add({{.reactors = {numbered(4, 2), numbered(3, 1)}, .index = 2},
         {.reactors = {{reactor, {{u"n"_s, 1}, {u"a"_s, 1}}, 0}, numbered(2, 9)}, .index = 1},
         {.event = u"pong"_s, .reactors = {numbered(5)}}});
    post(u"ping"_s, 12);
    EXPECT_THAT(numbers(), ElementsAre(1, 2, 3, 4));
    const QVariantMap first = reactions().constFirst();
    EXPECT_EQ(first[u"options"_s].toMap(), (QVariantMap{{u"a"_s, 1}, {u"b"_s, 2}, {u"n"_s, 1}}));
    EXPECT_EQ(first[u"event"_s], QVariant(u"ping"_s));
    EXPECT_TRUE(first[u"subtype"_s].toString().isNull());
    EXPECT_EQ(first[u"object"_s], QVariant(12));

    add({{.reactors = {numbered(0)}}}); // what is saved counts for the next event
    post();
    EXPECT_THAT(numbers().mid(4), ElementsAre(0, 1, 2, 3, 4));
}

TEST_F(VXEventManagerTest, TriggersMayLieInAStoreOfAnotherModel)
{
    QList<VXModelProblem> problems;
    const VXModelDefinition definition =
        VXParseModel("entity VXTrigger { attribute eventName: string; attribute index: integer32 = 0;"
                     " relationship reactors: VXReactorRecord[] optional inverse triggers; }"
                     "entity VXReactorRecord { attribute index: integer32 = 0; attribute bundleIdentifier: string;"
                     " attribute options: property-list optional;"
                     " relationship triggers: VXTrigger[] optional inverse reactors; }",
                     &problems);
    const VXManagedObjectModel::Ptr model = VXManagedObjectModel::modelWithDefinition(definition);
    ASSERT_TRUE(model);
    const QString bundle =
        VXPluginFixture{.identifier = u"test.triggers"_s,
                        .name = {},
                        .kind = u"VXDataPlugin"_s,
                        .info = {{u"VXDataStoreName"_s, u"triggers"_s}, {u"VXDataStoreType"_s, u"sqlite"_s}},
                        .code = u"StorePlugin.so"_s}
            .write(shared());
    ASSERT_TRUE(model->writeToFile(bundle + u"/Contents/Resources/triggers.mom"_s));
    writeReactor(reactor);
    startWith({reactor});
    VXManagedObjectContext context(triggers());
    const VXManagedObjectPtr trigger = context.insertNewObject(u"VXTrigger"_s);
    trigger->setValueForKey(u"ping"_s, u"eventName"_s);
    QVariantList reactors;
    for (const int number : {2, 1, 3}) {
        const VXManagedObjectPtr record = context.insertNewObject(u"VXReactorRecord"_s);
        record->setValueForKey(number, u"index"_s);
        record->setValueForKey(reactor, u"bundleIdentifier"_s);
        record->setValueForKey(QVariantMap{{u"n"_s, number}}, u"options"_s);
        reactors.append(QVariant::fromValue(record));
    }
    trigger->setValueForKey(reactors, u"reactors"_s);
    ASSERT_TRUE(context.save());
    post();
    EXPECT_THAT(numbers(), ElementsAre(1, 2, 3));
}

TEST_F(VXEventManagerTest, ReactorsMayPostEventsThemselves)
{
    start();
    add({{.reactors = {{reactor, {{u"n"_s, 1}, {u"posts"_s, u"pong"_s}}, 0}, numbered(3, 1)}},
         {.event = u"pong"_s, .reactors = {numbered(2)}}});
    post();
    EXPECT_THAT(numbers(), ElementsAre(1, 2, 3));
}

// -- Filters

class Person : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString name READ name)

public:
    QString name() const { return u"Jane"_s; }
};

TEST_F(VXEventManagerTest, FiltersDecideAndThoseThatDoNotWorkAreTold)
{
    using Outcome = VXTriggerRecord::Outcome;
    start();
    Person person;
    VXManagedObjectContext context(triggers());
    const VXManagedObjectPtr stored = context.insertNewObject(u"VXTrigger"_s);
    stored->setValueForKey(u"Jane"_s, u"eventName"_s);
    const QVariant jane = QVariantMap{{u"name"_s, u"Jane"_s}};
    const QVariant object = QVariant::fromValue(static_cast<QObject *>(&person));
    const QVariant managed = QVariant::fromValue(stored);
    const struct
    {
        QString filter;
        QVariant object;
        Outcome outcome;
        QString problem = {};
    } rows[] = {
        {u"name == 'Jane'"_s, jane, Outcome::Ran},
        {u"name == 'Joe'"_s, jane, Outcome::Rejected},
        {u"nmae == 'Jane'"_s, jane, Outcome::Rejected,
         u"The object has no \"nmae\"."_s}, // maps need not have every key
        {u"name == 'Jane'"_s, {}, Outcome::Rejected},
        {u"name == 'Jane'"_s, object, Outcome::Ran},
        {u"nmae == 'Jane'"_s, object, Outcome::Broken, u"The object has no \"nmae\"."_s},
        {u"NOT nmae == 'Jane'"_s, object, Outcome::Broken, u"The object has no \"nmae\"."_s}, // not passed silently
        {u"name.length > 3"_s, object, Outcome::Broken, u"The object has no \"length\"."_s},
        {u"eventName == 'Jane' AND reactors.@count == 0"_s, managed, Outcome::Ran},
        {u"ANY reactors.nmae == 'Jane' OR nmae == 'Jane'"_s, managed, Outcome::Broken},
        {u"name == $WHO"_s, jane, Outcome::Broken},
        {u"name MATCHES '('"_s, jane, Outcome::Broken},
        {u"name =="_s, jane, Outcome::Broken},
        {u"TRUEPREDICATE"_s, {}, Outcome::Ran},
    };
    int row = 0;
    for (const auto &[filter, eventObject, outcome, problem] : rows) {
        SCOPED_TRACE(filter.toStdString());
        const QString event = u"row %1"_s.arg(row++);
        add({{.event = event, .reactors = {numbered(1)}, .filter = filter, .name = u"First"_s},
             {.event = event, .reactors = {numbered(2)}, .index = 1}});
        const std::size_t errors = user->errors().size();
        const qsizetype before = reactions().size();
        const VXEventRecord record = post(event, eventObject);
        ASSERT_THAT(record.triggers, SizeIs(2));
        EXPECT_EQ(record.triggers[0].outcome, outcome);
        EXPECT_EQ(problem.isNull() ? problem : record.triggers[0].problem, problem);
        EXPECT_EQ(reactions().size() - before, outcome == Outcome::Ran ? 2 : 1); // the other one runs
        EXPECT_EQ(user->errors().size() - errors, outcome == Outcome::Broken ? 1U : 0U);
        EXPECT_EQ(outcome == Outcome::Broken, record.isFailure());
    }
    EXPECT_EQ(user->errors().back().localizedDescription(), u"Unable to apply the filter of trigger \"First\"."_s);
}

TEST_F(VXEventManagerTest, FiltersThatAreOffOrMissingLetPassAndDisabledTriggersDoNotRun)
{
    start();
    add({{.reactors = {numbered(1)}, .filter = u"FALSEPREDICATE"_s, .index = 1, .useFilter = false},
         {.reactors = {numbered(2)}, .index = 2},
         {.reactors = {numbered(3)}, .index = 3, .isEnabled = false}});
    const VXEventRecord record = post();
    EXPECT_THAT(numbers(), ElementsAre(1, 2));
    EXPECT_EQ(record.triggers.constLast().outcome, VXTriggerRecord::Outcome::Disabled);
    EXPECT_FALSE(record.isFailure());
}

// -- Reactors that fail

TEST_F(VXEventManagerTest, WhatReactorsThrowIsLoggedAndShownAndTheOthersRun)
{
    start({u"named"_s}, {{u"VXReactorName"_s, u"Do it"_s}});
    const auto throwing = [](const QString &what) {
        return VXTriggerFixture::Reactor{reactor, {{u"throws"_s, what}}, 0};
    };
    add({{.reactors = {throwing(u"VXException"_s), numbered(1, 1)}, .name = u"Mine"_s, .index = 1},
         {.reactors = {throwing(u"std::exception"_s), numbered(2, 1)}, .name = u""_s, .index = 2},
         {.reactors = {throwing(u"number"_s), numbered(3, 1)}, .index = 3},
         {.reactors = {{reactor, {{u"shows"_s, u"No disk."_s}, {u"n"_s, 4}}, 1}}, .index = 4}});
    VXPluginFixture{.identifier = u"poster"_s, .info = {{u"VXPostsEvents"_s, QVariantMap{{u"ping"_s, QVariantMap()}}}}}
        .write(shared());
    manager().enablePluginProxy(manager().addPluginForBundleAtPath(shared() + u"/poster.vxplugin"_s));
    const VXEventRecord record = post();
    EXPECT_THAT(errorTexts(),
                ElementsAre(u"Unable to execute \"Do it\" in trigger \"Mine\".|thrown as told"_s,
                            u"Unable to execute \"Do it\" in trigger \"ping\".|thrown as told"_s,
                            u"Unable to execute \"Do it\" in trigger \"ping\".|a value of type int"_s, u"No disk.|"_s));
    EXPECT_EQ(user->errors()[0].domain(), VXErrorDomain);
    EXPECT_EQ(user->errors()[0].code(), 2);
    EXPECT_EQ(log.count(u"EXCEPTION: FixtureException: thrown as told"_s), 1);
    EXPECT_EQ(log.count(u"reactor: test.reactor"_s), 3);
    EXPECT_EQ(log.count(u"options: throws"_s), 3); // and not what they are: they may be secrets
    QList<int> ran = numbers();
    ran.removeAll(0);
    EXPECT_THAT(ran, ElementsAre(1, 2, 3, 4));
    EXPECT_EQ(record.triggers[3].reactions[0].problems, QStringList{u"No disk."_s});
    EXPECT_TRUE(record.isFailure());
}

TEST_F(VXEventManagerTest, ReactorsThatCannotBeAskedAreLeftOut)
{
    writeReactor(u"test.disabled"_s);
    writeReactor(u"test.unloaded"_s, {{u"VXPluginDependencies"_s, QStringList{u"test.nobody"_s}}});
    VXPluginFixture{.identifier = u"test.other"_s, .code = u"WindowPlugin.so"_s}.write(shared()); // no reactor
    start({u"test.unloaded"_s, u"test.other"_s});
    add({{.reactors = {{u"test.missing"_s, {}, 1},
                       {u"test.disabled"_s, {}, 2},
                       {u"test.unloaded"_s, {}, 3},
                       {u"test.other"_s, {}, 4},
                       numbered(1, 5)}}});
    const VXEventRecord record = post();
    EXPECT_THAT(numbers(), ElementsAre(1));
    for (const QString &identifier : {u"test.missing"_s, u"test.disabled"_s})
        EXPECT_EQ(log.count(u"object:] Reactor plugin not found/enabled: "_s + identifier), 1);
    EXPECT_THAT(log.lines(u"WARNING"_s), SizeIs(2));
    EXPECT_THAT(
        errorTexts(),
        ElementsAre(u"Unable to execute \"test.unloaded\" in trigger \"ping\".|Plugin test.unloaded was not loaded "
                    "when selector reactorDefaults was called"_s,
                    u"Unable to execute \"test.other\" in trigger \"ping\".|Plugin test.other was not loaded "
                    "when selector reactorDefaults was called"_s));
    using Outcome = VXReactionRecord::Outcome;
    QList<Outcome> outcomes;
    for (const VXReactionRecord &reaction : record.triggers.constFirst().reactions)
        outcomes.append(reaction.outcome);
    EXPECT_THAT(outcomes,
                ElementsAre(Outcome::Missing, Outcome::Missing, Outcome::Failed, Outcome::Failed, Outcome::Done));
}

TEST_F(VXEventManagerTest, TriggersThatCannotBeFetchedFailAnAssertion)
{
    start();
    add({{.reactors = {numbered(1)}}});
    VXRunSQL(triggers()->persistentStores().constFirst()->path(), "ALTER TABLE VX_VXTrigger RENAME TO Gone");
    VXUserDefaults::standardUserDefaults().setObject(true, u"events.history"_s);
    const QString problem = u"Error while fetching triggers for ping with predicate: eventName == \"ping\""_s;
    EXPECT_EQ(VXReasonOfAssertion([] { events().postEventWithName(u"ping"_s); }), problem);
    const QList<VXEventRecord> records = VXEventHistory::sharedEventHistory().records();
    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(records[0].problem, problem);
}

TEST_F(VXEventManagerTest, StoreOfTriggersThatCannotBeUsedIsToldInTheRecord)
{
    start();
    plugin(u"com.halvern.VNX2.plugin.triggers"_s)->unload();
    EXPECT_EQ(post().problem, u"The store \"triggers\" cannot be used; the log tells why."_s);
    EXPECT_EQ(log.count(u"plugin is not loaded for store: triggers"_s), 1);
}

// -- Threads

TEST_F(VXEventManagerTest, AnyThreadPostsAndReactsItself)
{
    start();
    VXUserDefaults::standardUserDefaults().setObject(true, u"events.history"_s);
    add({{.reactors = {numbered(1)}}, {.reactors = {{reactor, {{u"throws"_s, u"number"_s}}, 0}}, .index = 1}});
    constexpr int threads = 4;
    constexpr int each = 10;
    std::atomic<int> ended = 0;
    QSet<std::thread::id> reacting;
    VXMutex lock;
    QObject context;
    VXNotificationCenter::defaultCenter().addObserver(&context, VXNotificationName(u"FixtureReaction"_s),
                                                      [&](const VXNotification &) {
                                                          const VXMutexLocker locker(lock);
                                                          reacting.insert(std::this_thread::get_id());
                                                      });
    std::vector<std::thread> posters;
    for (int thread = 0; thread < threads; ++thread) {
        posters.emplace_back([&] {
            for (int event = 0; event < each; ++event)
                events().postEventWithName(u"ping"_s);
            ++ended;
            VXMainThread::perform([] {}); // wakes the main thread up
        });
    }
    EXPECT_TRUE(VXRunUntil([&] { return ended == threads; }));
    for (std::thread &poster : posters)
        poster.join();
    EXPECT_EQ(numbers().count(1), threads * each);
    EXPECT_THAT(reacting, SizeIs(threads));
    EXPECT_FALSE(reacting.contains(std::this_thread::get_id()));
    EXPECT_TRUE(VXRunUntil([&] { return user->errors().size() == std::size_t(threads * each); }));
    QSet<QString> identifiers;
    for (const VXEventRecord &record : VXEventHistory::sharedEventHistory().records())
        identifiers.insert(record.identifier);
    EXPECT_THAT(identifiers, SizeIs(threads * each));
}

// A plugin may post on a thread of its own that it waits for when it is unloaded.
TEST_F(VXEventManagerTest, PostingWaitsForNobody)
{
    start();
    add({{.reactors = {numbered(1), {reactor, {{u"throws"_s, u"number"_s}}, 1}}}});
    VXEventRecord record;
    std::thread poster([&] { record = post(); });
    poster.join(); // the main thread does nothing else
    EXPECT_THAT(numbers(), ElementsAre(1, 0));
    using Outcome = VXReactionRecord::Outcome;
    ASSERT_THAT(record.triggers, SizeIs(1));
    ASSERT_THAT(record.triggers[0].reactions, SizeIs(2));
    EXPECT_EQ(record.triggers[0].reactions[1].outcome, Outcome::Failed);
    EXPECT_TRUE(VXRunUntil([&] { return !user->errors().empty(); }));
    plugin(reactor)->unload();
    std::thread later([&] { record = post(); });
    later.join();
    EXPECT_EQ(record.triggers[0].reactions[0].outcome, Outcome::Missing);
}

TEST_F(VXEventManagerTest, UnloadingWaitsForThreadsThatReact)
{
    start();
    add({{.reactors = {numbered(1)}}});
    std::atomic<bool> isReacting = false;
    std::atomic<bool> hasAsked = false;
    QObject context;
    VXNotificationCenter::defaultCenter().addObserver(
        &context, VXNotificationName(u"FixtureReaction"_s), [&](const VXNotification &) {
            isReacting = true;
            hasAsked = VXMainThread::performAndWait([] {}); // as an alert does: the unloading thread serves it
        });
    std::thread poster([&] { post(); });
    while (!isReacting)
        std::this_thread::yield();
    plugin(reactor)->unload();
    EXPECT_TRUE(hasAsked);
    poster.join();
}

TEST_F(VXEventManagerTest, WhatReactorsGoOnWithIsToldLater)
{
    using Outcome = VXReactionRecord::Outcome;
    start();
    VXUserDefaults::standardUserDefaults().setObject(true, u"events.history"_s);
    const auto deferred = [](const QString &problem) {
        return VXTriggerFixture::Reactor{reactor, {{u"defers"_s, problem}}, 0};
    };
    add({{.event = u"well"_s, .reactors = {deferred(u""_s)}},
         {.event = u"badly"_s, .reactors = {deferred(u"no such thing"_s), numbered(1, 1)}},
         {.event = u"lost"_s, .reactors = {{reactor, {{u"defers"_s, u"forgotten"_s}, {u"forgets"_s, true}}, 0}}}});
    const auto awaited = [&](const QString &name) {
        return VXEventManager::sharedEventManager().recordByPostingAndAwaitingEvent({.name = name});
    };
    for (const auto &[name, outcome] : {std::pair(u"well"_s, Outcome::Done), std::pair(u"badly"_s, Outcome::Failed),
                                        std::pair(u"lost"_s, Outcome::Failed)}) {
        const VXEventRecord record = awaited(name);
        EXPECT_EQ(record.triggers[0].reactions[0].outcome, outcome) << name.toStdString();
        EXPECT_EQ(record.isFailure(), outcome == Outcome::Failed);
        const auto kept = VXEventHistory::sharedEventHistory().recordWithIdentifier(record.identifier);
        ASSERT_TRUE(kept);
        EXPECT_EQ(kept->json(), record.json());
    }
    EXPECT_EQ(awaited(u"badly"_s).triggers[0].reactions[0].problems, QStringList{u"no such thing"_s});
    EXPECT_THAT(VXEventHistory::sharedEventHistory().records(), SizeIs(4));
    const QString history = u".local/share/Vornix 2/Event History"_s;
    ASSERT_TRUE(QDir(path(history)).removeRecursively());
    writeFile(history, "in the way");
    for (int round = 0; round < 2; ++round)
        EXPECT_FALSE(awaited(u"well"_s).isFailure());
    EXPECT_EQ(log.count(u"Could not create folder"_s), 1); // not for each event
}

TEST_F(VXEventManagerTest, AThrowingCancelHandlerKeepsNoOtherFromBeingCalled)
{
    int calls = 0;
    const auto fail = [&calls] {
        ++calls;
        throw std::runtime_error("will not stop");
    };
    QList<VXReactionOutcome> outcomes;
    for (int index = 0; index < 3; ++index) {
        outcomes.append(VXReactionOutcome(std::make_shared<VXReactionOutcome::State>()));
        outcomes.last().setCancelHandler(fail);
    }
    VXReactionOutcome::cancelAll();
    EXPECT_EQ(calls, 3);
    outcomes.first().setCancelHandler(fail); // called at once
    EXPECT_EQ(calls, 4);
    outcomes.first().setCancelHandler({});
}

// -- The catalogue

TEST_F(VXEventManagerTest, TheCatalogueMergesWhatBundlesPost)
{
    VXBundle::setPreferredLanguages({u"en"_s});
    const auto poster = [&](const QString &identifier, const QVariant &posted) {
        return VXPluginFixture{.identifier = identifier, .info = {{u"VXPostsEvents"_s, posted}}}.write(shared());
    };
    const QString a = poster(u"a"_s, QVariantMap{{u"ping"_s, u"of a"_s}, {u"only a"_s, 1}});
    poster(u"b"_s, QVariantMap{{u"ping"_s, u"of b"_s}, {u"only b"_s, 2}});
    poster(u"c"_s, true); // any value counts as posting
    poster(u"off"_s, QVariantMap{{u"never"_s, 1}});
    writeFile(QDir(path()).relativeFilePath(a + u"/Contents/Resources/en.lproj/Event.strings"_s),
              "\"ping\" = \"A ping\";");
    startWith({u"a"_s, u"b"_s, u"c"_s});

    const QList<VXPluginProxy *> plugins = manager().eventPostingPlugins();
    ASSERT_THAT(plugins, SizeIs(3));
    QList<VXBundle::Ptr> bundles{VXFrameworkBundle(), VXBundle::mainBundle()};
    for (const VXPluginProxy *const proxy : plugins)
        bundles.append(proxy->bundle());
    EXPECT_EQ(events()._eventPostingBundles(), bundles);

    const QString first = plugins.indexOf(plugin(u"a"_s)) < plugins.indexOf(plugin(u"b"_s)) ? u"a"_s : u"b"_s;
    const QString last = first == u"a"_s ? u"b"_s : u"a"_s;
    const QVariantMap merged{{u"ping"_s, "of "_L1 + last}, {u"only a"_s, 1}, {u"only b"_s, 2}};
    for (auto event = merged.cbegin(); event != merged.cend(); ++event)
        EXPECT_EQ(events().events()[event.key()], *event) << event.key().toStdString();
    EXPECT_FALSE(events().events().contains(u"never"_s));
    EXPECT_EQ(events().bundleForEventName(u"ping"_s), plugin(first)->bundle());
    EXPECT_EQ(events().pluginForEventName(u"ping"_s), plugin(first));
    EXPECT_EQ(events().pluginForEventName(u"never"_s), nullptr);
    EXPECT_EQ(events().localizedNameForEventName(u"ping"_s), first == u"a"_s ? u"A ping"_s : u"ping"_s);
    EXPECT_EQ(events().localizedNameForEventName(u"only a"_s), u"only a"_s); // the table lacks it
    EXPECT_TRUE(events().localizedNameForEventName(u"never"_s).isNull());
}

#include "VXEventManagerTest.moc"
