#include "VXAvatar.h"

#include <gtest/gtest.h>
#include <QtCore/QBuffer>
#include <QtGui/QPainter>

TEST(VXAvatarTest, picturesOfAnySizeAreCutToTheirMiddle)
{
    const struct
    {
        QSize size;
        const char *format;
    } table[] = {{{300, 200}, "PNG"}, {{1, 30000}, "PNG"}, {{4000, 3000}, "JPEG"}, {{64, 48}, "XPM"}};
    for (const auto &row : table) {
        QImage image(row.size, QImage::Format_RGB32);
        image.fill(Qt::blue);
        const int side = std::min(row.size.width(), row.size.height());
        QPainter(&image).fillRect((row.size.width() - side) / 2, (row.size.height() - side) / 2, side, side, Qt::green);
        QByteArray bytes;
        QBuffer buffer(&bytes);
        buffer.open(QBuffer::WriteOnly);
        ASSERT_TRUE(image.save(&buffer, row.format)) << row.format;
        const QImage square = VXSquarePicture(bytes, 40);
        ASSERT_EQ(square.size(), QSize(40, 40)) << row.format;
        for (const QPoint &corner : {QPoint(1, 1), QPoint(38, 38)}) {
            EXPECT_GT(square.pixelColor(corner).green(), 200) << row.format;
            EXPECT_LT(square.pixelColor(corner).blue(), 60) << row.format;
        }
        const QByteArray stored = VXStorablePicture(bytes);
        EXPECT_FALSE(stored.isEmpty());
        EXPECT_LE(stored.size(), 128 << 10);
    }
    // A drawing may have any file opened, and wait for it.
    const QByteArray drawing = "<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'><rect width='9' "
                               "height='9'/></svg>";
    for (const QByteArray &bytes : {drawing, QByteArray("<?xml version='1.0'?>\n" + drawing)}) {
        EXPECT_TRUE(VXSquarePicture(bytes, 40).isNull());
        EXPECT_TRUE(VXStorablePicture(bytes).isEmpty());
    }
    EXPECT_TRUE(VXSquarePicture("no picture", 40).isNull());
    EXPECT_TRUE(VXStorablePicture("no picture").isEmpty());
}
