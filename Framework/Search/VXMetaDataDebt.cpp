#include "VXMetaDataDebt.h"

#include "VXFileDescriptor.h"
#include "VXFileManager.h"
#include "VXFolders.h"
#include "VXMakeWay.h"
#include "VXMethodLog.h"
#include "VXRegularFile.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QRegularExpression>
#include <QtCore/QUuid>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

const QString indexSuffix = u"index"_s;
const QString passSuffix = u".pass"_s;
const QString laterSuffix = u"later"_s;
const QString wordName = u"last-save"_s;

// Notes are kept beside the mirror; where that cannot be written, beside the stores, which were writable for the save.
QStringList folders()
{
    const VXFileManager &files = VXFileManager::defaultManager();
    return {files.pathToUserMetadataFolder() + "/.due"_L1,
            files.pathToUserVNXApplicationSupportFolder() + "/.search-due"_L1};
}

// Of these, those that are not ours are left out: what is behind a symbolic link.
QStringList ownFolders()
{
    QStringList own = folders();
    own.removeIf([](const QString &folder) { return QFileInfo(folder).isSymLink(); });
    return own;
}

bool isDebt(const QString &name)
{
    static const QRegularExpression debt(u"^.+@(index|(later|[0-9a-f]{16})(\\.[0-9a-f]{16}-[0-9]+)?(\\.pass)?)\\z"_s);
    return debt.match(name).hasMatch();
}

// The paths of the notes. Other files are not ours.
QStringList debts(const QString &pattern)
{
    QStringList paths;
    for (const QString &folder : ownFolders()) {
        for (const QString &name : QDir(folder).entryList({pattern}, QDir::Files, QDir::Unsorted)) {
            if (isDebt(name))
                paths.append(folder + u'/' + name);
        }
    }
    return paths;
}

// Notes for later do not count: they wait for a pass that is due for another reason.
bool isAnyDue(const QString &pattern)
{
    return std::ranges::any_of(debts(pattern), [](const QString &path) { return !path.endsWith(u'@' + laterSuffix); });
}

QByteArray linesOf(const auto &numbers)
{
    QByteArray lines;
    for (const qint64 number : numbers)
        lines += QByteArray::number(number) + '\n';
    return lines;
}

// Identifies this process, even among those of other containers, where process IDs may be the same.
const QString &token()
{
    static const auto &token = *new QString(QUuid::createUuid().toString(QUuid::Id128).first(16));
    return token;
}

// A new name each time, so that no file left by an earlier pass is replaced.
QString nameOfPass(const QString &name)
{
    static std::atomic<unsigned> count = 0;
    return name + u'.' + token() + u'-' + QString::number(++count) + passSuffix;
}

bool moveToPass(const QString &path, QString *own)
{
    *own = nameOfPass(path);
    return std::rename(QFile::encodeName(path).constData(), QFile::encodeName(*own).constData()) == 0;
}

// Opens a file for appending, and creates it if need be. Not open on failure.
VXFileDescriptor make(const QString &folder, const QString &name)
{
    const auto open = [path = folder + u'/' + name] {
        return VXFileDescriptor(::open(QFile::encodeName(path).constData(),
                                       O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    };
    if (!VXMakeWayForFolder(folder)) {
        errno = ENOTDIR;
        return VXFileDescriptor();
    }
    VXFileDescriptor file = open();
    return file.isOpen() || errno != ENOENT || !VXMakePrivateFolder(folder) ? std::move(file) : open();
}

// Adds the lines in the first folder where that succeeds.
bool add(const QString &name, const QByteArray &lines)
{
    const QStringList all = folders();
    return std::ranges::any_of(all, [&](const QString &folder) {
        const VXFileDescriptor file = make(folder, name);
        return file.isOpen() && file.writeAll(lines);
    });
}

// A line that was cut off could name any object, so all are owed then.
void addLines(const QByteArray &text, VXMetaDataDebt::Owed *owed)
{
    owed->isAll = owed->isAll || (!text.isEmpty() && !text.endsWith('\n'));
    for (const QLatin1StringView line : QLatin1StringView(text).tokenize(u'\n', Qt::SkipEmptyParts)) {
        bool isNumber = false;
        const qint64 number = line.toLongLong(&isNumber);
        if (isNumber)
            owed->numbers.insert(number);
        else
            owed->isAll = true;
    }
}

} // namespace

VXMetaDataDebt::VXMetaDataDebt(const QString &identifier) : _prefix(QString(identifier).replace(u'/', "%2F"_L1) + u'@')
{
}

QString VXMetaDataDebt::ownName() const
{
    return _prefix + token();
}

void VXMetaDataDebt::append(const QByteArray &lines) const
{
    static std::atomic<bool> isTold = false; // log only the first of several failures
    const bool isWritten = add(ownName(), lines);
    const QString reason = qt_error_string(errno);
    if (!isTold.exchange(!isWritten) && !isWritten)
        VXLogMethod(VXLogError, "append:",
                    "what is saved and not mirrored cannot be noted, and may not be found by searching: %1. %2"_L1.arg(
                        ownName(), reason));
}

void VXMetaDataDebt::mark(const QList<qint64> &changed) const
{
    append(linesOf(changed));
}

void VXMetaDataDebt::markAll() const
{
    append("*\n");
}

bool VXMetaDataDebt::isMarked() const
{
    const QStringList own = ownFolders(); // those with many notes are not listed for one
    return std::ranges::any_of(
        own, [name = ownName()](const QString &folder) { return QFileInfo(folder + u'/' + name).isFile(); });
}

void VXMetaDataDebt::settleOwn() const
{
    for (const QString &path : debts(ownName()))
        QFile::remove(path);
}

void VXMetaDataDebt::leaveToPass() const
{
    QString own;
    for (const QString &path : debts(ownName()))
        static_cast<void>(moveToPass(path, &own)); // on failure a pass already has it
}

// Renames the file first, so that whoever adds a note meanwhile makes a new file.
void VXMetaDataDebt::takeOver(QString path, Owed *owed)
{
    if (QString own; !path.endsWith(passSuffix)) {
        if (!moveToPass(path, &own))
            return;
        path = own;
    }
    QString reason;
    const QByteArray text = VXRegularFile::read(path, &reason);
    owed->isAll = owed->isAll || text.isNull();
    addLines(text, owed);
    _taken.append({path, text.size()});
}

void VXMetaDataDebt::markPass(const QList<qint64> &numbers) const
{
    static_cast<void>(add(ownName() + passSuffix, linesOf(numbers)));
}

VXMetaDataDebt::Owed VXMetaDataDebt::beginPass()
{
    Owed owed;
    _taken.clear();
    _owed = {};
    for (const QString &path : debts(_prefix + u'*')) {
        if (!path.endsWith(u'/' + _prefix + indexSuffix))
            takeOver(path, &owed);
    }
    _owed = owed;
    return owed;
}

// A file that has grown since it was read is kept: its writer had it open already, and the added notes are not done. If
// the pass was not done, its files are merged into one, so that passes that never finish do not leave one each.
void VXMetaDataDebt::endPass(bool isDone)
{
    const QList<Taken> all = std::exchange(_taken, {});
    const Owed owed = std::exchange(_owed, {});
    if (!isDone && all.isEmpty())
        markPass();
    const bool isKept = !isDone && all.size() > 1 &&
                        add(_prefix + nameOfPass(token()), owed.isAll ? QByteArray("*\n") : linesOf(owed.numbers));
    for (const Taken &taken : all) {
        if ((isDone || isKept) && QFileInfo(taken.path).size() == taken.size)
            QFile::remove(taken.path);
    }
}

void VXMetaDataDebt::markLater(const QList<qint64> &numbers) const
{
    if (!numbers.isEmpty())
        static_cast<void>(add(_prefix + laterSuffix, linesOf(numbers)));
}

void VXMetaDataDebt::markIndex() const
{
    static_cast<void>(add(_prefix + indexSuffix, {}));
}

void VXMetaDataDebt::settleIndex() const
{
    for (const QString &path : debts(_prefix + indexSuffix))
        QFile::remove(path);
}

bool VXMetaDataDebt::isIndexOwed() const
{
    return !debts(_prefix + indexSuffix).isEmpty();
}

bool VXMetaDataDebt::isAny() const
{
    return isAnyDue(_prefix + u'*');
}

void VXMetaDataDebt::forget() const
{
    for (const QString &path : debts(_prefix + u'*'))
        QFile::remove(path);
}

QStringList VXMetaDataDebt::identifiersOfAll()
{
    QStringList identifiers;
    for (const QString &path : debts(u"*@*"_s))
        identifiers.append(path.section(u'/', -1).section(u'@', 0, -2).replace("%2F"_L1, u"/"_s));
    identifiers.removeDuplicates();
    return identifiers;
}

QByteArray VXMetaDataDebt::lastWord()
{
    QByteArray dates;
    for (const QString &folder : ownFolders()) {
        struct stat status = {};
        if (::stat(QFile::encodeName(folder + u'/' + wordName).constData(), &status) == 0)
            dates += QByteArray::number(qint64(status.st_mtim.tv_sec)) + '.' +
                     QByteArray::number(qint64(status.st_mtim.tv_nsec)) + ' ';
    }
    return dates;
}

// Fails where nothing was ever noted.
void VXMetaDataDebt::leaveWord()
{
    for (const QString &folder : ownFolders()) {
        const QByteArray path = QFile::encodeName(folder + u'/' + wordName);
        if (::utimensat(AT_FDCWD, path.constData(), nullptr, AT_SYMLINK_NOFOLLOW) != 0 && errno == ENOENT)
            VXFileDescriptor(::open(path.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    }
}

bool VXMetaDataDebt::isAnyOfAll()
{
    return isAnyDue(u"*"_s);
}

bool VXMetaDataDebt::isOwnOfAll()
{
    return !debts("*@*"_L1 + token() + u'*').isEmpty();
}
