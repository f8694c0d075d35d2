#include "VXLog.h"

#include "VXDiagnostics.h"
#include "VXException.h"
#include "VXFileHandle.h"
#include "VXFileManager.h"
#include "VXFramework.h"
#include "VXLogClock.h"
#include "VXSystemLogClient.h"
#include "VXThread.h"
#include "VXVisibleText.h"

#include <QtCore/QHash>
#include <QtCore/QStringEncoder>

#include <array>
#include <atomic>
#include <charconv>
#include <concepts>
#include <cstdio>
#include <ctime>
#include <string_view>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr unsigned systemLogFilter = 127; // priorities 0 to 6: debug messages stay out of the system log
constexpr qint64 exceptionGraceMilliseconds = 60'000;
constexpr std::array<std::string_view, 8> levelNames{"FATAL",   "ALERT",  "CRITICAL", "ERROR",
                                                     "WARNING", "NOTICE", "INFO",     "DEBUG"};

VXMutex writeLock; // held while any logger writes a message
// Reused, so that a line needs no allocation; never freed, as threads may log during exit.
QByteArray &lineBuffer VX_GUARDED_BY(writeLock) = *new QByteArray;
constexpr qsizetype largestKeptBuffer = 64 * 1024;
std::atomic<int> echoDescriptor{-1};
std::atomic<QDateTime (*)()> currentTime{&QDateTime::currentDateTimeUtc};

using LoggerTable = QHash<QString, std::shared_ptr<VXLog>>;

// The thread's loggers by path; nullptr when they have been destroyed as the thread ends.
LoggerTable *loggersOfThread()
{
    thread_local bool gone = false;
    struct Owner
    {
        LoggerTable table;
        ~Owner() { gone = true; }
    };
    thread_local Owner owner;
    return gone ? nullptr : &owner.table;
}

// "Nov 15 22:04:32", made once per second: computing the local time takes longer than all the rest of a line.
const char *localTimeText(std::time_t seconds)
{
    static constexpr std::array months{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    thread_local std::time_t cachedSeconds = -1;
    thread_local std::array<char, 48> cachedText{};
    if (seconds != cachedSeconds) {
        std::tm local{};
        ::localtime_r(&seconds, &local);
        std::snprintf(cachedText.data(), cachedText.size(), "%s %02d %02d:%02d:%02d", months[size_t(local.tm_mon)],
                      local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
        cachedSeconds = seconds;
    }
    return cachedText.data();
}

// The part of a line before the message: "Nov 15 22:04:32.118 [311:2] <ERROR>". Composed by hand, as this is half of
// the cost of a line apart from writing it.
class LinePrefix
{
public:
    explicit LinePrefix(unsigned level)
    {
        static const int mainProcessID = ::getpid();
        std::timespec now{};
        ::clock_gettime(CLOCK_REALTIME, &now);
        put(localTimeText(now.tv_sec));
        const auto milliseconds = static_cast<unsigned>(now.tv_nsec / 1'000'000);
        put(milliseconds < 10 ? ".00" : milliseconds < 100 ? ".0" : ".");
        put(milliseconds);
        put(" [");
        put(mainProcessID);
        put(":");
        put(VXThread::vx_uniqueThreadID());
        put("] <");
        if (level < levelNames.size()) {
            put(levelNames[level]);
        } else {
            put("Level ");
            put(level);
        }
        put(">");
    }

    QByteArrayView view() const { return {_text.data(), _end}; }

private:
    void put(std::string_view text) { _end = std::copy(text.begin(), text.end(), _end); }
    void put(std::integral auto number) { _end = std::to_chars(_end, _text.data() + _text.size(), number).ptr; }

    std::array<char, 96> _text; // the parts take at most 80
    char *_end = _text.data();
};

// Appends the message in UTF-8; what cannot be encoded is left out.
void appendLossy(QByteArray &line, QStringView message)
{
    const bool clean = message.isValidUtf16();
    const qsizetype start = line.size();
    line.resize(start + message.size() * 3); // a UTF-16 unit takes at most 3 bytes in UTF-8
    char *end = line.data() + start;
    QStringEncoder encoder(QStringEncoder::Utf8, QStringConverter::Flag::Stateless);
    if (clean) {
        end = encoder.appendToBuffer(end, message);
    } else {
        for (qsizetype index = 0; index < message.size(); ++index) {
            const bool pair =
                message[index].isHighSurrogate() && index + 1 < message.size() && message[index + 1].isLowSurrogate();
            if (message[index].isSurrogate() && !pair)
                continue;
            end = encoder.appendToBuffer(end, message.sliced(index, pair ? 2 : 1));
            index += pair ? 1 : 0;
        }
    }
    line.truncate(end - line.constData());
}

// Inserts a tab after each line feed.
QString withMarkedLines(const QString &message)
{
    if (!message.contains(u'\n')) // nearly always
        return message;
    QString marked = message;
    return marked.replace(u'\n', "\n\t"_L1);
}

// Returns the encoded line, valid until the next call.
const QByteArray &makeLine(unsigned level, const QString &message) VX_REQUIRES(writeLock)
{
    if (lineBuffer.capacity() > largestKeptBuffer)
        lineBuffer = QByteArray();
    lineBuffer.resize(0);
    lineBuffer.append(LinePrefix(level).view());
    if (!message.isNull()) {
        lineBuffer.append(' ');
        appendLossy(lineBuffer, withMarkedLines(message));
    }
    lineBuffer.append('\n');
    return lineBuffer;
}

} // namespace

void VXLog::log(unsigned level, const QString &message)
{
    if (VX_OSX_VERSION <= 0x104F)
        VXConsoleLog(u"[%1] %2"_s.arg(logLevelString(level), VXDescription(message)));
    else if (VXLog *const logger = logWithFilePath({}))
        logger->logMessage(level, message);
    else // the thread's loggers are destroyed already
        initWithSystemLog(std::make_unique<VXSystemLogClient>())->logMessage(level, message);
}

VXLog *VXLog::logWithFilePath(const QString &path)
{
    LoggerTable *const loggers = loggersOfThread();
    if (loggers == nullptr)
        return nullptr;
    const QString key = path.isNull() ? u"system"_s : path;
    const auto known = loggers->constFind(key);
    if (known != loggers->cend())
        return known->get();
    const std::shared_ptr<VXLog> logger =
        path.isNull() ? initWithSystemLog(std::make_unique<VXSystemLogClient>()) : initWithFilePath(path);
    if (logger)
        loggers->insert(key, logger);
    return logger.get();
}

QString VXLog::logLevelString(unsigned level)
{
    return level < levelNames.size() ? QString::fromLatin1(QByteArrayView(levelNames[level]))
                                     : u"Level %1"_s.arg(level);
}

void VXLog::setEchoDescriptor(int descriptor)
{
    echoDescriptor.store(descriptor);
}

void VXSetLogClock(QDateTime (*clock)())
{
    currentTime.store(clock);
}

std::unique_ptr<VXLog> VXLog::initWithSystemLog(std::unique_ptr<VXSystemLogClient> client)
{
    std::unique_ptr<VXLog> logger(new VXLog);
    logger->_systemLogClient = std::move(client);
    logger->_systemLogClient->setFilterMask(systemLogFilter);
    const VXFileManager &files = VXFileManager::defaultManager();
    const QString folder = files.pathToUserVNXLogsFolder();
    const QString path = folder + "/error.log"_L1;
    if (!folder.isNull() && files.verifyLogFileAtPath(path)) {
        if (const auto handle = VXFileHandle::fileHandleForAppendingAtPath(path))
            logger->addFileHandle(handle);
    }
    return logger;
}

std::unique_ptr<VXLog> VXLog::initWithFilePath(const QString &path)
{
    if (!VXFileManager::defaultManager().verifyLogFileAtPath(path))
        return nullptr;
    const auto handle = VXFileHandle::fileHandleForAppendingAtPath(path);
    if (!handle)
        return nullptr;
    std::unique_ptr<VXLog> logger(new VXLog);
    logger->addFileHandle(handle);
    return logger;
}

VXLog::VXLog() = default;

VXLog::~VXLog() = default;

void VXLog::addFileHandle(const std::shared_ptr<VXFileHandle> &handle)
{
    VXAssert(handle != nullptr, u"nil file handle"_s);
    if (std::find(_fileHandles.cbegin(), _fileHandles.cend(), handle) == _fileHandles.cend())
        _fileHandles.push_back(handle);
}

void VXLog::removeFileHandles()
{
    _fileHandles.clear();
}

QString VXLog::formatForLog(unsigned level, const QString &message) const
{
    QString line = QString::fromLatin1(LinePrefix(level).view());
    if (!message.isNull())
        line += u' ' + withMarkedLines(message);
    return line + u'\n';
}

void VXLog::logMessage(unsigned level, const QString &message)
{
    if (_exceptionDate.isValid() && _exceptionDate.msecsTo(currentTime.load()()) > exceptionGraceMilliseconds)
        return;
    const VXMutexLocker lock(writeLock);
    try {
        writeLine(makeLine(level, message));
        if (_systemLogClient)
            _systemLogClient->log(level, message);
    } catch (const VXException &exception) {
        VXConsoleLog(u"EXCEPTION: %1"_s.arg(exception.reason()));
        _exceptionDate = currentTime.load()();
    }
}

void VXLog::writeLine(const QByteArray &line)
{
    for (const auto &handle : _fileHandles) {
        QString reason;
        if (!handle->writeData(line, &reason))
            throw VXException(u"VXFileHandleOperationException"_s, u"the log cannot be written: %1"_s.arg(reason));
    }
    if (const int descriptor = echoDescriptor.load(std::memory_order_relaxed); descriptor >= 0) {
        const QByteArray visible = VXVisibleText(QString::fromUtf8(line)).toUtf8();
        // If the terminal is gone, nobody can be told.
        [[maybe_unused]] const ssize_t written = ::write(descriptor, visible.constData(), size_t(visible.size()));
    }
}
