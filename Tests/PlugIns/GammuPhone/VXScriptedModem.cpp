#include "VXScriptedModem.h"

#include <QtCore/QRegularExpression>

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QHash<QByteArray, QByteArray> usualAnswers{
    {"AT+CGMI", "Scripted"},
    {"AT+CGMM", "Modem 1"},
    {"AT+CGMR", "1.0"},
    {"AT+CGSN", "490154203237518"},
    {"AT+CSQ", "+CSQ: 20,99"},
    {"AT+CBC", "+CBC: 0,77"},
    {"AT+CSCS?", "+CSCS: \"GSM\""},
    {"AT+CSCS=?", "+CSCS: (\"GSM\",\"UCS2\")"},
    {"AT+CPBS=?", "+CPBS: (\"ME\",\"DC\",\"RC\",\"MC\")"},
    {"AT+CPBS=\"ME\"", ""},
    {"AT+CPBS?", "+CPBS: \"ME\",3,3"},
    {"AT+CPBR=?", "+CPBR: (1-3),40,40"},
    {"AT+CPBR=1", "+CPBR: 1,\"+15550101\",145,\"Ann\""},
    {"AT+CPBR=2", "+CPBR: 2,\"+15550102\",145,\"Bob\""},
    {"AT+CPBR=3", "+CPBR: 3,\"+15550103\",145,\"Cid\""},
    {"AT+CPMS=?", "+CPMS: (\"ME\"),(\"ME\"),(\"ME\")"},
    {"AT+CPMS=\"ME\"", "+CPMS: 0,50,0,50,0,50"},
    {"AT+CPMS=\"ME\",\"ME\"", "+CPMS: 0,50,0,50,0,50"},
    {"AT+CMGF=?", "+CMGF: (0,1)"},
    {"AT+CMGL=4", ""},
    {"AT+CNMI=?", "+CNMI: (0-2),(0-3),(0,2),(0-2),(0,1)"},
    {"AT+CSCA?", "+CSCA: \"+15550999\",145"},
};

// Commands that need no answer but "OK".
bool isObeyed(const QByteArray &command)
{
    static const QRegularExpression obeyed(
        u"^(AT|ATE1|ATA|ATH|ATD.*|AT\\+CHUP|AT\\+(CMEE|CSCS|CFUN|CLIP|CRC|CCWA|CMGF|CNMI|CMGD)=.*)$"_s);
    return obeyed.match(QString::fromLatin1(command)).hasMatch();
}

} // namespace

VXScriptedModem::VXScriptedModem()
{
    const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    std::array<char, 64> name{};
    if (terminal < 0 || ::grantpt(terminal) != 0 || ::unlockpt(terminal) != 0 ||
        ::ptsname_r(terminal, name.data(), name.size()) != 0 || ::pipe2(_wake, O_CLOEXEC) != 0)
        std::abort();
    termios settings{};
    ::tcgetattr(terminal, &settings);
    ::cfmakeraw(&settings);
    ::tcsetattr(terminal, TCSANOW, &settings);
    _port = QString::fromLatin1(name.data());
    {
        const VXMutexLocker lock(_lock);
        _terminal = terminal;
    }
    _thread = std::thread([this] { run(); });
}

VXScriptedModem::~VXScriptedModem()
{
    unplug();
    _thread.join();
    ::close(_wake[0]);
    ::close(_wake[1]);
}

void VXScriptedModem::answer(const QByteArray &command, const QByteArray &lines)
{
    const VXMutexLocker lock(_lock);
    _answers.insert(command, lines);
}

void VXScriptedModem::intercept(const QByteArray &command, const std::function<void()> &act)
{
    const VXMutexLocker lock(_lock);
    _interceptions.insert(command, act);
}

void VXScriptedModem::fallSilent()
{
    const VXMutexLocker lock(_lock);
    _isSilent = true;
}

void VXScriptedModem::say(const QByteArray &line)
{
    write("\r\n" + line + "\r\n");
}

void VXScriptedModem::unplug()
{
    const VXMutexLocker lock(_lock);
    if (_terminal < 0)
        return;
    ::close(std::exchange(_terminal, -1));
    if (::write(_wake[1], "", 1) != 1) // the terminal lives as long as somebody polls it
        std::abort();
}

QList<QByteArray> VXScriptedModem::commands() const
{
    const VXMutexLocker lock(_lock);
    return _commands;
}

void VXScriptedModem::write(const QByteArray &bytes)
{
    const VXMutexLocker lock(_lock);
    if (_terminal >= 0 && ::write(_terminal, bytes.constData(), size_t(bytes.size())) != bytes.size())
        std::abort();
}

void VXScriptedModem::run()
{
    QByteArray line;
    for (;;) {
        int terminal = -1;
        {
            const VXMutexLocker lock(_lock);
            terminal = _terminal;
        }
        if (terminal < 0)
            return;
        std::array<pollfd, 2> waited{pollfd{_wake[0], POLLIN, 0}, pollfd{terminal, POLLIN, 0}};
        // While nobody has the port open the terminal is hung up, which poll tells at once, and again.
        ::poll(&waited[1], 1, 0);
        const bool isOpen = (waited[1].revents & POLLHUP) == 0;
        ::poll(waited.data(), isOpen ? 2 : 1, isOpen ? -1 : 10);
        std::array<char, 1024> bytes{};
        const ssize_t count = (waited[1].revents & POLLIN) != 0 ? ::read(terminal, bytes.data(), bytes.size()) : 0;
        for (const char byte : QByteArrayView(bytes.data(), std::max<ssize_t>(count, 0))) {
            if (byte != '\r' && byte != '\x1a')
                line += byte;
            else
                take(std::exchange(line, {}).trimmed());
        }
    }
}

void VXScriptedModem::take(const QByteArray &command)
{
    QByteArray reply = command + "\r\n";
    std::function<void()> act;
    {
        const VXMutexLocker lock(_lock);
        _commands.append(command);
        if (_isSilent || command.isEmpty())
            return;
        act = _interceptions.value(command);
        const bool isScripted = _answers.contains(command);
        if (isScripted || usualAnswers.contains(command))
            reply += (isScripted ? _answers : usualAnswers).value(command) + "\r\n\r\nOK\r\n";
        else if (command.startsWith("AT+CMGS="))
            reply += "> "; // the message follows
        else if (!_commands.isEmpty() && _commands.size() > 1 &&
                 _commands.at(_commands.size() - 2).startsWith("AT+CMGS="))
            reply += "\r\n+CMGS: 7\r\n\r\nOK\r\n";
        else
            reply += isObeyed(command) ? "OK\r\n" : "ERROR\r\n";
    }
    if (act)
        act();
    else
        write(reply);
}
