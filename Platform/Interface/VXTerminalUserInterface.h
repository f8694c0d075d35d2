#pragma once

#include "VXPlatformExport.h"
#include "VXUserInterface.h"

#include <QtCore/QByteArray>

#include <optional>

/**
 * Communicates with the user on a terminal, never on standard output: texts go to the terminal, or else to standard
 * error. If the user is not asked, the policy answers, and the answer is shown with the question. Then a check box is
 * unchanged, an open panel is cancelled, and a save panel returns its proposed path, if the policy is Default and
 * nothing is at that path.
 */
class VX_PLATFORM_EXPORT VXTerminalUserInterface : public VXUserInterface
{
public:
    /** Default: the default button. Cancel: the button for dismissal. Ask: asks the user; without a terminal like
     *  Cancel, which is reported once. */
    enum class Policy { Default, Cancel, Ask };

    /** Uses standard input and error when both are terminals, otherwise the controlling terminal, if any. */
    explicit VXTerminalUserInterface(Policy policy);
    /** Uses these descriptors, which the caller owns. Can ask only if `input` is a terminal. */
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
    QByteArray _pending; // input beyond the last line
};
