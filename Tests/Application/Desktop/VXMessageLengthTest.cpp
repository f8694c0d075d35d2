#include "VXMessageLength.h"

#include "VXTesting.h"

using namespace Qt::StringLiterals;

TEST(VXMessageLengthTest, partsOfBothAlphabets)
{
    const auto euro = [](int count) { return QString(count, u'€'); };
    struct
    {
        QString text;
        bool isPlain;
        int parts;
        int left;
    } const table[] = {
        {u""_s, true, 0, 160},
        {u"Hello"_s, true, 1, 155},
        {QString(160, u'a'), true, 1, 0},
        {QString(161, u'a'), true, 2, 145},
        {QString(306, u'a'), true, 2, 0},
        {QString(307, u'a'), true, 3, 152},
        {euro(80), true, 1, 0},
        {euro(81), true, 2, 143}, // the 77th begins the second part: 153 is odd
        {u"Grüße, ñandú?"_s, false, 1, 57},
        {u"Grüße"_s, true, 1, 155},
        {QString(70, u'ж'), false, 1, 0},
        {QString(71, u'ж'), false, 2, 63},
        {QString(66, u'ж') + u"😀"_s + QString(10, u'ж'), false, 2, 55}, // the pair is not cut in two
    };
    for (const auto &row : table) {
        const VXMessageLength length = VXMessageLength::of(row.text);
        EXPECT_EQ(length.isPlain, row.isPlain) << row.text.toStdString();
        EXPECT_EQ(length.parts, row.parts) << row.text.toStdString();
        EXPECT_EQ(length.left, row.left) << row.text.toStdString();
    }
}
