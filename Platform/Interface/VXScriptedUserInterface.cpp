#include "VXScriptedUserInterface.h"

#include "VXDiagnostics.h"
#include "VXException.h"

#include <QtCore/QDir>
#include <QtCore/QTimer>

using namespace Qt::StringLiterals;

namespace {

class RecordingProgressWindow : public VXProgressWindow
{
public:
    RecordingProgressWindow(std::shared_ptr<VXScriptedUserInterface::ProgressRecord> record, bool userCancels)
        : _record(std::move(record)), _userCancels(userCancels)
    {
    }

protected:
    void show() override
    {
        update();
        if (_userCancels)
            QTimer::singleShot(0, &_timerContext, [this] { userDidCancel(); });
    }

    void update() override
    {
        _record->title = title();
        if (!message().isNull() && (_record->messages.isEmpty() || _record->messages.last() != message()))
            _record->messages.append(message());
        _record->doubleValue = doubleValue();
        _record->maxValue = maxValue();
    }

    void close(Result result) override
    {
        update();
        _record->result = result;
    }

private:
    std::shared_ptr<VXScriptedUserInterface::ProgressRecord> _record;
    bool _userCancels;
    QObject _timerContext;
};

template <class Answer>
Answer takeAnswer(std::deque<Answer> &answers, QLatin1StringView kind, const QString &text)
{
    VXAssert(!answers.empty(), u"Unanswered %1: %2"_s.arg(kind, VXDescription(text)));
    const Answer answer = answers.front();
    answers.pop_front();
    return answer;
}

QString absolutePath(const QString &path, const QString &directory)
{
    if (path.isNull())
        return {};
    return QDir(directory.isNull() ? QDir::currentPath() : directory).absoluteFilePath(path);
}

} // namespace

VXScriptedUserInterface::VXScriptedUserInterface() = default;

VXScriptedUserInterface::~VXScriptedUserInterface() = default;

void VXScriptedUserInterface::answerAlert(VXAlertButton button, std::optional<bool> isChecked)
{
    _alertAnswers.push_back({button, isChecked});
}

void VXScriptedUserInterface::answerOpenPanel(const QString &path)
{
    _openAnswers.push_back({path, {}});
}

void VXScriptedUserInterface::answerSavePanel(const QString &path, std::optional<bool> isChecked)
{
    _saveAnswers.push_back({path, isChecked});
}

std::size_t VXScriptedUserInterface::unusedAnswers() const
{
    return _alertAnswers.size() + _openAnswers.size() + _saveAnswers.size() + _cancels;
}

VXAlertResult VXScriptedUserInterface::showAlert(const VXAlert &alert)
{
    _alerts.push_back(alert);
    if (!alert.isQuestion())
        return {VXAlertButton::Default, alert.isChecked};
    const auto answer = takeAnswer(_alertAnswers, "alert"_L1, alert.message);
    VXAssert(!alert.title(answer.choice).isNull(), u"Alert without that button: %1"_s.arg(alert.message));
    return {answer.choice, answer.isChecked.value_or(alert.isChecked)};
}

VXPanelResult VXScriptedUserInterface::showOpenPanel(const VXOpenPanel &panel)
{
    const auto answer = takeAnswer(_openAnswers, "open panel"_L1, panel.message);
    const QString path = absolutePath(answer.choice, panel.directory);
    VXAssert(path.isNull() || panel.canChoose(path), u"Not to be chosen: %1"_s.arg(path));
    return {path, false};
}

VXPanelResult VXScriptedUserInterface::showSavePanel(const VXSavePanel &panel)
{
    _savePanels.push_back(panel);
    const auto answer = takeAnswer(_saveAnswers, "save panel"_L1, panel.message);
    return {absolutePath(answer.choice, panel.directory), answer.isChecked.value_or(panel.isChecked)};
}

std::unique_ptr<VXProgressWindow> VXScriptedUserInterface::createProgressWindow()
{
    const bool userCancels = _cancels > 0;
    if (userCancels)
        --_cancels;
    _progressWindows.push_back(std::make_shared<ProgressRecord>());
    return std::make_unique<RecordingProgressWindow>(_progressWindows.back(), userCancels);
}

void VXScriptedUserInterface::showError(const VXError &error)
{
    _errors.push_back(error);
}
