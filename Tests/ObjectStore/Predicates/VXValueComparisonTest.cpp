#include "VXValueComparison.h"
#include "VXTesting.h"

#include <QtCore/QDateTime>

#include <limits>

using namespace Qt::StringLiterals;

TEST(VXValueComparisonTest, OrdersValuesOfOneFamily)
{
    const auto moment = QDateTime(QDate(2026, 1, 1), QTime(0, 0), Qt::UTC);
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    const std::tuple<QVariant, QVariant, std::partial_ordering> cases[] = {
        {{}, QString(), std::partial_ordering::equivalent},
        {{}, 0, std::partial_ordering::less},
        {u""_s, {}, std::partial_ordering::greater},
        {1, 1.0, std::partial_ordering::equivalent},
        {true, 1, std::partial_ordering::equivalent},
        {-1, 4000000000U, std::partial_ordering::less},
        {9007199254740993LL, 9007199254740992.0, std::partial_ordering::greater}, // no double is that exact
        {-9007199254740993LL, -9007199254740992.0, std::partial_ordering::less},
        {-2, -2.5, std::partial_ordering::greater},
        {std::numeric_limits<qlonglong>::max(), 9.3e18, std::partial_ordering::less},
        {1, notANumber, std::partial_ordering::unordered},
        {u"Z"_s, u"a"_s, std::partial_ordering::less},
        {moment, moment.toOffsetFromUtc(3600), std::partial_ordering::equivalent},
        {QByteArray("\x01"), QByteArray("\xff"), std::partial_ordering::less},
        {u"1"_s, 1, std::partial_ordering::unordered},
        {moment, 1, std::partial_ordering::unordered},
    };
    for (const auto &[a, b, order] : cases) {
        EXPECT_TRUE(VXCompareValues(a, b) == order) << testing::PrintToString(a) << testing::PrintToString(b);
        EXPECT_TRUE(VXCompareValues(b, a) == 0 <=> order);
    }
}
