#include "VXPhonebookTransformer.h"
#include "VXInitializeInterface.h"
#include "VXTesting.h"
#include "VXUserDefaults.h"

using namespace Qt::StringLiterals;

using VXPhonebookTransformerTest = VXHomeTest;

TEST_F(VXPhonebookTransformerTest, ShowsNamesElseFormattedNumbers)
{
    VXUserDefaults &defaults = VXUserDefaults::standardUserDefaults();
    const QString domain = u"com.apple.AddressBook"_s;
    EXPECT_TRUE(defaults.setObject(true, u"ABPhoneFormat-Enabled"_s, domain));
    EXPECT_TRUE(defaults.setObject(QStringList{u"(###) ###-####"_s}, u"ABPhoneFormat-PhoneFormatter"_s, domain));
    VXInitializeInterface();
    const auto one = VXValueTransformer::valueTransformerForName(u"VXDisplayStringForPhonebookString"_s);
    const auto list = VXValueTransformer::valueTransformerForName(u"VXPhonebookTransformer"_s);
    ASSERT_TRUE(one && list);

    const struct
    {
        QVariant text;
        QVariant shown;
        QVariant shownAsList;
    } cases[] = {
        {u"Jane \\<J\\> <555-0100/Hm>"_s, u"Jane <J>"_s, u"Jane <J>"_s},
        {u"<5550100000/m>"_s, u"(555) 010-0000"_s, u"(555) 010-0000"_s},
        {u"5550100000"_s, u"(555) 010-0000"_s, u"(555) 010-0000"_s},
        {u"a@b.c"_s, u"a@b.c"_s, u"a@b.c"_s},
        {u"Jane"_s, u"Jane"_s, u"Jane"_s},
        {u"<odd value>"_s, u"odd value"_s, u"odd value"_s},
        {u"Jane <555"_s, u"Jane <555"_s, u"Jane <555"_s}, // malformed
        {u"Doe, Jane <555>, 5550100000"_s, u"Doe, Jane <555>, 5550100000"_s, u"Doe, Jane, (555) 010-0000"_s},
        {u"Friends { a@b.c, 555 }, Jo <555>"_s, u"Friends { a@b.c, 555 }, Jo"_s, u"Friends, Jo"_s},
        {u"{ a@b.c, Jo <555> }"_s, u"{ a@b.c, Jo <555> }"_s, u"a@b.c, Jo"_s},
        {u""_s, u""_s, u""_s},
        {QString(), {}, {}},
        {17, {}, {}},
    };
    for (const auto &[text, shown, shownAsList] : cases) {
        EXPECT_EQ(one->transformedValue(text), shown) << text.toString().toStdString();
        EXPECT_EQ(list->transformedValue(text), shownAsList) << text.toString().toStdString();
    }
}
