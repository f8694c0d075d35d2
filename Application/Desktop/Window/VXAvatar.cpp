#include "VXAvatar.h"

#include "VXRoundPicture.h"

#include <QtCore/QBuffer>
#include <QtGui/QImageReader>
#include <QtGui/QPainter>

using namespace Qt::StringLiterals;

QImage VXSquarePicture(const QByteArray &bytes, int pixels)
{
    if (bytes.isEmpty())
        return {};
    QBuffer buffer;
    buffer.setData(bytes);
    QImageReader reader(&buffer);
    reader.setAutoTransform(true);
    const QSize size = reader.size();
    if (size.isValid())
        reader.setScaledSize(size.scaled(pixels, pixels, Qt::KeepAspectRatioByExpanding));
    const QImage image = reader.read();
    if (image.isNull())
        return {};
    const QImage filled = image.scaled(pixels, pixels, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
    return filled.copy((filled.width() - pixels) / 2, (filled.height() - pixels) / 2, pixels, pixels);
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
