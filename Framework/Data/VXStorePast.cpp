#include "VXStorePast.h"

#include "VXDiagnostics.h"
#include "VXFileLock.h"
#include "VXFileManager.h"
#include "VXMethodLog.h"
#include "VXPropertyList.h"
#include "VXRegularFile.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QVariantMap>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype longestList = 10;
constexpr std::chrono::seconds
    longestWait(5); // for another process that changes the list; it takes no longer than a file
const QString takenBackKey = u"takenBack"_s; // the number of the copy that took the store's place, or absent
const QString replaced = u"replaced"_s;      // a reason

// Identifies the folder wherever it is moved on its disk; 0 when there is none.
qulonglong numberOf(const QString &path)
{
    struct stat status = {};
    return ::lstat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_ino : 0;
}

// A relative link would lead nowhere from another folder. A link that cannot be changed stays as it is.
void makeLinkAbsolute(const QString &path)
{
    const QFileInfo link(path);
    const QByteArray target = QFile::encodeName(link.canonicalFilePath());
    std::error_code problem;
    if (!link.isSymLink() || target.isEmpty() ||
        !std::filesystem::read_symlink(QFile::encodeName(path).toStdString(), problem).is_relative())
        return;
    const QByteArray made = QFile::encodeName(link.absolutePath() + "/.vornix-link"_L1);
    if (::symlink(target.constData(), made.constData()) != 0 ||
        std::rename(made.constData(), QFile::encodeName(path).constData()) != 0)
        ::unlink(made.constData());
}

// None when the file exists and cannot be read now: writing a list then would lose what it holds.
std::optional<QVariantList> readList(const QString &storePath)
{
    const QString file = VXStorePast::fileForStorePath(storePath);
    if (!QFileInfo::exists(file))
        return QVariantList();
    QString reason;
    const QByteArray data = VXRegularFile::read(file, &reason);
    VXError damage;
    const QVariant list = data.isNull() ? QVariant() : VXPropertyList::fromData(data, &damage);
    if (list.isValid())
        return list.toList();
    VXLogClassMethod(VXLogWarning, VXStorePast, "entries",
                     u"%1: %2"_s.arg(file, data.isNull() ? reason : damage.description()));
    const bool isAside = !data.isNull() && std::rename(QFile::encodeName(file).constData(),
                                                       QFile::encodeName(file + ".damaged"_L1).constData()) == 0;
    return isAside ? std::optional(QVariantList()) : std::nullopt;
}

QVariantList listOf(const QString &storePath)
{
    return readList(storePath).value_or(QVariantList());
}

// Changes the list under a lock; without it if no lock can be had. @return the list as it is in the file afterwards.
QVariantList changeList(const QString &storePath, const std::function<void(QVariantList &list)> &change)
{
    const QString file = VXStorePast::fileForStorePath(storePath);
    const VXFileLock turn(file + ".lock"_L1, longestWait);
    std::optional<QVariantList> list = readList(storePath);
    if (!list)
        return {};
    const QVariantList before = *list;
    change(*list);
    VXError error;
    if (*list != before && !VXPropertyList::toFile(*list, file, VXPropertyList::Format::XML, &error))
        VXLogClassMethod(VXLogWarning, VXStorePast, "note", error.description());
    return listOf(storePath);
}

qulonglong numberIn(const QVariant &entry)
{
    return entry.toMap().value(u"number"_s).toULongLong();
}

struct Kept
{
    QString path;
    QString reason;
    QStringList later = {}; // listed after this one although noted later
};

QVariantMap entryFor(const Kept &kept, const QString &path, const QDateTime &date)
{
    QVariantMap entry{
        {u"path"_s, path}, {u"number"_s, numberOf(kept.path)}, {u"date"_s, date}, {u"reason"_s, kept.reason}};
    QVariantList numbers;
    for (const QString &each : kept.later) {
        if (const qulonglong number = numberOf(each); number != 0)
            numbers.append(number);
    }
    if (!numbers.isEmpty())
        entry.insert(u"later"_s, numbers);
    return entry;
}

// Removes the number from the `later` list of an entry. @return the index of that entry; -1 for none.
qsizetype takeLater(QVariantList &list, qulonglong number)
{
    for (qsizetype index = 0; number != 0 && index < list.size(); ++index) {
        QVariantMap entry = list[index].toMap();
        QVariantList numbers = entry.value(u"later"_s).toList();
        if (numbers.removeIf([number](const QVariant &each) { return each.toULongLong() == number; }) == 0)
            continue;
        entry.insert(u"later"_s, numbers);
        list[index] = entry;
        return index;
    }
    return -1;
}

// `number` is what the folder had before it was moved. A replaced store comes first, whether it was in use or not, so
// that going back twice ends where it began.
QVariantList listWith(QVariantList list, const QVariantMap &entry, qulonglong number)
{
    list.removeIf([number](const QVariant &each) { return number != 0 && numberIn(each) == number; });
    const qsizetype place = takeLater(list, number) + 1;
    list.insert(entry.value(u"reason"_s) == replaced ? 0 : place, entry);
    while (list.size() > longestList) {
        const auto leaves = std::ranges::find_if(
            list.rbegin(), list.rend(), [](const QVariant &each) { return each.toMap().contains(takenBackKey); });
        if (leaves == list.rend())
            list.removeLast();
        else
            list.erase(std::prev(leaves.base()));
    }
    return list;
}

// The trash may have given it another name than planned. Null when it is gone.
QString placeOf(const QVariantMap &entry)
{
    const QString path = entry.value(u"path"_s).toString();
    const qulonglong number = entry.value(u"number"_s, numberOf(path)).toULongLong();
    const QFileInfo info(path);
    QStringList places{path};
    for (const QString &name :
         QDir(info.path())
             .entryList({info.fileName() + ".*"_L1}, QDir::Dirs | QDir::Files | QDir::Hidden | QDir::System))
        places.append(info.path() + u'/' + name);
    const auto found =
        std::ranges::find_if(places, [&](const QString &each) { return number != 0 && numberOf(each) == number; });
    return found == places.end() ? QString() : *found;
}

void noteMoved(const QString &storePath, const QString &keptPath, const QString &reason, qulonglong number)
{
    const QVariantMap entry = entryFor({keptPath, reason}, keptPath, QDateTime::currentDateTimeUtc());
    changeList(storePath, [&](QVariantList &list) { list = listWith(list, entry, number); });
}

// Lists the folder before moving it, so that it is found again even if the process is killed. `move` sets where it is
// then.
VXError moveKept(const QString &storePath, const Kept &kept, QString *place,
                 const std::function<VXError(QString *place)> &move)
{
    makeLinkAbsolute(kept.path);
    const qulonglong number = numberOf(kept.path);
    QVariantMap entry = entryFor(kept, *place, QDateTime::currentDateTimeUtc());
    QVariantList before;
    const QVariantList noted = changeList(storePath, [&](QVariantList &list) {
        before = list;
        list = listWith(list, entry, number);
    });
    const VXError error = move(place);
    if (error) {
        changeList(storePath, [&](QVariantList &list) {
            if (list == noted)
                list = before;
            else // somebody else has changed the list meanwhile
                list.removeIf([number](const QVariant &each) { return numberIn(each) == number; });
        });
        *place = QString();
    } else if (const qulonglong moved = numberOf(*place); moved != number) { // moved to another disk
        entry.insert(u"path"_s, *place);
        entry.insert(u"number"_s, moved);
        changeList(storePath, [&](QVariantList &list) {
            const auto own = std::ranges::find(list, number, [](const QVariant &each) { return numberIn(each); });
            if (own != list.end())
                *own = entry;
        });
    }
    return error;
}

VXError trashKept(const QString &storePath, const Kept &kept, QString *place)
{
    VXFileManager &files = VXFileManager::defaultManager();
    *place = files.pathToUserTrashFolder() + u'/' + QFileInfo(kept.path).fileName();
    return moveKept(storePath, kept, place,
                    [&](QString *trashed) { return files.safelyTrashFileAtPath(kept.path, trashed); });
}

VXError trashKeptOrMoveBeside(const QString &storePath, const Kept &kept, QString *place)
{
    const VXError problem = trashKept(storePath, kept, place);
    if (!problem || !VXFileManager::itemExistsAtPath(kept.path))
        return problem;
    VXLogClassMethod(VXLogWarning, VXStorePast, "keep", "trash: "_L1 + problem.description());
    *place = VXStorePast::freePlaceBeside(storePath, kept.reason);
    return moveKept(storePath, kept, place, [&](const QString *beside) {
        return VXFileManager::defaultManager().moveItemAtPath(kept.path, *beside);
    });
}

} // namespace

QString VXStorePast::fileForStorePath(const QString &storePath)
{
    const QFileInfo place(QDir::cleanPath(storePath));
    return place.absolutePath() + "/."_L1 + place.fileName() + ".past"_L1;
}

void VXStorePast::note(const QString &storePath, const QString &keptPath, const QString &reason)
{
    noteMoved(storePath, keptPath, reason, numberOf(keptPath));
}

void VXStorePast::noteUse(const QString &storePath)
{
    if (QVariantList list = listOf(storePath); takeLater(list, numberOf(storePath)) >= 0)
        changeList(storePath, [&](QVariantList &now) { takeLater(now, numberOf(storePath)); });
}

bool VXStorePast::isUnused(const QString &storePath)
{
    QVariantList list = listOf(storePath);
    return takeLater(list, numberOf(storePath)) >= 0;
}

bool VXStorePast::isTakenBack(const QString &storePath)
{
    const qulonglong number = numberOf(storePath);
    return number != 0 && std::ranges::any_of(listOf(storePath), [number](const QVariant &each) {
               return each.toMap().value(takenBackKey).toULongLong() == number;
           });
}

void VXStorePast::noteTakenBack(const QString &storePath, const QString &keptPath, const QString &copy)
{
    const qulonglong copied = copy.isNull() ? 0 : numberOf(copy);
    changeList(storePath, [&](QVariantList &list) {
        const auto found = std::ranges::find_if(list, [number = numberOf(keptPath)](const QVariant &each) {
            return number != 0 && numberOf(placeOf(each.toMap())) == number;
        });
        if (found == list.end())
            return;
        QVariantMap entry = found->toMap();
        if (copied != 0)
            entry.insert(takenBackKey, copied);
        else
            entry.remove(takenBackKey);
        *found = entry;
    });
}

void VXStorePast::discard(const QString &storePath, const QString &keptPath)
{
    const qulonglong number = numberOf(keptPath);
    if (number == 0)
        return;
    changeList(storePath, [number](QVariantList &list) {
        list.removeIf([number](const QVariant &each) { return numberIn(each) == number; });
    });
    if (!QDir(keptPath).removeRecursively())
        VXLogClassMethod(VXLogWarning, VXStorePast, "discard", "still lies there: "_L1 + keptPath);
}

VXError VXStorePast::move(const QString &storePath, const QString &path, const QString &place, const QString &reason)
{
    makeLinkAbsolute(path);
    const qulonglong number = numberOf(path);
    const VXError error = VXFileManager::defaultManager().moveItemAtPath(path, place);
    if (!error)
        noteMoved(storePath, place, reason, number);
    return error;
}

VXError VXStorePast::trash(const QString &storePath, const QString &path, const QString &reason, QString *trashedPath)
{
    QString trashed;
    const VXError error = trashKept(storePath, {path, reason}, &trashed);
    if (trashedPath != nullptr)
        *trashedPath = trashed;
    return error;
}

VXError VXStorePast::keep(const QString &storePath, const QString &path, const QString &reason, QString *place)
{
    QString kept;
    const VXError error = trashKeptOrMoveBeside(storePath, {path, reason}, &kept);
    if (place != nullptr)
        *place = kept;
    return error;
}

VXError VXStorePast::moveReplaced(const QString &storePath, const QString &successor, const QString &upgradingPath,
                                  bool isKeptBeside)
{
    QString place;
    const Kept kept{storePath, replaced, {successor, upgradingPath}};
    return isKeptBeside ? trashKeptOrMoveBeside(storePath, kept, &place) : trashKept(storePath, kept, &place);
}

QString VXStorePast::freePlaceBeside(const QString &path, const QString &suffix)
{
    const QString first = path + u'.' + suffix;
    QString place = first;
    for (int next = 1; VXFileManager::itemExistsAtPath(place); ++next)
        place = u"%1.%2"_s.arg(first).arg(next);
    return place;
}

QList<VXStorePast::Entry> VXStorePast::entries(const QString &storePath, const QString &upgradingPath)
{
    QVariantList list = listOf(storePath);
    if (const qulonglong number = numberOf(upgradingPath); number != 0) {
        const QDateTime date = QFileInfo(upgradingPath).metadataChangeTime(); // when it was moved there
        qsizetype place = takeLater(list, number) + 1;
        while (place < list.size() && list[place].toMap().value(u"date"_s).toDateTime() > date)
            ++place;
        list.insert(place, entryFor({upgradingPath, u"upgraded"_s}, upgradingPath, date));
    }
    QList<Entry> entries;
    for (const QVariant &each : list) {
        const QVariantMap entry = each.toMap();
        if (const QString path = placeOf(entry); !path.isNull())
            entries.append({path, entry.value(u"date"_s).toDateTime(), entry.value(u"reason"_s).toString()});
    }
    return entries;
}
