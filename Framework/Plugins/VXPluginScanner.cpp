#include "VXPluginScanner.h"

#include "VXMethodLog.h"
#include "VXPropertyList.h"
#include "VXRegularFile.h"
#include "VXVersion.h"

#include <filesystem>
#include <limits>
#include <system_error>

using namespace Qt::StringLiterals;

namespace {

constexpr auto pluginExtension = ".vxplugin";

QString folderOf(const VXPluginCopy &copy)
{
    return copy.path.left(copy.path.lastIndexOf(u'/'));
}

// The number that the text begins with, whatever follows; 0 if there is none.
qlonglong leadingInteger(QStringView text)
{
    const QStringView trimmed = text.trimmed();
    qsizetype end = trimmed.startsWith(u'-') || trimmed.startsWith(u'+') ? 1 : 0;
    while (end < trimmed.size() && trimmed[end] >= u'0' && trimmed[end] <= u'9')
        ++end;
    bool fits = false;
    const qlonglong number = trimmed.first(end).toLongLong(&fits);
    // A number that does not fit counts as the largest one.
    return fits || end < 2 ? number : (trimmed.front() == u'-' ? -1 : std::numeric_limits<qlonglong>::max());
}

} // namespace

QStringList VXPluginScanner::pluginPathsInFolder(const QString &folder)
{
    QStringList names;
    std::error_code error;
    std::filesystem::directory_iterator entry(QFile::encodeName(folder).toStdString(), error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        const std::filesystem::path &path = entry->path();
        if (path.extension() == pluginExtension)
            names.append(folder + u'/' + QFile::decodeName(path.filename().c_str()));
    }
    names.sort();
    return names;
}

VXPluginScanner::VXPluginScanner(const QStringList &folders, const QString &sharedFolder)
    : _folders(folders), _sharedFolder(sharedFolder)
{
}

QStringList VXPluginScanner::latestPluginPaths()
{
    _choices.clear();
    for (const QString &folder : _folders) {
        for (const QString &path : pluginPathsInFolder(folder))
            consider(path, folder);
    }
    QStringList paths;
    for (const VXPluginChoice &choice : std::as_const(_choices)) {
        if (!choice.chosen.path.isNull())
            paths.append(choice.chosen.path);
    }
    paths.sort(); // so that every start gives the same result
    return paths;
}

QVariantMap VXPluginScanner::peekAtBundleInfo(const QString &bundlePath)
{
    const QString path = bundlePath + "/Contents/Info.plist"_L1;
    QString problem;
    const QByteArray data = VXRegularFile::read(path, &problem);
    if (data.isNull()) {
        VXLogClassMethod(VXLogError, VXPluginScanner,
                         "peekAtBundleInfo:", "Unable to create data from plist: "_L1 + path);
        return {};
    }
    VXError error;
    const QVariant info = VXPropertyList::fromData(data, &error);
    if (info.metaType() != QMetaType::fromType<QVariantMap>()) {
        const QString reason = error ? error.localizedDescription() : u"It is no dictionary."_s;
        VXLogClassMethod(VXLogError, VXPluginScanner, "peekAtBundleInfo:",
                         u"Unable to create dictionary from plist data: %1 %2"_s.arg(path, reason));
        return {};
    }
    return info.toMap();
}

QString VXPluginScanner::versionOf(const QVariantMap &info)
{
    return info.value(u"CFBundleVersion"_s, u"0"_s).toString();
}

bool VXPluginScanner::isOutdated(const QString &version)
{
    return leadingInteger(version) < oldestSharedVersion;
}

void VXPluginScanner::consider(const QString &path, const QString &folder)
{
    const QVariantMap info = peekAtBundleInfo(path);
    const QString identifier = info.value(u"CFBundleIdentifier"_s).toString();
    if (identifier.isEmpty()) {
        VXLogMethod(VXLogWarning, "latestPluginPaths", "Info.plist is missing identifier: "_L1 + path);
        return;
    }
    VXPluginCopy copy{path, versionOf(info), u"only copy"_s};
    VXPluginChoice &choice = _choices[identifier];
    if (folder == _sharedFolder && isOutdated(copy.version)) {
        VXTraceMethod(VXDebugCategory::PLUG(), "latestPluginPaths", "Ignoring outdated plugin: "_L1 + path);
        copy.reason = u"below version %1"_s.arg(oldestSharedVersion);
        choice.passedOver.append(copy);
        return;
    }
    if (choice.chosen.path.isNull())
        choice.chosen = copy;
    else
        choose(choice, copy);
}

void VXPluginScanner::choose(VXPluginChoice &choice, VXPluginCopy &copy) const
{
    VXPluginCopy &earlier = choice.chosen;
    const int order = vx_compareVersion(earlier.version, copy.version);
    if (order > 0) {
        VXTraceMethod(VXDebugCategory::PLUG(), "latestPluginPaths", "Ignoring outdated plugin: "_L1 + copy.path);
        copy.reason = "older than the one in "_L1 + folderOf(earlier);
        choice.passedOver.append(copy);
        if (earlier.reason == "only copy"_L1)
            earlier.reason = u"newest version"_s;
        return;
    }
    VXTraceMethod(VXDebugCategory::PLUG(), "latestPluginPaths", "Ignoring updated plugin: "_L1 + earlier.path);
    if (order < 0) {
        earlier.reason = "older than the one in "_L1 + folderOf(copy);
        copy.reason = u"newest version"_s;
    } else {
        earlier.reason = u"same version as the one in %1, and earlier folder"_s.arg(folderOf(copy));
        copy.reason = u"same version as the one in %1, and later folder"_s.arg(folderOf(earlier));
    }
    choice.passedOver.append(earlier);
    choice.chosen = copy;
}
