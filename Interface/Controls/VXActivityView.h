#pragma once

#include "VXActivity.h"
#include "VXInterfaceExport.h"

#include <QtWidgets/QWidget>

class QLabel;
class QProgressBar;
class QToolButton;

/** A running activity: its titles, its progress, and a stop button if its delegate has a method `cancel`. */
class VX_INTERFACE_EXPORT VXActivityView : public QWidget
{
    Q_OBJECT

public:
    /** Line: on one line, as in a bar. Block: title and subtitle one above the other, as in a list. */
    enum class Shape { Line, Block };

    explicit VXActivityView(const VXActivity::Ptr &activity, Shape shape = Shape::Line, QWidget *parent = nullptr);
    ~VXActivityView() override;

    VXActivity::Ptr activity() const { return _activity; }
    /** Reads the activity again, since it does not notify of changes. */
    void refresh();
    bool canStop() const;
    /** Calls `cancel` of the activity's delegate, only once. */
    void stop();

private:
    const VXActivity::Ptr _activity;
    const Shape _shape;
    QLabel *const _title;
    QLabel *const _subtitle;
    QProgressBar *const _bar;
    QToolButton *const _stop;
    bool _isStopping = false;
};
