#pragma once

#include "VXInterfaceExport.h"
#include "VXUserInterface.h"

/**
 * Speaks with the user in windows, which belong to the window in front. What takes longer than half a second shows its
 * progress; until then the program's windows take no input. Main thread only.
 */
class VX_INTERFACE_EXPORT VXWidgetsUserInterface : public VXUserInterface
{
public:
    VXWidgetsUserInterface();
    ~VXWidgetsUserInterface() override;

    /** Brings the window that was in front last, or else the first, to the front; a minimised one is shown again. */
    void activate() override;

protected:
    VXAlertResult showAlert(const VXAlert &alert) override;
    VXPanelResult showOpenPanel(const VXOpenPanel &panel) override;
    VXPanelResult showSavePanel(const VXSavePanel &panel) override;
    std::unique_ptr<VXProgressWindow> createProgressWindow() override;
    /** What, why, one button; domain, code and file stand in the details. */
    void showError(const VXError &error) override;
};
