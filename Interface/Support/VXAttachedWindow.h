#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QPointer>
#include <QtWidgets/QFrame>

/**
 * A small window that belongs to a view and stays at its side when that moves, for explanations or additions. Escape
 * and a click elsewhere close it, and the focus returns to where it was. Main thread only.
 */
class VX_INTERFACE_EXPORT VXAttachedWindow : public QFrame
{
    Q_OBJECT

public:
    enum class Side { Above, Below, Leading, Trailing };

    /** Takes ownership of the content; the window closes when the anchor is destroyed. */
    VXAttachedWindow(QWidget *content, QWidget &anchor);
    ~VXAttachedWindow() override;

    /** Shows the window at that side, or at the opposite side if there is no room on the screen. */
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
