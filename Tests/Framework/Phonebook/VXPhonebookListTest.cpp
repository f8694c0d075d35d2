#include "VXPhonebookList.h"
#include "VXLogRecorder.h"
#include "VXPhonebookGroup.h"
#include "VXTesting.h"

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype megabyte = 1 << 20;

} // namespace

using VXPhonebookListTest = VXHomeTest;

TEST_F(VXPhonebookListTest, groups)
{
    struct
    {
        QString text;
        bool isGroup;
        QString name;
        QStringList members;
    } const table[] = {
        {u"Friends { a@b.cd; Jo <555-0100> }"_s, true, u"Friends"_s, {u"a@b.cd"_s, u"Jo <555-0100>"_s}},
        {u"Friends {}"_s, true, u"Friends"_s, {}},
        {u"{ 555-0100 }"_s, true, u""_s, {u"555-0100"_s}},
        {u"a@b.cd; 555-0100"_s, true, {}, {u"a@b.cd"_s, u"555-0100"_s}},
        {u" 555-0100 ,; "_s, false, {}, {u"555-0100"_s}},
        {u"Doe, Jane <555-0100>"_s, false, {}, {u"Doe, Jane <555-0100>"_s}},
        {u"a{b{c,d}e}"_s, true, u"a"_s, {u"b{c"_s, u"d}e"_s}},
        {u"Doe;;  Jane <555-0100>; a@b.c"_s, true, {}, {u"Doe, Jane <555-0100>"_s, u"a@b.c"_s}},
        {u""_s, false, {}, {}},
        {QString(), false, {}, {}},
    };
    for (const auto &[text, isGroup, name, members] : table) {
        QString foundName = u"before"_s;
        QStringList foundMembers = {u"before"_s};
        EXPECT_EQ(VXPhonebookGroupSplit(text, &foundName, &foundMembers), isGroup) << text.toStdString();
        EXPECT_EQ(foundName, name) << text.toStdString();
        EXPECT_EQ(foundName.isNull(), name.isNull()) << text.toStdString();
        EXPECT_EQ(foundMembers, members) << text.toStdString();
    }
    EXPECT_TRUE(VXPhonebookGroupSplit(u"a {}"_s));
    EXPECT_EQ(VXPhonebookGroupJoin(u"Friends"_s, {u"a@b.cd"_s, u"Jo <555>"_s}), u"Friends { a@b.cd, Jo <555> }"_s);
    EXPECT_EQ(VXPhonebookGroupJoin(u"Friends"_s, {}), u"Friends {  }"_s);
}

TEST_F(VXPhonebookListTest, unpacking)
{
    struct
    {
        QString text;
        QStringList expanded, whole;
    } const table[] = {
        {u"Doe, Jane <555-0100>, 555-0199"_s, {u"Doe, Jane <555-0100>"_s, u"555-0199"_s}, {}},
        {u"a,b,c <555>"_s, {u"a"_s, u"b, c <555>"_s}, {}},                          // only the last piece is taken
        {u"Doe,, Jane <555>"_s, {u"Doe, Jane <555>"_s}, {}},                        // nothing between is no piece
        {u"Doe, 555-0100"_s, {u"Doe"_s, u"555-0100"_s}, {}},                        // a bare number has no name
        {u"Doe, <555/m>, Jo <555>"_s, {u"Doe"_s, u"<555/m>"_s, u"Jo <555>"_s}, {}}, // nor has this
        {u"a\\,b <555>"_s, {u"a\\, b <555>"_s}, {}},                                // backslashes do not count, and yet
        {u" , ,"_s, {}, {}},
        {QString(), {}, {}},
        {u"G { a, b <555> ; c@d.e } , 5550100"_s,
         {u"a, b <555>"_s, u"c@d.e"_s, u"5550100"_s},
         {u"G { a, b <555> ; c@d.e }"_s, u"5550100"_s}},
        {u"x, G { Jo <555> }, Jo <555>"_s, // a group parts names
         {u"x"_s, u"Jo <555>"_s, u"Jo <555>"_s},
         {u"x"_s, u"G { Jo <555> }"_s, u"Jo <555>"_s}},
        {u"G { x }, Jo <555>"_s, {u"x"_s, u"Jo <555>"_s}, {u"G { x }"_s, u"Jo <555>"_s}},
        {u"E {} rest"_s, {u"rest"_s}, {u"E {}"_s, u"rest"_s}},
    };
    VXLogRecorder recorder;
    for (const auto &[text, expanded, whole] : table) {
        EXPECT_EQ(VXUnpackPhonebookStrings(text, true), expanded) << text.toStdString();
        EXPECT_EQ(VXUnpackPhonebookStrings(text, false), whole.isEmpty() ? expanded : whole) << text.toStdString();
    }
    EXPECT_EQ(recorder.messages(), QStringList());
    EXPECT_EQ(VXPackPhonebookStrings({u"Jo <555>"_s, u"a@b.c"_s}), u"Jo <555>, a@b.c"_s);
    EXPECT_FALSE(VXPackPhonebookStrings({}).isNull());
}

TEST_F(VXPhonebookListTest, mismatchedBracesAreLogged)
{
    struct
    {
        QString text;
        QStringList items, lines;
    } const table[] = {
        {u"5550100, F { a@b.c"_s, {u"5550100"_s}, {u"unterminated group: "_s}},
        {u"a { b { 5550100 }"_s, {u"b { 5550100"_s}, {u"already in group: "_s}},
        {u"a } b, c }"_s, {u"a } b"_s, u"c }"_s}, {u"not in group: "_s, u"not in group: "_s}},
        {u"} a { 5550100 }"_s, {u"5550100"_s}, {u"not in group: "_s}},
    };
    for (auto [text, items, lines] : table) {
        VXLogRecorder recorder;
        EXPECT_EQ(VXUnpackPhonebookStrings(text, true), items) << text.toStdString();
        for (QString &line : lines)
            line = u"<WARNING> "_s + line + text;
        EXPECT_EQ(recorder.messages(), lines);
    }

    VXLogRecorder recorder;
    QString name = u"before"_s;
    EXPECT_FALSE(VXPhonebookGroupSplit(u"Friends {"_s, &name));
    EXPECT_FALSE(VXPhonebookGroupSplit(u"} Friends {"_s));
    EXPECT_TRUE(name.isNull());
    EXPECT_TRUE(VXPhonebookGroupSplit(u"a {} b "_s, &name));
    EXPECT_EQ(name, u"a"_s);
    EXPECT_EQ(recorder.messages(),
              QStringList({u"<WARNING> unterminated group: Friends {"_s, u"<WARNING> unterminated group: } Friends {"_s,
                           u"<NOTICE> Ignoring excess after group termination: a {} b "_s}));
}

TEST_F(VXPhonebookListTest, matching)
{
    struct
    {
        QString a, b;
        bool match;
    } const table[] = {
        {u"Jane <+44 20 7946 0000>, a@b.c"_s, u"a@b.c; F { 0044 20 7946 0000/m }"_s, false},
        {u"Jane <+44 20 7946 0000>, a@b.c"_s, u"a@b.c, F { 0044 20 7946 0000 }"_s, true},
        {u"555, 555, 666"_s, u"666, 555, 555"_s, true},
        {u"555, 555, 666"_s, u"666, 666, 555"_s, false},
        {u"555, 555"_s, u"555"_s, false},
        {u"Jane <a@b.c>"_s, u"a@b.c"_s, false}, // without digits the whole text counts
        {u"Jane <a1@b.c>"_s, u"x2@y.z, a1@b.c"_s, false},
        {u"Jane <a1@b.c>"_s, u"x@1y.z"_s, true}, // with digits only they do
        {u"Doe,Jane <555>"_s, u"555"_s, true},
        {u"Doe"_s, u"doe"_s, false},
        {u""_s, QString(), true},
    };
    for (const auto &[a, b, match] : table) {
        EXPECT_EQ(VXPhonebookStringsMatch(a, b), match) << a.toStdString();
        EXPECT_EQ(VXPhonebookStringsMatch(b, a), match) << a.toStdString();
    }
}

// Any quadratic step takes minutes here, and so the test's time limit.
TEST_F(VXPhonebookListTest, megabytesTakeLinearTime)
{
    VXLogRecorder recorder;
    EXPECT_EQ(VXUnpackPhonebookStrings(QString(megabyte, u'}'), true).size(), 1);
    EXPECT_EQ(VXUnpackPhonebookStrings(QString(megabyte, u'{'), true).size(), 0);
    const QStringList lines = recorder.messages();
    EXPECT_GE(lines.size(), 2);
    EXPECT_LT(lines.size(), 100) << "the same long line again and again";

    EXPECT_EQ(VXUnpackPhonebookStrings(u"a, b <1234567>,"_s.repeated(megabyte / 16), true).size(), megabyte / 16);
    EXPECT_EQ(VXUnpackPhonebookStrings(u"a,b,c,d <1234567>,"_s.repeated(megabyte / 16), false).size(),
              megabyte / 16 * 3);
    EXPECT_EQ(VXUnpackPhonebookStrings(QString(megabyte, u'a') + QString(megabyte, u','), true).size(), 1);
    EXPECT_EQ(VXUnpackPhonebookStrings(u"g{1234567}"_s.repeated(megabyte / 8), true).size(), megabyte / 8);
    const QString odd = QString(megabyte, u'\\') + QString(megabyte, QChar(0xD835)) + QString(megabyte, u' ') + u'<';
    EXPECT_EQ(VXUnpackPhonebookStrings(odd, true), QStringList(odd));
    const QString many = u"555,a@b.c,"_s.repeated(megabyte / 8);
    EXPECT_TRUE(VXPhonebookStringsMatch(many, many));
}
