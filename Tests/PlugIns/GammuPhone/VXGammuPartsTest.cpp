#include "VXDialableNumber.h"
#include "VXGammuCallTracker.h"
#include "VXGammuGate.h"
#include "VXGammuProtocol.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace Qt::StringLiterals;

// Numbers go into commands as they are.
TEST(VXGammuGateTest, OnlyNumbersPassAsNumbers)
{
    const std::tuple<QString, QString, QString> cases[] = {
        {u"+1 (555) 01-77"_s, u"+15550177"_s, u"+15550177"_s},
        {u"030/123.45"_s, u"03012345"_s, u"03012345"_s},
        {u"*100#"_s, u"*100#"_s, u"*100#"_s},
        {u"123p45w6"_s, {}, u"123p45w6"_s},
        {u"+1 212 555 0150,77,88#"_s, u"+12125550150"_s, u"+12125550150p77p88#"_s},
        {u"+1 212 555 0150 #77"_s, u"+12125550150"_s, u"+12125550150p77"_s},
        {u"0301112222 / 0301113333"_s, u"0301112222"_s, u"0301112222"_s},
        {u"1\rATD0900"_s, {}, {}},
        {u"1\n"_s, {}, {}},
        {u"+"_s, {}, {}},
        {u"49+170"_s, {}, u"49+170"_s},
        {u"1\"x"_s, {}, {}},
        {u"1;ATD2"_s, {}, {}},
        {u"١٢٣"_s, {}, {}},
        {QString(), {}, {}},
    };
    for (const auto &[number, dialable, storable] : cases) {
        EXPECT_EQ(VXDialableNumber(number), dialable) << number.toStdString();
        EXPECT_EQ(VXGammuGate::storableNumber(number), storable) << number.toStdString();
    }
}

TEST(VXGammuGateTest, TextsThatPhonesCannotHoldAreRefused)
{
    const std::tuple<QString, bool, bool> cases[] = {
        {u"Zoë 😀"_s, true, true},           {u"a\nb"_s, false, true},      {u"\"A\""_s, false, true},
        {u"a\rATD0900;"_s, false, true},    {u"a\x1a"_s, false, false},    {u"a\0b"_s, false, false},
        {QString(201, u'x'), false, false}, {u"a\u2028b"_s, false, false}, {QString(200, u'x'), true, true},
    };
    for (const auto &[text, byCommand, onCard] : cases) {
        EXPECT_EQ(!VXGammuGate(false).checkField(u"name"_s, text), byCommand) << text.toStdString();
        EXPECT_EQ(!VXGammuGate(true).checkField(u"name"_s, text), onCard) << text.toStdString();
    }
    const std::pair<QString, bool> messages[] = {
        {u"Hi\nthere"_s, true},
        {QString(50 * 152, u'x'), true},
        {QString(50 * 152 + 1, u'x'), false},
        {QString(50 * 76 + 1, u'€'), false}, // two places each
        {QString(50 * 66, u'ж'), true},
        {QString(50 * 66 + 1, u'ж'), false},
        {QString(40000, u'x'), false},
        {u"a\x1b"_s, false},
        {QString(), false},
    };
    for (const auto &[text, passes] : messages)
        EXPECT_EQ(!VXGammuGate::checkMessage(text), passes) << text.left(5).toStdString() << ' ' << text.size();
}

TEST(VXGammuCallTrackerTest, ACallerWhoGivesUpHasEndedAndMayCallAgain)
{
    QDateTime now(QDate(2026, 1, 1), QTime(0, 0), Qt::UTC);
    QStringList told;
    VXGammuCallTracker tracker(
        [&](const QString &event, const QString &step, const QVariantMap &call) {
            told << event + u' ' + step + (call.value(u"isMissed"_s).toBool() ? u" missed"_s : QString());
        },
        [&now] { return now; });
    GSM_Call ring{};
    ring.Status = GSM_CALL_IncomingCall;
    std::memcpy(ring.PhoneNumber, "\0001\0002\0", 6);
    const auto pass = [&](int seconds) {
        now = now.addSecs(seconds);
        tracker.endThoseThatRingNoMore();
    };
    tracker.didReport(ring);
    pass(10);
    tracker.didReport(ring);
    pass(10);
    EXPECT_EQ(told, QStringList{u"incoming_call ringing"_s}) << "it still rings";
    pass(4);
    EXPECT_EQ(told.value(1), u"incoming_call ended missed"_s);
    tracker.didReport(ring);
    tracker.didAnswer();
    pass(1000);
    EXPECT_EQ(told.mid(2), (QStringList{u"incoming_call ringing"_s, u"incoming_call connected"_s}));
}

TEST(VXGammuProtocolTest, MessagesArriveWholeHoweverTheyAreCut)
{
    using namespace VXGammuProtocol;
    const QVariantMap item{{u"name"_s, u"Zoë"_s},
                           {u"date"_s, QDateTime(QDate(2026, 1, 2), QTime(3, 4), Qt::OffsetFromUTC, 3600)},
                           {u"data"_s, QByteArray::fromHex("00ff")},
                           {u"numbers"_s, QVariantList{QVariantMap{{u"location"_s, 7}}}}};
    const VXGammuFailure failure{14, u"%1 failed"_s, {u"this"_s}};
    const QByteArray bytes = encode(Item{.value = item}) + encode(Step{}) + encode(Lost{.failure = failure});
    VXGammuFrames frames;
    QList<QCborArray> received;
    for (const char byte : bytes) {
        frames.add(QByteArray(1, byte));
        while (const auto array = frames.next())
            received << *array;
    }
    ASSERT_EQ(received.size(), 3);
    EXPECT_EQ(decode<Item>(received[0])->value, item);
    EXPECT_TRUE(decode<Step>(received[1]) && !decode<Item>(received[1]));
    EXPECT_EQ(decode<Lost>(received[2])->failure.arguments, failure.arguments);
    EXPECT_EQ(decode<Lost>(received[2])->failure.code, 14);
    frames.add(QByteArray(8, '\xff'));
    EXPECT_FALSE(frames.next());
    EXPECT_TRUE(frames.isDamaged());
}
