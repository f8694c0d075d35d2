#include "VXZipFile.h"

#include "VXErrorDomain.h"
#include "VXException.h"
#include "VXFileManager.h"
#include "VXFolders.h"
#include "VXFramework.h"
#include "VXMethodLog.h"
#include "VXStagedFolder.h"
#include "VXZipArchive.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QLocale>
#include <QtCore/QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

// Keeps null.
QString standardized(const QString &path)
{
    return path.isNull() ? QString() : QDir::cleanPath(VXExpandTilde(path));
}

// Makes sure that a relative path is not taken for an option.
QByteArray argument(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    return name.startsWith('-') || name.startsWith('@') ? "./" + name : name;
}

bool hasZipExtension(const QString &path)
{
    const QString name = QFileInfo(path).fileName();
    return name.size() > 4 && name.endsWith(".zip"_L1);
}

// zipinfo shows a control character in a name as "^" and a letter; unzip drops the character.
QString unpackedName(const QString &folder, QString name)
{
    static const QRegularExpression shownControl(u"\\^[@-_]"_s);
    return VXFileManager::itemExistsAtPath(folder + u'/' + name) ? name : name.remove(shownControl);
}

QString sizeText(qint64 bytes)
{
    return QLocale().formattedDataSize(bytes);
}

QString statusText(int status)
{
    return u"Error: %1"_s.arg(status);
}

} // namespace

VXZipFile::VXZipFile() = default;

VXZipFile::~VXZipFile() = default;

VXZipFile::Ptr VXZipFile::create()
{
    return Ptr(new VXZipFile);
}

VXZipFile::Ptr VXZipFile::unzipFileAtPath(const QString &path, QObject *delegate)
{
    Ptr file = create();
    file->setDelegate(delegate);
    file->unzip(path);
    return file;
}

void VXZipFile::zip(const QStringList &sourcePaths)
{
    VXAssert(!sourcePaths.isEmpty(), u"theSourcePaths can not be nil/empty"_s);
    QStringList sources;
    for (const QString &path : sourcePaths)
        sources.append(standardized(path));
    QString destination = standardized(destinationPath());
    if (destination.isNull()) {
        const VXFileManager &files = VXFileManager::defaultManager();
        destination = files.pathToUserDesktopFolder();
        // Without the folder, the archive would get the folder's name. If it cannot be made, the archiver reports that.
        static_cast<void>(files.verifyPathExists(destination));
    }
    // Absolute, as the archiver may run in another folder.
    destination = QDir::current().absoluteFilePath(destination);
    if (sources.size() == 1)
        sources.first() = QDir::cleanPath(QDir::current().absoluteFilePath(sources.first()));
    start([this, sources, destination] { zipFiles(sources, destination); },
          [this] { tellDelegate("zipDidComplete", QVariant::fromValue(this)); });
}

void VXZipFile::zipFiles(const QStringList &sourcePaths, const QString &destination)
{
    const QFileInfo first(sourcePaths.first());
    QString archive = destination;
    if (QFileInfo(archive).isDir())
        archive += u'/' + first.fileName();
    if (!hasZipExtension(archive))
        archive += ".zip"_L1;
    setDestinationPath(archive);

    const bool isSingle = sourcePaths.size() == 1;
    QList<QByteArray> arguments{"-r9q", argument(archive)};
    if (isSingle)
        arguments.append(argument(first.fileName()));
    for (qsizetype index = 0; !isSingle && index < sourcePaths.size(); ++index)
        arguments.append(argument(sourcePaths[index]));
    arguments.append({"-x", ".DS_Store"});
    const int status = runProgram({u"/usr/bin/zip"_s, arguments, isSingle ? first.path() : QString()});
    if (status != 0)
        setError(VXMakeFileError(VXLocalizedString(u"Unable to zip file(s)."_s), statusText(status), archive));
}

void VXZipFile::unzip(const QString &zipPath)
{
    const QString path = standardized(zipPath);
    VXAssert(!path.isNull(), u"aFilePath can not be nil"_s);
    QString destination = standardized(destinationPath());
    if (destination.isNull())
        destination = QFileInfo(path).path();
    start([this, path, destination] { unzipFile(path, destination); },
          [this] { tellDelegate("unzipDidComplete", QVariant::fromValue(this)); });
}

void VXZipFile::unzipFile(const QString &zipPath, const QString &destinationFolder)
{
    const QFileInfo info(zipPath);
    if (info.exists() && !info.isFile() && !info.isDir()) // the archivers would block on a pipe
        return refuse(zipPath, VXLocalizedString(u"It is no regular file."_s));
    VXZipArchive archive(zipPath, [this](const QString &program, const QList<QByteArray> &arguments, QByteArray *output,
                                         qsizetype maximumOutput) {
        return runProgram({program, arguments, {}, output, maximumOutput});
    });
    if (const int status = archive.read(); status == couldNotStart) {
        VXLogMethod(VXLogError, "unzip:", u"Could not open zipinfo for reading"_s);
        return failUnzip(zipPath, {});
    } else if (status != 0) {
        return failUnzip(zipPath, statusText(status));
    }
    if (const QString refusal = archive.refusal(); !refusal.isNull() && !didCancel())
        return refuse(zipPath, refusal);
    unpack(archive, zipPath, destinationFolder);
}

void VXZipFile::unpack(const VXZipArchive &archive, const QString &zipPath, const QString &destinationFolder)
{
    VXStagedFolder staged(destinationFolder);
    if (staged.path().isNull())
        return refuse(zipPath, staged.reason());
    if (archive.totalSize() > staged.freeBytes())
        return refuse(zipPath, VXLocalizedString(u"The archive holds %1, and only %2 are free."_s)
                                   .arg(sizeText(archive.totalSize()), sizeText(staged.freeBytes())));
    // Limits what an archive contains beyond its list.
    const int status =
        runProgram({.program = u"/usr/bin/unzip"_s,
                    .arguments = {"-u", "-o", "-qq", archive.pathArgument(), "-d", argument(staged.path())},
                    .largestFile = archive.largestSize()});
    if (staged.usedBytes() > archive.totalSize())
        return refuse(zipPath, VXLocalizedString(u"The archive holds more than its list says."_s));
    const QString first = unpackedName(staged.path(), archive.firstEntryName());
    if (status == 0 || status == VXZipArchive::warned) {
        if (const QString reason = staged.moveIntoPlace(); !reason.isNull())
            return refuse(zipPath, reason);
    }
    if (status != 0)
        return failUnzip(zipPath, statusText(status));
    setDestinationPath(QDir::cleanPath(destinationFolder + u'/' + first));
}

void VXZipFile::refuse(const QString &zipPath, const QString &reason)
{
    VXLogMethod(VXLogError, "unzip:", u"%1: %2"_s.arg(zipPath, reason));
    failUnzip(zipPath, reason);
}

void VXZipFile::failUnzip(const QString &zipPath, const QString &suggestion)
{
    setError(VXMakeFileError(VXLocalizedString(u"Unable to unzip file."_s), suggestion, zipPath));
}
