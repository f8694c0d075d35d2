#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QPointer>
#include <QtWidgets/QWidget>

/**
 * A question or a form on the window it is about, which takes no input meanwhile; other windows do. It deletes itself when
 * it has ended. Escape cancels it; the window's end cancels it too. Main thread only.
 */
class VX_INTERFACE_EXPORT VXSheet : public QWidget
{
    Q_OBJECT

public:
    enum ReturnCode : int { Cancelled = 0, Ok = 1 };

    /** Takes the content over. */
    explicit VXSheet(QWidget *content);
    ~VXSheet() override;

    /** Shows it on the window that the widget is in. */
    void beginOnWindow(QWidget &widget);
    /** Ends it; again does nothing. */
    void end(int returnCode);
    bool isRunning() const { return _isRunning; }

Q_SIGNALS:
    /** Once. */
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
