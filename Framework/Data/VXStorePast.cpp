#include "VXStorePast.h"

#include "VXDiagnostics.h"
#include "VXFileManager.h"
#include "VXMethodLog.h"
#include "VXPropertyList.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QVariantMap>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype longestList = 10;

// Of the folder itself, wherever it is moved on its disk; 0 when there is none.
qulonglong numberOf(const QString &path)
{
    struct stat status = {};
    return ::lstat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_ino : 0;
}

// A relative one would lead nowhere from another folder. What cannot be changed stays as it is.
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

QVariantList listOf(const QString &storePath)
{
    const QString file = VXStorePast::fileForStorePath(storePath);
    return QFileInfo::exists(file) ? VXPropertyList::fromFile(file).toList() : QVariantList();
}

void setListOf(const QString &storePath, const QVariantList &list)
{
    VXError error;
    if (!VXPropertyList::toFile(list, VXStorePast::fileForStorePath(storePath), VXPropertyList::Format::XML, &error))
        VXLogClassMethod(VXLogWarning, VXStorePast, "note", error.description());
}

QVariantMap entryFor(const QString &keptPath, qulonglong number, const QString &reason)
{
    return {{u"path"_s, keptPath},
            {u"number"_s, number},
            {u"date"_s, QDateTime::currentDateTimeUtc()},
            {u"reason"_s, reason}};
}

// In the trash it may have got another name than it was to have. Null when it is gone.
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

} // namespace

QString VXStorePast::fileForStorePath(const QString &storePath)
{
    const QFileInfo place(QDir::cleanPath(storePath));
    return place.absolutePath() + "/."_L1 + place.fileName() + ".past"_L1;
}

void VXStorePast::note(const QString &storePath, const QString &keptPath, const QString &reason)
{
    QVariantList list = listOf(storePath);
    list.prepend(entryFor(keptPath, numberOf(keptPath), reason));
    setListOf(storePath, list.first(std::min(list.size(), longestList)));
}

VXError VXStorePast::move(const QString &storePath, const QString &path, const QString &place, const QString &reason)
{
    makeLinkAbsolute(path);
    const VXError error = VXFileManager::defaultManager().moveItemAtPath(path, place);
    if (!error)
        note(storePath, place, reason);
    return error;
}

VXError VXStorePast::trash(const QString &storePath, const QString &path, const QString &reason, QString *trashedPath)
{
    VXFileManager &files = VXFileManager::defaultManager();
    makeLinkAbsolute(path);
    const qulonglong number = numberOf(path);
    const QVariantList before = listOf(storePath);
    QVariantList list = before;
    list.prepend(entryFor(files.pathToUserTrashFolder() + u'/' + QFileInfo(path).fileName(), number, reason));
    list = list.first(std::min(list.size(), longestList));
    setListOf(storePath, list);
    QString trashed;
    const VXError error = files.safelyTrashFileAtPath(path, &trashed);
    if (error) {
        setListOf(storePath, before);
    } else if (numberOf(trashed) != number) { // from another disk
        list.first() = entryFor(trashed, numberOf(trashed), reason);
        setListOf(storePath, list);
    }
    if (trashedPath != nullptr)
        *trashedPath = trashed;
    return error;
}

QList<VXStorePast::Entry> VXStorePast::entries(const QString &storePath)
{
    QList<Entry> entries;
    for (const QVariant &each : listOf(storePath)) {
        const QVariantMap entry = each.toMap();
        if (const QString path = placeOf(entry); !path.isNull())
            entries.append({path, entry.value(u"date"_s).toDateTime(), entry.value(u"reason"_s).toString()});
    }
    return entries;
}
