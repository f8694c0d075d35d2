#include "VXWordsOfKind.h"

#include "VXDevicePlugin.h"
#include "VXDeviceTransformer.h"
#include "VXDeviceURL.h"
#include "VXEventManager.h"
#include "VXMessageStore.h"
#include "VXPersistentStoreCoordinator.h"
#include "VXPluginManager.h"
#include "VXPluginStores.h"
#include "VXReactorReport.h"
#include "VXTriggerStore.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

using namespace Qt::StringLiterals;

namespace {

/** What is requested from the plugins. */
struct Question
{
    const VXPluginManager &manager;
    QString of = {};
    QString typed = {};
};

// The store with that name; null if there is none. Its plugin is loaded for that.
VXPersistentStoreCoordinator::Ptr storeNamed(const Question &question, const QString &name)
{
    for (VXPluginProxy *const plugin :
         question.manager.pluginsWithInfoDictionaryKey(u"VXDataStoreName"_s, QVariant(name)))
        plugin->load();
    QString problem;
    return VXStoreForName(name, &problem);
}

QStringList shortNames(const QList<VXPluginProxy *> &plugins)
{
    QStringList names;
    for (const VXPluginProxy *const plugin : plugins)
        names.append(plugin->identifier().section(u'.', -1));
    return names;
}

QStringList deviceNames(const Question &)
{
    QStringList names;
    for (const QUrl &url : VXDevicePlugin::deviceURLs().value_or(QList<QUrl>()))
        names += {VXDeviceURLComponent(url, 1), VXDeviceNameAtURL().transformedValue(url).toString()};
    return names;
}

QStringList actionNames(const Question &question)
{
    const QString &device = question.of;
    for (const QUrl &url : VXDevicePlugin::deviceURLs().value_or(QList<QUrl>())) {
        if (VXDeviceURLComponent(url, 1) != device && VXAbsoluteString(url) != device &&
            VXDeviceNameAtURL().transformedValue(url).toString() != device)
            continue;
        if (VXPluginProxy *const plugin = question.manager.pluginWithIdentifier(VXDeviceURLComponent(url, 0)))
            plugin->rootProxy()->load();
        const VXDevicePlugin::Ptr found = VXDevicePlugin::deviceAtURL(url);
        return found ? found->actionNames() : QStringList();
    }
    return {};
}

QStringList triggerNames(const Question &question)
{
    QStringList names;
    if (!storeNamed(question, u"triggers"_s))
        return names;
    const std::unique_ptr<VXTriggerStore> store = VXTriggerStore::open(nullptr);
    const auto triggers = store ? store->triggers() : std::nullopt;
    for (const VXTrigger &trigger : triggers.value_or(QList<VXTrigger>()))
        names += {trigger.shortID(), trigger.userName()};
    return names;
}

// Plugins that can be enabled, or disabled.
QStringList switchableNames(const VXPluginManager &manager, bool areEnabled)
{
    QList<VXPluginProxy *> plugins = manager.allPlugins();
    plugins.removeIf([&](const VXPluginProxy *plugin) {
        return plugin->parentProxy() != nullptr || plugin->isBuiltInPlugin() || plugin->isEnabled() != areEnabled;
    });
    return shortNames(plugins);
}

QStringList contactNames(const Question &question)
{
    constexpr qsizetype most = 1000; // more would not be seen
    QStringList names;
    const VXPersistentStoreCoordinator::Ptr coordinator = storeNamed(question, u"phonebook"_s);
    if (!coordinator)
        return names;
    VXManagedObjectContext context(coordinator);
    VXFetchRequest request(*coordinator->model().entityForName(u"VXPerson"_s));
    request.sortDescriptors = {{.key = u"sort_name"_s}};
    request.limit = most;
    const auto found = context.executeFetchRequest(request);
    for (qsizetype index = 0; found && index < found->size(); ++index)
        names.append(found->at(index)->valueForKey(u"displayString"_s).toString());
    return names;
}

QStringList eventNames(const Question &question)
{
    QStringList names;
    for (const VXPluginProxy *const plugin : question.manager.eventPostingPlugins())
        names += VXPostedEvents(*plugin->bundle()).keys();
    return names;
}

QStringList entityNames(const Question &question)
{
    QStringList names;
    const VXPersistentStoreCoordinator::Ptr coordinator = storeNamed(question, question.of);
    if (!coordinator)
        return names;
    for (const VXEntityDescription *const entity : coordinator->model().entities())
        names.append(entity->name());
    return names;
}

// Folders of phones have the phones' names.
QStringList messageFolderNames(const Question &question)
{
    QStringList names;
    const std::optional<VXMessageStore> store =
        storeNamed(question, u"messages"_s) ? VXMessageStore::sharedStore() : std::nullopt;
    if (!store)
        return names;
    VXManagedObjectContext context(store->coordinator());
    for (const VXManagedObjectPtr &folder : store->folders(context).value_or(QList<VXManagedObjectPtr>())) {
        const QString title = VXMessageStore::folderTitle(folder);
        const bool isOfPhone = folder->entity().name() == "VXDeviceFolder"_L1;
        names.append(isOfPhone ? VXDeviceURLComponent(QUrl(title), 1) : title);
    }
    return names;
}

// Only the newest: these are what people mean, and all others would be too many.
QStringList messageNames(const Question &question)
{
    constexpr qsizetype most = 50;
    QStringList names;
    const std::optional<VXMessageStore> store =
        storeNamed(question, u"messages"_s) ? VXMessageStore::sharedStore() : std::nullopt;
    if (!store)
        return names;
    VXManagedObjectContext context(store->coordinator());
    VXFetchRequest request(*store->coordinator()->model().entityForName(VXMessageStore::entityName));
    request.sortDescriptors = {{.key = u"date"_s, .isAscending = false}};
    request.limit = most;
    const auto found = context.executeFetchRequest(request);
    for (qsizetype index = 0; found && index < found->size(); ++index)
        names.append(u'p' + QString::number(found->at(index)->objectID().number()));
    return names;
}

QStringList reactorNames(const Question &question)
{
    return shortNames(question.manager.reactorPlugins() + question.manager.exporterPlugins());
}

QStringList pathsLike(const QString &typed)
{
    const QString folder = typed.first(typed.lastIndexOf(u'/') + 1);
    QStringList paths;
    for (const QFileInfo &each :
         QDir(folder.isEmpty() ? u"."_s : folder).entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot))
        paths.append(folder + each.fileName() + (each.isDir() ? u"/"_s : QString()));
    return paths;
}

QStringList choicesOf(const VXReactorOption &option, const QString &typed)
{
    switch (option.type) {
    case VXReactorOption::Type::Boolean:
        return {u"true"_s, u"false"_s};
    case VXReactorOption::Type::File:
    case VXReactorOption::Type::Program:
        return pathsLike(typed);
    default:
        return option.choices;
    }
}

// In a list, the existing entries stay; without a typed key, the keys are returned.
QStringList optionWords(const Question &question)
{
    QString problem;
    VXPluginProxy *const plugin = VXReactorNamed(question.manager.reactorPlugins() + question.manager.exporterPlugins(),
                                                 question.of, u"reactor"_s, &problem);
    if (plugin == nullptr || !plugin->rootProxy()->load())
        return {};
    const qsizetype equals = question.typed.indexOf(u'=');
    QStringList words;
    for (const VXReactorOption &option : VXReactorReport::optionsOf(plugin->identifier())) {
        if (equals < 0)
            words.append(option.shownKey() + u'=');
        if (equals < 0 || option.shownKey() != question.typed.first(equals))
            continue;
        const bool isList = option.type == VXReactorOption::Type::List;
        const QString start = question.typed.first((isList ? question.typed.lastIndexOf(u',') : -1) + 1);
        for (const QString &choice : choicesOf(option, question.typed.sliced(equals + 1)))
            words.append((start.isEmpty() ? option.shownKey() + u'=' : start) + choice);
    }
    return words;
}

} // namespace

QStringList VXWordsOfKind(const VXPluginManager &manager, const QString &kind, const QString &of, const QString &typed)
{
    using List = QStringList (*)(const Question &question);
    static const std::pair<QString, List> lists[] = {
        {u"plugins"_s, [](const Question &question) { return shortNames(question.manager.allPlugins()); }},
        {u"enabled-plugins"_s, [](const Question &question) { return switchableNames(question.manager, true); }},
        {u"disabled-plugins"_s, [](const Question &question) { return switchableNames(question.manager, false); }},
        {u"contacts"_s, contactNames},
        {u"reactors"_s, reactorNames},
        {u"exporters"_s, [](const Question &question) { return shortNames(question.manager.exporterPlugins()); }},
        {u"options"_s, optionWords},
        {u"stores"_s, [](const Question &) { return VXStoreNames(); }},
        {u"devices"_s, deviceNames},
        {u"actions"_s, actionNames},
        {u"triggers"_s, triggerNames},
        {u"events"_s, eventNames},
        {u"entities"_s, entityNames},
        {u"message-folders"_s, messageFolderNames},
        {u"messages"_s, messageNames},
    };
    for (const auto &[name, list] : lists) {
        if (name != kind)
            continue;
        QStringList words = list({manager, of, typed});
        words.removeAll(QString());
        words.sort();
        words.removeDuplicates();
        return words;
    }
    return {};
}
