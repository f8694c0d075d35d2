#include "VXPhonebookString.h"
#include "VXEmailAddress.h"
#include "VXLogRecorder.h"
#include "VXPhonebookType.h"
#include "VXTesting.h"
#include "VXTextEscaping.h"

using namespace Qt::StringLiterals;

namespace {

struct Split
{
    bool result;
    QString name, value;
    unsigned typeMask;

    bool operator==(const Split &) const = default;
};

void PrintTo(const Split &split, std::ostream *out)
{
    *out << split.result << ' ' << testing::PrintToString(split.name) << ' ' << testing::PrintToString(split.value)
         << ' ' << split.typeMask;
}

Split split(const QString &text)
{
    Split parts{false, u"name"_s, u"value"_s, 99};
    parts.result = VXPhonebookStringSplit(text, &parts.name, &parts.value, &parts.typeMask);
    // Null and empty differ, though Qt holds them for equal.
    for (QString *part : {&parts.name, &parts.value}) {
        if (part->isNull())
            *part = u"(none)"_s;
    }
    return parts;
}

const QString none = u"(none)"_s;

} // namespace

using VXPhonebookStringTest = VXHomeTest;

TEST_F(VXPhonebookStringTest, emailAddresses)
{
    const QStringList valid = {
        u"a@b.c"_s,
        u"o'neil+x{y}|z~@b-c.example"_s,
        u"jürgen@müller.de"_s,
        u"x@a..b"_s,
        u"x@..."_s,
        u"x@.b"_s,
        u"x@1.2.3.255"_s,
        u"x@1.2.3.00000000000255"_s,
        u"x@1.2.3.256"_s,
        u"x@1..3.a_b"_s,
        u"x@١.٢.٣.٤"_s,
        u"x@c_d.e.f.g"_s,
        u"x@a_b.c.d.e"_s,
        u"𝒂@𝒃.𝒄"_s,
        u"x@1.2.3.99999999999999999999 >"_s,
        QString(64, u'a') + u"@b.c"_s,
        u"x@b."_s + QString(253, u'c'),
    };
    for (const QString &text : valid)
        EXPECT_TRUE(VXIsValidEmailAddress(text)) << text.toStdString();
    const QStringList invalid = {
        QString(),
        u""_s,
        u"@b.c"_s,
        u"a@"_s,
        u"a@b"_s,
        u"a@b@c.d"_s,
        u"a b@c.d"_s,
        u"a@b c.d"_s,
        u"x@c.d.e.a_b"_s,
        u"x@a_b.c.d"_s,
        u"x@a.b_c.d.e"_s,
        u"x@1.2.3.b@c"_s,
        u"a@b.c.d.e.f_g"_s,
        u"x@256.2.3.a_b"_s,
        u"ǅ@b.c"_s,
        u"a@b.²"_s,
        u"𝒂@𝒃.😀"_s,
        QString(65, u'a') + u"@b.c"_s,
        u"x@b."_s + QString(254, u'c'),
        u"a@b."_s + QChar(0xD835),
    };
    for (const QString &text : invalid)
        EXPECT_FALSE(VXIsValidEmailAddress(text)) << text.toStdString();
}

TEST_F(VXPhonebookStringTest, typeMasks)
{
    struct
    {
        QString letters;
        unsigned mask;
        QString back;
    } const table[] = {
        {u""_s, 0, {}},        {u"Hm"_s, 66, u"Hm"_s},     {u"mH"_s, 66, u"Hm"_s}, {u"fm"_s, 3, u"p"_s},
        {u"!m"_s, 63, u"!"_s}, {u"Wf"_s, 129, u"Wf"_s},    {u"HW"_s, 192, {}},     {u"HWp"_s, 195, u"p"_s},
        {u"xyhw"_s, 0, {}},    {u"!HWfmp"_s, 255, u"!"_s},
    };
    for (const auto &[letters, mask, back] : table) {
        EXPECT_EQ(VXPhonebookTypeMaskFromString(letters), mask) << letters.toStdString();
        EXPECT_EQ(VXStringFromPhonebookTypeMask(mask), back) << mask;
        EXPECT_EQ(VXStringFromPhonebookTypeMask(mask).isNull(), back.isNull()) << mask;
    }
    EXPECT_TRUE(VXStringFromPhonebookTypeMask(4).isNull());
    EXPECT_EQ(VXStringFromPhonebookTypeMask(256 + 64), u"H"_s);
    EXPECT_TRUE(VXIsValidPhonebookType(u""_s));
    EXPECT_TRUE(VXIsValidPhonebookType(u"HW!mfp"_s));
    EXPECT_FALSE(VXIsValidPhonebookType(u"h"_s));
    EXPECT_FALSE(VXIsValidPhonebookType(QString()));
}

TEST_F(VXPhonebookStringTest, splitting)
{
    const std::pair<QString, Split> table[] = {
        {u"555-0100"_s, {true, none, u"555-0100"_s, 0}},
        {u"a@b.c"_s, {true, none, u"a@b.c"_s, 0}},
        {u"x@a\\<b.c.d.e"_s, {true, none, u"x@a\\<b.c.d.e"_s, 0}},     // a bare address is taken as it is
        {u"x@1.2.3.4 <555>"_s, {true, none, u"x@1.2.3.4 <555>"_s, 0}}, // and this is one, by its fourth label
        {u"Jane <555-0100/Hm>"_s, {true, u"Jane"_s, u"555-0100"_s, 66}},
        {u"Jane <555-0100/>"_s, {true, u"Jane"_s, u"555-0100"_s, 0}},
        {u"Jane <555-0100/x>"_s, {false, u"Jane"_s, u"555-0100/x"_s, 0}},
        {u"Jane <555/0100/m>"_s, {true, u"Jane"_s, u"555/0100"_s, 2}},
        {u"Jane <555/0100>"_s, {true, u"Jane"_s, u"555/0100"_s, 0}},
        {u"Jane"_s, {false, u"Jane"_s, none, 0}},
        {u" \t Jane  Doe \n<\u00A0555 0100\t> \u2028"_s, {true, u"Jane  Doe"_s, u"555 0100"_s, 0}},
        {u"<555-0100/m>"_s, {true, none, u"555-0100"_s, 2}},
        {u"Jane <>"_s, {false, u"Jane"_s, none, 0}},
        {u"Jane < >"_s, {false, u"Jane"_s, none, 0}},
        {u"Jane </Hm>"_s, {false, u"Jane"_s, u""_s, 66}},
        {u"A\\<B\\> \\x <555>"_s, {true, u"A<B> \\x"_s, u"555"_s, 0}},
        {u"Jane\\  <555>"_s, {true, u"Jane\\ "_s, u"555"_s, 0}}, // an escaped space is content
        {u"Jane \\\\<555>"_s, {true, u"Jane \\\\"_s, u"555"_s, 0}},
        {u"Jane <555\\,1>"_s, {false, u"Jane"_s, u"555,1"_s, 0}}, // the value is tested as it is written
        {u"{Jane, Doe} <555>"_s, {true, u"{Jane, Doe}"_s, u"555"_s, 0}},
        {u"Jane\\"_s, {false, u"Jane"_s, none, 0}},
        {u"😀 <555>"_s, {true, u"😀"_s, u"555"_s, 0}},
        {u""_s, {false, none, none, 0}},
        {u" "_s, {false, none, none, 0}},
        {QString(), {false, none, none, 0}},
    };
    VXLogRecorder recorder;
    for (const auto &[text, expected] : table)
        EXPECT_EQ(split(text), expected) << text.toStdString();
    EXPECT_TRUE(VXPhonebookStringSplit(u"Jane <555>"_s));
    EXPECT_TRUE(VXPhonebookStringSplitAsWritten(u"jane@example.org"_s, nullptr, nullptr, nullptr));
    EXPECT_EQ(recorder.messages(), QStringList());
}

TEST_F(VXPhonebookStringTest, malformedTextsAreLoggedAndStayTheName)
{
    const std::pair<QString, QString> table[] = {
        {u"invalid character in property: "_s, u"Jane <55<5>"_s},
        {u"invalid character after property: "_s, u"<a@b.c> x"_s},
        {u"invalid character after property: "_s, u"<555> <"_s},
        {u"invalid character after property: "_s, u"<555>>"_s},
        {u"invalid character after property: "_s, u"<555>\\ "_s},
        {u"invalid character in name: "_s, u"Ja>ne <555>"_s},
        {u"unterminated property: "_s, u"Jane <555"_s},
        {u"unterminated property: "_s, u"Jane <555\\>"_s},
    };
    for (const auto &[problem, text] : table) {
        VXLogRecorder recorder;
        EXPECT_EQ(split(text), (Split{false, text, none, 0}));
        EXPECT_EQ(recorder.messages(), QStringList(u"<NOTICE> "_s + problem + text));
    }
}

TEST_F(VXPhonebookStringTest, joining)
{
    const QString null;
    struct
    {
        QString name, value;
        unsigned mask;
        QString expected;
    } const table[] = {
        {u"Jane"_s, u"555-0100"_s, 0, u"Jane <555-0100>"_s},
        {null, u"555-0100"_s, 0, u"555-0100"_s},
        {null, u"555-0100"_s, 2, u"<555-0100/m>"_s},
        {u"A<B"_s, null, 0, u"A<B"_s},
        {u"A<B"_s, u"555"_s, 0, u"A\\<B <555>"_s},
        {u"{a}, b>"_s, u"55,5"_s, 64, u"\\{a\\}\\, b\\> <55\\,5/H>"_s},
        {u"Jane"_s, u"555"_s, 4, u"Jane <555/(null)>"_s},
        {null, u"555"_s, 192, u"<555/(null)>"_s},
        {u""_s, u"555"_s, 0, u" <555>"_s},
        {null, null, 2, null},
    };
    for (const auto &[name, value, mask, expected] : table)
        EXPECT_EQ(VXPhonebookStringJoin(name, value, mask), expected);
    EXPECT_TRUE(VXPhonebookStringJoin(null, null, 2).isNull());
}

TEST_F(VXPhonebookStringTest, escaping)
{
    const QString set = u"<>{},"_s;
    struct
    {
        QString text, set, escaped, unescaped;
    } const table[] = {
        {u"a<b,c"_s, set, u"a\\<b\\,c"_s, u"a<b,c"_s},
        {u"\\<\\x\\"_s, set, u"\\\\<\\x\\"_s, u"<\\x"_s},
        {u"\\\\<"_s, set, u"\\\\\\<"_s, u"\\\\<"_s},
        {u"\\\\"_s, u"\\"_s, u"\\\\\\\\"_s, u"\\"_s},
        {u"\\😀😁"_s, u"😀"_s, u"\\\\😀😁"_s, u"😀😁"_s},
        {u"\\"_s, set, u"\\"_s, u""_s},
        {u"a"_s, u""_s, u"a"_s, u"a"_s},
    };
    for (const auto &[text, characters, escaped, unescaped] : table) {
        EXPECT_EQ(VXTextEscaping::stringByEscapingCharactersInString(text, characters), escaped);
        EXPECT_EQ(VXTextEscaping::stringByUnescapingCharactersInString(text, characters), unescaped);
    }
    EXPECT_TRUE(VXTextEscaping::stringByEscapingCharactersInString({}, set).isNull());
    EXPECT_TRUE(VXTextEscaping::stringByUnescapingCharactersInString({}, set).isNull());
    EXPECT_FALSE(VXTextEscaping::stringByUnescapingCharactersInString(u"\\"_s, set).isNull());
}
