#include "VXPhoneNumber.h"
#include "VXAddressScore.h"
#include "VXContactWords.h"
#include "VXConversationKey.h"
#include "VXCountryCodes.h"
#include "VXPhonebookString.h"
#include "VXPhonebookText.h"
#include "VXTesting.h"
#include "VXWrittenNumber.h"

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

// A digit 7 that takes two UTF-16 units.
const QString boldSeven = u"\U0001D7D5"_s;
const QString highSurrogate(QChar(0xD835));

struct TextPair
{
    QString given;
    QString expected;
};

// The rule as it is told: for each entry in turn, the values of the first 1 to 5 characters.
qsizetype literalWalk(const QString &digits)
{
    quint64 value = 0;
    std::array<quint64, 5> values{};
    for (qsizetype index = 0; index < 5; ++index)
        values[static_cast<size_t>(index)] = value = value * 10 + static_cast<quint64>(digits[index].digitValue());
    for (const quint32 code : VXPhonebookCountryCodes) {
        const auto match = std::find(values.begin(), values.end(), code);
        if (match != values.end())
            return match - values.begin() + 1;
    }
    return 0;
}

} // namespace

TEST(VXPhoneNumberTest, validity)
{
    const QStringList valid = {u"ab1"_s,         u"*#06#"_s, u"555-0100"_s,    u"+1 (555) 010-0000"_s, u"  1"_s,
                               u"555.01/00,1"_s, u"٠١٢"_s,   boldSeven + u' ', u"PpTtWw!@1"_s};
    for (const QString &text : valid)
        EXPECT_TRUE(VXIsValidPhoneNumber(text)) << text.toStdString();
    const QStringList invalid = {QString(),
                                 u""_s,
                                 u"12"_s,
                                 u"xy1"_s,
                                 u"abc"_s,
                                 boldSeven,
                                 u"+++"_s,
                                 u"555\t1"_s,
                                 u"55²"_s,
                                 u"Ⅷ11"_s,
                                 u"11"_s + highSurrogate};
    for (const QString &text : invalid)
        EXPECT_FALSE(VXIsValidPhoneNumber(text)) << text.toStdString();
}

TEST(VXPhoneNumberTest, searchString)
{
    const TextPair table[] = {
        {u"+44 20 7946 0000"_s, u"2079460000"_s},
        {u"0044 20 7946 0000"_s, u"2079460000"_s},
        {u"1 (555) 010-0000"_s, u"5550100000"_s},
        {u"020 7946 0000"_s, u"2079460000"_s},
        {u"555-0100"_s, u"5550100"_s},
        {u"1555010"_s, u"1555010"_s},              // 7 digits are left alone
        {u"15550100"_s, u"5550100"_s},             // 8 are not
        {u"+1 555 010 0000"_s, u"5550100000"_s},   // 1 is not in the table, but falls away in the end
        {u" +44 20 7946 0000"_s, u"2079460000"_s}, // not international: 12 digits lose the country code
        {u"4420794600"_s, u"4420794600"_s},        // and 10 do not
        {u"+1242 365 1234"_s, u"3651234"_s},
        {u"00112423651234"_s, u"3651234"_s},   // "0011" before "00", and then 242
        {u"0219876543210"_s, u"9876543210"_s}, // 13 digits
        {u"021987654321"_s, u"21987654321"_s}, // 12 digits
        {u"no digits"_s, u""_s},
        {QString(), QString()},
        {u"٠٠٤٤٢٠٧٩٤٦٠"_s, u"٠٠٤٤٢٠٧٩٤٦٠"_s.sliced(4)}, // no access code, but leading zeros and a country code
        {u'+' + boldSeven + u"1234567"_s, u"1234567"_s},
    };
    for (const auto &[given, expected] : table) {
        const QString found = VXPhoneNumberSearchString(given);
        EXPECT_EQ(found, expected) << given.toStdString();
        EXPECT_EQ(found.isNull(), expected.isNull()) << given.toStdString();
    }
}

TEST(VXPhoneNumberTest, aZeroInBracketsIsLeftOutUnlessItIsDialled)
{
    const TextPair table[] = {
        {u"+49 (0)30 123456"_s, u"+49 30 123456"_s},
        {u"0044(0)2079460000"_s, u"0044 2079460000"_s},
        {u"+39 (0)6 6982 1234"_s, u"+39 06 6982 1234"_s},
        {u"0039(0)669821234"_s, u"0039 0669821234"_s},
        {u"+378 (0)549 882 914"_s, u"+378 0549 882 914"_s},
        {u"+379 (0) 6 6982"_s, u"+379 0 6 6982"_s},
        {u"+49 30 555 (0)"_s, u"+49 30 555 (0)"_s},
        {u"+44 20 7946 0000,(0)12"_s, u"+44 20 7946 0000,(0)12"_s},
        {u"+(0)"_s, u"+(0)"_s},
        {u"+1242 (0) 3651234"_s, u"+1242 3651234"_s},
        {u"(0)30 123456"_s, u"(0)30 123456"_s},
        {u"+49  30 123456"_s, u"+49  30 123456"_s},
        {QString(), QString()},
    };
    for (const auto &[given, expected] : table)
        EXPECT_EQ(VXPhoneNumberWithoutTrunkZero(given), expected) << given.toStdString();
    EXPECT_EQ(VXPhoneNumberSearchString(VXPhoneNumberWithoutTrunkZero(table[2].given)),
              VXPhoneNumberSearchString(u"+390669821234"));
}

TEST(VXPhoneNumberTest, whatPeopleWriteBesideANumberIsNotDialledWithIt)
{
    const struct
    {
        QString text, number, extension;
    } table[] = {
        {u"+1.212.555.0150 ext. 77"_s, u"+1.212.555.0150"_s, u"77"_s},
        {u"+1 212 555 0150 x77"_s, u"+1 212 555 0150"_s, u"77"_s},
        {u"+12125550150;ext=5"_s, u"+12125550150"_s, u"5"_s},
        {u"+12125550150pp5#"_s, u"+12125550150"_s, u"5#"_s},
        {u"030 1112222, Durchwahl 12"_s, u"030 1112222"_s, u"12"_s},
        {u"+49 30 1112224 App. 12"_s, u"+49 30 1112224"_s, u"12"_s},
        {u"030 1112224/x12"_s, u"030 1112224/"_s, u"12"_s},
        {u"030 1112224 Nst. -12"_s, u"030 1112224"_s, u"12"_s},
        {u"030 1112224 (Büro) Nebenstelle: 12"_s, u"030 1112224"_s, u"12"_s},
        {u"030 1112224 x12 (Büro)"_s, u"030 1112224"_s, u"12"_s},
        {u"+1 212 555 0154 #12"_s, u"+1 212 555 0154"_s, u"12"_s},
        {u"*21*0301112224#11"_s, u"*21*0301112224#11"_s, {}},
        {u"+1 212 555 0154 (ext. 77)"_s, u"+1 212 555 0154"_s, u"77"_s},
        {u"+1 212 555 0154 (x77)"_s, u"+1 212 555 0154"_s, u"77"_s},
        {u"+7 495 555 01 54 доб. 77"_s, u"+7 495 555 01 54"_s, u"77"_s},
        {u"+12125550154;ext=12345678901;phone-context=+1"_s, u"+12125550154"_s, u"12345678901"_s},
        {u"030 / 1112222 / 030 / 1113333"_s, u"030 / 1112222"_s, {}},
        {u"030 1112222/030 1113333"_s, u"030 1112222"_s, {}},
        {u"212-555-0150/212-555-0151"_s, u"212-555-0150"_s, {}},
        {u"030/1112226"_s, u"030/1112226"_s, {}},
        {u"030/1112226-0 / -12"_s, u"030/1112226-0"_s, {}},
        {u"01715550101,01715550102"_s, u"01715550101"_s, {}},
        {u"+12125550150,,1234567#"_s, u"+12125550150"_s, u"1234567#"_s}, // of a conference
        {u"+49 30 1112222-55 (Zentrale)"_s, u"+49 30 1112222-55"_s, {}},
        {u"030 111 2222 / 030 111 3333"_s, u"030 111 2222"_s, {}},
        {u"030 / 1112222"_s, u"030 / 1112222"_s, {}}, // an area code
        {u"+49 (0)30 1112222"_s, u"+49 (0)30 1112222"_s, {}},
        {u"1-800-FLOWERS"_s, u"1-800-3569377"_s, {}},
        {u"0800 REIFEN"_s, u"0800 734336"_s, {}},
        {u"030 REIFEN"_s, u"030 REIFEN"_s, {}},
        {u"Agent x77"_s, u"Agent x77"_s, {}},
        {u"123p4"_s, u"123p4"_s, {}},
        {QString(u"p1"_s).repeated(60'000), QString(u"p1"_s).repeated(60'000), {}},
        {QString(), {}, {}},
    };
    for (const auto &[text, number, extension] : table) {
        const VXWrittenNumber written = VXWrittenNumber::in(text);
        EXPECT_EQ(written.number, number) << text.toStdString();
        EXPECT_EQ(written.extension, extension) << text.toStdString();
        const QString named = u"Jane <"_s + text + u"/m>"_s;
        EXPECT_EQ(VXPhonebookStringWithoutExtension(named),
                  VXIsNumberAsWritten(text) && !VXIsValidPhoneNumber(text) ? u"Jane <"_s + number + u"/m>"_s : named);
        EXPECT_EQ(VXDialledNumber(named), VXIsNumberAsWritten(text) ? number : QString());
        EXPECT_EQ(VXPhonebookStringSplit(VXPhonebookStringWithPause(text)), VXIsNumberAsWritten(text))
            << text.toStdString() << " is kept by a contact, so a look-up takes it";
    }
    EXPECT_TRUE(VXDialledNumber(u"Jane <jane@example.com>"_s).isNull());
}

TEST(VXPhoneNumberTest, anExtensionTellsContactsApartThatHaveTheSameNumber)
{
    const auto scoreOf = [](const QString &lookedUp, const QString &kept) {
        return VXAddressScore({{}, lookedUp, 0}, {{}, kept, 0}, 0);
    };
    const QString tom = u"+1 415 555 0170 x302"_s, mary = u"+1 415 555 0170 ext. 7"_s, desk = u"+1 415 555 0170"_s;
    EXPECT_GT(scoreOf(tom, tom), scoreOf(tom, desk));
    EXPECT_GT(scoreOf(tom, desk), scoreOf(tom, mary));
    EXPECT_GT(scoreOf(desk, desk), scoreOf(desk, tom));
    EXPECT_GT(scoreOf(desk, tom), scoreOf(desk, u"415 555 0170"_s));
    // What was recorded keeps its conversation, and is found by either.
    EXPECT_EQ(VXConversationKey(u"+12125550150p5"_s), u"21255501505"_s);
    EXPECT_EQ(VXConversationKeysOf(u"A <+12125550150p5>"_s), (QStringList{u"21255501505"_s, u"2125550150"_s}));
}

TEST(VXPhoneNumberTest, whatNobodyCanDialHasNoWords)
{
    const auto count = [](const QString &number) {
        return VXContactWords::wordsOf(number, VXContactWords::Kind::Number).size();
    };
    EXPECT_GT(count(u"+1 212 555 0150"_s), 2);
    EXPECT_EQ(count(u"12345"_s + u"p1"_s.repeated(1000)), 0) << "or they would grow by the square of its length";
}

TEST(VXPhoneNumberTest, accessCodes)
{
    struct
    {
        QString digits, international, national;
    } const table[] = {
        {u"00112345"_s, {}, u"0"_s}, // 8 digits are too few for the one
        {u"001123456"_s, u"0011"_s, u"0"_s},
        {u"001923456"_s, u"001"_s, u"0"_s},
        {u"009123456"_s, u"00"_s, u"0"_s},
        {u"106012345"_s, u"1060"_s, u"1"_s},
        {u"990123456"_s, u"990"_s, {}},
        {u"995123456"_s, u"99"_s, {}},
        {u"012345"_s, {}, {}}, // 6 for the other
        {u"0123456"_s, {}, u"0"_s},
        {u"1234567"_s, {}, u"1"_s},
        {u"2345678"_s, {}, {}},
        {u"0154567890123"_s, {}, u"015"_s},
        {u"01545678901234"_s, {}, u"0"_s},
        {u"0324567890123"_s, {}, u"0"_s},
        {QString(), {}, {}},
    };
    for (const auto &[digits, international, national] : table) {
        EXPECT_EQ(VXPhoneNumberInternationalAccessCode(digits), international) << digits.toStdString();
        EXPECT_EQ(VXPhoneNumberInternationalAccessCode(digits).isNull(), international.isNull());
        EXPECT_EQ(VXPhoneNumberNationalAccessCode(digits), national) << digits.toStdString();
        EXPECT_EQ(VXPhoneNumberNationalAccessCode(digits).isNull(), national.isNull());
    }
}

TEST(VXPhoneNumberTest, strippingACountryCode)
{
    const TextPair table[] = {
        {u"4420"_s, u"4420"_s},                                                 // fewer than 5 characters
        {u"44207"_s, u"207"_s}, {u"53990"_s, u"990"_s},                         // 53 stands before 5399
        {u"88213"_s, u""_s},    {u"15550"_s, u"15550"_s}, {u"00442"_s, u"2"_s}, // the value counts
        {u"٤٤٢٠٧"_s, u"٢٠٧"_s}, {u"+4420"_s, u"+4420"_s}, {highSurrogate.repeated(6), highSurrogate.repeated(6)},
        {QString(), QString()},
    };
    for (const auto &[given, expected] : table)
        EXPECT_EQ(VXPhoneNumberByStrippingCountryCode(given), expected) << given.toStdString();
}

TEST(VXPhoneNumberTest, countryCodesAreFoundAsByWalkingTheTable)
{
    EXPECT_TRUE(std::is_sorted(VXPhonebookCountryCodes.begin(), VXPhonebookCountryCodes.end(),
                               [](quint32 a, quint32 b) { return QString::number(a) < QString::number(b); }));
    for (int number = 0; number < 100'000; ++number) {
        const QString digits = u"%1"_s.arg(number, 5, 10, QChar(u'0'));
        ASSERT_EQ(VXCountryCodeLength(digits), literalWalk(digits)) << digits.toStdString();
    }
}

TEST(VXPhoneNumberTest, megabytes)
{
    constexpr qsizetype size = 1 << 20;
    EXPECT_EQ(VXPhoneNumberSearchString(u"+44"_s + QString(size, u'7')).size(), size);
    EXPECT_EQ(VXPhoneNumberSearchString(QString(size, u'(')), u""_s);
    const QString one = VXPhoneNumberSearchString(QString(size, u' ') + u'1');
    EXPECT_EQ(one, u"1"_s);
    EXPECT_LT(one.capacity(), 1000) << "a short result keeps the memory of a long text";
    EXPECT_TRUE(VXPhoneNumberSearchString(boldSeven.repeated(size)).endsWith(boldSeven));
}

TEST(VXPhoneNumberTest, textMethods)
{
    const VXCharacterSet vowels = VXCharacterSet::characterSetWithCharactersInString(u"ae\u0080😀");
    EXPECT_TRUE(VXPhonebookText(u""_s).containsOnlyCharactersFromSet(vowels));
    EXPECT_TRUE(VXPhonebookText(u"a😀\u0080e"_s).containsOnlyCharactersFromSet(vowels));
    EXPECT_FALSE(VXPhonebookText(u"a😁"_s).containsOnlyCharactersFromSet(vowels));
    EXPECT_EQ(VXPhonebookText(u"x😀y😁e"_s + highSurrogate).stringWithCharactersFromSet(vowels), u"😀e"_s);
    EXPECT_EQ(
        VXPhonebookText(u"+1 (a)x"_s).stringWithCharactersFromSet(VXCharacterSet::phoneNumberDialingCharacterSet()),
        u"+1a"_s);
    EXPECT_TRUE(VXPhonebookText(QString()).stringWithCharactersFromSet(vowels).isNull());
    EXPECT_TRUE(VXPhonebookText(u"555-0100"_s).isValidPhoneNumber());
    EXPECT_TRUE(VXPhonebookText(u"a@b.c"_s).isValidEmailAddress());
    EXPECT_TRUE(VXPhonebookText(u"Hm"_s).isValidPhonebookType());
    EXPECT_FALSE(VXPhonebookText(QString()).isValidPhonebookType());
}
