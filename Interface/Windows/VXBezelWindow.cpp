#include "VXBezelWindow.h"

#include "VXInterface.h"
#include "VXRoundPicture.h"
#include "VXSurfacePainting.h"
#include "VXSymbol.h"
#include "VXTextLabel.h"

#include <QtGui/QCursor>
#include <QtGui/QGuiApplication>
#include <QtGui/QPainter>
#include <QtGui/QScreen>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QToolButton>

using namespace Qt::StringLiterals;

namespace {

constexpr int shadow = 18;
constexpr int radius = 14;
constexpr int pictureSize = 56;
constexpr int fromEdge = 12;
constexpr int textWidthInCharacters = 30;

} // namespace

VXBezelWindow::VXBezelWindow()
    : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus |
                           Qt::NoDropShadowWindowHint | Qt::BypassWindowManagerHint)
{
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_QuitOnClose, false);
    setFocusPolicy(Qt::NoFocus);
    _time.setSingleShot(true);
    _time.callOnTimeout(this, &QWidget::hide);
    new QHBoxLayout(this);
    layout()->setSizeConstraint(QLayout::SetFixedSize);
}

VXBezelWindow::~VXBezelWindow() = default;

bool VXBezelWindow::canPlaceWindows()
{
    return !QGuiApplication::platformName().startsWith("wayland"_L1);
}

void VXBezelWindow::showNotice(const VXBezelNotice &notice)
{
    while (QLayoutItem *const item = layout()->takeAt(0)) {
        item->widget()->hide();
        item->widget()->deleteLater(); // deferred, as one of its buttons may be showing the next notice
        delete item;
    }
    fill(notice);
    setAccessibleName(QStringList{notice.caption, notice.title, notice.subtitle}.join(u' ').simplified());
    _closesByItself = notice.duration.count() > 0;
    layout()->activate();
    adjustSize();
    place();
    show();
    if (_closesByItself)
        _time.start(notice.duration);
    else
        _time.stop();
}

void VXBezelWindow::fill(const VXBezelNotice &notice)
{
    auto *const all = new QWidget;
    auto *const row = new QHBoxLayout(all);
    row->setContentsMargins(shadow + 16, shadow + 14, shadow + 10, shadow + 14);
    row->setSpacing(14);
    auto *const picture = new QLabel;
    if (notice.picture.isNull() && !notice.icon.isEmpty())
        picture->setPixmap(
            VXSymbol::named(notice.icon, VXSymbol::Tone::Accent).pixmap(QSize(40, 40), devicePixelRatioF()));
    else
        picture->setPixmap(VXRoundPicture(notice.picture, notice.title, pictureSize, devicePixelRatioF()));
    row->addWidget(picture, 0, Qt::AlignTop);

    auto *const column = new QVBoxLayout;
    column->setSpacing(2);
    const int width = fontMetrics().averageCharWidth() * textWidthInCharacters;
    const auto addText = [&](const QString &text, VXTextLabel::Role role) {
        if (text.isEmpty())
            return;
        auto *const label = new VXTextLabel(text, role);
        label->setTextWidth(width);
        column->addWidget(label);
    };
    addText(notice.caption, VXTextLabel::Role::Caption);
    addText(notice.title, VXTextLabel::Role::Title);
    addText(notice.subtitle, VXTextLabel::Role::Secondary);
    if (!notice.buttons.isEmpty()) {
        auto *const buttons = new QHBoxLayout;
        buttons->setSpacing(8);
        buttons->setContentsMargins(0, 8, 0, 0);
        for (const VXBezelNotice::Button &button : notice.buttons) {
            auto *const view = new QPushButton(button.title);
            view->setDefault(button.isMain);
            view->setFocusPolicy(Qt::NoFocus);
            connect(view, &QPushButton::clicked, this, [this, action = button.action] {
                hide();
                if (action)
                    action();
            });
            buttons->addWidget(view);
        }
        buttons->addStretch();
        column->addLayout(buttons);
    }
    row->addLayout(column, 1);

    auto *const close = new QToolButton;
    close->setIcon(VXSymbol::named(u"close"_s, VXSymbol::Tone::Quiet));
    close->setToolTip(VXInterfaceString(u"Close"_s));
    close->setAccessibleName(close->toolTip());
    close->setFocusPolicy(Qt::NoFocus);
    connect(close, &QToolButton::clicked, this, &QWidget::hide);
    row->addWidget(close, 0, Qt::AlignTop);
    layout()->setContentsMargins(0, 0, 0, 0);
    layout()->addWidget(all);
}

void VXBezelWindow::place()
{
    QScreen *screen = QGuiApplication::screenAt(QCursor::pos());
    if (screen == nullptr)
        screen = QGuiApplication::primaryScreen();
    if (screen == nullptr)
        return;
    const QRect room = screen->availableGeometry();
    const int x = layoutDirection() == Qt::RightToLeft ? room.left() + fromEdge - shadow
                                                       : room.right() - width() - fromEdge + shadow;
    move(x, room.top() + fromEdge - shadow);
}

void VXBezelWindow::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    VXPaintFloatingSurface(painter, rect(), shadow, radius);
}

void VXBezelWindow::enterEvent(QEnterEvent *)
{
    _time.stop();
}

void VXBezelWindow::leaveEvent(QEvent *)
{
    if (_closesByItself)
        _time.start(std::chrono::seconds(2));
}

void VXBezelWindow::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    _time.stop();
    Q_EMIT didClose();
}
