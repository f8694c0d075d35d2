#include "VXContactDuplicates.h"
#include "VXContactImportTest.h"
#include "VXDataPlugin.h"

using namespace Qt::StringLiterals;

// Imports and merges of contacts, undone.
class VXContactHistoryTest : public VXContactImportTest
{
protected:
    /** Gives the first two objects each other's values, as they may have where all were copied one by one: others have their numbers. */
    void exchange(const QString &entity) const
    {
        VXManagedObjectContext context(store);
        const VXFetchResult found = all(context, entity);
        ASSERT_GE(found.size(), 2);
        for (const QString &key : {u"device_url"_s, u"location"_s, u"before"_s, u"person"_s, u"changeSet"_s}) {
            if (found.at(0)->entity().propertyForName(key) == nullptr)
                continue;
            const QVariant first = found.at(0)->valueForKey(key);
            found.at(0)->setValueForKey(found.at(1)->valueForKey(key), key);
            found.at(1)->setValueForKey(first, key);
        }
        EXPECT_TRUE(context.save());
    }

    /** All that belong to one person. */
    void mergeDuplicates() const
    {
        const VXContactDuplicates duplicates(store);
        const auto found = duplicates.find();
        ASSERT_TRUE(found && found->size() == 1);
        VXError error;
        ASSERT_TRUE(duplicates.merge(*found, &error)) << error.description().toStdString();
    }
};

// A contact that two cards change, each in another save, is what it was before both.
TEST_F(VXContactHistoryTest, WhatIsChangedTwiceIsUndoneAtOnce)
{
    import(jane);
    const QStringList before = contacts();
    QByteArray cards = card("Jane Doe", "UID:1\r\nORG:Mill\r\n");
    for (int number = 0; number < 600; ++number)
        cards += card("Contact " + QByteArray::number(number), "TEL:555 " + QByteArray::number(1000 + number) + "\r\n");
    EXPECT_EQ(import(cards + card("Jane Doe", "UID:1\r\nTITLE:Chief\r\n")), u"600 2 0 0"_s);
    EXPECT_EQ(undo(), u"600 1 0 "_s);
    EXPECT_EQ(contacts(), before);
}

TEST_F(VXContactHistoryTest, MoreChangesOfOneContactThanCanBeUndone)
{
    import(bob);
    for (int number = 1; number <= 12; ++number)
        EXPECT_EQ(import(card("Bob Hill", "TEL:+44 20 7946 0123\r\nTEL:+1555" + QByteArray::number(number) + "\r\n")),
                  u"0 1 0 0"_s);
    EXPECT_EQ(countOf(u"VXContactChangeSet"_s), 10);
    EXPECT_EQ(import(bob), u"0 0 1 0"_s);
    EXPECT_EQ(countOf(u"VXContactChangeSet"_s), 10);
    for (int number = 12; number > 2; --number) {
        EXPECT_TRUE(contacts().constFirst().endsWith(u"+1555%1"_s.arg(number)));
        EXPECT_EQ(undo(), u"0 1 0 "_s);
    }
    EXPECT_EQ(contacts(), QStringList(u"Bob Hill||+44 20 7946 0123|+15551|+15552"_s));
}

TEST_F(VXContactHistoryTest, ImportsAreUndoneButForWhatWasChangedSince)
{
    EXPECT_EQ(undo(), u"There is no import or merge of contacts that could be undone."_s);
    import(jane);
    const QStringList before = contacts();
    import(card("Jane Doe", "UID:1\r\nTEL:555 0199\r\nCATEGORIES:Work\r\n") + bob + alone);
    {
        VXManagedObjectContext context(store); // the user takes a fancy to one of them
        personNamed(u"Zoe"_s, context)->setValueForKey(u"Mill"_s, u"company"_s);
        ASSERT_TRUE(context.save());
    }
    EXPECT_EQ(undo(true), u"1 1 0 Zoe Alone"_s);
    EXPECT_EQ(contacts().size(), 3);
    EXPECT_EQ(undo(), u"1 1 0 Zoe Alone"_s);
    EXPECT_EQ(contacts(), before + QStringList{u"Zoe Alone|Mill"_s});
    EXPECT_EQ(undo(), u"1 0 0 "_s); // the one before
    EXPECT_EQ(contacts(), QStringList{u"Zoe Alone|Mill"_s});
}

TEST_F(VXContactHistoryTest, DuplicatesBecomeOneAndTwoAgain)
{
    VXManagedObjectContext context(store);
    const auto add = [&](const QString &firstName, const QString &lastName, const QStringList &numbers,
                         const QString &email, const QVariantMap &more = {}) {
        QVariantMap values{{u"firstName"_s, firstName}, {u"lastName"_s, lastName}, {u"numbers"_s, numbers}};
        if (!email.isNull())
            values.insert(u"emails"_s, QStringList{email});
        values.insert(more);
        addPerson(context, values);
    };
    add(u"Jane"_s, u"Doe"_s, {u"555 0100"_s}, {},
        {{u"birthday"_s, QDateTime(QDate(1985, 4, 12), QTime(0, 0), Qt::UTC)}});
    add(u"Doe"_s, u"Jane"_s, {u"5550100"_s, u"555 0177"_s}, {}, {{u"company"_s, u"Mill"_s}});
    add(u"jane doe"_s, {}, {}, u"j@example.org"_s);
    add(u"Jane"_s, u"Doe"_s, {u"555 0177"_s}, u"J@example.org"_s);
    add(u"Jim"_s, {}, {u"555 0100"_s}, {}); // in her house
    const QStringList before = contacts();
    const VXContactDuplicates duplicates(store);
    const auto found = duplicates.find();
    ASSERT_TRUE(found && found->size() == 1);
    EXPECT_EQ(found->constFirst().persons.size(), 4);
    EXPECT_EQ(found->constFirst().shared, (QStringList{u"5550100"_s, u"5550177"_s, u"j@example.org"_s}));
    VXError error;
    ASSERT_TRUE(duplicates.merge(*found, &error)) << error.description().toStdString();
    EXPECT_EQ(contacts(), (QStringList{u"Doe Jane|Mill|5550100|555 0177|J@example.org"_s, u"Jim||555 0100"_s}));
    EXPECT_EQ(duplicates.find()->size(), 0);
    EXPECT_TRUE(duplicates.merge({}, &error));
    EXPECT_EQ(undo(), u"0 1 3 "_s);
    EXPECT_EQ(contacts(), before);
    EXPECT_EQ(countOf(u"VXContactChange"_s), 0);
}

// The user finds in the note what of two values is not kept; numbers of two countries are two.
TEST_F(VXContactHistoryTest, MergesLoseNothing)
{
    import(card("Jane Doe", "UID:a\r\nTEL:(555) 0100\r\nORG:Acme\r\nBDAY:1980-01-01\r\nTITLE:Chief\r\nNOTE:n\r\n") +
           card("Jane Doe", "UID:b\r\nTEL:+1 555 0100\r\nTEL:+44 555 0100\r\nORG:Other\r\nBDAY:1981-01-01\r\n"));
    mergeDuplicates();
    EXPECT_EQ(contacts(), QStringList{u"Jane Doe|Other|+1 555 0100|+44 555 0100"_s});
    VXManagedObjectContext context(store);
    EXPECT_EQ(all(context).first()->valueForKey(u"note"_s), u"n\ncompany: Acme\nbirthday: 1980-01-01"_s);
}

// Those that were merged into another are known again when their cards come again.
TEST_F(VXContactHistoryTest, WhatWasMergedStaysMerged)
{
    const QByteArray cards = card("Jane Doe", "UID:a\r\nTEL:555 0100\r\nORG:Acme\r\nBDAY:1980-01-01\r\n") +
                             card("Jane Doe", "UID:b\r\nTEL:555 0100\r\nTEL:555 0101\r\nORG:Other\r\n") +
                             card("Jane Doe", "UID:c\r\nTEL:555 0101\r\nTITLE:Chief\r\n");
    import(cards);
    mergeDuplicates();
    const QStringList merged = contacts();
    EXPECT_EQ(merged.size(), 1);
    expectImport(cards, u"0 0 3 0"_s);
    EXPECT_EQ(import(card("Janet Roe", "UID:c\r\nTEL:555 0102\r\n")), u"0 1 0 0"_s);
    EXPECT_EQ(contacts().size(), 1);
    EXPECT_EQ(undo(), u"0 1 0 "_s);
    EXPECT_EQ(contacts(), merged);
    EXPECT_EQ(undo(), u"0 1 2 "_s);
    EXPECT_EQ(import(cards), u"0 0 3 0"_s);
    EXPECT_EQ(contacts().size(), 3);
}

// Where a contact lies on a phone, and what made and changed it, is known of the one that comes back.
TEST_F(VXContactHistoryTest, AMergeThatIsUndoneLeavesEachContactItsPast)
{
    const QByteArray first = card("Jane Doe", "UID:a\r\nTEL:555 0100\r\nCATEGORIES:Family\r\nORG:Mill\r\n");
    import(first);
    import(card("Jane Doe", "UID:a\r\nTEL:555 0100\r\nTEL:555 0101\r\n"));
    import(first + card("Jane Doe", "UID:b\r\nTEL:555 0100\r\n"));
    VXManagedObjectContext context(store);
    for (const VXManagedObjectPtr &person : all(context)) {
        const VXManagedObjectPtr place = context.insertNewObject(u"VXContactPlace"_s);
        place->setValueForKey(u"vxdevice://localhost/phones/mine"_s, u"device_url"_s);
        place->setValueForKey("SM/"_L1 + person->valueForKey(u"uid"_s).toString(), u"location"_s);
        place->setValueForKey(QVariantMap(), u"here"_s);
        place->setValueForKey(QVariantMap(), u"there"_s);
        place->setValueForKey(QVariant::fromValue(person), u"person"_s);
    }
    ASSERT_TRUE(context.save());
    const auto places = [this] {
        VXManagedObjectContext now(store);
        QStringList lines;
        for (const VXManagedObjectPtr &place : all(now, u"VXContactPlace"_s)) {
            const auto person = place->valueForKey(u"person"_s).value<VXManagedObjectPtr>();
            lines.append(place->valueForKey(u"location"_s).toString() + u' ' +
                         (person ? person->valueForKey(u"uid"_s).toString() : QString()));
        }
        lines.sort();
        return lines;
    };
    const QStringList before = places();
    mergeDuplicates();
    EXPECT_EQ(contacts().size(), 1);
    EXPECT_EQ(undo(), u"0 1 1 "_s);
    EXPECT_EQ(places(), before);
    mergeDuplicates();
    exchange(u"VXContactPlace"_s);
    EXPECT_EQ(undo(), u"0 1 1 "_s);
    EXPECT_EQ(places(), before);
    mergeDuplicates();
    for (const VXManagedObjectPtr &place : all(context, u"VXContactPlace"_s))
        context.deleteObject(place); // a sync carried it out
    ASSERT_TRUE(context.save());
    EXPECT_EQ(undo(), u"0 1 1 "_s);
    EXPECT_EQ(places().size(), 1); // of the one that was brought back, to be put there again
    EXPECT_TRUE(places().constFirst().startsWith(u' '));
    EXPECT_EQ(undo(), u"1 0 0 "_s); // the third import
    EXPECT_EQ(undo(), u"0 1 0 "_s); // the second
    EXPECT_EQ(contacts(), QStringList{u"Jane Doe|Mill|555 0100|Family"_s});
    EXPECT_EQ(undo(), u"1 0 0 "_s);
    EXPECT_EQ(contacts(), QStringList());
}

TEST_F(VXContactHistoryTest, AContactThatComesBackHasItsChangesWhateverTheirNumbers)
{
    import(jane + bob);
    const QStringList before = contacts();
    EXPECT_EQ(
        import(card("Jane Doe", "UID:1\r\nTEL:555 0199\r\n") + card("Bob Hill", "TEL:020 7946 0123\r\nORG:Mill\r\n")),
        u"0 2 0 0"_s);
    for (const bool isCopied : {false, true}) {
        VXManagedObjectContext context(store);
        const VXManagedObjectPtr person = personNamed(u"Jane"_s, context);
        const auto deletion = VXContactHistory::insert(context, u"deletion"_s, u"Jane Doe"_s);
        VXContactHistory::note(context, *deletion, person, true);
        context.deleteObject(person);
        ASSERT_TRUE(context.save());
        if (isCopied)
            exchange(u"VXContactChange"_s);
        EXPECT_EQ(undo(), u"0 0 1 "_s);
    }
    EXPECT_EQ(undo(), u"0 1 0 Bob Hill"_s); // whom the exchange has touched
    EXPECT_EQ(contacts(), (QStringList{u"Bob Hill|Mill|+44 20 7946 0123"_s, before.constLast()}));
}

// What can be undone in the other store, or has its number, was done there.
TEST_F(VXContactHistoryTest, AStoreThatIsMergedIsOneStepAndBringsNoHistory)
{
    EXPECT_EQ(import(jane), u"1 0 0 0"_s);
    auto &phonebookPlugin =
        plugin(u"com.halvern.VNX2.plugin.phonebook"_s)->as<VXDataPlugin>("persistentStoreCoordinator");
    const QString copy = path(u"copy.vxdatastore"_s);
    EXPECT_FALSE(phonebookPlugin.exportStoreTo(copy, false));
    EXPECT_EQ(import(bob), u"1 0 0 0"_s);
    QString description;
    VXError error;
    const VXCoreDataStore::Ptr other = phonebookPlugin.storeToImport(copy, &description, &error);
    ASSERT_TRUE(other) << error.description().toStdString();
    error = phonebookPlugin.mergeStore(other);
    EXPECT_FALSE(error) << error.description().toStdString();
    EXPECT_EQ(contacts().size(), 3);
    EXPECT_EQ(countOf(u"VXContactChangeSet"_s), 3); // of both imports and the merge
    VXManagedObjectContext context(store);
    const auto groups = context.executeFetchRequest(VXFetchRequest(*store->model().entityForName(u"VXGroup"_s)));
    ASSERT_EQ(groups->size(), 1); // Jane's, which both of her are in
    EXPECT_EQ(groups->first()->relatedCount(groups->first()->entity().propertyForName(u"members"_s)->index()), 2);
    for (const qsizetype left : {2, 1, 0}) {
        EXPECT_EQ(undo(), u"1 0 0 "_s);
        EXPECT_EQ(contacts().size(), left);
    }
}
