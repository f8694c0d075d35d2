#include "VXMetaDataOrigin.h"

#include "VXFileManager.h"
#include "VXMetaDataFolder.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QRegularExpression>

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

// Includes the time of birth, as inode numbers are reused; leaves out the device, whose number may change when the
// machine is restarted.
QByteArray markOf(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    struct statx status = {};
    if (::statx(AT_FDCWD, name.constData(), 0, STATX_INO | STATX_BTIME, &status) != 0)
        return {};
    return QByteArray::number(quint64(status.stx_ino)) + ' ' + QByteArray::number(qint64(status.stx_btime.tv_sec)) +
           '.' + QByteArray::number(status.stx_btime.tv_nsec) + ' ' + name.toPercentEncoding("/");
}

// The data file, or its folder if each save replaces the file.
QString markedPath(const VXPersistentStore &store)
{
    const QFileInfo file(store.path());
    return store.type() == VXStoreType::SQLite ? file.canonicalFilePath() : file.canonicalPath();
}

// Null for a line without a path: that is a store's identifier, or was written by an earlier program.
QString pathIn(const QByteArray &line)
{
    return QFile::decodeName(QByteArray::fromPercentEncoding(line.split(' ').value(2)));
}

bool isInPlace(const QByteArray &line)
{
    return !line.contains(' ') || markOf(pathIn(line)) == line;
}

} // namespace

QByteArray VXMarkOfStores(const VXPersistentStoreCoordinator &coordinator)
{
    QByteArray mark;
    for (const auto &store : coordinator.persistentStores()) {
        mark += store->identity().identifier().toUtf8() + '\n';
        if (!store->path().isNull())
            mark += markOf(markedPath(*store)) + '\n';
    }
    return mark;
}

bool VXIsMarkOfStores(const QByteArray &text)
{
    static const QRegularExpression mark(u"^([0-9A-Fa-f-]{36}\\n([0-9]+ [0-9]+\\.[0-9]+( [^ \\n]+)?\\n)?)+\\z"_s);
    return mark.match(QString::fromLatin1(text)).hasMatch();
}

QMap<QString, QByteArray> VXAllMarksOfStores()
{
    QMap<QString, QByteArray> marks;
    const QDir all(VXFileManager::defaultManager().pathToUserMetadataFolder());
    for (const QString &name : all.entryList({u"*.store"_s}, QDir::Files, QDir::Unsorted)) {
        const QString identifier = name.chopped(6);
        const QByteArray mark = VXMetaDataFolder(identifier).origin();
        if (VXIsMarkOfStores(mark)) // otherwise somebody else has put it there
            marks.insert(identifier, mark);
    }
    return marks;
}

bool VXAreMarkedStoresInPlace()
{
    const QMap<QString, QByteArray> marks = VXAllMarksOfStores();
    return std::ranges::all_of(marks, [](const QByteArray &mark) {
        const QByteArrayList lines = mark.trimmed().split('\n');
        return std::ranges::all_of(lines, isInPlace);
    });
}

QStringList VXSyncsOfStoresIn(const QString &folder)
{
    const QString inside = QFileInfo(folder).canonicalFilePath() + u'/';
    QStringList identifiers;
    if (inside.size() == 1)
        return identifiers; // the folder has no other path
    for (const auto &[identifier, mark] : VXAllMarksOfStores().asKeyValueRange()) {
        const QByteArrayList lines = mark.trimmed().split('\n');
        if (std::ranges::any_of(lines,
                                [&inside](const QByteArray &line) { return (pathIn(line) + u'/').startsWith(inside); }))
            identifiers.append(identifier);
    }
    return identifiers;
}
