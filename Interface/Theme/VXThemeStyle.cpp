#include "VXThemeStyle.h"

#include <QtWidgets/QAbstractItemView>
#include <QtWidgets/QHeaderView>

using namespace Qt::StringLiterals;

VXThemeStyle::VXThemeStyle() : QProxyStyle(u"Fusion"_s) {}

// A list whose current row is set before it is shown measures its rows without the style sheet, and keeps the result.
void VXThemeStyle::polish(QWidget *widget)
{
    QProxyStyle::polish(widget);
    auto *const view = qobject_cast<QAbstractItemView *>(widget);
    if (view != nullptr && qobject_cast<QHeaderView *>(widget) == nullptr)
        QMetaObject::invokeMethod(view, &QAbstractItemView::doItemsLayout, Qt::QueuedConnection);
}
