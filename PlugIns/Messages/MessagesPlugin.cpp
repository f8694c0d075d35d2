#include "VXDataManager.h"
#include "VXDataPlugin.h"
#include "VXEventManager.h"
#include "VXManagedObjectClass.h"
#include "VXMessage.h"
#include "VXMessageDelivery.h"
#include "VXMessageRecorder.h"
#include "VXMessageSync.h"
#include "VXMetaDataSync.h"
#include "VXOutboxSender.h"
#include "VXOutgoingMessage.h"
#include "VXPrincipalClass.h"
#include "VXRootFolders.h"

#include <QtCore/QFileInfo>
#include <QtCore/QPointer>

using namespace Qt::StringLiterals;

/** Keeps messages and their folders, in the store "messages", and sends those that are to be sent. */
class MessagesPlugin : public VXDataPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE MessagesPlugin() { VXManagedObjectClass::registerClass<VXMessage>(VXMessageStore::entityName); }

    QStringList dataModelPaths() const override
    {
        return VXDataPlugin::dataModelPaths() << VXDataManager::smartFilterDataModelPath();
    }

    bool validateManagedObjectContext(VXManagedObjectContext &context, VXError *error) override
    {
        // Beside the store, which is not there while it is being upgraded.
        const QFileInfo store(dataStorePath());
        return VXProvideRootFolders(context, store.path() + "/."_L1 + store.fileName() + ".folders.lock"_L1, error);
    }

    // Since the first version nothing is derived from other values that was not before.
    bool copiesRows(int version) const override { return version >= 1; }
    QString importDescriptionFromStore(VXCoreDataStore &store) override
    {
        const qsizetype count = countInStore(store, VXMessageStore::entityName);
        if (count == 0)
            return {};
        return bundle()
            ->localizedStringForKey(count == 1 ? u"One message"_s : u"%1 messages"_s)
            .replace("%1"_L1, QString::number(count));
    }

    void pluginDidLoad() override
    {
        const VXPersistentStoreCoordinator::Ptr coordinator = persistentStoreCoordinator();
        if (!coordinator)
            return;
        const VXMessageStore store(coordinator);
        const auto recorder = std::make_shared<VXMessageRecorder>(store); // outlives a last message on another thread
        VXNotificationCenter::defaultCenter().addObserver(
            this, VXEventManagerWillPostEventNotification,
            [recorder](const VXNotification &notification) { recorder->eventWillBePosted(notification); });
        VXDeviceWork::offer(this, u"sync_messages"_s, u"read_messages"_s, [store](const VXDeviceAction::Ptr &action) {
            return std::make_shared<VXMessageSync>(action, store);
        });
        _search = VXMetaDataSync::launchMetaDataSyncWithIdentifier(identifier(), coordinator,
                                                                   VXMessageStore::entityName, u"date"_s);
        const std::optional<VXOutbox> outbox = VXOutbox::sharedOutbox();
        if (!outbox)
            return;
        VXMessageDelivery::fileAllSent(*outbox, store); // before entries are forgotten
        _sender.start(VXOutgoingMessage::kind, *outbox, VXMessageDelivery::deliver);
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
        if (_search)
            _search->terminate();
        VXNotificationCenter::defaultCenter().removeObserver(this);
        VXManagedObjectClass::removeClass(VXMessageStore::entityName);
    }

private:
    // What waits for a phone is tried as soon as that is back.
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
    VXMetaDataSync::Ptr _search; // null when the user wants none
};

VX_PRINCIPAL_CLASS(MessagesPlugin)

#include "MessagesPlugin.moc"
