#include "VXFreedesktopWorkspace.h"

#include "VXDesktopEntry.h"

#include <QtCore/QDir>
#include <QtCore/QDirIterator>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QMimeType>
#include <QtCore/QProcess>
#include <QtCore/QSet>
#include <QtCore/QStandardPaths>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

VXIcon iconOfType(const QMimeType &type)
{
    return type.isValid() ? VXIcon{type.iconName(), type.genericIconName(), {}} : VXIcon();
}

// "applications" below XDG_DATA_HOME, then below each of XDG_DATA_DIRS.
QStringList applicationFolders()
{
    return QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation);
}

// The path of an identifier, in which dashes may stand for folders: "kde-okular" is kde/okular.desktop.
QString entryPath(const QString &folder, const QString &identifier)
{
    const QString path = folder + u'/' + identifier + ".desktop"_L1;
    if (QFileInfo(path).isFile())
        return path;
    for (qsizetype dash = identifier.indexOf(u'-'); dash > 0; dash = identifier.indexOf(u'-', dash + 1)) {
        const QString subfolder = folder + u'/' + identifier.first(dash);
        if (!QFileInfo(subfolder).isDir())
            continue;
        if (const QString found = entryPath(subfolder, identifier.sliced(dash + 1)); !found.isNull())
            return found;
    }
    return {};
}

QString entryWithKey(const QString &identifier)
{
    QSet<QString> seen; // an entry in an earlier folder replaces those with the same ID in later ones
    for (const QString &folder : applicationFolders()) {
        QDirIterator entries(folder, {u"*.desktop"_s}, QDir::Files, QDirIterator::Subdirectories);
        while (entries.hasNext()) {
            const QString path = entries.next();
            const QString entryIdentifier = QDir(folder).relativeFilePath(path).replace(u'/', u'-');
            if (seen.contains(entryIdentifier))
                continue;
            seen.insert(entryIdentifier);
            const auto entry = VXDesktopEntry::fromFile(path);
            if (entry && !entry->isHidden() && entry->value(u"X-Vornix-Identifier"_s) == identifier)
                return path;
        }
    }
    return {};
}

QString firstArgument(const QString &processFolder)
{
    QFile file(processFolder + "/cmdline"_L1);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QFile::decodeName(file.readAll().split('\0').first());
}

// By the program's file, which only the process's owner can read, or else by the name it was started with.
bool runsProgram(const QString &processFolder, const QString &name)
{
    QString program = QFile::symLinkTarget(processFolder + "/exe"_L1);
    program.remove(" (deleted)"_L1); // the program's file was replaced by an update
    return QFileInfo(program).fileName() == name || QFileInfo(firstArgument(processFolder)).fileName() == name;
}

} // namespace

VXIcon VXFreedesktopWorkspace::iconForFile(const QString &path)
{
    const QFileInfo info(path);
    if (!info.exists())
        return {};
    if (info.suffix() == "desktop"_L1) {
        if (const auto entry = VXDesktopEntry::fromFile(path); entry && !entry->icon().isNull())
            return entry->icon();
    }
    return iconOfType(_mimeTypes.mimeTypeForFile(info));
}

VXIcon VXFreedesktopWorkspace::iconForFileType(const QString &type)
{
    if (type.contains(u'/'))
        return iconOfType(_mimeTypes.mimeTypeForName(type));
    const QString extension = type.startsWith(u'.') ? type.sliced(1) : type;
    return iconOfType(_mimeTypes.mimeTypeForFile("file."_L1 + extension, QMimeDatabase::MatchExtension));
}

QString VXFreedesktopWorkspace::applicationPathForIdentifier(const QString &identifier)
{
    QString plain = identifier;
    if (plain.endsWith(".desktop"_L1))
        plain.chop(8);
    if (plain.isEmpty() || plain.contains(u'/'))
        return {};
    for (const QString &folder : applicationFolders()) {
        const QString path = entryPath(folder, plain);
        if (path.isNull())
            continue;
        const auto entry = VXDesktopEntry::fromFile(path);
        return entry && !entry->isHidden() ? path : QString();
    }
    return entryWithKey(identifier);
}

VXIcon VXFreedesktopWorkspace::iconForApplication(const QString &identifier)
{
    const QString path = applicationPathForIdentifier(identifier);
    const auto entry = path.isNull() ? std::nullopt : VXDesktopEntry::fromFile(path);
    return entry ? entry->icon() : VXIcon();
}

bool VXFreedesktopWorkspace::openURL(const QUrl &url, VXError *error)
{
    const auto fail = [&](const QString &suggestion) {
        VXSetError(error, VXError::platformError(VXPlatformErrorCode::InvalidValue,
                                                 u"Unable to open %1"_s.arg(url.toDisplayString()), suggestion));
        return false;
    };
    if (!url.isValid() || url.isRelative())
        return fail(u"This is no absolute URL."_s);
    const QString opener = QStandardPaths::findExecutable(u"xdg-open"_s);
    if (opener.isEmpty())
        return fail(u"The program xdg-open is not installed."_s);
    if (!QProcess::startDetached(opener, {QString::fromLatin1(url.toEncoded())}))
        return fail(u"%1 could not be started."_s.arg(opener));
    return true;
}

qint64 VXFreedesktopWorkspace::processIdentifierForApplication(const QString &name)
{
    if (name.isEmpty())
        return 0;
    QDirIterator processes(u"/proc"_s, QDir::Dirs | QDir::NoDotAndDotDot);
    while (processes.hasNext()) {
        const QString folder = processes.next();
        bool isProcess = false;
        const qint64 identifier = processes.fileName().toLongLong(&isProcess);
        if (isProcess && runsProgram(folder, name))
            return identifier;
    }
    return 0;
}
