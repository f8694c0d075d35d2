#include "VXPlugin.h"

#include "VXApplication.h"
#include "VXDiagnostics.h"
#include "VXPluginGuard.h"
#include "VXPluginManager.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

using namespace Qt::StringLiterals;

const VXNotificationName VXPluginDidLoadNotification(u"VXPluginDidLoadNotification"_s);
const VXNotificationName VXPluginWillUnloadNotification(u"VXPluginWillUnloadNotification"_s);

namespace {

QSet<VXPlugin *> &living()
{
    static auto *const objects = new QSet<VXPlugin *>; // never freed: plugins may outlive static objects
    return *objects;
}

// The innermost plugin bundle that contains a file of code; null when there is none.
VXBundle::Ptr pluginBundleOfCode(const QString &file)
{
    for (QString folder = QFileInfo(file).path(); folder.size() > 1; folder = QFileInfo(folder).path()) {
        if (folder.endsWith(".vxplugin"_L1))
            return VXBundle::bundleWithPath(folder);
    }
    return nullptr;
}

// The path of a readable image in the bundle, given with or without its extension; null for none.
QString pathForImageResource(const VXBundle &bundle, const QString &name)
{
    for (const QString &type : {QString(), u"svg"_s, u"png"_s, u"xpm"_s, u"jpg"_s}) {
        const QString path = bundle.pathForResource(name, type);
        if (QFileInfo(path).isFile() && QFile(path).open(QIODevice::ReadOnly))
            return path;
    }
    return {};
}

} // namespace

VXPlugin::VXPlugin()
{
    living().insert(this);
}

VXPlugin::~VXPlugin()
{
    living().remove(this);
}

const QSet<VXPlugin *> &VXPlugin::livingObjects()
{
    return living();
}

VXBundle::Ptr VXPlugin::bundle() const
{
    const VXMutexLocker lock(_lock); // threads that post events call this, too
    if (!_codeBundle)
        _codeBundle = pluginBundleOfCode(VXBundle::pathOfCode(metaObject()));
    return _codeBundle;
}

QString VXPlugin::identifier() const
{
    const VXBundle::Ptr found = bundle();
    return found ? found->bundleIdentifier() : QString();
}

QString VXPlugin::name() const
{
    const VXBundle::Ptr found = bundle();
    return found ? found->objectForInfoDictionaryKey(u"VXPluginName"_s).toString() : QString();
}

QString VXPlugin::description() const
{
    const QString found = name();
    return found.isNull() ? identifier() : found;
}

VXIcon VXPlugin::icon() const
{
    const VXBundle::Ptr found = bundle();
    if (!found)
        return {.name = u"plugin"_s, .genericName = {}, .path = {}};
    const QString image = pathForImageResource(*found, infoText(u"CFBundleIconFile"_s));
    if (!image.isNull())
        return {.name = {}, .genericName = {}, .path = image};
    VXWorkspace &workspace = VXApplication::sharedApplication().workspace();
    if (const QString type = infoText(u"VXBundleIconFromFileType"_s); !type.isNull())
        return workspace.iconForFileType(type);
    if (const QString application = infoText(u"VXBundleIconFromAppWithIdentifier"_s); !application.isNull()) {
        const VXIcon icon = workspace.iconForFile(workspace.applicationPathForIdentifier(application));
        if (!icon.isNull()) // null if the application is not installed
            return icon;
    }
    return workspace.iconForFile(found->bundlePath());
}

QString VXPlugin::pluginClassType() const
{
    return infoText(u"VXPluginClass"_s);
}

QString VXPlugin::infoText(const QString &key) const
{
    const VXBundle::Ptr found = bundle();
    return found ? found->infoDictionary().value(key).toString() : QString();
}

QString VXPlugin::as_version() const
{
    return bundle() ? u"%1 (%2)"_s.arg(VXDescription(infoText(u"CFBundleShortVersionString"_s)),
                                       VXDescription(infoText(u"CFBundleVersion"_s)))
                    : QString();
}

void VXPlugin::pluginDidLoad() {}

void VXPlugin::pluginWillUnload() {}

int VXPlugin::pluginShouldUnload()
{
    return VXUnloadNow;
}

void VXPlugin::replyToPluginShouldUnload(bool flag)
{
    VXPluginManager::sharedPluginManager().replyToPluginShouldUnload(flag, identifier());
}

bool VXPlugin::isKeptAfterUnload() const
{
    return false;
}

void VXPlugin::_pluginWillLoad() {}

QString VXPlugin::callPluginWillLoad()
{
    _isUnloaded = false;
    QString reason;
    const bool isDone = VXCallPlugin(
        *this, "_pluginWillLoad", [this] { _pluginWillLoad(); }, &reason);
    return isDone ? QString() : "_pluginWillLoad threw "_L1 + reason;
}

QString VXPlugin::_pluginDidLoad()
{
    if (_isUnloaded)
        return {};
    QString reason;
    const auto call = [this] { pluginDidLoad(); };
    if (!VXCallPlugin(*this, "pluginDidLoad", call, &reason))
        return "pluginDidLoad threw "_L1 + reason;
    if (!_isUnloaded) // a plugin may disable itself there
        post(VXPluginDidLoadNotification);
    return {};
}

void VXPlugin::_pluginWillUnload()
{
    _isUnloaded = true;
    post(VXPluginWillUnloadNotification);
    VXCallPlugin(*this, "pluginWillUnload", [this] { pluginWillUnload(); });
}

int VXPlugin::_pluginShouldUnload()
{
    int reply = VXUnloadNow; // also when the plugin throws: it must not keep the program from ending
    VXCallPlugin(*this, "pluginShouldUnload", [&] { reply = pluginShouldUnload(); });
    return reply;
}

// Observers are code of other plugins, whose exceptions must not fail the loading of this one.
void VXPlugin::post(VXNotificationName notification)
{
    VXCallPlugin(*this, "postNotificationName:object:", [&] {
        VXNotificationCenter::defaultCenter().postNotificationName(notification, QVariant::fromValue(this));
    });
}
