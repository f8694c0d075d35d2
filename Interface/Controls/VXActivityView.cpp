#include "VXActivityView.h"

#include "VXInterface.h"
#include "VXInvocation.h"
#include "VXSymbol.h"
#include "VXTextLabel.h"

#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QProgressBar>
#include <QtWidgets/QToolButton>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int steps = 1000;
constexpr auto cancelSelector = "cancel";

QString lineOf(const VXActivity &activity)
{
    const QString subtitle = activity.subtitle();
    return subtitle.isEmpty() ? activity.title() : activity.title() + ": "_L1 + subtitle;
}

QLabel *makeLabel(VXTextLabel::Role role)
{
    auto *const label = new VXTextLabel({}, role);
    label->setWordWrap(false);
    return label;
}

} // namespace

VXActivityView::VXActivityView(const VXActivity::Ptr &activity, Shape shape, QWidget *parent)
    : QWidget(parent), _activity(activity), _shape(shape), _title(makeLabel(VXTextLabel::Role::Body)),
      _subtitle(makeLabel(VXTextLabel::Role::Caption)), _bar(new QProgressBar), _stop(new QToolButton)
{
    _bar->setTextVisible(false);
    _stop->setIcon(VXSymbol::named(u"stop"_s));
    _stop->setAutoRaise(true);
    _stop->setFocusPolicy(Qt::TabFocus);
    connect(_stop, &QToolButton::clicked, this, &VXActivityView::stop);

    auto *const row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(10);
    if (shape == Shape::Line) {
        _bar->setFixedWidth(fontMetrics().averageCharWidth() * 16);
        _title->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
        _subtitle->hide();
        row->addWidget(_title, 1);
        row->addWidget(_bar);
    } else {
        auto *const column = new QVBoxLayout;
        column->setSpacing(5);
        column->addWidget(_title);
        column->addWidget(_bar);
        column->addWidget(_subtitle);
        row->addLayout(column, 1);
    }
    row->addWidget(_stop);
    refresh();
}

VXActivityView::~VXActivityView() = default;

bool VXActivityView::canStop() const
{
    QObject *const delegate = _activity->delegate();
    return !_isStopping && delegate != nullptr && VXInvocation::respondsTo(delegate, cancelSelector, 1);
}

void VXActivityView::stop()
{
    if (!canStop())
        return;
    QObject *const delegate = _activity->delegate();
    _isStopping = true;
    refresh();
    // Without a sender: with one, a device action is ended a minute later even if it was executed again.
    VXInvocation::withMethod(delegate, cancelSelector, {QVariant::fromValue<QObject *>(nullptr)}).invoke();
}

void VXActivityView::refresh()
{
    const QString line = lineOf(*_activity);
    const QString text = _shape == Shape::Line ? line : _activity->title();
    _title->setText(_isStopping && _shape == Shape::Line ? VXInterfaceString(u"Stopping: %1"_s).arg(text) : text);
    _title->setToolTip(line);
    _subtitle->setText(_isStopping ? VXInterfaceString(u"Stopping"_s) : _activity->subtitle());
    const double maximum = _activity->maxValue();
    const bool isCounted = maximum > 0;
    _bar->setRange(0, isCounted ? steps : 0);
    if (isCounted)
        _bar->setValue(static_cast<int>(std::clamp(_activity->doubleValue() / maximum, 0.0, 1.0) * steps));
    _bar->setAccessibleName(line);
    _stop->setVisible(canStop() || _isStopping);
    _stop->setEnabled(!_isStopping);
    _stop->setToolTip(VXInterfaceString(u"Stop"_s));
    _stop->setAccessibleName(VXInterfaceString(u"Stop %1"_s).arg(_activity->title()));
    setAccessibleName(line);
}
