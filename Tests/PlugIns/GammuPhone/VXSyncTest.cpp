#include "VXPhoneSyncTest.h"

#include <array>

using namespace Qt::StringLiterals;
using testing::ElementsAre, testing::IsEmpty, testing::UnorderedElementsAre, testing::UnorderedElementsAreArray;

/** Messages. */
class VXSyncTest : public VXPhoneSyncTest
{
protected:
    QJsonArray list(const QString &folder) const
    {
        return vornix({"messages", "list", folder, "--limit", "0"}).toArray();
    }
    static QStringList lines(const QJsonArray &messages)
    {
        QStringList lines;
        for (const QJsonValue message : messages)
            lines.append(message[u"state"_s].toString() + u' ' + message[u"text"_s].toString().left(9));
        return lines;
    }
    static QString uriOf(const QJsonArray &messages, const QString &beginning)
    {
        for (const QJsonValue message : messages) {
            if (message[u"text"_s].toString().startsWith(beginning))
                return message[u"uri"_s].toString();
        }
        ADD_FAILURE() << beginning.toStdString();
        return {};
    }
    QStringList onPhone() const
    {
        return lines(vornix({"devices", "do", phone, "read_messages"})[u"result"_s][u"items"_s].toArray());
    }
};

TEST_F(VXSyncTest, ASecondSyncChangesNothing)
{
    fillPhone();
    EXPECT_EQ(sync(u"messages"_s), u"4 0 0"_s);
    EXPECT_EQ(sync(u"messages"_s), u"0 0 0"_s);
    EXPECT_THAT(lines(list(u"inbox"_s)),
                UnorderedElementsAre(u"unread Are you c"_s, u"read До встреч"_s, u"read The parts"_s));
    EXPECT_THAT(lines(list(u"sent"_s)), ElementsAre(u"sent Yes, at e"_s));
    EXPECT_EQ(list(phone).size(), 4);
    EXPECT_EQ(sync(u"calls"_s), u"1 0 0"_s);
    EXPECT_EQ(sync(u"calls"_s), u"0 0 0"_s);
    EXPECT_EQ(vornix("store list calls VXCall").toArray().size(), 1);
}

TEST_F(VXSyncTest, ProcessesThatSyncAtOnceDoubleNothing)
{
    fillPhone();
    for (const QString &kind : {u"--messages"_s, u"--calls"_s}) { // of both, each might be refused one
        std::array<QProcess, 3> processes;
        for (QProcess &process : processes)
            process.start(QStringLiteral(VORNIX_PROGRAM), arguments({"sync", phone, kind}));
        int done = 0;
        for (QProcess &process : processes) {
            ASSERT_TRUE(process.waitForFinished());
            done += process.exitCode() == 0 ? 1 : 0;
        }
        EXPECT_GE(done, 1) << kind.toStdString(); // the others may have been told that it is being done
    }
    sync(u"messages"_s);
    EXPECT_EQ(list(phone).size(), 4);
    EXPECT_EQ(vornix("store list calls VXCall").toArray().size(), 1);
}

// The phone's copy of it has a date of the phone's own.
TEST_F(VXSyncTest, WhatWasSentFromHereIsThereOnce)
{
    ASSERT_TRUE(QDir().mkpath(path(u"home"_s)));
    fillPhone();
    sync(u"messages"_s);
    const auto save = [this](const QString &folder, const QString &state) {
        gammu({"savesms", "TEXT", "-folder", folder, state, "-sender", "+15550101", "-textutf8", "Doubled?"});
    };
    for (int round = 0; round < 2; ++round) // of two just the same, each is one
        vornix("messages send '+1 555 0101' Doubled?");
    vornix("messages send '+1 555 0102' Doubled?"); // to somebody else
    EXPECT_EQ(list(u"sent"_s).size(), 4);
    save(u"2"_s, u"-sent"_s);
    EXPECT_EQ(sync(u"messages"_s), u"0 1 0"_s);
    EXPECT_EQ(sync(u"messages"_s), u"0 0 0"_s);
    save(u"2"_s, u"-sent"_s);
    save(u"2"_s, u"-sent"_s); // by hand
    save(u"1"_s, u"-unread"_s);
    EXPECT_EQ(sync(u"messages"_s), u"2 1 0"_s);
    EXPECT_EQ(sync(u"messages"_s), u"0 0 0"_s);
    EXPECT_EQ(list(u"sent"_s).size(), 5);
    EXPECT_EQ(list(phone).size(), 8);
    EXPECT_EQ(vornix("store list messages VXMessage").toArray().size(), 9);
}

TEST_F(VXSyncTest, ABackupAndItsPhoneHaveTheSameMessages)
{
    ASSERT_TRUE(QDir().mkpath(path(u"home"_s)));
    fillPhone();
    const QString backup = path(u"all.smsbackup"_s);
    gammu({"backupsms", backup}, "no\nALL\n"); // deletes nothing
    EXPECT_EQ(vornix({"messages", "import", backup})[u"added"_s].toInt(), 4);
    vornix({"messages", "move", uriOf(list(u"inbox"_s), u"The parts"_s), "user"});
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(sync(u"messages"_s), round == 0 ? u"0 3 0"_s : u"0 0 0"_s);
        EXPECT_EQ(vornix({"messages", "import", backup})[u"added"_s].toInt(), 0);
        EXPECT_EQ(list(phone).size(), 3);
        EXPECT_THAT(lines(list(u"user"_s)), ElementsAre(u"read The parts"_s)); // where it was put
    }
    for (const QJsonValue message : list(phone))
        EXPECT_EQ(message[u"device_url"_s].toString(), phone);
    // As one that was synced: what is deleted here is deleted there.
    vornix({"messages", "delete", uriOf(list(u"inbox"_s), u"Are you"_s)});
    EXPECT_EQ(sync(u"messages"_s), u"0 0 1"_s);
    EXPECT_EQ(onPhone().size(), 3);
}

TEST_F(VXSyncTest, WhatWasChangedHereIsCarriedOutThere)
{
    fillPhone();
    sync(u"messages"_s);
    const QJsonArray all = list(phone);
    vornix({"messages", "read", uriOf(all, u"Are you"_s)});
    vornix({"messages", "move", uriOf(all, u"The parts"_s), "user"});
    vornix({"messages", "move", uriOf(all, u"Yes"_s), "trash"});
    EXPECT_EQ(onPhone().size(), 4);             // nothing before the sync
    EXPECT_EQ(list(phone).size(), 2);           // but what was moved is not shown where it was
    EXPECT_EQ(sync(u"messages"_s), u"0 0 3"_s); // nothing more is to be done of what is in the trash
    EXPECT_THAT(onPhone(), UnorderedElementsAre(u"read Are you c"_s, u"read До встреч"_s));
    EXPECT_THAT(lines(list(u"user"_s)), ElementsAre(u"read The parts"_s));
    EXPECT_THAT(lines(list(u"trash"_s)), ElementsAre(u"sent Yes, at e"_s));
    EXPECT_EQ(sync(u"messages"_s), u"0 0 0"_s);

    // The other way: a message is put on the phone.
    vornix({"messages", "move", uriOf(list(u"trash"_s), u"Yes"_s), phone});
    EXPECT_EQ(sync(u"messages"_s), u"0 1 1"_s);
    EXPECT_THAT(onPhone(), UnorderedElementsAre(u"read Are you c"_s, u"read До встреч"_s, u"sent Yes, at e"_s));
    EXPECT_EQ(sync(u"messages"_s), u"0 0 0"_s);
    EXPECT_EQ(list(phone).size(), 3);
}

TEST_F(VXSyncTest, WhatWasDeletedOrReadOnThePhoneIsKnownHere)
{
    fillPhone();
    sync(u"messages"_s);
    const QJsonValue items = vornix({"devices", "do", phone, "read_messages"})[u"result"_s][u"items"_s];
    for (const QJsonValue item : items.toArray()) {
        const bool isUnread = item[u"state"_s] == "unread"_L1;
        QJsonObject object = item.toObject();
        object.insert(u"state"_s, u"read"_s);
        if (isUnread || item[u"state"_s] == "sent"_L1)
            vornix({"devices", "do", phone, isUnread ? u"write_message"_s : u"delete_message"_s, "--object",
                    QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact))});
    }
    EXPECT_EQ(sync(u"messages"_s), u"0 2 0"_s);
    EXPECT_THAT(lines(list(u"inbox"_s)),
                UnorderedElementsAre(u"read Are you c"_s, u"read До встреч"_s, u"read The parts"_s));
    EXPECT_THAT(lines(list(u"sent"_s)), ElementsAre(u"sent Yes, at e"_s)); // only here now
    EXPECT_EQ(sync(u"messages"_s), u"0 0 0"_s);
}

TEST_F(VXSyncTest, LongMessagesAreLeftOnThePhoneUntilTheyAreWhole)
{
    fillPhone();
    QFile part(path(u"phone/sms/1/4"_s));
    ASSERT_TRUE(part.rename(path(u"part"_s)));
    EXPECT_EQ(sync(u"messages"_s), u"3 0 0"_s);
    const auto notices = [this] { return vornix({"sync", phone, "--messages"})[u"messages"_s][u"notices"_s]; };
    EXPECT_EQ(notices(), QJsonArray{u"Left on the phone, as no text or not whole yet: 1."_s}); // which is no failure
    ASSERT_TRUE(part.rename(path(u"phone/sms/1/4"_s)));
    EXPECT_EQ(sync(u"messages"_s), u"1 0 0"_s);
    EXPECT_EQ(sync(u"messages"_s), u"0 0 0"_s);
    EXPECT_TRUE(notices().isUndefined());
}

// VORNIX_SYNC_KILLS raises how often.
TEST_F(VXSyncTest, ASyncThatIsKilledLosesAndDoublesNothing)
{
    fillPhone();
    const int kills = std::max(3, qEnvironmentVariableIntValue("VORNIX_SYNC_KILLS"));
    sync(u"messages"_s);
    QStringList expected = {u"Are you c"_s, u"До встреч"_s, u"The parts"_s, u"Yes, at e"_s};
    for (int round = 0; round < kills; ++round) {
        const QString text = u"round %1"_s.arg(round, 3, 10, QChar(u'0'));
        expected.append(text);
        gammu({"savesms", "TEXT", "-folder", "1", "-unread", "-sender", "+15550100", "-textutf8", text});
        const QJsonArray there = list(phone);
        const auto at = [&](int place) { return there[place % there.size()][u"uri"_s].toString(); };
        vornix({"messages", "read", at(round)});
        if (there.size() > 1)
            vornix({"messages", "move", at(round + 1), round % 2 == 0 ? u"user"_s : u"trash"_s});
        runAndPerhapsKill({"sync", phone, "--messages"}, 700);
    }
    sync(u"messages"_s);
    EXPECT_EQ(sync(u"messages"_s), u"0 0 0"_s);
    const auto texts = [](const QJsonArray &messages) {
        QStringList result;
        for (const QJsonValue message : messages)
            result.append(message[u"text"_s].toString().left(9));
        return result;
    };
    const QStringList kept = texts(list(phone));
    EXPECT_THAT(kept + texts(list(u"user"_s)) + texts(list(u"trash"_s)), UnorderedElementsAreArray(expected));
    QStringList there = onPhone();
    for (QString &line : there)
        line = line.section(u' ', 1);
    EXPECT_THAT(there, UnorderedElementsAreArray(kept));
}

TEST_F(VXSyncTest, AMessageToAPhoneThatIsAwayWaitsAndIsSentWhenItIsBack)
{
    ASSERT_TRUE(QDir().mkpath(path(u"home"_s)));
    ASSERT_TRUE(QDir().mkpath(path(u"phone"_s)));
    addPhone();
    ASSERT_TRUE(QDir(path(u"phone"_s)).removeRecursively());
    const QJsonValue first = vornix("messages send '+1 555 0100' Hello", 1);
    EXPECT_EQ(first[0][u"state"_s], "queued"_L1) << first[0][u"problem"_s].toString().toStdString();
    EXPECT_THAT(lines(list(u"drafts"_s)), ElementsAre(u"unsent Hello"_s));
    EXPECT_EQ(first[0][u"title"_s], "+1 555 0100: Hello"_L1);
    EXPECT_EQ(vornix("sync dummy --messages", 1)[u"messages"_s][u"error"_s].isString(), true);
    ASSERT_TRUE(QDir().mkpath(path(u"phone"_s)));
    const QJsonValue second = vornix("outbox retry all");
    EXPECT_EQ(second[0][u"state"_s], "sent"_L1) << second[0][u"problem"_s].toString().toStdString();
    EXPECT_THAT(lines(list(u"sent"_s)), ElementsAre(u"sent Hello"_s));
    EXPECT_THAT(list(u"drafts"_s), IsEmpty());
}

// VORNIX_SYNC_KILLS raises how often. What was on its way when the program ended is told, and not sent again.
TEST_F(VXSyncTest, SendingThatIsKilledLosesAndDoublesNothing)
{
    ASSERT_TRUE(QDir().mkpath(path(u"phone"_s)));
    ASSERT_TRUE(QDir().mkpath(path(u"home"_s)));
    addPhone();
    const int kills = std::max(6, qEnvironmentVariableIntValue("VORNIX_SYNC_KILLS"));
    for (int round = 0; round < kills; ++round) {
        runAndPerhapsKill({"messages", "send", "+1 555 0100", u"round %1"_s.arg(round)}, 400);
    }
    const auto firstQueued = [this] {
        for (const QJsonValue entry : vornix("outbox").toArray()) {
            if (entry[u"state"_s] == "queued"_L1) // the program ended before it was sent
                return entry[u"id"_s].toString();
        }
        return QString();
    };
    for (QString id = firstQueued(); !id.isNull() && !HasFailure(); id = firstQueued())
        vornix({"outbox", "retry", id}); // which may send what waits behind it, too
    const QJsonArray entries = vornix("outbox").toArray();
    QStringList sent;
    QStringList unsent;
    for (const QJsonValue entry : entries) {
        const QString text = entry[u"payload"_s][u"text"_s].toString();
        const QString state = entry[u"state"_s].toString();
        EXPECT_TRUE(state == "sent"_L1 || state == "perhaps sent"_L1) << state.toStdString();
        (state == "sent"_L1 ? sent : unsent).append(text);
        EXPECT_LE(entry[u"attempts"_s].toInt(), 1) << text.toStdString();
        const bool isUnsure = state == "perhaps sent"_L1;
        EXPECT_EQ(isUnsure, entry[u"problem"_s] == "The program ended while it was being sent."_L1);
    }
    const auto texts = [this](const QString &folder) {
        QStringList found;
        for (const QJsonValue message : list(folder))
            found.append(message[u"text"_s].toString());
        return found;
    };
    QStringList inDrafts = texts(u"drafts"_s);
    inDrafts.removeAll(QString()); // of a program that ended before the outbox had it: goes after a while
    EXPECT_THAT(inDrafts, UnorderedElementsAreArray(unsent));
    EXPECT_THAT(texts(u"sent"_s), UnorderedElementsAreArray(sent));
}
