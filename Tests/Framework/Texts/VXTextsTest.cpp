#include "VXAttributedTemplate.h"
#include "VXBundle.h"
#include "VXFramework.h"
#include "VXTesting.h"
#include "VXTextTransformers.h"

#include <QtCore/QLocale>

#include <limits>

using namespace Qt::StringLiterals;

namespace {

/** In a language and its locale. */
class VXTextsTest : public testing::Test
{
protected:
    ~VXTextsTest() override
    {
        QLocale::setDefault(_before);
        VXBundle::setPreferredLanguages({u"en"_s});
    }

    static void speak(const QString &locale)
    {
        VXBundle::setPreferredLanguages({locale.left(2)});
        QLocale::setDefault(QLocale(locale));
    }

private:
    const QLocale _before;
};

QDateTime at(int year, int month, int day, int hour = 9, int minute = 12)
{
    return {QDate(year, month, day), QTime(hour, minute)};
}

QString shown(const QString &transformer, const QVariant &value)
{
    return VXValueTransformer::valueTransformerForName(transformer)->transformedValue(value).toString();
}

} // namespace

TEST_F(VXTextsTest, DatesReadAsPeopleSayThem)
{
    const QDateTime now = at(2024, 3, 14, 12, 0); // a Thursday
    const std::tuple<QDateTime, VXDateStyle, QString, QString> cases[] = {
        {at(2024, 3, 14), VXDateStyle::Full, u"today, 09:12"_s, u"heute, 09:12"_s},
        {at(2024, 3, 13, 23, 59), VXDateStyle::Full, u"yesterday, 23:59"_s, u"gestern, 23:59"_s},
        {at(2024, 3, 15, 0, 0), VXDateStyle::Full, u"tomorrow, 00:00"_s, u"morgen, 00:00"_s},
        {at(2024, 3, 8), VXDateStyle::Full, u"Friday, 09:12"_s, u"Freitag, 09:12"_s},
        {at(2024, 3, 7), VXDateStyle::Full, u"7 March, 09:12"_s, u"7. März, 09:12"_s},
        {at(2024, 3, 18), VXDateStyle::Full, u"18 March, 09:12"_s, u"18. März, 09:12"_s},
        {at(2021, 3, 7), VXDateStyle::Full, u"7 March 2021, 09:12"_s, u"7. März 2021, 09:12"_s},
        {at(2024, 3, 14), VXDateStyle::Short, u"09:12"_s, u"09:12"_s},
        {at(2024, 3, 13), VXDateStyle::Short, u"yesterday"_s, u"gestern"_s},
        {at(2021, 3, 7), VXDateStyle::Short, u"07/03/2021"_s, u"07.03.21"_s},
        {at(2024, 1, 31), VXDateStyle::Day, u"31 January"_s, u"31. Januar"_s},
        {QDateTime(), VXDateStyle::Full, {}, {}},
    };
    for (const auto &[date, style, english, german] : cases) {
        SCOPED_TRACE(english.toStdString());
        speak(u"en_GB"_s);
        EXPECT_EQ(VXTextOfDate(date, style, now), english);
        speak(u"de_DE"_s);
        EXPECT_EQ(VXTextOfDate(date, style, now), german);
    }
}

TEST_F(VXTextsTest, ADayHasNoYearInAnyLocale)
{
    VXBundle::setPreferredLanguages({u"en"_s});
    for (const char *const name : {"en_US", "en_GB", "en_CA", "en_AU"}) {
        QLocale::setDefault(QLocale(QLatin1StringView(name)));
        const QString day = VXTextOfDate(at(2024, 1, 5), VXDateStyle::Day, at(2024, 6, 1));
        EXPECT_FALSE(day.contains(u"2024"_s)) << name << ' ' << day.toStdString();
        EXPECT_TRUE(day.contains(u"January"_s) && day.contains(u'5')) << name << ' ' << day.toStdString();
        EXPECT_FALSE(day.endsWith(u',') || day.startsWith(u',')) << name << ' ' << day.toStdString();
    }
}

TEST_F(VXTextsTest, DurationsHaveTheirTwoLargestUnits)
{
    speak(u"en_GB"_s);
    const auto nbsp = [](QString text) { return text.replace(u'_', QChar(QChar::Nbsp)); };
    const std::pair<double, const char *> cases[] = {
        {0, "0 s"},    {0.9, "0 s"},        {5, "5 s"},          {65, "1 min_5 s"},   {3600, "1 h"},
        {3604, "1 h"}, {7384, "2 h_3 min"}, {273600, "3 d_4 h"}, {-65, "-1 min_5 s"}, {60.99, "1 min"}};
    for (const auto &[seconds, text] : cases)
        EXPECT_EQ(VXTextOfDuration(seconds), nbsp(QString::fromLatin1(text))) << seconds;
    EXPECT_TRUE(VXTextOfDuration(std::numeric_limits<double>::quiet_NaN()).isNull());
    EXPECT_TRUE(VXTextOfDuration(std::numeric_limits<double>::infinity()).isNull());
}

TEST_F(VXTextsTest, NumbersAreWrittenAndReadAsTheUserDoes)
{
    VXInitializeFramework();
    speak(u"de_DE"_s);
    const VXNumberTransformer numbers;
    EXPECT_EQ(shown(u"VXNumberTransformer"_s, 1234567), u"1.234.567"_s);
    EXPECT_EQ(shown(u"VXNumberTransformer"_s, 3.14159), u"3,14"_s);
    EXPECT_EQ(shown(u"VXNumberTransformer"_s, 2.0), u"2"_s);
    EXPECT_EQ(shown(u"VXNumberTransformer"_s, 2.5), u"2,5"_s);
    EXPECT_EQ(numbers.transformedValue(u"2"_s), QVariant());
    EXPECT_EQ(numbers.reverseTransformedValue(u" 1.234,5 "_s), QVariant(1234.5));
    EXPECT_EQ(numbers.reverseTransformedValue(u"12"_s), QVariant(qlonglong(12)));
    EXPECT_EQ(numbers.reverseTransformedValue(u"twelve"_s), QVariant());
    EXPECT_EQ(shown(u"VXByteCountTransformer"_s, 1536000), u"1,5 MB"_s);
    EXPECT_EQ(VXByteCountTransformer().transformedValue(-1), QVariant());
}

TEST_F(VXTextsTest, TemplatesAreFilledInAndWrittenAgain)
{
    VXInitializeFramework();
    speak(u"en_GB"_s);
    const QVariantMap call{{u"from"_s, u"Jane <555-0100>"_s}, {u"duration"_s, 65}, {u"a"_s, QVariantMap{{u"b"_s, 7}}}};
    const struct
    {
        const char *text;
        const char *filledIn;
        const char *written; // nullptr: as it stood
    } cases[] = {
        {"", "", nullptr},
        {"Call", "Call", nullptr},
        {"${from}!", "Jane <555-0100>!", nullptr},
        {"${from|VXDisplayStringForPhonebookString}", "", nullptr}, // below
        {"${duration|VXDurationTransformer}", "1 min\u00a05 s", nullptr},
        {"${duration|NoSuchTransformer}", "65", nullptr},
        {"${a.b}${missing}", "7", nullptr},
        {"5 $$ ${from", "5 $ ${from", "5 $$ $${from"},
        {"${} ${a b} $x", "${} ${a b} $x", "$${} $${a b} $$x"},
    };
    for (const auto &each : cases) {
        const VXAttributedTemplate value(QString::fromUtf8(each.text));
        const QString written = QString::fromUtf8(each.written == nullptr ? each.text : each.written);
        EXPECT_EQ(value.text(), written);
        EXPECT_EQ(VXAttributedTemplate(value.text()), value) << each.text;
        if (each.filledIn[0] != 0 || each.text[0] == 0) {
            EXPECT_EQ(value.filledIn(call), QString::fromUtf8(each.filledIn)) << each.text;
        }
    }
    const VXAttributedString marked = VXAttributedTemplate(u"By ${from}: ${missing}${a.b}"_s).attributedString(call);
    ASSERT_EQ(marked.runs.size(), 2);
    EXPECT_EQ(marked.string.mid(marked.runs[0].position, marked.runs[0].length), u"Jane <555-0100>"_s);
    EXPECT_EQ(marked.runs[1].attributes.value(VXAttributedTemplate::attributeName), u"a.b"_s);
}
