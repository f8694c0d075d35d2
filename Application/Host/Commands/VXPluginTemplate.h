#pragma once

#include "VXError.h"

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * The sources of a new plugin, made from the application's resource "PluginTemplates": "KIND.cpp.template" becomes the
 * plugin's class, and the contents of "Common" and "KIND" become the rest; "KIND.info" goes into CMakeLists.txt.
 * Placeholders such as @NAME@ are filled in, also in file names.
 */
class VXPluginTemplate
{
public:
    /** "Hello world" becomes HelloWorldPlugin. Null, with an error for people, if no class name can be made from the
     *  name. */
    static QString classNameForName(const QString &name, VXError *error = nullptr);
    /** A suggested identifier. */
    static QString identifierForClass(const QString &className);
    /** The name of the store of a data plugin of that class. */
    static QString storeForClass(const QString &className);
    /** True for those of the form org.example.hello. */
    static bool isIdentifier(const QString &text);

    /** `name` must yield a class name; `kind` is one of VXPluginKind's. */
    VXPluginTemplate(const QString &name, const QString &kind, const QString &identifier);

    /**
     * Writes the files into the folder, which is made if necessary. False if the folder is not empty, or something
     * cannot be written: then nothing that was written stays.
     */
    bool writeToFolder(const QString &folder, VXError *error = nullptr);
    /** The files, relative to the folder. */
    const QStringList &writtenFiles() const { return _writtenFiles; }

private:
    QString filledIn(QString text) const;
    bool writeFile(const QString &templatePath, const QString &folder, const QString &relativePath, VXError *error);

    const QString _kind;
    const QString _className;
    const QHash<QString, QString> _values; // for the placeholders
    const QString _info;                   // arguments of the kind for CMake, with placeholders
    QStringList _writtenFiles;
};
