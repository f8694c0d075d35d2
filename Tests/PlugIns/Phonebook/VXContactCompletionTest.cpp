#include "VXPhonebookTest.h"

using namespace Qt::StringLiterals;
using testing::ElementsAreArray;

class VXContactCompletionTest : public VXPhonebookTest
{
protected:
    VXContactCompletionTest()
    {
        if (!IsSkipped())
            start();
    }

    QStringList complete(const QString &typed, unsigned mask = VXPhonebookPropertyAll, unsigned limit = 10)
    {
        return phonebook().completionsForSubstring(typed, mask, limit);
    }
};

TEST_F(VXContactCompletionTest, BeginningsOfAnyWordAreFound)
{
    VXManagedObjectContext context(store);
    const VXManagedObjectPtr anna =
        addPerson(context, {{u"firstName"_s, u"Anne-Marie"_s},
                            {u"lastName"_s, u"Müller"_s},
                            {u"company"_s, u"Söhne\t& Mill"_s},
                            {u"numbers"_s, QStringList{u"+49 171 5550123/m"_s, u"030 901820/W"_s}},
                            {u"emails"_s, QStringList{u"am.mueller@mail.example.org/H"_s}}});
    addPerson(context,
              {{u"firstName"_s, u"Жанна"_s}, {u"nickname"_s, u"Zed"_s}, {u"numbers"_s, QStringList{u"110"_s}}});
    const VXManagedObjectPtr group = context.insertNewObject(u"VXGroup"_s);
    set(group, {{u"name"_s, u"My Family"_s}, {u"members"_s, QVariantList{QVariant::fromValue(anna)}}});
    set(context.insertNewObject(u"VXGroup"_s), {{u"name"_s, u"My empty group"_s}}); // is nobody to write to
    addPerson(context, {{u"firstName"_s, u"Kim"_s}, {u"numbers"_s, QStringList{u"0047 22 123456"_s}}});
    // As a search finds them.
    const VXManagedObjectPtr korean = addPerson(context, {{u"firstName"_s, u"철수"_s},
                                                          {u"lastName"_s, u"김"_s},
                                                          {u"jobTitle"_s, u"Welder"_s},
                                                          {u"numbers"_s, QStringList{u"201"_s}}});
    const VXManagedObjectPtr town = context.insertNewObject(u"VXPostalAddress"_s);
    set(town, {{u"city"_s, u"Straßburg"_s}, {u"person"_s, QVariant::fromValue(korean)}});
    addPerson(
        context,
        {{u"firstName"_s, u"太郎"_s}, {u"lastName"_s, u"田中"_s}, {u"numbers"_s, QStringList{u"010-1234-5678"_s}}});
    addPerson(context,
              {{u"firstName"_s, u"Søren"_s}, {u"lastName"_s, u"O’Neill"_s}, {u"numbers"_s, QStringList{u"203"_s}}});
    ASSERT_TRUE(context.save());
    const QString kimChol = u"철수 김 <201>"_s;
    const QString tanaka = u"太郎 田中 <010-1234-5678>"_s;
    const QString oneill = u"Søren O’Neill <203>"_s;
    const QString mobile = u"Anne-Marie Müller <+49 171 5550123/m>"_s;
    const QString work = u"Anne-Marie Müller <030 901820/W>"_s;
    const QString email = u"Anne-Marie Müller <am.mueller@mail.example.org/H>"_s;
    const QString zed = u"Жанна <110>"_s;
    const QStringList anything{mobile, work, email};
    QStringList all = anything;
    std::ranges::sort(all, [](const QString &a, const QString &b) { return a.compare(b, Qt::CaseInsensitive) < 0; });
    const struct
    {
        QString typed;
        QStringList found;
        unsigned mask = VXPhonebookPropertyAll;
    } cases[] = {
        {u"anne"_s, all},
        {u"MARIE"_s, all},
        {u"anne-m"_s, all},
        {u"muller"_s, all},
        {u"Mü"_s, all},
        {u"sohne"_s, all},
        {u"mill"_s, all},
        {u"marie mul"_s, all},
        {u"Müller, Anne"_s, all},
        {u"marie zed"_s, {}},
        {u"nne"_s, {}},                          // not within a word
        {u"+47"_s, {u"Kim <0047 22 123456>"_s}}, // however it is written
        {u"0047"_s, {u"Kim <0047 22 123456>"_s}},
        {u"김철수"_s, {kimChol}},
        {u"welder"_s, {kimChol}},
        {u"strassb"_s, {kimChol}},
        {u"철수 201"_s, {kimChol}},
        {u"田中太郎"_s, {tanaka}},
        {u"中"_s, {tanaka}},
        {u"oneill"_s, {oneill}},
        {u"o-neill"_s, {oneill}},
        {u"soren o'n"_s, {oneill}},
        {u"annemar"_s, all},
        {u"anne 0171"_s, all},               // whose name it is, has all offered
        {u"am.mueller 0171"_s, {email}},     //
        {u"+82 10-1234-5678"_s, {tanaka}},   // a whole number in another form
        {u"田中 +821012345678"_s, {tanaka}}, //
        {u"+82 10-1234-567"_s, {}},
        {u"жан"_s, {zed}},
        {u"zed"_s, {zed}},
        {u"mueller@mail"_s, {email}}, // what was typed is only in the address
        {u"example"_s, {email}},
        {u"+49171"_s, {mobile}},
        {u"0171 555"_s, {mobile}},
        {u"0049 171"_s, {mobile}},
        {u"030"_s, {work}},
        {u"030"_s, {}, VXPhonebookPropertyEmail},
        {u"anne"_s, {email}, VXPhonebookPropertyEmail},
        {u"fam"_s, {u"My Family { Anne-Marie Müller <+49 171 5550123/m> }"_s}, VXPhonebookPropertyGroup},
        {u"fam"_s, {mobile, work}, VXPhonebookPropertyNumber}, // of a member
        {u"  "_s, {}},
        {u"<"_s, {}},
    };
    for (const auto &each : cases)
        EXPECT_THAT(complete(each.typed, each.mask), ElementsAreArray(each.found)) << each.typed.toStdString();
}

TEST_F(VXContactCompletionTest, TheBestAreChosenAmongMany)
{
    VXManagedObjectContext context(store);
    for (int number = 0; number < 120; ++number) // more than a page has, none with a number
        addPerson(context, {{u"firstName"_s, u"Jaa"_s}, {u"lastName"_s, QString::number(number)}});
    for (const QString &name : {u"Jazz"_s, u"Jab"_s, u"Ja"_s, u"Jack"_s})
        addPerson(context, {{u"firstName"_s, name}, {u"numbers"_s, QStringList{u"555"_s}}});
    addPerson(context, {{u"company"_s, u"Jab"_s}, {u"numbers"_s, QStringList{u"556"_s}}});
    EXPECT_THAT(complete(u"ja"_s, VXPhonebookPropertyAll, 2), ElementsAreArray({u"Ja <555>"_s, u"Jab <555>"_s}));
    EXPECT_EQ(complete(u"ja"_s, VXPhonebookPropertyAll, 100).size(), 5);
    const VXManagedObjectPtr zoe =
        addPerson(context, {{u"firstName"_s, u"Zoe"_s}, {u"numbers"_s, QStringList{u"557"_s, u"558"_s}}});
    const VXManagedObjectPtr kim =
        addPerson(context, {{u"firstName"_s, u"Kim"_s}, {u"emails"_s, QStringList{u"kim@example.org"_s}}});
    const QVariantList members{QVariant::fromValue(zoe), QVariant::fromValue(kim)};
    for (const QString &name : {u"Jaaa club"_s, u"Club Jabber"_s})
        set(context.insertNewObject(u"VXGroup"_s), {{u"name"_s, name}, {u"members"_s, members}});
    ASSERT_TRUE(context.save());
    const QString group = u"%1 { Kim <kim@example.org>, Zoe <557> }"_s; // groups stand among the others
    EXPECT_THAT(complete(u"ja"_s, VXPhonebookPropertyAll, 2),
                ElementsAreArray({u"Ja <555>"_s, group.arg(u"Jaaa club"_s)}));
    EXPECT_EQ(complete(u"ja"_s, VXPhonebookPropertyAll, 100).size(), 10); // and the members'
    EXPECT_THAT(complete(u"jabb"_s, VXPhonebookPropertyAll, 1), ElementsAreArray({group.arg(u"Club Jabber"_s)}));
}

TEST_F(VXContactCompletionTest, MembersAreFoundByWhatTheirGroupIsCalledNow)
{
    VXManagedObjectContext context(store);
    const VXManagedObjectPtr person =
        addPerson(context, {{u"firstName"_s, u"Jane"_s}, {u"numbers"_s, QStringList{u"555 0100"_s}}});
    const VXManagedObjectPtr group = context.insertNewObject(u"VXGroup"_s);
    set(group, {{u"name"_s, u"Choir"_s}, {u"members"_s, QVariantList{QVariant::fromValue(person)}}});
    ASSERT_TRUE(context.save());
    const QVariant date = person->valueForKey(u"changedDate"_s);
    const QStringList jane{u"Jane <555 0100>"_s};
    EXPECT_EQ(complete(u"choir"_s, VXPhonebookPropertyNumber), jane);
    VXManagedObjectContext other(store); // which knows nothing but the group
    other.existingObjectWithID(group->objectID())->setValueForKey(u"Chess club"_s, u"name"_s);
    ASSERT_TRUE(other.save());
    EXPECT_EQ(complete(u"choir"_s).size(), 0);
    EXPECT_EQ(complete(u"chess"_s, VXPhonebookPropertyNumber), jane);
    context.refreshObject(person, false);
    EXPECT_EQ(person->valueForKey(u"changedDate"_s), date); // nothing of its own
    context.refreshObject(group, false);
    context.deleteObject(group);
    ASSERT_TRUE(context.save());
    EXPECT_EQ(complete(u"chess"_s).size(), 0);
}

TEST_F(VXContactCompletionTest, WordsFollowWhatChanges)
{
    VXManagedObjectContext context(store);
    const VXManagedObjectPtr person =
        addPerson(context, {{u"firstName"_s, u"Jane"_s}, {u"numbers"_s, QStringList{u"555 0100"_s, u"777 0100"_s}}});
    const auto numbers = person->valueForKey(u"numbers"_s).toList();
    const auto first = numbers[0].value<VXManagedObjectPtr>();
    const QString kept = numbers[1].value<VXManagedObjectPtr>()->valueForKey(u"number"_s).toString();
    const QString gone = first->valueForKey(u"number"_s).toString();
    person->setValueForKey(u"Zoe"_s, u"firstName"_s);
    ASSERT_TRUE(context.save());
    EXPECT_EQ(complete(u"jane"_s).size(), 0);
    EXPECT_EQ(complete(u"zoe"_s).size(), 2);
    VXManagedObjectContext other(store); // which knows nothing but the number
    const VXManagedObjectPtr number = other.existingObjectWithID(first->objectID());
    number->setValueForKey(u"888 0100"_s, u"number"_s);
    ASSERT_TRUE(other.save());
    EXPECT_EQ(complete(gone).size(), 0);
    EXPECT_EQ(complete(u"8880"_s).size(), 1);
    other.deleteObject(number);
    ASSERT_TRUE(other.save());
    EXPECT_EQ(complete(u"8880"_s).size(), 0);
    EXPECT_EQ(complete(kept).size(), 1);
    other.deleteObject(other.existingObjectWithID(person->objectID()));
    ASSERT_TRUE(other.save());
    for (const VXEntityDescription *const entity : store->model().entities())
        EXPECT_EQ(other.countForFetchRequest(VXFetchRequest(*entity)), 0) << entity->name().toStdString();
}
