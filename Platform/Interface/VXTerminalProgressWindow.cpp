#include "VXTerminalProgressWindow.h"

#include "VXTerminalOutput.h"

#include <algorithm>
#include <cmath>
#include <sys/ioctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int barWidth = 24;

int terminalWidth(int descriptor)
{
    winsize size = {};
    return ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

} // namespace

VXTerminalProgressWindow::VXTerminalProgressWindow(int output) : _output(output), _isTerminal(::isatty(output)) {}

VXTerminalProgressWindow::~VXTerminalProgressWindow() = default;

void VXTerminalProgressWindow::show()
{
    _interrupt.emplace(std::initializer_list<int>{SIGINT}, [this](int) { userDidCancel(); });
    update();
}

void VXTerminalProgressWindow::update()
{
    if (!_isTerminal)
        return;
    // Leaves one column free: a terminal wraps when the last one is filled.
    const QByteArray text = line(terminalWidth(_output) - 1).toUtf8();
    if (text == _drawn)
        return;
    _drawn = text;
    VXWriteFully(_output, "\r" + text + "\x1b[K");
}

void VXTerminalProgressWindow::close(Result)
{
    _interrupt.reset();
    if (_isTerminal)
        VXWriteFully(_output, "\r\x1b[K");
    _drawn.clear();
}

QString VXTerminalProgressWindow::line(int width) const
{
    QString text = title();
    if (!message().isEmpty())
        text += (text.isEmpty() ? ""_L1 : ": "_L1) + message();
    text = VXPrintableText(text).replace(u'\n', u' ');
    if (isIndeterminate() || !(maxValue() > 0))
        return text.left(width);
    const double share = std::clamp(doubleValue() / maxValue(), 0.0, 1.0);
    const int filled = static_cast<int>(std::lround(share * barWidth));
    const QString bar = u"[%1%2] %3 %  "_s.arg(QString(filled, u'#'), QString(barWidth - filled, u'-'))
                            .arg(static_cast<int>(share * 100), 3);
    return (bar + text).left(width);
}
