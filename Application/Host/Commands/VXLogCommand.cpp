#include "VXFileManager.h"
#include "VXHostCommands.h"
#include "VXHostHelp.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXLog.h"
#include "VXLogEntry.h"
#include "VXLogTail.h"
#include "VXModalSession.h"
#include "VXSignalWatcher.h"
#include "VXVisibleText.h"

#include <limits>

using namespace Qt::StringLiterals;

namespace {

// Lets the entries of a level or a more severe one through; continuation lines go with their entry.
class LogFilter
{
public:
    LogFilter(VXHostOutput &output, unsigned level) : _output(output), _level(level) {}

    void addLine(const QByteArray &line)
    {
        const auto entry = VXLogEntry::fromLine(line);
        // Lines before the first entry, of a damaged log, pass only when everything does.
        if (entry)
            _passes = entry->level <= _level;
        else if (!_last && _level == everything)
            _passes = true;
        if (_output.isJSON())
            addToEntry(entry, line);
        else if (_passes)
            _output.writePart(VXVisibleText(QString::fromUtf8(line)).toUtf8());
    }

    void finish()
    {
        if (_last && _last->level <= _level)
            _output.writePart(VXJSONText(_last->toJSON()));
        _last.reset();
    }

    static constexpr unsigned everything = std::numeric_limits<unsigned>::max();

private:
    void addToEntry(const std::optional<VXLogEntry> &entry, const QByteArray &line)
    {
        if (entry) {
            finish();
            _last = entry;
        } else if (_last) {
            _last->message += u'\n' + QString::fromUtf8(line.startsWith('\t') ? line.sliced(1) : line);
        }
    }

    VXHostOutput &_output;
    const unsigned _level;
    bool _passes = false;
    std::optional<VXLogEntry> _last; // with --json: not written yet, for its message may go on
};

int followLog(VXHostOutput &output, VXLogTail &tail)
{
    VXModalSession session;
    const VXSignalWatcher watcher({SIGINT, SIGTERM}, [&](int) { session.stop(VXHostOutput::Done); });
    tail.follow([&] {
        if (!output.flush())
            session.stop(VXHostOutput::Failed);
    });
    return session.run() == VXHostOutput::Done ? VXHostOutput::Done : VXHostOutput::Failed;
}

int runLog(VXHostContext &context)
{
    const VXHostOptions &options = context.options;
    VXHostOutput &output = context.output;
    const QString usage = VXHostUsage(options.command());
    if (options.isSet(u"follow"_s) && output.isJSON())
        return output.failUsage(u"--follow has no end and so makes no JSON value"_s, usage);
    const QString levelText = options.value(u"level"_s);
    const auto level = levelText.isNull() ? LogFilter::everything : VXLogLevelFromText(levelText);
    if (!level || (!levelText.isNull() && *level > VXLogDebug))
        return output.failUsage(u"--level must be a number from 0 to 7 or a name from fatal to debug"_s, usage);
    const QString folder = VXFileManager::defaultManager().pathToUserVNXLogsFolder();
    if (folder.isNull())
        return output.fail(u"there is no logs folder"_s);

    output.beginParts();
    LogFilter filter(output, *level);
    VXLogTail tail(folder + "/error.log"_L1, [&filter](const QByteArray &line) { filter.addLine(line); });
    if (options.isSet(u"follow"_s))
        return followLog(output, tail);
    tail.readAvailable();
    tail.finish();
    filter.finish();
    return VXHostOutput::Done;
}

} // namespace

VXHostCommand VXLogCommand()
{
    return {.name = u"log"_s,
            .summary = u"Show the log"_s,
            .details =
                u"Shows error.log of the logs folder. An entry keeps the lines that continue it, which begin with a "
                "tab; control characters are shown, not obeyed. With --json "
                "the answer is an array of objects with date, process, thread, level and message.\n"
                "With --follow it goes on until it is interrupted, across the log's rotation too."_s,
            .options = {{u"follow"_s, {}, u"Go on showing what is logged"_s},
                        {u"level"_s, u"L"_s, u"Only entries as severe as L or more: 0 to 7, or fatal to debug"_s}},
            .run = runLog};
}
