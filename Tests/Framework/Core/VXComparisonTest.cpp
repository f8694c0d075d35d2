#include "VXComparison.h"
#include "VXAttributedString.h"
#include "VXTesting.h"

#include <QtCore/QDateTime>
#include <QtCore/QUrl>

#include <memory>
#include <vector>

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
        {"nested lists", QVariantList{QVariant(QVariantList{u"b"_s})}, QVariantList{QVariant(QVariantList{u"a"_s})}, 1},
        {"nothing comes first", QVariant(), 0, -1},
        {"nothing and nothing", QVariant(), QVariant(), 0},
        {"lists of texts", QStringList{u"b"_s}, QStringList{u"a"_s}, 1},
        {"a null text is none", QString(), QVariant(), 0},
        {"what is no number", qQNaN(), -qInf(), -1},
        {"a whole number and one that is nearly so", qlonglong(9007199254740993), 9007199254740992.0, 1},
    };
    for (const auto &[what, a, b, expected] : cases) {
        EXPECT_EQ(vx_compare(a, b), expected) << what;
        EXPECT_EQ(vx_compare(b, a), -expected) << what << ", turned round";
    }
}

// Two values of each kind, in the order of the kinds; those of the last three have no order among themselves.
TEST(VXComparison, OrdersMixedKinds)
{
    QObject one;
    QObject two;
    const VXValueSet small{{1}};
    const VXValueSet large{{1}, {2}};
    const QList<QVariantList> kinds = {
        {QVariant(), QString(), QByteArray(), QVariant::fromValue<QObject *>(nullptr)},
        {qQNaN(), false, 1, 1.5, 2ULL},
        {u""_s, u"1"_s, u"a"_s},
        {QVariant::fromValue(VXAttributedString{u"A"_s, {}}), QVariant::fromValue(VXAttributedString{u"a"_s, {}})},
        {QDateTime::fromSecsSinceEpoch(1), QDateTime::fromSecsSinceEpoch(2)},
        {QByteArray("garbage"), VXArchivedData(1), VXArchivedData(u"a"_s)},
        {QVariant::fromValue(small), QVariant::fromValue(large)},
        {QVariantList{}, QStringList{u"a"_s}, QVariantList{u"b"_s}},
        {QVariantMap{{u"a"_s, 1}}, QVariantHash{{u"b"_s, 2}}},
        {QVariant::fromValue(&one), QUrl(u"a:b"_s), QVariant::fromValue(&two)},
    };
    const auto hasOrder = [&kinds](qsizetype kind) { return kind != 0 && kind < kinds.size() - 2; };
    for (qsizetype left = 0; left < kinds.size(); ++left) {
        for (qsizetype right = 0; right < kinds.size(); ++right) {
            for (qsizetype a = 0; a < kinds[left].size(); ++a) {
                for (qsizetype b = 0; b < kinds[right].size(); ++b) {
                    const bool isWithin = left == right;
                    const qsizetype difference = !isWithin ? left - right : (hasOrder(left) ? a - b : 0);
                    EXPECT_EQ(vx_compare(kinds[left][a], kinds[right][b]), (difference > 0) - (difference < 0))
                        << left << '/' << a << " and " << right << '/' << b;
                }
            }
        }
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

// Values that are equal stand in one row.
TEST(VXComparison, EqualityAndHashGoTogether)
{
    QObject one;
    QObject two;
    const QDateTime date = QDateTime::fromSecsSinceEpoch(1'000'000, Qt::UTC);
    const QList<QVariantList> rows = {
        {1, 1.0, true, 1ULL},
        {u"1"_s},
        {QByteArray("1")},
        {0.0, -0.0, false},
        {QVariant(), QString(), QByteArray()},
        {u""_s},
        {QByteArray("")},
        {qQNaN(), qQNaN()},
        {qlonglong(9007199254740993)},
        {qlonglong(9007199254740992), 9007199254740992.0},
        {date, date.toOffsetFromUtc(7200)},
        {date.addMSecs(1)},
        {QVariantList{1, u"a"_s}, QVariantList{1.0, u"a"_s}},
        {QVariantList{u"1"_s, u"a"_s}, QStringList{u"1"_s, u"a"_s}},
        {QVariantMap{{u"a"_s, QVariantList{1, 2}}}, QVariantHash{{u"a"_s, QVariantList{1.0, 2LL}}}},
        {QVariantMap{{u"a"_s, QVariantList{1, u"2"_s}}}},
        {QVariant::fromValue(VXValueSet{{1}, {2}}), QVariant::fromValue(VXValueSet{{2.0}, {1}})},
        {QVariant::fromValue(VXAttributedString{u"1"_s, {}})},
        {QUrl(u"a:b"_s), QUrl(u"a:b"_s)},
        {QVariant::fromValue(&one), QVariant::fromValue(&one)},
        {QVariant::fromValue(&two)},
    };
    for (const QVariantList &row : rows) {
        for (const QVariantList &other : rows) {
            for (const QVariant &a : row) {
                for (const QVariant &b : other) {
                    EXPECT_EQ(vx_isEqual(a, b), &row == &other)
                        << testing::PrintToString(a) << " and " << testing::PrintToString(b);
                    EXPECT_TRUE(&row != &other || qHash(VXHashableValue{a}, 7) == qHash(VXHashableValue{b}, 7))
                        << testing::PrintToString(a);
                }
            }
        }
    }
}

// With equal hashes for all dates or all objects this takes hours.
TEST(VXComparison, SplitsLongListsOfEveryKind)
{
    constexpr int count = 20'000;
    std::vector<std::unique_ptr<QObject>> objects;
    QVariantList before;
    QVariantList after;
    for (int number = 0; number < count; ++number) {
        objects.push_back(std::make_unique<QObject>());
        QVariantList &list = number % 2 == 0 ? before : after;
        for (QVariantList *each : {&list, number % 8 == 0 ? &after : &list})
            *each += {QVariant::fromValue(objects.back().get()), QDateTime::fromSecsSinceEpoch(number),
                      QVariantList{number, u"x"_s}};
    }
    const QVariantMap result = vx_compareWithArray(before, after);
    EXPECT_EQ(result.value(VXComparisonItemsUnchanged).toList().size(), count / 8 * 3);
    EXPECT_EQ(result.value(VXComparisonItemsRemoved).toList().size(), (count / 2 - count / 8) * 2 * 3);
    EXPECT_EQ(result.value(VXComparisonItemsAdded).toList().size(), count / 2 * 2 * 3);
}
