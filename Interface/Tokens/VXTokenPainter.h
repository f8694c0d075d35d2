#pragma once

#include <QtCore/QObject>
#include <QtCore/QTimer>
#include <QtGui/QFontMetrics>
#include <QtGui/QTextObjectInterface>

class QTextEdit;

/** Draws tokens within the text of a field. */
class VXTokenPainter : public QObject, public QTextObjectInterface
{
    Q_OBJECT
    Q_INTERFACES(QTextObjectInterface)

public:
    static constexpr int objectType = QTextFormat::UserObject + 1;

    explicit VXTokenPainter(QTextEdit &edit);

    /** The height of a token, and so of a line with tokens. */
    static int heightOf(const QFontMetrics &metrics);

    QSizeF intrinsicSize(QTextDocument *document, int position, const QTextFormat &format) override;
    void drawObject(QPainter *painter, const QRectF &rect, QTextDocument *document, int position,
                    const QTextFormat &format) override;

    /** Highlights the token at that position twice for a moment. */
    void flash(int position);

private:
    bool isChosen(int position) const;

    QTextEdit &_edit;
    QTimer _flash;
    int _flashingPosition = -1;
    int _flashesLeft = 0;
};
