#include "VXEventDescriptor.h"

#include "VXTesting.h"

#include <limits>

using namespace Qt::StringLiterals;
using Code = VXEventCode;
using Descriptor = VXEventDescriptor;

namespace {

Descriptor unsignedNumber(quint64 number)
{
    return Descriptor::fromValue(QVariant(qulonglong(number)));
}

Descriptor comparison()
{
    Descriptor record = Descriptor::record();
    for (const VXFourCharCode keyword : {Code::CompareOperator, Code::FirstObject, Code::SecondObject})
        record.setDescriptor(Descriptor::withInteger(1), keyword);
    return record;
}

} // namespace

TEST(VXEventDescriptorTest, CodesAreFourCharacters)
{
    EXPECT_EQ(VXStringFromCode(Code::Equals), u"=   "_s);
    EXPECT_EQ(VXCodeFromString(u"obj"_s), Code::ObjectSpecifier);
    EXPECT_EQ(VXCodeFromString(u""_s), 0U);
    EXPECT_EQ(VXCodeFromString(u"too long"_s), 0U);
    EXPECT_EQ(VXCodeFromString(u"ab€"_s), 0U);
}

TEST(VXEventDescriptorTest, CoercionsLoseNothing)
{
    const qint64 most = std::numeric_limits<qint64>::max();
    const std::tuple<Descriptor, VXFourCharCode, std::optional<Descriptor>> rows[] = {
        {Descriptor::withInteger(-1708), Code::Text, Descriptor::withString(u"-1708"_s)},
        {Descriptor::withString(u"17"_s), Code::Int32, Descriptor::withInteger(17)},
        {Descriptor::withString(u"17x"_s), Code::Int32, std::nullopt},
        {Descriptor::withString(u""_s), Code::Int32, std::nullopt},
        {Descriptor::withString(u""_s), Code::Text, Descriptor::withString(u""_s)},
        {Descriptor::withInteger(most), Code::Int32, std::nullopt},
        {Descriptor::withInteger(most), Code::Real, std::nullopt},
        {Descriptor::withReal(2), Code::Int32, Descriptor::withInteger(2)},
        {Descriptor::withReal(2.5), Code::Int32, std::nullopt},
        {Descriptor::withReal(0x1p63), Code::Int64, std::nullopt},
        {Descriptor::withReal(0.1), Code::Text, Descriptor::withString(u"0.1"_s)},
        {unsignedNumber(quint64(most) + 1), Code::Int64, std::nullopt},
        {unsignedNumber(quint64(most) + 1), Code::Text, Descriptor::withString(u"9223372036854775808"_s)},
        {Descriptor::withBoolean(true), Code::Text, Descriptor::withString(u"true"_s)},
        {Descriptor::withString(u"FALSE"_s), Code::Boolean, Descriptor::withBoolean(false)},
        {Descriptor::withInteger(2), Code::Boolean, std::nullopt},
        {Descriptor::withTypeCode(VXCode("vXlh")), Code::Enumeration, Descriptor::withEnumCode(VXCode("vXlh"))},
        {Descriptor::withString(u"vXlh"_s), Code::Code, Descriptor::withTypeCode(VXCode("vXlh"))},
        {Descriptor::withInteger(1), Code::List, Descriptor::list({Descriptor::withInteger(1)})},
        {Descriptor::list({Descriptor::withInteger(1)}), Code::Text, Descriptor::withString(u"1"_s)},
        {Descriptor::list(), Code::Text, std::nullopt},
        {Descriptor::withData(Code::Int32, "\1"), Code::Text, std::nullopt}, // damaged: a "long" has four bytes
        {Descriptor::withData(Code::Boolean, "\2"), Code::Boolean, Descriptor::withData(Code::Boolean, "\2")},
        {Descriptor::withData(Code::Boolean, "\2"), Code::Int32, std::nullopt},
        {comparison(), Code::ObjectSpecifier, std::nullopt},
        {Descriptor(), Code::Text, std::nullopt},
    };
    for (const auto &[from, type, expected] : rows)
        EXPECT_EQ(from.coerceToType(type), expected)
            << VXStringFromCode(from.type()).toStdString() << " to " << VXStringFromCode(type).toStdString();
    const Descriptor coerced = *comparison().coerceToType(Code::Comparison);
    EXPECT_EQ(coerced.type(), Code::Comparison);
    EXPECT_EQ(coerced.coerceToType(Code::Record), comparison());
}

TEST(VXEventDescriptorTest, PlainValuesComeBack)
{
    const QVariant values[] = {
        {},
        true,
        qlonglong(-5),
        qlonglong(1) << 40,
        qulonglong(-1),
        0.25,
        u"Jäne"_s,
        u""_s,
        QByteArray("\0\1", 2),
        QDateTime::fromSecsSinceEpoch(-3, Qt::UTC),
        QVariantList{1LL, u"a"_s, QVariantList{}},
        QVariantMap{{u"xesam:title"_s, u"Song"_s}, {u"more"_s, QVariantMap{{u""_s, 1LL}}}},
    };
    for (const QVariant &value : values)
        EXPECT_EQ(Descriptor::fromValue(value).value(), value);
    Descriptor record = Descriptor::record();
    record.setDescriptor(Descriptor::withInteger(1), VXCode("abcd"));
    EXPECT_EQ(record.value(), QVariant(QVariantMap{{u"abcd"_s, 1LL}}));
}

TEST(VXEventDescriptorTest, RecordsKeepOrderAndCopiesTheirContents)
{
    Descriptor record = Descriptor::record();
    record.setDescriptor(Descriptor::withInteger(1), VXCode("one "));
    record.setDescriptor(Descriptor::withInteger(2), VXCode("two "));
    const Descriptor copy = record;
    record.setDescriptor(Descriptor::withInteger(3), VXCode("one "));
    record.setDescriptor(record, VXCode("self"));
    EXPECT_EQ(record.keywordAtIndex(1), VXCode("one "));
    EXPECT_EQ(record.descriptorAtIndex(1)->integerValue(), 3);
    EXPECT_EQ(record.descriptorForKeyword(VXCode("self"))->numberOfItems(), 2);
    EXPECT_EQ(copy.descriptorAtIndex(1)->integerValue(), 1);
    EXPECT_EQ(copy.descriptorAtIndex(0), std::nullopt);
    EXPECT_EQ(copy.descriptorAtIndex(3), std::nullopt);
    EXPECT_FALSE(Descriptor::list({copy}).descriptorForKeyword(0));
    Descriptor moved = std::move(record);
    EXPECT_TRUE(record.isNull()); // NOLINT(bugprone-use-after-move): it is promised
    EXPECT_EQ(moved.numberOfItems(), 3);
}

TEST(VXEventDescriptorTest, EventsHaveReturnIDsOfTheirOwnWhichRepliesBear)
{
    const Descriptor first = Descriptor::event(Code::CoreSuite, Code::GetData, Descriptor::withString(u"x"_s));
    const Descriptor second = Descriptor::event(Code::CoreSuite, Code::GetData, Descriptor::withString(u"x"_s));
    EXPECT_NE(first.returnID(), second.returnID());
    EXPECT_EQ(first.transactionID(), 0);
    EXPECT_EQ(Descriptor::replyTo(second).returnID(), second.returnID());
}

TEST(VXEventDescriptorTest, BytesComeBackAndAnythingElseIsRefused)
{
    Descriptor event =
        Descriptor::event(Code::CoreSuite, Code::SetData, Descriptor::withData(Code::BundleIdentifier, "a"));
    event.setDescriptor(*comparison().coerceToType(Code::Comparison), Code::DirectObject);
    event.setDescriptor(Descriptor::fromValue(QVariantMap{{u"a"_s, QVariantList{1, 2.5, u"b"_s}}}), Code::Data);
    const QByteArray bytes = event.toBytes();
    VXError error;
    EXPECT_EQ(Descriptor::fromBytes(bytes, &error), event);
    EXPECT_FALSE(error);
    EXPECT_EQ(Descriptor().toBytes(), QByteArray("VXED\1\0null\0\0\0\0", 14)); // as documented

    for (qsizetype size = 0; size < bytes.size(); ++size)
        ASSERT_FALSE(Descriptor::fromBytes(bytes.first(size), &error)) << size;
    const std::pair<QByteArray, QString> damaged[] = {
        {bytes + '\0', u"more behind its end"_s},
        {QByteArray("VXED\2\0null\0\0\0\0", 14), u"does not begin as one"_s},
        {QByteArray("VXED\1\4null\0\0\0\0", 14), u"no kind 4"_s},
        {QByteArray("VXED\1\1list\xff\xff\xff\xff", 14), u"ends too early"_s},
        {QByteArray("VXED\1\2reco\0\0\0\2keyw\0null\0\0\0\0keyw\0null\0\0\0\0", 40), u"occurs twice"_s},
    };
    for (const auto &[wrong, reason] : damaged) {
        EXPECT_FALSE(Descriptor::fromBytes(wrong, &error));
        EXPECT_TRUE(error.localizedDescription().contains(reason)) << error.localizedDescription().toStdString();
    }
}

TEST(VXEventDescriptorTest, NestingIsBound)
{
    Descriptor deep;
    for (int level = 0; level < Descriptor::maximumDepth; ++level)
        deep = Descriptor::list({deep});
    const QByteArray bytes = deep.toBytes();
    EXPECT_EQ(Descriptor::fromBytes(bytes), deep);
    EXPECT_TRUE(Descriptor::list({deep}).toBytes().isNull());
    QByteArray deeper = bytes;
    deeper.insert(5, QByteArray("\1list\0\0\0\1", 9));
    EXPECT_FALSE(Descriptor::fromBytes(deeper));
}
