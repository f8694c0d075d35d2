#include "VXComposer.h"

#include "VXDesktopText.h"
#include "VXDevicePopupButton.h"
#include "VXMessageLength.h"
#include "VXSymbol.h"
#include "VXTextLabel.h"

#include <QtGui/QKeyEvent>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QPlainTextEdit>
#include <QtWidgets/QPushButton>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int mostLines = 6;
constexpr int shownBelow = 30; // characters left before the counter is shown

} // namespace

VXComposer::VXComposer(QWidget *parent)
    : QWidget(parent), _edit(new QPlainTextEdit(this)), _phone(new VXDevicePopupButton(this)),
      _counter(new VXTextLabel({}, VXTextLabel::Role::Caption, this)), _send(new QPushButton(this))
{
    setProperty("vxSurface", u"bar"_s);
    setAttribute(Qt::WA_StyledBackground);
    setFocusProxy(_edit);
    _edit->setPlaceholderText(VXText("Write a message"));
    _edit->setAccessibleName(VXText("Message"));
    _edit->setTabChangesFocus(true);
    _edit->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    _edit->installEventFilter(this);
    _send->setIcon(VXSymbol::named(u"send"_s, VXSymbol::Tone::OnAccent));
    _send->setText(VXText("Send"));
    _send->setDefault(true);
    _counter->setAlignment(Qt::AlignTrailing | Qt::AlignVCenter);
    auto *const row = new QHBoxLayout;
    row->addWidget(_edit, 1);
    row->addWidget(_send, 0, Qt::AlignBottom);
    _phone->setAccessibleName(VXText("Phone to send by"));
    _phone->setToolTip(VXText("Phone to send by"));
    auto *const below = new QHBoxLayout;
    below->addWidget(_phone, 0, Qt::AlignLeading); // not wider than its names if nothing is beside it
    below->addWidget(_counter, 1);
    auto *const column = new QVBoxLayout(this);
    column->setContentsMargins(16, 10, 16, 10);
    column->setSpacing(4);
    column->addLayout(row);
    column->addLayout(below);
    connect(_edit, &QPlainTextEdit::textChanged, this, [this] {
        update();
        Q_EMIT textDidChange();
    });
    connect(_send, &QPushButton::clicked, this, &VXComposer::send);
    updatePhones();
    update();
}

void VXComposer::updatePhones()
{
    _phone->popup().rebuild();
    _phone->setVisible(_phone->count() > 1);
}

QString VXComposer::text() const
{
    return _edit->toPlainText();
}

void VXComposer::setText(const QString &text)
{
    const QSignalBlocker blocker(_edit);
    _edit->setPlainText(text);
    _edit->moveCursor(QTextCursor::End);
    update();
}

void VXComposer::addText(const QString &added)
{
    QTextCursor cursor(_edit->document());
    cursor.movePosition(QTextCursor::End);
    cursor.beginEditBlock();
    cursor.insertText(text().isEmpty() ? added : u'\n' + added);
    cursor.endEditBlock();
    _edit->setTextCursor(cursor);
}

void VXComposer::setObstacle(const QString &reason)
{
    _obstacle = reason;
    update();
}

void VXComposer::focusText()
{
    _edit->setFocus();
}

void VXComposer::update()
{
    const VXMessageLength length = VXMessageLength::of(text());
    const int lines = std::clamp(int(_edit->document()->size().height()), 1, mostLines);
    _edit->setFixedHeight(QFontMetrics(_edit->font()).lineSpacing() * lines + 20);
    QString about = _obstacle;
    if (about.isEmpty() && length.parts > 0 && (length.parts > 1 || length.left < shownBelow || !length.isPlain)) {
        about = length.parts == 1 ? VXText("%1 character left", "%1 characters left", length.left)
                                  : VXText("%1 left, goes as %2 messages").arg(length.left).arg(length.parts);
        if (!length.isPlain)
            about += u" · "_s + VXText("special characters: 70 fit in one message");
    }
    _counter->setText(about);
    _counter->setVisible(!about.isEmpty());
    _send->setEnabled(_obstacle.isEmpty() && !text().trimmed().isEmpty());
}

void VXComposer::send()
{
    if (_send->isEnabled())
        Q_EMIT wantsSend(text());
}

bool VXComposer::eventFilter(QObject *object, QEvent *event)
{
    if (object == _edit && event->type() == QEvent::KeyPress) {
        const auto *const press = static_cast<QKeyEvent *>(event);
        const bool isReturn = press->key() == Qt::Key_Return || press->key() == Qt::Key_Enter;
        if (isReturn && !press->modifiers().testFlag(Qt::ShiftModifier)) {
            send();
            return true;
        }
    }
    if (object == _edit && event->type() == QEvent::Resize)
        update();
    return QWidget::eventFilter(object, event);
}
