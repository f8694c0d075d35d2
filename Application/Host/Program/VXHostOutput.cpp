#include "VXHostOutput.h"

#include "VXException.h"
#include "VXFileDescriptor.h"
#include "VXHostJSON.h"
#include "VXShownText.h"
#include "VXVisibleText.h"

#include <QtCore/QJsonObject>

#include <cerrno>
#include <cstring>
#include <limits>
#include <sys/ioctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype bufferSize = 64 * 1024;

// Returns 0, or the error number of the write that failed.
int writeFully(int descriptor, const QByteArray &bytes)
{
    return VXWriteAll(descriptor, bytes) ? 0 : errno;
}

// One of our sentences in the user's language.
QString shown(const QString &text)
{
    return text.endsWith(".\n"_L1) ? VXShownText(text.chopped(1)) + u'\n' : text;
}

} // namespace

VXHostOutput::VXHostOutput(int output, int errors, bool isJSON) : _output(output), _errors(errors), _isJSON(isJSON) {}

bool VXHostOutput::isTerminal() const
{
    return ::isatty(_output) != 0;
}

qsizetype VXHostOutput::width() const
{
    return widthOf(_output);
}

qsizetype VXHostOutput::widthOf(int descriptor)
{
    bool isNumber = false;
    const int columns = qEnvironmentVariableIntValue("COLUMNS", &isNumber);
    if (isNumber && columns > 0)
        return columns;
    winsize size{};
    const bool isKnown = ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? size.ws_col : std::numeric_limits<qsizetype>::max();
}

void VXHostOutput::answer(const QString &text, const QJsonValue &value)
{
    const VXMutexLocker lock(_lock);
    VXAssert(!_answered, u"A command answers once"_s);
    _answered = true;
    if (_isJSON)
        writeLine(VXJSONText(value, QJsonDocument::Indented));
    else
        write(VXVisibleText(shown(text)).toUtf8()); // it may contain text from anybody
}

void VXHostOutput::answer(const QJsonValue &value)
{
    const VXMutexLocker lock(_lock);
    VXAssert(!_answered, u"A command answers once"_s);
    _answered = true;
    writeLine(VXJSONText(value, QJsonDocument::Indented));
}

void VXHostOutput::answerBytes(const QByteArray &bytes)
{
    const VXMutexLocker lock(_lock);
    VXAssert(!_isJSON && !_answered, u"Bytes are no JSON value"_s);
    _answered = true;
    write(bytes);
}

void VXHostOutput::beginParts()
{
    const VXMutexLocker lock(_lock);
    VXAssert(!_answered, u"A command answers once"_s);
    _answered = true;
    _inParts = true;
    if (_isJSON)
        write("[");
}

void VXHostOutput::writePart(const QByteArray &line)
{
    const VXMutexLocker lock(_lock);
    if (_isJSON)
        write(_wroteFirstPart ? ",\n" : "\n");
    _wroteFirstPart = true;
    if (_isJSON)
        write(line);
    else
        writeLine(line);
}

void VXHostOutput::note(const QString &text)
{
    const QByteArray fresh = ::isatty(_errors) != 0 ? "\r\x1b[K"_ba : QByteArray(); // a progress bar may be there
    writeFully(_errors, fresh + VXVisibleText(text).toUtf8() + '\n');
}

int VXHostOutput::fail(const QString &text)
{
    const VXMutexLocker lock(_lock);
    if (text == _failure) // for example when the same is tried again at the end
        return Failed;
    _failure = text;
    writeFully(_errors, (u"vornix: "_s + VXVisibleText(text) + u'\n').toUtf8()); // it may quote text from outside
    return Failed;
}

int VXHostOutput::failUsage(const QString &text, const QString &usage)
{
    fail(text);
    writeFully(_errors, (usage + u'\n').toUtf8());
    return WrongUsage;
}

bool VXHostOutput::flush()
{
    const VXMutexLocker lock(_lock);
    if (_writingFailed)
        return false;
    _hasWritten = _hasWritten || !_buffer.isEmpty();
    const int error = writeFully(_output, _buffer);
    _buffer.clear();
    if (error == 0)
        return true;
    _writingFailed = true;
    if (error != EPIPE)
        fail(u"cannot write to standard output: "_s + QString::fromLocal8Bit(std::strerror(error)));
    return false;
}

int VXHostOutput::finish(int status)
{
    const VXMutexLocker lock(_lock);
    if (_isJSON && _inParts)
        write(_wroteFirstPart ? "\n]\n" : "]\n");
    else if (_isJSON && !_answered)
        writeLine(_failure.isNull() ? "null"_ba : VXJSONText(QJsonObject{{u"error"_s, _failure}}));
    _answered = true;
    _inParts = false;
    const bool isWritten = flush();
    _hasWritten = true;
    return isWritten ? status : static_cast<int>(Failed);
}

// Calls only functions that are allowed inside a signal handler.
void VXHostOutput::answerCrash(std::string_view failure) const
{
    if (!_isJSON || _hasWritten)
        return;
    const auto put = [this](std::string_view text) {
        [[maybe_unused]] const ssize_t written = ::write(_output, text.data(), text.size());
    };
    put(R"({"error": ")");
    for (const char &character : failure) {
        if (character == '"' || character == '\\')
            put("\\");
        put(static_cast<unsigned char>(character) < 0x20 ? "?" : std::string_view(&character, 1));
    }
    put("\"}\n");
}

void VXHostOutput::write(const QByteArray &bytes)
{
    if (_writingFailed)
        return;
    _buffer += bytes;
    if (_buffer.size() >= bufferSize)
        flush();
}

void VXHostOutput::writeLine(const QByteArray &line)
{
    write(line);
    write("\n");
}
