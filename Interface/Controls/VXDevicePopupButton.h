#pragma once

#include "VXDevicePopup.h"
#include "VXInterfaceExport.h"

#include <QtWidgets/QComboBox>

/**
 * Lets the user choose a phone: each with its name and whether it is connected; if there is none, an item that adds
 * one. The logic is that of VXDevicePopup. Main thread only.
 */
class VX_INTERFACE_EXPORT VXDevicePopupButton : public QComboBox
{
    Q_OBJECT

public:
    explicit VXDevicePopupButton(QWidget *parent = nullptr);
    ~VXDevicePopupButton() override;

    VXDevicePopup &popup() const { return *_popup; }
    QUrl selectedURL() const { return _popup->selectedURL(); }
    void showPopup() override;

Q_SIGNALS:
    /** Null when there is no device. */
    void selectedURLDidChange(const QUrl &url);

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void fill();
    void select();
    void activate(int index);
    void refreshMarks();

    VXDevicePopup *const _popup;
};
