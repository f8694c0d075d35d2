// Contacts, calls and messages: read from whatever has their values, and written with the same keys.

#include "VXCallRecord.h"
#include "VXContactRecord.h"
#include "VXMessageRecord.h"
#include "VXPhonebookType.h"
#include "VXTesting.h"

using namespace Qt::StringLiterals;

namespace {

const QDateTime noon(QDate(2026, 3, 1), QTime(12, 0), Qt::UTC);

} // namespace

TEST(VXRecordsTest, WhatIsWrittenIsReadAgain)
{
    const QVariantMap call{{u"direction"_s, 1},
                           {u"from"_s, u"Jane <555 0100/m>"_s},
                           {u"to"_s, u"555 0101"_s},
                           {u"device_url"_s, u"vxdevice://localhost/a/b"_s},
                           {u"call_id"_s, u"7"_s},
                           {u"date"_s, noon},
                           {u"connectedDate"_s, noon.addSecs(5)},
                           {u"event_date"_s, noon.addSecs(9)},
                           {u"duration"_s, 4.0},
                           {u"isMissed"_s, true}};
    EXPECT_EQ(VXCallRecord(call).map(), call);
    const QVariantMap message{{u"direction"_s, 0},         {u"to"_s, u"555 0101"_s}, {u"device_url"_s, u"vxdevice:x"_s},
                              {u"text"_s, u" Hi,\nJo "_s}, {u"date"_s, noon},        {u"state"_s, 3},
                              {u"url"_s, u"vxdevice:y"_s}};
    EXPECT_EQ(VXMessageRecord(message).map(), message);
    QVariantMap contact;
    for (const QString &key : {u"name"_s, u"namePrefix"_s, u"firstName"_s, u"middleName"_s, u"lastName"_s,
                               u"nameSuffix"_s, u"nickname"_s, u"company"_s, u"jobTitle"_s, u"note"_s})
        contact.insert(key, u"the "_s + key);
    contact.insert(u"birthday"_s, QDateTime(QDate(1985, 4, 12), QTime(0, 0), Qt::UTC));
    contact.insert(u"image"_s, QByteArray("bytes"));
    contact.insert(u"numbers"_s,
                   QVariantList{QVariantMap{{u"number"_s, u"1"_s}, {u"type"_s, 66U}},
                                QVariantMap{{u"number"_s, u"2"_s}, {u"type"_s, 0U}, {u"label"_s, u"video"_s}}});
    contact.insert(u"emails"_s, QVariantList{QVariantMap{{u"address"_s, u"a@b.org"_s}, {u"type"_s, 64U}}});
    contact.insert(u"urls"_s, QVariantList{QVariantMap{{u"url"_s, u"http://b.org"_s}, {u"type"_s, 0U}}});
    QVariantMap address{{u"type"_s, 128U}};
    for (const QString &key : {u"street"_s, u"city"_s, u"state"_s, u"zip"_s, u"country"_s, u"text"_s})
        address.insert(key, u"the "_s + key);
    contact.insert(u"addresses"_s, QVariantList{address});
    contact.insert(u"groups"_s, QVariantList{QVariantMap{{u"name"_s, u"Friends"_s}}});
    EXPECT_EQ(VXContactRecord(contact).map(), contact);
}

TEST(VXRecordsTest, DirectionsAreNumbersWordsOrGuessed)
{
    const std::tuple<QVariantMap, bool, QString> table[] = {
        {{{u"direction"_s, 1}, {u"from"_s, u"a"_s}, {u"to"_s, u"b"_s}}, true, u"a"_s},
        {{{u"direction"_s, u"0"_s}, {u"from"_s, u"a"_s}, {u"to"_s, u"b"_s}}, false, u"b"_s},
        {{{u"direction"_s, u"incoming"_s}}, true, {}},
        {{{u"direction"_s, u"outgoing"_s}, {u"from"_s, u"a"_s}}, false, {}},
        {{{u"from"_s, u"a"_s}}, true, u"a"_s},
        {{{u"from"_s, u"a"_s}, {u"to"_s, u"b"_s}}, false, u"b"_s},
        {{{u"from"_s, u" "_s}, {u"to"_s, u"b"_s}}, false, u"b"_s},
        {{{u"text"_s, u"from nobody knows whom"_s}}, true, {}},
    };
    for (const auto &[object, isIncoming, other] : table) {
        const VXCallRecord call(object);
        EXPECT_EQ(call.isIncoming(), isIncoming);
        EXPECT_EQ(call.otherParty(), other);
    }
    VXCallRecord call;
    call.direction = VXRecordDirection::Incoming;
    call.setOtherParty(u"Doe, Jane"_s, u"+1 555 0100"_s);
    EXPECT_EQ(call.from, u"Doe\\, Jane <+1 555 0100>"_s);
    call.setOtherParty(QString(), u"+1 555 0100"_s);
    EXPECT_EQ(call.from, u"+1 555 0100"_s);
    call.setOtherParty(u""_s, u""_s);
    EXPECT_TRUE(call.from.isNull());
}

TEST(VXRecordsTest, CallsBeginWhenTheyEndedLessTheirDuration)
{
    EXPECT_EQ(VXCallRecord(QVariantMap{{u"event_date"_s, noon}, {u"duration"_s, 60}}).start(), noon.addSecs(-60));
    EXPECT_EQ(VXCallRecord(QVariantMap{{u"date"_s, noon}, {u"event_date"_s, noon.addSecs(9)}}).start(), noon);
    EXPECT_EQ(VXCallRecord(QVariantMap{{u"date"_s, u"2026-03-01T12:00:00Z"_s}}).start(), noon);
    EXPECT_FALSE(VXCallRecord(QVariantMap{{u"duration"_s, 60}}).start().isValid());
    for (const QVariant &nonsense : {QVariant(u"long"_s), QVariant(qInf()), QVariant(1e300)})
        EXPECT_FALSE(VXCallRecord(QVariantMap{{u"duration"_s, nonsense}}).duration) << nonsense.toDouble();
}

TEST(VXRecordsTest, AddressesMayBeTextsAndTypesLetters)
{
    const VXContactRecord contact(QVariantMap{
        {u"numbers"_s, QVariantList{u"1"_s, QVariantMap{{u"number"_s, u"2"_s}, {u"type"_s, u"Hm"_s}}, QVariantMap()}},
        {u"emails"_s, QStringList{u"a@b.org"_s, u""_s}},
        {u"birthday"_s, u"1985-04-12"_s}});
    ASSERT_EQ(contact.numbers.size(), 2);
    EXPECT_EQ(contact.numbers.value(1).type, VXPhonebookTypeHome | VXPhonebookTypeMobile);
    EXPECT_EQ(contact.emails.size(), 1);
    EXPECT_EQ(contact.displayName(), u"1"_s);
    EXPECT_EQ(contact.birthday, QDate(1985, 4, 12));
    const VXContactRecord number(QVariantMap{{u"number"_s, u"3"_s}, {u"type"_s, 2}});
    EXPECT_EQ(number.map().value(u"numbers"_s).toList().size(), 1);
    EXPECT_EQ(number.numbers.value(0).type, VXPhonebookTypeMobile);
}
