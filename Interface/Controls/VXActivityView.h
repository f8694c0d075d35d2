#pragma once

#include "VXActivity.h"
#include "VXInterfaceExport.h"

#include <QtWidgets/QWidget>

class QLabel;
class QProgressBar;
class QToolButton;

/** One running activity: what it does, how far it is, and its stop button where its delegate answers `cancel`. */
class VX_INTERFACE_EXPORT VXActivityView : public QWidget
{
    Q_OBJECT

public:
    /** On one line, as in a bar; or the two lines of an activity above each other, as in a list. */
    enum class Shape { Line, Block };

    explicit VXActivityView(const VXActivity::Ptr &activity, Shape shape = Shape::Line, QWidget *parent = nullptr);
    ~VXActivityView() override;

    VXActivity::Ptr activity() const { return _activity; }
    /** Looks at the activity again: it tells nobody when it moves. */
    void refresh();
    bool canStop() const;
    /** Asks the activity's delegate to cancel, once. */
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
