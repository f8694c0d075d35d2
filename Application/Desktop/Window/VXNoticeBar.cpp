#include "VXNoticeBar.h"

#include "VXDesktopText.h"
#include "VXSymbol.h"
#include "VXTextLabel.h"

#include <QtCore/QEvent>
#include <QtGui/QAccessible>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QToolButton>

using namespace Qt::StringLiterals;

VXNoticeBar::VXNoticeBar(QWidget *parent)
    : QFrame(parent), _text(new VXTextLabel({}, VXTextLabel::Role::Body, this)), _action(new QPushButton(this))
{
    setProperty("vxSurface", u"card"_s);
    setAutoFillBackground(true);
    auto *const close = new QToolButton(this);
    close->setIcon(VXSymbol::named(u"close"_s, VXSymbol::Tone::Quiet));
    close->setAccessibleName(VXText("Close"));
    auto *const row = new QHBoxLayout(this);
    row->setContentsMargins(16, 8, 8, 8);
    row->addWidget(_text, 1);
    row->addWidget(_action);
    row->addWidget(close);
    _end.setSingleShot(true);
    _end.setInterval(std::chrono::seconds(10));
    connect(&_end, &QTimer::timeout, this, &QWidget::hide);
    connect(close, &QToolButton::clicked, this, &QWidget::hide);
    connect(_action, &QPushButton::clicked, this, [this] {
        hide();
        if (_perform)
            _perform();
    });
    parent->installEventFilter(this);
    hide();
}

QString VXNoticeBar::text() const
{
    return _text->text();
}

void VXNoticeBar::showDone(const QString &text, const QString &action, const std::function<void()> &perform)
{
    _isProblem = false;
    _text->setProperty("vxTone", QVariant());
    showText(text, action, perform);
    _end.start();
}

void VXNoticeBar::showProblem(const QString &text, const QString &action, const std::function<void()> &perform)
{
    _isProblem = true;
    _text->setProperty("vxTone", u"bad"_s);
    showText(text, action, perform);
    _end.stop();
}

void VXNoticeBar::showText(const QString &text, const QString &action, const std::function<void()> &perform)
{
    _text->setText(text);
    _text->style()->unpolish(_text);
    _text->style()->polish(_text);
    _action->setText(action);
    _action->setVisible(!action.isEmpty());
    _perform = perform;
    setAccessibleName(text);
    show();
    raise();
    place();
    QAccessibleEvent event(this, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

void VXNoticeBar::place()
{
    const int width = std::min(parentWidget()->width() - 32, 560);
    setFixedWidth(width);
    adjustSize();
    move((parentWidget()->width() - width) / 2, parentWidget()->height() - height() - 20);
}

bool VXNoticeBar::eventFilter(QObject *object, QEvent *event)
{
    if (event->type() == QEvent::Resize && isVisible())
        place();
    return QFrame::eventFilter(object, event);
}
