#include "VXPhonebookRecord.h"
#include "VXFileManager.h"
#include "VXMetaDataDebt.h"
#include "VXMetaDataSource.h"
#include "VXPhonebookString.h"
#include "VXPhonebookTest.h"
#include "VXPropertyList.h"
#include "VXSearchIndex.h"

using namespace Qt::StringLiterals;

class VXPhonebookRecordTest : public VXPhonebookTest
{
protected:
    VXPhonebookRecordTest() : VXPhonebookTest({QStringLiteral(VORNIX_CALLS_PLUGIN)})
    {
        if (IsSkipped())
            return;
        start();
        calls = VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(u"calls"_s);
    }

    VXPersistentStoreCoordinator::Ptr calls;
};

TEST_F(VXPhonebookRecordTest, TextsForSearchingFollowTheParties)
{
    VXManagedObjectContext context(calls);
    const VXManagedObjectPtr call = context.insertNewObject(u"VXCall"_s);
    VXPhonebookRecord::setTo(*call, u"Friends { Jo <555 0101>, jane@Example.org }, 0044 20 7946 0123"_s);
    VXPhonebookRecord::setFrom(*call, u"me <555 0199>"_s);
    const QString to = u"Jo 5550101, jane@example.org, 2079460123"_s;
    EXPECT_EQ(VXPhonebookRecord::to_display(*call), to);
    EXPECT_EQ(VXPhonebookRecord::from_display(*call), u"me 5550199"_s);
    EXPECT_EQ(VXPhonebookRecord::otherParty_display(*call), to);
    const QVariantMap outgoing{
        {u"kMDItemAuthors"_s, QStringList{u"me 5550199"_s}},
        {u"kMDItemRecipients"_s, QStringList{u"Jo 5550101"_s, u"jane@example.org"_s, u"2079460123"_s}},
        {u"kMDItemPhoneNumbers"_s, QStringList{u"555 0101"_s, u"0044 20 7946 0123"_s}},
        {u"kMDItemEmailAddresses"_s, QStringList{u"jane@Example.org"_s}}};
    EXPECT_EQ(VXPhonebookRecord::phonebookMetaData(*call), outgoing);
    VXPhonebookRecord::setDirection(*call, 1);
    EXPECT_EQ(VXPhonebookRecord::otherParty(*call), u"me <555 0199>"_s);
    EXPECT_EQ(call->valueForKey(u"otherParty_display"_s), u"me 5550199"_s);
    EXPECT_EQ(VXPhonebookRecord::phonebookMetaData(*call).value(u"kMDItemPhoneNumbers"_s), QStringList{u"555 0199"_s});
    EXPECT_FALSE(VXPhonebookRecord::phonebookMetaData(*call).contains(u"kMDItemEmailAddresses"_s));
    VXPhonebookRecord::setFrom(*call, VXPhonebookStringJoin(u"Doe, Jane"_s, u"+1 555 0100"_s, 0));
    EXPECT_EQ(VXPhonebookRecord::phonebookMetaData(*call).value(u"kMDItemAuthors"_s),
              QStringList{u"Doe, Jane 5550100"_s});
    VXPhonebookRecord::setFrom(*call, {});
    EXPECT_TRUE(VXPhonebookRecord::from_display(*call).isNull());
}

TEST_F(VXPhonebookRecordTest, MembersAreFoundByWhatTheirGroupIsCalled)
{
    // Neither a first pass nor what is owed for an earlier save is to write them by the way.
    const auto isSettled = [] {
        const auto index = VXSearchIndex::openExisting();
        return index && index->isAllComplete(nullptr) && !VXMetaDataDebt::isAnyOfAll();
    };
    ASSERT_TRUE(VXRunUntil(isSettled));
    VXManagedObjectContext context(store);
    const VXManagedObjectPtr jane = addPerson(context, {{u"firstName"_s, u"Jane"_s}});
    const VXManagedObjectPtr group = context.insertNewObject(u"VXGroup"_s);
    group->setValueForKey(u"Friends"_s, u"name"_s);
    group->addRelated(group->entity().propertyForName(u"members"_s)->index(), jane);
    ASSERT_TRUE(context.save());
    const QDateTime changed = jane->valueForKey(u"changedDate"_s).toDateTime();
    const auto areFoundBy = [&](const QStringList &groups) {
        const QString file =
            VXFileManager::defaultManager().pathToUserMetadataFolder() + "/com.halvern.VNX2.plugin.phonebook/"_L1;
        return VXRunUntil([&] {
            const QVariantMap values = VXPropertyList::fromFile(file + metaDataFilename(jane->objectID())).toMap();
            return !values.isEmpty() && values.value(u"kMDItemKeywords"_s).toStringList() == groups && isSettled();
        });
    };
    EXPECT_TRUE(areFoundBy({u"Friends"_s}));
    group->setValueForKey(u"Foes"_s, u"name"_s);
    ASSERT_TRUE(context.save());
    EXPECT_TRUE(areFoundBy({u"Foes"_s}));
    EXPECT_EQ(jane->valueForKey(u"changedDate"_s).toDateTime(), changed); // which phones go by
    context.deleteObject(group);
    ASSERT_TRUE(context.save());
    EXPECT_TRUE(areFoundBy({}));
}

TEST_F(VXPhonebookRecordTest, WhatARecordHasAlreadyChangesNothing)
{
    VXManagedObjectContext context(calls);
    const VXManagedObjectPtr call = context.insertNewObject(u"VXCall"_s);
    call->setValueForKey(QDateTime::currentDateTimeUtc(), u"date"_s);
    VXPhonebookRecord::setFrom(*call, u"555 0100"_s);
    ASSERT_TRUE(context.save());
    VXPhonebookRecord::setFrom(*call, u"555 0100"_s);
    VXPhonebookRecord::setTo(*call, {});
    VXPhonebookRecord::setDirection(*call, 0);
    EXPECT_FALSE(context.hasChanges());
}

TEST_F(VXPhonebookRecordTest, CallsKnowWhoTheOtherPartyIs)
{
    VXManagedObjectContext contacts(store);
    const VXManagedObjectPtr jane =
        addPerson(contacts, {{u"firstName"_s, u"Jane"_s},
                             {u"numbers"_s, QStringList{u"555 0100"_s, u"+49 30 9876543"_s}},
                             {u"emails"_s, QStringList{u"jane@Mail.example"_s}}});
    VXManagedObjectContext context(calls);
    const VXManagedObjectPtr call = context.insertNewObject(u"VXCall"_s);
    const QVariant object = QVariant::fromValue(call);
    VXPhonebookRecord::setTo(*call, u"555 0199, 5550100"_s);
    EXPECT_EQ(VXValueForKeyPath(object, u"contact.firstName"_s), u"Jane"_s);
    EXPECT_EQ(VXValueForKeyPath(object, u"contact.displayString"_s), u"Jane"_s);
    EXPECT_EQ(VXDisplayStringForContacts(u"555 0199, 5550100"_s), u"555 0199, Jane"_s);
    const QString address = u"Janey <Jane@mail.example>"_s;
    EXPECT_FALSE(phonebook().entryForPhonebookString(address)); // which knows numbers alone
    EXPECT_EQ(VXDisplayStringForContacts(address + u", +49 (0)30 9876543, joe@mail.example"_s),
              u"Jane, Jane, joe@mail.example"_s);
    VXPhonebookRecord::setTo(*call, u"555 0199"_s);
    EXPECT_FALSE(VXValueForKey(object, u"contact"_s).isValid());
}
