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
 * The bar below a window: a text about what is shown, and beside it the activity that began first, with its stop button; how
 * many more there are stands on a button that shows them all. Without activities only the text is there. Main thread only.
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
    /** All that runs, above the bar; again closes it. */
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
