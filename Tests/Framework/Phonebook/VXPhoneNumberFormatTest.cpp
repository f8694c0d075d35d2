#include "VXPhoneNumberFormat.h"
#include "VXTesting.h"
#include "VXUserDefaults.h"

using namespace Qt::StringLiterals;

class VXPhoneNumberFormatTest : public VXHomeTest
{
protected:
    static void setPreferences(const QVariant &enabled, const QVariant &formats)
    {
        EXPECT_TRUE(VXUserDefaults::standardUserDefaults().setPersistentDomain(
            {{u"ABPhoneFormat-Enabled"_s, enabled}, {u"ABPhoneFormat-PhoneFormatter"_s, formats}},
            u"com.apple.AddressBook"_s));
    }
};

TEST_F(VXPhoneNumberFormatTest, onePattern)
{
    struct
    {
        QString number, pattern, expected;
    } const table[] = {
        {u"+15550100000"_s, u"+1 (###) ###-####"_s, u"+1 (555) 010-0000"_s},
        {u"5550100000"_s, u"(###) ###-####"_s, u"(555) 010-0000"_s},
        {u"555 010 0000"_s, u"(###) ###-####"_s, {}}, // the first space blocks the cursor
        {u"555010000"_s, u"(###) ###-####"_s, {}},    // a digit too few
        {u"25550100000"_s, u"1 (###) ###-####"_s, {}},
        {u"5550100000+"_s, u"+(###) ###-####"_s, {}},
        {u"5550100+"_s, u"###-####"_s, u"555-0100"_s}, // what lies behind the cursor is not looked at
        {u"٥٥٥"_s, u"#-##"_s, u"٥-٥٥"_s},
        {u"𝟕𝟕"_s, u"#😀#"_s, u"𝟕😀𝟕"_s},
        {u""_s, u"()"_s, u"()"_s},
        {u""_s, u""_s, u""_s},
        {QString(), u"()"_s, {}},
    };
    for (const auto &[number, pattern, expected] : table) {
        const QString formatted = VXPhoneNumberWithFormat(number, pattern);
        EXPECT_EQ(formatted, expected) << pattern.toStdString();
        EXPECT_EQ(formatted.isNull(), expected.isNull()) << pattern.toStdString();
    }
}

TEST_F(VXPhoneNumberFormatTest, theUsersPatterns)
{
    EXPECT_FALSE(VXAddressBookFormattingIsEnabled());
    EXPECT_EQ(VXFormatPhoneNumber(u"5550100"_s), u"5550100"_s);

    // The first pattern has too many digits, the second brings one of its own, the third is no pattern.
    const QVariantList formats = {u"(###) ###-####"_s, u"0 ###-####"_s, 7, u"###-####"_s, u"### ####"_s};
    setPreferences(true, formats);
    EXPECT_TRUE(VXAddressBookFormattingIsEnabled());
    EXPECT_EQ(VXAddressBookFormats(),
              QStringList({u"(###) ###-####"_s, u"0 ###-####"_s, u"###-####"_s, u"### ####"_s}));
    EXPECT_EQ(VXFormatPhoneNumber(u"5550100"_s), u"555-0100"_s);
    EXPECT_EQ(VXFormatPhoneNumber(u"555-0100"_s), u"555-0100"_s);
    EXPECT_EQ(VXFormatPhoneNumber(u"55501"_s), u"55501"_s);
    EXPECT_TRUE(VXFormatPhoneNumber(QString()).isNull());

    for (const QVariant &off : {QVariant(false), QVariant(0), QVariant(u"NO"_s), QVariant(QVariantList{true})}) {
        setPreferences(off, formats);
        EXPECT_EQ(VXFormatPhoneNumber(u"5550100"_s), u"5550100"_s);
    }
}
