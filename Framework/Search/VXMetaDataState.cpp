#include "VXMetaDataState.h"

#include "VXFileDescriptor.h"
#include "VXFileLock.h"
#include "VXFileManager.h"
#include "VXMakeWay.h"
#include "VXMetaDataFolder.h"
#include "VXMetaDataOrigin.h"
#include "VXMethodLog.h"
#include "VXMutex.h"
#include "VXRegularFile.h"
#include "VXSearchIndex.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QSet>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr QLatin1String suffix(".state");
constexpr QLatin1String placeholder("XXXXXX"); // in the name of a file that is not whole yet
const QByteArray selfKind = "self ";
const QByteArray indexKind = "index ";
const QByteArray dataKind = "data ";
const QByteArray unknown = "- - ";
constexpr std::chrono::milliseconds longestTurn = 1s;

/** The syncs whose stores this process has looked at. */
struct LookedAt
{
    VXMutex lock;
    QSet<QString> identifiers VX_GUARDED_BY(lock);

    static LookedAt &shared()
    {
        static auto &all = *new LookedAt;
        return all;
    }
};

// Numbers are given again, but not with the same time of birth.
QByteArray selfLine(int descriptor, const char *path)
{
    struct statx status = {};
    const int flags = AT_EMPTY_PATH | AT_SYMLINK_NOFOLLOW;
    if (::statx(descriptor, path, flags, STATX_INO | STATX_BTIME, &status) != 0)
        return {};
    return selfKind + QByteArray::number(quint64(status.stx_ino)) + ' ' +
           QByteArray::number(qint64(status.stx_btime.tv_sec)) + '.' + QByteArray::number(status.stx_btime.tv_nsec);
}

// Null while it has a log: then it says little.
QByteArray dataLine(const QByteArray &path)
{
    struct stat file = {}, log = {};
    if (::stat(path.constData(), &file) != 0 || (::stat((path + "-wal").constData(), &log) == 0 && log.st_size > 0))
        return {};
    return dataKind + QByteArray::number(qint64(file.st_mtim.tv_sec)) + '.' +
           QByteArray::number(qint64(file.st_mtim.tv_nsec)) + ' ' + QByteArray::number(qint64(file.st_size)) + ' ' +
           path.toPercentEncoding("/");
}

QByteArray pathIn(const QByteArray &line)
{
    return QByteArray::fromPercentEncoding(line.split(' ').value(3));
}

// As it is now; of what is not known, and of other kinds, as it was.
QByteArray presentLine(const QByteArray &line)
{
    const QByteArray present = line.startsWith(dataKind) ? dataLine(pathIn(line)) : QByteArray();
    return present.isNull() ? line : present;
}

// One that had a log when it was noted has it still, or whoever closed the store properly has noted it since.
bool isDataAsLeft(const QByteArray &line)
{
    return line.startsWith(dataKind + unknown) ? dataLine(pathIn(line)).isNull() : presentLine(line) == line;
}

} // namespace

VXMetaDataState::VXMetaDataState(const QString &identifier)
    : _identifier(identifier),
      _path(VXFileManager::defaultManager().pathToUserMetadataFolder() + u'/' + identifier + suffix)
{
}

QByteArrayList VXMetaDataState::lines() const
{
    QString reason;
    const QByteArray text = VXRegularFile::read(_path, &reason);
    return text.isEmpty() ? QByteArrayList() : text.chopped(1).split('\n');
}

// As a whole: who reads it meanwhile reads the one before.
void VXMetaDataState::replaceLines(const QByteArray &kind, const QByteArrayList &lines) const
{
    QByteArrayList all = this->lines();
    const QByteArrayList before = all;
    all.removeIf([&kind](const QByteArray &line) { // with whatever else somebody wrote there
        return line.startsWith(kind) || !(line.startsWith(indexKind) || line.startsWith(dataKind));
    });
    all += lines;
    std::ranges::sort(all);
    if (all == before.mid(0, before.size() - 1) && !isReplaced())
        return;
    QByteArray name = QFile::encodeName(_path) + '.' + placeholder.data();
    VXFileDescriptor file(VXMakeWayForFile(_path) ? ::mkostemp(name.data(), O_CLOEXEC) : -1);
    all.append(file.isOpen() ? selfLine(file.number(), "") : QByteArray());
    bool isWritten = file.isOpen() && file.writeAll(all.join('\n') + '\n');
    isWritten = file.close() && isWritten && std::rename(name.constData(), QFile::encodeName(_path).constData()) == 0;
    if (isWritten)
        return;
    VXLogMethod(VXLogWarning, "replaceLines", "%1: %2"_L1.arg(_path, qt_error_string(errno)));
    ::unlink(name.constData());
}

bool VXMetaDataState::isReplaced() const
{
    const QByteArrayList all = lines();
    if (all.isEmpty()) // lost, where a pass has been made
        return QFile::exists(_path.chopped(suffix.size()) + ".settings"_L1);
    return all.last() != selfLine(AT_FDCWD, QFile::encodeName(_path).constData()) ||
           !std::ranges::all_of(all, isDataAsLeft);
}

QByteArray VXMetaDataState::indexStamp() const
{
    for (const QByteArray &line : lines()) {
        if (line.startsWith(indexKind))
            return line.sliced(indexKind.size());
    }
    return {};
}

bool VXMetaDataState::isIndexAsLeft(VXSearchIndex &index) const
{
    return index.stamp(_identifier, nullptr) == indexStamp();
}

void VXMetaDataState::noteIndex(const QByteArray &stamp) const
{
    replaceLines(indexKind, {indexKind + stamp});
}

void VXMetaDataState::noteStores(const VXPersistentStoreCoordinator &coordinator) const
{
    QByteArrayList data;
    for (const auto &store : coordinator.persistentStores()) {
        const QByteArray path = QFile::encodeName(QFileInfo(store->path()).canonicalFilePath());
        if (store->type() != VXStoreType::SQLite || path.isEmpty())
            continue; // others are replaced by each save
        const QByteArray line = dataLine(path);
        data.append(line.isNull() ? dataKind + unknown + path.toPercentEncoding("/") : line);
    }
    replaceLines(dataKind, data);
}

void VXMetaDataState::noteStoresWhenClosed() const
{
    LookedAt &all = LookedAt::shared();
    const VXMutexLocker locker(all.lock);
    all.identifiers.insert(_identifier);
}

void VXMetaDataState::noteClosedStores()
{
    QSet<QString> identifiers;
    {
        LookedAt &all = LookedAt::shared();
        const VXMutexLocker locker(all.lock);
        identifiers = all.identifiers;
    }
    for (const QString &identifier : std::as_const(identifiers)) {
        const VXMetaDataState state(identifier);
        if (std::ranges::all_of(state.lines(), [](const QByteArray &line) { return presentLine(line) == line; }))
            continue;
        const VXFileLock turn(VXMetaDataFolder(identifier).lockPath(), longestTurn); // others note the index meanwhile
        QByteArrayList data;
        for (const QByteArray &line : state.lines()) {
            if (line.startsWith(dataKind))
                data.append(presentLine(line));
        }
        if (turn.isHeld())
            state.replaceLines(dataKind, data);
    }
}

void VXMetaDataState::forget() const
{
    QFile::remove(_path);
}

void VXMetaDataState::removeUnfinished() const
{
    const QFileInfo file(_path);
    const QString begin = file.fileName() + u'.';
    for (const QString &name : file.dir().entryList(QDir::Files | QDir::System, QDir::Unsorted)) {
        if (name.startsWith(begin) && name.size() == begin.size() + placeholder.size())
            QFile::remove(file.dir().filePath(name));
    }
}

bool VXMetaDataState::areAllAsLeft(VXSearchIndex &index)
{
    const QStringList identifiers = VXAllMarksOfStores().keys();
    return std::ranges::all_of(identifiers, [&index](const QString &identifier) {
        const VXMetaDataState state(identifier);
        return !state.isReplaced() && state.isIndexAsLeft(index);
    });
}
