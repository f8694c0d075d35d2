#include "VXPhoneCalls.h"
#include "VXPhoneText.h"

#include "VXTesting.h"

using namespace Qt::StringLiterals;

class VXPhoneCallsTest : public testing::Test
{
protected:
    QDateTime time{QDate(2026, 3, 1), QTime(12, 0), Qt::UTC};
    QStringList told;
    QVariantMap last;
    QStringList identifiers;
    VXPhoneCalls calls{[this](const QString &event, const QString &step, const QVariantMap &call) {
                           last = call;
                           told.append(event.section(u'_', 0, 0) + u' ' + step + u' ' +
                                       call.value(u"number"_s).toString());
                           identifiers.append(call.value(u"call_id"_s).toString());
                       },
                       [this] { return time; }};
};

TEST_F(VXPhoneCallsTest, TellsEachStepOnce)
{
    calls.ring(u"/1"_s, true, u"+49170"_s);
    calls.ring(u"/1"_s, true, u"+49170"_s);
    EXPECT_EQ(calls.keys(true), QStringList{u"/1"_s});
    time = time.addSecs(5);
    calls.connect(u"/1"_s);
    calls.connect(u"/1"_s);
    EXPECT_EQ(calls.keys(true), QStringList());
    time = time.addSecs(60);
    calls.end(u"/1"_s);
    calls.end(u"/1"_s);
    calls.connect(u"/1"_s);
    EXPECT_EQ(told,
              (QStringList{u"incoming ringing +49170"_s, u"incoming connected +49170"_s, u"incoming ended +49170"_s}));
    EXPECT_EQ(last.value(u"duration"_s), 60);
    EXPECT_EQ(last.value(u"isMissed"_s), false);
    EXPECT_EQ(last.value(u"date"_s), time.addSecs(-65));
    EXPECT_EQ(last.value(u"from"_s), u"+49170"_s);

    // The same name again is another call.
    calls.ring(u"/1"_s, true, {});
    calls.ring(u"/2"_s, false, u"110"_s);
    calls.endAll();
    EXPECT_EQ(told.mid(3), (QStringList{u"incoming ringing "_s, u"outgoing ringing 110"_s, u"incoming ended "_s,
                                        u"outgoing ended 110"_s}));
    EXPECT_NE(identifiers.at(0), identifiers.at(3));
    EXPECT_EQ(identifiers.at(3), identifiers.at(5));
    EXPECT_EQ(last.value(u"isMissed"_s), false);
    EXPECT_TRUE(calls.isEmpty());
}

TEST(VXPhoneTextTest, WhatMayBeDialledAndSent)
{
    VXError error;
    EXPECT_EQ(VXNumberToDial(QVariantMap{{u"number"_s, u"*#06#"_s}}, &error), u"*#06#"_s);
    EXPECT_TRUE(error.isNull());
    EXPECT_TRUE(VXNumberToDial(u"x"_s, &error).isNull());
    EXPECT_FALSE(error.isNull());

    const auto sent = [](const QString &key, const QString &to, const QString &text) {
        return VXTextToSend::ofObject(QVariantMap{{key, to}, {u"text"_s, text}});
    };
    EXPECT_EQ(sent(u"number"_s, u"+49 170"_s, u"Hi"_s).number, u"+49170"_s);
    EXPECT_EQ(sent(u"to"_s, u"Jane <+49 170/H>"_s, u"Hi"_s).number, u"+49170"_s);
    EXPECT_EQ(sent(u"to"_s, u"Jane <+49 170 ext. 7/W>"_s, u"Hi"_s).number, u"+49170"_s);
    EXPECT_TRUE(sent(u"to"_s, u"+49170"_s, u"Two\nlines"_s).error.isNull());
    EXPECT_FALSE(sent(u"to"_s, u"Jane"_s, u"Hi"_s).error.isNull());
    EXPECT_FALSE(sent(u"number"_s, u"1"_s, u""_s).error.isNull());
    EXPECT_FALSE(sent(u"number"_s, u"1"_s, u"\x1a"_s).error.isNull());
}
