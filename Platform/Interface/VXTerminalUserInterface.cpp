#include "VXTerminalUserInterface.h"

#include "VXFolders.h"
#include "VXModalSession.h"
#include "VXTerminalOutput.h"
#include "VXTerminalProgressWindow.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QSocketNotifier>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr std::array buttonOrder = {VXAlertButton::Default, VXAlertButton::Alternate, VXAlertButton::Other};

QString messageText(const QString &message, const QString &informativeText, const QString &details = {})
{
    QStringList texts{message, informativeText, details};
    texts.removeAll(QString());
    return texts.join(u'\n') + u'\n';
}

// The state of a check box that nobody was asked about.
QString checkBoxText(const QString &title, bool isChecked)
{
    return title.isNull() ? QString() : (isChecked ? ", and: "_L1 : ", and not: "_L1) + title;
}

// The path that the user typed: "~" means home, relative paths start at the panel's folder.
QString typedPath(const QString &text, const QString &directory)
{
    const QDir folder(directory.isNull() ? QDir::currentPath() : directory);
    return QDir::cleanPath(folder.absoluteFilePath(VXExpandTilde(text)));
}

} // namespace

VXTerminalUserInterface::VXTerminalUserInterface(Policy policy) : _policy(policy), _output(STDERR_FILENO)
{
    if (::isatty(STDIN_FILENO) != 0 && ::isatty(STDERR_FILENO) != 0) {
        _input = STDIN_FILENO;
    } else if (policy == Policy::Ask) {
        _ownedDescriptor = ::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY);
        _input = _ownedDescriptor;
        if (_ownedDescriptor >= 0)
            _output = _ownedDescriptor;
    }
}

VXTerminalUserInterface::VXTerminalUserInterface(Policy policy, int input, int output)
    : _policy(policy), _input(::isatty(input) ? input : -1), _output(output)
{
}

VXTerminalUserInterface::~VXTerminalUserInterface()
{
    if (_ownedDescriptor >= 0)
        ::close(_ownedDescriptor);
}

VXAlertResult VXTerminalUserInterface::showAlert(const VXAlert &alert)
{
    const QString text = messageText(alert.message, alert.informativeText, alert.details);
    if (!alert.isQuestion()) {
        print(text);
        return {VXAlertButton::Default, alert.isChecked};
    }
    if (!canAsk()) {
        const auto button = _policy == Policy::Default ? VXAlertButton::Default : alert.dismissButton();
        const bool isCancelled = button != VXAlertButton::Default;
        print(text + "-> "_L1 + alert.title(button) +
              (isCancelled ? QString() : checkBoxText(alert.checkBoxTitle, alert.isChecked)) + u'\n');
        return {button, alert.isChecked};
    }
    print(text);
    bool isChecked = alert.isChecked;
    if (!alert.checkBoxTitle.isNull())
        isChecked = askYesNo(alert.checkBoxTitle, isChecked).value_or(isChecked);
    const bool oneButton = alert.alternateButton.isNull() && alert.otherButton.isNull();
    const auto button = oneButton ? VXAlertButton::Default : askButton(alert).value_or(alert.dismissButton());
    return {button, isChecked};
}

// None when the terminal was closed or the user typed an end of file.
std::optional<VXAlertButton> VXTerminalUserInterface::askButton(const VXAlert &alert)
{
    QString choices;
    std::vector<VXAlertButton> buttons;
    for (const VXAlertButton button : buttonOrder) {
        if (alert.title(button).isNull())
            continue;
        buttons.push_back(button);
        choices += u"  %1) %2\n"_s.arg(buttons.size()).arg(alert.title(button));
    }
    print(choices);
    while (const auto line = prompt(u"Your choice [1]: "_s)) {
        const QString typed = line->isEmpty() ? u"1"_s : *line;
        std::vector<VXAlertButton> matches;
        for (std::size_t i = 0; i < buttons.size(); ++i) {
            const bool isNumber = typed == QString::number(i + 1);
            if (isNumber || alert.title(buttons[i]).startsWith(typed, Qt::CaseInsensitive))
                matches.push_back(buttons[i]);
        }
        if (matches.size() == 1)
            return matches.front();
        print(u"Type one of the numbers, or the beginning of a title.\n"_s);
    }
    return {};
}

std::optional<bool> VXTerminalUserInterface::askYesNo(const QString &question, bool proposed)
{
    while (const auto line = prompt(question + (proposed ? " [Y/n]: "_L1 : " [y/N]: "_L1))) {
        if (line->isEmpty())
            return proposed;
        if (line->startsWith(u'y', Qt::CaseInsensitive))
            return true;
        if (line->startsWith(u'n', Qt::CaseInsensitive))
            return false;
        print(u"Type y or n.\n"_s);
    }
    return {};
}

VXPanelResult VXTerminalUserInterface::showOpenPanel(const VXOpenPanel &panel)
{
    print(messageText(panel.message.isNull() ? u"Choose a file"_s : panel.message, {}));
    if (!canAsk()) {
        print(u"-> cancelled\n"_s);
        return {};
    }
    while (const auto line = prompt(u"Path (empty cancels): "_s)) {
        if (line->isEmpty())
            return {};
        const QString path = typedPath(*line, panel.directory);
        if (panel.canChoose(path))
            return {path, false};
        print((QFileInfo::exists(path) ? u"Not to be chosen here: %1\n"_s : u"No such file: %1\n"_s).arg(path));
    }
    return {};
}

VXPanelResult VXTerminalUserInterface::showSavePanel(const VXSavePanel &panel)
{
    const QString proposed = panel.proposedPath();
    print(messageText(panel.message.isNull() ? u"Save as"_s : panel.message, {}));
    if (!canAsk()) {
        const bool take = _policy == Policy::Default && !proposed.isNull() && !QFileInfo::exists(proposed);
        print("-> "_L1 + (take ? proposed + checkBoxText(panel.checkBoxTitle, panel.isChecked) : u"cancelled"_s) +
              u'\n');
        return {take ? proposed : QString(), panel.isChecked};
    }
    bool isChecked = panel.isChecked;
    if (!panel.checkBoxTitle.isNull())
        isChecked = askYesNo(panel.checkBoxTitle, isChecked).value_or(isChecked);
    const QString question = proposed.isNull() ? u"Path (empty cancels): "_s : u"Path [%1]: "_s.arg(proposed);
    while (const auto line = prompt(question)) {
        const QString path = line->isEmpty() ? proposed : typedPath(*line, panel.directory);
        if (path.isNull())
            break;
        if (!QFileInfo::exists(path) || askYesNo(u"%1 exists. Replace it?"_s.arg(path), false).value_or(false))
            return {path, isChecked};
    }
    return {{}, isChecked};
}

std::unique_ptr<VXProgressWindow> VXTerminalUserInterface::createProgressWindow()
{
    return std::make_unique<VXTerminalProgressWindow>(_output);
}

void VXTerminalUserInterface::showError(const VXError &error)
{
    print(messageText(error.localizedDescription(), error.localizedRecoverySuggestion()));
}

bool VXTerminalUserInterface::canAsk()
{
    if (_policy != Policy::Ask)
        return false;
    if (_input < 0 && !_saidNoTerminal) {
        print(u"There is no terminal to ask on; questions are cancelled where they can be.\n"_s);
        _saidNoTerminal = true;
    }
    return _input >= 0;
}

void VXTerminalUserInterface::print(const QString &text) const
{
    VXWriteFully(_output, VXPrintableText(text).toUtf8());
}

std::optional<QString> VXTerminalUserInterface::prompt(const QString &text)
{
    print(text);
    auto line = readLine();
    if (!line)
        print(u"\n"_s);
    return line;
}

std::optional<QString> VXTerminalUserInterface::readLine()
{
    VXModalSession session;
    QSocketNotifier notifier(_input, QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, [&] {
        std::array<char, 4096> buffer;
        const ssize_t count = ::read(_input, buffer.data(), buffer.size());
        if (count > 0)
            _pending.append(buffer.data(), count);
        const bool again = count < 0 && (errno == EINTR || errno == EAGAIN);
        if (_pending.contains('\n') || (count <= 0 && !again))
            session.stop(0);
    });
    if (!_pending.contains('\n'))
        session.run();
    const qsizetype end = _pending.indexOf('\n');
    if (end < 0)
        return {};
    const QString line = QString::fromUtf8(_pending.first(end)).trimmed();
    _pending.remove(0, end + 1);
    return line;
}
