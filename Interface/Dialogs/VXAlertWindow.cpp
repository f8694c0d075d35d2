#include "VXAlertWindow.h"

#include "VXInterface.h"
#include "VXSymbol.h"
#include "VXTextLabel.h"

#include <QtCore/QPointer>
#include <QtGui/QAccessible>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QPlainTextEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QScrollArea>
#include <QtWidgets/QToolButton>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int margin = 24;
constexpr int iconSize = 40;
constexpr int columnWidthInCharacters = 52;
constexpr int highestText = 260; // longer texts scroll

std::size_t indexOf(VXAlertButton button)
{
    return static_cast<std::size_t>(static_cast<int>(button) - static_cast<int>(VXAlertButton::Other));
}

VXSymbol::Tone toneOf(VXAlertWindow::Kind kind)
{
    return kind == VXAlertWindow::Kind::Error ? VXSymbol::Tone::Bad : VXSymbol::Tone::Accent;
}

QString iconOf(VXAlertWindow::Kind kind)
{
    switch (kind) {
    case VXAlertWindow::Kind::Question:
        return u"question"_s;
    case VXAlertWindow::Kind::Error:
        return u"warning"_s;
    case VXAlertWindow::Kind::Notice:
        break;
    }
    return u"info"_s;
}

} // namespace

VXAlertWindow::VXAlertWindow(const VXAlert &alert, QWidget *parent)
    : VXAlertWindow(alert, alert.isQuestion() ? Kind::Question : Kind::Notice, parent)
{
}

VXAlertWindow::VXAlertWindow(const VXAlert &alert, Kind kind, QWidget *parent)
    : QDialog(parent), _alert(alert), _kind(kind), _pressed(alert.dismissButton())
{
    setModal(true);
    setWindowTitle(QCoreApplication::applicationName());
    setAccessibleName(alert.message);
    setAccessibleDescription(alert.informativeText);

    auto *const icon = new QLabel;
    icon->setPixmap(VXSymbol::named(iconOf(kind), toneOf(kind)).pixmap(iconSize, iconSize));
    icon->setAlignment(Qt::AlignTop);

    auto *const column = new QVBoxLayout;
    column->setSpacing(8);
    addTexts(*column);
    if (!alert.details.isEmpty())
        addDetails(*column);
    if (!alert.checkBoxTitle.isNull()) {
        _checkBox = new QCheckBox(alert.checkBoxTitle);
        _checkBox->setChecked(alert.isChecked);
        column->addSpacing(4);
        column->addWidget(_checkBox);
    }
    auto *const row = new QHBoxLayout;
    row->setSpacing(18);
    row->addWidget(icon, 0, Qt::AlignTop);
    row->addLayout(column, 1);

    auto *const all = new QVBoxLayout(this);
    all->setContentsMargins(margin, margin, margin, 20);
    all->setSpacing(20);
    all->setSizeConstraint(QLayout::SetFixedSize);
    all->addLayout(row);
    all->addLayout(makeButtons());
    if (QPushButton *const standard = button(VXAlertButton::Default)) {
        standard->setDefault(true);
        standard->setFocus(); // otherwise another button gets the focus, and with it the Return key
    }
}

VXAlertWindow::~VXAlertWindow() = default;

void VXAlertWindow::addTexts(QBoxLayout &column)
{
    const int width = fontMetrics().averageCharWidth() * columnWidthInCharacters;
    auto *const message = new VXTextLabel(_alert.message, VXTextLabel::Role::Title);
    message->setTextWidth(width);
    column.addWidget(message);
    if (_alert.informativeText.isEmpty())
        return;
    auto *const text = new VXTextLabel(_alert.informativeText, VXTextLabel::Role::Body);
    text->setTextInteractionFlags(Qt::TextSelectableByMouse);
    text->setTextWidth(width);
    if (text->heightForWidth(width) <= highestText) {
        column.addWidget(text);
        return;
    }
    auto *const scroller = new QScrollArea;
    scroller->setFrameShape(QFrame::NoFrame);
    scroller->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroller->setWidget(text);
    scroller->setFixedSize(width + 18, highestText);
    column.addWidget(scroller);
}

void VXAlertWindow::addDetails(QBoxLayout &column)
{
    auto *const toggle = new QToolButton;
    toggle->setText(VXInterfaceString(u"Details"_s));
    toggle->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    toggle->setIcon(VXSymbol::named(u"chevron-right"_s));
    toggle->setCheckable(true);
    toggle->setProperty("vxRole", u"disclosure"_s);
    auto *const details = new QPlainTextEdit(_alert.details);
    details->setReadOnly(true);
    details->setTabChangesFocus(true);
    details->setAccessibleName(toggle->text());
    details->setFixedHeight(details->fontMetrics().lineSpacing() * 6);
    details->hide();
    connect(toggle, &QToolButton::toggled, this, [toggle, details](bool isOpen) {
        toggle->setIcon(VXSymbol::named(isOpen ? u"chevron-down"_s : u"chevron-right"_s));
        details->setVisible(isOpen);
    });
    column.addWidget(toggle, 0, Qt::AlignLeft);
    column.addWidget(details);
}

// The alternative action is apart from the two buttons that answer the question.
QBoxLayout *VXAlertWindow::makeButtons()
{
    auto *const row = new QHBoxLayout;
    row->setSpacing(10);
    for (const VXAlertButton button : {VXAlertButton::Other, VXAlertButton::Alternate, VXAlertButton::Default}) {
        if (button == VXAlertButton::Alternate)
            row->addStretch();
        if (_alert.title(button).isNull())
            continue;
        auto *const view = new QPushButton(_alert.title(button));
        view->setAutoDefault(true);
        view->setMinimumWidth(88);
        connect(view, &QPushButton::clicked, this, [this, button] { press(button); });
        _buttons[indexOf(button)] = view;
        row->addWidget(view);
    }
    return row;
}

QPushButton *VXAlertWindow::button(VXAlertButton button) const
{
    return _buttons[indexOf(button)];
}

void VXAlertWindow::press(VXAlertButton button)
{
    _pressed = button;
    accept();
}

void VXAlertWindow::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    QAccessibleEvent announcement(this, QAccessible::Alert);
    QAccessible::updateAccessibility(&announcement);
}

VXAlertResult VXAlertWindow::runModal()
{
    const QPointer<VXAlertWindow> self(this);
    const VXAlertResult dismissed{_pressed, _alert.isChecked};
    exec();
    if (!self) // its parent was destroyed meanwhile
        return dismissed;
    return {_pressed, _checkBox != nullptr ? _checkBox->isChecked() : _alert.isChecked};
}
