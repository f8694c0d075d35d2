#include "VXBundle.h"
#include "VXFileManager.h"
#include "VXFramework.h"
#include "VXHostCommands.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXUserDefaults.h"

#include <QtCore/QDir>
#include <QtCore/QJsonObject>
#include <QtCore/QSysInfo>

#include <vector>

using namespace Qt::StringLiterals;

namespace {

struct Row
{
    QString key;   // in the JSON object
    QString title; // for people
    QString value; // null: there is none
};

QString systemVersionText()
{
    return u"%1.%2"_s.arg(QString::number(VX_OSX_VERSION >> 8, 16)).arg((VX_OSX_VERSION >> 4) & 0xf);
}

std::vector<Row> versions()
{
    const QString application =
        VXBundle::mainBundle()->objectForInfoDictionaryKey(u"CFBundleShortVersionString"_s).toString();
    return {{u"application"_s, u"Application"_s, application},
            {u"framework"_s, u"Framework"_s, VXFrameworkVersion()},
            {u"qt"_s, u"Qt"_s, QString::fromLatin1(qVersion())},
            {u"system"_s, u"System"_s, QSysInfo::prettyProductName()},
            {u"compatibleSystem"_s, u"Compatible with system"_s, systemVersionText()}};
}

std::vector<Row> folders()
{
    const VXFileManager &files = VXFileManager::defaultManager();
    const auto bundle = VXBundle::mainBundle();
    return {{u"home"_s, u"Home"_s, QDir::homePath()},
            {u"applicationSupport"_s, u"Application support"_s, files.pathToUserVNXApplicationSupportFolder()},
            {u"localApplicationSupport"_s, u"Application support of all users"_s,
             files.pathToLocalVNXApplicationSupportFolder()},
            {u"preferences"_s, u"Preferences"_s, VXUserDefaults::preferencesFolder()},
            {u"logs"_s, u"Logs"_s, files.pathToUserVNXLogsFolder()},
            {u"caches"_s, u"Caches"_s, files.pathToUserCachedDataFolder()},
            {u"metadata"_s, u"Search metadata"_s, files.pathToUserMetadataFolder()},
            {u"trash"_s, u"Trash"_s, files.pathToUserTrashFolder()},
            {u"desktop"_s, u"Desktop"_s, files.pathToUserDesktopFolder()},
            {u"temporary"_s, u"Temporary files"_s, QDir::tempPath()},
            {u"applicationBundle"_s, u"Application bundle"_s, bundle->bundlePath()},
            {u"frameworkBundle"_s, u"Framework bundle"_s, VXFrameworkBundle()->bundlePath()},
            {u"builtInPlugIns"_s, u"Built-in plugins"_s, bundle->builtInPlugInsPath()}};
}

QJsonObject object(const std::vector<Row> &rows)
{
    QJsonObject result;
    for (const Row &row : rows)
        result.insert(row.key, VXJSONFromVariant(row.value));
    return result;
}

QString lines(const std::vector<Row> &rows, qsizetype width)
{
    QString text;
    for (const Row &row : rows)
        text += "  "_L1 + row.title.leftJustified(width + 2) + (row.value.isNull() ? u"none"_s : row.value) + u'\n';
    return text;
}

int runInfo(VXHostContext &context)
{
    const auto versionRows = versions();
    const auto folderRows = folders();
    qsizetype width = 0;
    for (const auto *rows : {&versionRows, &folderRows}) {
        for (const Row &row : *rows)
            width = std::max(width, row.title.size());
    }
    context.output.answer(u"Versions\n"_s + lines(versionRows, width) + u"\nFolders\n"_s + lines(folderRows, width),
                          QJsonObject{{u"versions"_s, object(versionRows)}, {u"folders"_s, object(folderRows)}});
    return VXHostOutput::Done;
}

} // namespace

VXHostCommand VXInfoCommand()
{
    return {.name = u"info"_s, .summary = u"Show versions and every folder in use"_s, .run = runInfo};
}
