#pragma once

#include "VXError.h"

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * The sources of a new plugin, made from the application's resource "PluginTemplates": "KIND.cpp.template" becomes the
 * plugin's class, and what lies in "Common" and in "KIND" the rest; "KIND.info" goes into CMakeLists.txt. Placeholders such as
 * @NAME@ are filled in, in names of files too.
 */
class VXPluginTemplate
{
public:
    /** "Hello world" makes HelloWorldPlugin. Null, with an error for people, when the name makes no name of a class. */
    static QString classNameForName(const QString &name, VXError *error = nullptr);
    /** An identifier to begin with. */
    static QString identifierForClass(const QString &className);
    /** What the store of a data plugin of that class is called. */
    static QString storeForClass(const QString &className);
    /** True for those of the form org.example.hello. */
    static bool isIdentifier(const QString &text);

    /** `name` makes a name of a class; `kind` is one of VXPluginKind's. */
    VXPluginTemplate(const QString &name, const QString &kind, const QString &identifier);

    /**
     * Writes the files into the folder, which is made if needed. False when something is in it already, or something
     * cannot be written: nothing of what was written stays then.
     */
    bool writeToFolder(const QString &folder, VXError *error = nullptr);
    /** The files, relative to the folder. */
    const QStringList &writtenFiles() const { return _writtenFiles; }

private:
    QString filledIn(QString text) const;
    bool writeFile(const QString &templatePath, const QString &folder, const QString &relativePath, VXError *error);

    const QString _kind;
    const QString _className;
    const QHash<QString, QString> _values; // of the placeholders
    const QString _info;                   // arguments of the kind for CMake, with placeholders
    QStringList _writtenFiles;
};
