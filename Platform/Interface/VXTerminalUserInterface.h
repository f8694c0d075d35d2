#pragma once

#include "VXPlatformExport.h"
#include "VXUserInterface.h"

#include <QtCore/QByteArray>

#include <optional>

/**
 * Speaks with the user on a terminal, never on standard output: texts go to the terminal, else to standard
 * error. Where nobody is asked the policy answers, and the answer is shown with the question. A check box
 * then stays as it is, an open panel is cancelled, and a save panel gives its proposed path under Default if
 * nothing lies there.
 */
class VX_PLATFORM_EXPORT VXTerminalUserInterface : public VXUserInterface
{
public:
    /** Default: the default button. Cancel: what dismissing stands for. Ask: the user, or without a terminal
     * as Cancel, which is said once. */
    enum class Policy { Default, Cancel, Ask };

    /** On standard input and error when both are terminals, else on the controlling terminal, if any. */
    explicit VXTerminalUserInterface(Policy policy);
    /** On these descriptors, which stay the caller's. It can ask only when `input` is a terminal. */
    VXTerminalUserInterface(Policy policy, int input, int output);
    ~VXTerminalUserInterface() override;

    Policy policy() const { return _policy; }

protected:
    VXAlertResult showAlert(const VXAlert &alert) override;
    VXPanelResult showOpenPanel(const VXOpenPanel &panel) override;
    VXPanelResult showSavePanel(const VXSavePanel &panel) override;
    std::unique_ptr<VXProgressWindow> createProgressWindow() override;
    void showError(const VXError &error) override;

private:
    bool canAsk();
    void print(const QString &text) const;
    std::optional<QString> readLine();
    std::optional<QString> prompt(const QString &text);
    std::optional<VXAlertButton> askButton(const VXAlert &alert);
    std::optional<bool> askYesNo(const QString &question, bool proposed);

    const Policy _policy;
    int _input = -1;
    int _output = -1;
    int _ownedDescriptor = -1;
    bool _saidNoTerminal = false;
    QByteArray _pending; // what the terminal gave beyond the last line
};
