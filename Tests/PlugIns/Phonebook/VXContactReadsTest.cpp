// Contacts of a store whose disk fails once, at each read in turn.

#include "VXDifficultPhoneTest.h"
#include "VXTestSQL.h"

using namespace Qt::StringLiterals;

/** The store is opened while its reads can be made to fail. Each round has something to do of each kind, on both sides. */
class VXContactReadsTest : protected VXFailingReads, public VXDifficultPhoneTest
{
protected:
    VXContactReadsTest()
    {
        fill(1, 8);
        phone->contacts.insert(10, card(u"There0"_s, {u"555 1"_s}));
        phone->contacts.insert(11, card(u"AddedThere0"_s, {u"555 20"_s}));
        add(u"Here0"_s, {}, u"555 2"_s);
        add(u"AddedHere0"_s, {}, u"555 30"_s);
    }
    static QString name(const char *what, int round) { return QLatin1String(what) + QString::number(round); }

    void change(int round)
    {
        VXManagedObjectContext context(store);
        const VXManagedObjectPtr renamed = person(context, name("Here", round - 1));
        const VXManagedObjectPtr deleted = person(context, name("AddedThere", round - 1));
        ASSERT_TRUE(renamed && deleted);
        renamed->setValueForKey(QVariant(), u"lastName"_s);
        renamed->setValueForKey(name("Here", round), u"firstName"_s);
        context.deleteObject(deleted);
        ASSERT_TRUE(context.save());
        add(name("AddedHere", round), {}, u"555 3%1"_s.arg(round));

        phone->contacts[location(name("There", round - 1))].insert(u"name"_s, name("There", round));
        phone->contacts.remove(location(name("AddedHere", round - 1)));
        const int free = phone->contacts.lastKey() + 1;
        phone->contacts.insert(free, card(name("AddedThere", round), {u"555 2%1"_s.arg(round)}));
    }
    static QStringList expectedAfter(int round)
    {
        QStringList names{name("AddedHere", round), name("AddedThere", round), name("Here", round),
                          name("There", round)};
        for (int index = 1; index <= 8; ++index)
            names.append(name("N", index));
        names.sort();
        return names;
    }
    QStringList namesHere() const
    {
        QStringList names;
        for (const QString &line : here())
            names.append(line.section(u' ', 0, 0));
        names.sort();
        return names;
    }
    QStringList namesThere() const
    {
        QStringList names = phone->names();
        names.sort();
        return names;
    }

private:
    VXManagedObjectPtr person(VXManagedObjectContext &context, const QString &name) const
    {
        VXFetchRequest request(*store->model().entityForName(u"VXPerson"_s));
        request.predicate = *VXPredicate::predicateWithFormat(u"firstName == %@ OR lastName == %@"_s, {name, name});
        const auto found = context.executeFetchRequest(request);
        return found && found->size() == 1 ? found->first() : VXManagedObjectPtr();
    }
    int location(const QString &name) const
    {
        return std::ranges::find(phone->contacts, name,
                                 [](const QVariantMap &contact) { return contact.value(u"name"_s).toString(); })
            .key();
    }
};

// A sync says so, and takes nothing for deleted: the next one does the rest.
TEST_F(VXContactReadsTest, WhatCanNotBeReadIsNotTakenForGone)
{
    ASSERT_EQ(sync(), u"10 0 0 2"_s);
    int told = 0;
    bool hasFailed = true;
    for (int round = 1; hasFailed && round < 300; ++round) {
        SCOPED_TRACE(round);
        ASSERT_NO_FATAL_FAILURE(change(round));
        const QStringList expected = expectedAfter(round);
        VXFailingReads::failAt(round);
        sync();
        hasFailed = VXFailingReads::hasFailed(); // perhaps of another thread, which mirrors the contacts for the search
        VXFailingReads::failAt(0);
        told += error.isNull() ? 0 : 1;
        if (error.isNull()) {
            ASSERT_EQ(namesHere(), expected) << "it said that all is done";
        }
        sync();
        ASSERT_EQ(error, QString());
        ASSERT_EQ(namesHere(), expected);
        ASSERT_EQ(namesThere(), expected);
        ASSERT_EQ(sync(), u"0 0 0 0"_s);
    }
    EXPECT_FALSE(hasFailed);
    EXPECT_GT(told, 10);
}
