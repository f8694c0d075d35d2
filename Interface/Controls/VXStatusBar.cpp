#include "VXStatusBar.h"

#include "VXActivityList.h"
#include "VXActivityView.h"
#include "VXAttachedWindow.h"
#include "VXInterface.h"
#include "VXTextLabel.h"

#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QToolButton>

using namespace Qt::StringLiterals;

namespace {

// Deferred, since its stop button may have ended the activity.
void takeAway(QWidget *view)
{
    view->setParent(nullptr);
    view->deleteLater();
}

/** All running activities one above the other; follows the list. */
class AllActivities : public QWidget
{
public:
    explicit AllActivities(VXActivityList &list) : _list(list), _column(new QVBoxLayout(this))
    {
        _column->setContentsMargins(4, 4, 4, 4);
        _column->setSpacing(14);
        setMinimumWidth(fontMetrics().averageCharWidth() * 52);
        connect(&list, &VXActivityList::activitiesDidChange, this, &AllActivities::fill);
        connect(&list, &VXActivityList::progressDidChange, this, [this] {
            for (VXActivityView *const view : findChildren<VXActivityView *>())
                view->refresh();
        });
        fill();
    }

private:
    void fill()
    {
        while (QLayoutItem *const item = _column->takeAt(0)) {
            takeAway(item->widget());
            delete item;
        }
        const QList<VXActivity::Ptr> activities = _list.activities();
        for (const VXActivity::Ptr &activity : activities)
            _column->addWidget(new VXActivityView(activity, VXActivityView::Shape::Block));
        if (activities.isEmpty())
            _column->addWidget(new VXTextLabel(VXInterfaceString(u"Nothing running"_s), VXTextLabel::Role::Secondary));
    }

    VXActivityList &_list;
    QVBoxLayout *const _column;
};

} // namespace

VXStatusBar::VXStatusBar(QWidget *parent)
    : QWidget(parent), _list(new VXActivityList(this)), _text(new VXTextLabel({}, VXTextLabel::Role::Caption)),
      _place(new QWidget), _more(new QToolButton)
{
    setAttribute(Qt::WA_StyledBackground);
    setProperty("vxSurface", u"bar"_s);
    _text->setWordWrap(false);
    _text->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    auto *const place = new QHBoxLayout(_place);
    place->setContentsMargins(0, 0, 0, 0);
    _more->setFocusPolicy(Qt::TabFocus);
    connect(_more, &QToolButton::clicked, this, &VXStatusBar::toggleActivities);

    auto *const row = new QHBoxLayout(this);
    row->setContentsMargins(14, 3, 8, 3);
    row->setSpacing(12);
    row->addWidget(_text, 1);
    row->addWidget(_place, 1);
    row->addWidget(_more);
    setMinimumHeight(fontMetrics().height() + 18);
    connect(_list, &VXActivityList::activitiesDidChange, this, &VXStatusBar::update);
    connect(_list, &VXActivityList::progressDidChange, this, [this] {
        if (_view)
            _view->refresh();
    });
    update();
}

VXStatusBar::~VXStatusBar() = default;

QString VXStatusBar::text() const
{
    return _text->text();
}

void VXStatusBar::setText(const QString &text)
{
    _text->setText(text);
    _text->setToolTip(text);
}

void VXStatusBar::update()
{
    const QList<VXActivity::Ptr> activities = _list->activities();
    if (!_view || activities.isEmpty() || _view->activity() != activities.first()) {
        if (_view)
            takeAway(_view);
        _view.clear();
        if (!activities.isEmpty()) {
            _view = new VXActivityView(activities.first());
            _place->layout()->addWidget(_view);
        }
    }
    _place->setVisible(!activities.isEmpty());
    const qsizetype others = activities.size() - 1;
    _more->setVisible(others > 0);
    _more->setText(VXInterfaceString(u"%1 more"_s).arg(others));
    _more->setToolTip(VXInterfaceString(u"Show all activities"_s));
}

void VXStatusBar::toggleActivities()
{
    if (_all) {
        _all->close();
        return;
    }
    _all = new VXAttachedWindow(new AllActivities(*_list), *this);
    _all->setAttribute(Qt::WA_DeleteOnClose);
    _all->setAccessibleName(VXInterfaceString(u"Activities"_s));
    _all->addActions(actions()); // it has all keys while it is open
    _all->attach(VXAttachedWindow::Side::Above);
}
