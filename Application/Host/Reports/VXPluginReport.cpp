#include "VXPluginReport.h"

#include "VXHostJSON.h"
#include "VXNearestWord.h"
#include "VXPluginKind.h"
#include "VXPluginManager.h"
#include "VXPluginScanner.h"
#include "VXUserDefaults.h"

#include <QtCore/QJsonArray>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QStringList identifiersOf(const QList<VXPluginProxy *> &plugins)
{
    QStringList identifiers;
    for (const VXPluginProxy *const plugin : plugins)
        identifiers.append(plugin->identifier());
    identifiers.sort();
    return identifiers;
}

QString pathOf(const VXPluginProxy &proxy)
{
    const VXBundle::Ptr bundle = proxy.bundle();
    return bundle ? bundle->bundlePath() : QString();
}

// Indents by two blanks for each plugin that contains this one.
QString shownLevel(const VXPluginProxy &proxy)
{
    return proxy.parentProxy() == nullptr ? QString() : "  "_L1 + shownLevel(*proxy.parentProxy());
}

QString yesOrNo(bool flag)
{
    return flag ? u"yes"_s : u"no"_s;
}

void appendWithChildren(const VXPluginProxy *plugin, QList<const VXPluginProxy *> &plugins)
{
    plugins.append(plugin);
    for (const VXPluginProxy *const child : plugin->childProxies())
        appendWithChildren(child, plugins);
}

QJsonObject copyJSON(const VXPluginCopy &copy)
{
    return {{u"path"_s, copy.path}, {u"version"_s, copy.version}, {u"reason"_s, copy.reason}};
}

} // namespace

VXPluginReport::VXPluginReport(const VXPluginManager &manager, const VXPluginProxy &proxy)
    : _manager(manager), _proxy(proxy)
{
}

QString VXPluginReport::title() const
{
    const QString name = _proxy.name();
    return name.isNull() ? _proxy.identifier() : u"%1 (%2)"_s.arg(name, _proxy.identifier());
}

QString VXPluginReport::state() const
{
    if (!_proxy.isInstalled())
        return u"not installed"_s;
    if (_proxy.isLoaded())
        return u"loaded"_s;
    if (!_proxy.isEnabled())
        return u"disabled"_s;
    if (!_proxy.loadError().isNull())
        return u"failed"_s;
    return reason().isNull() ? u"not loaded"_s : u"left out"_s;
}

// What prevents a plugin from being loaded also prevents its children.
QString VXPluginReport::reason() const
{
    QString problem = _manager.problemOfPlugin(_proxy.identifier());
    for (const VXPluginProxy *plugin = _proxy.parentProxy();
         plugin != nullptr && problem.isNull() && !_proxy.isLoaded() && _proxy.isEnabled();
         plugin = plugin->parentProxy())
        problem = _manager.problemOfPlugin(plugin->identifier());
    return problem;
}

QString VXPluginReport::stateAndReason() const
{
    const QString problem = reason();
    return problem.isNull() ? state() : state() + ": "_L1 + problem;
}

QString VXPluginReport::version() const
{
    const QString shortVersion = _proxy.infoText(u"CFBundleShortVersionString"_s);
    const QString version = _proxy.infoText(u"CFBundleVersion"_s);
    return shortVersion.isEmpty() ? version : u"%1 (%2)"_s.arg(shortVersion, version);
}

QJsonObject VXPluginReport::json() const
{
    const VXPluginProxy *const parent = _proxy.parentProxy();
    return {{u"identifier"_s, _proxy.identifier()},
            {u"name"_s, VXJSONFromVariant(_proxy.name())},
            {u"version"_s, VXJSONFromVariant(_proxy.infoText(u"CFBundleVersion"_s))},
            {u"shortVersion"_s, VXJSONFromVariant(_proxy.infoText(u"CFBundleShortVersionString"_s))},
            {u"kind"_s, VXJSONFromVariant(_proxy.pluginClassType())},
            {u"path"_s, VXJSONFromVariant(pathOf(_proxy))},
            {u"parent"_s, parent == nullptr ? QJsonValue() : QJsonValue(parent->identifier())},
            {u"children"_s, QJsonArray::fromStringList(identifiersOf(_proxy.childProxies()))},
            {u"dependencies"_s, QJsonArray::fromStringList(_proxy.dependencies())},
            {u"dependants"_s, QJsonArray::fromStringList(identifiersOf(_proxy.dependantPlugins()))},
            {u"installed"_s, _proxy.isInstalled()},
            {u"enabled"_s, _proxy.isEnabled()},
            {u"builtIn"_s, _proxy.isBuiltInPlugin()},
            {u"loaded"_s, _proxy.isLoaded()},
            {u"state"_s, state()},
            {u"reason"_s, VXJSONFromVariant(reason())}};
}

QStringList VXPluginReport::columnTitles()
{
    return {u"IDENTIFIER"_s, u"NAME"_s, u"VERSION"_s, u"KIND"_s, u"STATE"_s};
}

QStringList VXPluginReport::columns() const
{
    const QString name = _proxy.name();
    return {shownLevel(_proxy) + _proxy.identifier(), name.isNull() ? u"-"_s : name, version(),
            VXPluginKind::shortName(_proxy.pluginClassType()), stateAndReason()};
}

QList<QStringList> VXPluginReport::rows() const
{
    const VXPluginProxy *const parent = _proxy.parentProxy();
    QList<QStringList> rows{{u"Identifier"_s, _proxy.identifier()},
                            {u"Name"_s, _proxy.name()},
                            {u"Version"_s, version()},
                            {u"Kind"_s, VXPluginKind::shortName(_proxy.pluginClassType())},
                            {u"State"_s, stateAndReason()},
                            {u"Enabled"_s, yesOrNo(_proxy.isEnabled())},
                            {u"Built in"_s, yesOrNo(_proxy.isBuiltInPlugin())},
                            {u"Path"_s, pathOf(_proxy)},
                            {u"Part of"_s, parent == nullptr ? QString() : parent->identifier()},
                            {u"Parts"_s, identifiersOf(_proxy.childProxies()).join(", "_L1)},
                            {u"Needs"_s, _proxy.dependencies().join(", "_L1)},
                            {u"Needed by"_s, identifiersOf(_proxy.dependantPlugins()).join(", "_L1)}};
    rows.removeIf([](const QStringList &row) { return row.last().isEmpty(); });
    return rows;
}

QList<const VXPluginProxy *> VXSortedPlugins(const VXPluginManager &manager)
{
    QList<VXPluginProxy *> roots = manager.allPlugins();
    roots.removeIf([](const VXPluginProxy *plugin) { return plugin->parentProxy() != nullptr; });
    std::ranges::sort(roots, {}, [](const VXPluginProxy *plugin) { return plugin->identifier(); });
    QList<const VXPluginProxy *> plugins;
    for (const VXPluginProxy *const root : std::as_const(roots))
        appendWithChildren(root, plugins);
    return plugins;
}

QList<VXAbsentPlugin> VXAbsentPlugins(const VXPluginManager &manager)
{
    QList<VXAbsentPlugin> absent;
    QStringList enabled = VXUserDefaults::standardUserDefaults().objectForKey(u"plugins"_s).toStringList();
    enabled.sort();
    for (const QString &identifier : std::as_const(enabled)) {
        const VXPluginProxy *const plugin = manager.pluginWithIdentifier(identifier);
        if (plugin != nullptr && plugin->isInstalled())
            continue;
        const auto choice = manager.choiceForPlugin(identifier);
        const VXPluginCopy copy = choice && !choice->passedOver.isEmpty() ? choice->passedOver.first() : VXPluginCopy();
        absent.append({identifier, copy.path.isNull()
                                       ? u"it is enabled, but its bundle is in none of the plugin folders"_s
                                       : u"%1, version %2, is %3"_s.arg(copy.path, copy.version, copy.reason)});
    }
    return absent;
}

QJsonObject VXAbsentPlugin::json() const
{
    return {{u"identifier"_s, identifier},
            {u"name"_s, {}},
            {u"version"_s, {}},
            {u"shortVersion"_s, {}},
            {u"kind"_s, {}},
            {u"path"_s, {}},
            {u"parent"_s, {}},
            {u"children"_s, QJsonArray()},
            {u"dependencies"_s, QJsonArray()},
            {u"dependants"_s, QJsonArray()},
            {u"installed"_s, false},
            {u"enabled"_s, true},
            {u"builtIn"_s, false},
            {u"loaded"_s, false},
            {u"state"_s, u"not installed"_s},
            {u"reason"_s, reason}};
}

QStringList VXAbsentPlugin::columns() const
{
    return {identifier, u"-"_s, QString(), QString(), u"not installed: "_s + reason};
}

QJsonObject VXPluginChoiceJSON(const VXPluginChoice &choice)
{
    QJsonArray passedOver;
    for (const VXPluginCopy &copy : choice.passedOver)
        passedOver.append(copyJSON(copy));
    return {{u"chosen"_s, choice.chosen.path.isNull() ? QJsonValue() : QJsonValue(copyJSON(choice.chosen))},
            {u"passedOver"_s, passedOver}};
}

QList<QStringList> VXPluginChoiceRows(const VXPluginChoice &choice)
{
    QList<QStringList> rows;
    if (!choice.chosen.path.isNull())
        rows.append({u"Chosen"_s, choice.chosen.reason});
    for (const VXPluginCopy &copy : choice.passedOver)
        rows.append({u"Passed over"_s, u"%1, version %2: %3"_s.arg(copy.path, copy.version, copy.reason)});
    return rows;
}

QList<VXPluginProxy *> VXPluginsCalled(const QList<VXPluginProxy *> &plugins, const QString &typed)
{
    const auto matching = [&](const auto &nameOf) {
        QList<VXPluginProxy *> found = plugins;
        found.removeIf(
            [&](const VXPluginProxy *plugin) { return nameOf(plugin).compare(typed, Qt::CaseInsensitive) != 0; });
        return found;
    };
    QList<VXPluginProxy *> found = matching([](const VXPluginProxy *plugin) { return plugin->identifier(); });
    if (found.isEmpty())
        found = matching([](const VXPluginProxy *plugin) { return plugin->identifier().section(u'.', -1); });
    if (found.isEmpty())
        found = matching([](const VXPluginProxy *plugin) { return plugin->name(); });
    return found;
}

VXPluginProxy *VXPluginNamed(const VXPluginManager &manager, const QString &typed)
{
    if (VXPluginProxy *const plugin = manager.pluginWithIdentifier(typed))
        return plugin;
    const QList<VXPluginProxy *> plugins = VXPluginsCalled(manager.allPlugins(), typed);
    return plugins.size() == 1 ? plugins.first() : nullptr;
}

QString VXProblemOfPluginName(const QList<VXPluginProxy *> &plugins, const QString &typed, const QString &noun)
{
    const QList<VXPluginProxy *> called = VXPluginsCalled(plugins, typed);
    if (called.size() > 1)
        return u"\"%1\" may be %2; give the whole identifier"_s.arg(typed, identifiersOf(called).join(" or "_L1));
    return u"there is no %1 \"%2\"%3"_s.arg(noun, typed, VXDidYouMean(typed, VXNamesOfPlugins(plugins)));
}

QStringList VXNamesOfPlugins(const QList<VXPluginProxy *> &plugins)
{
    QStringList names;
    for (const VXPluginProxy *const plugin : plugins)
        names += {plugin->identifier().section(u'.', -1), plugin->identifier()};
    return names;
}
