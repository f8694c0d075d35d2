#include "MessagesPluginTest.h"

#include "MessageDataConstants.h"
#include "VXDataManager.h"
#include "VXDeviceAction.h"
#include "VXDevicePlugin.h"
#include "VXDeviceURL.h"
#include "VXErrorDomain.h"
#include "VXOutgoingMessage.h"

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/** A phone whose answers the test decides. */
class ScriptedPhone : public VXDevicePlugin
{
public:
    QVariant result;
    VXError error;
    QVariantList sent;
    QVariantList stored; // what it has itself

    bool takesTime = false; // until `answer`

    void send(VXDeviceAction *action)
    {
        sent.append(action->object());
        _asked = action;
        if (!takesTime)
            answer();
    }
    void read(VXDeviceAction *action)
    {
        action->setResult(QVariantMap{{u"items"_s, stored}, {u"isComplete"_s, true}});
        action->conclude();
    }
    void answer()
    {
        _asked->setResult(result);
        _asked->setError(error);
        _asked->conclude();
    }

private:
    VXDeviceAction *_asked = nullptr;
};

} // namespace

class VXMessageDeliveryTest : public MessagesPluginTest
{
protected:
    VXMessageDeliveryTest() : outbox(VXOutbox::sharedOutbox())
    {
        phone->initWithURL(url);
        phone->registerActionHandler(u"send_message"_s, phone, &ScriptedPhone::send);
        phone->registerActionHandler(u"read_messages"_s, phone, &ScriptedPhone::read);
        VXDevicePlugin::addDevice(held);
    }
    ~VXMessageDeliveryTest() override { VXDevicePlugin::removeDeviceAtURL(url); }

    /** The entry once a try has ended. */
    VXOutboxEntry tried(qint64 number) const
    {
        EXPECT_TRUE(VXRunUntil([&] {
            const auto entry = outbox->entry(number);
            return entry && entry->attempts > 0 && entry->state != VXOutboxState::Sending;
        }));
        return outbox->entry(number).value_or(VXOutboxEntry());
    }

    const QUrl url = VXMakeDeviceURL({}, u"plugin"_s, u"phone"_s);
    ScriptedPhone *const phone = new ScriptedPhone;
    const VXDevicePlugin::Ptr held = VXDevicePlugin::hold(phone);
    const std::optional<VXOutbox> outbox;
};

TEST_F(VXMessageDeliveryTest, WhatWasSentIsFiledAsSent)
{
    QStringList heard;
    const auto hear = [&](const VXNotificationName &name, const QString &word) {
        VXNotificationCenter::defaultCenter().addObserver(held.get(), name, [&heard, word](const VXNotification &n) {
            heard.append(word + u' ' + n.object.toMap().value(u"text"_s).toString());
        });
    };
    hear(VXMessageWillSendNotification, u"will"_s);
    hear(VXMessageDidSendNotification, u"did"_s);
    phone->takesTime = true;
    const auto number = VXOutgoingMessage::send(u"Jane <+1 555 0100>"_s, u"Hi"_s, url, *store, *outbox);
    ASSERT_TRUE(number);
    EXPECT_THAT(shownIn(VXDraftsFolder), ElementsAre(u"0 Hi"_s));
    EXPECT_EQ(outbox->entry(*number)->state, VXOutboxState::Sending);
    phone->answer();
    EXPECT_EQ(tried(*number).state, VXOutboxState::Sent);
    EXPECT_TRUE(VXRunUntil([&] { return shownIn(VXSentFolder) == QStringList{u"2 Hi"_s}; }));
    EXPECT_THAT(shownIn(VXDraftsFolder), IsEmpty());
    EXPECT_EQ(phone->sent, (QVariantList{QVariantMap{{u"number"_s, u"+1 555 0100"_s}, {u"text"_s, u"Hi"_s}}}));
    EXPECT_THAT(heard, ElementsAre(u"will Hi"_s, u"did Hi"_s));
}

TEST_F(VXMessageDeliveryTest, APhoneThatIsBackGetsWhatWaits)
{
    phone->result = QVariantMap{{u"failure"_s, u"later"_s}};
    phone->error = VXMakeError(u"away"_s);
    const auto number = VXOutgoingMessage::send(u"+1 555 0100"_s, u"Hi"_s, url, *store, *outbox);
    EXPECT_EQ(tried(*number).state, VXOutboxState::Queued);
    phone->error = {};
    phone->setProperty("isConnected", true);
    Q_EMIT phone->didChangeValueForKey(u"isConnecting"_s);
    EXPECT_TRUE(VXRunUntil([&] { return outbox->entry(*number)->state == VXOutboxState::Sent; }));
}

TEST_F(VXMessageDeliveryTest, WhatIsDeletedWhileItWaitsIsNotSent)
{
    phone->result = QVariantMap{{u"failure"_s, u"later"_s}};
    phone->error = VXMakeError(u"away"_s);
    for (const bool isForGood : {false, true}) {
        const auto number = VXOutgoingMessage::send(u"Al <+1 555 0100 ext. 7>"_s, u"Hi"_s, url, *store, *outbox);
        EXPECT_EQ(tried(*number).state, VXOutboxState::Queued);
        phone->sent.clear();
        VXManagedObjectContext context(store->coordinator());
        const auto draft = context.existingObjectWithID(
            store->coordinator()->objectIDForURIRepresentation(VXOutgoingMessage(*outbox->entry(*number)).messageURI));
        ASSERT_TRUE(draft);
        if (isForGood)
            VXMessageStore::deleteMessage(draft);
        else
            EXPECT_TRUE(VXMoveMessageToFolder(draft, VXFetchRootFolder(VXTrashFolder, &context), false));
        ASSERT_TRUE(context.save());
        ASSERT_TRUE(outbox->retry(*number));
        EXPECT_TRUE(VXRunUntil([&] { return outbox->entry(*number)->state == VXOutboxState::Failed; }));
        EXPECT_EQ(outbox->entry(*number)->problem, u"The message was deleted before it was sent."_s);
        EXPECT_THAT(phone->sent, IsEmpty());
    }
}

// As a program leaves it that was killed between sending and saving: nobody knows whether it went out.
TEST_F(VXMessageDeliveryTest, WhatWasOnItsWayAtTheEndIsLeftToTheUser)
{
    VXManagedObjectContext messages(store->coordinator());
    VXMessageRecord record;
    record.to = u"+1 555 0100"_s;
    record.text = u"Hi"_s;
    const VXManagedObjectPtr draft =
        VXMessageStore::insertMessage(record, VXFetchRootFolder(VXDraftsFolder, &messages));
    ASSERT_TRUE(messages.save());
    VXManagedObjectContext entries(VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(u"outbox"_s));
    const VXManagedObjectPtr entry = entries.insertNewObject(u"VXOutboxEntry"_s);
    const QVariantMap values{
        {u"kind"_s, VXOutgoingMessage::kind},
        {u"destination"_s, VXAbsoluteString(url)},
        {u"payload"_s, QVariantMap{{u"to"_s, record.to},
                                   {u"text"_s, record.text},
                                   {u"device_url"_s, VXAbsoluteString(url)},
                                   {u"message"_s, draft->objectID().uriRepresentation().toString()}}},
        {u"state"_s, int(VXOutboxState::Sending)},
        {u"attempts"_s, 1},
        {u"createdDate"_s, QDateTime::currentDateTimeUtc()},
        {u"nextDate"_s, QDateTime::currentDateTimeUtc()}};
    for (auto value = values.cbegin(); value != values.cend(); ++value)
        entry->setValueForKey(value.value(), value.key());
    ASSERT_TRUE(entries.save());
    const qint64 number = entry->objectID().number();
    VXNotificationCenter::defaultCenter().postNotificationName(
        VXOutboxDidChangeNotification, VXOutgoingMessage::kind,
        {{VXOutboxNumbersKey, QVariantList{number}}, {VXOutboxChangeKey, static_cast<int>(VXOutboxChange::Due)}});

    EXPECT_EQ(tried(number).state, VXOutboxState::PerhapsSent);
    EXPECT_EQ(tried(number).problem, u"The program ended while it was being sent."_s);
    EXPECT_THAT(phone->sent, IsEmpty()); // never twice by itself
    EXPECT_THAT(shownIn(VXDraftsFolder), ElementsAre(u"0 Hi"_s));
    ASSERT_TRUE(outbox->retry(number)); // the user's word
    EXPECT_TRUE(VXRunUntil([&] { return shownIn(VXSentFolder) == QStringList{u"2 Hi"_s}; }));
    EXPECT_EQ(phone->sent.size(), 1);
    EXPECT_THAT(shownIn(VXDraftsFolder), IsEmpty());
}

// The phone's own copy tells; two, and one of another time, tell nothing.
TEST_F(VXMessageDeliveryTest, WhatWasPerhapsSentIsSettledByThePhonesCopy)
{
    const auto copyOf = [](const QString &text, const QDateTime &date, int place, int state = 2) {
        return QVariantMap{{u"direction"_s, 0}, {u"to"_s, u"+15550100"_s}, {u"text"_s, text},
                           {u"date"_s, date},   {u"state"_s, state},       {u"url"_s, u"phone:/%1"_s.arg(place)}};
    };
    phone->error = VXMakeError(u"no answer"_s);
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const struct
    {
        QString text;
        QVariantList stored;
        VXOutboxState state;
    } cases[] = {
        {u"a"_s, {copyOf(u"a"_s, now, 1)}, VXOutboxState::Sent},
        {u"b"_s, {copyOf(u"b"_s, now, 2), copyOf(u"b"_s, now.addSecs(1), 3)}, VXOutboxState::PerhapsSent},
        {u"c"_s, {copyOf(u"c"_s, now.addDays(-1), 4)}, VXOutboxState::PerhapsSent},
        {u"d"_s, {copyOf(u"d"_s, {}, 5)}, VXOutboxState::PerhapsSent},
        {u"e"_s, {copyOf(u"e"_s, now, 6, 0)}, VXOutboxState::PerhapsSent}, // a draft there
        {u"f"_s, {copyOf(u"F"_s, now, 7)}, VXOutboxState::PerhapsSent},
    };
    QList<qint64> numbers;
    for (const auto &each : cases) {
        const auto number = VXOutgoingMessage::send(u"+1 555 0100"_s, each.text, url, *store, *outbox);
        EXPECT_EQ(tried(*number).state, VXOutboxState::PerhapsSent);
        numbers.append(*number);
        phone->stored += each.stored;
    }
    for (int round = 0; round < 2; ++round) {
        const auto action = VXDeviceAction::actionWithName(u"sync_messages"_s);
        bool isOver = false;
        action->executeWithDevice(held, [&](VXDeviceAction *) { isOver = true; });
        EXPECT_TRUE(VXRunUntil([&] { return isOver; }));
        EXPECT_EQ(action->result().toMap().value(u"added"_s).toInt() > 0, round == 0);
        for (size_t index = 0; index < std::size(cases); ++index)
            EXPECT_EQ(outbox->entry(numbers[qsizetype(index)])->state, cases[index].state)
                << cases[index].text.toStdString();
        EXPECT_FALSE(shownIn(VXDraftsFolder).contains(u"0 a"_s));
        for (const QString &left : {u"0 c"_s, u"0 d"_s, u"0 f"_s})
            EXPECT_TRUE(shownIn(VXDraftsFolder).contains(left));
    }
}

TEST_F(VXMessageDeliveryTest, ItDependsOnThePhonesAnswerWhetherAMessageIsTriedAgain)
{
    const VXError failure = VXMakeError(u"no"_s);
    const struct
    {
        QVariant result;
        VXError error;
        VXOutboxState state;
    } cases[] = {
        {QVariantMap{{u"failure"_s, u"later"_s}}, failure, VXOutboxState::Queued},
        {QVariantMap{{u"failure"_s, u"refused"_s}}, failure, VXOutboxState::Failed},
        {QVariantMap{{u"sentCount"_s, 1}, {u"partCount"_s, 3}}, failure, VXOutboxState::PerhapsSent},
        {{}, failure, VXOutboxState::PerhapsSent}, // nobody knows
    };
    for (const auto &each : cases) {
        phone->result = each.result;
        phone->error = each.error;
        const auto number = VXOutgoingMessage::send(u"+1 555 0100"_s, u"Hi"_s, url, *store, *outbox);
        const VXOutboxEntry entry = tried(*number);
        EXPECT_EQ(entry.state, each.state);
        EXPECT_EQ(entry.problem, u"no"_s);
        EXPECT_EQ(entry.nextDate > QDateTime::currentDateTimeUtc(), each.state == VXOutboxState::Queued);
        EXPECT_TRUE(outbox->drop(*number)); // it would hold up the next one
    }
    EXPECT_EQ(shownIn(VXDraftsFolder).size(), qsizetype(std::size(cases))); // none is lost
    EXPECT_THAT(shownIn(VXSentFolder), IsEmpty());
}

TEST_F(VXMessageDeliveryTest, WithoutThePhoneMessagesWaitOrFail)
{
    VXDevicePlugin::removeDeviceAtURL(url);
    const auto unknown = VXOutgoingMessage::send(u"+1 555 0100"_s, u"Hi"_s, url, *store, *outbox);
    EXPECT_EQ(tried(*unknown).state, VXOutboxState::Failed);
    const QUrl away = VXMakeDeviceURL({}, u"disabled"_s, u"phone"_s);
    VXUserDefaults::standardUserDefaults().setObject(QStringList{VXAbsoluteString(away)}, u"devices21"_s);
    const auto number = VXOutgoingMessage::send(u"+1 555 0100"_s, u"Hi"_s, away, *store, *outbox);
    EXPECT_EQ(tried(*number).state, VXOutboxState::Queued);
    VXError error;
    EXPECT_FALSE(VXOutgoingMessage::send(u"Jane <jane@example.org>"_s, u"Hi"_s, url, *store, *outbox, &error));
    EXPECT_FALSE(error.isNull());
}
