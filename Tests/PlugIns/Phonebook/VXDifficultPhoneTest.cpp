// Contacts and phones that do not take or keep all that they are given.

#include "VXDifficultPhoneTest.h"
#include "VXApplication.h"
#include "VXContactDuplicates.h"
#include "VXContactHistory.h"
#include "VXDeviceWork.h"
#include "VXErrorDomain.h"

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::UnorderedElementsAre;
using testing::UnorderedElementsAreArray;

TEST_F(VXDifficultPhoneTest, AStepThatThrowsEndsTheWhole)
{
    class Throwing : public VXDeviceWork
    {
    public:
        explicit Throwing(const VXDeviceAction::Ptr &action) : VXDeviceWork(action) {}
        void start() override
        {
            perform(u"wait"_s, {}, {}, [](const VXDeviceAction &) { ADD_FAILURE() << "it has ended"; });
            compute([]() -> int { throw std::runtime_error("broken"); }, [](int) {});
        }
    };
    VXDeviceAction *waiting = nullptr;
    const auto wait = [&](VXDeviceAction *asked) { waiting = asked; };
    phone->registerActionHandler(u"wait"_s, VXDeviceActionHandler(phone, wait), false);
    VXDeviceWork::offer(phone, u"throw"_s, u"read_contacts"_s,
                        [](const VXDeviceAction::Ptr &action) { return std::make_shared<Throwing>(action); });
    const auto action = VXDeviceAction::actionWithName(u"throw"_s);
    bool isOver = false;
    action->executeWithDevice(held, [&](VXDeviceAction *) { isOver = true; });
    EXPECT_TRUE(VXRunUntil([&] { return isOver; }));
    EXPECT_FALSE(action->error().isNull());
    EXPECT_TRUE(waiting->isCancelled()); // else the phone would be kept from others
    waiting->conclude();
}

// No store takes such dates; on the phone they stay, also when something else of the contact is written.
TEST_F(VXDifficultPhoneTest, ABirthdayThatCanNotBeIsNone)
{
    int location = 0;
    for (const QVariant &birthday : {QVariant(QDate(20000, 1, 1)), QVariant(QDate(-5, 1, 1)), QVariant(u"soon"_s),
                                     QVariant(QDateTime::fromMSecsSinceEpoch(std::numeric_limits<qint64>::max()))}) {
        ++location;
        phone->contacts.insert(location, {{u"name"_s, u"N%1"_s.arg(location)}, {u"birthday"_s, birthday}});
    }
    EXPECT_EQ(sync(), u"4 0 0 0"_s);
    EXPECT_EQ(error, QString());
    EXPECT_EQ(sync(), u"0 0 0 0"_s);
}

// The rest is done, each failure told, and what is missing there is put there when it can be.
TEST_F(VXDifficultPhoneTest, WhatIsRefusedOrHasNoRoomStaysHereAndToBeDone)
{
    for (const QString &name : {u"Ann"_s, u"Bob"_s, u"Cid"_s, u"Dan"_s})
        add(name, {}, u"555 010"_s + QString::number(name.front().unicode() - 'A'));
    const QStringList before = here();
    phone->capacity = 2;
    phone->refusedName = u"Ann"_s;
    EXPECT_EQ(sync(), u"0 0 0 2"_s);
    EXPECT_EQ(problems.size(), 2);
    EXPECT_TRUE(problems.contains(u"Ann: The phone refused it."_s)) << problems.join(u' ').toStdString();
    EXPECT_EQ(problems.filter(u": The phone is full."_s).size(), 1);
    EXPECT_EQ(error, problems.constFirst());
    EXPECT_EQ(here(), before);
    EXPECT_EQ(sync(), u"0 0 0 0"_s); // as before, and told already
    EXPECT_EQ(problems, QStringList());
    EXPECT_EQ(error, QString());
    EXPECT_EQ(refused, 2);
    EXPECT_EQ(here(), before);
    setNumber(u"Ann"_s, u"555 0122"_s);
    EXPECT_EQ(sync(), u"0 0 0 0"_s);
    EXPECT_EQ(problems, QStringList(u"Ann: The phone refused it."_s)); // something else, which it might have taken
    setNumber(u"Ann"_s, u"555 0100"_s);
    phone->capacity = 10;
    phone->refusedName = QString();
    EXPECT_EQ(sync(), u"0 0 0 2"_s);
    EXPECT_EQ(error, QString());
    EXPECT_THAT(phone->names(), UnorderedElementsAre(u"Ann"_s, u"Bob"_s, u"Cid"_s, u"Dan"_s));
    EXPECT_EQ(sync(), u"0 0 0 0"_s);
    EXPECT_EQ(here(), before);
}

TEST_F(VXDifficultPhoneTest, NamesThatThePhoneCutsOffStayWholeHere)
{
    phone->longestName = 8;
    add(u"Alexandra"_s, u"Hamilton"_s, u"555 0100"_s);
    EXPECT_EQ(sync(), u"0 0 0 1"_s);
    EXPECT_THAT(phone->names(), ElementsAre(u"Alexandr"_s));
    EXPECT_EQ(sync(), u"0 0 0 0"_s);
    phone->contacts[1].insert(u"numbers"_s, QVariantList{QVariantMap{{u"number"_s, u"555 0111"_s}}});
    EXPECT_EQ(sync(), u"0 1 0 0"_s);
    EXPECT_THAT(here(), ElementsAre(u"Alexandra Hamilton 555 0111"_s));
    setNumber(u"Alexandra"_s, u"555 0122"_s);
    EXPECT_EQ(sync(), u"0 0 0 1"_s);
    EXPECT_THAT(phone->names(), ElementsAre(u"Alexandr"_s));
    EXPECT_EQ(phone->contacts[1].value(u"numbers"_s).toList()[0].toMap().value(u"number"_s), u"555 0122"_s);
    EXPECT_EQ(sync(), u"0 0 0 0"_s);
    EXPECT_THAT(here(), ElementsAre(u"Alexandra Hamilton 555 0122"_s));
}

// What is gone from a phone that gave all it has was deleted there; that can be undone.
TEST_F(VXDifficultPhoneTest, AContactThatThePhoneLosesCanBeBroughtBack)
{
    for (const QString &name : {u"Ann"_s, u"Bob"_s, u"Cid"_s})
        add(name, {}, u"555 010"_s + QString::number(name.front().unicode() - 'A'));
    const QStringList before = here();
    EXPECT_EQ(sync(), u"0 0 0 3"_s);
    const int lost = phone->contacts.firstKey();
    phone->contacts.remove(lost);
    phone->readsAll = false; // it may lie where the phone could not be read
    EXPECT_EQ(sync(), u"0 0 0 0"_s);
    EXPECT_EQ(here(), before);
    phone->readsAll = true;
    EXPECT_EQ(sync(), u"0 0 1 0"_s);
    EXPECT_EQ(here().size(), 2);
    addsAll = false;
    const auto undone = VXContactHistory(store).undoLast(false);
    EXPECT_TRUE(undone && undone->broughtBack == 1);
    EXPECT_THAT(here(), UnorderedElementsAreArray(before));
    EXPECT_EQ(sync(), u"0 0 0 1"_s); // it is put there again
    EXPECT_EQ(phone->contacts.size(), 3);
}

// What is undone here is no change that the phone is to learn: it has what it had, and it comes here again.
TEST_F(VXDifficultPhoneTest, ASyncThatIsUndoneLosesNothingOfThePhone)
{
    addsAll = false;
    const auto undo = [this] { EXPECT_TRUE(VXContactHistory(store).undoLast(false)); };
    add(u"Ann"_s, {}, u"555 0100"_s);
    phone->contacts.insert(1, card(u"Ann"_s, {u"555 0100"_s, u"555 0101"_s}));
    phone->contacts.insert(2, card(u"Bob"_s, {u"555 0102"_s}));
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(sync(), u"1 1 0 0"_s);
        undo();
        EXPECT_EQ(here(), QStringList(u"Ann 555 0100"_s));
    }
    EXPECT_EQ(sync(), u"1 1 0 0"_s);
    setNumber(u"Bob"_s, u"555 0112"_s);
    phone->contacts.insert(1, card(u"Ann"_s, {u"555 0199"_s}));
    phone->contacts.insert(2, card(u"Bob"_s, {u"555 0102"_s, u"555 0122"_s}));
    const QStringList before = here();
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(sync(), round == 0 ? u"0 2 0 1"_s : u"0 2 0 0"_s);
        EXPECT_EQ(phone->contacts[1], card(u"Ann"_s, {u"555 0199"_s}));
        EXPECT_EQ(VXContactRecord(phone->contacts[2]).numbers.size(), 2);
        undo();
        EXPECT_EQ(here(), before);
    }
    EXPECT_EQ(sync(), u"0 2 0 0"_s);
    EXPECT_THAT(here(), UnorderedElementsAre(u"Ann 555 0199"_s, u"Bob 555 0112"_s));
    EXPECT_EQ(sync(), u"0 0 0 0"_s);
}

// A merge gives the place of one to the other; undone, each has its own again.
TEST_F(VXDifficultPhoneTest, AMergeThatIsUndoneAfterASyncLeavesThePhoneAsItWas)
{
    addsAll = false;
    const QVariantMap number{{u"number"_s, u"555 0100"_s}, {u"type"_s, 0U}};
    phone->contacts = {{1, {{u"name"_s, u"Ann Lee"_s}, {u"numbers"_s, QVariantList{number}}}}};
    const QMap<int, QVariantMap> before = phone->contacts;
    EXPECT_EQ(sync(), u"1 0 0 0"_s);
    {
        VXManagedObjectContext context(store);
        addPerson(context, {{u"firstName"_s, u"Ann"_s},
                            {u"lastName"_s, u"Lee"_s},
                            {u"company"_s, u"Mill"_s},
                            {u"numbers"_s, QStringList{u"555 0100"_s, u"555 0177"_s}}});
    }
    const VXContactDuplicates duplicates(store);
    ASSERT_TRUE(duplicates.merge(*duplicates.find()));
    EXPECT_EQ(here().size(), 1);
    EXPECT_EQ(sync(), u"0 0 0 1"_s); // it learns what the other one had
    EXPECT_EQ(VXContactRecord(phone->contacts[1]).numbers.size(), 2);
    EXPECT_EQ(sync(), u"0 0 0 0"_s);
    EXPECT_TRUE(VXContactHistory(store).undoLast(false));
    EXPECT_EQ(here().size(), 2);
    EXPECT_EQ(sync(), u"0 0 0 1"_s);
    EXPECT_EQ(phone->contacts, before);
    EXPECT_EQ(sync(), u"0 0 0 0"_s);
}

TEST_F(VXDifficultPhoneTest, AnotherPhoneAtTheSameURLDeletesAndChangesNothingOfTheFirst)
{
    addsAll = false;
    EXPECT_EQ(sync(), u"0 0 0 0"_s);
    phone->contacts = {{1, card(u"Ann"_s, {u"555 0100"_s})},
                       {2, card(u"Bob"_s, {u"555 0101"_s})},
                       {3, card(u"Cid"_s, {u"555 0102"_s})}};
    EXPECT_EQ(sync(), u"3 0 0 0"_s); // it does not tell which it is, and later does
    phone->serial = u"one"_s;
    EXPECT_EQ(sync(), u"0 0 0 0"_s);
    const QMap<int, QVariantMap> first =
        std::exchange(phone->contacts, {{1, card(u"Ann"_s, {u"555 0199"_s})}, {2, card(u"Bob"_s, {u"555 0101"_s})}});
    const QMap<int, QVariantMap> second = phone->contacts;
    phone->serial = u"two"_s;
    EXPECT_EQ(sync(), u"1 0 0 0"_s);
    EXPECT_EQ(phone->contacts, second);
    EXPECT_THAT(here(),
                UnorderedElementsAre(u"Ann 555 0100"_s, u"Ann 555 0199"_s, u"Bob 555 0101"_s, u"Cid 555 0102"_s));
    phone->serial = QString();
    EXPECT_EQ(sync(), u"0 0 0 0"_s);
    EXPECT_FALSE(error.isEmpty());
    setNumber(u"Bob"_s, u"555 0111"_s);
    for (const auto &[serial, contacts] : {std::pair(u"one"_s, first), std::pair(u"two"_s, second)}) {
        phone->serial = serial;
        phone->contacts = contacts;
        EXPECT_EQ(sync(), u"0 0 0 1"_s);
        EXPECT_EQ(sync(), u"0 0 0 0"_s);
        EXPECT_EQ(phone->contacts.size(), contacts.size());
        EXPECT_EQ(VXContactRecord(phone->contacts[2]).numbers.value(0).value, u"555 0111"_s);
    }
}

TEST_F(VXDifficultPhoneTest, ContactsOfOneNameMayChangePlaces)
{
    phone->contacts = {{1, card(u"Ann"_s, {u"555 0100"_s})}, {2, card(u"Ann"_s, {u"555 0101"_s})}};
    EXPECT_EQ(sync(), u"2 0 0 0"_s);
    std::swap(phone->contacts[1], phone->contacts[2]);
    EXPECT_EQ(sync(), u"0 0 0 0"_s);
}

// Each slice is saved by itself: one who lies on the phone twice is met across them, and what is broken off goes on where it ended.
TEST_F(VXDifficultPhoneTest, MoreContactsThanASliceHolds)
{
    addsAll = false;
    const int count = 520;
    fill(1, count);
    phone->contacts.insert(count + 1, card(u"N1"_s, {u"555 10001"_s, u"555 20000"_s}));
    const QMap<int, QVariantMap> before = phone->contacts;
    phone->portion = 200; // of a new phone each is a slice
    EXPECT_EQ(sync(), u"%1 0 0 0"_s.arg(count));
    EXPECT_EQ(here().size(), count);
    EXPECT_EQ(sync(), u"0 0 0 0"_s);
    EXPECT_EQ(phone->contacts, before);

    setNumber(u"N520"_s, u"555 30000"_s);
    phone->contacts.insert(1, card(u"N1"_s, {u"555 10001"_s, u"555 40000"_s}));
    phone->contacts.remove(2);
    EXPECT_EQ(sync(), u"0 1 1 2"_s);
    EXPECT_EQ(VXContactRecord(phone->contacts[count + 1]).numbers.size(), 3);

    fill(1001, 1600);
    const auto action = begin();
    EXPECT_TRUE(VXRunUntil([&] { return !action->isExecuting() || here().size() >= count; }));
    action->cancel();
    EXPECT_TRUE(VXRunUntil([&] { return !action->isExecuting(); }));
    EXPECT_EQ(sync().section(u' ', 1), u"0 0 0"_s);
    EXPECT_EQ(here().size(), count - 1 + 600);
    EXPECT_EQ(sync(), u"0 0 0 0"_s);
}

TEST_F(VXDifficultPhoneTest, BrokenOffBetweenTwoCardsOfAPersonItCanBeRepeated)
{
    isRepeatableAfter(1);
}
TEST_F(VXDifficultPhoneTest, BrokenOffBehindTwoCardsOfAPersonItCanBeRepeated)
{
    isRepeatableAfter(2);
}

TEST_F(VXDifficultPhoneTest, QuittingBreaksASyncOffBetweenSlices)
{
    isBrokenOff([](const VXDeviceAction &action) {
        Q_EMIT VXApplication::sharedApplication().willTerminate();
        EXPECT_TRUE(action.isCancelled());
        manager().shutdown();
        EXPECT_FALSE(action.isExecuting());
    });
}

// As when its plugin is disabled.
TEST_F(VXDifficultPhoneTest, ADriverThatEndsBreaksASyncOffBetweenSlices)
{
    isBrokenOff([this](const VXDeviceAction &) { phone->silent->setError(VXError(VXErrorDomain, VXErrorCancelled)); });
}
