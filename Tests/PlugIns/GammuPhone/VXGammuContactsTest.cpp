#include "GammuPhoneTestsPaths.h"
#include "VXGammuPhoneTest.h"

#include <QtCore/QDir>
#include <QtCore/QRegularExpression>

#include <gammu.h>

using namespace Qt::StringLiterals;

class VXGammuContactsTest : public VXGammuPhoneTest
{
protected:
    /** The texts in a contact, but for the plugin's own words. */
    static QStringList textsOf(const QVariant &value)
    {
        QStringList texts;
        const QVariantMap map = value.toMap();
        for (auto member = map.begin(); member != map.end(); ++member) {
            if (!QStringList{u"memory"_s, u"type"_s, u"label"_s}.contains(member.key()))
                texts += textsOf(*member);
        }
        if (value.typeId() == QMetaType::QVariantList) {
            for (const QVariant &element : value.toList())
                texts += textsOf(element);
        }
        return value.typeId() == QMetaType::QString ? QStringList(value.toString()) : texts;
    }
};

TEST_F(VXGammuContactsTest, ReadsWhatTheProgramWrote)
{
    addContacts(
        "BEGIN:VCARD\nVERSION:3.0\nFN:Jane Doe\nN:Doe;Jane;;;\nTEL;TYPE=CELL:+15550100\nTEL;TYPE=WORK:+15550101\n"
        "EMAIL:jane@example.org\nADR;TYPE=HOME:;;Main St 1;Springfield;IL;12345;USA\nORG:Acme\nNOTE:A note\n"
        "BDAY:19800102\nEND:VCARD\n");
    addContacts(u"BEGIN:VCARD\nVERSION:3.0\nN:Иванов;Иван\nTEL:+79161234567\nEND:VCARD\n"
                u"BEGIN:VCARD\nVERSION:3.0\nN:山田;花子😀\nTEL:+8131234\nEND:VCARD\n"_s.toUtf8(),
                u"SM"_s);
    const auto action = run(makeDummy(), u"read_contacts"_s);
    EXPECT_EQ(action->error(), VXError());
    EXPECT_TRUE(action->result().toMap().value(u"isComplete"_s).toBool());
    EXPECT_EQ(items(action, u"lastName"_s), (QVariantList{u"Doe"_s, u"Иванов"_s, u"山田"_s}));
    EXPECT_EQ(items(action, u"firstName"_s), (QVariantList{u"Jane"_s, u"Иван"_s, u"花子😀"_s}));
    EXPECT_EQ(items(action, u"memory"_s), (QVariantList{u"ME"_s, u"SM"_s, u"SM"_s}));
    EXPECT_EQ(items(action, u"location"_s), (QVariantList{1, 1, 2}));

    const QVariantMap jane = action->result().toMap().value(u"items"_s).toList().first().toMap();
    const QVariantList numbers{QVariantMap{{u"number"_s, u"+15550100"_s}, {u"type"_s, u"m"_s}},
                               QVariantMap{{u"number"_s, u"+15550101"_s}, {u"type"_s, u"W"_s}}};
    EXPECT_EQ(jane.value(u"numbers"_s).toList(), numbers);
    const QVariantList addresses{QVariantMap{{u"street"_s, u"Main St 1"_s},
                                             {u"city"_s, u"Springfield"_s},
                                             {u"state"_s, u"IL"_s},
                                             {u"zip"_s, u"12345"_s},
                                             {u"country"_s, u"USA"_s},
                                             {u"type"_s, u"H"_s}}};
    EXPECT_EQ(jane.value(u"addresses"_s).toList(), addresses);
    EXPECT_EQ(jane.value(u"emails"_s).toList(), (QVariantList{QVariantMap{{u"address"_s, u"jane@example.org"_s}}}));
    EXPECT_EQ(jane.value(u"company"_s), u"Acme"_s);
    EXPECT_EQ(jane.value(u"note"_s), u"A note"_s);
    EXPECT_EQ(jane.value(u"birthday"_s).toDateTime(), QDateTime(QDate(1980, 1, 2), QTime(0, 0), Qt::UTC));
}

// The example's contacts: in each the same texts that the library's own program lists.
TEST_F(VXGammuContactsTest, ReadsTheTextsThatTheProgramLists)
{
    addContacts(readFile(QStringLiteral(EXAMPLE_PHONE "/contacts.vcf")));
    QList<QStringList> listed;
    static const QRegularExpression quoted(u"^[^\"]*\"(.*)\"$"_s);
    for (const QString &line : QString::fromUtf8(gammu("getallmemory ME")).split(u'\n')) {
        if (line.startsWith("Memory ME, Location"_L1))
            listed.emplaceBack();
        else if (const auto text = quoted.match(line.trimmed()); text.hasMatch() && !listed.isEmpty())
            listed.last() << text.captured(1);
    }
    ASSERT_EQ(listed.size(), 5);
    const auto action = run(makeDummy(), u"read_contacts"_s);
    QList<QStringList> read;
    for (const QVariant &contact : action->result().toMap().value(u"items"_s).toList())
        read << textsOf(contact);
    for (QList<QStringList> *const contacts : {&listed, &read}) {
        for (QStringList &texts : *contacts)
            texts.sort();
    }
    EXPECT_EQ(read, listed);
}

// More values than the library holds, and a file that is no card: told, and the others are read.
TEST_F(VXGammuContactsTest, ContactsThatCannotBeReadArePartOfAPartialResult)
{
    addContacts("BEGIN:VCARD\nVERSION:3.0\nN:First;\nTEL:+1\nEND:VCARD\n");
    QByteArray many = "BEGIN:VCARD\nVERSION:3.0\nN:Many;\n";
    for (int number = 0; number < 100; ++number)
        many += "TEL;TYPE=CELL:+1555" + QByteArray::number(number) + "\n";
    writeFile(u"dummy/pbk/ME/2"_s, many + "END:VCARD\n");
    addContacts("BEGIN:VCARD\nVERSION:3.0\nN:Last;\nTEL:+3\nEND:VCARD\n");
    const auto action = run(makeDummy(), u"read_contacts"_s);
    EXPECT_EQ(action->error(), VXError());
    EXPECT_EQ(items(action, u"lastName"_s), (QVariantList{u"First"_s, u"Last"_s}));
    EXPECT_FALSE(action->result().toMap().value(u"isComplete"_s).toBool());
    const QStringList problems = action->result().toMap().value(u"problems"_s).toStringList();
    ASSERT_EQ(problems.size(), 1);
    EXPECT_TRUE(problems.first().startsWith(u"ME 2: "_s)) << problems.first().toStdString();
}

// The phone's own count tells that there are more.
TEST_F(VXGammuContactsTest, AnEmptyContactHidesNoneBehindIt)
{
    for (const char *const name : {"First", "Second", "Third"})
        addContacts("BEGIN:VCARD\nVERSION:3.0\nN:" + QByteArray(name) + ";\nTEL:+1\nEND:VCARD\n");
    writeFile(u"dummy/pbk/ME/2"_s, "");
    const auto phone = makeDummy();
    const auto action = run(phone, u"read_contacts"_s);
    EXPECT_EQ(items(action, u"lastName"_s), (QVariantList{u"First"_s, u"Third"_s}));
    EXPECT_TRUE(run(phone, u"write_contact"_s, QVariantMap{{u"note"_s, u""_s}})->error()) << "there are to be no more";
}

// As they are read; the rest is the result.
TEST_F(VXGammuContactsTest, HandsOverPortionsToWhoTakesThem)
{
    const int count = 620;
    gammu("identify");
    for (int place = 1; place <= count; ++place)
        writeFile(u"dummy/pbk/ME/%1"_s.arg(place), "BEGIN:VCARD\nVERSION:3.0\nN:Doe;\nTEL:+1\nEND:VCARD\n");
    QVariantList places;
    const auto take = [&places](const QVariantMap &portion) {
        for (const QVariant &item : portion.value(u"items"_s).toList())
            places.append(item.toMap().value(u"location"_s));
    };
    const auto read = VXDeviceAction::actionWithName(u"read_contacts"_s);
    read->setTaker([take](const VXDeviceAction::Portion &portion, const auto &) { take(portion()); });
    const auto phone = makeDummy();
    read->executeWithDevice(phone);
    ASSERT_TRUE(VXRunUntil([&] { return !read->isExecuting(); }));
    EXPECT_EQ(places.size(), 500);
    take(read->result().toMap());
    QVariantList all;
    for (int place = 1; place <= count; ++place)
        all.append(place);
    EXPECT_EQ(places, all);
}

TEST_F(VXGammuContactsTest, TimesOfAPhoneAreLocal)
{
    qputenv("TZ", "Asia/Tokyo");
    addContacts("BEGIN:VCARD\nVERSION:3.0\nTEL:+1\nBDAY:20260102T030405\nEND:VCARD\n", u"MC"_s);
    const auto action = run(makeDummy(), u"read_calls"_s);
    qunsetenv("TZ");
    const QDateTime date = items(action, u"date"_s).value(0).toDateTime();
    EXPECT_EQ(date.offsetFromUtc(), 9 * 3600) << action->result().toMap().value(u"items"_s).toList().size();
}

TEST_F(VXGammuContactsTest, WhatIsWrittenTheProgramReads)
{
    const auto phone = makeDummy();
    const QVariantList numbers{QVariantMap{{u"number"_s, u"+4930123"_s}, {u"type"_s, 1}},
                               QVariantMap{{u"number"_s, u"+49171"_s}, {u"type"_s, u"m"_s}}};
    QVariantMap contact{{u"firstName"_s, u"Zoë"_s}, {u"lastName"_s, u"Müller"_s}, {u"numbers"_s, numbers}};
    const auto added = run(phone, u"write_contact"_s, contact);
    EXPECT_EQ(added->error(), VXError());
    EXPECT_EQ(added->result().toMap().value(u"location"_s), 1);
    EXPECT_FALSE(added->result().toMap().contains(u"items"_s)) << "nothing was read";
    const QString listed = QString::fromUtf8(gammu("getallmemory ME"));
    for (const QString &text : {u"Fax number           : \"+4930123\""_s, u"Mobile number        : \"+49171\""_s,
                                u"Last name            : \"Müller\""_s, u"First name           : \"Zoë\""_s})
        EXPECT_TRUE(listed.contains(text)) << listed.toStdString();

    contact.insert(u"location"_s, 1);
    contact.insert(u"lastName"_s, u"Meier"_s);
    EXPECT_EQ(run(phone, u"write_contact"_s, contact)->error(), VXError());
    EXPECT_EQ(items(run(phone, u"read_contacts"_s), u"lastName"_s), (QVariantList{u"Meier"_s}));
    EXPECT_EQ(run(phone, u"delete_contact"_s, contact)->error(), VXError());
    EXPECT_TRUE(QDir(dummyPath(u"pbk/ME"_s)).isEmpty());
    EXPECT_EQ(run(phone, u"delete_contact"_s, contact)->error().code(), ERR_EMPTY);
}

// It may have changed since it was read.
TEST_F(VXGammuContactsTest, OnlyTheContactThatIsExpectedIsReplacedOrDeleted)
{
    addContacts("BEGIN:VCARD\nVERSION:3.0\nN:Old;\nBDAY:19840229\nTEL;TYPE=CELL:+1\nEND:VCARD\n");
    const auto phone = makeDummy();
    const auto read = [&] {
        return run(phone, u"read_contacts"_s)->result().toMap().value(u"items"_s).toList().value(0).toMap();
    };
    const QVariantMap old = read();
    QVariantMap news = old;
    news.insert(u"lastName"_s, u"New"_s);
    news.insert(u"expected"_s, old);
    const auto written = run(phone, u"write_contact"_s, news);
    EXPECT_EQ(written->error(), VXError());
    EXPECT_EQ(written->result().toMap().value(u"contact"_s).toMap(), read());
    const QVariantMap place{{u"memory"_s, u"ME"_s}, {u"location"_s, 1}, {u"expected"_s, old}};
    EXPECT_TRUE(run(phone, u"write_contact"_s, news)->error().localizedDescription().contains("Another contact"_L1));
    EXPECT_TRUE(run(phone, u"delete_contact"_s, place)->error().localizedDescription().contains("Another contact"_L1));
    EXPECT_EQ(read().value(u"lastName"_s), u"New"_s);
    news = place;
    news.insert(u"expected"_s, read());
    EXPECT_EQ(run(phone, u"delete_contact"_s, news)->error(), VXError());
}

// An identifier for synchronisation has no key: writing the contact again keeps it.
TEST_F(VXGammuContactsTest, WritingKeepsWhatNoKeyStandsFor)
{
    addContacts("BEGIN:VCARD\nVERSION:3.0\nN:Old;\nTEL:+1\nX-IRMC-LUID:Friends\nEND:VCARD\n");
    const auto phone = makeDummy();
    const QVariantMap contact{{u"memory"_s, u"ME"_s}, {u"location"_s, 1}, {u"lastName"_s, u"New"_s}};
    EXPECT_EQ(run(phone, u"write_contact"_s, contact)->error(), VXError());
    const QByteArray card = readFile(dummyPath(u"pbk/ME/1"_s));
    EXPECT_TRUE(card.contains("New") && !card.contains("+1") && card.contains("Friends")) << card.toStdString();
}

TEST_F(VXGammuContactsTest, BadContactsAreRefusedAndChangeNothing)
{
    addContacts("BEGIN:VCARD\nVERSION:3.0\nN:Kept;\nTEL:+1\nEND:VCARD\n");
    const QByteArray before = readFile(dummyPath(u"pbk/ME/1"_s));
    const auto phone = makeDummy();
    QVariantList many;
    for (int number = 0; number < 100; ++number)
        many << QVariantMap{{u"number"_s, QString::number(number)}};
    const QVariantList bad{
        QVariant(),
        QVariantMap(),
        QVariantMap{{u"colour"_s, u"red"_s}},
        QVariantMap{{u"note"_s, QString(201, u'x')}},
        QVariantMap{{u"note"_s, u"a\0b"_s}},
        QVariantMap{{u"note"_s, QVariantList()}},
        QVariantMap{{u"numbers"_s, many}},
        QVariantMap{{u"numbers"_s, u"+1"_s}},
        QVariantMap{{u"numbers"_s, QVariantList{1}}},
        QVariantMap{{u"numbers"_s, QVariantList{u"one"_s}}},
        QVariantMap{{u"numbers"_s, QVariantList{QVariantMap{{u"number"_s, u"+1"_s}, {u"type"_s, u"odd"_s}}}}},
        QVariantMap{{u"numbers"_s, QVariantList{QVariantMap{{u"number"_s, u"+1"_s}, {u"label"_s, u"moon"_s}}}}},
        QVariantMap{{u"birthday"_s, u"soon"_s}},
        QVariantMap{{u"memory"_s, u"DC"_s}, {u"note"_s, u"x"_s}},
        QVariantMap{{u"location"_s, u"first"_s}, {u"note"_s, u"x"_s}},
        QVariantMap{{u"location"_s, -1}, {u"note"_s, u"x"_s}},
        QVariantMap{{u"location"_s, 1.5}, {u"note"_s, u"x"_s}},
    };
    for (QVariant object : bad) {
        if (QVariantMap map = object.toMap(); !map.isEmpty() && !map.contains(u"location"_s)) {
            map.insert(u"location"_s, 1);
            object = map;
        }
        const auto action = run(phone, u"write_contact"_s, object);
        EXPECT_EQ(action->error().domain(), VXErrorDomain) << testing::PrintToString(object);
    }
    EXPECT_EQ(QDir(dummyPath(u"pbk/ME"_s)).entryList(QDir::Files), QStringList(u"1"_s));
    EXPECT_EQ(readFile(dummyPath(u"pbk/ME/1"_s)), before);
}

TEST_F(VXGammuContactsTest, ElementsOfListsMayBeTexts)
{
    const auto phone = makeDummy();
    const QVariantMap contact{{u"lastName"_s, u"Zed"_s},
                              {u"numbers"_s, QStringList{u"+1 555"_s}},
                              {u"emails"_s, QVariantList{u"z@example.org"_s}}};
    EXPECT_FALSE(run(phone, u"write_contact"_s, contact)->error());
    const QVariantMap read = run(phone, u"read_contacts"_s)->result().toMap()[u"items"_s].toList().first().toMap();
    EXPECT_EQ(read[u"numbers"_s].toList().first().toMap()[u"number"_s], u"+1555"_s);
    EXPECT_EQ(read[u"emails"_s].toList().first().toMap()[u"address"_s], u"z@example.org"_s);
}

TEST_F(VXGammuContactsTest, ReadsTheListsOfCalls)
{
    addContacts("BEGIN:VCARD\nVERSION:3.0\nN:Doe;Jane\nTEL:+1\nEND:VCARD\n", u"MC"_s);
    addContacts("BEGIN:VCARD\nVERSION:3.0\nTEL:+2\nEND:VCARD\n", u"DC"_s);
    const auto action = run(makeDummy(), u"read_calls"_s);
    EXPECT_EQ(items(action, u"number"_s), (QVariantList{u"+1"_s, u"+2"_s}));
    EXPECT_EQ(items(action, u"direction"_s), (QVariantList{1, 0}));
    EXPECT_EQ(items(action, u"isMissed"_s), (QVariantList{true, false}));
    EXPECT_EQ(items(action, u"name"_s), (QVariantList{u"Doe, Jane"_s, QVariant()}));
}
