#include "VXBundle.h"
#include "VXFileManager.h"
#include "VXFramework.h"
#include "VXHostCommands.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXShownText.h"
#include "VXUserDefaults.h"
#include "VXVersions.h"

#include <QtCore/QDir>
#include <QtCore/QJsonObject>

#include <vector>

using namespace Qt::StringLiterals;

namespace {

std::vector<VXTitledValue> folders()
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

QJsonObject object(const std::vector<VXTitledValue> &rows)
{
    QJsonObject result;
    for (const VXTitledValue &row : rows)
        result.insert(row.key, VXJSONFromVariant(row.value));
    return result;
}

QString lines(const std::vector<VXTitledValue> &rows, qsizetype width)
{
    QString text;
    for (const VXTitledValue &row : rows)
        text += "  "_L1 + VXShownText(row.title).leftJustified(width + 2) +
                (row.value.isNull() ? VXShownText(u"none"_s) : row.value) + u'\n';
    return text;
}

int runInfo(VXHostContext &context)
{
    const auto versionRows = VXVersions();
    const auto folderRows = folders();
    qsizetype width = 0;
    for (const auto *rows : {&versionRows, &folderRows}) {
        for (const VXTitledValue &row : *rows)
            width = std::max(width, VXShownText(row.title).size());
    }
    context.output.answer(VXShownText(u"Versions"_s) + u'\n' + lines(versionRows, width) + u'\n' +
                              VXShownText(u"Folders"_s) + u'\n' + lines(folderRows, width),
                          QJsonObject{{u"versions"_s, object(versionRows)}, {u"folders"_s, object(folderRows)}});
    return VXHostOutput::Done;
}

} // namespace

VXHostCommand VXInfoCommand()
{
    return {.name = u"info"_s, .summary = u"Show versions and every folder in use"_s, .run = runInfo};
}
