#include "VXPhonebookClock.h"
#include "VXPhonebookEntry.h"
#include "VXPhonebookTest.h"
#include "VXTestSQL.h"

#include <atomic>
#include <thread>

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

std::atomic<qint64> testTime = 0; // seconds

std::chrono::steady_clock::time_point testClock()
{
    return std::chrono::steady_clock::time_point(std::chrono::seconds(testTime));
}

} // namespace

class VXPhonebookManagerTest : public VXPhonebookTest
{
protected:
    ~VXPhonebookManagerTest() override { VXSetPhonebookClock(nullptr); }

    QString nameFor(const QString &phonebookString)
    {
        const VXManagedObjectPtr entry = phonebook().entryForPhonebookString(phonebookString);
        return entry ? VXPhonebookEntry::displayString(*entry) : u"-"_s;
    }
};

TEST_F(VXPhonebookManagerTest, NumbersAreFoundByTheirSearchStringsAlone)
{
    start();
    VXManagedObjectContext context(store);
    addPerson(context, {{u"firstName"_s, u"Jane"_s},
                        {u"lastName"_s, u"Doe"_s},
                        {u"numbers"_s, QStringList{u"+44 20 7946 0123/W"_s, u"555-0100/m"_s}},
                        {u"emails"_s, QStringList{u"jane@example.org"_s}}});
    addPerson(context, {{u"firstName"_s, u"Janet"_s}, {u"numbers"_s, QStringList{u"555 0100"_s}}});
    addPerson(context,
              {{u"company"_s, u"Mill"_s}, {u"nickname"_s, u"M"_s}, {u"numbers"_s, QStringList{u"555-0100/W"_s}}});
    addPerson(context, {{u"firstName"_s, u"Berta"_s}, {u"numbers"_s, QStringList{u"+49 30 1234567"_s}}});
    addPerson(context,
              {{u"firstName"_s, u"Carl"_s}, {u"lastName"_s, u"Hill"_s}, {u"numbers"_s, QStringList{u"030 1234567"_s}}});
    addPerson(context, {{u"firstName"_s, u"Dora"_s},
                        {u"lastName"_s, u"Hill"_s},
                        {u"company"_s, u"Mill"_s},
                        {u"numbers"_s, QStringList{u"+44 30 1234567/m"_s}}});
    const struct
    {
        QString asked;
        QString found;
    } cases[] = {
        {u"020 7946 0123"_s, u"Jane Doe"_s},
        {u" Somebody <0044 20 7946 0123>\n"_s, u"Jane Doe"_s},
        {u"7946 0123"_s, u"-"_s},         // a suffix is another number
        {u"99 20 7946 0123 4"_s, u"-"_s}, //
        {u"jane@example.org"_s, u"-"_s},  // addresses are not looked up
        {u"Jane Doe"_s, u"-"_s},          // names neither
        {u"  \n"_s, u"-"_s},
        {u"5550100"_s, u"M"_s},             // of whom most is known
        {u"JANET <5550100>"_s, u"Janet"_s}, // whom the name names
        {u"<5550100/m>"_s, u"Jane Doe"_s},  // whose number is of that kind
        {u"+49 30 1234567"_s, u"Berta"_s},  // with its country
        {u"0049 30 1234567"_s, u"Berta"_s}, //
        {u"+44 30 1234567"_s, u"Dora Hill"_s},
        {u"Dora <+49 30 1234567/m>"_s, u"Berta"_s}, // Dora's is in another country
        {u"+43 30 1234567"_s, u"Carl Hill"_s},      // the others' are
        {u"Carl Hill <+49 30 1234567>"_s, u"Carl Hill"_s},
        {u"030 1234567"_s, u"Dora Hill"_s}, // of whom most is known
    };
    for (const auto &each : cases)
        EXPECT_EQ(nameFor(each.asked), each.found) << each.asked.toStdString();
}

TEST_F(VXPhonebookManagerTest, AnswersAreKeptUntilASaveAnywhereOrForFiveSeconds)
{
    VXPluginFixture{.identifier = u"org.example.knows"_s,
                    .kind = u"VXPhonebookPlugin"_s,
                    .info = {{u"VXFixtureName"_s, u"Answer"_s}},
                    .code = u"PhonebookFixture.so"_s}
        .write(shared());
    start({u"org.example.knows"_s});
    VXSetPhonebookClock(testClock);
    EXPECT_EQ(nameFor(u"555 0100"_s), u"Answer 1"_s);
    EXPECT_EQ(nameFor(u" 555 0100 "_s), u"Answer 1"_s); // without a look-up
    EXPECT_EQ(nameFor(u"555 0101"_s), u"Answer 2"_s);
    testTime = 4;
    EXPECT_EQ(nameFor(u"555 0100"_s), u"Answer 1"_s);
    testTime = 5; // no event loop has run meanwhile
    EXPECT_EQ(nameFor(u"555 0100"_s), u"Answer 3"_s);
    phonebook().removeFromCache(u"555 0100"_s);
    EXPECT_EQ(nameFor(u"555 0100"_s), u"Answer 4"_s);
    const VXManagedObjectPtr held = phonebook().entryForPhonebookString(u"555 0100"_s);
    std::thread([this] { // a save of another context, on another thread
        VXManagedObjectContext context(store);
        addPerson(context, {{u"firstName"_s, u"Bob"_s}});
    })
        .join();
    EXPECT_EQ(nameFor(u"555 0100"_s), u"Answer 5"_s);
    EXPECT_EQ(held->managedObjectContext(), nullptr); // the context was reset
    // That there is none is kept too, and found out anew.
    EXPECT_EQ(nameFor(u"zoe@example.org"_s), u"-"_s);
    EXPECT_EQ(nameFor(u"zoe@example.org"_s), u"-"_s);
}

TEST_F(VXPhonebookManagerTest, OfManyPluginsTheMostInformativeEntryCounts)
{
    const auto write = [&](const QString &identifier, const QVariantMap &info) {
        VXPluginFixture{
            .identifier = identifier, .kind = u"VXPhonebookPlugin"_s, .info = info, .code = u"PhonebookFixture.so"_s}
            .write(shared());
    };
    write(u"org.example.a"_s, {{u"VXFixtureName"_s, u"A"_s}});
    write(u"org.example.b"_s, {{u"VXFixtureName"_s, u"B"_s}, {u"VXFixtureForeign"_s, true}});
    write(u"org.example.c"_s, {{u"VXFixtureThrows"_s, true}});
    write(u"org.example.d"_s, {});
    start({u"org.example.a"_s, u"org.example.b"_s, u"org.example.c"_s, u"org.example.d"_s});
    QStringList order;
    for (const VXPluginProxy *const proxy : manager().phonebookPlugins())
        order.append(proxy->identifier());
    const bool aIsLater = order.indexOf(u"org.example.a"_s) > order.indexOf(u"org.example.b"_s);
    EXPECT_EQ(nameFor(u"555 0100"_s), aIsLater ? u"A 1"_s : u"B 1"_s); // of equal ones the later plugin's
    const VXManagedObjectPtr entry = phonebook().entryForPhonebookString(u"555 0100"_s);
    EXPECT_EQ(entry->managedObjectContext(), phonebook().managedObjectContext()); // copied when it is another's
    VXManagedObjectContext context(store);
    addPerson(context,
              {{u"firstName"_s, u"Jane"_s}, {u"company"_s, u"Mill"_s}, {u"numbers"_s, QStringList{u"555 0100"_s}}});
    EXPECT_EQ(nameFor(u"555 0100"_s), u"Jane"_s);
    EXPECT_THAT(log.lines().join(u'\n').toStdString(), HasSubstr("org.example.c"));
}

TEST_F(VXPhonebookManagerTest, CompletionsOfManyPluginsAreUnited)
{
    for (const auto &[identifier, texts] : {std::pair(u"org.example.a"_s, QStringList{u"b"_s, u"A"_s, u"e"_s}),
                                            std::pair(u"org.example.b"_s, QStringList{u"C"_s, u"d"_s, u"b"_s})})
        VXPluginFixture{.identifier = identifier,
                        .kind = u"VXPhonebookPlugin"_s,
                        .info = {{u"VXFixtureCompletions"_s, texts}},
                        .code = u"PhonebookFixture.so"_s}
            .write(shared());
    start({u"org.example.a"_s, u"org.example.b"_s});
    int selected = -7;
    EXPECT_THAT(phonebook().completionsForSubstring(u"x"_s, VXPhonebookPropertyAll, 3, &selected),
                ElementsAre(u"A"_s, u"b"_s, u"C"_s));
    EXPECT_EQ(selected, -7);
    EXPECT_EQ(VXReasonOfAssertion([&] { phonebook().completionsForSubstring(u"x"_s, 0, 3); }),
              u"thePropertyMask can not be 0, no results would match"_s);
    EXPECT_EQ(VXReasonOfAssertion([&] { phonebook().completionsForSubstring(u"x"_s, 1, 0); }),
              u"theResultsCountMax can not be 0, no results would match"_s);
}

TEST_F(VXPhonebookManagerTest, WithoutTheStoreNothingIsFoundButALaterCallTriesAgain)
{
    EXPECT_EQ(phonebook().managedObjectContext(), nullptr);
    EXPECT_EQ(log.count(u"phonebook store has not loaded yet"_s), 1);
    EXPECT_EQ(nameFor(u"555 0100"_s), u"-"_s);
    EXPECT_TRUE(phonebook().completionsForSubstring(u"j"_s, VXPhonebookPropertyAll, 3).isEmpty());
    start();
    EXPECT_NE(phonebook().managedObjectContext(), nullptr);
}

TEST_F(VXPhonebookManagerTest, EntriesThatAPluginSuppliedGoWithIt)
{
    VXPluginFixture{.identifier = u"org.example.a"_s, .kind = u"VXPhonebookPlugin"_s, .code = u"PhonebookFixture.so"_s}
        .write(shared());
    start({u"org.example.a"_s});
    VXManagedObjectContext context(store);
    addPerson(context, {{u"firstName"_s, u"Own"_s}, {u"numbers"_s, QStringList{u"555 0100"_s}}});
    addPerson(context, {{u"firstName"_s, u"Owner"_s}, {u"url_string"_s, u"com.halvern.VNX2.plugin.phonebook/1"_s}});
    addPerson(context, {{u"firstName"_s, u"Supplied"_s},
                        {u"url_string"_s, u"org.example.a/1"_s},
                        {u"numbers"_s, QStringList{u"555 0101"_s}}});
    const VXManagedObjectPtr group = context.insertNewObject(u"VXGroup"_s);
    set(group, {{u"name"_s, u"Theirs"_s}, {u"url_string"_s, u"org.example.a/g"_s}});
    ASSERT_TRUE(context.save());
    EXPECT_EQ(VXPhonebookManager::phonebookEntriesWithPathPrefix(u"org.example.a"_s, context).size(), 2);
    // Nobody has looked anything up yet.
    manager().disablePluginProxy(plugin(u"org.example.a"_s));
    EXPECT_EQ(nameFor(u"555 0101"_s), u"-"_s);
    EXPECT_EQ(nameFor(u"555 0100"_s), u"Own"_s);
    manager().shutdown();
    VXManagedObjectContext later(store);
    EXPECT_EQ(later.countForFetchRequest(VXFetchRequest(*store->model().entityForName(u"VXPerson"_s))), 2);
    EXPECT_EQ(later.countForFetchRequest(VXFetchRequest(*store->model().entityForName(u"VXGroup"_s))), 0);
}

TEST_F(VXPhonebookManagerTest, ALookUpIsOneIndexedFetch)
{
    VXStatementRecorder statements;
    start();
    {
        VXManagedObjectContext context(store);
        addPerson(context, {{u"firstName"_s, u"Jane"_s}, {u"numbers"_s, QStringList{u"555 0100"_s}}});
    }
    phonebook().entryForPhonebookString(u"555 0199"_s); // opens what is opened once
    statements.take();
    const VXManagedObjectPtr entry = phonebook().entryForPhonebookString(u"555 0100"_s);
    const QStringList ofEntry = statements.take();
    const QStringList completions = phonebook().completionsForSubstring(u"ja"_s, VXPhonebookPropertyAll, 10);
    const QStringList ofCompletions = statements.take();
    VXPhonebookManager::phonebookEntriesWithPathPrefix(u"org.example"_s, *phonebook().managedObjectContext());
    const QStringList ofPrefix = statements.take();
    ASSERT_TRUE(entry);
    EXPECT_EQ(completions.size(), 1);
    const QString file = path(u".local/share/Vornix 2/Data/phonebook.vxdatastore/phonebook.sqlite"_s);
    ASSERT_EQ(ofEntry.size(), 1) << ofEntry.join(u'\n').toStdString();
    EXPECT_THAT(VXQueryPlan(file, ofEntry.constFirst()),
                ElementsAre(u"SEARCH t0 USING INDEX VX_VXPhoneNumber:search (search=?)"_s));
    // Beginnings are found by the index too, and come in its order: nothing is sorted.
    const auto words = std::ranges::find_if(ofCompletions, [](const QString &each) { return each.contains(u"key"); });
    ASSERT_NE(words, ofCompletions.cend());
    EXPECT_THAT(VXQueryPlan(file, *words),
                ElementsAre(u"SEARCH t0 USING INDEX VX_VXSearchWord:key (key>? AND key<?)"_s));
    ASSERT_EQ(ofPrefix.size(), 4);
    for (const QString &each : ofPrefix)
        EXPECT_THAT(VXQueryPlan(file, each).join(u'\n').toStdString(), HasSubstr("url_string>? AND url_string<?"));
}

TEST_F(VXPhonebookManagerTest, ManyContactsTakeAsManyStatementsAsFew)
{
    VXStatementRecorder statements;
    start();
    QList<qsizetype> counts;
    for (const int count : {2, 18}) {
        VXManagedObjectContext context(store);
        for (int i = 0; i < count; ++i)
            addPerson(context, {{u"lastName"_s, u"Doe%1"_s.arg(i)}, {u"numbers"_s, QStringList{u"555 0100"_s}}});
        statements.take();
        EXPECT_TRUE(phonebook().entryForPhonebookString(u"555 0100"_s));
        EXPECT_FALSE(phonebook().completionsForSubstring(u"555 do"_s, VXPhonebookPropertyAll, 10).isEmpty());
        counts.append(statements.take().size());
    }
    EXPECT_EQ(counts[0], counts[1]);
}

TEST_F(VXPhonebookManagerTest, TwoThreadsLookUpWhileAThirdSaves)
{
    start();
    {
        VXManagedObjectContext context(store);
        addPerson(context, {{u"firstName"_s, u"Jane"_s}, {u"numbers"_s, QStringList{u"555 0100"_s}}});
    }
    std::atomic<bool> isDone = false;
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (int number = 0; number < 2; ++number) {
        threads.emplace_back([&] {
            while (!isDone) {
                wrong += nameFor(u"555 0100"_s) == u"Jane"_s ? 0 : 1;
                wrong += phonebook().completionsForSubstring(u"ja"_s, VXPhonebookPropertyAll, 5).isEmpty() ? 1 : 0;
            }
        });
    }
    std::thread writer([&] {
        VXManagedObjectContext context(store);
        for (int number = 0; number < 40; ++number)
            addPerson(context, {{u"firstName"_s, u"Bob"_s}, {u"numbers"_s, QStringList{u"555 0200"_s}}});
        isDone = true;
    });
    writer.join();
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(log.count(u"<ERROR>"_s), 0) << log.lines().join(u'\n').toStdString();
}

// -- Entries

TEST_F(VXPhonebookManagerTest, EntriesHaveNames)
{
    start();
    VXManagedObjectContext context(store);
    const struct
    {
        QVariantMap values;
        QString name;
        QString lastFirst;
    } cases[] = {
        {{{u"firstName"_s, u"Jane"_s}, {u"lastName"_s, u"Doe"_s}}, u"Jane Doe"_s, u"Doe Jane"_s},
        {{{u"firstName"_s, u"Jane"_s}, {u"nickname"_s, u"J"_s}}, u"Jane"_s, u"Jane"_s},
        {{{u"lastName"_s, u"Doe"_s}}, u"Doe"_s, u"Doe"_s},
        {{{u"nickname"_s, u"J"_s}, {u"company"_s, u"Mill"_s}}, u"J"_s, u"J"_s},
        {{{u"company"_s, u"Mill"_s}}, u"Mill"_s, u"Mill"_s},
        {{}, {}, {}},
    };
    for (const auto &each : cases) {
        QVariantMap values = each.values;
        values.insert(u"numbers"_s, QStringList{u"555 0100/Hm"_s});
        const VXManagedObjectPtr person = addPerson(context, values);
        const auto number = person->valueForKey(u"numbers"_s).toList().constFirst().value<VXManagedObjectPtr>();
        for (const bool lastFirst : {false, true}) {
            VXUserDefaults::standardUserDefaults().setObject(lastFirst ? 1 : 0, u"phonebook.names.last_first"_s);
            const QString name = lastFirst ? each.lastFirst : each.name;
            EXPECT_EQ(VXPhonebookEntry::displayString(*person), name);
            EXPECT_EQ(VXPhonebookEntry::displayString(*number), name.isNull() ? u"555 0100"_s : name);
            EXPECT_EQ(VXPhonebookEntry::phonebookString(*number),
                      name.isNull() ? u"<555 0100/Hm>"_s : name + u" <555 0100/Hm>"_s);
        }
    }
    const VXManagedObjectPtr word = context.insertNewObject(u"VXSearchWord"_s);
    EXPECT_THAT(VXReasonOfAssertion([&] { VXPhonebookEntry::displayString(*word); }).toStdString(),
                testing::StartsWith("Unknown entity VXSearchWord: x-coredata:"));
}

TEST_F(VXPhonebookManagerTest, WhatIsKnownOfAnEntryIsItsValue)
{
    start();
    VXManagedObjectContext context(store);
    const VXManagedObjectPtr person = addPerson(context, {{u"firstName"_s, u"Jane"_s},
                                                          {u"lastName"_s, u"Doe"_s},
                                                          {u"nickname"_s, u"J"_s},
                                                          {u"company"_s, u"Mill"_s},
                                                          {u"image"_s, QByteArray("png")},
                                                          {u"numbers"_s, QStringList{u"1234"_s, u"555 0100"_s}},
                                                          {u"emails"_s, QStringList{u"jane@example.org"_s}}});
    const VXManagedObjectPtr group = context.insertNewObject(u"VXGroup"_s);
    set(group, {{u"name"_s, u"Family"_s}, {u"members"_s, QVariantList{QVariant::fromValue(person)}}});
    ASSERT_TRUE(context.save());
    const auto number = person->valueForKey(u"numbers"_s).toList().constFirst().value<VXManagedObjectPtr>();
    EXPECT_EQ(VXPhonebookEntry::informativeValue(*person), 155 + 4);
    EXPECT_EQ(VXPhonebookEntry::informativeValue(*number), 155 + 4);
    EXPECT_EQ(VXPhonebookEntry::informativeValue(*group), 101);
    EXPECT_EQ(phonebook().imageForPhonebookString(u"x <555 0100>"_s), "png");
    EXPECT_EQ(phonebook().imageForPhonebookString(u"x <555 0100 ext. 7>"_s), "png");
    EXPECT_EQ(phonebook().imageForPhonebookString(u"Family { Jane <555 0100> }"_s), QByteArray());
    number->setValueForKey({}, u"person"_s);
    EXPECT_EQ(VXPhonebookEntry::informativeValue(*number), 0);
    context.deleteObject(number);
    EXPECT_FALSE(VXPhonebookEntry::copyPhoneNumberIntoContext(*number, context));
}
