#pragma once

#include <QtCore/QByteArray>
#include <QtGui/QImage>
#include <QtWidgets/QWidget>

/**
 * A picture file's bytes as a square image with sides of that many pixels, cropped to the middle; null if there is no
 * picture, or if it is too large to read, or a drawing (SVG), as others' contacts have pictures too. Any thread.
 */
[[nodiscard]] QImage VXSquarePicture(const QByteArray &bytes, int pixels);
/**
 * The part of a picture file that is stored with a contact: a small file as it is, otherwise a small picture of its
 * middle; empty if it is not a picture, or too large to read.
 */
[[nodiscard]] QByteArray VXStorablePicture(const QByteArray &bytes);

/** The round picture of a person. */
class VXAvatar : public QWidget
{
    Q_OBJECT

public:
    explicit VXAvatar(int size, QWidget *parent = nullptr);
    void setPerson(const QString &name, const QByteArray &picture);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QString _name;
    QImage _picture;
};
