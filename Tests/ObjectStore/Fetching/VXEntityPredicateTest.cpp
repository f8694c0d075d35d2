#include "VXEntityPredicate.h"
#include "VXRowSaver.h"
#include "VXTesting.h"

using namespace Qt::StringLiterals;

class VXEntityPredicateTest : public testing::Test
{
protected:
    VXEntityPredicateTest() { qputenv("TZ", "Europe/Berlin"); }

    // As it is written then, or why not.
    QString made(const QString &text) const
    {
        const std::optional<VXPredicate> predicate = VXPredicate::predicateWithFormat(text);
        EXPECT_TRUE(predicate) << text.toStdString();
        QString problem;
        const auto fitting = VXPredicateForEntity(*predicate, *model->entityForName(u"Call"_s), &problem);
        return fitting ? fitting->predicateFormat() : u"refused: "_s + problem;
    }

    const VXManagedObjectModel::Ptr model = VXModelOf(R"(
        entity Call {
            attribute date: date;
            attribute seconds: integer32;
            attribute day: integer16;
            attribute cost: double;
            attribute answered: boolean;
            attribute number: string;
            attribute sound: binary;
            attribute extras: property-list;
            relationship caller: Person optional inverse calls;
        }
        entity Person {
            attribute name: string;
            relationship calls: Call[] inverse caller;
        }
    )");
};

TEST_F(VXEntityPredicateTest, TextsAreReadAsWhatTheyAreComparedWith)
{
    const std::pair<QString, QString> rows[] = {
        {u"date > '2026-01-01'"_s, u"date > CAST(\"2025-12-31T23:00:00.000Z\", \"date\")"_s},
        {u"'2026-01-01T00:00:00Z' <= date"_s, u"CAST(\"2026-01-01T00:00:00.000Z\", \"date\") <= date"_s},
        {u"NOT (seconds = '60' OR seconds IN {'1', 2})"_s, u"NOT (seconds == 60 OR seconds IN {1, 2})"_s},
        {u"cost BETWEEN {'0.5', '1'}"_s, u"cost BETWEEN {0.5, 1}"_s},
        {u"answered == 'yes' AND answered != 'FALSE'"_s, u"answered == TRUE AND answered != FALSE"_s},
        {u"ANY caller.calls.seconds > '3'"_s, u"ANY caller.calls.seconds > 3"_s},
        {u"caller.calls.@count == '2'"_s, u"caller.calls.@count == 2"_s},
        {u"number == '555' AND number BEGINSWITH[c] '5'"_s, u"number == \"555\" AND number BEGINSWITH[c] \"5\""_s},
        {u"date == NULL OR caller == NULL"_s, u"date == NULL OR caller == NULL"_s},
        {u"extras.depth == 'x' AND extras == 3"_s, u"extras.depth == \"x\" AND extras == 3"_s},
        {u"seconds > cost"_s, u"seconds > cost"_s},
        {u"day < 70000 AND NONE caller.calls.day == 70000"_s, u"day < 70000 AND NONE caller.calls.day == 70000"_s},
        {u"day IN {1, 70000} OR day BETWEEN {-70000, day}"_s, u"day IN {1, 70000} OR day BETWEEN {-70000, day}"_s},
        {u"seconds == TRUE AND $X IN {}"_s, u"seconds == TRUE AND $X IN {}"_s},
        {u"caller.calls == NULL AND caller.calls.number CONTAINS '5'"_s,
         u"caller.calls == NULL AND caller.calls.number CONTAINS \"5\""_s},
        {u"number MATCHES $X AND '5' IN caller.calls.number"_s,
         u"number MATCHES $X AND \"5\" IN caller.calls.number"_s},
        {u"{1, '2'} == caller.calls.day AND caller.calls.day == $X AND caller.calls.day != {1, $Y}"_s,
         u"{1, 2} == caller.calls.day AND caller.calls.day == $X AND caller.calls.day != {1, $Y}"_s},
        {u"NOT day == 70000 AND NONE caller.calls.day BETWEEN {5, 1}"_s,
         u"NOT day == 70000 AND NONE caller.calls.day BETWEEN {5, 1}"_s},
        {u"TRUEPREDICATE"_s, u"TRUEPREDICATE"_s},
    };
    for (const auto &[text, expected] : rows)
        EXPECT_EQ(made(text), expected);
}

TEST_F(VXEntityPredicateTest, WhatCanNeverHoldIsRefusedWithTheReason)
{
    const std::pair<QString, QString> rows[] = {
        {u"date > 'yesterday'"_s, u"\"date\" is of the type date: \"yesterday\" is none"_s},
        {u"date > 2026"_s, u"\"date\" is of the type date: 2026 is none"_s},
        {u"seconds IN {1, 'two'}"_s, u"\"seconds\" is of the type integer32: \"two\" is none"_s},
        {u"answered == 'maybe'"_s, u"\"answered\" is of the type boolean: \"maybe\" is none"_s},
        {u"number == 555"_s, u"\"number\" is of the type string: 555 is none"_s},
        {u"sound == 'x'"_s, u"\"sound\" is of the type binary: \"x\" is none"_s},
        {u"date CONTAINS '2026'"_s, u"\"date\" is of the type date, and no text"_s},
        {u"caller == 'Jane'"_s, u"\"caller\" leads to objects: \"Jane\" is none"_s},
        {u"caller.calls.@count > 'many'"_s, u"\"caller.calls.@count\" is of the type integer64: \"many\" is none"_s},
        {u"TRUEPREDICATE AND numbr == 'x'"_s, u"entity Call has no \"numbr\""_s},
        {u"number.length == 3"_s, u"\"number\" of Call is an attribute: \"length\" leads nowhere"_s},
        {u"caller == 3"_s, u"\"caller\" leads to objects: 3 is none"_s},
        {u"ANY caller.calls.seconds CONTAINS '3'"_s,
         u"\"caller.calls.seconds\" is of the type integer32, and no text"_s},
        {u"caller.calls.seconds == 60"_s,
         u"\"caller.calls.seconds\" leads to many values: write it first, after ANY, ALL or NONE"_s},
        {u"3 == caller.calls"_s, u"\"caller.calls\" leads to many values: write it first, after ANY, ALL or NONE"_s},
        {u"number MATCHES '('"_s, u"\"(\" is no pattern: missing closing parenthesis"_s},
        {u"seconds BETWEEN {1}"_s, u"BETWEEN takes two values, as {1, 2}: {1} is something else"_s},
        {u"seconds BETWEEN {5, 1}"_s, u"BETWEEN takes the lesser value first: {5, 1} never holds"_s},
    };
    for (const auto &[text, reason] : rows)
        EXPECT_EQ(made(text), u"refused: "_s + reason);
    for (const QString &never :
         {u"day == 70000"_s, u"day == 1960.5"_s, u"ANY caller.calls.day > 32767"_s, u"-70000 > day"_s, u"day >= NULL"_s,
          u"caller.calls.@count < 0"_s, u"number CONTAINS NULL"_s, u"ANY caller.calls.date > NULL"_s,
          u"day IN {70000}"_s, u"day BETWEEN {40000, 50000}"_s})
        EXPECT_TRUE(made(never).startsWith("refused: "_L1 + never + " never holds"_L1)) << made(never).toStdString();
}
