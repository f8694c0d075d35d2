#include "VXContactImportTest.h"
#include "VXCardWriter.h"
#include "VXContactMatch.h"
#include "VXContactWriter.h"
#include "VXErrorDomain.h"

using namespace Qt::StringLiterals;

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
    expectImport(cards, u"0 0 4 0"_s);
    EXPECT_EQ(contacts(), once);
    EXPECT_EQ(countOf(u"VXSearchWord"_s), words);
    EXPECT_EQ(countOf(u"VXContactChangeSet"_s), 1);
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
        expectImport(each.cards, each.counts);
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
    expectImport(family, u"1 1 0 0"_s);
    EXPECT_EQ(import(family), u"0 0 2 0"_s);
    EXPECT_EQ(countOf(u"VXPerson"_s), 2);
}

TEST_F(VXContactImportTest, CardsOfOneNameAreContactsOfTheirOwnUnlessTheyAreEqual)
{
    const QByteArray number = "TEL:555 0100\r\n";
    const QByteArray two = number + "TEL:555 0199\r\n";
    import(card("Fay Berg", number + "NOTE:n\r\n"));
    const std::tuple<QByteArray, QByteArray, QByteArray, QString> cases[] = {
        {"Anna Berg", number + "TITLE:a\r\n", number + "TITLE:b\r\n", u"2 0 0 0"_s},
        {"Bea Berg", "NOTE:a\r\n", "NOTE:b\r\n", u"2 0 0 0"_s},
        {"Cleo Berg", two, number, u"2 0 0 0"_s},
        {"Dora Berg", number, two, u"2 0 0 0"_s},
        {"Edda Berg", number, number, u"1 0 1 0"_s},
        {"Fay Berg", number + "TITLE:a\r\n", number + "TITLE:b\r\n", u"1 1 0 0"_s},
        {"Gia Berg", number + "TITLE:a\r\n", number + "UID:g\r\nTITLE:b\r\n", u"2 0 0 0"_s},
    };
    for (const auto &[name, first, second, counts] : cases) {
        const QByteArray cards = card(name, first) + card(name, second);
        expectImport(cards, counts);
        for (int round = 0; round < 2; ++round) {
            EXPECT_EQ(import(cards), u"0 0 2 0"_s) << name.toStdString();
            EXPECT_EQ(replaced, QStringList()) << name.toStdString();
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
        expectImport(each.cards, each.counts);
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
        expectImport(cards, counts);
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
    expectImport(cards, u"0 0 5 0"_s);
    EXPECT_EQ(import(group("Club", "MEMBER:1\r\nMEMBER:nobody\r\n")), u"0 0 1 0"_s);
    EXPECT_EQ(undo(), u"3 0 0 "_s);
    EXPECT_EQ(countOf(u"VXGroup"_s), 0);
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
        const QByteArray card =
            VXCardWriter::card(QVariant::fromValue(all(context).first()), VXCardWriter::Version::V3);
        return card.mid(card.indexOf("FN:")).split('\r').first();
    };
    EXPECT_EQ(exported(), "FN:Dr. Jane \"J\" Doe");
    VXManagedObjectContext context(store);
    const VXManagedObjectPtr person = all(context).first();
    VXContactRecord contact(QVariant::fromValue(person));
    for (const auto &[lastName, fullName] :
         {std::pair(u"Doe"_s, "FN:Dr. Jane \"J\" Doe"), {u"Hill"_s, "FN:Jane Hill"}}) {
        contact.company = u"Mill"_s;
        contact.lastName = lastName;
        VXContactWriter(context).replace(person, contact);
        ASSERT_TRUE(context.save());
        EXPECT_EQ(exported(), fullName);
    }
}

TEST_F(VXContactImportTest, AContactIsNotMetUnderANameThatItHad)
{
    import(jane);
    VXManagedObjectContext context(store);
    const VXManagedObjectPtr person = all(context).first();
    VXContactRecord former(QVariant::fromValue(person));
    former.uid.clear();
    VXContactRecord now = former;
    now.firstName = u"Janet"_s;
    VXContactMatch match(context);
    match.add({person, former});
    EXPECT_TRUE(match.find(VXContactKeys(former)));
    match.add({person, now});
    EXPECT_TRUE(match.find(VXContactKeys(now)) && !match.find(VXContactKeys(former)));
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
    VXManagedObjectContext context(store);
    const QByteArray written = VXCardWriter::card(QVariant::fromValue(all(context).first()), VXCardWriter::Version::V3);
    for (const QByteArray &line : lines)
        EXPECT_TRUE(written.contains("\r\n" + line + "\r\n")) << line.toStdString() << '\n' << written.toStdString();
    EXPECT_FALSE(written.contains("X-VORNIX"));
    EXPECT_EQ(written.count("BDAY"), 1);
    EXPECT_TRUE(written.contains("X-ABLabel:other")) << written.toStdString();
    EXPECT_EQ(import(written), u"0 0 1 0"_s);
}

TEST_F(VXContactImportTest, WhatIsKeptIsWhatTheCardHad)
{
    QByteArray full =
        card("Jane Doe", "UID:urn:1\r\nNICKNAME:J\r\nORG:Mill\r\nTITLE:Chief\r\nTEL;TYPE=home,cell:1234\r\n"
                         "ADR;TYPE=work:;;12 Mill Lane;Town;;;\r\nURL:https://example.org\r\n"
                         "BDAY:1985-04-12\r\nNOTE:n\\nm\r\nX-A;P=1:v\r\nitem1.IMPP:xmpp:a\r\n");
    import(full);
    VXManagedObjectContext context(store);
    QBuffer buffer(&full);
    buffer.open(QIODevice::ReadOnly);
    EXPECT_EQ(VXContactRecord(QVariant::fromValue(all(context).first())).map(),
              VXCardReader(buffer).next()->contact.map());
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
