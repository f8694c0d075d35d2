#include "VXPluginTemplate.h"

#include "VXBundle.h"
#include "VXErrorDomain.h"
#include "VXFileManager.h"

#include <QtCore/QDir>
#include <QtCore/QDirIterator>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QRegularExpression>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr auto suffix = ".template"_L1;

QString capitalized(const QString &word)
{
    return word.first(1).toUpper() + word.sliced(1);
}

// It must also be suitable as a URL scheme.
QString shortName(const QString &className)
{
    const QString name = className.chopped("Plugin"_L1.size()).toLower();
    return name.isEmpty() ? u"plugin"_s : name;
}

QString templatesFolder()
{
    return VXBundle::mainBundle()->pathForResource(u"PluginTemplates"_s, {});
}

QStringList filesBelow(const QString &folder)
{
    QStringList files;
    QDirIterator entries(folder, {u'*' + suffix}, QDir::Files, QDirIterator::Subdirectories);
    while (entries.hasNext())
        files.append(entries.next().sliced(folder.size() + 1));
    files.sort();
    return files;
}

// Without the line feed at the end, and with one at the start; null if the file does not exist.
QString textOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? u'\n' + QString::fromUtf8(file.readAll()).chopped(1) : QString();
}

// Removes the folders that were made for the files; those that are not empty stay.
void removeEmptyFolders(const QString &folder, const QStringList &files, bool keepsFolder)
{
    for (const QString &file : files) {
        for (QString parent = QFileInfo(file).path(); parent != "."_L1; parent = QFileInfo(parent).path())
            QDir(folder).rmdir(parent);
    }
    if (!keepsFolder)
        QDir().rmdir(folder);
}

bool fail(VXError *error, const QString &description, const QString &path = {})
{
    VXSetError(error, VXMakeFileError(description, {}, path));
    return false;
}

} // namespace

QString VXPluginTemplate::classNameForName(const QString &name, VXError *error)
{
    static const QRegularExpression form(u"^[A-Za-z][A-Za-z0-9]*([ _-]+[A-Za-z0-9]+)*\\z"_s);
    static const QRegularExpression separators(u"[ _-]+"_s);
    if (!form.match(name).hasMatch()) {
        fail(error, u"the name \"%1\" makes no name of a class: it takes the letters A to Z, digits, and between them "
                    "spaces, hyphens and underscores, and begins with a letter"_s.arg(name));
        return {};
    }
    QString className;
    for (const QString &word : name.split(separators))
        className += capitalized(word);
    if (!className.endsWith("Plugin"_L1))
        className += "Plugin"_L1;
    if (className.startsWith("VX"_L1)) {
        fail(error, u"the name \"%1\" makes the class %2, and classes whose names begin with VX are Vornix's own"_s.arg(
                        name, className));
        return {};
    }
    return className;
}

QString VXPluginTemplate::identifierForClass(const QString &className)
{
    return "org.example."_L1 + shortName(className);
}

QString VXPluginTemplate::storeForClass(const QString &className)
{
    return shortName(className);
}

bool VXPluginTemplate::isIdentifier(const QString &text)
{
    static const QRegularExpression form(u"^[A-Za-z0-9-]+(\\.[A-Za-z0-9-]+)+\\z"_s);
    return form.match(text).hasMatch();
}

VXPluginTemplate::VXPluginTemplate(const QString &name, const QString &kind, const QString &identifier)
    : _kind(kind), _className(classNameForName(name)), _values{{u"@CLASS@"_s, _className},
                                                               {u"@NAME@"_s, name},
                                                               {u"@IDENTIFIER@"_s, identifier},
                                                               {u"@KIND@"_s, kind},
                                                               {u"@SCHEME@"_s, shortName(_className)},
                                                               {u"@STORE@"_s, storeForClass(_className)}},
      _info(textOf(templatesFolder() + u'/' + kind + ".info"_L1))
{
}

bool VXPluginTemplate::writeToFolder(const QString &folder, VXError *error)
{
    const QString templates = templatesFolder();
    const QString common = templates + "/Common"_L1;
    const QString classTemplate = templates + u'/' + _kind + ".cpp"_L1 + suffix;
    if (templates.isNull() || !QFileInfo::exists(classTemplate))
        return fail(error, u"the templates of new plugins are missing from the application"_s, classTemplate);

    const bool isThere = QFileInfo::exists(folder);
    if (isThere && !QFileInfo(folder).isDir())
        return fail(error, u"there is a file of that name"_s, folder);
    if (isThere && !QDir(folder).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot))
        return fail(error, u"the folder is not empty, and nothing is written over"_s, folder);

    const auto writeFiles = [&](const QString &templateFolder) {
        const QStringList files = filesBelow(templateFolder);
        return std::all_of(files.cbegin(), files.cend(), [&](const QString &file) {
            return writeFile(templateFolder + u'/' + file, folder, filledIn(file.chopped(suffix.size())), error);
        });
    };
    if (writeFiles(common) && writeFiles(templates + u'/' + _kind) &&
        writeFile(classTemplate, folder, _className + ".cpp"_L1, error))
        return true;
    const QStringList written = std::exchange(_writtenFiles, {});
    for (const QString &file : written)
        QFile::remove(folder + u'/' + file);
    removeEmptyFolders(folder, written, isThere);
    return false;
}

QString VXPluginTemplate::filledIn(QString text) const
{
    text.replace("@INFO@"_L1, _info);
    for (auto value = _values.cbegin(); value != _values.cend(); ++value)
        text.replace(value.key(), value.value());
    return text;
}

bool VXPluginTemplate::writeFile(const QString &templatePath, const QString &folder, const QString &relativePath,
                                 VXError *error)
{
    QFile source(templatePath);
    if (!source.open(QIODevice::ReadOnly))
        return fail(error, u"the template cannot be read: %1"_s.arg(source.errorString()), templatePath);
    const QString path = folder + u'/' + relativePath;
    const QString parent = QFileInfo(path).path();
    if (const VXError problem = VXFileManager::defaultManager().verifyPathExists(parent))
        return fail(error, problem.localizedDescription(), parent);
    const QByteArray text = filledIn(QString::fromUtf8(source.readAll())).toUtf8();
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
        return fail(error, u"the file cannot be written: %1"_s.arg(file.errorString()), path);
    _writtenFiles.append(relativePath);
    if (file.write(text) == text.size() && file.flush())
        return true;
    return fail(error, u"the file cannot be written: %1"_s.arg(file.errorString()), path);
}
