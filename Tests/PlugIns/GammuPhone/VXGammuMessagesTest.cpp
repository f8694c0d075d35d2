#include "VXGammuPhoneTest.h"
#include "VXGammuProcess.h"
#include "VXScriptedModem.h"

#include <gammu.h>
#include <QtCore/QDir>

#include <type_traits>

using namespace Qt::StringLiterals;

class VXGammuMessagesTest : public VXGammuPhoneTest
{
protected:
    void saveMessage(const QString &text, const VXWords &options) const
    {
        gammu(VXWords{"savesms", "TEXT", "-textutf8", text} + options);
    }
    void putBack(const QString &place, const QByteArray &contents) const
    {
        QFile file(dummyPath(place));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(contents);
    }
};

TEST_F(VXGammuMessagesTest, ReadsWhatTheProgramSaved)
{
    const QString longText = u"The quick brown fox jumps over the lazy dog. "_s.repeated(8).trimmed();
    saveMessage(u"Hello"_s, {u"-folder"_s, u"1"_s, u"-unread"_s, u"-sender"_s, u"+15550199"_s});
    saveMessage(u"Привет 😀"_s, {u"-folder"_s, u"1"_s, u"-read"_s, u"-unicode"_s, u"-sender"_s, u"+79"_s});
    saveMessage(longText, {u"-folder"_s, u"2"_s, u"-sent"_s, u"-len"_s, u"400"_s, u"-sender"_s, u"+15550198"_s});
    const auto phone = makeDummy();
    const auto action = run(phone, u"read_messages"_s);
    EXPECT_EQ(action->error(), VXError());
    EXPECT_EQ(items(action, u"text"_s), (QVariantList{u"Hello"_s, u"Привет 😀"_s, longText}));
    EXPECT_EQ(items(action, u"state"_s), (QVariantList{u"unread"_s, u"read"_s, u"sent"_s}));
    EXPECT_EQ(items(action, u"number"_s), (QVariantList{u"+15550199"_s, u"+79"_s, u"+15550198"_s}));
    EXPECT_EQ(items(action, u"partCount"_s), (QVariantList{1, 1, 3}));
    EXPECT_EQ(items(action, u"isComplete"_s), (QVariantList{true, true, true}));
    EXPECT_EQ(items(action, u"folder"_s), (QVariantList{u"Inbox"_s, u"Inbox"_s, u"Outbox"_s}));
    const QDateTime date = items(action, u"date"_s).first().toDateTime();
    EXPECT_LT(std::abs(date.secsTo(QDateTime::currentDateTimeUtc())), 3600) << date.toString().toStdString();

    const QVariant last = action->result().toMap().value(u"items"_s).toList().last();
    EXPECT_EQ(run(phone, u"delete_message"_s, last)->error(), VXError());
    EXPECT_TRUE(QDir(dummyPath(u"sms/2"_s)).isEmpty());
    EXPECT_EQ(QDir(dummyPath(u"sms/1"_s)).entryList(QDir::Files).size(), 2);
}

TEST_F(VXGammuMessagesTest, AMessageThatLacksAPartSaysSo)
{
    const QString text = QString(200, u'a') + QString(200, u'b');
    saveMessage(text, {u"-folder"_s, u"1"_s, u"-unread"_s, u"-len"_s, u"400"_s, u"-sender"_s, u"+1"_s});
    ASSERT_TRUE(QFile::remove(dummyPath(u"sms/1/2"_s)));
    const auto action = run(makeDummy(), u"read_messages"_s);
    EXPECT_EQ(items(action, u"isComplete"_s), (QVariantList{false}));
    EXPECT_EQ(items(action, u"partCount"_s), (QVariantList{3}));
    const QString read = items(action, u"text"_s).first().toString();
    EXPECT_TRUE(read.startsWith(u"aaa"_s) && read.endsWith(u"bbb"_s) && read.size() < text.size());
}

// Whoever read the messages a while ago means another one by then.
TEST_F(VXGammuMessagesTest, AnotherMessageThatLiesThereIsNotTouched)
{
    const QStringList options{u"-folder"_s, u"1"_s, u"-unread"_s, u"-sender"_s, u"+15550199"_s};
    const QString longText = u"The quick brown fox jumps over the lazy dog. "_s.repeated(8).trimmed();
    saveMessage(u"Old"_s, options);
    saveMessage(longText, options + QStringList{u"-len"_s, u"400"_s});
    const auto phone = makeDummy();
    const QVariantList items = run(phone, u"read_messages"_s)->result().toMap().value(u"items"_s).toList();
    ASSERT_EQ(items.size(), 2);
    const QByteArray old = readFile(dummyPath(u"sms/1/1"_s));
    const QByteArray last = readFile(dummyPath(u"sms/1/4"_s));
    ASSERT_TRUE(QFile::remove(dummyPath(u"sms/1/1"_s)) && QFile::remove(dummyPath(u"sms/1/4"_s)));
    saveMessage(u"New"_s, options); // from the same sender
    saveMessage(u"New too"_s, options);
    for (const QVariant &item : items) {
        EXPECT_TRUE(run(phone, u"delete_message"_s, item)->error());
        EXPECT_TRUE(run(phone, u"write_message"_s, item)->error());
    }
    EXPECT_EQ(QDir(dummyPath(u"sms/1"_s)).entryList(QDir::Files).size(), 4);
    QByteArray later = old; // the same text, sent again
    const qsizetype year = later.indexOf("DateTime = ");
    ASSERT_GT(year, 0) << later.toStdString();
    later.replace(year + 11, 4, "1999");
    putBack(u"sms/1/1"_s, later);
    EXPECT_TRUE(run(phone, u"delete_message"_s, items.first())->error());
    putBack(u"sms/1/1"_s, old);
    putBack(u"sms/1/4"_s, last);
    for (const QVariant &item : items)
        EXPECT_EQ(run(phone, u"delete_message"_s, item)->error(), VXError());
    EXPECT_TRUE(QDir(dummyPath(u"sms/1"_s)).isEmpty());
}

TEST_F(VXGammuMessagesTest, WhatCannotBeSentIsRefused)
{
    const auto phone = makeDummy();
    for (const QVariantMap &message :
         {QVariantMap{}, QVariantMap{{u"number"_s, u"+1"_s}}, QVariantMap{{u"text"_s, u"x"_s}},
          QVariantMap{{u"number"_s, u"1;ATD2"_s}, {u"text"_s, u"x"_s}},
          QVariantMap{{u"number"_s, u"+1"_s}, {u"text"_s, QString(20000, u'x')}}}) {
        const auto action = run(phone, u"send_message"_s, message);
        EXPECT_TRUE(action->error()) << testing::PrintToString(QVariant(message));
    }
    for (const QString &to : {u"+1 555 0100"_s, u"Jane <+1 555 0100 x7/m>"_s})
        EXPECT_FALSE(run(phone, u"send_message"_s, QVariantMap{{u"to"_s, to}, {u"text"_s, u"x"_s}})->error());
    EXPECT_EQ(
        run(phone, u"delete_message"_s, QVariantMap{{u"memory"_s, u"ME"_s}, {u"location"_s, 10009}})->error().code(),
        ERR_EMPTY);
}

// It may be let go of while it tells something: then only the event loop may delete it.
static_assert(!std::is_destructible_v<VXGammuProcess>);

// As when a message that waited is the last thing that the program's end waits for.
TEST_F(VXGammuMessagesTest, WhoHearsOfAnEndMayTakeThePhoneOutOfUse)
{
    addContacts("BEGIN:VCARD\r\nVERSION:3.0\r\nN:Doe;Jane\r\nTEL:+1\r\nEND:VCARD\r\n");
    const auto phone = makeDummy();
    const auto action = VXDeviceAction::actionWithName(u"send_message"_s);
    action->setObject(QVariantMap{{u"number"_s, u"+1"_s}, {u"text"_s, u"x"_s}});
    const auto next = VXDeviceAction::actionWithName(u"read_contacts"_s);
    action->executeWithDevice(phone, [&](VXDeviceAction *) { phone->pluginWillUnload(); });
    next->executeWithDevice(phone);
    EXPECT_TRUE(VXRunUntil([&] { return !action->isExecuting() && !next->isExecuting(); }));
    EXPECT_FALSE(action->error());
    EXPECT_TRUE(next->error());
}
