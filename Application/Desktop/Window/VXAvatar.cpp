#include "VXAvatar.h"

#include "VXRoundPicture.h"

#include <QtCore/QBuffer>
#include <QtGui/QImageReader>
#include <QtGui/QPainter>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype largestStored = 128 << 10; // bytes
constexpr int storedSide = 512;                // pixels, for larger pictures

QRect middleOf(QSize size)
{
    const int side = std::min(size.width(), size.height());
    return {(size.width() - side) / 2, (size.height() - side) / 2, side, side};
}

// What is drawn by instructions may take for ever, and have files opened.
bool isDrawing(QImageReader &reader)
{
    return reader.format().startsWith("svg");
}

} // namespace

QImage VXSquarePicture(const QByteArray &bytes, int pixels)
{
    if (bytes.isEmpty())
        return {};
    QBuffer buffer;
    buffer.setData(bytes);
    QImageReader reader(&buffer);
    if (isDrawing(reader))
        return {};
    reader.setAutoTransform(true);
    if (!reader.size().isValid()) { // the format does not tell in advance
        const QImage image = reader.read();
        return image.copy(middleOf(image.size()))
            .scaled(pixels, pixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    }
    // Only the middle, at the wanted size: the rest of a long and narrow picture would not fit into memory.
    reader.setClipRect(middleOf(reader.size()));
    reader.setScaledSize({pixels, pixels});
    return reader.read();
}

QByteArray VXStorablePicture(const QByteArray &bytes)
{
    if (bytes.size() <= largestStored)
        return VXSquarePicture(bytes, 1).isNull() ? QByteArray() : bytes;
    QByteArray stored;
    QBuffer buffer(&stored);
    buffer.open(QBuffer::WriteOnly);
    const QImage small = VXSquarePicture(bytes, storedSide);
    return !small.isNull() && small.save(&buffer, "JPEG") ? stored : QByteArray();
}

VXAvatar::VXAvatar(int size, QWidget *parent) : QWidget(parent)
{
    setFixedSize(size, size);
}

void VXAvatar::setPerson(const QString &name, const QByteArray &picture)
{
    _name = name;
    _picture = VXSquarePicture(picture, int(width() * devicePixelRatioF()));
    update();
}

void VXAvatar::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    VXPaintRoundPicture(painter, rect(), _name, _picture);
}
