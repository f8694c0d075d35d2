#include "VXTokenPainter.h"

#include "VXSymbol.h"
#include "VXThemeManager.h"
#include "VXTokenFormat.h"
#include "VXTokenTextEdit.h"

#include <QtGui/QPainter>
#include <QtWidgets/QTextEdit>

#include <algorithm>

namespace {

constexpr int sidePadding = 8;
constexpr int topPadding = 2;
constexpr int margin = 2; // between tokens
constexpr int iconGap = 4;
constexpr int lift = 2;            // aligns the label's baseline with that of the text around
constexpr int spare = 2;           // because widths are rounded
constexpr int flashInterval = 140; // ms
constexpr int flashes = 6;         // on and off

using Mood = VXTokenTextEdit::Mood;

struct Look
{
    QColor fill;
    QColor text;
    QColor line;
    VXSymbol::Tone tone;
};

Look lookOf(Mood mood, bool isChosen)
{
    const VXThemeColors &colors = VXThemeManager::sharedThemeManager().colors();
    if (isChosen)
        return {colors.accent, colors.onAccent, colors.accent, VXSymbol::Tone::OnAccent};
    switch (mood) {
    case Mood::Wrong:
        return {colors.base, colors.bad, colors.bad, VXSymbol::Tone::Bad};
    case Mood::Unsure:
        return {colors.base, colors.text, colors.quietText, VXSymbol::Tone::Quiet};
    case Mood::Plain:
        break;
    }
    return {colors.selection, colors.text, colors.selection, VXSymbol::Tone::Text};
}

int iconSizeOf(const QFontMetrics &metrics)
{
    return metrics.height() - 4;
}

} // namespace

VXTokenPainter::VXTokenPainter(QTextEdit &edit) : QObject(&edit), _edit(edit)
{
    _flash.setInterval(flashInterval);
    _flash.callOnTimeout(this, [this] {
        if (--_flashesLeft <= 0) {
            _flash.stop();
            _flashingPosition = -1;
        }
        _edit.viewport()->update();
    });
}

int VXTokenPainter::heightOf(const QFontMetrics &metrics)
{
    return metrics.height() + 2 * topPadding + 2;
}

void VXTokenPainter::flash(int position)
{
    _flashingPosition = position;
    _flashesLeft = flashes;
    _flash.start();
    _edit.viewport()->update();
}

bool VXTokenPainter::isChosen(int position) const
{
    if (position == _flashingPosition && _flashesLeft % 2 == 0)
        return true;
    const QTextCursor cursor = _edit.textCursor();
    return position >= cursor.selectionStart() && position < cursor.selectionEnd();
}

QSizeF VXTokenPainter::intrinsicSize(QTextDocument *, int, const QTextFormat &format)
{
    const QFontMetrics metrics(_edit.font());
    const bool hasIcon = !format.stringProperty(VXTokenFormat::Icon).isEmpty();
    const int chrome = 2 * (sidePadding + margin) + (hasIcon ? iconSizeOf(metrics) + iconGap : 0);
    // A long token is truncated, so that it never takes more than a line.
    const int most = std::max(_edit.viewport()->width() - 24, 80);
    const int label = metrics.horizontalAdvance(format.stringProperty(VXTokenFormat::Label)) + spare;
    const int wanted = label + chrome;
    return QSizeF(std::min(wanted, most), heightOf(metrics));
}

void VXTokenPainter::drawObject(QPainter *painter, const QRectF &rect, QTextDocument *, int position,
                                const QTextFormat &format)
{
    const auto mood = static_cast<Mood>(format.intProperty(VXTokenFormat::Mood));
    const Look look = lookOf(mood, isChosen(position));
    const QFontMetrics metrics(_edit.font());
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(QPen(look.line, 1, mood == Mood::Unsure ? Qt::DashLine : Qt::SolidLine));
    painter->setBrush(look.fill);
    const QRectF body = rect.adjusted(margin + 0.5, 1.5, -margin - 0.5, -1.5).translated(0, -lift);
    painter->drawRoundedRect(body, body.height() / 2, body.height() / 2);

    QRectF inside = body.adjusted(sidePadding, 0, -sidePadding, 0);
    if (const QString icon = format.stringProperty(VXTokenFormat::Icon); !icon.isEmpty()) {
        const int size = iconSizeOf(metrics);
        const bool isRightToLeft = _edit.layoutDirection() == Qt::RightToLeft;
        const double x = isRightToLeft ? inside.right() - size : inside.left();
        VXSymbol::named(icon, look.tone)
            .paint(painter, QRectF(x, inside.center().y() - size / 2.0, size, size).toAlignedRect());
        if (isRightToLeft)
            inside.setRight(x - iconGap);
        else
            inside.setLeft(x + size + iconGap);
    }
    painter->setFont(_edit.font());
    painter->setPen(look.text);
    const QString label = metrics.elidedText(format.stringProperty(VXTokenFormat::Label), Qt::ElideMiddle,
                                             static_cast<int>(inside.width()) + 1);
    painter->drawText(inside, Qt::AlignVCenter | Qt::AlignLeading | Qt::TextSingleLine, label);
    painter->restore();
}
