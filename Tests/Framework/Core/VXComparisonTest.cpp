#include "VXComparison.h"
#include "VXAttributedString.h"
#include "VXTesting.h"

#include <QtCore/QDateTime>

using namespace Qt::StringLiterals;

TEST(VXComparison, OrdersValuesOfEveryKind)
{
    const auto attributed = [](const QString &text, const QVariantMap &attributes) {
        return QVariant::fromValue(VXAttributedString{text, {{0, text.size(), attributes}}});
    };
    const auto set = [](const QVariantList &values) {
        VXValueSet result;
        for (const QVariant &value : values)
            result.insert({value});
        return QVariant::fromValue(result);
    };
    const struct
    {
        const char *what;
        QVariant a, b;
        int expected;
    } cases[] = {
        {"numbers of different width", 9, qlonglong(10), -1},
        {"number and fraction", 2.5, 2, 1},
        {"large integers exactly", qlonglong(9007199254740993), qlonglong(9007199254740992), 1},
        {"texts", u"a"_s, u"b"_s, -1},
        {"texts by code unit", u"b"_s, u"B"_s, 1},
        {"dates", QDateTime::fromSecsSinceEpoch(2), QDateTime::fromSecsSinceEpoch(1), 1},
        {"attributes do not count", attributed(u"a"_s, {{u"bold"_s, true}}), attributed(u"a"_s, {}), 0},
        {"attributed texts", attributed(u"a"_s, {}), attributed(u"b"_s, {}), -1},
        {"data by what it archives", VXArchivedData(10), VXArchivedData(9), 1},
        {"data that archives nothing comes first", QByteArray("garbage"), VXArchivedData(9), -1},
        {"sets by count only", set({1, 2}), set({3, 4}), 0},
        {"sets: equal numbers are one element", set({1, 1.0, true}), set({3, 4}), -1},
        {"lists by length first", QVariantList{9}, QVariantList{1, 1}, -1},
        {"lists by the first difference", QVariantList{1, 5, 0}, QVariantList{1, 4, 9}, 1},
        {"nested lists", QVariantList{QVariantList{u"b"_s}}, QVariantList{QVariantList{u"a"_s}}, 1},
        {"nothing comes first", QVariant(), 0, -1},
        {"nothing and nothing", QVariant(), QVariant(), 0},
        {"kinds that do not go together", u"1"_s, 1, 0},
    };
    for (const auto &[what, a, b, expected] : cases) {
        EXPECT_EQ(vx_compare(a, b), expected) << what;
        EXPECT_EQ(vx_compare(b, a), -expected) << what << ", turned round";
    }
}

TEST(VXComparison, SortsByAKeyWithMissingValuesFirst)
{
    const auto item = [](const QString &name, const QVariant &index) {
        QVariantMap map{{u"name"_s, name}};
        if (index.isValid())
            map.insert(u"index"_s, index);
        return map;
    };
    const QVariantList sorted = vx_sortedArrayUsingKey(
        QVariantList{item(u"c"_s, 2), item(u"x"_s, {}), item(u"b"_s, 1), item(u"y"_s, {}), item(u"d"_s, 2)},
        u"index"_s);
    QString order;
    for (const QVariant &element : sorted)
        order += element.toMap().value(u"name"_s).toString();
    EXPECT_EQ(order, u"xybcd"_s);
}

TEST(VXComparison, SplitsTwoVersionsOfAList)
{
    const struct
    {
        QString before, after, added, removed, unchanged;
    } cases[] = {
        {u"abc"_s, u"bcd"_s, u"d"_s, u"a"_s, u"bc"_s},
        {u"aa"_s, u"a"_s, {}, {}, u"a"_s},
        {u"a"_s, u"aa"_s, {}, {}, u"a"_s},
        {{}, {}, {}, {}, {}},
        {{}, u"dd"_s, u"dd"_s, {}, {}},
        {u"aab"_s, {}, {}, u"aab"_s, {}},
        {u"cba"_s, u"abxc"_s, u"x"_s, {}, u"cba"_s},
    };
    const auto list = [](const QString &letters) {
        QVariantList result;
        for (const QChar letter : letters)
            result.append(QString(letter));
        return result;
    };
    for (const auto &[before, after, added, removed, unchanged] : cases) {
        QVariantMap expected;
        if (!added.isEmpty())
            expected.insert(u"$$__COMPARISON_ADDED__$$"_s, list(added));
        if (!removed.isEmpty())
            expected.insert(u"$$__COMPARISON_REMOVED__$$"_s, list(removed));
        if (!unchanged.isEmpty())
            expected.insert(u"$$__COMPARISON_UNCHANGED__$$"_s, list(unchanged));
        EXPECT_EQ(vx_compareWithArray(list(before), list(after)), expected)
            << before.toStdString() << " -> " << after.toStdString();
    }
}

TEST(VXComparison, EqualValuesAreOneItemWhateverTheirType)
{
    const QVariantMap nested{{u"a"_s, QVariantList{1, 2}}};
    const QVariantMap same{{u"a"_s, QVariantList{1.0, qlonglong(2)}}};
    const QVariantMap result = vx_compareWithArray({1, nested, QByteArray("x")}, {1.0, same, QByteArray("x")});
    EXPECT_EQ(result.keys(), QStringList{VXComparisonItemsUnchanged});
    EXPECT_EQ(result.value(VXComparisonItemsUnchanged).toList().size(), 3);
}
