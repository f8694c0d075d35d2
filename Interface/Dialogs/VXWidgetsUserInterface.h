#pragma once

#include "VXInterfaceExport.h"
#include "VXUserInterface.h"

/**
 * Communicates with the user in windows, which belong to the front window. Work that takes longer than half a second
 * shows its progress; until then the program's windows accept no input. Main thread only.
 */
class VX_INTERFACE_EXPORT VXWidgetsUserInterface : public VXUserInterface
{
public:
    VXWidgetsUserInterface();
    ~VXWidgetsUserInterface() override;

    /** Brings the last front window, or else the first window, to the front, restoring it if minimised. */
    void activate() override;

protected:
    VXAlertResult showAlert(const VXAlert &alert) override;
    VXPanelResult showOpenPanel(const VXOpenPanel &panel) override;
    VXPanelResult showSavePanel(const VXSavePanel &panel) override;
    std::unique_ptr<VXProgressWindow> createProgressWindow() override;
    /** Shows what went wrong, and why, with a single button; domain, code and file are in the details. */
    void showError(const VXError &error) override;
};
