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
#include <utility>

using namespace Qt::StringLiterals;

namespace {

// Lets entries pass that have a level or a more severe one; continuation lines go with their entry.
class LogFilter
{
public:
    static constexpr unsigned everything = std::numeric_limits<unsigned>::max();

    /** Of the entries before `finish`, only the last `last` are shown. */
    LogFilter(VXHostOutput &output, unsigned level, qsizetype last) : _output(output), _level(level), _most(last) {}

    void addLine(const QByteArray &line)
    {
        const auto entry = VXLogEntry::fromLine(line);
        // Lines before the first entry, in a damaged log, pass only if everything does.
        if (entry)
            _passes = entry->level <= _level;
        else if (!_hasEntry && _level == everything)
            _passes = true;
        _hasEntry = _hasEntry || entry;
        if (_output.isJSON())
            addToEntry(entry, line);
        else if (_passes)
            add(VXVisibleText(QString::fromUtf8(line)).toUtf8(), entry || _shown.isEmpty());
    }

    /** Writes what was held back; from now on everything is written. */
    void finish()
    {
        finishEntry();
        for (const QList<QByteArray> &lines : std::exchange(_shown, {})) {
            for (const QByteArray &line : lines)
                _output.writePart(line);
        }
        _most = unlimited;
    }

    /** True if there was nothing, or nothing of that level. */
    bool showedNothing() const { return !_showedAny; }

    static constexpr qsizetype unlimited = std::numeric_limits<qsizetype>::max();

private:
    void add(const QByteArray &line, bool isNew)
    {
        _showedAny = true;
        if (_most == unlimited)
            return _output.writePart(line);
        if (isNew)
            _shown.append(QList<QByteArray>());
        _shown.last().append(line);
        if (_shown.size() > _most)
            _shown.removeFirst();
    }
    void finishEntry()
    {
        if (_last && _last->level <= _level)
            add(VXJSONText(_last->toJSON()), true);
        _last.reset();
    }
    void addToEntry(const std::optional<VXLogEntry> &entry, const QByteArray &line)
    {
        if (entry) {
            finishEntry();
            _last = entry;
        } else if (_last) {
            _last->message += u'\n' + QString::fromUtf8(line.startsWith('\t') ? line.sliced(1) : line);
        }
    }

    VXHostOutput &_output;
    const unsigned _level;
    qsizetype _most;
    QList<QList<QByteArray>> _shown; // entries held back, each with its lines
    bool _hasEntry = false;
    bool _showedAny = false;
    bool _passes = false;
    std::optional<VXLogEntry> _last; // with --json: not written yet, because its message may continue
};

int followLog(VXHostOutput &output, VXLogTail &tail, LogFilter &filter)
{
    VXModalSession session;
    const VXSignalWatcher watcher({SIGINT, SIGTERM}, [&](int) { session.stop(VXHostOutput::Done); });
    tail.readAvailable();
    filter.finish();
    output.flush();
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
        return output.failUsage(u"--follow never ends, and so there is no JSON value"_s, usage);
    const QString levelText = options.value(u"level"_s);
    const auto level = levelText.isNull() ? LogFilter::everything : VXLogLevelFromText(levelText);
    if (!level || (!levelText.isNull() && *level > VXLogDebug))
        return output.failUsage(u"--level must be a number from 0 to 7 or a name from fatal to debug"_s, usage);
    const qsizetype last = options.isSet(u"last"_s) ? options.value(u"last"_s).toLongLong() : LogFilter::unlimited;
    const QString folder = VXFileManager::defaultManager().pathToUserVNXLogsFolder();
    if (folder.isNull())
        return output.fail(u"there is no logs folder"_s);

    output.beginParts();
    LogFilter filter(output, *level, last);
    VXLogTail tail(folder + "/error.log"_L1, [&filter](const QByteArray &line) { filter.addLine(line); });
    if (options.isSet(u"follow"_s))
        return followLog(output, tail, filter);
    tail.readAvailable();
    tail.finish();
    filter.finish();
    if (filter.showedNothing())
        output.note(u"There are no such entries."_s);
    return VXHostOutput::Done;
}

} // namespace

VXHostCommand VXLogCommand()
{
    return {
        .name = u"log"_s,
        .summary = u"Show the log"_s,
        .details = u"Shows error.log of the logs folder. An entry keeps the lines that continue it, which begin with a "
                   "tab; control characters are shown, not obeyed. With --json "
                   "the answer is an array of objects with date (ISO 8601, with the offset from UTC), process, thread, "
                   "level and message.\n"
                   "With --follow it goes on until it is interrupted, across the log's rotation too."_s,
        .options = {{u"follow"_s, {}, u"Go on showing what is logged"_s},
                    {.name = u"last"_s, .placeholder = u"N"_s, .summary = u"Only the last N entries"_s, .minimum = 1},
                    {u"level"_s, u"L"_s, u"Only entries as severe as L or more: 0 to 7, or fatal to debug"_s}},
        .run = runLog};
}
