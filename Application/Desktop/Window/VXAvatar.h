#pragma once

#include <QtCore/QByteArray>
#include <QtGui/QImage>
#include <QtWidgets/QWidget>

/** A picture file's bytes as a square image of that many pixels, cut to its middle; null for none, and for what is too large to
 *  be read or no picture. Any thread. */
[[nodiscard]] QImage VXSquarePicture(const QByteArray &bytes, int pixels);
/** What of a picture file is kept with a contact: the file as it is where it is small, else its middle as a small one; empty for no
 *  picture, and for what is too large to be read. */
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
