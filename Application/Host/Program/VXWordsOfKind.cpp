#include "VXWordsOfKind.h"

#include "VXDevicePlugin.h"
#include "VXDeviceURL.h"
#include "VXMessageStore.h"
#include "VXPersistentStoreCoordinator.h"
#include "VXPluginManager.h"
#include "VXStoreByName.h"
#include "VXTriggerStore.h"

using namespace Qt::StringLiterals;

namespace {

QStringList shortNames(const QList<VXPluginProxy *> &plugins)
{
    QStringList names;
    for (const VXPluginProxy *const plugin : plugins)
        names.append(plugin->identifier().section(u'.', -1));
    return names;
}

QStringList deviceNames(const QString &, const VXPluginManager &)
{
    QStringList names;
    for (const QUrl &url : VXDevicePlugin::deviceURLs().value_or(QList<QUrl>()))
        names.append(VXDeviceURLComponent(url, 1));
    return names;
}

QStringList actionNames(const QString &device, const VXPluginManager &)
{
    for (const QUrl &url : VXDevicePlugin::deviceURLs().value_or(QList<QUrl>())) {
        if (VXDeviceURLComponent(url, 1) != device && VXAbsoluteString(url) != device)
            continue;
        const VXDevicePlugin::Ptr found = VXDevicePlugin::deviceAtURL(url);
        return found ? found->actionNames() : QStringList();
    }
    return {};
}

QStringList triggerNames(const QString &, const VXPluginManager &)
{
    QStringList names;
    const std::unique_ptr<VXTriggerStore> store = VXTriggerStore::open(nullptr);
    const auto triggers = store ? store->triggers() : std::nullopt;
    for (const VXTrigger &trigger : triggers.value_or(QList<VXTrigger>()))
        names.append(u'p' + QString::number(trigger.record()->objectID().number()));
    return names;
}

QStringList eventNames(const QString &, const VXPluginManager &manager)
{
    QStringList names;
    for (const VXPluginProxy *const plugin : manager.eventPostingPlugins())
        names += plugin->bundle()->infoDictionary().value(u"VXPostsEvents"_s).toMap().keys();
    return names;
}

QStringList entityNames(const QString &store, const VXPluginManager &)
{
    QStringList names;
    QString problem;
    const VXPersistentStoreCoordinator::Ptr coordinator = VXStoreForName(store, &problem);
    if (!coordinator)
        return names;
    for (const VXEntityDescription *const entity : coordinator->model().entities())
        names.append(entity->name());
    return names;
}

// Those of phones by the phones' names.
QStringList messageFolderNames(const QString &, const VXPluginManager &)
{
    QStringList names;
    const std::optional<VXMessageStore> store = VXMessageStore::sharedStore();
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

// The newest: they are what people mean, and the others too many.
QStringList messageNames(const QString &, const VXPluginManager &)
{
    constexpr qsizetype most = 50;
    QStringList names;
    const std::optional<VXMessageStore> store = VXMessageStore::sharedStore();
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

} // namespace

QStringList VXWordsOfKind(const VXPluginManager &manager, const QString &kind, const QString &of)
{
    using List = QStringList (*)(const QString &of, const VXPluginManager &manager);
    static const std::pair<QString, List> lists[] = {
        {u"plugins"_s, [](const QString &, const VXPluginManager &m) { return shortNames(m.allPlugins()); }},
        {u"reactors"_s, [](const QString &,
                           const VXPluginManager &m) { return shortNames(m.reactorPlugins() + m.exporterPlugins()); }},
        {u"exporters"_s, [](const QString &, const VXPluginManager &m) { return shortNames(m.exporterPlugins()); }},
        {u"stores"_s, [](const QString &, const VXPluginManager &) { return VXStoreNames(); }},
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
        QStringList words = list(of, manager);
        words.sort();
        words.removeDuplicates();
        return words;
    }
    return {};
}
