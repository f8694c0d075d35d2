#pragma once

#include <QtCore/QByteArray>
#include <QtGui/QImage>
#include <QtWidgets/QWidget>

/** A picture file's bytes as a square image of that many pixels, cut to its middle; null for none, and for what is too large to
 *  be read or no picture. Any thread. */
[[nodiscard]] QImage VXSquarePicture(const QByteArray &bytes, int pixels);

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
