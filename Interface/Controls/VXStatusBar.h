#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QPointer>
#include <QtWidgets/QWidget>

class QLabel;
class QToolButton;
class VXActivityList;
class VXActivityView;
class VXAttachedWindow;

/**
 * The bar at the bottom of a window: a text about the contents, and beside it the activity that began first, with its
 * stop button; a button with the number of further activities shows all of them. Without activities there is only the
 * text. Main thread only.
 */
class VX_INTERFACE_EXPORT VXStatusBar : public QWidget
{
    Q_OBJECT

public:
    explicit VXStatusBar(QWidget *parent = nullptr);
    ~VXStatusBar() override;

    QString text() const;
    void setText(const QString &text);
    VXActivityList &activityList() const { return *_list; }
    /** Shows all activities above the bar, or closes them again; the keys of the bar's own actions work there too. */
    void toggleActivities();

private:
    void update();

    VXActivityList *const _list;
    QLabel *const _text;
    QWidget *const _place; // of the activity
    QToolButton *const _more;
    QPointer<VXActivityView> _view;
    QPointer<VXAttachedWindow> _all;
};
