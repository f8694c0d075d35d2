#include "VXRowSaver.h"
#include "VXStoreRowBatch.h"
#include "VXTesting.h"
#include "VXValueIdentity.h"

#include <QtCore/QDateTime>
#include <QtCore/QRandomGenerator>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

QVariantList values()
{
    static const VXManagedObjectModel::Ptr model = VXModelOf("entity Person { attribute name: string; }");
    const VXManagedObjectID target(*model->entityForName(u"Person"_s), VXStoreIdentity::withIdentifier(u"a"_s),
                                   1LL << 40);
    const QDateTime date(QDate(2026, 1, 2), QTime(3, 4, 5, 6), Qt::UTC);
    return {{},
            0,
            -1,
            1LL << 40,
            std::nan(""),
            -0.5,
            false,
            true,
            date,
            date.toOffsetFromUtc(3600), // none that stores give, but kept as it is
            QDateTime(),
            u""_s,
            QString(),
            u"Zoë"_s,
            QString(QChar(0xD83D)),
            QString(50, u'x'),
            QString(100'000, u'y'),
            QByteArray(""),
            QByteArray(),
            QByteArray("\0\1", 2),
            QByteArray(100'000, 'z'),
            QVariant::fromValue(target),
            QVariantList{1, 1.0, u"text"_s, QVariantMap{{u"key"_s, true}}},
            1.5F};
}

void expectValues(const VXStoreRow &row, const QVariantList &wanted)
{
    ASSERT_EQ(row.propertyCount(), wanted.size());
    for (int index = 0; index < row.propertyCount(); ++index) {
        SCOPED_TRACE(index);
        const QVariant &value = wanted[index];
        EXPECT_TRUE(VXIsSameValue(row.value(index), value)) << testing::PrintToString(value).substr(0, 200);
        EXPECT_EQ(row.hasValue(index), value.isValid());
        EXPECT_EQ(row.value(index).isNull(), value.isNull()); // an empty text is none that is missing
        EXPECT_TRUE(row.isSame(index, value));
        EXPECT_FALSE(row.isSame(index, u"another"_s));
        const bool isText = value.typeId() == QMetaType::QString;
        EXPECT_EQ(row.text(index).toString(), isText ? value.toString() : QString());
        const bool isData = value.typeId() == QMetaType::QByteArray;
        EXPECT_EQ(row.data(index).toByteArray(), isData ? value.toByteArray() : QByteArray());
        const bool isReal = value.typeId() == QMetaType::Double && !std::isnan(value.toDouble());
        EXPECT_EQ(isReal ? row.real(index) : std::nullopt, isReal ? std::optional(value.toDouble()) : std::nullopt);
    }
}

} // namespace

TEST(VXStoreRowTest, GivesBackWhatItWasGiven)
{
    const QVariantList wanted = values();
    VXStoreRow row(int(wanted.size()), 7);
    for (int index = 0; index < row.propertyCount(); ++index)
        row.setValue(index, wanted[index]);
    expectValues(row, wanted);
    auto copied = row.copy(8);
    VXStoreRow others(int(wanted.size()), 1);
    const int last = row.propertyCount() - 1;
    for (int index = 0; index <= last; ++index) {
        EXPECT_TRUE(row.isSame(index, *copied)) << index;
        row.setValue(index, 5);
        others.copyValue(last - index, *copied, index);
        EXPECT_TRUE(others.isSame(last - index, *copied, index)) << index;
        EXPECT_EQ(others.isSame(last - index, row, index), wanted[index] == 5) << index;
    }
    expectValues(*copied, wanted);
    expectValues(others, QVariantList(wanted.crbegin(), wanted.crend()));
    EXPECT_EQ(copied->version(), 8);
    copied->setText(0, copied->text(15)); // there is no room left
    EXPECT_EQ(copied->text(0), copied->text(15));
    EXPECT_EQ(row.number(0), 5);
    row.setText(0, QString(20'000, u'x')); // not packed
    row.setText(0, row.text(0).first(9));
    EXPECT_EQ(row.text(0), QString(9, u'x'));
    const auto changed = VXStoreRow::copyToChange(std::exchange(copied, nullptr), 9);
    EXPECT_EQ(changed->version(), 9);
    changed->setText(1, changed->text(15)); // of the other one, which nobody else holds
    EXPECT_EQ(changed->text(1), QString(50, u'x'));
}

TEST(VXStoreRowTest, ReplacesAnyValueByAnyOther)
{
    const QVariantList possible = values();
    QRandomGenerator random(1);
    constexpr int count = 5;
    auto row = VXStoreRow::make(count, 1);
    QVariantList wanted(count);
    for (int change = 0; change < 5000; ++change) {
        if (const VXStoreRow::Ptr before = row; change % 7 == 0) // which stays as it is
            row = VXStoreRow::copyToChange(before, 1);
        const int index = random.bounded(count);
        wanted[index] = possible[random.bounded(possible.size())];
        row->setValue(index, wanted[index]);
        if (change % 50 == 0)
            expectValues(*row->copy(1), wanted);
    }
    expectValues(*row, wanted);
}

TEST(VXStoreRowTest, MemoryGrowsWithWhatItHoldsAndNotWithTheChanges)
{
    const struct
    {
        const char *title;
        int properties;                 // that are set, of ten
        std::vector<qsizetype> lengths; // of the texts, in turn
    } rows[] = {{"one", 1, {1, 5000}},
                {"growing and starting anew", 1, {1, 10, 100, 1000, 10'000}},
                {"several", 5, {0, 3, 700, 2000, 40, 9}},
                {"shared ones between", 3, {20'000, 5000, 8}}};
    constexpr qsizetype cells = 10 * 9 + 6;
    for (const auto &[title, properties, lengths] : rows) {
        SCOPED_TRACE(title);
        VXStoreRow row(10, 1);
        const qsizetype longest = *std::max_element(lengths.begin(), lengths.end());
        for (int change = 0; change < 10'000; ++change) {
            const qsizetype length = lengths[size_t(change) % lengths.size()];
            row.setText(change / 7 % properties, QString(length, QChar(u'a' + change % 26)));
            ASSERT_LE(row.allocatedBytes(), 2 * (cells + properties * (2 * longest + 8)) + 10 * 24);
        }
        for (int index = 0; index < properties; ++index)
            row.setText(index, QString(index, u'z'));
        row.shrink();
        EXPECT_LE(row.allocatedBytes(), 2 * (cells + properties * 8) + 10 * 24);
        for (int index = 0; index < properties; ++index)
            EXPECT_EQ(row.text(index), QString(index, u'z'));
    }
}

TEST(VXStoreRowTest, RowsOfAPageOutliveTheirBatchEachByItself)
{
    const QVariantList possible = values();
    std::vector<VXStoreRow::Ptr> kept;
    const auto wanted = [&](int number) {
        return QVariantList{number, u"text %1"_s.arg(number), possible[number % possible.size()]};
    };
    {
        VXStoreRowBatch batch;
        for (int number = 0; number < 1000; ++number) {
            VXStoreRow &row = batch.next(3, number);
            for (int index = 0; index < 3; ++index)
                row.setValue(index, wanted(number)[index]);
            if (const VXStoreRow::Ptr made = batch.finish(); number % 7 == 0)
                kept.push_back(made);
        }
    }
    for (size_t place = 0; place < kept.size(); ++place) {
        const int number = int(place) * 7;
        EXPECT_EQ(kept[place]->version(), number);
        expectValues(*kept[place], wanted(number));
        kept[place].reset();
    }
}
