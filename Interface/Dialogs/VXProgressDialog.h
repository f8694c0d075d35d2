#pragma once

#include "VXInterfaceExport.h"

#include <QtWidgets/QDialog>

#include <functional>

class QProgressBar;
class QPushButton;
class VXProgressWindow;
class VXTextLabel;

/** The window of a progress window: what is done, how far it is, and a button that stops it; Escape stops it too. */
class VX_INTERFACE_EXPORT VXProgressDialog : public QDialog
{
    Q_OBJECT

public:
    explicit VXProgressDialog(QWidget *parent = nullptr);
    ~VXProgressDialog() override;

    /** Called at the first request to stop; the button is off from then on. */
    void setStopHandler(std::function<void()> handler) { _stopHandler = std::move(handler); }
    /** `elapsed`: milliseconds that the work has taken. */
    void showProgress(const VXProgressWindow &progress, qint64 elapsed);

    /** Requests to close are requests to stop. */
    void reject() override;

private:
    std::function<void()> _stopHandler;
    VXTextLabel *const _title;
    VXTextLabel *const _message;
    VXTextLabel *const _share;
    QProgressBar *const _bar;
    QPushButton *const _stop;
};
