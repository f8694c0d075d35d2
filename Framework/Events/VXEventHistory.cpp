#include "VXEventHistory.h"

#include "VXErrorDomain.h"
#include "VXFileDescriptor.h"
#include "VXFileLock.h"
#include "VXFileManager.h"
#include "VXFolders.h"
#include "VXFramework.h"
#include "VXJSON.h"
#include "VXRegularFile.h"
#include "VXUserDefaults.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QSet>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 largestFile = 500'000; // bytes; then it becomes the former file, and a new one is begun
constexpr qint64 mostRead = 2 * largestFile;
constexpr qsizetype longestLine = 16'000;
constexpr qsizetype longestText = 200;
constexpr auto earlier = ".1"_L1;
const std::array fileNames{u"events.jsonl"_s, u"failures.jsonl"_s};

// The time in microseconds, increased if need be to be unique in the process, and two digits of the process ID: unique,
// sortable by time, short.
QString nextIdentifier()
{
    static std::atomic<qint64> last = 0;
    const qint64 now =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::system_clock::now().time_since_epoch())
            .count();
    qint64 before = last.load();
    while (!last.compare_exchange_weak(before, std::max(now, before + 1)))
        continue;
    constexpr int base = 36;
    return QString::number(std::max(now, before + 1), base) +
           QString::number(::getpid() % (base * base), base).rightJustified(2, u'0');
}

QByteArray lineOf(const VXEventRecord &record)
{
    return VXJSONText(record.json());
}

QString shortened(const QString &text)
{
    return text.size() > longestText ? text.first(longestText) + u'…' : text;
}

// Cuts down what other programs, and users, may have made of any length.
QByteArray shortLineOf(VXEventRecord record)
{
    QByteArray line = lineOf(record);
    if (line.size() > longestLine && !record.object.isEmpty()) {
        record.object.clear();
        record.objectClass = u"QVariantMap"_s;
        line = lineOf(record);
    }
    if (line.size() > longestLine) {
        record.name = shortened(record.name);
        record.subtype = shortened(record.subtype);
        record.problem = shortened(record.problem);
        record.objectClass = u"QVariantMap"_s; // must not be posted again under a truncated name
    }
    // Triggers that did something are kept longest.
    std::stable_partition(record.triggers.begin(), record.triggers.end(), [](const VXTriggerRecord &trigger) {
        return trigger.outcome == VXTriggerRecord::Outcome::Ran || trigger.outcome == VXTriggerRecord::Outcome::Broken;
    });
    while (line.size() > longestLine && !record.triggers.isEmpty()) {
        const qsizetype kept = record.triggers.size() / 2;
        record.omittedTriggers += record.triggers.size() - kept;
        record.triggers.resize(kept);
        line = lineOf(record);
    }
    return line;
}

// Opens only a regular file: opening a pipe in its place would block, and pass personal data on.
VXFileDescriptor openForAppending(const QString &path)
{
    constexpr int flags = O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    VXFileDescriptor file(::open(QFile::encodeName(path).constData(), flags, 0600));
    struct stat status = {};
    if (file.isOpen() && ::fstat(file.number(), &status) == 0 && S_ISREG(status.st_mode))
        return file;
    if (file.isOpen())
        errno = EINVAL;
    return VXFileDescriptor();
}

// False after a write that was cut short by a full disk or a crash of the machine.
bool endsWithLine(const VXFileDescriptor &file)
{
    const off_t size = ::lseek(file.number(), 0, SEEK_END);
    char last = '\n';
    return size <= 0 || ::pread(file.number(), &last, 1, size - 1) != 1 || last == '\n';
}

// Writes with a single call, so that the lines of several processes stay whole.
bool write(const VXFileDescriptor &file, const QByteArray &bytes)
{
    errno = 0;
    return ::write(file.number(), bytes.constData(), size_t(bytes.size())) == bytes.size();
}

VXError failure(const QString &path)
{
    return VXMakeFileError(VXLocalizedString(u"The event could not be written to the history."_s),
                           qt_error_string(errno == 0 ? ENOSPC : errno), path);
}

// Reads the end of the file: the history writes none that is longer, but a longer one may have been put in its place.
void readFile(const QString &path, QList<VXEventRecord> *records)
{
    QFile file(path);
    if (QString reason; !VXRegularFile::open(file, &reason))
        return;
    const qint64 skipped = std::max<qint64>(0, file.size() - mostRead);
    file.seek(skipped);
    QByteArrayList lines = file.read(mostRead).split('\n');
    if (skipped > 0)
        lines.removeFirst(); // it may be incomplete
    for (const QByteArray &line : std::as_const(lines)) {
        if (const auto record = VXEventRecord::fromJSON(QJsonDocument::fromJson(line).object()))
            records->append(*record);
    }
}

// Of an event that was recorded during its work, and again at the end, keeps only the latter record.
void removeOutdated(QList<VXEventRecord> &records)
{
    QSet<QString> concluded;
    for (const VXEventRecord &record : std::as_const(records)) {
        if (!record.isRunning())
            concluded.insert(record.identifier);
    }
    records.removeIf(
        [&](const VXEventRecord &record) { return record.isRunning() && concluded.contains(record.identifier); });
}

} // namespace

VXEventHistory &VXEventHistory::sharedEventHistory()
{
    static auto *const history = new VXEventHistory(
        VXFileManager::defaultManager().pathToUserVNXApplicationSupportFolder() + "/Event History"_L1);
    return *history;
}

bool VXEventHistory::isOn()
{
    static const auto *const live = new VXLiveSwitch(VXUserDefaults::standardUserDefaults(), u"events.history"_s);
    return live->isOn();
}

VXEventHistory::VXEventHistory(const QString &folder) : _folder(folder) {}

bool VXEventHistory::append(VXEventRecord &record, VXError *error)
{
    if (record.identifier.isNull())
        record.identifier = nextIdentifier();
    const QString path = _folder + u'/' + fileNames[record.isFailure() ? 1 : 0];
    const QByteArray line = shortLineOf(record) + '\n';
    const QFileInfo info(path);
    if (info.size() > largestFile)
        startAnew(path);
    else if (!info.exists()) {
        QString reason;
        if (!VXMakePrivateFolder(_folder, &reason)) {
            VXSetError(error, VXMakeFileError(VXLocalizedString(u"Could not create folder."_s), reason, _folder));
            return false;
        }
    }
    const VXFileDescriptor file = openForAppending(path);
    if (file.isOpen() && write(file, endsWithLine(file) ? line : '\n' + line))
        return true;
    VXSetError(error, failure(path));
    return false;
}

// A process that writes to the file meanwhile writes to the former file then, so nothing is lost. If somebody else has
// the lock, the file is being moved already.
void VXEventHistory::startAnew(const QString &path) const
{
    const VXFileLock lock(_folder + "/.lock"_L1, std::chrono::milliseconds(0));
    if (lock.isHeld() && QFileInfo(path).size() > largestFile)
        std::rename(QFile::encodeName(path).constData(), QFile::encodeName(path + earlier).constData());
}

QList<VXEventRecord> VXEventHistory::records() const
{
    QList<VXEventRecord> records;
    for (const QString &name : fileNames) {
        readFile(_folder + u'/' + name + earlier, &records);
        readFile(_folder + u'/' + name, &records);
    }
    removeOutdated(records);
    std::ranges::stable_sort(records, {}, &VXEventRecord::identifier); // identifiers ascend with time
    return records;
}

std::optional<VXEventRecord> VXEventHistory::recordWithIdentifier(const QString &identifier) const
{
    std::optional<VXEventRecord> found;
    for (const VXEventRecord &record : records()) {
        if (record.identifier == identifier)
            return record;
        if (identifier.isEmpty() || !record.identifier.endsWith(identifier))
            continue;
        if (found)
            return std::nullopt;
        found = record;
    }
    return found;
}
