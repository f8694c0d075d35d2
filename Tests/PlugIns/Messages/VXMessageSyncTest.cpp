// Phones that hand over what they have in portions, and not always the truth.

#include "MessagesPluginTest.h"

#include "VXApplication.h"
#include "VXDeviceAction.h"
#include "VXDevicePlugin.h"
#include "VXDeviceURL.h"
#include "VXErrorDomain.h"
#include "VXEventManager.h"
#include "VXStoreWorkLock.h"
#include "VXTestSQL.h"
#include "VXUserDefaults.h"

#include <QtCore/QRandomGenerator>
#include <QtCore/QRegularExpression>
#include <QtCore/QThread>
#include <QtCore/QThreadPool>

#include <algorithm>
#include <limits>
#include <thread>

using namespace Qt::StringLiterals;
using testing::UnorderedElementsAreArray;

namespace {

class PortionPhone : public VXDevicePlugin
{
public:
    QVariantList items;
    qsizetype portion = 2;
    qsizetype lostAfter = -1; // items; the phone is gone then
    qsizetype silentAfter = -1;

    void read(VXDeviceAction *action)
    {
        _asked = action;
        _next = 0;
        readOn();
    }

private:
    void readOn()
    {
        if (silentAfter >= 0 && _next >= silentAfter)
            return;
        if (lostAfter >= 0 && _next >= lostAfter)
            return conclude({}, VXMakeError(u"gone"_s));
        const QVariantList some = items.mid(_next, portion);
        _next += some.size();
        if (some.isEmpty())
            return conclude(QVariantMap{{u"isComplete"_s, true}}, {});
        if (!_asked->handOver([some] { return QVariantMap{{u"items"_s, some}}; }, [this] { readOn(); }))
            conclude(QVariantMap{{u"isComplete"_s, true}, {u"items"_s, items}}, {});
    }
    void conclude(const QVariant &result, const VXError &error)
    {
        _asked->setResult(result);
        _asked->setError(error);
        _asked->conclude();
    }

    VXDeviceAction *_asked = nullptr;
    qsizetype _next = 0;
};

} // namespace

class VXMessageSyncTest : public MessagesPluginTest
{
protected:
    VXMessageSyncTest()
    {
        phone->initWithURL(url);
        phone->registerActionHandler(u"read_messages"_s, phone, &PortionPhone::read);
        VXDevicePlugin::addDevice(held);
    }
    ~VXMessageSyncTest() override { VXDevicePlugin::removeDeviceAtURL(url); }

    void put(const QString &party, const QString &text, int second, const QString &place, bool isIncoming = true)
    {
        QVariantMap item{
            {isIncoming ? u"from"_s : u"to"_s, party},        {u"isInbox"_s, isIncoming},
            {u"state"_s, isIncoming ? u"read"_s : u"sent"_s}, {u"text"_s, text},
            {u"device_url"_s, VXAbsoluteString(url)},         {u"url"_s, VXAbsoluteString(url) + u'/' + place}};
        if (second >= 0)
            item.insert(u"date"_s, QDateTime::fromMSecsSinceEpoch(1'770'000'000'000 + qint64(second) * 1000, Qt::UTC));
        phone->items.append(item);
    }
    std::shared_ptr<VXDeviceAction> begin()
    {
        const auto action = VXDeviceAction::actionWithName(u"sync_messages"_s);
        isOver = false;
        action->executeWithDevice(held, [this](VXDeviceAction *) { isOver = true; });
        return action;
    }
    /** "ADDED CHANGED", and the error. */
    QString sync()
    {
        const auto action = begin();
        double most = 0;
        const QObject listener;
        QObject::connect(action.get(), &VXDeviceAction::progressDidChange, &listener,
                         [&] { most = std::max(most, action->progressValue()); });
        EXPECT_TRUE(VXRunUntil([this] { return isOver; }));
        EXPECT_EQ(most, 0) << "nothing is carried out there";
        const QVariantMap result = action->result().toMap();
        return u"%1 %2 %3"_s.arg(result.value(u"added"_s).toInt())
            .arg(result.value(u"changed"_s).toInt())
            .arg(action->error().localizedDescription())
            .trimmed();
    }
    /** "PLACE TEXT" of all that is in the store. */
    QStringList stored() const
    {
        VXManagedObjectContext context(store->coordinator());
        const VXFetchRequest request(*store->coordinator()->model().entityForName(VXMessageStore::entityName));
        QStringList lines;
        const auto found = context.executeFetchRequest(request);
        for (const VXManagedObjectPtr &message : *found)
            lines.append(message->valueForKey(u"url"_s).toString().section(u'/', -1) + u' ' +
                         message->valueForKey(u"text"_s).toString());
        return lines;
    }
    /** Made by the class of messages alone. */
    qsizetype withoutConversation() const
    {
        return VXRunSQL(database, "SELECT 1 FROM VX_VXMessage WHERE conversation IS NULL").size();
    }
    QStringList onPhone() const
    {
        QStringList lines;
        for (const QVariant &item : phone->items)
            lines.append(item.toMap().value(u"url"_s).toString().section(u'/', -1) + u' ' +
                         item.toMap().value(u"text"_s).toString());
        lines.removeDuplicates();
        return lines;
    }

    const QUrl url = VXMakeDeviceURL({}, u"plugin"_s, u"phone"_s);
    PortionPhone *const phone = new PortionPhone;
    const VXDevicePlugin::Ptr held = VXDevicePlugin::hold(phone);
    const QString database = store->coordinator()->persistentStores().constFirst()->path();
    bool isOver = false;
};

TEST_F(VXMessageSyncTest, WhatAPhoneTellsOddlyIsFiledOnce)
{
    put(u"+49170"_s, u"a"_s, 0, u"1"_s);
    put(u"+49170"_s, u"a"_s, 0, u"1"_s); // told twice
    put(u"+49170"_s, u"a"_s, 1, u"2"_s); // another just the same
    put(u"+49170"_s, u"no date"_s, -1, u"3"_s);
    put(u"+49170"_s, u"no date"_s, -1, u"4"_s, false);
    put(u"Bank24 <VOICE-9x>"_s, u"letters"_s, 5, u"5"_s);
    put({}, u"nobody"_s, 6, u"6"_s);
    put(u"+49170"_s, {}, 7, u"7"_s);           // no text: it is left there
    put(u"+49170"_s, u"arrived"_s, 8, u"8"_s); // what the network says of another
    QVariantMap report = phone->items.takeLast().toMap();
    QVariantMap silent = phone->items.takeLast().toMap();
    report.insert(u"kind"_s, u"report"_s);
    silent.remove(u"text"_s);
    const QStringList expected = onPhone();
    phone->items << silent << report;
    for (const qsizetype portion : {3, 1, 100}) {
        phone->portion = portion;
        EXPECT_EQ(sync(), portion == 3 ? u"6 0"_s : u"0 0"_s);
        EXPECT_THAT(stored(), UnorderedElementsAreArray(expected));
    }
}

// The rest of the phone tells which is which: a place that is taken by another later in the reading.
TEST_F(VXMessageSyncTest, HoweverPlacesChangeEachIsThereOnce)
{
    for (int index = 0; index < 12; ++index)
        put(u"+49170"_s, QString(QChar(u'a' + index % 3)), 600 * (index % 2), QString::number(index), index % 2 == 0);
    EXPECT_EQ(sync(), u"12 0"_s);
    QRandomGenerator chance(1);
    for (int round = 0; round < 20; ++round) {
        QStringList places;
        for (int index = 0; index < 16; ++index)
            places.append(QString::number(index));
        std::shuffle(places.begin(), places.end(), chance);
        for (QVariant &value : phone->items) {
            QVariantMap item = value.toMap();
            item.insert(u"url"_s, QString(VXAbsoluteString(url) + u'/' + places.takeLast()));
            value = item;
        }
        std::shuffle(phone->items.begin(), phone->items.end(), chance);
        phone->portion = 1 + round % 5;
        EXPECT_TRUE(sync().startsWith("0 "_L1));
        EXPECT_THAT(stored(), UnorderedElementsAreArray(onPhone()));
        EXPECT_EQ(sync(), u"0 0"_s);
    }
}

// Cut, told again, out of order, of impossible times, from nobody, two at one place.
TEST_F(VXMessageSyncTest, HoweverAPhoneLiesALaterReadingFilesNothingAgain)
{
    QRandomGenerator chance(7);
    const auto draw = [&chance](int count) { return int(chance.bounded(count)); };
    const QList<QDateTime> dates{QDateTime::fromMSecsSinceEpoch(0, Qt::UTC), QDateTime(QDate(1, 1, 1), {}, Qt::UTC),
                                 QDateTime(QDate(9999, 12, 31), {}, Qt::UTC),
                                 QDateTime(QDate(20000, 1, 1), {}, Qt::UTC),
                                 QDateTime::fromMSecsSinceEpoch(std::numeric_limits<qint64>::max(), Qt::UTC)};
    for (int index = 0; index < 1000; ++index) {
        put(u"+4917%1"_s.arg(draw(20)), u"text %1"_s.arg(draw(50)), draw(5000), QString::number(index), draw(2) == 0);
        QVariantMap item = phone->items.takeLast().toMap();
        switch (draw(8)) {
        case 0:
            item.insert(u"text"_s, item.value(u"text"_s).toString().left(draw(6)));
            break;
        case 1:
            item.insert(u"date"_s, dates[draw(int(dates.size()))]);
            break;
        case 2:
            item.removeIf([](const auto &entry) { return entry.key() == "from"_L1 || entry.key() == "to"_L1; });
            break;
        case 3:
            item.insert(u"url"_s, QString(VXAbsoluteString(url) + u'/' + QString::number(draw(index + 1))));
            break;
        case 4:
            phone->items.append(item);
            break;
        case 5:
            item.remove(draw(2) == 0 ? u"url"_s : u"isInbox"_s);
            break;
        default:
            break;
        }
        phone->items.append(item);
    }
    phone->portion = 100;
    EXPECT_TRUE(sync().endsWith(" 0"_L1));
    const qsizetype count = stored().size();
    EXPECT_GT(count, 900);
    for (int round = 0; round < 3; ++round) {
        std::shuffle(phone->items.begin(), phone->items.end(), chance);
        phone->portion = 1 + draw(400);
        EXPECT_EQ(sync(), u"0 0"_s);
        EXPECT_EQ(stored().size(), count);
    }
}

// Rather than once for each portion.
TEST_F(VXMessageSyncTest, MessagesThatAreAllOfOneDateAreReadOnce)
{
    constexpr int count = 1000;
    for (int index = 0; index < count; ++index)
        put(u"+49170"_s, QString::number(index % 7), index % 2 == 0 ? -1 : 0, QString::number(index));
    phone->portion = 50;
    VXUserDefaults::standardUserDefaults().setObject(true, u"debug.SQL"_s);
    static const QRegularExpression reading(
        uR"(rows (\d+), .*VX_ROW.* FROM "VX_VXMessage" t0 WHERE .*"(url|text|conversation)\b)"_s);
    for (const auto &[expected, mostRows] : {std::pair(u"1000 0"_s, 0), {u"0 0"_s, count}}) {
        const VXDiagnosticRecorder told;
        EXPECT_EQ(sync(), expected);
        int rows = 0;
        for (const QString &line : told.texts())
            rows += reading.match(line).captured(1).toInt();
        EXPECT_LE(rows, mostRows);
    }
    const VXDiagnosticRecorder told;
    VXMessageRecord news(phone->items.last());
    news.text = u"news"_s;
    VXManagedObjectContext context(store->coordinator());
    EXPECT_TRUE(store->findMessages(news, {}, context)->isEmpty()); // as for each message that an event tells of
    EXPECT_EQ(told.texts().filter(reading).filter(u"rows 0,"_s).size(), 1);
}

TEST_F(VXMessageSyncTest, WhatWasFiledBeforeAPhoneIsGoneStays)
{
    for (int index = 0; index < 10; ++index)
        put(u"+49170"_s, QString::number(index), index, QString::number(index));
    phone->lostAfter = 6;
    EXPECT_EQ(sync(), u"6 0 gone"_s);
    phone->lostAfter = 2;
    EXPECT_EQ(sync(), u"0 0 gone"_s); // what it did not come to is there nevertheless
    EXPECT_EQ(stored().size(), 6);
    phone->lostAfter = -1;
    EXPECT_EQ(sync(), u"4 0"_s);
    EXPECT_THAT(stored(), UnorderedElementsAreArray(onPhone()));
}

TEST_F(VXMessageSyncTest, TheMainThreadWaitsForNoStoreAndACancelForNoPhone)
{
    for (int index = 0; index < 5; ++index)
        put(u"+49170"_s, QString::number(index), index, QString::number(index));
    std::optional<VXStoreWorkLock> other(std::in_place, *store->coordinator(), VXStoreWorkLock::savingName);
    ASSERT_TRUE(other->isHeld());
    auto action = begin(); // waiting here, it would wait for itself
    for (int round = 0; round < 20; ++round) {
        QThread::msleep(5);
        QCoreApplication::processEvents();
    }
    EXPECT_FALSE(isOver);
    other.reset();
    EXPECT_TRUE(VXRunUntil([this] { return isOver; }));
    EXPECT_EQ(action->error().description(), VXError().description());
    EXPECT_EQ(stored().size(), 5);

    put(u"+49170"_s, u"more"_s, 9, u"9"_s);
    other.emplace(*store->coordinator(), VXStoreWorkLock::savingName);
    action = begin();
    action->cancel();
    other.reset();
    EXPECT_TRUE(VXRunUntil([this] { return isOver; }));
    EXPECT_TRUE(action->isCancelled());
    EXPECT_EQ(sync(), u"1 0"_s);
}

TEST_F(VXMessageSyncTest, MessagesWithoutAPlaceAreAsManyAsAreTold)
{
    for (const int second : {0, 1, -1, -1}) {
        put(u"+49170"_s, u"a"_s, second, {});
        QVariantMap item = phone->items.takeLast().toMap();
        item.remove(u"url"_s);
        phone->items.append(item);
    }
    for (const qsizetype portion : {1, 100, 1}) {
        phone->portion = portion;
        const QString expected = stored().isEmpty() ? u"4 0"_s : u"0 0"_s; // before
        EXPECT_EQ(sync(), expected);
        EXPECT_EQ(stored().size(), 4);
    }
}

TEST_F(VXMessageSyncTest, WhatWasSavedWithoutItsConversationIsKnownAtItsPlaceAndMended)
{
    for (const int second : {0, 600, -1})
        put(u"+49170"_s, QString::number(second), second, QString::number(second));
    put(u"+49170"_s, u"0"_s, 0, u"1"_s); // just the same
    EXPECT_EQ(sync(), u"4 0"_s);
    VXRunSQL(database, "UPDATE VX_VXMessage SET conversation = NULL, Z_OPT = Z_OPT + 1 WHERE url NOT LIKE '%/1'");
    EXPECT_EQ(sync(), u"0 0"_s);
    EXPECT_EQ(stored().size(), 4);
    EXPECT_EQ(withoutConversation(), 0);
}

TEST_F(VXMessageSyncTest, QuittingWaitsForTheSaveThatGoesOnAndForNoPhone)
{
    for (int index = 0; index < 3000; ++index)
        put(u"+49170"_s, QString::number(index), index * 10, QString::number(index));
    phone->portion = phone->silentAfter = 3000;
    const auto action = begin();
    EXPECT_TRUE(VXRunUntil([this] { return !stored().isEmpty(); })); // it is at the next slices
    std::optional<VXStoreWorkLock> other(std::in_place, *store->coordinator(), VXStoreWorkLock::savingName);
    ASSERT_TRUE(other->isHeld());
    Q_EMIT VXApplication::sharedApplication().willTerminate();
    EXPECT_TRUE(action->isCancelled());
    std::jthread release([&other] {
        QThread::msleep(100); // the plugin is unloading
        other.reset();
    });
    manager().shutdown();
    release.join();
    QThreadPool::globalInstance()->waitForDone();
    EXPECT_TRUE(isOver);
    EXPECT_EQ(withoutConversation(), 0);
}

// Who makes their folders and who files what a phone has must not wait for each other.
TEST_F(VXMessageSyncTest, MessagesOfNewPhonesAreKeptMeanwhileAlsoWithoutAFolder)
{
    int count = 0;
    const auto hear = [&count] {
        const QString device = u"vxdevice://localhost/plugin/other%1"_s.arg(++count);
        VXEventManager::sharedEventManager().postEventWithName(
            u"new_message"_s, {},
            QVariantMap{{u"from"_s, u"+49171"_s}, {u"device_url"_s, device}, {u"text"_s, QString::number(count)}});
    };
    for (int index = 0; index < 60; ++index)
        put(u"+49170"_s, u"told"_s, index * 10, QString::number(index));
    phone->portion = 1;
    for (const auto action = begin(); !isOver; QCoreApplication::processEvents())
        hear();
    EXPECT_EQ(stored().size(), 60 + count);
    VXRunSQL(database,
             "CREATE TRIGGER full BEFORE INSERT ON VX_VXMessageFolder BEGIN SELECT RAISE(ABORT, 'full'); END");
    hear();
    EXPECT_EQ(stored().size(), 60 + count);
}

/** Its store is opened while its reads can be made to fail. The phone does what it is told. */
class VXMessageReadsTest : protected VXFailingReads, public VXMessageSyncTest
{
protected:
    VXMessageReadsTest()
    {
        const auto remove = [this](VXDeviceAction *action) {
            const QVariant place = action->object().toMap().value(u"url"_s);
            phone->items.removeIf([&](const QVariant &item) { return item.toMap().value(u"url"_s) == place; });
            action->conclude();
        };
        phone->registerActionHandler(u"delete_message"_s, VXDeviceActionHandler(phone, remove), false);
        const auto write = [this](VXDeviceAction *action) {
            const QVariantMap wanted = action->object().toMap();
            for (QVariant &item : phone->items) {
                QVariantMap map = item.toMap();
                if (map.value(u"url"_s) == wanted.value(u"url"_s))
                    map.insert(u"state"_s, wanted.value(u"state"_s));
                item = map;
            }
            action->conclude();
        };
        phone->registerActionHandler(u"write_message"_s, VXDeviceActionHandler(phone, write), false);
        for (int place = 0; place < 4; ++place)
            put(u"+49170"_s, u"first %1"_s.arg(place), place, u"000-%1"_s.arg(place));
    }
    /** Here one is deleted and one is marked as unread, there two are removed, one changes its place and one is new. */
    void change(int round)
    {
        VXManagedObjectContext context(store->coordinator());
        VXFetchRequest request(*store->coordinator()->model().entityForName(VXMessageStore::entityName));
        request.predicate = *VXPredicate::predicateWithFormat(u"url != NULL AND pending == 0"_s);
        request.sortDescriptors = {{u"url"_s}};
        const auto found = context.executeFetchRequest(request);
        ASSERT_TRUE(found && found->size() == 4);
        VXMessageStore::deleteMessage(found->at(0));
        ASSERT_TRUE(context.save());
        phone->items.removeAt(1);
        for (int place = 0; place < 2; ++place)
            put(u"+49170"_s, u"new %1 %2"_s.arg(round).arg(place), 10 * round + place,
                u"%1-%2"_s.arg(round, 3, 10, QChar(u'0')).arg(place));
    }
    QString syncBothWays()
    {
        const auto action = begin();
        EXPECT_TRUE(VXRunUntil([this] { return isOver; }));
        return action->error().localizedDescription();
    }
    QStringList storedOnPhone() const { return stored().filter(QRegularExpression(u"^[0-9]"_s)); }
};

// Otherwise what cannot be read at one moment would be gone from the phone, or filed twice.
TEST_F(VXMessageReadsTest, WhatCanNotBeReadIsNotTakenForGone)
{
    ASSERT_EQ(sync(), u"4 0"_s);
    int told = 0;
    bool hasFailed = true;
    for (int round = 1; hasFailed && round < 200; ++round) {
        SCOPED_TRACE(round);
        ASSERT_NO_FATAL_FAILURE(change(round));
        const qsizetype before = stored().size();
        VXFailingReads::failAt(round);
        const bool saidSo = !syncBothWays().isNull();
        hasFailed = VXFailingReads::hasFailed();
        VXFailingReads::failAt(0);
        told += saidSo ? 1 : 0;
        if (!saidSo) {
            ASSERT_EQ(stored().size(), before + 1) << "it said that all is done";
        }
        ASSERT_EQ(syncBothWays(), QString());
        ASSERT_THAT(storedOnPhone(), UnorderedElementsAreArray(onPhone()));
        ASSERT_EQ(onPhone().size(), 4);
        ASSERT_EQ(stored().size(), before + 1) << "one has come besides, and what left the phone stays";
        ASSERT_EQ(sync(), u"0 0"_s);
    }
    EXPECT_FALSE(hasFailed);
    EXPECT_GT(told, 5);
}
