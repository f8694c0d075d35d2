#include "VXPlaceholder.h"

#include "VXSymbol.h"
#include "VXTextLabel.h"

#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>

namespace {

constexpr int iconSize = 56;
constexpr int textWidth = 360;

} // namespace

VXPlaceholder::VXPlaceholder(QWidget *parent)
    : QWidget(parent), _icon(new QLabel(this)), _title(new VXTextLabel({}, VXTextLabel::Role::Title, this)),
      _text(new VXTextLabel({}, VXTextLabel::Role::Secondary, this)), _button(new QPushButton(this)),
      _secondButton(new QPushButton(this))
{
    auto *const buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(_button);
    buttons->addWidget(_secondButton);
    buttons->addStretch();
    auto *const column = new QVBoxLayout(this);
    column->setSpacing(10);
    column->addStretch(2);
    column->addWidget(_icon, 0, Qt::AlignHCenter);
    column->addSpacing(4);
    column->addWidget(_title, 0, Qt::AlignHCenter);
    column->addWidget(_text, 0, Qt::AlignHCenter);
    column->addSpacing(6);
    column->addLayout(buttons);
    column->addStretch(3);
    for (VXTextLabel *const label : {_title, _text}) {
        label->setAlignment(Qt::AlignHCenter);
        label->setTextWidth(textWidth);
    }
    connect(_button, &QPushButton::clicked, this, &VXPlaceholder::buttonClicked);
    connect(_secondButton, &QPushButton::clicked, this, &VXPlaceholder::secondButtonClicked);
}

void VXPlaceholder::setTexts(const QString &icon, const QString &title, const QString &text, const QString &button,
                             const QString &secondButton)
{
    _icon->setPixmap(VXSymbol::named(icon, VXSymbol::Tone::Quiet).pixmap(iconSize, iconSize));
    _title->setText(title);
    _text->setText(text);
    _text->setVisible(!text.isEmpty());
    _button->setText(button);
    _button->setVisible(!button.isEmpty());
    _button->setDefault(true);
    _secondButton->setText(secondButton);
    _secondButton->setVisible(!secondButton.isEmpty());
}
