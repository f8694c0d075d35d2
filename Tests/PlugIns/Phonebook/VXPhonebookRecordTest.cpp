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

    // What is mirrored, after a first pass and all that is owed.
    static std::unique_ptr<VXSearchIndex> settledIndex()
    {
        auto index = VXSearchIndex::openExisting();
        const bool isSettled = index && index->isAllComplete(nullptr) && !VXMetaDataDebt::isAnyOfAll();
        return isSettled ? std::move(index) : nullptr;
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
    ASSERT_TRUE(VXRunUntil([] { return settledIndex() != nullptr; }));
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
            return !values.isEmpty() && values.value(u"kMDItemKeywords"_s).toStringList() == groups && settledIndex();
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

TEST_F(VXPhonebookRecordTest, CallsAndSearchesCallAPartyAlike)
{
    ASSERT_TRUE(VXRunUntil([] { return settledIndex() != nullptr; })); // or a later pass takes in what follows
    VXManagedObjectContext contacts(store);
    const auto add = [&](const QString &name, const QString &key, const QString &address) {
        return addPerson(contacts, {{u"firstName"_s, name}, {key, QStringList{address}}});
    };
    add(u"Jane"_s, u"numbers"_s, u"+44 30 5550777"_s);
    add(u"Karl"_s, u"numbers"_s, u"+49 (0)30 5550777"_s);
    add(u"Rich"_s, u"numbers"_s, u"030 5550777/m"_s)->setValueForKey(u"Mill"_s, u"company"_s);
    const VXManagedObjectPtr ann = add(u"Ann"_s, u"emails"_s, u"ann@example.org/W"_s);
    add(u"Ben"_s, u"emails"_s, u"Ann@example.org/H"_s);
    ann->setValueForKey(u"Ännchen"_s, u"firstName"_s); // after which she is the last in the index
    ASSERT_TRUE(contacts.save());
    const std::pair<QString, QString> cases[] = {{u"Jane <+49 30 5550777>"_s, u"Karl"_s}, // hers is in another country
                                                 {u"Jane <030 5550777>"_s, u"Jane"_s},
                                                 {u"<030 5550777/m>"_s, u"Rich"_s},
                                                 {u"<030 5550777>"_s, u"Rich"_s},
                                                 {u"+43 30 5550777"_s, u"Rich"_s},
                                                 {u"annchen <ann@example.org/H>"_s, u"Ännchen"_s},
                                                 {u"<ann@example.org/H>"_s, u"Ben"_s},
                                                 {u"ann@example.org"_s, u"Ännchen"_s}}; // who was added first
    VXManagedObjectContext context(calls);
    QList<VXManagedObjectPtr> made;
    for (const auto &[party, name] : cases) {
        made.append(context.insertNewObject(u"VXCall"_s));
        made.last()->setValueForKey(QDateTime::currentDateTimeUtc(), u"date"_s);
        VXPhonebookRecord::setTo(*made.last(), party);
        EXPECT_EQ(VXDisplayStringForContacts(party), name) << party.toStdString();
    }
    ASSERT_TRUE(context.save());
    ASSERT_TRUE(VXRunUntil([] { return settledIndex() != nullptr; }));
    for (qsizetype i = 0; i < made.size(); ++i) {
        const auto found = settledIndex()->object(made[i]->objectID().uriRepresentation(), nullptr);
        EXPECT_EQ(found.value_or(VXFoundObject()).title, cases[i].second) << cases[i].first.toStdString();
    }
}
