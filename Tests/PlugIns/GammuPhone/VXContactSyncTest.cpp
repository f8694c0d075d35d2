#include "VXFileLock.h"
#include "VXPhoneSyncTest.h"

using namespace Qt::StringLiterals;
using testing::ElementsAre, testing::HasSubstr, testing::IsEmpty;
using testing::UnorderedElementsAre, testing::UnorderedElementsAreArray;

/** Contacts. */
class VXContactSyncTest : public VXPhoneSyncTest
{
protected:
    QString cardPath(int location) const { return path(u"phone/pbk/ME/%1"_s.arg(location)); }
    /** Changes a contact on the phone. */
    void replaceOnPhone(int location, const QByteArray &before, const QByteArray &after) const
    {
        QByteArray card = readFile(cardPath(location));
        ASSERT_TRUE(card.contains(before)) << card.toStdString();
        writeFile(u"phone/pbk/ME/%1"_s.arg(location), card.replace(before, after));
    }
    void addOnPhone(int location, const QByteArray &name, const QByteArray &number) const
    {
        writeFile(u"phone/pbk/ME/%1"_s.arg(location),
                  "BEGIN:VCARD\nVERSION:2.1\nN:;" + name + "\nTEL;CELL:" + number + "\nEND:VCARD\n");
    }

    QJsonObject syncContacts(const VXWords &options = {}, int expectedStatus = 0) const
    {
        return vornix(VXWords{"sync", phone, "--contacts"} + options, expectedStatus)[u"contacts"_s].toObject();
    }
    static std::vector<std::string> conflictsOf(const QJsonObject &result)
    {
        std::vector<std::string> texts;
        for (const QJsonValue conflict : result[u"conflicts"_s].toArray())
            texts.push_back(conflict.toString().toStdString());
        return texts;
    }
    static QString nameOf(const QJsonValue &contact)
    {
        return contact[u"firstName"_s].toString() + contact[u"name"_s].toString();
    }
    /** First name, company and numbers of each. */
    static QStringList lines(const QJsonArray &contacts)
    {
        QStringList lines;
        for (const QJsonValue contact : contacts) {
            QStringList line{nameOf(contact)};
            if (const QString company = contact[u"company"_s].toString(); !company.isEmpty())
                line.append(company);
            for (const QJsonValue number : contact[u"numbers"_s].toArray())
                line.append(number.isString() ? number.toString() : number[u"number"_s].toString());
            lines.append(line.join(u' '));
        }
        return lines;
    }
    QStringList here() const { return lines(vornix("phonebook list").toArray()); }
    QStringList there() const
    {
        return lines(vornix({"devices", "do", phone, "read_contacts"})[u"result"_s][u"items"_s].toArray());
    }
    QJsonObject show(const QString &contact) const { return vornix({"phonebook", "show", contact}).toObject(); }
    void edit(const QString &contact, const VXWords &options) const
    {
        vornix(VXWords{"phonebook", "edit", contact} + options);
    }
};

TEST_F(VXContactSyncTest, ContactsComeHereAndASecondSyncChangesNothing)
{
    fillPhone();
    EXPECT_EQ(sync(u"contacts"_s), u"5 0 0"_s);
    EXPECT_EQ(here().size(), 5);
    EXPECT_THAT(here(), UnorderedElementsAreArray(there()));
    const QJsonArray places = vornix("store list phonebook VXContactPlace").toArray();
    ASSERT_EQ(places.size(), 5);
    EXPECT_EQ(places[0][u"device_url"_s].toString(), phone);
    EXPECT_TRUE(places[0][u"location"_s].toString().startsWith("ME/"_L1));
    EXPECT_EQ(sync(u"contacts"_s), u"0 0 0"_s);
}

TEST_F(VXContactSyncTest, WhoIsHereAlreadyIsTheSame)
{
    fillPhone();
    vornix("phonebook add 'jane doe' --number '(555) 0100' --company Ours");
    EXPECT_EQ(sync(u"contacts"_s), u"4 1 0"_s);
    EXPECT_THAT(here(), testing::Contains(u"jane Ours +15550100 +15550101"_s));
    EXPECT_EQ(sync(u"contacts"_s), u"0 0 0"_s); // what the phone has is not overwritten without need
    edit(u"jane doe"_s, {u"--nickname"_s, u"JD"_s});
    EXPECT_EQ(sync(u"contacts"_s), u"0 0 1"_s);
    EXPECT_THAT(there(), testing::Contains(u"Jane Example Books +15550100 +15550101"_s));
    EXPECT_TRUE(readFile(cardPath(1)).contains("JD"));
}

TEST_F(VXContactSyncTest, EachSideLearnsWhatChangedOnTheOther)
{
    fillPhone();
    sync(u"contacts"_s);
    edit(u"Jane Doe"_s, {u"--company"_s, u"New Books"_s, u"--number"_s, u"555 0177/H"_s, u"--group"_s, u"Family"_s});
    replaceOnPhone(1, "evening", "morning");
    EXPECT_EQ(sync(u"contacts"_s), u"0 1 1"_s);
    EXPECT_THAT(there(), testing::Contains(u"Jane New Books +15550100 +15550101 5550177"_s));
    const QJsonObject jane = show(u"Jane Doe"_s);
    EXPECT_EQ(jane[u"note"_s], "Returns calls in the morning"_L1);
    EXPECT_EQ(jane[u"groups"_s].toArray().size(), 1);
    EXPECT_EQ(sync(u"contacts"_s), u"0 0 0"_s);

    // The same value: both are kept.
    edit(u"Jane Doe"_s, {u"--company"_s, u"Ours"_s});
    replaceOnPhone(1, "New Books", "Theirs");
    EXPECT_THAT(conflictsOf(syncContacts()), ElementsAre(HasSubstr("Theirs")));
    EXPECT_EQ(show(u"Jane Doe"_s)[u"company"_s], "Ours"_L1);
    EXPECT_EQ(show(u"Jane Doe"_s)[u"note"_s], "Returns calls in the morning\nCompany: Theirs"_L1);
    const QByteArray card = readFile(cardPath(1));
    EXPECT_TRUE(card.contains("ORG:Ours") && card.contains("Company: Theirs")) << card.toStdString();
    EXPECT_EQ(sync(u"contacts"_s), u"0 0 0"_s);
    vornix("phonebook undo-import");
    EXPECT_EQ(show(u"Jane Doe"_s)[u"note"_s], "Returns calls in the morning"_L1);
}

TEST_F(VXContactSyncTest, WhatWasDeletedOnOneSideIsDeletedOnTheOtherUnlessItWasChangedThere)
{
    fillPhone();
    for (const int location : {6, 7, 8})
        addOnPhone(location, "Person" + QByteArray::number(location), "+1555020" + QByteArray::number(location));
    sync(u"contacts"_s);
    vornix("phonebook delete 'Jane Doe'");
    vornix("phonebook delete Person6");
    replaceOnPhone(6, "Person6", "Person6b");
    ASSERT_TRUE(QFile::remove(cardPath(7)));
    ASSERT_TRUE(QFile::remove(cardPath(8)));
    edit(u"Person8"_s, {u"--company"_s, u"Ours"_s});
    const QJsonObject result = syncContacts();
    EXPECT_THAT(conflictsOf(result),
                UnorderedElementsAre("Person6b was deleted here and changed on the phone: it is kept.",
                                     "Person8 was deleted on the phone and changed here: it is kept."));
    EXPECT_EQ(result[u"added"_s].toInt(), 1);
    EXPECT_EQ(result[u"removed"_s].toInt(), 1);
    EXPECT_EQ(carriedOut(result), 2);
    EXPECT_EQ(here().size(), 6);
    EXPECT_THAT(here(), UnorderedElementsAreArray(there()));
    EXPECT_EQ(sync(u"contacts"_s), u"0 0 0"_s);

    vornix("phonebook undo-import"); // which takes Person6b back too: it was added
    EXPECT_THAT(here(), testing::Contains(u"Person7 +15550207"_s));
    EXPECT_EQ(sync(u"contacts"_s),
              u"1 0 1"_s); // and nothing is lost on the phone; what was brought back goes there again
    EXPECT_EQ(here().size(), 7);
    EXPECT_THAT(here(), UnorderedElementsAreArray(there()));
}

TEST_F(VXContactSyncTest, UndoingMoreThanOneThingTakesNobodyFromBothSides)
{
    fillPhone();
    EXPECT_EQ(syncContacts()[u"added"_s].toInt(), 5);
    vornix({u"phonebook"_s, u"delete"_s, u"Jane Doe"_s});
    EXPECT_EQ(syncContacts()[u"deletedThere"_s].toInt(), 1);
    EXPECT_EQ(vornix({u"phonebook"_s, u"undo-import"_s})[u"broughtBack"_s].toInt(), 1);
    const QJsonValue second =
        vornix({u"phonebook"_s, u"undo-import"_s}); // of the first sync, before she is there again
    EXPECT_EQ(second[u"removed"_s].toInt(), 4);
    EXPECT_EQ(second[u"kept"_s].toArray(), QJsonArray{u"Jane Doe"_s});
    EXPECT_EQ(vornix({u"phonebook"_s, u"undo-import"_s}, 1)[u"error"_s].toString(),
              u"There is no import or merge of contacts that could be undone."_s);
    const QJsonObject result = syncContacts();
    EXPECT_EQ(result[u"names"_s][u"addedThere"_s].toArray(), QJsonArray{u"Jane Doe"_s});
    EXPECT_EQ(here().size(), 5);
    EXPECT_THAT(there(), UnorderedElementsAreArray(here()));
}

// As when it is reset, or another card is in it.
TEST_F(VXContactSyncTest, APhoneThatLostMostOfItsContactsHasNotDeletedThem)
{
    fillPhone();
    sync(u"contacts"_s);
    for (const int location : {1, 2, 4}) // of 5
        ASSERT_TRUE(QFile::rename(cardPath(location), path(u"card%1"_s.arg(location))));
    edit(u"花子 山田"_s, {u"--company"_s, u"Ours"_s});
    EXPECT_EQ(syncContacts({}, 1)[u"question"_s], "Of the 5 contacts that the phone had, 3 are gone from it."_L1);
    EXPECT_EQ(here().size(), 5);
    EXPECT_EQ(there().size(), 2);
    for (const int location : {1, 2, 4})
        ASSERT_TRUE(QFile::rename(path(u"card%1"_s.arg(location)), cardPath(location)));
    EXPECT_EQ(sync(u"contacts"_s), u"0 0 1"_s);

    ASSERT_TRUE(QDir(path(u"phone/pbk/ME"_s)).removeRecursively());
    ASSERT_TRUE(QDir().mkpath(path(u"phone/pbk/ME"_s)));
    syncContacts({}, 1);
    EXPECT_EQ(here().size(), 5);
    EXPECT_EQ(syncContacts("--yes")[u"removed"_s].toInt(), 5);
    EXPECT_THAT(here(), IsEmpty());
    vornix("phonebook undo-import");
    EXPECT_EQ(here().size(), 5);
    EXPECT_EQ(syncContacts("--add")[u"addedThere"_s].toInt(), 5);
    EXPECT_THAT(there(), UnorderedElementsAreArray(here()));
    for (const QString &contact : {u"Jane Doe"_s, u"Jürgen Müller"_s, u"花子 山田"_s})
        vornix({"phonebook", "delete", contact});
    EXPECT_EQ(syncContacts({}, 1)[u"question"_s], "Of the 5 contacts that the phone had, 3 were deleted here."_L1);
    EXPECT_EQ(there().size(), 5);
}

TEST_F(VXContactSyncTest, ANewPhoneGetsWhatTheOldOneHad)
{
    fillPhone();
    sync(u"contacts"_s);
    const QStringList former = here();
    vornix("phonebook add Own --number +15550300");
    const QByteArray card = readFile(cardPath(1));
    ASSERT_TRUE(QDir(path(u"phone/pbk/ME"_s)).removeRecursively());
    ASSERT_TRUE(QDir().mkpath(path(u"phone/pbk/ME"_s)));
    writeFile(u"phone/pbk/ME/7"_s, card); // the old one's too
    addOnPhone(8, "Other", "+15550301");
    EXPECT_TRUE(syncContacts({}, 1)[u"question"_s].isString());
    const QJsonObject result = syncContacts("--new-phone");
    EXPECT_EQ(result[u"added"_s].toInt(), 1);
    EXPECT_EQ(result[u"removed"_s].toInt(), 0);
    EXPECT_EQ(carriedOut(result), 4);
    EXPECT_EQ(there().size(), 6);
    EXPECT_THAT(here(), UnorderedElementsAreArray(former + QStringList{u"Own +15550300"_s, u"Other +15550301"_s}));
    EXPECT_EQ(sync(u"contacts"_s), u"0 0 0"_s);
}

TEST_F(VXContactSyncTest, APhoneMayNumberItsContactsAnew)
{
    fillPhone();
    sync(u"contacts"_s);
    for (int location = 5; location > 0; --location)
        ASSERT_TRUE(QFile::rename(cardPath(location), cardPath(location + 1)));
    addOnPhone(1, "New", "+15550300");
    replaceOnPhone(2, "Example Books", "Theirs");
    EXPECT_EQ(sync(u"contacts"_s), u"1 1 0"_s);
    EXPECT_THAT(here(), UnorderedElementsAreArray(there()));
    EXPECT_EQ(sync(u"contacts"_s), u"0 0 0"_s);
}

// As on its card, and in its own memory.
TEST_F(VXContactSyncTest, AContactThatLiesOnThePhoneTwiceIsOneHere)
{
    fillPhone();
    for (const int location : {6, 7, 8})
        addOnPhone(location, "Twice", "+15550400");
    EXPECT_EQ(sync(u"contacts"_s), u"6 0 0"_s);
    edit(u"Twice"_s, {u"--company"_s, u"Ours"_s});
    replaceOnPhone(8, "+15550400", "+15550400\nTEL;HOME:+15550401");
    EXPECT_EQ(sync(u"contacts"_s), u"0 1 3"_s);
    EXPECT_EQ(sync(u"contacts"_s), u"0 0 0"_s);
    EXPECT_EQ(there().count(u"Twice Ours +15550400 +15550401"_s), 3);
    ASSERT_TRUE(QFile::remove(cardPath(6)));
    EXPECT_EQ(sync(u"contacts"_s), u"0 0 0"_s);
    EXPECT_THAT(here(), testing::Contains(u"Twice Ours +15550400 +15550401"_s));
    ASSERT_TRUE(QFile::remove(cardPath(7)));
    ASSERT_TRUE(QFile::remove(cardPath(8)));
    EXPECT_EQ(syncContacts()[u"removed"_s].toInt(), 1);
    EXPECT_EQ(here().size(), 5);
}

// One that the phone moves from one card to another of the same person is not deleted.
TEST_F(VXContactSyncTest, ANumberMayMoveToAnotherCardOfTheSamePerson)
{
    fillPhone();
    writeFile(u"phone/pbk/ME/6"_s, "BEGIN:VCARD\nVERSION:2.1\nN:;Twice\nTEL:+15550400\nTEL:+15550499\nEND:VCARD\n");
    sync(u"contacts"_s);
    const QString whole = u"Twice +15550400 +15550499"_s;
    replaceOnPhone(6, "TEL:+15550499\n", "");
    writeFile(u"phone/pbk/ME/7"_s, "BEGIN:VCARD\nVERSION:2.1\nN:;Twice\nTEL:+15550400\nTEL:+15550499\nEND:VCARD\n");
    sync(u"contacts"_s); // to a new card
    EXPECT_THAT(here(), testing::Contains(whole));
    replaceOnPhone(7, "TEL:+15550499\n", "");
    replaceOnPhone(6, "TEL:+15550400\n", "TEL:+15550400\nTEL:+15550499\n");
    sync(u"contacts"_s); // to one that was known
    EXPECT_THAT(here(), testing::Contains(whole));
    EXPECT_EQ(sync(u"contacts"_s), u"0 0 0"_s);
    EXPECT_THAT(here(), testing::Contains(whole));
}

TEST_F(VXContactSyncTest, ControlCharactersAreInNobodysWay)
{
    fillPhone();
    addOnPhone(6, "E\x07vil\x7f", "+15550600");
    vornix("phonebook add Ho\u0007st --number +15550601");
    edit(u"Host"_s, {u"--note"_s, u"\u001b[2J"_s});
    vornix(
        {u"store"_s, u"insert"_s, u"phonebook"_s, u"VXPerson"_s, uR"({"firstName": "Raw", "note": "\u000b\u0001"})"_s});
    EXPECT_EQ(syncContacts("--add")[u"added"_s].toInt(), 6);
    EXPECT_THAT(here(), testing::IsSupersetOf({u"Evil +15550600"_s, u"Host +15550601"_s, u"Raw"_s}));
    EXPECT_EQ(sync(u"contacts"_s), u"0 0 0"_s);
    for (const QString &contact : {u"Evil"_s, u"Host"_s, u"Raw"_s})
        vornix({"phonebook", "delete", contact});
    EXPECT_EQ(syncContacts()[u"deletedThere"_s].toInt(), 3);
}

TEST_F(VXContactSyncTest, WhatAPhoneRefusesIsToldAndTheRestIsDone)
{
    fillPhone();
    sync(u"contacts"_s);
    edit(u"Jane Doe"_s, {u"--note"_s, QString(300, u'x')});
    edit(u"花子 山田"_s, {u"--company"_s, u"Ours"_s});
    const QJsonObject result = syncContacts({}, 1);
    EXPECT_EQ(carriedOut(result), 1);
    EXPECT_EQ(result[u"problems"_s].toArray().size(), 1);
    EXPECT_EQ(syncContacts()[u"refused"_s].toInt(), 1); // which was told
    EXPECT_TRUE(readFile(cardPath(1)).contains("evening"));
    edit(u"Jane Doe"_s, {u"--note"_s, u"short\u2028\"text\""_s}); // no phone takes such lines
    EXPECT_EQ(sync(u"contacts"_s), u"0 0 1"_s);
    EXPECT_TRUE(readFile(cardPath(1)).contains("NOTE:short 'text'")) << readFile(cardPath(1)).toStdString();
    EXPECT_EQ(sync(u"contacts"_s), u"0 0 0"_s);
    EXPECT_EQ(show(u"Jane Doe"_s)[u"note"_s], u"short\u2028\"text\""_s);
}

// However it is written here.
TEST_F(VXContactSyncTest, NumbersThatNobodyChangedStayAsThePhoneHasThem)
{
    fillPhone();
    addOnPhone(6, "Mario", "+39 (0)6 6982 1234\nTEL;HOME:+49 (0)30 123456");
    EXPECT_EQ(sync(u"contacts"_s), u"6 0 0"_s);
    EXPECT_THAT(here(), testing::Contains(u"Mario +39 06 6982 1234 +49 30 123456"_s));
    edit(u"Mario"_s, {u"--note"_s, u"hi"_s, u"--number"_s, u"+44 20 7946 0000"_s});
    EXPECT_EQ(sync(u"contacts"_s), u"0 0 1"_s);
    EXPECT_THAT(there(), testing::Contains(u"Mario +39 (0)6 6982 1234 +49 (0)30 123456 +442079460000"_s));
    EXPECT_EQ(sync(u"contacts"_s), u"0 0 0"_s);
}

TEST_F(VXContactSyncTest, OnlyOneSyncRunsAtATime)
{
    fillPhone();
    sync(u"contacts"_s);
    {
        const VXFileLock other(path(u"home/.local/share/Vornix 2/Data/phonebook.vxdatastore/sync.lock"_s));
        ASSERT_TRUE(other.isHeld());
        edit(u"Jane Doe"_s, {u"--company"_s, u"Ours"_s});
        syncContacts({}, 1);
    }
    EXPECT_EQ(sync(u"contacts"_s), u"0 0 1"_s);
}

// VORNIX_SYNC_KILLS raises how often.
TEST_F(VXContactSyncTest, ASyncThatIsKilledLosesAndDoublesNothing)
{
    fillPhone();
    const int kills = std::max(3, qEnvironmentVariableIntValue("VORNIX_SYNC_KILLS"));
    sync(u"contacts"_s);
    QStringList expected = here();
    for (int round = 0; round < kills; ++round) {
        const QString name = u"Round%1"_s.arg(round, 3, 10, QChar(u'0'));
        const QString number = u"+1555%1"_s.arg(1000 + round);
        if (round % 2 == 0)
            addOnPhone(100 + round, name.toUtf8(), number.toUtf8());
        else
            vornix({"phonebook", "add", name, "--number", number});
        expected.append(name + u' ' + number);
        const QString changed = expected[round % 5].section(u' ', -1);
        edit(changed, {u"--nickname"_s, u"nick%1"_s.arg(round)});
        runAndPerhapsKill({"sync", phone, "--contacts", "--add"}, 700);
        if (round % 4 == 3) { // one goes, on either side
            const QString gone = expected.takeLast();
            vornix({"phonebook", "delete", gone.section(u' ', 1)});
        }
    }
    syncContacts("--add");
    EXPECT_EQ(sync(u"contacts"_s), u"0 0 0"_s);
    EXPECT_THAT(here(), UnorderedElementsAreArray(expected));
    EXPECT_THAT(there(), UnorderedElementsAreArray(expected));
    const QJsonArray places = vornix("store list phonebook VXContactPlace").toArray();
    EXPECT_EQ(places.size(), expected.size());
}
