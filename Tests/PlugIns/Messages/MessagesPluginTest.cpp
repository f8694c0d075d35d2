#include "MessagesPluginTest.h"

#include "VXConversationKey.h"
#include "VXDataPlugin.h"
#include "VXEventManager.h"
#include "VXSmartFilter.h"
#include "VXTestSQL.h"

#include <QtCore/QDateTime>
#include <QtCore/QDir>

#include <thread>

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

const QString phone = u"vxdevice://localhost/plugin/phone"_s;
const QString jane = u"Jane <+1 555 0100>"_s;

QDateTime at(int seconds)
{
    return QDateTime::fromString(u"2026-03-01T10:00:00Z"_s, Qt::ISODate).addSecs(seconds);
}

void arrive(const QVariantMap &message)
{
    VXEventManager::sharedEventManager().postEventWithName(u"new_message"_s, {}, message);
}

QVariantMap partOf(const QString &from, int reference, int number, int count, const QString &text)
{
    return {{u"from"_s, from},
            {u"device_url"_s, phone},
            {u"date"_s, at(number)},
            {u"text"_s, text},
            {u"url"_s, u"%1/messages/ME/%2"_s.arg(phone).arg(number)},
            {u"isComplete"_s, false},
            {u"reference"_s, reference},
            {u"partNumber"_s, number},
            {u"partCount"_s, count}};
}

} // namespace

TEST_F(MessagesPluginTest, RootFoldersAreMadeAndDoubledOnesBecomeOne)
{
    VXManagedObjectContext context(store->coordinator());
    for (const QString &name : {VXInboxFolder, VXSentFolder, VXDraftsFolder, VXTrashFolder, VXUserRootFolder})
        EXPECT_TRUE(VXFetchRootFolder(name, &context));
    const VXManagedObjectPtr second = context.insertNewObject(u"VXRootFolder"_s);
    second->setValueForKey(VXInboxFolder, u"root_name"_s);
    VXMessageRecord record;
    record.text = u"kept"_s;
    VXMessageStore::insertMessage(record, second);
    ASSERT_TRUE(context.save());
    auto &data = plugin(u"com.halvern.VNX2.plugin.messages"_s)->as<VXDataPlugin>("validateManagedObjectContext:error:");
    EXPECT_TRUE(data.validateManagedObjectContext(context, nullptr)); // as at the next start
    EXPECT_TRUE(VXFetchRootFolder(VXInboxFolder, &context));
    EXPECT_THAT(shownIn(VXInboxFolder), ElementsAre(u"0 kept"_s));

    // What another makes or merges is the other's to save, all at once or not at all.
    context.deleteObject(VXFetchRootFolder(VXTrashFolder, &context));
    EXPECT_TRUE(data.validateManagedObjectContext(context, nullptr));
    EXPECT_TRUE(VXFetchRootFolder(VXTrashFolder, &context)->isInserted());
    context.rollback();

    const QString aside = data.dataStorePath() + ".upgrading"_L1; // as while it is upgraded
    ASSERT_TRUE(QDir().rename(data.dataStorePath(), aside));
    VXError error;
    EXPECT_TRUE(data.validateManagedObjectContext(context, &error)) << error.description().toStdString();
    EXPECT_TRUE(QDir().rename(aside, data.dataStorePath()));
}

// As a merge of another copy of the store brings them.
TEST_F(MessagesPluginTest, FoldersOfAPhoneThatAreThereTwiceBecomeOne)
{
    const auto message = [](int number, const QString &text) {
        return QVariantMap{{u"from"_s, jane},       {u"device_url"_s, phone},
                           {u"date"_s, at(number)}, {u"state"_s, 1},
                           {u"text"_s, text},       {u"url"_s, u"%1/messages/ME/%2"_s.arg(phone).arg(number)}};
    };
    arrive(message(1, u"in both"_s));
    arrive(message(2, u"moved there"_s));
    arrive(message(3, u"only here"_s));
    VXManagedObjectContext context(store->coordinator());
    const VXManagedObjectPtr first = store->folderForText(phone, context);
    ASSERT_TRUE(store->insertFolder(u"Family"_s, context) && context.save());
    const VXManagedObjectPtr second = context.insertNewObject(u"VXDeviceFolder"_s);
    second->setValueForKey(phone, u"url_search"_s);
    for (const VXManagedObjectPtr &smart :
         first->relatedObjects(first->entity().propertyForName(u"smartFolders"_s)->index())) {
        const VXManagedObjectPtr copy = context.insertNewObject(smart->entity());
        copy->setValueForKey(QVariant::fromValue(second), u"deviceFolder"_s);
        copy->setValueForKey(smart->valueForKey(u"parent"_s), u"parent"_s);
        const auto filter = smart->valueForKey(u"filter"_s).value<VXManagedObjectPtr>();
        VXMessageStore::setFilter(copy, *dynamic_cast<const VXSmartFilter &>(*filter).predicate());
    }
    const VXManagedObjectPtr family = context.insertNewObject(u"VXUserFolder"_s);
    family->setValueForKey(u"family"_s, u"name"_s);
    family->setValueForKey(QVariant::fromValue(VXFetchRootFolder(VXUserRootFolder, &context)), u"parent"_s);
    VXMarkMessageAsRead(VXMessageStore::insertMessage(VXMessageRecord(message(1, u"in both"_s)), second));
    VXMessageStore::insertMessage(VXMessageRecord(message(2, u"moved there"_s)), second)
        ->setValueForKey(1, u"pending"_s);
    VXMessageStore::insertMessage(VXMessageRecord(message(2, u"moved there"_s)), second); // came twice there
    VXMessageStore::insertMessage(VXMessageRecord(message(4, u"only there"_s)), second);
    ASSERT_TRUE(context.save());

    auto &data = plugin(u"com.halvern.VNX2.plugin.messages"_s)->as<VXDataPlugin>("validateManagedObjectContext:error:");
    EXPECT_TRUE(data.validateManagedObjectContext(context, nullptr));
    const QStringList shown{u"1 only there"_s, u"1 only here"_s, u"1 moved there"_s, u"3 in both"_s};
    EXPECT_EQ(shownIn(phone), shown);
    EXPECT_EQ(shownIn(VXInboxFolder), shown);
    VXManagedObjectContext after(store->coordinator());
    const auto count = [&](const QString &entity, const QString &condition) {
        VXFetchRequest request(*store->coordinator()->model().entityForName(entity));
        request.predicate = *VXPredicate::predicateWithFormat(condition);
        return after.countForFetchRequest(request);
    };
    const std::tuple<QString, QString, qsizetype> cases[] = {
        {u"VXDeviceFolder"_s, u"TRUEPREDICATE"_s, 1}, {u"VXSmartDeviceFolder"_s, u"TRUEPREDICATE"_s, 3},
        {u"VXUserFolder"_s, u"TRUEPREDICATE"_s, 1},   {u"VXMessage"_s, u"TRUEPREDICATE"_s, 5},
        {u"VXMessage"_s, u"pending == 1"_s, 1},       {u"VXMessage"_s, u"pending == 3 AND state == 3"_s, 1},
        {u"VXFolderFilter"_s, u"TRUEPREDICATE"_s, 3}};
    for (const auto &[entity, condition, expected] : cases)
        EXPECT_EQ(count(entity, condition), expected) << entity.toStdString() << condition.toStdString();
}

TEST_F(MessagesPluginTest, NewMessagesAreFiledOnceWhereTheyBelong)
{
    arrive({{u"from"_s, jane}, {u"text"_s, u"no phone"_s}, {u"date"_s, at(0)}});
    const QVariantMap onPhone{{u"from"_s, jane},
                              {u"text"_s, u"by phone"_s},
                              {u"date"_s, at(1)},
                              {u"device_url"_s, phone},
                              {u"url"_s, phone + "/messages/ME/1"_L1}};
    arrive(onPhone);
    arrive(onPhone);                                 // told twice
    arrive({{u"from"_s, jane}, {u"date"_s, at(2)}}); // has no text
    arrive({{u"to"_s, jane}, {u"text"_s, u"x"_s}, {u"device_url"_s, phone}, {u"date"_s, at(3)}, {u"state"_s, 0}});
    VXEventManager::sharedEventManager().postEventWithName(u"other"_s, {}, onPhone);
    EXPECT_THAT(shownIn(phone), ElementsAre(u"0 x"_s, u"1 by phone"_s));
    EXPECT_THAT(shownIn(VXInboxFolder), ElementsAre(u"1 by phone"_s, u"1 no phone"_s)); // the phone's too
    EXPECT_THAT(shownIn(VXDraftsFolder), ElementsAre(u"0 x"_s));
    EXPECT_THAT(shownIn(VXSentFolder), IsEmpty());
    arrive({{u"text"_s, u"nobody"_s}, {u"date"_s, at(4)}}); // not known from whom
    arrive({{u"to"_s, jane}, {u"text"_s, u"to her"_s}, {u"date"_s, at(5)}});
    EXPECT_THAT(shownIn(VXInboxFolder), ElementsAre(u"1 nobody"_s, u"1 by phone"_s, u"1 no phone"_s));
    EXPECT_THAT(shownIn(VXSentFolder), ElementsAre(u"2 to her"_s));

    VXManagedObjectContext context(store->coordinator());
    const auto found = store->findMessages(VXMessageRecord(onPhone), {}, context);
    ASSERT_EQ(found->size(), 1);
    EXPECT_EQ(found->first()->valueForKey(u"url"_s), phone + "/messages/ME/1"_L1);
    EXPECT_EQ(found->first()->valueForKey(u"otherParty_search"_s), u"Jane 5550100"_s);
    VXEventManager::sharedEventManager().postEventWithName(u"new_message"_s, {}, QVariant::fromValue(found->first()));
    EXPECT_EQ(shownIn(phone).size(), 2); // it is filed already
}

// What lies on a phone would come back with the next sync, were it only deleted here.
TEST_F(MessagesPluginTest, WhatLiesOnAPhoneIsDeletedThereToo)
{
    for (const int number : {1, 2, 3})
        arrive({{u"from"_s, jane},
                {u"device_url"_s, phone},
                {u"date"_s, at(number)},
                {u"state"_s, number == 3 ? 1 : 3},
                {u"text"_s, u"text %1"_s.arg(number)},
                {u"url"_s, u"%1/messages/ME/%2"_s.arg(phone).arg(number)}});
    VXManagedObjectContext context(store->coordinator());
    const VXManagedObjectPtr folder = store->folderForText(phone, context);
    const VXPredicate isUnread = *VXPredicate::predicateWithFormat(u"state == 1"_s);
    const VXManagedObjectPtr smart = store->insertSmartFolder(u"News"_s, folder, isUnread);
    ASSERT_TRUE(smart && context.save());
    EXPECT_THAT(shownIn(u"news"_s), ElementsAre(u"1 text 3"_s));
    EXPECT_THAT(shownIn(VXUserRootFolder), IsEmpty()); // it stands beside it
    EXPECT_EQ(store->folders(context)->at(5), smart);
    EXPECT_FALSE(store->insertFolder(u"NEWS"_s, context));

    const auto all = context.executeFetchRequest(*store->messagesOfFolder(folder));
    VXMessageStore::deleteMessage(all->at(2));
    ASSERT_TRUE(context.save());
    EXPECT_EQ(all->at(2)->valueForKey(u"pending"_s), static_cast<int>(VXPendingChange::Remove));
    EXPECT_EQ(shownIn(phone), (QStringList{u"1 text 3"_s, u"3 text 2"_s}));
    ASSERT_TRUE(store->removeFolder(folder) && context.save()); // of a phone that is there no more
    EXPECT_FALSE(store->folderForText(u"news"_s, context));
    EXPECT_EQ(shownIn(VXTrashFolder), (QStringList{u"1 text 3"_s, u"3 text 2"_s}));
    EXPECT_EQ(store->emptyTrash(), 2);
    const VXFetchRequest left(*store->coordinator()->model().entityForName(VXMessageStore::entityName));
    EXPECT_EQ(context.countForFetchRequest(left), 0);
}

TEST_F(MessagesPluginTest, LongMessagesAppearWhenTheyAreWhole)
{
    const QString bob = u"+1 555 0101"_s;
    arrive(partOf(jane, 7, 3, 3, u"c"_s));
    arrive(partOf(bob, 7, 1, 2, u"B"_s)); // the reference is the sender's
    arrive(partOf(jane, 7, 1, 3, u"a"_s));
    arrive(partOf(jane, 7, 1, 3, u"a"_s)); // told twice
    arrive(partOf(jane, 7, 2, 2, u"z"_s)); // of a message with another number of parts
    EXPECT_THAT(shownIn(VXInboxFolder), IsEmpty());
    arrive(partOf(jane, 7, 2, 3, u"b"_s));
    EXPECT_THAT(shownIn(VXInboxFolder), ElementsAre(u"1 abc"_s));
    arrive(partOf(bob, 7, 2, 2, u"b"_s));
    arrive(partOf(jane, 7, 1, 2, u"y"_s));
    arrive(partOf(jane, 8, 1, 1000, u"all"_s)); // no message has so many
    QVariantMap complete = partOf(jane, 9, 1, 2, u"complete"_s);
    complete[u"isComplete"_s] = true;
    arrive(complete);
    EXPECT_THAT(shownIn(VXInboxFolder),
                testing::UnorderedElementsAre(u"1 abc"_s, u"1 Bb"_s, u"1 yz"_s, u"1 all"_s, u"1 complete"_s));
    VXManagedObjectContext context(store->coordinator());
    VXMessageRecord whole(partOf(jane, 7, 1, 3, u"abc"_s));
    const auto found = store->findMessages(whole, {}, context);
    ASSERT_EQ(found->size(), 1);
    EXPECT_EQ(found->first()->valueForKey(u"url"_s), phone + "/messages/ME/1+2+3"_L1);
    EXPECT_EQ(
        context.countForFetchRequest(VXFetchRequest(*store->coordinator()->model().entityForName(u"VXMessagePart"_s))),
        0);
}

TEST_F(MessagesPluginTest, ReusedReferencesDoNotMix)
{
    arrive(partOf(jane, 7, 1, 2, u"old "_s)); // its second part never came
    arrive(partOf(jane, 7, 1, 2, u"new "_s));
    arrive(partOf(jane, 7, 2, 2, u"end"_s));
    arrive(partOf(jane, 7, 2, 2, u"END"_s)); // begins another one
    EXPECT_THAT(shownIn(VXInboxFolder), ElementsAre(u"1 new end"_s));
    arrive(partOf(jane, 7, 1, 2, u"next "_s));
    EXPECT_EQ(shownIn(VXInboxFolder).size(), 2);
    EXPECT_TRUE(shownIn(VXInboxFolder).contains(u"1 next END"_s));
}

TEST_F(MessagesPluginTest, MessagesFromManyThreadsAreFiledOnceEach)
{
    std::atomic<int> running = 4;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&running] {
            for (int number = 0; number < 10; ++number)
                arrive({{u"from"_s, jane},
                        {u"text"_s, QString::number(number)},
                        {u"date"_s, at(number)},
                        {u"device_url"_s, phone}});
            --running;
        });
    EXPECT_TRUE(VXRunUntil([&] { return running == 0; })); // threads may ask the main one
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_TRUE(VXRunUntil([&] { return shownIn(phone).size() == 10; }));
}

TEST_F(MessagesPluginTest, TheNewestOfSeveralFoldersOrNumbersAreChosenAmongAll)
{
    const QStringList parties{jane, u"Jane <+1 555 0101>"_s};
    for (int number = 0; number < 12; ++number) {
        QVariantMap message{
            {u"from"_s, parties[number / 2 % 2]}, {u"text"_s, QString::number(number)}, {u"date"_s, at(number)}};
        if (number % 3 != 0)
            message.insert(u"device_url"_s, phone + QString::number(number % 3));
        arrive(message);
    }
    VXManagedObjectContext context(store->coordinator());
    const QStringList keys{VXConversationKey(parties[0]), VXConversationKey(parties[1])};
    const VXManagedObjectPtr inbox = VXFetchRootFolder(VXInboxFolder, &context);
    for (const qsizetype limit : {0, 1, 5, 12, 100}) {
        QStringList expected;
        for (int number = 11; number >= 0 && (limit == 0 || expected.size() < limit); --number)
            expected.append(QString::number(number));
        for (const auto &found :
             {store->newestOfFolder(inbox, limit), store->newestOfConversations(keys, limit, context)}) {
            ASSERT_TRUE(found);
            QStringList texts;
            for (const VXManagedObjectPtr &message : *found)
                texts.append(message->valueForKey(u"text"_s).toString());
            EXPECT_EQ(texts, expected) << limit;
        }
    }
}

TEST_F(MessagesPluginTest, AConversationIsOneFetchByItsIndex)
{
    const QStringList forms{u"Jane <+1 555 0100>"_s, u"+15550100"_s, u"<1 555 0100/m>"_s};
    VXManagedObjectContext context(store->coordinator());
    const VXManagedObjectPtr inbox = VXFetchRootFolder(VXInboxFolder, &context);
    QStringList expected;
    for (int number = 0; number < 300; ++number) {
        VXMessageRecord record;
        const bool isHers = number % 3 == 0;
        record.direction = number % 2 == 0 ? VXRecordDirection::Incoming : VXRecordDirection::Outgoing;
        record.setOtherParty(isHers ? forms[number % forms.size()] : u"+1 555 %1"_s.arg(2000 + number));
        record.text = QString::number(number);
        record.date = at(number);
        VXMessageStore::insertMessage(record, inbox);
        if (isHers)
            expected.prepend(record.text);
    }
    ASSERT_TRUE(context.save());

    VXStatementRecorder recorder;
    const QString database = store->coordinator()->persistentStores().constFirst()->path();
    const auto traced = VXPersistentStoreCoordinator::coordinatorWithModel(store->coordinator()->modelPtr());
    ASSERT_TRUE(traced->addPersistentStore(VXStoreType::SQLite, database, {.isReadOnly = true}));
    VXManagedObjectContext reader(traced);
    VXFetchRequest request = VXMessageStore(traced).messagesOfConversation(VXConversationKey(forms[1]));
    request.limit = 50;
    recorder.take();
    QStringList texts;
    const auto newest = reader.executeFetchRequest(request);
    for (const VXManagedObjectPtr &message : *newest)
        texts.append(message->valueForKey(u"text"_s).toString());
    EXPECT_EQ(texts, expected.first(50));
    const QStringList statements = recorder.take().filter(u"FROM \"VX_VXMessage\""_s);
    ASSERT_EQ(statements.size(), 1);
    const std::string whole = VXQueryPlan(database, statements.first()).join(u'\n').toStdString();
    EXPECT_THAT(whole, HasSubstr("USING INDEX VX_VXMessage:conversation,date (conversation=?)"));
    EXPECT_THAT(whole, testing::Not(HasSubstr("SCAN")));
    EXPECT_THAT(whole, testing::Not(HasSubstr("TEMP B-TREE FOR ORDER BY"))); // only equal dates are sorted, by number
}
