#include "VXURLStrings.h"
#include "VXTesting.h"

using namespace Qt::StringLiterals;

TEST(VXURLStringsTest, EscapesWhatIsNotLegalAndItsOwnDelimiters)
{
    const std::tuple<QString, QVariantMap, QString> cases[] = {
        {{}, {}, u"x:"_s},
        {u""_s, {}, u"x:"_s},
        {u"AZaz09-_.!~*'()/:@+,$"_s, {}, u"x:AZaz09-_.!~*'()/:@+,$"_s},
        {u"&?;=%#<>\"{}|\\^`[] "_s, {}, u"x:%26%3F%3B%3D%25%23%3C%3E%22%7B%7D%7C%5C%5E%60%5B%5D%20"_s},
        {u"\u00fc\U0001f4de\u007f\n"_s, {}, u"x:%C3%BC%F0%9F%93%9E%7F%0A"_s},
        {u"t"_s, {{u"b"_s, u"2 3"_s}, {u"a=&"_s, 1}}, u"x:t?a%3D%26=1&b=2%203"_s},
        {u"t"_s, {{u"a"_s, u""_s}}, u"x:t?a="_s},
        // The first key without a value ends them.
        {u"t"_s, {{u"a"_s, 1}, {u"b"_s, QVariant()}, {u"c"_s, 3}}, u"x:t?a=1"_s},
        {u"t"_s, {{u"a"_s, QString()}, {u"c"_s, 3}}, u"x:t"_s},
    };
    for (const auto &[target, parameters, url] : cases)
        EXPECT_EQ(VXMakeURLString(u"x"_s, target, parameters), url);
}

TEST(VXURLStringsTest, TakesURLsApart)
{
    const std::pair<QString, QVariantMap> cases[] = {
        {u"callto:"_s, {{u"scheme"_s, u"callto"_s}}},
        {u":"_s, {{u"scheme"_s, u""_s}}},
        {u"callto:555%201234?device=x"_s,
         {{u"scheme"_s, u"callto"_s}, {u"host"_s, u"555 1234"_s}, {u"device"_s, u"x"_s}}},
        {u"x:a:b?c=d?e"_s, {{u"scheme"_s, u"x"_s}, {u"host"_s, u"a:b"_s}, {u"c"_s, u"d?e"_s}}},
        {u"x:?a"_s, {{u"scheme"_s, u"x"_s}, {u"host"_s, u""_s}, {u"a"_s, u""_s}}},
        {u"x:h?a=1=2&%61=3"_s, {{u"scheme"_s, u"x"_s}, {u"host"_s, u"h"_s}, {u"a"_s, u"3"_s}}},
        // What is no escape stays; what is no UTF-8 is replaced.
        {u"x:%%4%zz%2"_s, {{u"scheme"_s, u"x"_s}, {u"host"_s, u"%%4%zz%2"_s}}},
        {u"x:%c3%BC+%FF"_s, {{u"scheme"_s, u"x"_s}, {u"host"_s, u"\u00fc+\ufffd"_s}}},
    };
    for (const auto &[url, components] : cases)
        EXPECT_EQ(VXComponentsFromURLString(url), components) << url.toStdString();
    EXPECT_EQ(VXComponentsFromURLString(u"no colon"_s), std::nullopt);
    EXPECT_EQ(VXComponentsFromURLString({}), std::nullopt);
}

TEST(VXURLStringsTest, EveryCharacterSurvivesTheRoundTrip)
{
    QString text;
    for (char16_t character = 0; character < 0xd800; ++character)
        text += character;
    for (const QString &each : {text, u"%"_s, u"%41"_s, u"a&b"_s, u"\U0001f4de"_s}) {
        const QVariantMap components{{u"scheme"_s, u"x"_s}, {u"host"_s, each}, {u"key"_s, each}, {each, u"value"_s}};
        const QString url = VXMakeURLString(u"x"_s, each, {{u"key"_s, each}, {each, u"value"_s}});
        EXPECT_EQ(VXComponentsFromURLString(url), components);
    }
    // Half a character is no character.
    const QString lone = VXMakeURLString(u"x"_s, QString(QChar(0xd83d)) + u'a', {});
    EXPECT_TRUE(VXComponentsFromURLString(lone)->value(u"host"_s).toString().endsWith(u'a'));
}

TEST(VXURLStringsTest, HelpersLeaveOutWhatIsNull)
{
    EXPECT_EQ(VXCalltoURLString(u"5"_s), u"callto:5"_s);
    EXPECT_EQ(VXCalltoURLString(u"5"_s, u""_s), u"callto:5?device="_s);
    EXPECT_EQ(VXChatURLString(u"joe"_s, {}, u"d"_s), u"vxchat:joe?device=d"_s);
    EXPECT_EQ(VXMessagetoURLString(u"joe"_s, u"hi"_s, u"d"_s), u"messageto:joe?body=hi&device=d"_s);
    EXPECT_EQ(VXMakePhonebookURL(), QUrl(u"vxbook://localhost/"_s));
    EXPECT_EQ(VXMakePhonebookURL(u"h"_s, {}, u"second"_s), QUrl(u"vxbook://h/second"_s));
    const QUrl url = VXMakePhonebookURL({}, u"a/b?c#%"_s, u"\u00fc"_s);
    EXPECT_EQ(url.toEncoded(), "vxbook://localhost/a%2Fb%3Fc%23%25/%C3%BC"_ba);
    EXPECT_FALSE(VXMakePhonebookURL(u"no host"_s).isValid());
}
