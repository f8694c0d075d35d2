#pragma once

#include "VXPlatformExport.h"
#include "VXUserInterface.h"

#include <QtCore/QStringList>

#include <deque>
#include <memory>
#include <optional>
#include <vector>

/**
 * A scripted user, for tests: answers are queued beforehand, and everything shown is recorded. A question without a
 * queued answer fails the assertion "Unanswered alert: TEXT" (or open panel, save panel), and so does an answer that
 * the question does not offer. Notices (one button, no check box) need no answer.
 */
class VX_PLATFORM_EXPORT VXScriptedUserInterface : public VXUserInterface
{
public:
    struct ProgressRecord
    {
        QString title;
        QStringList messages; // all that were shown, in order
        double doubleValue = 0;
        double maxValue = 0;
        std::optional<VXProgressWindow::Result> result; // none while it runs
    };

    VXScriptedUserInterface();
    ~VXScriptedUserInterface() override;

    /** Presses a button of the next alert; the check box is set, or left unchanged. */
    void answerAlert(VXAlertButton button, std::optional<bool> isChecked = {});
    /** Chooses a path, relative to the panel's folder or absolute; a null one cancels. */
    void answerOpenPanel(const QString &path);
    void answerSavePanel(const QString &path, std::optional<bool> isChecked = {});
    /** Makes the user cancel the next progress window as soon as it is shown. */
    void cancelNextProgressWindow() { ++_cancels; }

    const std::vector<VXAlert> &alerts() const { return _alerts; }
    const std::vector<VXSavePanel> &savePanels() const { return _savePanels; }
    const std::vector<VXError> &errors() const { return _errors; }
    const std::vector<std::shared_ptr<ProgressRecord>> &progressWindows() const { return _progressWindows; }
    int activations() const { return _activations; }
    /** The number of answers still queued: a test that expects all to be used checks for 0. */
    std::size_t unusedAnswers() const;

    void activate() override { ++_activations; }

protected:
    VXAlertResult showAlert(const VXAlert &alert) override;
    VXPanelResult showOpenPanel(const VXOpenPanel &panel) override;
    VXPanelResult showSavePanel(const VXSavePanel &panel) override;
    std::unique_ptr<VXProgressWindow> createProgressWindow() override;
    void showError(const VXError &error) override;

private:
    template <class T>
    struct Answer
    {
        T choice;
        std::optional<bool> isChecked;
    };

    std::deque<Answer<VXAlertButton>> _alertAnswers;
    std::deque<Answer<QString>> _openAnswers;
    std::deque<Answer<QString>> _saveAnswers;
    std::size_t _cancels = 0;

    std::vector<VXAlert> _alerts;
    std::vector<VXSavePanel> _savePanels;
    std::vector<VXError> _errors;
    std::vector<std::shared_ptr<ProgressRecord>> _progressWindows;
    int _activations = 0;
};
