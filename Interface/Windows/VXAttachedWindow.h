#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QPointer>
#include <QtWidgets/QFrame>

/**
 * A small window that belongs to a view and stays at its side while that moves: what explains or completes it. Escape and a
 * click elsewhere close it, and the focus goes back to where it was. Main thread only.
 */
class VX_INTERFACE_EXPORT VXAttachedWindow : public QFrame
{
    Q_OBJECT

public:
    enum class Side { Above, Below, Leading, Trailing };

    /** Takes the content over; the anchor outlives the window, or closes it by going away. */
    VXAttachedWindow(QWidget *content, QWidget &anchor);
    ~VXAttachedWindow() override;

    /** Shows it at that side, or at the opposite one where the screen ends. */
    void attach(Side side);

protected:
    void paintEvent(QPaintEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void closeEvent(QCloseEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    bool eventFilter(QObject *object, QEvent *event) override;

private:
    void place();

    const QPointer<QWidget> _anchor;
    QPointer<QWidget> _focusBefore;
    Side _side = Side::Below;
};
