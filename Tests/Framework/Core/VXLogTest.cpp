#include "VXLog.h"
#include "VXDiagnostics.h"
#include "VXException.h"
#include "VXFileHandle.h"
#include "VXFramework.h"
#include "VXLogClock.h"
#include "VXLogRecorder.h"
#include "VXMethodLog.h"
#include "VXSystemLogClient.h"
#include "VXTesting.h"
#include "VXVisibleText.h"

#include <QtCore/QRegularExpression>

#include <thread>

using namespace Qt::StringLiterals;

namespace {

class RecordingClient : public VXSystemLogClient
{
public:
    explicit RecordingClient(QStringList &messages) : _messages(messages) {}

protected:
    void send(int priority, const QByteArray &utf8) override
    {
        _messages.append(u"%1 %2"_s.arg(priority).arg(QString::fromUtf8(utf8)));
    }

private:
    QStringList &_messages;
};

// A disk that is full as long as `full` says.
class FailingHandle : public VXFileHandle
{
public:
    FailingHandle() : VXFileHandle(VXFileDescriptor()) {}

    bool writeData(QByteArrayView data, QString *reason) override
    {
        if (full)
            *reason = u"No space left on device"_s;
        else
            written += data.toByteArray();
        return !full;
    }

    bool full = true;
    QByteArray written;
};

QDateTime testTime = QDateTime::fromSecsSinceEpoch(1'000'000); // main thread only

} // namespace

class VXLogTest : public VXHomeTest
{
protected:
    VXLogTest()
    {
        writeFile(u"Test.app/Contents/Info.plist"_s, R"(<plist version="1.0"><dict>
            <key>CFBundleIdentifier</key><string>com.example.test</string>
            <key>CFBundleName</key><string>Test</string></dict></plist>)");
        VXBundle::setMainBundle(VXBundle::bundleWithPath(path(u"Test.app"_s)));
    }
    ~VXLogTest() override
    {
        VXBundle::setMainBundle(_before);
        VXSetLogClock(&QDateTime::currentDateTimeUtc);
    }

    /** Runs the work where no line was logged yet: a thread's logger stays with the file of its first line. */
    static void onFreshThread(const std::function<void()> &work) { std::thread(work).join(); }

    QString errorLog() const { return path(u".local/state/Test/error.log"_s); }
    QStringList lines(const QString &file) const
    {
        return QString::fromUtf8(readFile(file)).split(u'\n', Qt::SkipEmptyParts);
    }

private:
    const VXBundle::Ptr _before = VXBundle::mainBundle();
};

TEST_F(VXLogTest, NamesLevels)
{
    const QStringList names{u"FATAL"_s,  u"ALERT"_s, u"CRITICAL"_s, u"ERROR"_s,  u"WARNING"_s,
                            u"NOTICE"_s, u"INFO"_s,  u"DEBUG"_s,    u"Level 8"_s};
    for (unsigned level = 0; level < 9; ++level)
        EXPECT_EQ(VXLog::logLevelString(level), names[level]);
    EXPECT_EQ(VXLog::logLevelString(4294967295U), u"Level 4294967295"_s);
}

TEST_F(VXLogTest, ALineHasDateProcessThreadLevelAndMessage)
{
    const auto log = VXLog::initWithFilePath(path(u"a.log"_s));
    ASSERT_NE(log, nullptr);
    const QString prefix = u"^[A-Z][a-z]{2} \\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} \\[%1:%2\\] "_s.arg(::getpid());
    const auto matches = [](const QString &pattern, const QString &line) {
        return QRegularExpression(pattern).match(line).hasMatch();
    };
    EXPECT_TRUE(matches(prefix.arg(0) + u"<ERROR> x\\n$"_s, log->formatForLog(3, u"x"_s)));
    EXPECT_TRUE(matches(prefix.arg(0) + u"<ERROR>\\n$"_s, log->formatForLog(3, QString())));
    EXPECT_TRUE(matches(prefix.arg(0) + u"<Level 4294967295> \\n$"_s, log->formatForLog(4294967295U, u""_s)));
    QString elsewhere;
    std::thread([&] { elsewhere = log->formatForLog(7, u"x"_s); }).join();
    EXPECT_TRUE(matches(prefix.arg(1) + u"<DEBUG> x\\n$"_s, elsewhere)) << elsewhere.toStdString();
}

TEST_F(VXLogTest, WritesUtf8AndDropsWhatHasNoEncoding)
{
    const auto log = VXLog::initWithFilePath(path(u"a.log"_s));
    log->logMessage(3, u"Grüße 😀"_s + QChar(0xd800) + u'!' + QChar(0xdc00));
    log->logMessage(3, QString(200'000, u'ä'));
    const QByteArray written = readFile(path(u"a.log"_s));
    EXPECT_TRUE(written.contains("<ERROR> Grüße 😀!\n"));
    EXPECT_TRUE(written.endsWith(QByteArray("ä").repeated(200'000) + '\n'));
}

TEST_F(VXLogTest, FurtherLinesOfAMessageAreNoEntries)
{
    const auto log = VXLog::initWithFilePath(path(u"a.log"_s));
    const QString forged = u"Nov 15 22:04:32.118 [311:2] <ERROR> forged"_s;
    log->logMessage(3, u"true\n"_s + forged);
    EXPECT_TRUE(readFile(path(u"a.log"_s)).endsWith("<ERROR> true\n\t" + forged.toUtf8() + '\n'));
    EXPECT_TRUE(log->formatForLog(3, u"a\nb"_s).endsWith(u"> a\n\tb\n"_s));
}

TEST_F(VXLogTest, ControlCharactersAreShownOnTheTerminal)
{
    EXPECT_EQ(VXVisibleText(u"tab\t, line\n, \r\n, \x1b[2J, \r, \x7f, \u009b, \u202e, ä😀"_s),
              u"tab\t, line\n, \n, ^[[2J, ^M, ^?, <U+009B>, <U+202E>, ä😀"_s);
    const VXLogRecorder terminal;
    VXLog::initWithFilePath(path(u"a.log"_s))->logMessage(3, u"\x1b]0;title\x07"_s);
    EXPECT_EQ(terminal.messages(), QStringList{u"<ERROR> ^[]0;title^G"_s});
    EXPECT_TRUE(readFile(path(u"a.log"_s)).endsWith("<ERROR> \x1b]0;title\x07\n")) << "the file has what was said";
}

TEST_F(VXLogTest, WhatLogsWhileItsThreadEndsIsHeard)
{
    struct Last
    {
        ~Last() { VXLog::log(VXLogNotice, u"last words"_s); }
    };
    onFreshThread([] {
        thread_local const Last last; // before the logger, so it goes after it
        static_cast<void>(&last);
        VXLog::log(VXLogNotice, u"first"_s);
    });
    EXPECT_EQ(lines(errorLog()).filter(u"last words"_s).size(), 1);
}

TEST_F(VXLogTest, TheSystemLogGetsTheBareMessageUpToLevelSix)
{
    QStringList system;
    const auto log = VXLog::initWithSystemLog(std::make_unique<RecordingClient>(system));
    for (unsigned level = 5; level <= 8; ++level)
        log->logMessage(level, u"message %1"_s.arg(level));
    EXPECT_EQ(system, (QStringList{u"5 message 5"_s, u"6 message 6"_s}));
    EXPECT_EQ(lines(errorLog()).size(), 4) << "the file gets every level";
}

TEST_F(VXLogTest, WithoutALogFileTheDefaultLoggerStillHasTheSystemLog)
{
    writeFile(u".local/state/Test"_s, "a file where the folder should be");
    QStringList system;
    const auto log = VXLog::initWithSystemLog(std::make_unique<RecordingClient>(system));
    ASSERT_NE(log, nullptr);
    log->logMessage(3, u"x"_s);
    EXPECT_EQ(system, QStringList{u"3 x"_s});
    EXPECT_EQ(VXLog::logWithFilePath(path(u".local/state/Test/other.log"_s)), nullptr);
}

TEST_F(VXLogTest, FallsSilentAMinuteAfterAFailedWriteForGood)
{
    VXSetLogClock([] { return testTime; });
    const auto log = VXLog::initWithFilePath(path(u"a.log"_s));
    const auto handle = std::make_shared<FailingHandle>();
    log->addFileHandle(handle);
    log->addFileHandle(handle); // the same one only once
    const auto toldOnConsole = [&log] {
        testing::internal::CaptureStderr();
        for (int message = 0; message < 3; ++message)
            log->logMessage(3, u"fails"_s);
        return QString::fromStdString(testing::internal::GetCapturedStderr()).count(u"EXCEPTION: "_s);
    };
    EXPECT_EQ(toldOnConsole(), 3);
    VXSetConsoleIsForPeople(true);
    EXPECT_EQ(toldOnConsole(), 1);
    VXSetConsoleIsForPeople(false);
    handle->full = false;
    testTime = testTime.addSecs(60);
    log->logMessage(3, u"still within the minute"_s);
    EXPECT_EQ(handle->written.count("within"), 1);
    testTime = testTime.addSecs(1);
    log->logMessage(3, u"too late"_s);
    testTime = testTime.addDays(1);
    log->logMessage(3, u"too late"_s);
    EXPECT_EQ(handle->written.count('\n'), 1);
    EXPECT_THROW(log->addFileHandle(nullptr), VXAssertionException);
}

TEST_F(VXLogTest, OnOldSystemsOnlyTheConsoleIsWrittenTo)
{
    VX_OSX_VERSION = 0x104F;
    testing::internal::CaptureStderr();
    onFreshThread([] { VXLog::log(3, u"text"_s); });
    EXPECT_TRUE(QString::fromStdString(testing::internal::GetCapturedStderr()).endsWith(u" [ERROR] text\n"_s));
    EXPECT_FALSE(QFile::exists(errorLog()));
    VX_OSX_VERSION = 0x1050;
    onFreshThread([] { VXLog::log(3, u"text"_s); });
    EXPECT_EQ(lines(errorLog()).size(), 1);
}

TEST_F(VXLogTest, LinesOfManyThreadsStayWholeAndCarryTheirNumber)
{
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([] {
            VXLog *const own = VXLog::logWithFilePath({});
            EXPECT_EQ(VXLog::logWithFilePath({}), own) << "one logger per thread";
            for (int line = 0; line < 200; ++line)
                VXLog::log(VXLogNotice, QString(100, u'x'));
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QMap<QString, int> linesOfThread;
    const QRegularExpression whole(u"^[^\\[]+\\[\\d+:(\\d+)\\] <NOTICE> x{100}$"_s);
    for (const QString &line : lines(errorLog())) {
        const auto match = whole.match(line);
        ASSERT_TRUE(match.hasMatch()) << line.toStdString();
        ++linesOfThread[match.captured(1)];
    }
    EXPECT_EQ(linesOfThread.size(), 4);
    EXPECT_EQ(linesOfThread.values(), QList<int>(4, 200));
}

class Speaker : public QObject
{
    Q_OBJECT

public:
    void speak() const { VXLogMethod(VXLogError, "speakWithName:object:", u"text"_s); }
    void trace(int &made) const { VXTraceMethod(VXDebugCategory::EVNT(), "trace", QString::number(++made)); }
    static void announce() { VXLogClassMethod(VXLogWarning, Speaker, "announce", u"text"_s); }
};

class LoudSpeaker : public Speaker
{
    Q_OBJECT
};

TEST_F(VXLogTest, MethodLinesNameTheObjectsOwnClassAndTheOperation)
{
    const LoudSpeaker speaker;
    onFreshThread([&] {
        speaker.speak();
        Speaker::announce();
    });
    const QStringList written = lines(errorLog());
    ASSERT_EQ(written.size(), 2);
    const QString address = QString::asprintf("0x%08x", static_cast<unsigned>(reinterpret_cast<quintptr>(&speaker)));
    EXPECT_TRUE(written[0].endsWith(u"<ERROR> %1 -[LoudSpeaker speakWithName:object:] text"_s.arg(address)));
    EXPECT_TRUE(
        QRegularExpression(u"<WARNING> 0x[0-9a-f]{8} \\+\\[Speaker announce\\] text$"_s).match(written[1]).hasMatch());
}

TEST_F(VXLogTest, TracesAreMadeOnlyWhileTheirSwitchIsOn)
{
    const Speaker speaker;
    int made = 0;
    onFreshThread([&] {
        speaker.trace(made);
        EXPECT_EQ(made, 0) << "the text of a trace that is off";
        VXUserDefaults::standardUserDefaults().setObject(true, u"debug.EVNT"_s);
        speaker.trace(made);
        VXUserDefaults::standardUserDefaults().setObject(false, u"debug.EVNT"_s);
        speaker.trace(made);
    });
    const QStringList written = lines(errorLog());
    ASSERT_EQ(written.size(), 1);
    EXPECT_TRUE(
        QRegularExpression(u"<DEBUG> \\[EVNT\\] 0x[0-9a-f]{8} -\\[Speaker trace\\] 1$"_s).match(written[0]).hasMatch());
}

#include "VXLogTest.moc"
