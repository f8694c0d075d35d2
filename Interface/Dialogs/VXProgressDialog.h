#pragma once

#include "VXInterfaceExport.h"

#include <QtWidgets/QDialog>

#include <functional>

class QProgressBar;
class QPushButton;
class VXProgressWindow;
class VXTextLabel;

/**
 * The window of a progress window: what is being done, the progress, and a button to stop, which Escape presses as
 * well.
 */
class VX_INTERFACE_EXPORT VXProgressDialog : public QDialog
{
    Q_OBJECT

public:
    explicit VXProgressDialog(QWidget *parent = nullptr);
    ~VXProgressDialog() override;

    /** Called at the first request to stop; then the button is disabled. */
    void setStopHandler(std::function<void()> handler) { _stopHandler = std::move(handler); }
    /** `elapsed`: how long the work has taken so far, in milliseconds. */
    void showProgress(const VXProgressWindow &progress, qint64 elapsed);

    /** A request to close is a request to stop. */
    void reject() override;

private:
    std::function<void()> _stopHandler;
    VXTextLabel *const _title;
    VXTextLabel *const _message;
    VXTextLabel *const _share;
    QProgressBar *const _bar;
    QPushButton *const _stop;
};
