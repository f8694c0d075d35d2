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
    : QWidget(parent)
{
    setContents(symbol, title, text);
}

VXEmptyState::~VXEmptyState() = default;

void VXEmptyState::setTexts(const QString &title, const QString &text)
{
    _contents.title = title;
    _contents.text = text;
    setAccessibleName(title);
    setAccessibleDescription(text);
    fill();
}

void VXEmptyState::setContents(const QString &symbol, const QString &title, const QString &text, const QString &action,
                               const QString &secondAction)
{
    _contents.symbol = symbol;
    _contents.action = action;
    _contents.secondAction = secondAction;
    updateSymbol();
    setTexts(title, text);
}

void VXEmptyState::setActionTitle(const QString &title)
{
    _contents.action = title;
    fill();
}

void VXEmptyState::make()
{
    if (_picture != nullptr)
        return;
    _picture = new QLabel;
    _title = new VXTextLabel({}, VXTextLabel::Role::Title);
    _text = new VXTextLabel({}, VXTextLabel::Role::Secondary);
    for (VXTextLabel *const label : {_title, _text})
        label->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    _button = new QPushButton;
    _button->setDefault(true);
    _secondButton = new QPushButton;
    connect(_button, &QPushButton::clicked, this, &VXEmptyState::actionWanted);
    connect(_secondButton, &QPushButton::clicked, this, &VXEmptyState::secondActionWanted);
    _buttons = new QBoxLayout(QBoxLayout::LeftToRight);
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
    updateSymbol();
    fill();
}

void VXEmptyState::fill()
{
    if (_picture == nullptr)
        return;
    _title->setText(_contents.title);
    _text->setText(_contents.text);
    _text->setVisible(!_contents.text.isEmpty());
    _button->setText(_contents.action);
    _button->setVisible(!_contents.action.isEmpty());
    _secondButton->setText(_contents.secondAction);
    _secondButton->setVisible(!_contents.secondAction.isEmpty());
    place();
}

void VXEmptyState::updateSymbol()
{
    if (_picture == nullptr)
        return;
    const QSize size(symbolSize, symbolSize);
    _picture->setPixmap(
        _contents.symbol.isEmpty()
            ? QPixmap()
            : VXSymbol::named(_contents.symbol, VXSymbol::Tone::Quiet).pixmap(size, devicePixelRatioF()));
}

void VXEmptyState::setVisible(bool visible)
{
    if (visible)
        make();
    QWidget::setVisible(visible);
}

// What is shown together with its parent is only polished beforehand; so is what stays hidden in it.
bool VXEmptyState::event(QEvent *event)
{
    if (event->type() == QEvent::Polish && !(isHidden() && testAttribute(Qt::WA_WState_ExplicitShowHide)))
        make();
    return QWidget::event(event);
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
    if (_picture != nullptr)
        place();
}
