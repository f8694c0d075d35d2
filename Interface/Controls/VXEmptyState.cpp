#include "VXEmptyState.h"

#include "VXSymbol.h"
#include "VXTextLabel.h"

#include <QtCore/QEvent>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>

#include <algorithm>

namespace {

constexpr int symbolSize = 56;
constexpr int textWidthInCharacters = 44;
constexpr int sideMargin = 20;

} // namespace

VXEmptyState::VXEmptyState(const QString &symbol, const QString &title, const QString &text, QWidget *parent)
    : QWidget(parent), _picture(new QLabel), _title(new VXTextLabel({}, VXTextLabel::Role::Title)),
      _text(new VXTextLabel({}, VXTextLabel::Role::Secondary)), _button(new QPushButton),
      _secondButton(new QPushButton), _buttons(new QBoxLayout(QBoxLayout::LeftToRight))
{
    for (VXTextLabel *const label : {_title, _text})
        label->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    _button->setDefault(true);
    connect(_button, &QPushButton::clicked, this, &VXEmptyState::actionWanted);
    connect(_secondButton, &QPushButton::clicked, this, &VXEmptyState::secondActionWanted);
    _buttons->addWidget(_button);
    _buttons->addWidget(_secondButton);
    auto *const column = new QVBoxLayout(this);
    column->setSpacing(8);
    column->addStretch(2);
    column->addWidget(_picture, 0, Qt::AlignHCenter);
    column->addSpacing(4);
    column->addWidget(_title);
    column->addWidget(_text);
    column->addSpacing(8);
    column->addLayout(_buttons);
    column->setAlignment(_buttons, Qt::AlignHCenter);
    column->addStretch(3);
    setContents(symbol, title, text);
}

VXEmptyState::~VXEmptyState() = default;

void VXEmptyState::setTexts(const QString &title, const QString &text)
{
    _title->setText(title);
    _text->setText(text);
    _text->setVisible(!text.isEmpty());
    setAccessibleName(title);
    setAccessibleDescription(text);
}

void VXEmptyState::setContents(const QString &symbol, const QString &title, const QString &text, const QString &action,
                               const QString &secondAction)
{
    _symbol = symbol;
    updateSymbol();
    setTexts(title, text);
    setActionTitle(action);
    _secondButton->setText(secondAction);
    _secondButton->setVisible(!secondAction.isEmpty());
    place();
}

void VXEmptyState::setActionTitle(const QString &title)
{
    _button->setText(title);
    _button->setVisible(!title.isEmpty());
}

void VXEmptyState::updateSymbol()
{
    const QSize size(symbolSize, symbolSize);
    _picture->setPixmap(_symbol.isEmpty()
                            ? QPixmap()
                            : VXSymbol::named(_symbol, VXSymbol::Tone::Quiet).pixmap(size, devicePixelRatioF()));
}

void VXEmptyState::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        updateSymbol();
}

// Limits the length of lines if there is room, and keeps texts away from the edges if there is not; buttons that do not
// fit side by side are put one above the other.
void VXEmptyState::place()
{
    const int wanted = fontMetrics().averageCharWidth() * textWidthInCharacters;
    const int side = std::max(sideMargin, (width() - wanted) / 2);
    layout()->setContentsMargins(side, sideMargin, side, sideMargin);
    const int buttons = _button->sizeHint().width() + _buttons->spacing() + _secondButton->sizeHint().width();
    const bool fits = _secondButton->isHidden() || buttons <= width() - 2 * sideMargin;
    _buttons->setDirection(fits ? QBoxLayout::LeftToRight : QBoxLayout::TopToBottom);
}

void VXEmptyState::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    place();
}
