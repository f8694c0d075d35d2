#include "VXPredicate.h"
#include "VXException.h"
#include "VXTesting.h"

#include <QtCore/QDateTime>

#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

const QVariantMap jane{{u"name"_s, u"Zoë"_s}, {u"age"_s, 41}};

const QVariantMap call{
    {u"number"_s, u"+49 170 5550100"_s},
    {u"index"_s, 7},
    {u"cost"_s, 0.25},
    {u"answered"_s, true},
    {u"date"_s, QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5), Qt::UTC)},
    {u"photo"_s, QByteArray("\1\2")},
    {u"text"_s, u"100% \"sure\"\\ *?"_s},
    {u"caller"_s, jane},
    {u"parties"_s, QVariantList{jane, QVariantMap{{u"name"_s, u"Jo"_s}, {u"age"_s, 12}}, QVariantMap{}}},
    {u"tags"_s, QStringList{u"work"_s, u"urgent"_s}},
    {u"empty"_s, QVariantList{}},
    {u"in"_s, 1},
};

std::optional<VXPredicate> read(const QString &text, const QVariantList &arguments = {}, VXError *error = nullptr)
{
    return VXPredicate::predicateWithFormat(text, arguments, error);
}

} // namespace

TEST(VXPredicateTest, EvaluatesOnObjects)
{
    const std::pair<QString, bool> cases[] = {
        {u"index == 7 AND cost < 0.5"_s, true},
        {u"index = 7.0 && NOT cost >= 0.5"_s, true},
        {u"index != 7 OR answered == YES"_s, true},
        {u"answered == 1"_s, true},
        {u"FALSEPREDICATE or not (index > 6 and index =< 7)"_s, false},
        {u"TRUEPREDICATE"_s, true},
        // texts
        {u"caller.name == 'zoe'"_s, false},
        {u"caller.name ==[cd] 'zoe'"_s, true},
        {u"caller.name ==[c] 'zoe'"_s, false},
        {u"caller.name ==[d] 'Zoe'"_s, true},
        {u"caller.name BEGINSWITH[c] 'z'"_s, true},
        {u"caller.name ENDSWITH[d] \"e\""_s, true},
        {u"number CONTAINS '170'"_s, true},
        {u"'170' IN number"_s, true},
        {u"number MATCHES '\\\\+49.*'"_s, true},
        {u"number MATCHES '49'"_s, false}, // the whole text
        {u"number MATCHES '('"_s, false},  // no pattern
        {u"number LIKE '+49*5?50*'"_s, true},
        {u"number LIKE '49'"_s, false},
        {u"text LIKE '*\\\\*\\\\?'"_s, true}, // escaped wildcards are plain
        {u"text CONTAINS '\"sure\"\\\\'"_s, true},
        {u"index CONTAINS '7'"_s, false}, // no text
        // none
        {u"missing == NULL"_s, true},
        {u"missing != 3"_s, true},
        {u"missing < 3"_s, false},
        {u"missing >= nil"_s, false},
        {u"index == nil"_s, false},
        // collections
        {u"index IN {1, 7, 9}"_s, true},
        {u"index IN {}"_s, false},
        {u"index BETWEEN {7, 8}"_s, true},
        {u"index BETWEEN {8, 7}"_s, false},
        {u"tags CONTAINS 'urgent'"_s, true},
        {u"'Urgent' IN[c] tags"_s, true},
        {u"ANY parties.age > 40"_s, true},
        {u"ALL parties.age > 11"_s, true},
        {u"NONE parties.name == 'Jo'"_s, false},
        {u"SOME parties.name LIKE[c] 'j*'"_s, true},
        {u"parties.@count == 3"_s, true},
        {u"ALL empty.age == 1"_s, true},
        {u"ANY empty.age == 1"_s, false},
        {u"ANY tags IN {'play', 'work'}"_s, true},
        {u"'x' IN SELF.tags"_s, false},
        {u"#in == 1"_s, true},
        {u"$UNSET == 1"_s, false},
        {u"date < CAST(\"2026-01-02T03:04:05.001Z\", \"date\")"_s, true},
        {u"photo == CAST(\"AQI=\", \"data\")"_s, true},
        {u"date == 'x'"_s, false},
    };
    for (const auto &[text, result] : cases) {
        VXError error;
        const std::optional<VXPredicate> predicate = read(text, {}, &error);
        ASSERT_TRUE(predicate) << text.toStdString() << error.description().toStdString();
        EXPECT_EQ(predicate->evaluateWithObject(call), result) << text.toStdString();
        const std::optional<VXPredicate> again = read(predicate->predicateFormat(), {}, &error);
        ASSERT_TRUE(again) << predicate->predicateFormat().toStdString();
        EXPECT_EQ(*again, *predicate) << predicate->predicateFormat().toStdString();
    }
}

TEST(VXPredicateTest, ArgumentsAreValuesAndNeverText)
{
    const QString hostile = u"' OR 1 == 1 %@ \" } \\"_s + QChar(0xD800) + QChar(0);
    const QVariantMap object{{u"a"_s, hostile}, {u"b"_s, QVariantMap{{u"c"_s, 1}}}};
    EXPECT_TRUE(read(u"%K == %@"_s, {u"a"_s, hostile})->evaluateWithObject(object));
    EXPECT_TRUE(read(u"%K IN %@"_s, {u"b.c"_s, QVariantList{1, 2}})->evaluateWithObject(object));
    EXPECT_FALSE(read(u"a == %@"_s, {u"x"_s})->evaluateWithObject(object));
    EXPECT_EQ(read(read(u"a == %@"_s, {hostile})->predicateFormat()), read(u"a == %@"_s, {hostile}));
    const std::optional<VXPredicate> list = read(u"a IN %@"_s, {QStringList{hostile, u"x"_s}});
    EXPECT_EQ(read(list->predicateFormat()), list);
    EXPECT_EQ(read(read(u"#0.and == -2e999"_s)->predicateFormat()), read(u"#0.and == -2e999"_s));
}

TEST(VXPredicateTest, VariablesAreReplacedByValues)
{
    const std::optional<VXPredicate> predicate = read(u"age > $MIN AND (name == $NAME OR age IN {$MIN, 41})"_s);
    EXPECT_EQ(predicate->variables(), (QStringList{u"MIN"_s, u"NAME"_s}));
    const VXPredicate half = predicate->substituted({{u"MIN"_s, 40}});
    EXPECT_EQ(half.variables(), QStringList{u"NAME"_s});
    EXPECT_TRUE(half.substituted({{u"NAME"_s, u"x"_s}}).evaluateWithObject(jane));
    EXPECT_FALSE(predicate->substituted({{u"MIN"_s, 41}, {u"NAME"_s, {}}}).evaluateWithObject(jane));
}

TEST(VXPredicateTest, MistakesAreToldWithTheirPlace)
{
    const std::pair<QString, QString> cases[] = {
        {u""_s, u"At character 1: a value or key is missing."_s},
        {u"a = "_s, u"At character 5: a value or key is missing."_s},
        {u"a b"_s, u"At character 3: a comparison such as == or CONTAINS is missing."_s},
        {u"a = 1 b = 2"_s, u"At character 7: the predicate should end here."_s},
        {u"(a = 1"_s, u"At character 7: \")\" is missing."_s},
        {u"a = 'x"_s, u"At character 5: the text does not end."_s},
        {u"a =[x] 1"_s, u"At character 5: [c], [d] or [cd] may stand here."_s},
        {u"a = {1, "_s, u"At character 9: a value or key is missing."_s},
        {u"a = %@"_s, u"At character 7: an argument is missing."_s},
        {u"%K = 1"_s, u"At character 4: an argument is missing."_s},
        {u"a.= 1"_s, u"At character 3: a key is missing behind the dot."_s},
        {u"a.# = 1"_s, u"At character 3: a key is missing behind the dot."_s},
        {u"and = 1"_s, u"At character 1: a value or key is missing."_s},
        {u"a = CAST(\"x\", \"date\")"_s, u"At character 15: a date or data is expected in CAST."_s},
        {u"a = \u00a7"_s, u"At character 5: \"\u00a7\" has no meaning here."_s},
        {u"!"_s.repeated(300) + u"a=1"_s, u"At character 201: it is nested too deeply."_s},
        {u"a IN "_s + u"{"_s.repeated(300), u"At character 206: it is nested too deeply."_s},
    };
    for (const auto &[text, reason] : cases) {
        VXError error;
        EXPECT_FALSE(read(text, {}, &error)) << text.toStdString();
        EXPECT_EQ(error.localizedRecoverySuggestion(), reason) << text.toStdString();
    }
    VXError error;
    EXPECT_FALSE(read(u"a IN %@"_s, {u"x"_s, u"y"_s}, &error)) << "a list's elements are not the list";
    EXPECT_EQ(error.localizedRecoverySuggestion(), u"At character 8: there are more arguments than places for them."_s);
}

TEST(VXPredicateTest, LikeWithManyStarsComesToAnEnd)
{
    const QVariantMap object{{u"a"_s, u"a"_s.repeated(20000)}};
    EXPECT_FALSE(read(u"a LIKE %@"_s, {u"*a"_s.repeated(20) + u"b"_s})->evaluateWithObject(object));
}

TEST(VXPredicateTest, PatternsDescribeLongTextsToo)
{
    const QVariantMap object{{u"a"_s, u"ab"_s.repeated(500000)}};
    EXPECT_TRUE(read(u"a MATCHES '(ab|cd)*'"_s)->evaluateWithObject(object));
    EXPECT_FALSE(read(u"NOT a MATCHES '(ab|cd)*'"_s)->evaluateWithObject(object));
    const QVariantMap halfPair{{u"a"_s, QString(u"ab"_s + QChar(0xD800))}};
    EXPECT_TRUE(read(u"a MATCHES 'ab.'"_s)->evaluateWithObject(halfPair));
    EXPECT_FALSE(read(u"NOT a MATCHES 'ab.'"_s)->evaluateWithObject(halfPair));
    EXPECT_FALSE(read(u"a MATCHES '(ab|cd)*c'"_s)->evaluateWithObject(object));
}

TEST(VXPredicateTest, PatternThatTriesForEverIsReported)
{
    const VXDiagnosticRecorder recorder;
    const QVariantMap object{{u"a"_s, u"a"_s.repeated(60) + u"!c"_s}};
    EXPECT_FALSE(read(u"a MATCHES '(a|aa|a+)*b?c'"_s)->evaluateWithObject(object));
    ASSERT_EQ(recorder.texts().size(), 1);
    EXPECT_TRUE(recorder.texts().constFirst().contains(u"takes too many steps on a text of 62 characters"_s));
}

TEST(VXPredicateTest, NumbersAreReadInEveryForm)
{
    const std::pair<const char *, double> numbers[] = {{"12", 12},     {"-3", -3},      {"1.", 1},
                                                       {".5", 0.5},    {"-.25", -0.25}, {"2e3", 2000},
                                                       {"1E-2", 0.01}, {"1.5e+1", 15},  {"-0.0", 0}};
    for (const auto &[text, number] : numbers) {
        VXError error;
        const auto predicate = read(u"%1 == %@"_s.arg(QString::fromUtf8(text)), {number}, &error);
        ASSERT_TRUE(predicate) << text << error.description().toStdString();
        EXPECT_TRUE(predicate->evaluateWithObject({})) << text;
    }
    for (const QString &text : {u"a == -."_s, u"a == 1e"_s, u"a == 1e+"_s})
        EXPECT_FALSE(read(text)) << text.toStdString();
}

// Long lists are looked up, short ones walked; alternatives of one key are a list.
TEST(VXPredicateTest, LongListsHoldWhatTheirElementsEqual)
{
    QVariantList values{QVariant(), 1, 1.0, 1.5, true, false, 0, -1, 2e300, 9007199254740993LL, 9007199254740992.0};
    values.append({std::numeric_limits<quint64>::max(), std::nan(""), QVariantList{1}});
    values.append({u""_s, u"Zo\u00eb"_s, u"zoe"_s, u"1"_s});
    values.append({QByteArray("zoe"), QDateTime::fromMSecsSinceEpoch(5, Qt::UTC)});
    for (const QString &options : {u""_s, u"[c]"_s, u"[cd]"_s}) {
        for (const QVariant &element : values) {
            QVariantList list{element};
            QList<VXPredicate> alternatives{*read(u"a ==%1 %@"_s.arg(options), {element})};
            for (int filler = 100; filler < 130; ++filler) {
                list.append(filler);
                alternatives.append(*read(u"a ==%1 %@"_s.arg(options), {filler}));
            }
            for (const QVariant &value : values) {
                const QVariantMap object{{u"a"_s, value}};
                const bool isEqual = alternatives.constFirst().evaluateWithObject(object);
                EXPECT_EQ(read(u"a IN%1 %@"_s.arg(options), {QVariant(list)})->evaluateWithObject(object), isEqual);
                EXPECT_EQ(VXPredicate::anyOf(alternatives).evaluateWithObject(object), isEqual);
            }
        }
    }
}

TEST(VXPredicateTest, WideOnesAreReadAndDeepOnesAreRefused)
{
    QStringList parts;
    for (int number = 0; number < 50000; ++number)
        parts.append(u"a == %1"_s.arg(number));
    const auto wide = read(parts.join(" OR "_L1));
    ASSERT_TRUE(wide);
    EXPECT_TRUE(wide->evaluateWithObject(QVariantMap{{u"a"_s, 49999}}));
    VXPredicate deep;
    const auto nest = [&] {
        for (int depth = 0; depth < 300000; ++depth)
            deep = VXPredicate::negationOf(deep);
    };
    EXPECT_THROW(nest(), VXAssertionException);
    EXPECT_EQ(deep.predicateFormat().count(u"NOT"_s), 999);
}
