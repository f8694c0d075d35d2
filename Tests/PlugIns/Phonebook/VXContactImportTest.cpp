#include "VXContactImport.h"
#include "VXCardWriter.h"
#include "VXContactDuplicates.h"
#include "VXContactHistory.h"
#include "VXContactMatch.h"
#include "VXContactWriter.h"
#include "VXDataPlugin.h"
#include "VXErrorDomain.h"
#include "VXPhonebookTest.h"

#include <QtCore/QBuffer>

using namespace Qt::StringLiterals;

class VXContactImportTest : public VXPhonebookTest
{
protected:
    VXContactImportTest()
    {
        if (!IsSkipped())
            start();
    }

    /** "ADDED CHANGED SAME LEFT-OUT" */
    QString import(const QByteArray &cards, bool isDryRun = false)
    {
        QBuffer buffer;
        buffer.setData(cards);
        buffer.open(QIODevice::ReadOnly);
        VXCardReader reader(buffer);
        VXContactImport import(store, u"a.vcf"_s);
        import.setDryRun(isDryRun);
        VXError error;
        const auto report = import.run(reader, &error);
        EXPECT_TRUE(report) << error.description().toStdString();
        replaced.clear();
        for (const VXImportedContact &each : report->contacts)
            replaced += each.replaced;
        return u"%1 %2 %3 %4"_s.arg(report->added).arg(report->changed).arg(report->same).arg(report->leftOut);
    }

    QStringList replaced; // by the last import

    /** Of each contact name, numbers, addresses and groups, sorted. */
    QStringList contacts() const
    {
        VXManagedObjectContext context(store);
        QStringList lines;
        const auto found = context.executeFetchRequest(VXFetchRequest(*store->model().entityForName(u"VXPerson"_s)));
        for (const VXManagedObjectPtr &person : *found) {
            const VXContactRecord contact(QVariant::fromValue(person));
            QStringList values{contact.displayName(), contact.company};
            for (const auto &list : {contact.numbers, contact.emails}) {
                for (const auto &each : list)
                    values.append(each.value);
            }
            values += contact.groups;
            lines.append(values.join(u'|'));
        }
        lines.sort();
        return lines;
    }

    qsizetype countOf(const QString &entity) const
    {
        VXManagedObjectContext context(store);
        return context.countForFetchRequest(VXFetchRequest(*store->model().entityForName(entity))).value_or(-1);
    }

    /** Gives the first two objects each other's values, as they may have where all were copied one by one: others have their numbers. */
    void exchange(const QString &entity) const
    {
        VXManagedObjectContext context(store);
        VXFetchRequest request(*store->model().entityForName(entity));
        const auto found = context.executeFetchRequest(request);
        ASSERT_GE(found->size(), 2);
        for (const QString &key : {u"device_url"_s, u"location"_s, u"before"_s, u"person"_s, u"changeSet"_s}) {
            if (request.entity().propertyForName(key) == nullptr)
                continue;
            const QVariant first = found->at(0)->valueForKey(key);
            found->at(0)->setValueForKey(found->at(1)->valueForKey(key), key);
            found->at(1)->setValueForKey(first, key);
        }
        EXPECT_TRUE(context.save());
    }

    QString undo(bool isDryRun = false) const
    {
        VXError error;
        const auto undone = VXContactHistory(store).undoLast(isDryRun, &error);
        return undone ? u"%1 %2 %3 %4"_s.arg(undone->removed)
                            .arg(undone->restored)
                            .arg(undone->broughtBack)
                            .arg(undone->left.join(u','))
                      : error.localizedDescription();
    }
};

namespace {

QByteArray card(const QByteArray &name, const QByteArray &lines)
{
    return "BEGIN:VCARD\r\nVERSION:3.0\r\nFN:" + name + "\r\nN:" + name.split(' ').value(1) + ';' +
           name.split(' ').value(0) + "\r\n" + lines + "END:VCARD\r\n";
}

const QByteArray jane = card("Jane Doe", "UID:1\r\nTEL:555 0100\r\nEMAIL:jane@example.org\r\nCATEGORIES:Family\r\n");
const QByteArray bob = card("Bob Hill", "TEL;TYPE=cell:+44 20 7946 0123\r\nX-MOOD:good\r\n");
const QByteArray alone = card("Zoe Alone", "NOTE:no number\r\n");

} // namespace

TEST_F(VXContactImportTest, TheSameTwiceChangesNothing)
{
    const QByteArray cards = jane + bob + alone + bob;
    EXPECT_EQ(import(cards, true), u"3 0 1 0"_s);
    EXPECT_EQ(contacts(), QStringList());
    EXPECT_EQ(import(cards), u"3 0 1 0"_s);
    const QStringList once{u"Bob Hill||+44 20 7946 0123"_s, u"Jane Doe||555 0100|jane@example.org|Family"_s,
                           u"Zoe Alone|"_s};
    EXPECT_EQ(contacts(), once);
    const qsizetype words = countOf(u"VXSearchWord"_s);
    EXPECT_EQ(import(cards, true), u"0 0 4 0"_s);
    EXPECT_EQ(import(cards), u"0 0 4 0"_s);
    EXPECT_EQ(contacts(), once);
    EXPECT_EQ(countOf(u"VXSearchWord"_s), words);
    EXPECT_EQ(countOf(u"VXContactChangeSet"_s), 1);
}

TEST_F(VXContactImportTest, MoreChangesOfOneContactThanCanBeUndone)
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

// However it is written, what a card has is there when it comes again.
TEST_F(VXContactImportTest, NoCardIsNewsASecondTime)
{
    const QByteArray cases[] = {
        "X-MOOD:good \r\n",
        "X-MOOD:good\r\nX-MOOD:good\r\n",
        "X-MOOD:good\r\nX-MOOD;P=1:good\r\n \r\n",
        "CATEGORIES:Family , Work\r\n",
        "TEL:555 0100\r\nTEL;TYPE=cell:555 0100\r\n",
        "TEL:030 1234567\r\nTEL:+49 30 1234567\r\n",
        "TEL;TYPE=cell:+49 30 1234567 \r\nTEL;TYPE=home:030 1234567\r\n",
        "EMAIL: A@example.org \r\nEMAIL;TYPE=work:a@example.org\r\n",
        "URL:https://example.org/ \r\nNOTE: a \\n \r\n",
        "ADR:;;1 Lane ;Town;;;\r\nADR:;;1 Lane;Town;;;\r\n",
        "UID: x \r\nBDAY:1980-01-02\r\n",
        "ORG: Mill \r\nTITLE: \r\nNICKNAME:J \r\n",
        "TEL:CALL-ME\r\n",
        "TEL:+49 (0)30 1234567\r\nTEL:+49 30 1234567\r\nTEL:0049(0)301234568\r\n",
        "TEL:+39 (0)6 6982 1234\r\nTEL:+390669821234\r\n",
        "TEL;X-A=1:+49 (0)30 1234567\r\nTEL;X-A=2:555 0143\r\nNOTE;X-A=3:n\r\n",
        "TEL:sip:jane@example.org\r\nTEL:sip:1234@example.org\r\n",
        "TEL:CALL-ME\r\nTEL:555 0142\r\nEMAIL:n@example.org\r\n",
    };
    int number = 0;
    for (const QByteArray &lines : cases) {
        const QByteArray one = card("Jane N" + QByteArray::number(++number), lines);
        EXPECT_EQ(import(one), u"1 0 0 0"_s) << lines.toStdString();
        EXPECT_EQ(import(one), u"0 0 1 0"_s) << lines.toStdString() << replaced.join(u'\n').toStdString();
    }
    const QByteArray nameless = "BEGIN:VCARD\r\nVERSION:3.0\r\nTEL:CALL-US\r\nEND:VCARD\r\n";
    EXPECT_EQ(import(nameless), u"1 0 0 0"_s);
    EXPECT_EQ(import(nameless), u"0 0 1 0"_s);
    const QByteArray whole = "BEGIN:VCARD\r\nVERSION:3.0\r\nFN:Jane Doe\r\nTEL:555 0199\r\nEND:VCARD\r\n";
    EXPECT_EQ(import(card("Jane Doe", "TEL:555 0199\r\n")), u"1 0 0 0"_s);
    EXPECT_EQ(import(whole), u"0 0 1 0"_s);
    EXPECT_TRUE(contacts().contains(u"Jane Doe||555 0199"_s)) << contacts().join(u'\n').toStdString();
}

TEST_F(VXContactImportTest, WhatIsNewIsTakenOverAndNothingIsLost)
{
    import(jane + bob);
    const struct
    {
        QByteArray cards;
        QString counts;
        QString contact; // one that is there then
    } cases[] = {
        {card("Jane Smith", "UID:1\r\nTEL:555 0199\r\n"), u"0 1 0 0"_s,
         u"Jane Smith||555 0100|555 0199|jane@example.org|Family"_s}, // by the UID, whatever the name
        {card("Bob Hill", "UID:7\r\nTEL:020 7946 0123\r\nORG:Mill\r\n"), u"0 1 0 0"_s,
         u"Bob Hill|Mill|+44 20 7946 0123"_s}, // by name and number, however that is written
        {card("Bob Hill", "TEL:555 0300\r\n"), u"1 0 0 0"_s, u"Bob Hill||555 0300"_s},           // another one
        {card("Rob Hill", "TEL:020 7946 0123\r\n"), u"1 0 0 0"_s, u"Rob Hill||020 7946 0123"_s}, // too
        {card("Hill Rob", "TEL:020 7946 0123\r\n"), u"0 1 0 0"_s, u"Hill Rob||020 7946 0123"_s}, // names turned round
        {"BEGIN:VCARD\r\nNOTE:x\r\nEND:VCARD\r\n", u"0 0 0 1"_s, u"Hill Rob||020 7946 0123"_s},
    };
    for (const auto &each : cases) {
        EXPECT_EQ(import(each.cards, true), each.counts) << each.cards.toStdString();
        EXPECT_EQ(import(each.cards), each.counts) << each.cards.toStdString();
        EXPECT_EQ(replaced.contains(u"lastName Doe -> Smith"_s), each.cards.contains("Smith"));
        EXPECT_TRUE(contacts().contains(each.contact)) << contacts().join(u'\n').toStdString();
    }
}

// What one file tells apart stays apart, and finds itself again.
TEST_F(VXContactImportTest, CardsWithUIDsOfTheirOwnAreContactsOfTheirOwn)
{
    import(card("Jane Doe", "TEL:555 0100\r\n")); // of whom no UID is known
    const QByteArray family = card("Jane Doe", "UID:a\r\nTEL:555 0100\r\nNICKNAME:Ma\r\n") +
                              card("Jane Doe", "UID:b\r\nTEL:555 0100\r\nNICKNAME:Junior\r\n");
    EXPECT_EQ(import(family, true), u"1 1 0 0"_s);
    EXPECT_EQ(import(family), u"1 1 0 0"_s);
    EXPECT_EQ(import(family), u"0 0 2 0"_s);
    EXPECT_EQ(countOf(u"VXPerson"_s), 2);
}

TEST_F(VXContactImportTest, CardsOfOneNameAreContactsOfTheirOwnUnlessTheyAreEqual)
{
    const QByteArray number = "TEL:555 0100\r\n";
    const QByteArray other = "TEL:555 0199\r\n";
    const struct
    {
        const char *name;
        QByteArray before;
        QByteArray cards;
        QString counts;
        QString again;
    } cases[] = {
        {"one number",
         {},
         card("Anna Berg", number + "TITLE:a\r\n") + card("Anna Berg", number + "TITLE:b\r\n"),
         u"2 0 0 0"_s,
         u"0 0 2 0"_s},
        {"no number", {}, card("Bea Berg", "NOTE:a\r\n") + card("Bea Berg", "NOTE:b\r\n"), u"2 0 0 0"_s, u"0 0 2 0"_s},
        {"all of one in the other",
         {},
         card("Cleo Berg", number + other) + card("Cleo Berg", number),
         u"2 0 0 0"_s,
         u"0 0 2 0"_s},
        {"the other way",
         {},
         card("Dora Berg", number) + card("Dora Berg", number + other),
         u"2 0 0 0"_s,
         u"0 0 2 0"_s},
        {"equal", {}, card("Edda Berg", number) + card("Edda Berg", number), u"1 0 1 0"_s, u"0 0 2 0"_s},
        {"one is known", card("Fay Berg", number + "NOTE:n\r\n"),
         card("Fay Berg", number + "TITLE:a\r\n") + card("Fay Berg", number + "TITLE:b\r\n"), u"1 1 0 0"_s,
         u"0 0 2 0"_s},
        {"one with a UID",
         {},
         card("Gia Berg", number + "TITLE:a\r\n") + card("Gia Berg", number + "UID:g\r\nTITLE:b\r\n"),
         u"2 0 0 0"_s,
         u"0 0 2 0"_s},
    };
    for (const auto &each : cases) {
        import(each.before);
        EXPECT_EQ(import(each.cards, true), each.counts) << each.name;
        EXPECT_EQ(import(each.cards), each.counts) << each.name;
        for (int round = 0; round < 2; ++round) {
            EXPECT_EQ(import(each.cards), each.again) << each.name;
            EXPECT_EQ(replaced, QStringList()) << each.name;
        }
    }
}

// A UID that several cards have is one contact's, unless they are plainly of several people.
TEST_F(VXContactImportTest, AUIDThatSeveralCardsHaveSettles)
{
    const auto of = [](const QByteArray &name, const QByteArray &lines) { return card(name, "UID:x\r\n" + lines); };
    const struct
    {
        QByteArray cards;
        QString counts;
        QStringList contacts;
    } cases[] = {
        {of("Ann Lee", "ORG:Acme\r\nNOTE:n\r\n") + of("Ann Lee", "ORG:Mill\r\nNOTE:m\r\nTEL:555 0101\r\n") +
             of("Ann Lee", "ORG:Tower\r\nBDAY:1980-01-01\r\n") + of("Ann Lee", "BDAY:1981-01-01\r\n"),
         u"1 3 0 0"_s,
         {u"Ann Lee|Acme|555 0101"_s}},
        {of("Ann Lee", "TEL:555 0101\r\n") + of("Bob Hill", "TEL:555 0102\r\n") + of("Cid Ray", {}) +
             of("Ann Lee", "TEL:555 0103\r\n"),
         u"3 1 0 0"_s,
         {u"Ann Lee||555 0101|555 0103"_s, u"Bob Hill||555 0102"_s, u"Cid Ray|"_s}},
        {"BEGIN:VCARD\r\nUID:x\r\nORG:Acme\r\nEND:VCARD\r\nBEGIN:VCARD\r\nUID:x\r\nORG:Mill\r\nEND:VCARD\r\n",
         u"2 0 0 0"_s,
         {u"Acme|Acme"_s, u"Mill|Mill"_s}},
    };
    for (const auto &each : cases) {
        EXPECT_EQ(import(each.cards, true), each.counts);
        EXPECT_EQ(import(each.cards), each.counts);
        EXPECT_EQ(contacts(), each.contacts);
        const qsizetype number = each.cards.count("BEGIN:");
        EXPECT_EQ(import(each.cards), u"0 0 %1 0"_s.arg(number)) << replaced.join(u'\n').toStdString();
        EXPECT_EQ(contacts(), each.contacts);
        undo();
        EXPECT_EQ(contacts(), QStringList());
    }
}

// It stays so when one of them is in the store, in whatever order the file has them the next time, and when it has more.
TEST_F(VXContactImportTest, AUIDOfSeveralPeopleMixesNoneOfThemUp)
{
    const auto of = [](const QByteArray &name, const QByteArray &number) {
        return card(name, "UID:0\r\nTEL:" + number + "\r\n");
    };
    const QByteArray first = of("Jane Doe", "555 0101");
    const QByteArray namesake = of("Jane Roe", "555 0102");
    const QByteArray other = of("Rob Hill", "555 0103");
    const QByteArray further = of("Aaron Ames", "555 0104");
    const struct
    {
        QByteArray cards;
        QString counts;
    } steps[] = {
        {first + namesake + other, u"3 0 0 0"_s},
        {other + first + namesake, u"0 0 3 0"_s},
        {namesake + first, u"0 0 2 0"_s},
        {further + first + namesake + other, u"1 0 3 0"_s},
        {other, u"0 0 1 0"_s}, // the UID is Jane's
        {of("Zoe Cole", "555 0105"), u"1 0 0 0"_s},
        {of("Zoe Cole", "555 0105"), u"0 0 1 0"_s},
        {of("Rita Cruz", "555 0101"), u"0 1 0 0"_s}, // her new name
    };
    for (const auto &[cards, counts] : steps) {
        EXPECT_EQ(import(cards, true), counts) << cards.toStdString();
        EXPECT_EQ(import(cards), counts) << cards.toStdString();
    }
    EXPECT_EQ(contacts(), (QStringList{u"Aaron Ames||555 0104"_s, u"Jane Roe||555 0102"_s, u"Rita Cruz||555 0101"_s,
                                       u"Rob Hill||555 0103"_s, u"Zoe Cole||555 0105"_s}));
}

TEST_F(VXContactImportTest, GroupsThatAreCardsHaveTheirMembers)
{
    const auto group = [](const QByteArray &name, const QByteArray &lines) {
        return "BEGIN:VCARD\r\nVERSION:4.0\r\nKIND:group\r\nFN:" + name + "\r\n" + lines + "END:VCARD\r\n";
    };
    const QByteArray cards =
        group("Club", "UID:urn:uuid:c\r\nMEMBER:urn:uuid:1\r\nMEMBER:urn:uuid:board\r\nMEMBER:urn:uuid:c\r\n") + jane +
        bob + card("Ann Lee", "UID:urn:uuid:2\r\nTEL:555 0102\r\n") +
        "BEGIN:VCARD\r\nVERSION:3.0\r\nN:Board;;;;\r\nFN:Board\r\nX-ADDRESSBOOKSERVER-KIND:group\r\nUID:board\r\n"
        "X-ADDRESSBOOKSERVER-MEMBER:urn:uuid:2\r\nX-ADDRESSBOOKSERVER-MEMBER:urn:uuid:c\r\nEND:VCARD\r\n";
    EXPECT_EQ(import(cards, true), u"5 0 0 0"_s);
    EXPECT_EQ(countOf(u"VXGroup"_s), 0);
    EXPECT_EQ(import(cards), u"5 0 0 0"_s);
    QStringList found = contacts(); // with the groups in any order
    for (QString &line : found) {
        QStringList values = line.split(u'|');
        std::sort(values.begin() + 2, values.end());
        line = values.join(u'|');
    }
    EXPECT_EQ(found, (QStringList{u"Ann Lee||555 0102|Board|Club"_s, u"Bob Hill||+44 20 7946 0123"_s,
                                  u"Jane Doe||555 0100|Board|Club|Family|jane@example.org"_s}));
    EXPECT_EQ(import(cards, true), u"0 0 5 0"_s);
    EXPECT_EQ(import(cards), u"0 0 5 0"_s);
    EXPECT_EQ(import(group("Club", "MEMBER:1\r\nMEMBER:nobody\r\n")), u"0 0 1 0"_s);
    EXPECT_EQ(undo(), u"3 0 0 "_s);
    EXPECT_EQ(countOf(u"VXGroup"_s), 0);
}

// A contact that two cards change, each in another save, is what it was before both.
TEST_F(VXContactImportTest, WhatIsChangedTwiceIsUndoneAtOnce)
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

TEST_F(VXContactImportTest, ImportsAreUndoneButForWhatWasChangedSince)
{
    EXPECT_EQ(undo(), u"There is no import or merge of contacts that could be undone."_s);
    import(jane);
    const QStringList before = contacts();
    import(card("Jane Doe", "UID:1\r\nTEL:555 0199\r\nCATEGORIES:Work\r\n") + bob + alone);
    {
        VXManagedObjectContext context(store); // the user takes a fancy to one of them
        VXFetchRequest request(*store->model().entityForName(u"VXPerson"_s));
        request.predicate = *VXPredicate::predicateWithFormat(u"firstName == 'Zoe'"_s);
        const auto found = context.executeFetchRequest(request);
        found->first()->setValueForKey(u"Mill"_s, u"company"_s);
        ASSERT_TRUE(context.save());
    }
    EXPECT_EQ(undo(true), u"1 1 0 Zoe Alone"_s);
    EXPECT_EQ(contacts().size(), 3);
    EXPECT_EQ(undo(), u"1 1 0 Zoe Alone"_s);
    EXPECT_EQ(contacts(), before + QStringList{u"Zoe Alone|Mill"_s});
    EXPECT_EQ(undo(), u"1 0 0 "_s); // the one before
    EXPECT_EQ(contacts(), QStringList{u"Zoe Alone|Mill"_s});
}

TEST_F(VXContactImportTest, DuplicatesBecomeOneAndTwoAgain)
{
    VXManagedObjectContext context(store);
    addPerson(context, {{u"firstName"_s, u"Jane"_s},
                        {u"lastName"_s, u"Doe"_s},
                        {u"numbers"_s, QStringList{u"555 0100"_s}},
                        {u"birthday"_s, QDateTime(QDate(1985, 4, 12), QTime(0, 0), Qt::UTC)}});
    addPerson(context, {{u"firstName"_s, u"Doe"_s},
                        {u"lastName"_s, u"Jane"_s},
                        {u"company"_s, u"Mill"_s},
                        {u"numbers"_s, QStringList{u"5550100"_s, u"555 0177"_s}}});
    addPerson(context, {{u"firstName"_s, u"jane doe"_s}, {u"emails"_s, QStringList{u"j@example.org"_s}}});
    addPerson(context, {{u"firstName"_s, u"Jane"_s},
                        {u"lastName"_s, u"Doe"_s},
                        {u"numbers"_s, QStringList{u"555 0177"_s}},
                        {u"emails"_s, QStringList{u"J@example.org"_s}}});
    addPerson(context, {{u"firstName"_s, u"Jim"_s}, {u"numbers"_s, QStringList{u"555 0100"_s}}}); // in her house
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
    EXPECT_EQ(undo(), u"0 1 3 "_s);
    EXPECT_EQ(contacts(), before);
    EXPECT_EQ(countOf(u"VXContactChange"_s), 0);
}

// The user finds in the note what of two values is not kept; numbers of two countries are two.
TEST_F(VXContactImportTest, MergesLoseNothing)
{
    import(card("Jane Doe", "UID:a\r\nTEL:(555) 0100\r\nORG:Acme\r\nBDAY:1980-01-01\r\nTITLE:Chief\r\nNOTE:n\r\n") +
           card("Jane Doe", "UID:b\r\nTEL:+1 555 0100\r\nTEL:+44 555 0100\r\nORG:Other\r\nBDAY:1981-01-01\r\n"));
    const VXContactDuplicates duplicates(store);
    const auto found = duplicates.find();
    ASSERT_TRUE(found && found->size() == 1);
    ASSERT_TRUE(duplicates.merge(*found));
    EXPECT_EQ(contacts(), QStringList{u"Jane Doe|Other|+1 555 0100|+44 555 0100"_s});
    VXManagedObjectContext context(store);
    const auto persons = context.executeFetchRequest(VXFetchRequest(*store->model().entityForName(u"VXPerson"_s)));
    EXPECT_EQ(persons->first()->valueForKey(u"note"_s), u"n\ncompany: Acme\nbirthday: 1980-01-01"_s);
}

// Those that were merged into another are known again when their cards come again.
TEST_F(VXContactImportTest, WhatWasMergedStaysMerged)
{
    const QByteArray cards = card("Jane Doe", "UID:a\r\nTEL:555 0100\r\nORG:Acme\r\nBDAY:1980-01-01\r\n") +
                             card("Jane Doe", "UID:b\r\nTEL:555 0100\r\nTEL:555 0101\r\nORG:Other\r\n") +
                             card("Jane Doe", "UID:c\r\nTEL:555 0101\r\nTITLE:Chief\r\n");
    import(cards);
    const VXContactDuplicates duplicates(store);
    ASSERT_TRUE(duplicates.merge(*duplicates.find()));
    const QStringList merged = contacts();
    EXPECT_EQ(merged.size(), 1);
    EXPECT_EQ(import(cards, true), u"0 0 3 0"_s);
    EXPECT_EQ(import(cards), u"0 0 3 0"_s);
    EXPECT_EQ(import(card("Janet Roe", "UID:c\r\nTEL:555 0102\r\n")), u"0 1 0 0"_s);
    EXPECT_EQ(contacts().size(), 1);
    EXPECT_EQ(undo(), u"0 1 0 "_s);
    EXPECT_EQ(contacts(), merged);
    EXPECT_EQ(undo(), u"0 1 2 "_s);
    EXPECT_EQ(import(cards), u"0 0 3 0"_s);
    EXPECT_EQ(contacts().size(), 3);
}

// Where a contact lies on a phone, and what made and changed it, is known of the one that comes back.
TEST_F(VXContactImportTest, AMergeThatIsUndoneLeavesEachContactItsPast)
{
    const QByteArray first = card("Jane Doe", "UID:a\r\nTEL:555 0100\r\nCATEGORIES:Family\r\nORG:Mill\r\n");
    import(first);
    import(card("Jane Doe", "UID:a\r\nTEL:555 0100\r\nTEL:555 0101\r\n"));
    import(first + card("Jane Doe", "UID:b\r\nTEL:555 0100\r\n"));
    VXManagedObjectContext context(store);
    const auto persons = context.executeFetchRequest(VXFetchRequest(*store->model().entityForName(u"VXPerson"_s)));
    for (const VXManagedObjectPtr &person : *persons) {
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
        const auto found = now.executeFetchRequest(VXFetchRequest(*store->model().entityForName(u"VXContactPlace"_s)));
        for (const VXManagedObjectPtr &place : *found) {
            const auto person = place->valueForKey(u"person"_s).value<VXManagedObjectPtr>();
            lines.append(place->valueForKey(u"location"_s).toString() + u' ' +
                         (person ? person->valueForKey(u"uid"_s).toString() : QString()));
        }
        lines.sort();
        return lines;
    };
    const QStringList before = places();
    const VXContactDuplicates duplicates(store);
    ASSERT_TRUE(duplicates.merge(*duplicates.find()));
    EXPECT_EQ(contacts().size(), 1);
    EXPECT_EQ(undo(), u"0 1 1 "_s);
    EXPECT_EQ(places(), before);
    ASSERT_TRUE(duplicates.merge(*duplicates.find()));
    exchange(u"VXContactPlace"_s);
    EXPECT_EQ(undo(), u"0 1 1 "_s);
    EXPECT_EQ(places(), before);
    ASSERT_TRUE(duplicates.merge(*duplicates.find()));
    const auto all = context.executeFetchRequest(VXFetchRequest(*store->model().entityForName(u"VXContactPlace"_s)));
    for (const VXManagedObjectPtr &place : *all)
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

TEST_F(VXContactImportTest, AContactThatComesBackHasItsChangesWhateverTheirNumbers)
{
    import(jane + bob);
    const QStringList before = contacts();
    EXPECT_EQ(
        import(card("Jane Doe", "UID:1\r\nTEL:555 0199\r\n") + card("Bob Hill", "TEL:020 7946 0123\r\nORG:Mill\r\n")),
        u"0 2 0 0"_s);
    for (const bool isCopied : {false, true}) {
        VXManagedObjectContext context(store);
        VXFetchRequest request(*store->model().entityForName(u"VXPerson"_s));
        request.predicate = *VXPredicate::predicateWithFormat(u"firstName == 'Jane'"_s);
        const VXManagedObjectPtr person = context.executeFetchRequest(request)->first();
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

// How a person writes the whole name is not what its parts would give.
TEST_F(VXContactImportTest, TheWholeNameIsKeptWhileTheNameIs)
{
    const QByteArray written = "BEGIN:VCARD\r\nVERSION:3.0\r\nFN:Dr. Jane \"J\" Doe\r\nN:Doe;Jane;;Dr.;\r\nUID:1\r\n"
                               "TEL:555 0100\r\nEND:VCARD\r\n";
    import(written);
    EXPECT_EQ(import(written), u"0 0 1 0"_s);
    const auto exported = [this] {
        VXManagedObjectContext context(store);
        const auto found = context.executeFetchRequest(VXFetchRequest(*store->model().entityForName(u"VXPerson"_s)));
        const QByteArray card = VXCardWriter::card(QVariant::fromValue(found->first()), VXCardWriter::Version::V3);
        return card.mid(card.indexOf("FN:")).split('\r').first();
    };
    EXPECT_EQ(exported(), "FN:Dr. Jane \"J\" Doe");
    VXManagedObjectContext context(store);
    const VXManagedObjectPtr person =
        context.executeFetchRequest(VXFetchRequest(*store->model().entityForName(u"VXPerson"_s)))->first();
    VXContactRecord contact(QVariant::fromValue(person));
    contact.company = u"Mill"_s;
    VXContactWriter(context).replace(person, contact);
    ASSERT_TRUE(context.save());
    EXPECT_EQ(exported(), "FN:Dr. Jane \"J\" Doe");
    contact.lastName = u"Hill"_s;
    VXContactWriter(context).replace(person, contact);
    ASSERT_TRUE(context.save());
    EXPECT_EQ(exported(), "FN:Jane Hill");
}

TEST_F(VXContactImportTest, ParametersThatNobodyKnowsSurvive)
{
    const QByteArrayList lines{"FN;X-F=1:Jane Doe",
                               "N;X-A=1:Doe;Jane;;;",
                               "TEL;TYPE=cell;X-CUSTOM=\"a:b\";X-D=2:555 0100",
                               "TEL;X-OTHER=2:sip:jane@example.org",
                               "TEL:555 0101",
                               "EMAIL;X-A=2:jane@example.org",
                               "ADR;X-B=3:;;1 Lane;Town;;;",
                               "URL;X-B=4:https://example.org:80/",
                               "NOTE;LANGUAGE=de:n",
                               "BDAY;X-C=1:1985-04-12"};
    const QByteArray card = "BEGIN:VCARD\r\nVERSION:3.0\r\n" + lines.join("\r\n") +
                            "\r\nBDAY;X-OMIT-YEAR=1604:1604-05-01\r\nitem1.EMAIL:j@example.org\r\n"
                            "item1.X-ABLabel:_$!<Other>!$_\r\nUID:1\r\nEND:VCARD\r\n";
    EXPECT_EQ(import(card), u"1 0 0 0"_s);
    EXPECT_EQ(import(card), u"0 0 1 0"_s);
    VXManagedObjectContext context(store);
    const auto found = context.executeFetchRequest(VXFetchRequest(*store->model().entityForName(u"VXPerson"_s)));
    const QByteArray written = VXCardWriter::card(QVariant::fromValue(found->first()), VXCardWriter::Version::V3);
    for (const QByteArray &line : lines)
        EXPECT_TRUE(written.contains("\r\n" + line + "\r\n")) << line.toStdString() << '\n' << written.toStdString();
    EXPECT_FALSE(written.contains("X-VORNIX"));
    EXPECT_EQ(written.count("BDAY"), 1);
    EXPECT_TRUE(written.contains("X-ABLabel:other")) << written.toStdString();
    EXPECT_EQ(import(written), u"0 0 1 0"_s);
}

TEST_F(VXContactImportTest, WhatIsKeptIsWhatTheCardHad)
{
    const QByteArray full =
        card("Jane Doe", "UID:urn:1\r\nNICKNAME:J\r\nORG:Mill\r\nTITLE:Chief\r\nTEL;TYPE=home,cell:1234\r\n"
                         "ADR;TYPE=work:;;12 Mill Lane;Town;;;\r\nURL:https://example.org\r\n"
                         "BDAY:1985-04-12\r\nNOTE:n\\nm\r\nX-A;P=1:v\r\nitem1.IMPP:xmpp:a\r\n");
    import(full);
    VXManagedObjectContext context(store);
    const auto found = context.executeFetchRequest(VXFetchRequest(*store->model().entityForName(u"VXPerson"_s)));
    QBuffer buffer;
    buffer.setData(full);
    buffer.open(QIODevice::ReadOnly);
    EXPECT_EQ(VXContactRecord(QVariant::fromValue(found->first())).map(), VXCardReader(buffer).next()->contact.map());
}

// What can be undone in the other store, or has its number, was done there.
TEST_F(VXContactImportTest, AStoreThatIsMergedIsOneStepAndBringsNoHistory)
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
    for (const qsizetype left : {2, 1, 0}) {
        EXPECT_EQ(undo(), u"1 0 0 "_s);
        EXPECT_EQ(contacts().size(), left);
    }
}

TEST_F(VXContactImportTest, AnImportThatIsBrokenOffTellsWhatIsIn)
{
    QByteArray cards;
    for (int each = 0; each < 5500; ++each)
        cards += card("Jane N" + QByteArray::number(each), "TEL:555 0100\r\n");
    QBuffer buffer(&cards);
    ASSERT_TRUE(buffer.open(QIODevice::ReadOnly));
    VXCardReader reader(buffer);
    VXContactImport broken(store, u"a.vcf"_s);
    int asked = 0;
    broken.setCancelCheck([&asked] { return ++asked == 2; });
    VXError error;
    EXPECT_FALSE(broken.run(reader, &error));
    EXPECT_EQ(error.code(), VXErrorCancelled);
    EXPECT_EQ(broken.reportSoFar().added, 5000);
    EXPECT_EQ(countOf(u"VXPerson"_s), 5000);
    EXPECT_EQ(undo(), u"5000 0 0 "_s);
}

TEST_F(VXContactImportTest, FilesThatProgramsWroteAreRead)
{
    struct Written
    {
        QString file;
        QStringList contacts;
        QString note; // of the one that has one
    };
    const QString zoe = u"Zoë Müller|%1|%2|zoe@example.org"_s;
    const QString spaced = u"+44 7700 900123|+44 1632 960456"_s;
    const Written files[] = {
        {u"gammu-2.1.vcf"_s,
         {zoe.arg(u"Mühle & Söhne"_s, u"+447700900123|+441632960456"_s), u"花子 山田||+441632960789"_s},
         u"likes = signs; and semicolons"_s},
        {u"vobject-3.0.vcf"_s,
         {zoe.arg(u"Mühle; Söhne; Bakery"_s, spaced), u"花子 山田||+44 1632 960789|hanako@example.org"_s},
         u"A note, with commas; semicolons and\na second line that is long enough to be folded, more than once, in the "
         "middle of what was said: ÄÖÜäöüß ÄÖÜäöüß ÄÖÜäöüß"_s},
        {u"khard-4.0.vcf"_s,
         {zoe.arg(u"Mühle; Bakery"_s, spaced) + u"|Family"_s},
         u"A note, with commas; and semicolons"_s},
    };
    for (const auto &[name, people, note] : files) {
        SCOPED_TRACE(name.toStdString());
        QFile file(QStringLiteral(VORNIX_EXAMPLES "/contacts/") + name);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        const QByteArray written = file.readAll();
        EXPECT_EQ(import(written), u"%1 0 0 0"_s.arg(people.size()));
        EXPECT_EQ(contacts(), people);
        VXManagedObjectContext context(store);
        VXFetchRequest request(*store->model().entityForName(u"VXPerson"_s));
        request.predicate = *VXPredicate::predicateWithFormat(u"note == %@"_s, {note});
        EXPECT_EQ(context.countForFetchRequest(request), 1);
        EXPECT_EQ(import(written), u"0 0 %1 0"_s.arg(people.size()));
        undo();
        EXPECT_EQ(contacts(), QStringList());
    }
}
