#include "VXTabOrder.h"

#include <QtCore/QEvent>
#include <QtCore/QTimer>
#include <QtWidgets/QWidget>

#include <algorithm>
#include <vector>

namespace {

constexpr int sameLine = 12; // pixels between the centers of widgets on the same line

struct Place
{
    QWidget *widget;
    QPoint middle;
};

class TabOrder : public QObject
{
public:
    explicit TabOrder(QWidget &page) : QObject(&page), _page(page)
    {
        _rest.setSingleShot(true);
        _rest.callOnTimeout(this, [this] { order(); });
        page.installEventFilter(this);
    }

    bool eventFilter(QObject *object, QEvent *event) override
    {
        if (event->type() == QEvent::LayoutRequest || event->type() == QEvent::Show)
            _rest.start(0); // when everything is in place
        return QObject::eventFilter(object, event);
    }

private:
    void order() const
    {
        std::vector<Place> places;
        for (QWidget *const each : _page.findChildren<QWidget *>()) {
            if ((each->focusPolicy() & Qt::TabFocus) != 0 && each->isVisibleTo(&_page) && each->focusProxy() == nullptr)
                places.push_back({each, each->mapTo(&_page, each->rect().center())});
        }
        std::ranges::stable_sort(places, {}, [](const Place &place) { return place.middle.y(); });
        const bool isMirrored = _page.layoutDirection() == Qt::RightToLeft;
        for (auto line = places.begin(); line != places.end();) {
            const auto end = std::find_if(
                line, places.end(), [&](const Place &place) { return place.middle.y() > line->middle.y() + sameLine; });
            std::stable_sort(line, end, [&](const Place &a, const Place &b) {
                return isMirrored ? a.middle.x() > b.middle.x() : a.middle.x() < b.middle.x();
            });
            line = end;
        }
        for (size_t i = 1; i < places.size(); ++i)
            QWidget::setTabOrder(places[i - 1].widget, places[i].widget);
    }

    QWidget &_page;
    QTimer _rest;
};

} // namespace

void VXKeepTabOrder(QWidget &page)
{
    new TabOrder(page);
}
