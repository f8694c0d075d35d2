#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QPointer>
#include <QtWidgets/QWidget>

/**
 * A question or form on a window, which accepts no other input meanwhile, unlike other windows. It deletes itself when
 * it has ended. Escape cancels it, and so does the destruction of the window. Main thread only.
 */
class VX_INTERFACE_EXPORT VXSheet : public QWidget
{
    Q_OBJECT

public:
    enum ReturnCode : int { Cancelled = 0, Ok = 1 };

    /** Takes ownership of the content. */
    explicit VXSheet(QWidget *content);
    ~VXSheet() override;

    /** Shows the sheet on the widget's window. */
    void beginOnWindow(QWidget &widget);
    /** Ends the sheet; further calls do nothing. */
    void end(int returnCode);
    bool isRunning() const { return _isRunning; }

Q_SIGNALS:
    /** Emitted once. */
    void didEnd(int returnCode);

protected:
    void paintEvent(QPaintEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    bool focusNextPrevChild(bool next) override;
    bool eventFilter(QObject *object, QEvent *event) override;

private:
    void place();

    QWidget *const _content;
    QPointer<QWidget> _focusBefore;
    bool _isRunning = false;
};
