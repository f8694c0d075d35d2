#include "VXTextLabel.h"

#include <QtCore/QScopedValueRollback>
#include <QtGui/QResizeEvent>
#include <QtWidgets/QApplication>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

double scaleOf(VXTextLabel::Role role)
{
    switch (role) {
    case VXTextLabel::Role::Headline:
        return 1.6;
    case VXTextLabel::Role::Title:
        return 1.12;
    case VXTextLabel::Role::Caption:
        return 0.88;
    case VXTextLabel::Role::Body:
    case VXTextLabel::Role::Secondary:
        break;
    }
    return 1.0;
}

bool isStrong(VXTextLabel::Role role)
{
    return role == VXTextLabel::Role::Headline || role == VXTextLabel::Role::Title;
}

bool isQuiet(VXTextLabel::Role role)
{
    return role == VXTextLabel::Role::Secondary || role == VXTextLabel::Role::Caption;
}

} // namespace

VXTextLabel::VXTextLabel(const QString &text, Role role, QWidget *parent) : QLabel(parent), _role(role)
{
    setTextFormat(Qt::PlainText);
    setWordWrap(true);
    setText(text);
    if (isQuiet(role))
        setProperty("vxTone", u"quiet"_s); // used by the style sheet
    updateFont();
    followDirection();
}

void VXTextLabel::followDirection()
{
    if (alignment().testFlag(Qt::AlignHCenter))
        return;
    const Qt::Alignment side = layoutDirection() == Qt::RightToLeft ? Qt::AlignRight : Qt::AlignLeft;
    setAlignment((alignment() & Qt::AlignVertical_Mask) | side | Qt::AlignAbsolute);
}

void VXTextLabel::updateFont()
{
    const QScopedValueRollback updating(_isUpdatingFont, true);
    QFont font = QApplication::font(this);
    font.setPointSizeF(font.pointSizeF() * scaleOf(_role));
    if (isStrong(_role))
        font.setWeight(QFont::DemiBold);
    setFont(font);
    fit();
}

void VXTextLabel::setTextWidth(int width)
{
    if (width > 0)
        setFixedWidth(width);
    else
        setMaximumWidth(QWIDGETSIZE_MAX);
    _fittedWidth = width;
    fit();
}

void VXTextLabel::setText(const QString &text)
{
    QLabel::setText(text);
    fit();
}

// Layouts in scroll areas and fixed windows ignore height-for-width. As a label never needs less than its minimum
// height, that is reset first.
void VXTextLabel::fit()
{
    setMinimumHeight(0);
    if (wordWrap() && _fittedWidth > 0)
        setMinimumHeight(std::max(0, heightForWidth(_fittedWidth)));
}

void VXTextLabel::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::ApplicationFontChange && !_isUpdatingFont)
        updateFont();
    else if (event->type() == QEvent::LayoutDirectionChange)
        followDirection();
    QLabel::changeEvent(event);
}

void VXTextLabel::resizeEvent(QResizeEvent *event)
{
    QLabel::resizeEvent(event);
    if (std::exchange(_fittedWidth, event->size().width()) != event->size().width())
        fit();
}
