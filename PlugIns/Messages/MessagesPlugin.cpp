#include "VXDataManager.h"
#include "VXEventManager.h"
#include "VXMessage.h"
#include "VXMessageDelivery.h"
#include "VXMessageRecorder.h"
#include "VXMessageSync.h"
#include "VXOutboxSender.h"
#include "VXOutgoingMessage.h"
#include "VXPrincipalClass.h"
#include "VXRootFolders.h"
#include "VXStorePlugin.h"
#include "VXStoreWorkLock.h"

#include <QtCore/QFileInfo>
#include <QtCore/QPointer>

using namespace Qt::StringLiterals;

/** Keeps messages and their folders, in the store "messages", and sends those that should be sent. */
class MessagesPlugin : public VXStorePlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE MessagesPlugin() : VXStorePlugin(VXMessageStore::entityName, u"One message"_s, u"%1 messages"_s)
    {
        registerClass<VXMessage>(VXMessageStore::entityName);
    }

    QStringList dataModelPaths() const override
    {
        return VXDataPlugin::dataModelPaths() << VXDataManager::smartFilterDataModelPath();
    }

    bool validateManagedObjectContext(VXManagedObjectContext &context, VXError *error) override
    {
        // When a store is copied, merged or only inspected, this operation must not save it.
        const QString path = context.persistentStoreCoordinator()->persistentStores().constFirst()->path();
        if (context.hasChanges() || !path.startsWith(dataStorePath() + u'/'))
            return VXProvideRootFolders(context, error);
        // The lock is beside the store, because the store is absent while it is being upgraded.
        const QFileInfo store(dataStorePath());
        return VXSaveRootFolders(context, store.path() + "/."_L1 + store.fileName() + ".folders.lock"_L1, error);
    }

    void pluginDidLoad() override
    {
        const VXPersistentStoreCoordinator::Ptr coordinator = persistentStoreCoordinator();
        if (!coordinator)
            return;
        const VXMessageStore store(coordinator);
        // Kept alive for a last message on another thread.
        const auto recorder = std::make_shared<VXMessageRecorder>(store);
        VXNotificationCenter::defaultCenter().addObserver(
            this, VXEventManagerWillPostEventNotification,
            [recorder](const VXNotification &notification) { recorder->eventWillBePosted(notification); });
        VXDeviceWork::offer(
            this, u"sync_messages"_s, u"read_messages"_s,
            [store, lockPath = dataStorePath() + u'/' + VXStoreWorkLock::syncName](const VXDeviceAction::Ptr &action) {
                return std::make_shared<VXMessageSync>(action, store, lockPath);
            });
        launchSearch(u"date"_s, {.settings = {}, .relationships = {u"folder"_s}});
        const std::optional<VXOutbox> outbox = VXOutbox::sharedOutbox();
        if (!outbox)
            return;
        VXMessageDelivery::settle(*outbox, store); // before entries are forgotten
        _sender.start(VXOutgoingMessage::kind, *outbox,
                      [store](const VXOutboxEntry &entry, const VXOutboxRunner::Completion &completion) {
                          return VXMessageDelivery::deliver(entry, store, completion);
                      });
        connect(_sender.runner(), &VXOutboxRunner::didTry, this,
                [store](const VXOutboxEntry &entry) { VXMessageDelivery::fileIfSent(entry, store); });
        VXNotificationCenter::defaultCenter().addObserver(
            this, VXDevicePluginDidAddDeviceNotification, [this, outbox](const VXNotification &notification) {
                watch(notification.object.value<VXDevicePlugin *>(), *outbox);
            });
        for (const VXDevicePlugin::Ptr &device : VXDevicePlugin::liveDevices())
            watch(device.get(), *outbox);
    }

    int pluginShouldUnload() override { return _sender.shouldUnload(); }

    void pluginWillUnload() override
    {
        _sender.stop();
        VXStorePlugin::pluginWillUnload();
    }

private:
    // Messages that wait for a phone are tried as soon as it is back.
    void watch(VXDevicePlugin *device, const VXOutbox &outbox)
    {
        if (device == nullptr)
            return;
        const auto look = [device = QPointer(device), outbox](const QString &key) {
            if (device && key == "isConnecting"_L1 && device->property("isConnected").toBool())
                static_cast<void>(
                    outbox.retryDestination(VXOutgoingMessage::kind, VXOutgoingMessage::destination(device->url())));
        };
        connect(device, &VXDevicePlugin::didChangeValueForKey, this, look, Qt::QueuedConnection);
    }

    VXOutboxSender _sender{*this};
};

VX_PRINCIPAL_CLASS(MessagesPlugin)

#include "MessagesPlugin.moc"
